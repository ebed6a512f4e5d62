// The neural styles' part of a frame: runs the network and turns its output planes into a picture.
#include "core/log.h"
#include "pipeline/frame_pipeline.h"
#include "pipeline/neural_output.h"
#include "pipeline/temporal_smoothing.h"

#include <exception>
#include <limits>
#include <stdexcept>
#include <utility>

namespace vorin {
namespace {

constexpr std::size_t kColourPlanes = 3;

// A network's output, [1, channels, height, width]. The package decides its shape, so all of it is checked.
class NetworkOutput {
public:
  explicit NetworkOutput(ov::Tensor tensor) : tensor_(std::move(tensor)), shape_(tensor_.get_shape()) {
    if (shape_.size() != 4) {
      throw std::runtime_error("the network's output has not four dimensions");
    }
  }

  std::size_t channels() const { return shape_[1]; }
  int height() const { return static_cast<int>(shape_[2]); }
  int width() const { return static_cast<int>(shape_[3]); }

  // The first three planes. A batch of 0 leaves a tensor without values, whatever its other dimensions say.
  float* colourPlanes() {
    constexpr std::size_t kMaxSize = std::numeric_limits<int>::max() / kColourPlanes; // pixels, so that all rows count in an int
    const bool is_picture = shape_[2] != 0 && shape_[2] <= kMaxSize && shape_[3] != 0 && shape_[3] <= kMaxSize;
    if (!is_picture || tensor_.get_size() / kColourPlanes / shape_[3] < shape_[2]) {
      throw std::runtime_error("the network's output does not hold three planes");
    }
    return tensor_.data<float>();
  }

private:
  ov::Tensor tensor_;
  ov::Shape shape_;
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

void FramePipeline::forgetFrames() noexcept {
  previous_output_.release();
  for (neural::NeuralEngine& engine : neural_engines_) {
    engine.forgetFrames();
  }
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
  NetworkOutput output(inferFrame(input));
  if (output.channels() == kColourPlanes) {
    transferOutputToImage(output.colourPlanes(), output.height(), output.width(), byte_planes_, result_);
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
  NetworkOutput output(inferFrame(input));
  if (output.channels() < kColourPlanes) {
    throw std::runtime_error("the network's output has fewer than three planes");
  }
  if (settings.style_type == SttStyleLightGrey) {
    lightGreyOutputToImage(output.colourPlanes(), output.height(), output.width(), byte_planes_, result_);
  } else {
    cartoonOutputToImage(output.colourPlanes(), output.height(), output.width(), byte_planes_, result_);
  }
  return resultAtSize(settings.width, settings.height);
}

} // namespace vorin
