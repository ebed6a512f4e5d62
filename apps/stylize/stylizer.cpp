#include "stylizer.h"

#include "cancellation.h"
#include "exit_status.h"
#include "lost_drawing.h"
#include "picture_size.h"
#include "program_files.h"
#include "quiet_output.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <optional>

namespace vorin::stylize {
namespace {

constexpr const char* kTrySoftware = ": try --device software";

bool libraryLogIsOn() {
  const char* log_switch = std::getenv("VORIN_DUMP_ST_LOG"); // NOLINT(concurrency-mt-unsafe): one thread so far
  return log_switch != nullptr && std::string(log_switch) != "0";
}

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

// No filter delivers pure black alone: both draw dark on white, and even a black photo comes out light.
bool isBlack(const cv::Mat& picture) {
  double highest = 0;
  cv::minMaxLoc(picture.reshape(1), nullptr, &highest);
  return highest == 0;
}

// The size that the library is to deliver. Where none is asked for, a photo that had to be padded gets its own size back below.
cv::Size deliveredSize(const cv::Mat& photo, const Manner& manner) {
  return manner.size.value_or(frameSize(*manner.format, photo.size()));
}

void cropToPhoto(Drawing& drawing, const cv::Mat& photo, const Manner& manner) {
  if (!manner.size) {
    drawing.bgr = drawing.bgr(cv::Rect({0, 0}, photo.size()));
  }
}

double millisecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
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

bool Stylizer::prepareFilter(const Style& style) {
  const std::string what = "the style '" + std::string(style.name) + "' cannot be prepared";
  setConfig(SttCfgStyleType, style.type);
  require(guarded(what.c_str(), [&] { return object_->Prepare(context_); }), ExitStatus::kConfiguration, what);
  const cv::Mat photo = testPicture();
  return !isOneColour(drawGuarded(photo, *findFrameFormat("bgra"), photo.size()).bgr);
}

Drawing Stylizer::drawFiltered(const cv::Mat& photo_bgr, const Manner& manner) {
  Drawing drawing = drawGuarded(photo_bgr, *manner.format, deliveredSize(photo_bgr, manner));
  const bool is_black = isBlack(drawing.bgr);
  const bool is_lost = is_black || isLostDrawing(photo_bgr, drawing.bgr);
  constexpr std::size_t kFewPixels = 64; // so few may well come out in one colour
  if (is_lost && !is_black && photo_bgr.total() < kFewPixels) {
    throw Failure(ExitStatus::kInputOutput, "a photo of " + sizeText(photo_bgr.size()) +
                                                " pixels is too small, its drawing has one colour only: use a larger one");
  }
  if (is_lost) {
    throw Failure(ExitStatus::kDevice, "the device cannot draw a photo of " + sizeText(photo_bgr.size()) +
                                           " pixels: use a smaller one or another --device");
  }
  cropToPhoto(drawing, photo_bgr, manner);
  return drawing;
}

Drawing Stylizer::drawGuarded(const cv::Mat& photo_bgr, const FrameFormat& format, cv::Size size) {
  return guarded("the photo cannot be drawn", [&] { return drawFrame(photo_bgr, format, size, nullptr); });
}

bool Stylizer::isFreeFor(const cv::Mat& photo_bgr, const Manner& manner) const {
  return loaded_network_ == nullptr || (loaded_network_ == manner.network && !manner.style->takesStyleImage() &&
                                        loaded_size_ == networkSize(deliveredSize(photo_bgr, manner)));
}

Drawing Stylizer::drawNeural(const cv::Mat& photo_bgr, const Manner& manner) {
  const cv::Size size = deliveredSize(photo_bgr, manner);
  const cv::Size network_size = networkSize(size);
  const double load_ms = loaded_network_ == manner.network ? 0 : loadNetwork(manner, network_size);
  Drawing drawing;
  try {
    const std::optional<Frame> style_image =
        manner.style->takesStyleImage() ? std::optional(frameFromPicture(*findFrameFormat("bgr24"), manner.style_image_bgr))
                                        : std::nullopt;
    drawing = drawFrame(photo_bgr, *manner.format, size, style_image ? &*style_image : nullptr);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) { // the library's log has the reason, this exception has not
    throw manner.package->failedToRun(*manner.style);
  }
  if (manner.format->code == VORIN_FMT_YUY2) { // of a neural style, with red and blue exchanged
    cv::cvtColor(drawing.bgr, drawing.bgr, cv::COLOR_BGR2RGB);
  }
  cropToPhoto(drawing, photo_bgr, manner);
  if (isLostDrawing(photo_bgr, drawing.bgr)) {
    throw manner.package->failedToRun(*manner.style);
  }
  drawing.load_ms = load_ms;
  drawing.network_size = network_size;
  return drawing;
}

void Stylizer::beginClip(const Manner& manner, cv::Size size) {
  if (manner.style->isNeural()) {
    loadNetwork(manner, networkSize(size));
  }
  if (manner.style->takesStyleImage()) {
    next_style_image_ = frameFromPicture(*findFrameFormat("bgr24"), manner.style_image_bgr);
  }
  setSize(size);
}

void Stylizer::drawClipFrame(const SttFrame& input, SttFrame& output) {
  const SttFrame style = next_style_image_ ? descriptorOf(*next_style_image_) : SttFrame{};
  const _VorinStatus status = guarded("a frame cannot be drawn", [&] {
    return object_->ProcessFrame(context_, &input, next_style_image_ ? &style : nullptr, &output);
  });
  require(status, ExitStatus::kDevice, "a frame cannot be drawn");
  next_style_image_.reset();
}

double Stylizer::loadNetwork(const Manner& manner, cv::Size network_size) {
  const Turn turn;
  const auto start = std::chrono::steady_clock::now();
  setConfig(SttCfgStyleType, manner.style->type);
  setConfig(SttCfgStyleIndex, manner.network->style_index);
  setSize(network_size);
  require(object_->SetConfig(context_, SttCfgModelPath, manner.package->libraryFolder().c_str()), ExitStatus::kConfiguration,
          "the library refuses the folder of the models");
  const _VorinStatus status = guarded("the network cannot be loaded", [&] {
    const CancellationWaits until_the_files_are_gone; // that the library unpacks, and until there is a standard error again
    const Quiet output(Stream::kOutput);              // where the library reports each failed attempt, and where only data may go
    // The inference runtime's readers complain on standard error about files that are not theirs. The library's log goes there
    // too, and whoever has switched it on wants to see it.
    std::optional<Quiet> error;
    if (!libraryLogIsOn()) {
      error.emplace(Stream::kError);
    }
    return object_->Prepare(context_);
  });
  if (status != VORIN_STATUS_OK) {
    throw manner.package->failedToLoad(*manner.style);
  }
  loaded_network_ = manner.network;
  loaded_size_ = network_size;
  return millisecondsSince(start);
}

void Stylizer::setSize(cv::Size size) {
  setConfig(SttCfgWidth, size.width);
  setConfig(SttCfgHeight, size.height);
}

Drawing Stylizer::drawFrame(const cv::Mat& photo_bgr, const FrameFormat& format, cv::Size size, const Frame* style_image) {
  setSize(size);
  const Frame input = frameFromPicture(format, photo_bgr);
  Frame output = emptyFrame(format, size);
  Drawing drawing;
  drawing.elapsed_ms = process(input, style_image, output);
  drawing.bgr = pictureFromFrame(output);
  return drawing;
}

double Stylizer::process(const Frame& input, const Frame* style_image, Frame& output) {
  const SttFrame in = descriptorOf(input);
  const SttFrame style = style_image == nullptr ? SttFrame{} : descriptorOf(*style_image);
  SttFrame out = descriptorOf(output);
  const auto start = std::chrono::steady_clock::now();
  const _VorinStatus status = object_->ProcessFrame(context_, &in, style_image == nullptr ? nullptr : &style, &out);
  const double elapsed_ms = millisecondsSince(start);
  require(status, ExitStatus::kDevice, "the photo cannot be drawn");
  return elapsed_ms;
}

} // namespace vorin::stylize
