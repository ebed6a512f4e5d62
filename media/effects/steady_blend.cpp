#include "effects/steady_blend.h"

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <stdexcept>

namespace vorin::media {
namespace {

// ---- Tiles ----

constexpr int kSteps = 16; // per pixel

std::uint16_t toU16(int value) {
  return static_cast<std::uint16_t>(value);
}

struct Position {
  int whole_pixels;
  int steps; // of 1 / kSteps pixel, added to them
};

std::optional<Position> positionOf(int first, int length, float motion, int size) {
  const int position = first * kSteps + cvRound(motion * kSteps);
  const int last = (size - length) * kSteps;
  if (position <= -kSteps || position >= last + kSteps) {
    return std::nullopt;
  }
  const int inside = std::clamp(position, 0, last);
  return Position{inside / kSteps, inside % kSteps};
}

template <std::size_t kBytes> void interpolate(const TilePlace& place, int row, std::array<std::uint8_t, kBytes>& moved) {
  const std::uint8_t* here = place.first + row * place.row_bytes;
  const std::uint8_t* right = here + place.right_bytes;
  const std::uint8_t* below = here + place.below_bytes;
  const std::uint8_t* below_right = below + place.right_bytes;
  const auto [a, b, c, d] = place.parts;
  for (std::size_t byte = 0; byte < kBytes; ++byte) {
    const std::uint16_t sum = toU16(here[byte] * a + right[byte] * b + below[byte] * c + below_right[byte] * d + kFullWeight / 2);
    moved[byte] = static_cast<std::uint8_t>(sum / kFullWeight);
  }
}

template <std::size_t kBytes>
void blend(const std::uint8_t* history, const std::array<std::uint16_t, kBytes>& weights, const std::uint8_t* picture,
           std::uint8_t* into) {
  for (std::size_t byte = 0; byte < kBytes; ++byte) {
    const std::uint16_t rest = toU16(kFullWeight - weights[byte]);
    const std::uint16_t sum = toU16(history[byte] * weights[byte] + picture[byte] * rest + kFullWeight / 2);
    into[byte] = static_cast<std::uint8_t>(sum / kFullWeight);
  }
}

int sharpened(int weight, bool sharp) {
  const int nearest = weight > kFullWeight / 2 ? kFullWeight : 0;
  return sharp ? nearest : weight;
}

// Interpolates the corners' weights at the centre of each pixel of a row.
template <int kSide, int kChannels>
void weighRow(const CornerWeights& corners, int row, bool sharp,
              std::array<std::uint16_t, std::size_t{kSide} * kChannels>& weights) {
  const int below = 2 * row + 1; // the lower corners' share of 2 * kSide
  const int left = corners.upper_left * (2 * kSide - below) + corners.lower_left * below;
  const int right = corners.upper_right * (2 * kSide - below) + corners.lower_right * below;
  for (int column = 0; column < kSide; ++column) {
    const int beyond = 2 * column + 1;
    const int weight = (left * (2 * kSide - beyond) + right * beyond) / (4 * kSide * kSide);
    std::fill_n(weights.begin() + kChannels * static_cast<std::ptrdiff_t>(column), kChannels, toU16(sharpened(weight, sharp)));
  }
}

} // namespace

std::optional<TilePlace> placeOf(const cv::Mat& history, cv::Rect tile, cv::Point2f motion) {
  const std::optional<Position> across = positionOf(tile.x, tile.width, motion.x, history.cols);
  const std::optional<Position> down = positionOf(tile.y, tile.height, motion.y, history.rows);
  if (!across || !down) {
    return std::nullopt;
  }
  const auto row_bytes = static_cast<std::ptrdiff_t>(history.step[0]);
  const int x = across->steps;
  const int y = down->steps;
  return TilePlace{history.ptr<std::uint8_t>(down->whole_pixels, across->whole_pixels),
                   row_bytes,
                   x == 0 ? 0 : static_cast<std::ptrdiff_t>(history.elemSize()),
                   y == 0 ? 0 : row_bytes,
                   {toU16((kSteps - x) * (kSteps - y)), toU16(x * (kSteps - y)), toU16((kSteps - x) * y), toU16(x * y)}};
}

template <int kSide, int kChannels>
void blendTileRow(const TilePlace& place, const CornerWeights& weights, bool sharp, int row, const std::uint8_t* picture,
                  std::uint8_t* into) {
  constexpr std::size_t kBytes = std::size_t{kSide} * kChannels;
  std::array<std::uint16_t, kBytes> row_weights;
  if (weights.areAll(weights.upper_left)) {
    row_weights.fill(toU16(sharpened(weights.upper_left, sharp)));
  } else {
    weighRow<kSide, kChannels>(weights, row, sharp, row_weights);
  }
  if (place.right_bytes == 0 && place.below_bytes == 0) {
    blend(place.first + row * place.row_bytes, row_weights, picture, into);
  } else {
    std::array<std::uint8_t, kBytes> moved;
    interpolate(place, row, moved);
    blend(moved.data(), row_weights, picture, into);
  }
}

template void blendTileRow<kTile, 3>(const TilePlace&, const CornerWeights&, bool, int, const std::uint8_t*, std::uint8_t*);
template void blendTileRow<kTile, 1>(const TilePlace&, const CornerWeights&, bool, int, const std::uint8_t*, std::uint8_t*);
template void blendTileRow<kTile / 2, 2>(const TilePlace&, const CornerWeights&, bool, int, const std::uint8_t*, std::uint8_t*);

namespace {

// ---- Pictures ----

constexpr unsigned kRenewal = 8;    // frames in which each tile of dots is renewed once
constexpr float kRim = 2 * kTile;   // pixels from a picture's edge in which styles put lines that belong to the edge
constexpr float kLeastDrift = 0.5F; // pixels a frame: the trail of a slower motion fades before it shows

void require(bool is_usable) {
  if (!is_usable) {
    throw std::invalid_argument("steadying needs 8-bit frames, and for each a picture of the size passed to see()");
  }
}

// Whether the tile moves away from an edge and comes from the rim beside it, along one axis.
bool leavesRim(int first, int length, int picture_length, float motion) {
  const auto before = static_cast<float>(first);
  const auto behind = static_cast<float>(picture_length - first - length);
  return (motion < -kLeastDrift && before + motion < kRim) || (motion > kLeastDrift && behind - motion < kRim);
}

} // namespace

void SteadyBlend::see(const cv::Mat& source, cv::Size picture_size) {
  require((source.type() == CV_8UC3 || source.type() == CV_8UC1) && !source.empty() && !picture_size.empty());
  is_followed_ = motion_.follow(source, picture_size);
  seen_size_ = picture_size;
}

const cv::Mat& SteadyBlend::apply(const cv::Mat& picture) {
  require(picture.type() == CV_8UC3 && !picture.empty() && picture.size() == seen_size_);
  begin(picture.size(), colours_);
  luma_ = chroma_ = {};
  return steadyPlane<kTile, 3>(picture, colours_);
}

void SteadyBlend::apply(cv::Mat& luma, cv::Mat& chroma) {
  require(luma.type() == CV_8UC1 && chroma.type() == CV_8UC2 && luma.size() == seen_size_ && luma.size() == chroma.size() * 2);
  begin(luma.size(), luma_);
  colours_ = {};
  steadyPlane<kTile, 1>(luma, luma_).copyTo(luma);
  steadyPlane<kTile / 2, 2>(chroma, chroma_).copyTo(chroma);
}

void SteadyBlend::begin(cv::Size size, const Memory& memory) {
  seen_size_ = {};
  ++frame_;
  is_followed_ = is_followed_ && size.width >= kTile && memory.steadied.size() == size;
  if (is_followed_) {
    layTiles(size);
  } else {
    owed_.release();
  }
}

template <int kSide, int kChannels> const cv::Mat& SteadyBlend::steadyPlane(const cv::Mat& plane, Memory& memory) {
  cv::swap(memory.steadied, memory.history);
  if (!is_followed_) {
    plane.copyTo(memory.steadied);
    return memory.steadied;
  }
  memory.steadied.create(plane.size(), plane.type());
  cv::parallel_for_(cv::Range(0, tile_weight_.rows), [&](const cv::Range& tile_rows) {
    for (int tile_row = tile_rows.start; tile_row < tile_rows.end; ++tile_row) {
      steadyTileRow<kSide, kChannels>(tile_row, plane, memory);
    }
  });
  return memory.steadied;
}

void SteadyBlend::layTiles(cv::Size size) {
  const cv::Size tiles((size.width + kTile - 1) / kTile, (size.height + kTile - 1) / kTile);
  cv::resize(motion_.motion(), tile_motion_, tiles, 0, 0, cv::INTER_AREA);
  cv::resize(motion_.trust(), tile_weight_, tiles, 0, 0, cv::INTER_AREA);
  tile_weight_.convertTo(tile_weight_, CV_8U, kept_ * kFullWeight / 255);
  holdRimBack(size);
  if (texture_ == Texture::kDots) {
    carryWholePixels();
  } else {
    settleOnWholePixels();
  }
}

// Networks put a dark line or two along a picture's edges. A moving camera would drag these lines into a trail.
void SteadyBlend::holdRimBack(cv::Size size) {
  for (int row = 0; row < tile_weight_.rows; ++row) {
    for (int column = 0; column < tile_weight_.cols; ++column) {
      const auto& motion = tile_motion_.at<cv::Point2f>(row, column);
      if (leavesRim(column * kTile, kTile, size.width, motion.x) || leavesRim(row * kTile, kTile, size.height, motion.y)) {
        tile_weight_.at<std::uint8_t>(row, column) = 0;
      }
    }
  }
}

// Rounds nearly whole motion: whole pixels move without loss. All planes share the result, or colour would lag behind lines.
void SteadyBlend::settleOnWholePixels() {
  constexpr float kNearly = 0.15F;
  for (int row = 0; row < tile_motion_.rows; ++row) {
    auto* motion = tile_motion_.ptr<float>(row);
    std::transform(motion, motion + std::ptrdiff_t{2} * tile_motion_.cols, motion, [](float part) {
      const float whole = std::round(part);
      return std::abs(part - whole) < kNearly ? whole : part;
    });
  }
}

void SteadyBlend::carryWholePixels() {
  cv::swap(owed_, owed_before_);
  if (owed_before_.size() != tile_motion_.size()) {
    owed_before_ = cv::Mat::zeros(tile_motion_.size(), CV_32FC2);
  }
  owed_.create(tile_motion_.size(), CV_32FC2);
  for (int row = 0; row < tile_motion_.rows; ++row) {
    for (int column = 0; column < tile_motion_.cols; ++column) {
      auto& motion = tile_motion_.at<cv::Point2f>(row, column);
      const int from_row = std::clamp(row + cvRound(motion.y / kTile), 0, tile_motion_.rows - 1);
      const int from_column = std::clamp(column + cvRound(motion.x / kTile), 0, tile_motion_.cols - 1);
      const cv::Point2f exact = motion + owed_before_.at<cv::Point2f>(from_row, from_column);
      motion = {std::round(exact.x), std::round(exact.y)};
      owed_.at<cv::Point2f>(row, column) = isRenewed(row, column) ? cv::Point2f() : exact - motion;
    }
  }
}

// Renews tiles in a scattered order: a regular one would show.
bool SteadyBlend::isRenewed(int tile_row, int tile_column) const {
  unsigned mixed = static_cast<unsigned>(tile_column) * 0x9E3779B1U ^ static_cast<unsigned>(tile_row) * 0x85EBCA77U;
  mixed = (mixed ^ mixed >> 15) * 0x2C1B3C6DU;
  return texture_ == Texture::kDots && ((mixed ^ mixed >> 13) + frame_) % kRenewal == 0;
}

// side: the side of a tile in the pixels of this history.
std::vector<SteadyBlend::MovedTile> SteadyBlend::tilesOfRow(int tile_row, const cv::Mat& history, int side) const {
  const int height = std::min(side, history.rows - tile_row * side);
  const float scale = static_cast<float>(side) / kTile;
  std::vector<MovedTile> tiles;
  tiles.reserve(static_cast<std::size_t>(tile_weight_.cols));
  for (int tile_column = 0; tile_column < tile_weight_.cols; ++tile_column) {
    const cv::Rect tile(std::min(tile_column * side, history.cols - side), tile_row * side, side, height);
    const CornerWeights weights = weightsOf(tile_row, tile_column);
    std::optional<TilePlace> place;
    if (!weights.areAll(0) && !isRenewed(tile_row, tile_column)) {
      place = placeOf(history, tile, tile_motion_.at<cv::Point2f>(tile_row, tile_column) * scale);
    }
    tiles.push_back({tile.x, place, weights});
  }
  return tiles;
}

// Works row by row of pixels, not tile by tile: memory is fast along rows.
template <int kSide, int kChannels> void SteadyBlend::steadyTileRow(int tile_row, const cv::Mat& plane, Memory& memory) const {
  const std::vector<MovedTile> tiles = tilesOfRow(tile_row, memory.history, kSide);
  const int first_row = tile_row * kSide;
  for (int row = first_row; row < std::min(first_row + kSide, plane.rows); ++row) {
    for (const MovedTile& tile : tiles) {
      const auto* pixels = plane.ptr<std::uint8_t>(row, tile.first_column);
      auto* into = memory.steadied.ptr<std::uint8_t>(row, tile.first_column);
      if (tile.place) {
        blendTileRow<kSide, kChannels>(*tile.place, tile.weights, texture_ == Texture::kDots, row - first_row, pixels, into);
      } else {
        std::copy_n(pixels, kSide * kChannels, into);
      }
    }
  }
}

// Each corner takes the least weight of its four tiles: nothing of an untrusted tile may show.
CornerWeights SteadyBlend::weightsOf(int tile_row, int tile_column) const {
  const int last_row = tile_weight_.rows - 1;
  const int last_column = tile_weight_.cols - 1;
  const std::uint8_t* above = tile_weight_.ptr(std::max(tile_row - 1, 0));
  const std::uint8_t* here = tile_weight_.ptr(tile_row);
  const std::uint8_t* below = tile_weight_.ptr(std::min(tile_row + 1, last_row));
  const int left = std::max(tile_column - 1, 0);
  const int right = std::min(tile_column + 1, last_column);
  const auto least = [&](const std::uint8_t* neighbours, int beside) {
    return static_cast<int>(std::min({here[tile_column], here[beside], neighbours[tile_column], neighbours[beside]}));
  };
  return {least(above, left), least(above, right), least(below, left), least(below, right)};
}

} // namespace vorin::media
