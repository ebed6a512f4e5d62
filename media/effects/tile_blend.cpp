#include "effects/tile_blend.h"

#include <algorithm>

namespace vorin::media {
namespace {

constexpr int kSteps = 16; // of a pixel

std::uint16_t toU16(int value) {
  return static_cast<std::uint16_t>(value);
}

struct Position {
  int whole_pixels;
  int steps; // beyond them
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

// At the middles of the row's pixels.
template <int kSide, int kChannels>
void weighRow(const CornerWeights& corners, int row, bool sharp,
              std::array<std::uint16_t, std::size_t{kSide} * kChannels>& weights) {
  const int below = 2 * row + 1; // of 2 * kSide
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

} // namespace vorin::media
