// steady_blend.h: steadies a restyled clip. Each result is blended with the steadied result before it, moved along with the
// motion of the clip.
//
// Idea: a style restyles every frame afresh and answers noise with a flicker of whole strokes. What the scene keeps, the result
// should keep: the history gets most of the weight wherever the clip says that the scene is the same, and none where it is not
// (see source_motion.h). That lets strokes fade into each other. Dots cannot: two blended patterns of dots are grey. A result in
// dots carries them along as they are, by whole pixels, and renews them a few tiles at a time; what rounding owes a tile is kept
// for the next frame. What comes in from a picture's edge has no history: styles put lines there that belong to the edge.
#pragma once

#include "effects/source_motion.h"
#include "vorin_media.hpp"

#include <opencv2/core.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace vorin::media {

// ---- Tiles ----
//
// The pixels of a tile: bytes of the steadied picture before, moved by whole pixels and sixteenths, and bytes of the present one,
// blended by weights that run evenly from corner to corner.
//
// A tile moves by one vector and is 8 pixels wide in a picture and in its luma, 4 in chroma of half the size, always: then the
// loops run over rows of known length, in 16-bit numbers. The last tile of a row may overlap the one before; those of the last
// row may be less high.

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

// ---- Pictures ----

enum class Texture { kStrokes, kDots };

constexpr double kUsualMemory = 0.9;

class SteadyBlend {
public:
  // memory: the part of the steadied picture in the next one, where it is trusted entirely. A longer one is steadier, and softer
  // where a picture moves by parts of a pixel.
  explicit SteadyBlend(Texture texture, double memory = kUsualMemory) : texture_(texture), kept_(memory), motion_(memory) {}

  // For each of the clip's frames, in order: see, then apply. Both throw std::invalid_argument for other kinds of images.
  //
  // Follows the clip's motion, most of the work; it needs no stylised picture, so it may run on another thread while that is
  // made. source: 8-bit, of 3 channels (blue, green, red) or 1 (luma), of any size. picture_size: of the picture to come.
  void see(const cv::Mat& source, cv::Size picture_size);

  // The frame's stylised picture, steadied; it stays as it is until the next call. picture: 8-bit, 3 channels. The first one
  // comes back equal, and so do one of another size than the one before and the first after a cut.
  const cv::Mat& apply(const cv::Mat& picture);

  // The same in place, for a picture in 4:2:0: luma of 1 channel and even sides, chroma of 2, half as wide and half as high. The
  // first one after a picture in 3 channels comes back equal, and the other way round.
  void apply(cv::Mat& luma, cv::Mat& chroma);

private:
  // One plane of the steadied pictures, the last one and the one before.
  struct Memory {
    cv::Mat steadied;
    cv::Mat history;
  };
  struct MovedTile {
    int first_column;
    std::optional<TilePlace> place; // none: nothing of the history goes into this tile
    CornerWeights weights;
  };

  void begin(cv::Size size, const Memory& memory);
  template <int kSide, int kChannels> const cv::Mat& steadyPlane(const cv::Mat& plane, Memory& memory);
  template <int kSide, int kChannels> void steadyTileRow(int tile_row, const cv::Mat& plane, Memory& memory) const;
  void layTiles(cv::Size size);
  void holdRimBack(cv::Size size);
  void settleOnWholePixels();
  void carryWholePixels();
  bool isRenewed(int tile_row, int tile_column) const;
  std::vector<MovedTile> tilesOfRow(int tile_row, const cv::Mat& history, int side) const;
  CornerWeights weightsOf(int tile_row, int tile_column) const;

  Texture texture_;
  double kept_;
  unsigned frame_ = 0;
  SourceMotion motion_;
  cv::Size seen_size_; // empty: nothing seen since the last picture
  bool is_followed_ = false;
  Memory colours_;
  Memory luma_;
  Memory chroma_;
  cv::Mat tile_motion_; // CV_32FC2
  cv::Mat tile_weight_; // CV_8UC1: of the history
  cv::Mat owed_;        // CV_32FC2: how far dots lie from where they belong
  cv::Mat owed_before_;
};

// The blend that suits a style's results.
SteadyBlend steadyBlendFor(Style style);

} // namespace vorin::media
