// WebP files by libwebp; of an animation, the first picture.
#include "../image_bytes.h"
#include "../image_codec.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <memory>
#include <string_view>
#include <webp/decode.h>
#include <webp/demux.h>
#include <webp/encode.h>

namespace vorin::media {
namespace {

cv::Mat decodeStill(Bytes file) {
  WebPBitstreamFeatures features;
  if (WebPGetFeatures(file.data(), file.size(), &features) != VP8_STATUS_OK) {
    return {};
  }
  const bool has_alpha = features.has_alpha != 0;
  cv::Mat picture;
  if (!makePicture(picture, static_cast<std::uint64_t>(features.width), static_cast<std::uint64_t>(features.height),
                   has_alpha ? 4 : 3)) {
    return {};
  }
  const auto decode = has_alpha ? &WebPDecodeBGRAInto : &WebPDecodeBGRInto;
  const auto pitch_bytes = static_cast<int>(picture.step);
  const std::size_t bytes = picture.total() * picture.elemSize();
  return decode(file.data(), file.size(), picture.data, bytes, pitch_bytes) != nullptr ? picture : cv::Mat();
}

// The first picture may cover a part of the canvas only; the rest is transparent.
cv::Mat decodeAnimation(Bytes file) {
  const WebPData data = {file.data(), file.size()};
  const std::unique_ptr<WebPDemuxer, void (*)(WebPDemuxer*)> demuxer(WebPDemux(&data), &WebPDemuxDelete);
  WebPIterator first = {};
  if (!demuxer || WebPDemuxGetFrame(demuxer.get(), 1, &first) == 0) {
    return {};
  }
  const std::unique_ptr<WebPIterator, void (*)(WebPIterator*)> owner(&first, &WebPDemuxReleaseIterator);
  const cv::Mat part = decodeStill({first.fragment.bytes, first.fragment.size});
  const cv::Rect place(first.x_offset, first.y_offset, first.width, first.height);
  cv::Mat canvas;
  if (part.size() != place.size() || place.x < 0 || place.y < 0 ||
      !makePicture(canvas, WebPDemuxGetI(demuxer.get(), WEBP_FF_CANVAS_WIDTH),
                   WebPDemuxGetI(demuxer.get(), WEBP_FF_CANVAS_HEIGHT), 4)) {
    return {};
  }
  if (place.x > canvas.cols - place.width || place.y > canvas.rows - place.height) {
    return {};
  }
  canvas.setTo(cv::Scalar::all(0));
  cv::Mat opaque;
  if (part.channels() == 3) {
    cv::merge(std::vector<cv::Mat>{part, cv::Mat(part.size(), CV_8UC1, cv::Scalar(255))}, opaque);
  }
  (opaque.empty() ? part : opaque).copyTo(canvas(place));
  return canvas;
}

void appendNumber(std::vector<std::uint8_t>& file, std::size_t value, int bytes) {
  for (int index = 0; index < bytes; ++index) {
    file.push_back(static_cast<std::uint8_t>(value >> (8 * index)));
  }
}

void appendChunk(std::vector<std::uint8_t>& file, std::string_view name, Bytes content) {
  file.insert(file.end(), name.begin(), name.end());
  appendNumber(file, content.size(), 4);
  file.insert(file.end(), content.begin(), content.end());
  file.resize(file.size() + content.size() % 2);
}

// Puts tags around the chunks of a file that libwebp has encoded. They need the chunk VP8X, which tells what is there.
std::vector<std::uint8_t> withTags(Bytes encoded, const cv::Mat& picture, const ImageTags& tags) {
  constexpr std::size_t kHeadBytes = 12; // RIFF, length, WEBP
  constexpr std::size_t kCanvasBytes = 18;
  const bool has_canvas = textAt(encoded, kHeadBytes, "VP8X");
  const unsigned flags =
      (tags.profile.empty() ? 0U : 0x20U) | (picture.channels() == 4 ? 0x10U : 0U) | (tags.exif.empty() ? 0U : 8U);
  std::vector<std::uint8_t> canvas;
  appendNumber(canvas, flags, 4);
  appendNumber(canvas, static_cast<std::size_t>(picture.cols - 1), 3);
  appendNumber(canvas, static_cast<std::size_t>(picture.rows - 1), 3);
  std::vector<std::uint8_t> file(encoded.begin(), encoded.begin() + kHeadBytes);
  appendChunk(file, "VP8X", canvas);
  if (!tags.profile.empty()) {
    appendChunk(file, "ICCP", tags.profile);
  }
  const Bytes pixels = encoded.subspan(kHeadBytes + (has_canvas ? kCanvasBytes : 0));
  file.insert(file.end(), pixels.begin(), pixels.end());
  if (!tags.exif.empty()) {
    appendChunk(file, "EXIF", tags.exif);
  }
  std::vector<std::uint8_t> length;
  appendNumber(length, file.size() - 8, 4);
  std::copy(length.begin(), length.end(), file.begin() + 4);
  return file;
}

} // namespace

cv::Mat decodeWebp(Bytes file) {
  return readImageHeader(file).is_animated ? decodeAnimation(file) : decodeStill(file);
}

std::vector<std::uint8_t> encodeWebp(const cv::Mat& picture, std::optional<int> quality, const ImageTags& tags) {
  const bool has_alpha = picture.channels() == 4;
  const auto pitch_bytes = static_cast<int>(picture.step);
  std::uint8_t* bytes = nullptr;
  std::size_t count = 0;
  if (quality) {
    const auto encode = has_alpha ? &WebPEncodeBGRA : &WebPEncodeBGR;
    count = encode(picture.data, picture.cols, picture.rows, pitch_bytes, static_cast<float>(*quality), &bytes);
  } else {
    const auto encode = has_alpha ? &WebPEncodeLosslessBGRA : &WebPEncodeLosslessBGR;
    count = encode(picture.data, picture.cols, picture.rows, pitch_bytes, &bytes);
  }
  const std::unique_ptr<std::uint8_t, void (*)(void*)> owner(bytes, &WebPFree);
  const Bytes encoded(bytes, count);
  const bool has_tags = count > 0 && !(tags.profile.empty() && tags.exif.empty());
  return has_tags ? withTags(encoded, picture, tags) : std::vector<std::uint8_t>(encoded.begin(), encoded.end());
}

} // namespace vorin::media
