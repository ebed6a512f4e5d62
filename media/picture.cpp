#include "picture_mat.h"
#include "sources_and_sinks.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace vorin::media {
namespace {

std::size_t bytesPerPixel(PixelLayout layout) { // of the first plane
  switch (layout) {
  case PixelLayout::kBgra:
  case PixelLayout::kRgba:
    return 4;
  case PixelLayout::kBgr24:
  case PixelLayout::kRgb24:
    return 3;
  case PixelLayout::kYuy2:
    return 2;
  case PixelLayout::kNv12:
    break;
  }
  return 1;
}

void requireFits(PixelLayout layout, Size size) {
  constexpr int kMaxSide = static_cast<int>(kLargestSide);
  const std::string text = sizeText(size);
  if (size.width < 1 || size.height < 1 || size.width > kMaxSide || size.height > kMaxSide) {
    throw Error(ErrorKind::kUsage, "a picture of " + text + " pixels is not possible: its sides may be 1 to 16384");
  }
  const bool is_odd_width = size.width % 2 != 0 && (layout == PixelLayout::kNv12 || layout == PixelLayout::kYuy2);
  if (is_odd_width || (size.height % 2 != 0 && layout == PixelLayout::kNv12)) {
    throw Error(ErrorKind::kUsage, "a picture of " + text + " pixels does not fit its layout, which takes even sides: use BGRA");
  }
}

// OpenCV 4.6 has no conversion to YUY2, and the style library writes it in full range, in neural styles with red and blue
// exchanged. This is video-range BT.601, colour averaged over the two pixels of a pair.
void convertToYuy2(const cv::Mat& bgr, Picture& yuy2) {
  const cv::Matx34f to_yuv(0.098F, 0.504F, 0.257F, 16.0F,    //
                           0.439F, -0.291F, -0.148F, 128.0F, //
                           -0.071F, -0.368F, 0.439F, 128.0F);
  cv::Mat yuv;
  cv::transform(bgr, yuv, to_yuv);
  cv::Mat pairs = matOver(yuy2);
  for (int row = 0; row < yuv.rows; ++row) {
    std::uint8_t* out = pairs.ptr(row);
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

// Video-range BT.601, as OpenCV makes it in three planes.
void convertToNv12(const cv::Mat& bgr, Picture& nv12) {
  cv::Mat planes;
  cv::cvtColor(bgr, planes, cv::COLOR_BGR2YUV_I420);
  planes.rowRange(0, bgr.rows).copyTo(matOver(nv12));
  const std::uint8_t* u = planes.ptr(bgr.rows);
  const std::uint8_t* v = u + static_cast<std::ptrdiff_t>(bgr.total() / 4);
  cv::Mat chroma = chromaOver(nv12);
  for (int row = 0; row < chroma.rows; ++row) {
    std::uint8_t* out = chroma.ptr(row);
    for (int column = 0; column < chroma.cols; ++column) {
      *out++ = *u++;
      *out++ = *v++;
    }
  }
}

void copyRows(const Picture& from, Picture& to) {
  for (std::size_t row = 0; row < from.rowCount(); ++row) {
    std::copy_n(from.pixels() + row * from.pitchBytes(), from.rowBytes(), to.pixels() + row * to.pitchBytes());
  }
}

} // namespace

Picture::Picture(PixelLayout layout, Size size) : layout_(layout), size_(size) {
  requireFits(layout, size);
  pitch_bytes_ = rowBytes();
  owned_.resize(byteCount());
}

Picture Picture::wrap(PixelLayout layout, Size size, std::uint8_t* pixels, std::size_t pitch_bytes) {
  requireFits(layout, size);
  Picture picture;
  picture.layout_ = layout;
  picture.size_ = size;
  if (pixels == nullptr || pitch_bytes < picture.rowBytes()) {
    throw Error(ErrorKind::kUsage, pixels == nullptr ? "a picture without pixels: name the memory that holds them"
                                                     : "a picture's pitch is shorter than its rows: it counts bytes, not pixels");
  }
  picture.pitch_bytes_ = pitch_bytes;
  picture.wrapped_ = pixels;
  return picture;
}

const Picture Picture::wrap(PixelLayout layout, Size size, const std::uint8_t* pixels, std::size_t pitch_bytes) {
  return wrap(layout, size, const_cast<std::uint8_t*>(pixels), pitch_bytes); // a const picture gives out const pixels only
}

Picture Picture::copy() const {
  if (isEmpty()) {
    return {};
  }
  Picture copied(layout_, size_);
  copyRows(*this, copied);
  return copied;
}

std::size_t Picture::rowBytes() const {
  return static_cast<std::size_t>(size_.width) * bytesPerPixel(layout_);
}

std::size_t Picture::rowCount() const {
  const auto rows = static_cast<std::size_t>(size_.height);
  return layout_ == PixelLayout::kNv12 ? rows / 2 * 3 : rows;
}

std::size_t Picture::byteCount() const {
  return pitch_bytes_ * rowCount();
}

Picture::Picture(Picture&& other) noexcept {
  *this = std::move(other);
}

Picture& Picture::operator=(Picture&& other) noexcept {
  layout_ = other.layout_;
  size_ = std::exchange(other.size_, {});
  pitch_bytes_ = std::exchange(other.pitch_bytes_, 0);
  wrapped_ = std::exchange(other.wrapped_, nullptr);
  owned_ = std::move(other.owned_);
  other.owned_.clear();
  return *this;
}

cv::Mat bgrOf(const Picture& picture) {
  cv::Mat bgr = matOver(picture);
  switch (picture.layout()) {
  case PixelLayout::kBgr24:
    break;
  case PixelLayout::kRgb24:
    bgr = cv::Mat(); // else the conversion would take place in the picture itself
    cv::cvtColor(matOver(picture), bgr, cv::COLOR_RGB2BGR);
    break;
  case PixelLayout::kBgra:
    cv::cvtColor(matOver(picture), bgr, cv::COLOR_BGRA2BGR);
    break;
  case PixelLayout::kRgba:
    cv::cvtColor(matOver(picture), bgr, cv::COLOR_RGBA2BGR);
    break;
  case PixelLayout::kNv12:
    cv::cvtColorTwoPlane(matOver(picture), chromaOver(picture), bgr, cv::COLOR_YUV2BGR_NV12);
    break;
  case PixelLayout::kYuy2:
    cv::cvtColor(matOver(picture), bgr, cv::COLOR_YUV2BGR_YUY2);
    break;
  }
  return bgr;
}

Picture pictureFromBgr(const cv::Mat& bgr) {
  Picture picture(PixelLayout::kBgra, {bgr.cols, bgr.rows});
  cv::Mat pixels = matOver(picture);
  cv::cvtColor(bgr, pixels, cv::COLOR_BGR2BGRA);
  return picture;
}

void convert(const Picture& from, Picture& to) {
  if (from.size() != to.size()) {
    throw Error(ErrorKind::kUsage, "a picture of " + sizeText(from.size()) + " pixels is not converted to one of " +
                                       sizeText(to.size()) + ": give both one size");
  }
  cv::Mat result = matOver(to);
  const bool swaps = (from.layout() == PixelLayout::kBgra && to.layout() == PixelLayout::kRgba) ||
                     (from.layout() == PixelLayout::kRgba && to.layout() == PixelLayout::kBgra);
  if (from.layout() == to.layout()) {
    copyRows(from, to);
  } else if (swaps) {
    cv::cvtColor(matOver(from), result, cv::COLOR_BGRA2RGBA);
  } else if (to.layout() == PixelLayout::kNv12) {
    convertToNv12(bgrOf(from), to);
  } else if (to.layout() == PixelLayout::kYuy2) {
    convertToYuy2(bgrOf(from), to);
  } else if (to.layout() == PixelLayout::kBgr24) {
    bgrOf(from).copyTo(result);
  } else {
    const bool has_alpha = to.layout() != PixelLayout::kRgb24;
    const bool is_bgra = to.layout() == PixelLayout::kBgra;
    cv::cvtColor(bgrOf(from), result, is_bgra ? cv::COLOR_BGR2BGRA : has_alpha ? cv::COLOR_BGR2RGBA : cv::COLOR_BGR2RGB);
  }
}

bool isUsableSize(std::uint64_t width, std::uint64_t height) {
  return width >= 1 && width <= kLargestSide && height >= 1 && height <= kLargestSide && width * height <= kMostPixels;
}

std::string sizeLimits() {
  return "sides of 1 to " + std::to_string(kLargestSide) + " and at most " + std::to_string(kMostPixels) + " pixels";
}

std::string sizeText(Size size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

const SourceDetails& detailsOf(const SourceInfo& info) {
  static const SourceDetails unknown;
  return info.details != nullptr ? *info.details : unknown;
}

SourceDetails& detailsOf(SourceInfo& info) {
  if (info.details == nullptr) {
    info.details = std::make_shared<SourceDetails>();
  }
  return *info.details;
}

bool isOnItsSide(const SourceInfo& source) {
  const auto& matrix = detailsOf(source).rotation;
  return matrix && std::abs(std::int64_t{(*matrix)[1]}) > std::abs(std::int64_t{(*matrix)[0]});
}

Size shownSize(const SourceInfo& source) {
  const auto [num, den] = detailsOf(source).pixel_aspect;
  const double aspect = num > 0 && den > 0 ? static_cast<double>(num) / den : 1;
  const int width = static_cast<int>(std::lround(std::clamp(source.size.width * aspect, 1.0, static_cast<double>(kMostPixels))));
  return isOnItsSide(source) ? Size{source.size.height, width} : Size{width, source.size.height};
}

SourceInfo withSquarePixels(SourceInfo source) {
  SourceDetails details = detailsOf(source);
  details.pixel_aspect = {1, 1};
  std::string& parameters = details.y4m_parameters; // " F25:1 Ip A16:15 C420"
  if (const std::size_t aspect = parameters.find(" A"); aspect != std::string::npos) {
    parameters.replace(aspect, parameters.find(' ', aspect + 1) - aspect, " A1:1");
  }
  source.details = std::make_shared<SourceDetails>(std::move(details));
  return source;
}

PixelLayout layoutFor(PixelLayout source, Size size) {
  const bool is_even = size.width % 2 == 0 && size.height % 2 == 0;
  return is_even ? source : PixelLayout::kBgra;
}

} // namespace vorin::media
