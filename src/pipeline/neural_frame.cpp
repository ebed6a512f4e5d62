// The neural styles' part of a frame: through the network, and from its output planes to a picture.
#include "core/log.h"
#include "pipeline/frame_pipeline.h"
#include "pipeline/neural_output.h"
#include "pipeline/temporal_smoothing.h"

#include <exception>
#include <stdexcept>

namespace vorin {
namespace {

constexpr std::size_t kColourPlanes = 3;

// Sizes of a network's output, [1, channels, height, width].
struct OutputShape {
  explicit OutputShape(const ov::Tensor& tensor)
      : channels(tensor.get_shape().at(1)), height(static_cast<int>(tensor.get_shape().at(2))),
        width(static_cast<int>(tensor.get_shape().at(3))) {}

  std::size_t channels;
  int height;
  int width;
};

} // namespace

ov::Tensor FramePipeline::inferFrame(const SttFrame& input) try {
  sttLogInfo("inference frame: %d", static_cast<std::int32_t>(inferred_frames_));
  const cv::Mat image = hostToNeuralInput(input, format_buffers_, current_network_->frameSize());
  sttLogInfo("-------------------------------------------------------");
  ov::Tensor output = current_network_->infer(image);
  ++inferred_frames_;
  return output;
} catch (const std::exception& error) {
  logTexts(sttLogError, "error: %s", {error.what()});
  return {};
}

_VorinStatus FramePipeline::runTransfer(const StyleSettings& settings, const SttFrame& input, const SttFrame* style_image,
                                        cv::Mat& picture) {
  if (current_network_ == nullptr) {
    throw std::logic_error("a neural style must be prepared before its frames are processed");
  }
  if (style_image != nullptr) {
    if (const _VorinStatus status = current_network_->bindStyleImage(*style_image); status != VORIN_STATUS_OK) {
      return status;
    }
  }
  ov::Tensor output = inferFrame(input);
  const OutputShape shape(output);
  if (shape.channels == kColourPlanes) {
    transferOutputToImage(output.data<float>(), shape.height, shape.width, byte_planes_, result_);
  } else {
    result_.release();
  }
  if (!previous_output_.empty() && previous_output_.size() == result_.size()) {
    smoothOutput(result_, previous_output_);
  }
  result_.copyTo(previous_output_);
  picture = settings.width != 0 && settings.height != 0 ? resultAtSize(settings.width, settings.height) : result_;
  return VORIN_STATUS_OK;
}

cv::Mat FramePipeline::runFixedStyle(const StyleSettings& settings, const SttFrame& input) {
  if (current_network_ == nullptr) {
    throw std::logic_error("a neural style must be prepared before its frames are processed");
  }
  const ov::Tensor output = inferFrame(input);
  const OutputShape shape(output);
  if (shape.channels < kColourPlanes) {
    throw std::runtime_error("the network's output has fewer than three planes");
  }
  if (settings.style_type == SttStyleLightGrey) {
    lightGreyOutputToImage(output.data<float>(), shape.height, shape.width, byte_planes_, result_);
  } else {
    cartoonOutputToImage(output.data<float>(), shape.height, shape.width, byte_planes_, result_);
  }
  return resultAtSize(settings.width, settings.height);
}

} // namespace vorin
