// The pixels of a tile against plain floating point.
#include "effects/steady_blend.h"
#include "support/padded_image.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>

namespace vorin::media {
namespace {

// One byte of a blended tile, by definition.
double blendedByte(const cv::Mat& history, cv::Point2d from, int channel, double weight, double present) {
  const int column = static_cast<int>(std::floor(from.x));
  const int row = static_cast<int>(std::floor(from.y));
  const double x = from.x - column;
  const double y = from.y - row;
  const auto at = [&](int r, int c) {
    return static_cast<double>(
        history.ptr(std::min(r, history.rows - 1))[std::min(c, history.cols - 1) * history.channels() + channel]);
  };
  const double moved = (at(row, column) * (1 - x) + at(row, column + 1) * x) * (1 - y) +
                       (at(row + 1, column) * (1 - x) + at(row + 1, column + 1) * x) * y;
  return moved * weight / 256 + present * (1 - weight / 256);
}

// How many of the tiles lie inside where they came from; all of those are compared.
template <int kSide, int kChannels>
int compareTiles(const cv::Mat& history, const cv::Mat& picture, cv::Point2f motion, cv::Mat& into) {
  const CornerWeights weights{256, 200, 0, 90};
  int placed = 0;
  for (const int x : {0, kSide, 3 * kSide, picture.cols - 2 * kSide, picture.cols - kSide}) {
    for (int y = 0; y < picture.rows; y += kSide) {
      const cv::Rect tile(x, y, kSide, std::min(kSide, picture.rows - y));
      const std::optional<TilePlace> place = placeOf(history, tile, motion);
      const cv::Point2d from = cv::Point2d(x, y) + cv::Point2d(motion);
      const bool inside = from.x >= 0 && from.y >= 0 && from.x <= picture.cols - kSide && from.y <= picture.rows - tile.height;
      EXPECT_TRUE(place || !inside) << tile << motion;
      if (!place || !inside) {
        continue;
      }
      ++placed;
      for (int row = 0; row < tile.height; ++row) {
        const std::uint8_t* pixels = picture.ptr(y + row) + x * kChannels;
        std::uint8_t* blended = into.ptr(y + row) + x * kChannels;
        blendTileRow<kSide, kChannels>(*place, weights, false, row, pixels, blended);
        for (int byte = 0; byte < kSide * kChannels; ++byte) {
          const int column = byte / kChannels;
          const double across = (column + 0.5) / kSide;
          const double down = (row + 0.5) / kSide;
          const double weight = (256 * (1 - across) + 200 * across) * (1 - down) + 90 * across * down;
          const double expected = blendedByte(history, from + cv::Point2d(column, row), byte % kChannels, weight, pixels[byte]);
          EXPECT_NEAR(blended[byte], expected, 2) << tile << motion << " row " << row << " byte " << byte;
        }
      }
    }
  }
  return placed;
}

// Tiles of a picture of odd height, moved by whole pixels, by parts of them and to the very rims, with weights that run from
// corner to corner. Within 2 grey levels: two roundings, and weights cut to 256ths. Three, one and two channels over the same
// bytes.
TEST(TileBlend, PixelsAgainstFloatingPoint) {
  tests::PaddedImage history(62, 37, 7);
  tests::PaddedImage into(62, 37, 5);
  cv::RNG random(1);
  random.fill(history.image(), cv::RNG::UNIFORM, 0, 256);
  cv::Mat picture(37, 62, CV_8UC3);
  random.fill(picture, cv::RNG::UNIFORM, 0, 256);
  const auto as = [](const cv::Mat& image, int channels) {
    return cv::Mat(image.rows, image.cols * 3 / channels, CV_8UC(channels), image.data, image.step);
  };
  for (const cv::Point2f motion : {cv::Point2f(0, 0), {3, -2}, {-0.25F, 0.5F}, {7.625F, 4.8125F}, {-2.5F, 0}, {0, 3.3125F}}) {
    cv::Mat bytes = as(into.image(), 1);
    cv::Mat pairs = as(into.image(), 2);
    EXPECT_GE((compareTiles<kTile, 3>(history.image(), picture, motion, into.image())), 6) << motion;
    EXPECT_GE((compareTiles<kTile, 1>(as(history.image(), 1), as(picture, 1), motion, bytes)), 6) << motion;
    EXPECT_GE((compareTiles<kTile / 2, 2>(as(history.image(), 2), as(picture, 2), motion, pairs)), 6) << motion;
  }
  EXPECT_TRUE(into.surroundingsIntact());
  EXPECT_FALSE(placeOf(history.image(), {0, 0, kTile, kTile}, {-1.2F, 0})) << "too far outside";
  EXPECT_FALSE(placeOf(history.image(), {54, 32, kTile, 5}, {0, 1.2F})) << "too far outside";
}

} // namespace
} // namespace vorin::media
