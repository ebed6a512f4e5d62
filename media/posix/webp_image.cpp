// WebP files by libwebp; of an animation, the first picture.
#include "../image_codec.h"

#include <opencv2/core.hpp>

#include <memory>
#include <webp/decode.h>
#include <webp/demux.h>
#include <webp/encode.h>

namespace vorin::media {
namespace {

using Bytes = std::span<const std::uint8_t>;

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

} // namespace

cv::Mat decodeWebp(Bytes file) {
  return readImageHeader(file).is_animated ? decodeAnimation(file) : decodeStill(file);
}

std::vector<std::uint8_t> encodeWebp(const cv::Mat& picture, std::optional<int> quality) {
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
  return {bytes, bytes + count};
}

} // namespace vorin::media
