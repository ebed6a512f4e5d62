// steady_blend.h: steadies a restyled clip: blends each result with the steadied result before it, which follows the clip's
// motion.
//
// Idea: a style restyles every frame independently and turns noise into a flicker of whole strokes. Where the scene stays the
// same, the result should too: there the history gets most of the weight, and where the scene changes it gets none (see
// SourceMotion). Strokes then fade into each other. Dots cannot fade: two blended patterns of dots are grey. So dots move
// unchanged, by whole pixels, and a few tiles at a time are renewed; the rounding error of a tile's motion is kept for the next
// frame. Parts that enter at a picture's edge have no history: styles put lines there that belong to the edge.
#pragma once

#include "vorin_media.hpp"

#include <opencv2/core.hpp>
#include <opencv2/video/tracking.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace vorin::media {

// ---- Motion ----

// Finds where each place of a clip's frame was in the frame before, and how far the memory of it can be trusted.
//
// Idea: dense inverse search (T. Kroeger, R. Timofte, D. Dai, L. Van Gool: "Fast Optical Flow using Dense Inverse Search", ECCV
// 2016; OpenCV's implementation) on small grey pictures, slightly blurred: fine detail that a small picture cannot hold pulls
// motion towards zero. Motion seen in flat areas is noise, so each place takes the mean motion of its surroundings, weighted by
// their texture; and where most of the frame moves alike, the camera moves, and places of nearly that motion get exactly it.
//
// Trust is photometric: a small memory of the clip is blended exactly as the pictures are and compared with the present frame.
// They differ where motion was missed, and where many small steps left the memory late or blurred. A difference clearly above
// the clip's own noise takes the trust from a place and its neighbours. Where little trust is left, there was a cut.
class SourceMotion {
public:
  // memory: the part of the remembered picture in the next one, where that is trusted entirely; 0 to 1.
  explicit SourceMotion(double memory) : kept_(memory) {}

  // Takes the next frame, 8-bit, of 3 channels (blue, green, red) or 1 (luma). picture_size: of the picture that will follow the
  // motion; the frame may have another size. Returns false if there is nothing to follow: at the first frame, at a picture
  // size other than before, and at a cut.
  bool follow(const cv::Mat& frame, cv::Size picture_size);

  // The motion and trust of a frame for which follow returned true, in an even grid over the picture. Motion: CV_32FC2, from a
  // place to where it was, in pixels of the picture. Trust: CV_8UC1, 0 to 255.
  const cv::Mat& motion() const { return motion_; }
  const cv::Mat& trust() const { return trust_; }

private:
  void makePresent(const cv::Mat& frame);
  void search();
  void settleOnTexture();
  void settleOnCamera();
  void moveMemory();
  void weighTrust();
  void remember();

  double kept_;
  cv::Ptr<cv::DISOpticalFlow> search_;
  cv::Size picture_size_;
  cv::Mat small_colour_;
  cv::Mat present_;  // small and grey
  cv::Mat blurred_;  // present_ blurred, for the search
  cv::Mat previous_; // blurred_ of the frame before
  cv::Mat flow_;     // CV_32FC2, in small pixels
  cv::Mat memory_;   // CV_32FC1
  cv::Mat moved_;    // the memory, along the flow
  cv::Mat texture_;  // CV_32FC1: squared grey levels from pixel to pixel
  double noise_ = 1; // of the clip, in grey levels: half of the pixels have less
  cv::Mat motion_;
  cv::Mat trust_;
};

// ---- Tiles ----
//
// Each pixel of a tile blends a byte of the steadied picture before, moved by whole pixels and sixteenths, with a byte of the
// present picture, by weights that run evenly from corner to corner.
//
// A tile moves by one vector. It is always 8 pixels wide, 4 in chroma of half the size, so that the loops run over rows of known
// length in 16-bit numbers. The last tile of a row may overlap the one before; tiles of the last row may be less high.

constexpr int kTile = 8; // pixels of the picture, both ways
constexpr int kFullWeight = 256;

// Where a moved tile lies in the history, and the bilinear weights of a pixel and its three neighbours.
struct TilePlace {
  const std::uint8_t* first;
  std::ptrdiff_t row_bytes;
  std::ptrdiff_t right_bytes; // to the neighbours; 0 if the tile moved by whole pixels
  std::ptrdiff_t below_bytes;
  std::array<std::uint16_t, 4> parts; // here, right, below, below right; in all 256
};

// The place that the tile came from. A place outside the picture by less than a pixel is moved inside. history:
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

// Blends a row of a tile; picture and into point to its first pixel. A sharp blend takes each pixel whole, from the side of the
// greater weight. Instantiated for 8 pixels of 3 channels or 1, and for 4 pixels of 2 channels.
template <int kSide, int kChannels>
void blendTileRow(const TilePlace& place, const CornerWeights& weights, bool sharp, int row, const std::uint8_t* picture,
                  std::uint8_t* into);

// ---- Pictures ----

enum class Texture { kStrokes, kDots };

constexpr double kUsualMemory = 0.9;

class SteadyBlend {
public:
  // memory: the part of the steadied picture in the next one, where that is trusted entirely. A greater part is steadier, and
  // softer where a picture moves by fractions of a pixel. first_frame: the number of the first frame in its clip, by which tiles
  // of dots are renewed in turn.
  explicit SteadyBlend(Texture texture, double memory = kUsualMemory, std::int64_t first_frame = 0)
      : texture_(texture), kept_(memory), frame_(static_cast<unsigned>(first_frame)), motion_(memory) {}

  // Call see, then apply, for each of the clip's frames in order. Both throw std::invalid_argument for other kinds of pictures.
  //
  // Follows the clip's motion, which is most of the work. It needs no stylised picture, so it may run on another thread while
  // that is made. source: 8-bit, of 3 channels (blue, green, red) or 1 (luma), of any size. picture_size: of the picture to come.
  void see(const cv::Mat& source, cv::Size picture_size);

  // Steadies the frame's stylised picture (8-bit, 3 channels). The result stays valid until the next call. The first picture is
  // returned unchanged, and so are the first of another size and the first after a cut.
  const cv::Mat& apply(const cv::Mat& picture);

  // The same in place, for a picture in 4:2:0: luma of 1 channel and even sides, chroma of 2, half as wide and half as high. The
  // first such picture after one of 3 channels is returned unchanged, and vice versa.
  void apply(cv::Mat& luma, cv::Mat& chroma);

private:
  // One plane of the steadied pictures, the last one and the one before.
  struct Memory {
    cv::Mat steadied;
    cv::Mat history;
  };
  struct MovedTile {
    int first_column;
    std::optional<TilePlace> place; // none: this tile takes nothing from the history
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
  unsigned frame_;
  SourceMotion motion_;
  cv::Size seen_size_; // empty: no call of see since the last apply
  bool is_followed_ = false;
  Memory colours_;
  Memory luma_;
  Memory chroma_;
  cv::Mat tile_motion_; // CV_32FC2
  cv::Mat tile_weight_; // CV_8UC1: the history's weight
  cv::Mat owed_;        // CV_32FC2: how far dots lie from where they belong
  cv::Mat owed_before_;
};

// The blend that suits a style's results.
SteadyBlend steadyBlendFor(Style style, std::int64_t first_frame = 0);

} // namespace vorin::media
