// The way of one frame from the host's input descriptor through the engine to the host's output descriptor.
#include "core/log.h"
#include "pipeline/frame_pipeline.h"

#include <opencv2/imgproc.hpp>

#include <stdexcept>

namespace vorin {

_VorinStatus FramePipeline::processFrame(const StyleSettings& settings, const SttFrame& input, const SttFrame* /*style_image*/,
                                         SttFrame& output) {
  sttLogVerbose("enter StyleTransfer::ProcessFrame");
  if (input.memoryType != VORIN_MEM_SYSTEM) {
    sttLogError("only support system memory now!");
    return VORIN_STATUS_UNSUPPORTED;
  }
  switch (settings.style_type) {
  case SttStyleTransfer:
  case SttStyleLightGrey:
  case SttStyleCartoon:
    throw std::runtime_error("no network has been loaded for this style");
  case SttStyleStippling:
  case SttStylePencilSketch:
    runFilter(settings, input);
    filterOutputToHost(output, result_, format_buffers_);
    break;
  default:
    sttLogError("error type for style transfer");
    neuralOutputToHost(output, cv::Mat(), format_buffers_);
    break;
  }
  sttLogVerbose("exit StyleTransfer::ProcessFrame");
  return VORIN_STATUS_OK;
}

void FramePipeline::runFilter(const StyleSettings& settings, const SttFrame& input) {
  const cv::Mat source = hostToFilterInput(input, filter_input_);
  result_.create(source.rows, source.cols, CV_8UC4);
  _VorinStatus status = VORIN_STATUS_OK;
  if (settings.style_type == SttStyleStippling) {
    static_cast<void>(current_filter_->PrepareStippling(source.cols, source.rows));
    status = current_filter_->RunStippling(source.data, result_.data);
  } else {
    static_cast<void>(current_filter_->PreparePencilSketch(source.cols, source.rows));
    status = current_filter_->RunPencilSketch(source.data, result_.data);
  }
  if (status != VORIN_STATUS_OK) {
    // The host is not told, and shall get neither chance memory nor the frame before.
    result_.setTo(cv::Scalar::all(0));
  }
  if (result_.cols != settings.width || result_.rows != settings.height) {
    resizeResult(settings.width, settings.height);
  }
}

void FramePipeline::resizeResult(std::int32_t width, std::int32_t height) {
  cv::resize(result_, resized_, cv::Size(width, height), 0.0, 0.0, cv::INTER_LINEAR);
  cv::swap(result_, resized_);
}

} // namespace vorin
