// Reads BMP, TIFF and GIF files, of which the first picture, and writes BMP files: by libavcodec, which knows every kind of them.
#include "clip_module.h"
#include "libav_support.h"
#include "picture_conversion.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstring>

namespace vorin::media {
namespace {

CodecHandle openCodec(const AVCodec* codec, Size size, AVPixelFormat format) {
  silenceLibav();
  CodecHandle context(avcodec_alloc_context3(codec));
  if (!context) {
    throw std::bad_alloc();
  }
  context->width = size.width;
  context->height = size.height;
  context->pix_fmt = format;
  context->time_base = {1, 1}; // encoders want one
  context->thread_count = 1;
  return avcodec_open2(context.get(), codec, nullptr) < 0 ? CodecHandle() : std::move(context);
}

PacketHandle packetOf(std::span<const std::uint8_t> file) {
  PacketHandle packet = newPacket();
  if (av_new_packet(packet.get(), static_cast<int>(file.size())) < 0) {
    throw std::bad_alloc();
  }
  std::memcpy(packet->data, file.data(), file.size());
  return packet;
}

} // namespace

cv::Mat clips::decodeImage(std::span<const std::uint8_t> file, ImageKind kind, std::uint64_t most_pixels) {
  const AVCodecID id = kind == ImageKind::kTiff ? AV_CODEC_ID_TIFF : kind == ImageKind::kGif ? AV_CODEC_ID_GIF : AV_CODEC_ID_BMP;
  const CodecHandle decoder = openCodec(avcodec_find_decoder(id), {}, AV_PIX_FMT_NONE);
  const FrameHandle decoded = newFrame();
  if (decoder) {
    constexpr std::uint64_t kMostPadding = 63; // of a row, which libav counts too
    decoder->max_pixels = static_cast<std::int64_t>(std::min(most_pixels, kMostPixels) + kMostPadding * kLargestSide);
  }
  if (!decoder || avcodec_send_packet(decoder.get(), packetOf(file).get()) < 0 ||
      avcodec_receive_frame(decoder.get(), decoded.get()) < 0) {
    return {};
  }
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(decoded->format));
  const bool has_alpha = (format->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
  const FrameHandle bgr = newFrame(has_alpha ? AV_PIX_FMT_BGRA : AV_PIX_FMT_BGR24, {decoded->width, decoded->height});
  Scaler().scale(*decoded, {.full_range = true}, *bgr, {}); // grey and YUV of images have all values
  return cv::Mat(bgr->height, bgr->width, has_alpha ? CV_8UC4 : CV_8UC3, bgr->data[0], static_cast<std::size_t>(bgr->linesize[0]))
      .clone();
}

std::vector<std::uint8_t> clips::encodeBmp(const cv::Mat& bgr) {
  const Size size = {bgr.cols, bgr.rows};
  const CodecHandle encoder = openCodec(avcodec_find_encoder(AV_CODEC_ID_BMP), size, AV_PIX_FMT_BGR24);
  const FrameHandle frame = newFrame(AV_PIX_FMT_BGR24, size);
  bgr.copyTo(cv::Mat(bgr.size(), CV_8UC3, frame->data[0], static_cast<std::size_t>(frame->linesize[0])));
  const PacketHandle file = newPacket();
  if (!encoder || avcodec_send_frame(encoder.get(), frame.get()) < 0 || avcodec_receive_packet(encoder.get(), file.get()) < 0) {
    return {};
  }
  return {file->data, file->data + file->size};
}

} // namespace vorin::media
