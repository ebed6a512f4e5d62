#include "style_stream.h"

#include <opencv2/imgproc.hpp>

#include <chrono>
#include <future>
#include <stdexcept>

namespace vorin::bench {
namespace {

SttFrame frameOver(cv::Mat& pixels, SttPixelFormat format) {
  SttFrame frame{};
  frame.memoryType = VORIN_MEM_SYSTEM;
  frame.data = pixels.data;
  frame.pixelFormat = format;
  frame.width = static_cast<uint32_t>(pixels.cols);
  frame.height = static_cast<uint32_t>(pixels.rows);
  frame.pitch = static_cast<uint32_t>(pixels.step[0]);
  return frame;
}

void require(_VorinStatus status, const char* what) {
  if (status != VORIN_STATUS_OK) {
    throw std::runtime_error(std::string(what) + " (status " + std::to_string(status) + ")");
  }
}

} // namespace

StyleStream::StyleStream(const StyleCase& style, cv::Size size, const std::string& model_folder, const cv::Mat& style_image_bgr)
    : size_(size), style_image_(style.type == SttStyleTransfer ? style_image_bgr.clone() : cv::Mat()) {
  SttInterface* object = nullptr;
  require(SttFactory::Create(&object), "no object");
  object_.reset(object);
  SttDeviceRequest request{};
  request.kind = SttDeviceAnyGpu;
  SttDeviceRecord* device = nullptr;
  require(object_->CreateDevice(&request, &device), "no GPU of the inference runtime");
  require(object_->CreateContext(device, &context_), "no context");
  const auto set = [&](SttConfigKey key, int32_t value) { require(object_->SetConfig(context_, key, &value), "setting"); };
  set(SttCfgStyleType, style.type);
  set(SttCfgStyleIndex, style.index);
  set(SttCfgWidth, size.width);
  set(SttCfgHeight, size.height);
  require(object_->SetConfig(context_, SttCfgModelPath, model_folder.c_str()), "setting");
  require(object_->Prepare(context_), "the style cannot be prepared: no trained networks (models/build)?");
}

cv::Mat StyleStream::restyle(const cv::Mat& frame_bgr, const std::function<void()>& meanwhile) {
  cv::Mat bgra; // pictures of four bytes are only read
  cv::cvtColor(frame_bgr, bgra, cv::COLOR_BGR2BGRA);
  cv::Mat result(size_, CV_8UC3);
  SttFrame input = frameOver(bgra, VORIN_FMT_BGRA);
  SttFrame output = frameOver(result, VORIN_FMT_BGR24);
  SttFrame style_image{};
  if (!style_image_.empty()) {
    style_image = frameOver(style_image_, VORIN_FMT_BGR24);
  }
  const auto start = std::chrono::steady_clock::now();
  std::future<void> other = meanwhile ? std::async(std::launch::async, meanwhile) : std::future<void>();
  const _VorinStatus status = object_->ProcessFrame(context_, &input, style_image_.empty() ? nullptr : &style_image, &output);
  if (other.valid()) {
    other.get();
  }
  elapsed_ms_ = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  require(status, "the frame cannot be restyled");
  style_image_.release();
  return result;
}

} // namespace vorin::bench
