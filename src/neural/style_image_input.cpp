// Turns the host's style image into the second input of a style-transfer network.
#include "core/log.h"
#include "neural/neural_engine.h"
#include "neural/style_catalogue.h"
#include "neural/style_normalisation.h"

#include <opencv2/imgproc.hpp>

namespace vorin::neural {
namespace {

constexpr int kChannels = 3;

cv::Mat wrapRows(const SttFrame& image, std::uint32_t rows, int type) {
  return {static_cast<int>(rows), static_cast<int>(image.width), type, image.data};
}

// The image as 8-bit blue-green-red; empty for an unknown format. The two YUV formats are deliberately converted to red first and
// then treated as blue first like the others: a network sees YUV style images with red and blue exchanged.
cv::Mat toStyleColours(const SttFrame& image, cv::Mat& storage) {
  switch (image.pixelFormat) {
  case VORIN_FMT_NV12:
    cv::cvtColor(wrapRows(image, image.height * 3 / 2, CV_8UC1), storage, cv::COLOR_YUV2RGB_NV12);
    return storage;
  case VORIN_FMT_BGR24:
    return wrapRows(image, image.height, CV_8UC3);
  case VORIN_FMT_BGRA:
    cv::cvtColor(wrapRows(image, image.height, CV_8UC4), storage, cv::COLOR_BGRA2BGR);
    return storage;
  case VORIN_FMT_RGBA:
    cv::cvtColor(wrapRows(image, image.height, CV_8UC4), storage, cv::COLOR_RGBA2BGR);
    return storage;
  case VORIN_FMT_YUY2:
    CV_CheckEQ(static_cast<int>(image.width % 2), 0, "the width of a YUY2 image must be even"); // OpenCV goes past the rows' ends
    cv::cvtColor(wrapRows(image, image.height, CV_8UC2), storage, cv::COLOR_YUV2RGB_YUY2);
    return storage;
  default:
    return {};
  }
}

} // namespace

cv::Size NeuralEngine::styleSize() const {
  for (const ov::Output<ov::Node>& input : inputs_) {
    const auto& names = input.get_names();
    if (!names.empty() && *names.begin() == kStyleInputName) {
      return pictureSize(input.get_shape());
    }
  }
  return {};
}

_VorinStatus NeuralEngine::bindStyleImage(const SttFrame& style_image) {
  if (style_type_ != SttStyleTransfer) {
    return VORIN_STATUS_INVALID_PARAM;
  }
  if (inputs_.size() != 2) {
    sttLogError("input size should be 2");
  }
  const cv::Size size = styleSize();
  cv::Mat image = toStyleColours(style_image, style_converted_);
  if (image.channels() == 1) {
    cv::cvtColor(image, image, cv::COLOR_GRAY2BGR); // reached only by the empty image of an unknown format, which OpenCV refuses
  }
  if (image.size() != size) {
    cv::resize(image, style_resized_, size, 0.0, 0.0, cv::INTER_LINEAR);
    image = style_resized_;
  }
  if (!style_planes_) {
    style_planes_ = std::make_unique<float[]>(static_cast<std::size_t>(size.area()) * kChannels);
  }
  normaliseStyle(image, style_planes_.get());
  const ov::Shape shape = {1, kChannels, static_cast<std::size_t>(size.height), static_cast<std::size_t>(size.width)};
  request_.set_input_tensor(style_input_index_, ov::Tensor(ov::element::f32, shape, style_planes_.get()));
  return VORIN_STATUS_OK;
}

} // namespace vorin::neural
