#include "stylizer.h"

#include "exit_status.h"
#include "picture_size.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <chrono>
#include <exception>

namespace vorin::stylize {
namespace {

constexpr const char* kTrySoftware = ": try --device software";

void require(_VorinStatus status, ExitStatus exit_status, const std::string& line) {
  if (status != VORIN_STATUS_OK) {
    throw Failure(exit_status, line + " (status " + std::to_string(status) + ")" + kTrySoftware);
  }
}

// Runs a piece of the library's work that may throw.
template <typename Work> auto guarded(const char* what, const Work& work) {
  try {
    return work();
  } catch (const Failure&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw Failure(ExitStatus::kDevice, std::string(what) + ": not enough memory: use a smaller image");
  } catch (const std::exception& error) {
    throw Failure(ExitStatus::kDevice, std::string(what) + " (" + error.what() + ")" + kTrySoftware);
  }
}

// Not one grey in it that a filter could leave as it is: ramps, and a dark square with hard edges.
cv::Mat testPicture() {
  cv::Mat picture(48, 64, CV_8UC3);
  for (int row = 0; row < picture.rows; ++row) {
    for (int column = 0; column < picture.cols; ++column) {
      const bool in_square = row >= 16 && row < 32 && column >= 24 && column < 40;
      const auto ramp = static_cast<std::uint8_t>(in_square ? 20 : 120 + column + row);
      picture.at<cv::Vec3b>(row, column) = {ramp, ramp, ramp};
    }
  }
  return picture;
}

bool isConstant(const cv::Mat& picture) {
  double lowest = 0;
  double highest = 0;
  cv::minMaxLoc(picture.reshape(1), &lowest, &highest);
  return lowest == highest;
}

// No style delivers pure black alone: both filters draw dark on white, and even a black photo comes out light.
bool isBlack(const cv::Mat& picture) {
  double highest = 0;
  cv::minMaxLoc(picture.reshape(1), nullptr, &highest);
  return highest == 0;
}

SttFrame descriptorOf(const Frame& frame) {
  SttFrame descriptor{};
  descriptor.memoryType = VORIN_MEM_SYSTEM;
  descriptor.data = const_cast<std::uint8_t*>(frame.bytes.data()); // written to only where the frame is an output
  descriptor.pixelFormat = frame.format;
  descriptor.width = static_cast<uint32_t>(frame.size.width);
  descriptor.height = static_cast<uint32_t>(frame.size.height);
  descriptor.pitch = pitchBytes(frame);
  return descriptor;
}

} // namespace

Stylizer::Stylizer() {
  constexpr const char* kNoStart = "the style-transfer library does not start";
  SttInterface* object = nullptr;
  const _VorinStatus status = guarded(kNoStart, [&] { return SttFactory::Create(&object); });
  object_.reset(object);
  require(status, ExitStatus::kDevice, kNoStart);
  require(object_->CreateContext(nullptr, &context_), ExitStatus::kDevice, kNoStart);
}

SttVersion Stylizer::version() {
  SttVersion version{};
  require(object_->GetVersion(&version), ExitStatus::kDevice, "the library does not tell its version");
  return version;
}

std::vector<Gpu> Stylizer::gpus() {
  constexpr const char* kNoList = "the devices cannot be listed";
  int32_t count = 0;
  require(object_->EnumDevice(nullptr, &count), ExitStatus::kDevice, kNoList);
  std::vector<SttDeviceInfo> records(static_cast<std::size_t>(count));
  require(object_->EnumDevice(records.data(), &count), ExitStatus::kDevice, kNoList);
  std::vector<Gpu> gpus;
  for (const SttDeviceInfo& record : records) {
    const char* end = std::find(record.name, record.name + VORIN_STT_NAME_BYTES, '\0');
    gpus.push_back({static_cast<SttDeviceKind>(record.kind), std::string(record.name, end)});
  }
  return gpus;
}

void Stylizer::selectGpu(SttDeviceKind kind) {
  SttDeviceRequest request{};
  request.kind = kind;
  SttDeviceRecord* selected = nullptr;
  require(object_->CreateDevice(&request, &selected), ExitStatus::kDevice, "the GPU cannot be selected");
}

void Stylizer::setConfig(SttConfigKey key, int32_t value) {
  require(object_->SetConfig(context_, key, &value), ExitStatus::kConfiguration, "the library refuses a setting");
}

bool Stylizer::prepare(const Style& style) {
  const std::string what = "the style '" + std::string(style.name) + "' cannot be prepared";
  setConfig(SttCfgStyleType, style.type);
  require(guarded(what.c_str(), [&] { return object_->Prepare(context_); }), ExitStatus::kConfiguration, what);
  const cv::Mat photo = testPicture();
  return !isConstant(drawFrame(photo, *findFrameFormat("bgra"), photo.size()).bgr);
}

Drawing Stylizer::draw(const cv::Mat& photo_bgr, const FrameFormat& format, std::optional<cv::Size> size) {
  Drawing drawing = drawFrame(photo_bgr, format, size.value_or(frameSize(format, photo_bgr.size())));
  if (isBlack(drawing.bgr)) {
    throw Failure(ExitStatus::kDevice, "the device cannot draw a photo of " + sizeText(photo_bgr.size()) +
                                           " pixels: use a smaller one or another --device");
  }
  if (!size) {
    drawing.bgr = drawing.bgr(cv::Rect({0, 0}, photo_bgr.size()));
  }
  return drawing;
}

Drawing Stylizer::drawFrame(const cv::Mat& photo_bgr, const FrameFormat& format, cv::Size size) {
  setConfig(SttCfgWidth, size.width);
  setConfig(SttCfgHeight, size.height);
  Drawing drawing{};
  guarded("the photo cannot be drawn", [&] {
    const Frame input = frameFromPicture(format, photo_bgr);
    Frame output = emptyFrame(format, size);
    drawing.elapsed_ms = process(input, output);
    drawing.bgr = pictureFromFrame(output);
  });
  return drawing;
}

double Stylizer::process(const Frame& input, Frame& output) {
  using Clock = std::chrono::steady_clock;
  const SttFrame in = descriptorOf(input);
  SttFrame out = descriptorOf(output);
  const auto start = Clock::now();
  const _VorinStatus status = object_->ProcessFrame(context_, &in, nullptr, &out);
  const std::chrono::duration<double, std::milli> elapsed = Clock::now() - start;
  require(status, ExitStatus::kDevice, "the photo cannot be drawn");
  return elapsed.count();
}

} // namespace vorin::stylize
