#include "frame_conversion.h"

#include "name_table.h"

#include <opencv2/imgproc.hpp>

#include <array>
#include <cstring>
#include <stdexcept>

namespace vorin::stylize {
namespace {

constexpr std::array kFrameFormats = {
    FrameFormat{"bgra", VORIN_FMT_BGRA, false},   FrameFormat{"rgba", VORIN_FMT_RGBA, false},
    FrameFormat{"bgr24", VORIN_FMT_BGR24, false}, FrameFormat{"nv12", VORIN_FMT_NV12, true},
    FrameFormat{"yuy2", VORIN_FMT_YUY2, true},
};

std::uint32_t bytesPerPixel(SttPixelFormat format) { // of the first plane
  switch (format) {
  case VORIN_FMT_BGRA:
  case VORIN_FMT_RGBA:
    return 4;
  case VORIN_FMT_BGR24:
    return 3;
  case VORIN_FMT_NV12:
    return 1;
  case VORIN_FMT_YUY2:
    return 2;
  }
  throw std::invalid_argument("unknown frame format");
}

std::size_t frameBytes(SttPixelFormat format, cv::Size size) {
  const auto pixels = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
  return format == VORIN_FMT_NV12 ? pixels / 2 * 3 : pixels * bytesPerPixel(format);
}

cv::Mat withEvenSize(const cv::Mat& bgr) {
  if (bgr.cols % 2 == 0 && bgr.rows % 2 == 0) {
    return bgr;
  }
  cv::Mat padded;
  cv::copyMakeBorder(bgr, padded, 0, bgr.rows % 2, 0, bgr.cols % 2, cv::BORDER_REPLICATE);
  return padded;
}

void fillNv12(const cv::Mat& bgr, std::vector<std::uint8_t>& bytes) {
  cv::Mat i420;
  cv::cvtColor(bgr, i420, cv::COLOR_BGR2YUV_I420);
  const std::size_t luma_bytes = bgr.total();
  const std::size_t plane_bytes = luma_bytes / 4;
  std::memcpy(bytes.data(), i420.data, luma_bytes);
  const std::uint8_t* u = i420.data + luma_bytes;
  const std::uint8_t* v = u + plane_bytes;
  for (std::size_t i = 0; i < plane_bytes; ++i) {
    bytes[luma_bytes + 2 * i] = u[i];
    bytes[luma_bytes + 2 * i + 1] = v[i];
  }
}

// OpenCV 4.6 has no conversion into YUY2: the video-range BT.601 matrix by hand, colour averaged over the two pixels of a pair.
void fillYuy2(const cv::Mat& bgr, std::vector<std::uint8_t>& bytes) {
  const cv::Matx34f to_yuv(0.098F, 0.504F, 0.257F, 16.0F,    //
                           0.439F, -0.291F, -0.148F, 128.0F, //
                           -0.071F, -0.368F, 0.439F, 128.0F);
  cv::Mat yuv;
  cv::transform(bgr, yuv, to_yuv);
  std::uint8_t* out = bytes.data();
  for (int row = 0; row < yuv.rows; ++row) {
    for (int column = 0; column < yuv.cols; column += 2) {
      const auto& left = yuv.at<cv::Vec3b>(row, column);
      const auto& right = yuv.at<cv::Vec3b>(row, column + 1);
      *out++ = left[0];
      *out++ = static_cast<std::uint8_t>((left[1] + right[1] + 1) / 2);
      *out++ = right[0];
      *out++ = static_cast<std::uint8_t>((left[2] + right[2] + 1) / 2);
    }
  }
}

cv::Mat pictureFromYuy2(const Frame& frame) {
  cv::Mat yuv(frame.size, CV_8UC3);
  const std::uint8_t* pair = frame.bytes.data();
  for (int row = 0; row < yuv.rows; ++row) {
    for (int column = 0; column < yuv.cols; column += 2, pair += 4) {
      yuv.at<cv::Vec3b>(row, column) = {pair[0], pair[1], pair[3]};
      yuv.at<cv::Vec3b>(row, column + 1) = {pair[2], pair[1], pair[3]};
    }
  }
  cv::Mat bgr;
  cv::cvtColor(yuv, bgr, cv::COLOR_YUV2BGR);
  return bgr;
}

// A header over the frame's bytes; OpenCV has no type for read-only pixels.
cv::Mat wrapped(const Frame& frame, int rows, int type) {
  return {rows, frame.size.width, type, const_cast<std::uint8_t*>(frame.bytes.data())};
}

} // namespace

std::span<const FrameFormat> frameFormats() {
  return kFrameFormats;
}

const FrameFormat* findFrameFormat(std::string_view name) {
  return findByName(frameFormats(), name);
}

std::string frameFormatNames() {
  return joinNames(frameFormats());
}

std::uint32_t pitchBytes(const Frame& frame) {
  return static_cast<std::uint32_t>(frame.size.width) * bytesPerPixel(frame.format);
}

cv::Size frameSize(const FrameFormat& format, cv::Size picture_size) {
  if (!format.even_sizes_only) {
    return picture_size;
  }
  return {picture_size.width + picture_size.width % 2, picture_size.height + picture_size.height % 2};
}

Frame emptyFrame(const FrameFormat& format, cv::Size size) {
  return {format.code, size, std::vector<std::uint8_t>(frameBytes(format.code, size))};
}

Frame frameFromPicture(const FrameFormat& format, const cv::Mat& bgr) {
  Frame frame = emptyFrame(format, frameSize(format, bgr.size()));
  cv::Mat pixels;
  switch (format.code) {
  case VORIN_FMT_BGRA:
    pixels = wrapped(frame, bgr.rows, CV_8UC4);
    cv::cvtColor(bgr, pixels, cv::COLOR_BGR2BGRA);
    break;
  case VORIN_FMT_RGBA:
    pixels = wrapped(frame, bgr.rows, CV_8UC4);
    cv::cvtColor(bgr, pixels, cv::COLOR_BGR2RGBA);
    break;
  case VORIN_FMT_BGR24:
    pixels = wrapped(frame, bgr.rows, CV_8UC3);
    bgr.copyTo(pixels);
    break;
  case VORIN_FMT_NV12:
    fillNv12(withEvenSize(bgr), frame.bytes);
    break;
  case VORIN_FMT_YUY2:
    fillYuy2(withEvenSize(bgr), frame.bytes);
    break;
  }
  return frame;
}

cv::Mat pictureFromFrame(const Frame& frame) {
  cv::Mat bgr;
  switch (frame.format) {
  case VORIN_FMT_BGRA:
    cv::cvtColor(wrapped(frame, frame.size.height, CV_8UC4), bgr, cv::COLOR_BGRA2BGR);
    break;
  case VORIN_FMT_RGBA:
    cv::cvtColor(wrapped(frame, frame.size.height, CV_8UC4), bgr, cv::COLOR_RGBA2BGR);
    break;
  case VORIN_FMT_BGR24:
    bgr = wrapped(frame, frame.size.height, CV_8UC3).clone();
    break;
  case VORIN_FMT_NV12:
    cv::cvtColor(wrapped(frame, frame.size.height / 2 * 3, CV_8UC1), bgr, cv::COLOR_YUV2BGR_NV12);
    break;
  case VORIN_FMT_YUY2:
    bgr = pictureFromYuy2(frame);
    break;
  }
  return bgr;
}

} // namespace vorin::stylize
