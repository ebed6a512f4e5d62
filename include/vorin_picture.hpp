/** @file
 * Pictures in memory, for vorin_media.hpp, whose introduction holds here too. */
#ifndef VORIN_PICTURE_HPP
#define VORIN_PICTURE_HPP

#include "vorin_error.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

/** Marks what the media library exports. */
#define VORIN_MEDIA_API VORIN_ERROR_API

/** The media library. */
namespace vorin::media {

/** Width and height of a picture. */
struct Size {
  int width = 0;                                /**< pixels */
  int height = 0;                               /**< pixels */
  bool operator==(const Size&) const = default; /**< both sides are equal */
};

/** A fraction, such as a frame rate of 30000/1001. */
struct Rational {
  int num = 0; /**< numerator */
  int den = 1; /**< denominator */
};

/** 8 bits a sample, top row first. YUV is video-range BT.601 unless a source was opened with exact_colours. */
enum class PixelLayout {
  kBgra,  /**< 4 bytes a pixel: blue, green, red, alpha */
  kRgba,  /**< 4 bytes a pixel: red, green, blue, alpha */
  kBgr24, /**< 3 bytes a pixel: blue, green, red */
  kNv12,  /**< height rows of luma, then height / 2 rows of width / 2 pairs U, V, all of one pitch; even sizes only */
  kYuy2,  /**< 2 bytes a pixel: Y0, U, Y1, V for each pair of pixels; even widths only */
  kRgb24  /**< 3 bytes a pixel: red, green, blue */
};

/** Pixels in memory: its own, or the caller's, which must outlive the picture. Moves, and is copied by copy() only. */
class VORIN_MEDIA_API Picture {
public:
  Picture() = default; /**< empty */

  /** Owns zeroed pixels, rows without padding. Throws kUsage for a side outside 1 to 16384 or one that the layout cannot hold. */
  Picture(PixelLayout layout, Size size);

  /** Wraps memory: pixels is the first byte of the top row, pitch_bytes the distance between rows, at least a row's bytes. Throws
   * kUsage as above, and for a null pointer or a pitch below a row. */
  static Picture wrap(PixelLayout layout, Size size, std::uint8_t* pixels, std::size_t pitch_bytes);
  /** The same for memory that must not be written to. */
  static const Picture wrap(PixelLayout layout, Size size, const std::uint8_t* pixels, std::size_t pitch_bytes);

  Picture copy() const; /**< owns its pixels, rows without padding */

  bool isEmpty() const { return pixels() == nullptr; }                              /**< holds no pixels */
  bool ownsPixels() const { return !owned_.empty(); }                               /**< wraps no memory */
  PixelLayout layout() const { return layout_; }                                    /**< of its pixels */
  Size size() const { return size_; }                                               /**< in pixels */
  std::size_t pitchBytes() const { return pitch_bytes_; }                           /**< from row to row */
  std::size_t rowBytes() const;                                                     /**< of a row without its padding */
  std::size_t rowCount() const;                                                     /**< with those of NV12's chroma */
  std::size_t byteCount() const;                                                    /**< pitchBytes() * rowCount() */
  std::uint8_t* pixels() { return wrapped_ != nullptr ? wrapped_ : owned_.data(); } /**< the first byte */
  const std::uint8_t* pixels() const { return wrapped_ != nullptr ? wrapped_ : owned_.data(); } /**< the first byte */

  Picture(Picture&& other) noexcept;            /**< leaves other empty */
  Picture& operator=(Picture&& other) noexcept; /**< leaves other empty */
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;
  ~Picture() = default;

private:
  PixelLayout layout_ = PixelLayout::kBgra;
  Size size_;
  std::size_t pitch_bytes_ = 0;
  std::uint8_t* wrapped_ = nullptr;
  std::vector<std::uint8_t> owned_;
};

/** Writes the pixels of from to to, in the layout of to. Both have one size. Alpha becomes 255 unless both layouts have it.
 * kUsage: the sizes differ. */
VORIN_MEDIA_API void convert(const Picture& from, Picture& to);

} // namespace vorin::media

#endif
