#include "picture_conversion.h"

#include "sources_and_sinks.h"

#include <array>
#include <memory>
#include <new>

namespace vorin::media {
namespace {

struct Planes {
  std::array<std::uint8_t*, 4> data{};
  std::array<int, 4> pitches_bytes{};
};

AVPixelFormat formatOf(PixelLayout layout) {
  switch (layout) {
  case PixelLayout::kBgra:
    return AV_PIX_FMT_BGRA;
  case PixelLayout::kRgba:
    return AV_PIX_FMT_RGBA;
  case PixelLayout::kBgr24:
    return AV_PIX_FMT_BGR24;
  case PixelLayout::kRgb24:
    return AV_PIX_FMT_RGB24;
  case PixelLayout::kYuy2:
    return AV_PIX_FMT_YUYV422;
  case PixelLayout::kNv12:
    break;
  }
  return AV_PIX_FMT_NV12;
}

Planes planesOf(Picture& picture) {
  Planes planes;
  planes.data[0] = picture.pixels();
  planes.pitches_bytes[0] = static_cast<int>(picture.pitchBytes());
  if (picture.layout() == PixelLayout::kNv12) {
    planes.data[1] = picture.pixels() + picture.pitchBytes() * static_cast<std::size_t>(picture.size().height);
    planes.pitches_bytes[1] = planes.pitches_bytes[0];
  }
  return planes;
}

bool isYuv(AVPixelFormat format) {
  const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
  return (descriptor->flags & AV_PIX_FMT_FLAG_RGB) == 0 && descriptor->nb_components >= 3;
}

void freePicture(void* picture, std::uint8_t* /*bytes*/) {
  delete static_cast<Picture*>(picture); // NOLINT(cppcoreguidelines-owning-memory)
}

// Wraps the picture's memory in a frame, which then owns the memory.
FrameHandle frameOver(Picture&& picture) {
  auto owner = std::make_unique<Picture>(picture.ownsPixels() ? std::move(picture) : picture.copy());
  FrameHandle frame = newFrame();
  const Planes planes = planesOf(*owner);
  std::copy(planes.data.begin(), planes.data.end(), frame->data);
  std::copy(planes.pitches_bytes.begin(), planes.pitches_bytes.end(), frame->linesize);
  frame->format = formatOf(owner->layout());
  frame->width = owner->size().width;
  frame->height = owner->size().height;
  frame->buf[0] = av_buffer_create(owner->pixels(), owner->byteCount(), freePicture, owner.get(), 0);
  if (frame->buf[0] == nullptr) {
    throw std::bad_alloc();
  }
  static_cast<void>(owner.release());
  return frame;
}

void copyPixels(const AVFrame& from, Picture& to) {
  Planes planes = planesOf(to);
  std::array<const std::uint8_t*, 4> source{};
  std::copy_n(from.data, source.size(), source.begin());
  av_image_copy(planes.data.data(), planes.pitches_bytes.data(), source.data(), from.linesize, formatOf(to.layout()),
                to.size().width, to.size().height);
}

void copyPixels(Picture& from, AVFrame& to) {
  const Planes planes = planesOf(from);
  std::array<const std::uint8_t*, 4> source{};
  std::copy(planes.data.begin(), planes.data.end(), source.begin());
  av_image_copy(to.data, to.linesize, source.data(), planes.pitches_bytes.data(), formatOf(from.layout()), from.size().width,
                from.size().height);
}

bool isOf(const AVFrame& frame, AVPixelFormat format, Size size) {
  return frame.format == format && frame.width == size.width && frame.height == size.height;
}

} // namespace

AVPixelFormat plainFormat(AVPixelFormat format) {
  switch (format) {
  case AV_PIX_FMT_YUVJ420P:
    return AV_PIX_FMT_YUV420P;
  case AV_PIX_FMT_YUVJ422P:
    return AV_PIX_FMT_YUV422P;
  case AV_PIX_FMT_YUVJ444P:
    return AV_PIX_FMT_YUV444P;
  case AV_PIX_FMT_YUVJ440P:
    return AV_PIX_FMT_YUV440P;
  case AV_PIX_FMT_YUVJ411P:
    return AV_PIX_FMT_YUV411P;
  default:
    return format;
  }
}

bool impliesFullRange(AVPixelFormat format) {
  return plainFormat(format) != format;
}

PixelLayout layoutForFormat(AVPixelFormat format, Size size) {
  const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
  const bool is_420 = isYuv(format) && descriptor->log2_chroma_w == 1 && descriptor->log2_chroma_h == 1;
  return layoutFor(is_420 ? PixelLayout::kNv12 : PixelLayout::kBgra, size);
}

FrameHandle newFrame(AVPixelFormat format, Size size) {
  FrameHandle frame = newFrame();
  frame->format = format;
  frame->width = size.width;
  frame->height = size.height;
  if (av_frame_get_buffer(frame.get(), 0) < 0) {
    throw std::bad_alloc();
  }
  return frame;
}

Scaler::Shape Scaler::shapeOf(const AVFrame& frame, const YuvColours& colours) {
  return {plainFormat(static_cast<AVPixelFormat>(frame.format)), {frame.width, frame.height}, colours};
}

void Scaler::prepare(const Shape& from, const Shape& to) {
  if (context_ && from_ == from && to_ == to) {
    return;
  }
  constexpr int kQuality = SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP;
  context_.reset(sws_getContext(from.size.width, from.size.height, from.format, to.size.width, to.size.height, to.format,
                                kQuality, nullptr, nullptr, nullptr));
  if (!context_) {
    throw Error(ErrorKind::kInputOutput, std::string("pictures of the kind ") + av_get_pix_fmt_name(from.format) +
                                             " cannot be converted: convert the clip with another program first");
  }
  // Fails if neither side is YUV; then there is nothing to set.
  constexpr int kNeutral = 1 << 16;
  static_cast<void>(sws_setColorspaceDetails(context_.get(), sws_getCoefficients(from.colours.matrix),
                                             from.colours.full_range ? 1 : 0, sws_getCoefficients(to.colours.matrix),
                                             to.colours.full_range ? 1 : 0, 0, kNeutral, kNeutral));
  from_ = from;
  to_ = to;
}

void Scaler::scale(const AVFrame& from, const YuvColours& from_colours, AVFrame& to, const YuvColours& to_colours) {
  prepare(shapeOf(from, from_colours), shapeOf(to, to_colours));
  sws_scale(context_.get(), from.data, from.linesize, 0, from.height, to.data, to.linesize);
}

PictureFromFrame::PictureFromFrame(PixelLayout layout, Size size, const YuvColours& colours, const YuvColours& picture_colours)
    : layout_(layout), size_(size), colours_(colours), to_picture_(colours, picture_colours),
      scaled_(newFrame(formatOf(layout), size)) {}

Picture PictureFromFrame::convert(const AVFrame& frame) {
  Picture picture(layout_, size_);
  if (isOf(frame, formatOf(layout_), size_)) {
    copyPixels(frame, picture);
  } else {
    scaler_.scale(frame, colours_, *scaled_, colours_);
    copyPixels(*scaled_, picture);
  }
  if (layout_ == PixelLayout::kNv12) {
    to_picture_.apply(picture);
  }
  return picture;
}

FrameFromPicture::FrameFromPicture(AVPixelFormat format, Size size, const YuvColours& colours, const YuvColours& picture_colours)
    : format_(format), size_(size), colours_(colours), picture_colours_(picture_colours),
      from_picture_(picture_colours, colours) {}

YuvColours FrameFromPicture::toClip(Picture& picture) const {
  if (picture.layout() == PixelLayout::kNv12 && isYuv(format_)) {
    from_picture_.apply(picture);
    return colours_;
  }
  return picture_colours_;
}

FrameHandle FrameFromPicture::convert(Picture&& picture) {
  const YuvColours colours = toClip(picture);
  if (formatOf(picture.layout()) == format_) {
    return frameOver(std::move(picture));
  }
  if (!aligned_ || !isOf(*aligned_, formatOf(picture.layout()), picture.size())) {
    aligned_ = newFrame(formatOf(picture.layout()), picture.size());
  }
  copyPixels(picture, *aligned_);
  FrameHandle frame = newFrame(format_, size_);
  scaler_.scale(*aligned_, colours, *frame, colours_);
  return frame;
}

} // namespace vorin::media
