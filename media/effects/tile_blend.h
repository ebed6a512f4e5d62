// The pixels of a tile: bytes of the steadied picture before, moved by whole pixels and sixteenths, and bytes of the present one,
// blended by weights that run evenly from corner to corner.
//
// A tile moves by one vector and is 8 pixels wide in a picture and in its luma, 4 in chroma of half the size, always: then the
// loops run over rows of known length, in 16-bit numbers. The last tile of a row may overlap the one before; those of the last
// row may be less high.
#pragma once

#include <opencv2/core.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace vorin::media {

constexpr int kTile = 8; // pixels of the picture, both ways
constexpr int kFullWeight = 256;

// Where a tile of the history begins, and what its four neighbours count.
struct TilePlace {
  const std::uint8_t* first;
  std::ptrdiff_t row_bytes;
  std::ptrdiff_t right_bytes; // to the neighbours; 0 where the tile moved by whole pixels
  std::ptrdiff_t below_bytes;
  std::array<std::uint16_t, 4> parts; // here, right, below, below right; in all 256
};

// The place that the tile came from, which may lie outside the picture by less than a pixel and is then moved inside. history:
// 8-bit. tile, motion: in the pixels of the history, which may be chroma.
std::optional<TilePlace> placeOf(const cv::Mat& history, cv::Rect tile, cv::Point2f motion);

// Weights of the history at a tile's corners, 0 to 256.
struct CornerWeights {
  int upper_left;
  int upper_right;
  int lower_left;
  int lower_right;

  bool areAll(int weight) const {
    return upper_left == weight && upper_right == weight && lower_left == weight && lower_right == weight;
  }
};

// One of the rows of a tile of kSide pixels: picture and into point to its first pixel. A sharp blend takes each pixel from
// either side, whichever weighs more. There are those of 8 pixels of 3 channels and of 1, and of 4 pixels of 2 channels.
template <int kSide, int kChannels>
void blendTileRow(const TilePlace& place, const CornerWeights& weights, bool sharp, int row, const std::uint8_t* picture,
                  std::uint8_t* into);

} // namespace vorin::media
