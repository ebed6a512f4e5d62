// Takes one frame from the host's input descriptor through the engine to the host's output descriptor.
#include "core/log.h"
#include "pipeline/frame_pipeline.h"

#include <opencv2/imgproc.hpp>

#include <stdexcept>

namespace vorin {

_VorinStatus FramePipeline::processFrame(const StyleSettings& settings, const SttFrame& input, const SttFrame* style_image,
                                         SttFrame& output) {
  sttLogVerbose("enter StyleTransfer::ProcessFrame");
  if (input.memoryType != VORIN_MEM_SYSTEM) {
    sttLogError("only support system memory now!");
    return VORIN_STATUS_UNSUPPORTED;
  }
  switch (settings.style_type) {
  case SttStyleTransfer: {
    cv::Mat picture;
    if (const _VorinStatus status = runTransfer(settings, input, style_image, picture); status != VORIN_STATUS_OK) {
      sttLogError("set style error");
      return status;
    }
    neuralOutputToHost(output, picture, format_buffers_);
    break;
  }
  case SttStyleLightGrey:
  case SttStyleCartoon:
    neuralOutputToHost(output, runFixedStyle(settings, input), format_buffers_);
    break;
  case SttStyleStippling:
  case SttStylePencilSketch:
    filterOutputToHost(output, runFilter(settings, input), format_buffers_);
    break;
  default:
    sttLogError("error type for style transfer");
    neuralOutputToHost(output, cv::Mat(), format_buffers_);
    break;
  }
  sttLogVerbose("exit StyleTransfer::ProcessFrame");
  return VORIN_STATUS_OK;
}

cv::Mat FramePipeline::runFilter(const StyleSettings& settings, const SttFrame& input) {
  if (current_filter_ == nullptr) {
    throw std::logic_error("a filter style must be prepared before its frames are processed");
  }
  const cv::Mat source = hostToFilterInput(input, filter_input_);
  result_.create(source.rows, source.cols, CV_8UC4);
  // The filters' statuses are deliberately ignored: a step that succeeds only when repeated counts as failed, yet its frame is
  // whole. If nothing is read back, the output is black of alpha 0: the host must not see the frame before.
  result_.setTo(cv::Scalar::all(0));
  if (settings.style_type == SttStyleStippling) {
    static_cast<void>(current_filter_->PrepareStippling(source.cols, source.rows));
    static_cast<void>(current_filter_->RunStippling(source.data, result_.data));
  } else {
    static_cast<void>(current_filter_->PreparePencilSketch(source.cols, source.rows));
    static_cast<void>(current_filter_->RunPencilSketch(source.data, result_.data));
  }
  return resultAtSize(settings.width, settings.height);
}

cv::Mat FramePipeline::resultAtSize(std::int32_t width, std::int32_t height) {
  if (result_.cols == width && result_.rows == height) {
    return result_;
  }
  cv::resize(result_, resized_, cv::Size(width, height), 0.0, 0.0, cv::INTER_LINEAR);
  return resized_;
}

} // namespace vorin
