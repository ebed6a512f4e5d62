#include "effects/library_object.h"

#include "picture_mat.h"
#include "sources_and_sinks.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <chrono>
#include <exception>
#include <new>

namespace vorin::media {
namespace {

constexpr const char* kTrySoftware = ": try --device software";
constexpr const char* kNoFrame = "a frame cannot be restyled";

void require(_VorinStatus status, const std::string& line) {
  if (status != VORIN_STATUS_OK) {
    throw Error(ErrorKind::kDevice, line + " (status " + std::to_string(status) + ")" + kTrySoftware);
  }
}

// Calls the library and turns exceptions into an Error.
template <typename Work> auto guarded(const char* what, const Work& work) {
  try {
    return work();
  } catch (const Error&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw Error(ErrorKind::kDevice, std::string(what) + ": not enough memory: use a smaller image");
  } catch (const std::exception& error) {
    throw Error(ErrorKind::kDevice, std::string(what) + " (" + error.what() + ")" + kTrySoftware);
  } catch (...) {
    throw Error(ErrorKind::kDevice, std::string(what) + " (unknown exception)" + kTrySoftware);
  }
}

// Ramps and a dark square with hard edges: a filter that works never gives one colour for it.
Picture testPicture() {
  Picture picture(PixelLayout::kBgra, {64, 48});
  cv::Mat pixels = matOver(picture);
  for (int row = 0; row < pixels.rows; ++row) {
    for (int column = 0; column < pixels.cols; ++column) {
      const bool in_square = row >= 16 && row < 32 && column >= 24 && column < 40;
      const auto ramp = static_cast<std::uint8_t>(in_square ? 20 : 120 + column + row);
      pixels.at<cv::Vec4b>(row, column) = {ramp, ramp, ramp, 255};
    }
  }
  return picture;
}

SttPixelFormat formatOf(PixelLayout layout) {
  switch (layout) {
  case PixelLayout::kBgra:
    return VORIN_FMT_BGRA;
  case PixelLayout::kRgba:
    return VORIN_FMT_RGBA;
  case PixelLayout::kBgr24:
    return VORIN_FMT_BGR24;
  case PixelLayout::kNv12:
    return VORIN_FMT_NV12;
  case PixelLayout::kYuy2:
  case PixelLayout::kRgb24: // never given to the library
    break;
  }
  return VORIN_FMT_YUY2;
}

SttFrame frameOver(const Picture& picture) {
  SttFrame frame{};
  frame.memoryType = VORIN_MEM_SYSTEM;
  frame.data = const_cast<std::uint8_t*>(picture.pixels()); // written to only where the frame is an output
  frame.pixelFormat = formatOf(picture.layout());
  frame.width = static_cast<std::uint32_t>(picture.size().width);
  frame.height = static_cast<std::uint32_t>(picture.size().height);
  frame.pitch = static_cast<std::uint32_t>(picture.pitchBytes());
  return frame;
}

} // namespace

LibraryObject::LibraryObject(LibraryCopy& copy) : copy_(copy) {
  constexpr const char* kNoStart = "the style-transfer library does not start";
  object_ = guarded(kNoStart, [&] { return copy.create(); });
  require(object_->CreateContext(nullptr, &context_), kNoStart);
}

SttVersion LibraryObject::version() {
  SttVersion version{};
  require(object_->GetVersion(&version), "the library does not report its version");
  return version;
}

std::vector<ListedGpu> LibraryObject::gpus() {
  constexpr const char* kNoList = "the devices cannot be listed";
  std::int32_t count = 0;
  require(object_->EnumDevice(nullptr, &count), kNoList);
  std::vector<SttDeviceInfo> records(static_cast<std::size_t>(count));
  require(object_->EnumDevice(records.data(), &count), kNoList);
  std::vector<ListedGpu> gpus;
  for (const SttDeviceInfo& record : records) {
    const char* end = std::find(record.name, record.name + VORIN_STT_NAME_BYTES, '\0');
    gpus.push_back({static_cast<SttDeviceKind>(record.kind), std::string(record.name, end)});
  }
  return gpus;
}

void LibraryObject::selectGpu(SttDeviceKind kind) {
  SttDeviceRequest request{};
  request.kind = kind;
  SttDeviceRecord* selected = nullptr;
  require(object_->CreateDevice(&request, &selected), "the GPU cannot be selected");
}

void LibraryObject::set(SttConfigKey key, std::int32_t value) {
  require(object_->SetConfig(context_, key, &value), "the library refuses a setting");
}

void LibraryObject::setSize(Size size) {
  set(SttCfgWidth, size.width);
  set(SttCfgHeight, size.height);
}

bool LibraryObject::prepareFilter(Style style) {
  const std::string what = "the style '" + std::string(nameOf(style)) + "' cannot be prepared";
  set(SttCfgStyleType, static_cast<std::int32_t>(style));
  require(guarded(what.c_str(), [&] { return object_->Prepare(context_); }), what);
  const Picture input = testPicture();
  Picture output(PixelLayout::kBgra, input.size());
  process(input, nullptr, output);
  return !isOneColour(matOver(output));
}

bool LibraryObject::loadNetwork(const ModelPackage& package, const modelpack::NamedNetwork& network, Size size,
                                std::uint64_t cache_bytes) {
  requireRoomForNetwork(package.bytesOf(network));
  copy_.keepCompiled(cache_bytes > 0);
  set(SttCfgStyleType, network.style_type);
  set(SttCfgStyleIndex, network.style_index);
  setSize(size);
  require(object_->SetConfig(context_, SttCfgModelPath, package.libraryFolder().c_str()),
          "the library refuses the folder of the models");
  const _VorinStatus status = guarded("the network cannot be loaded", [&] { return object_->Prepare(context_); });
  if (cache_bytes > 0) {
    boundNetworkCache(cache_bytes);
  }
  return status == VORIN_STATUS_OK;
}

double LibraryObject::process(const Picture& input, const Picture* style_image, Picture& output) {
  const SttFrame in = frameOver(input);
  const SttFrame style = style_image == nullptr ? SttFrame{} : frameOver(*style_image);
  SttFrame out = frameOver(output);
  setSize(output.size());
  const auto start = std::chrono::steady_clock::now();
  const _VorinStatus status =
      guarded(kNoFrame, [&] { return object_->ProcessFrame(context_, &in, style_image == nullptr ? nullptr : &style, &out); });
  require(status, kNoFrame);
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

PixelLayout deliveredLayout(PixelLayout wanted) {
  return wanted == PixelLayout::kYuy2 ? PixelLayout::kBgra : wanted == PixelLayout::kRgb24 ? PixelLayout::kBgr24 : wanted;
}

bool isOneColour(const cv::Mat& pixels) {
  const std::size_t pixel_bytes = pixels.elemSize();
  const std::size_t row_bytes = pixel_bytes * static_cast<std::size_t>(pixels.cols);
  for (int row = 0; row < pixels.rows; ++row) {
    const std::uint8_t* begin = pixels.ptr(row);
    if (!std::equal(begin, begin + pixel_bytes, pixels.ptr()) || !std::equal(begin + pixel_bytes, begin + row_bytes, begin)) {
      return false;
    }
  }
  return true;
}

Size networkSize(Size picture) {
  constexpr int kLeastSide = 32;
  constexpr double kMaxWidth = 1920;
  constexpr double kMaxHeight = 1080;
  const double scale = std::min({1.0, kMaxWidth / picture.width, kMaxHeight / picture.height});
  return {std::max(kLeastSide, cvRound(picture.width * scale)), std::max(kLeastSide, cvRound(picture.height * scale))};
}

} // namespace vorin::media
