#include "support/opencl_filter_reference.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vorin::tests {
namespace {

using Colour = std::array<float, 4>; // red, green, blue, alpha, 0 to 1

// Reads pixels as the filters do: a coordinate beyond the image takes the nearest pixel in it.
class Image {
public:
  explicit Image(Picture picture) : picture_(std::move(picture)) {}

  int width() const { return picture_.width; }
  int height() const { return picture_.height; }
  Colour at(int x, int y) const {
    const std::size_t i = picture_.offset(std::clamp(x, 0, width() - 1), std::clamp(y, 0, height() - 1));
    return {channel(i + 2), channel(i + 1), channel(i), channel(i + 3)};
  }

private:
  float channel(std::size_t i) const { return static_cast<float>(picture_.bytes[i]) / 255.0f; }

  Picture picture_;
};

// The Sobel strength of the strongest of red, green and blue; 1 outside the interior of width x height.
float edgeStrength(const Image& image, int x, int y, int width, int height) {
  if (x <= 0 || x >= width - 1 || y <= 0 || y >= height - 1) {
    return 1.0f;
  }
  float strongest = 0.0f;
  for (std::size_t c = 0; c < 3; ++c) {
    const auto p = [&](int dx, int dy) { return image.at(x + dx, y + dy)[c]; };
    const float gx = p(-1, -1) + 2.0f * p(-1, 0) + p(-1, 1) - p(1, -1) - 2.0f * p(1, 0) - p(1, 1);
    const float gy = p(-1, -1) + 2.0f * p(0, -1) + p(1, -1) - p(-1, 1) - 2.0f * p(0, 1) - p(1, 1);
    strongest = std::max(strongest, std::clamp(std::sqrt(gx * gx + gy * gy), 0.0f, 1.0f));
  }
  return strongest;
}

// The grey of a pixel lightened against its neighbourhood.
float lightenedGrey(const Colour& neighbour, const Colour& own) {
  const auto lighten = [&](std::size_t c) { return std::min(1.0f, (1.2f - neighbour[c]) / (1.1999f - own[c])); };
  return lighten(0) * 0.3f + lighten(1) * 0.59f + lighten(2) * 0.11f;
}

float byEdge(float grey, float edge, EdgeCounts& counts) {
  if (edge < 0.15f) {
    ++counts.weak;
    return std::min(grey * 1.8f, 1.0f);
  }
  if (edge > 0.3f) {
    ++counts.strong;
    return grey * grey;
  }
  ++counts.middle;
  return grey;
}

void store(Picture& picture, int x, int y, float grey) {
  const std::size_t i = picture.offset(x, y);
  const auto byte = static_cast<std::uint8_t>(std::clamp(std::nearbyint(grey * 255.0f), 0.0f, 255.0f));
  std::fill_n(picture.bytes.begin() + static_cast<std::ptrdiff_t>(i), 3, byte);
  picture.bytes[i + 3] = 255;
}

Colour blurred(const Image& image, int x, int y, const std::vector<float>& weights) {
  float weight_sum = 0.0f;
  for (const float weight : weights) {
    weight_sum += weight;
  }
  Colour sum{};
  for (int i = -kFilterRadius; i <= kFilterRadius; ++i) {
    for (int j = -kFilterRadius; j <= kFilterRadius; ++j) {
      const float weight = weights.at(kFilterRadius + j) * weights.at(kFilterRadius + i);
      const Colour pixel = image.at(x + i, y + j);
      for (std::size_t c = 0; c < 4; ++c) {
        sum[c] += weight * pixel[c];
      }
    }
  }
  for (float& value : sum) {
    value = std::min(1.0f, value / weight_sum / weight_sum);
  }
  return sum;
}

float vignette(int x, int y, int width, int height) {
  const float qx = static_cast<float>(x) / static_cast<float>(width);
  const float qy = static_cast<float>(y) / static_cast<float>(height);
  return 0.75f + 0.25f * std::pow(16.0f * qx * qy * (1.0f - qx) * (1.0f - qy), 0.15f);
}

} // namespace

std::vector<float> plainWeights(int radius) {
  std::vector<float> weights;
  for (int i = -radius; i <= radius; ++i) {
    weights.push_back(static_cast<float>(std::exp(-0.5 * i * i / 25.0) * 0.39894 / 5.0));
  }
  return weights;
}

Picture plainPencilSketch(const Picture& picture, EdgeCounts* counts) {
  const Image image(picture);
  const std::vector<float> weights = plainWeights(kFilterRadius);
  Picture result(picture.width, picture.height);
  EdgeCounts own_counts;
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      const float grey = lightenedGrey(blurred(image, x, y, weights), image.at(x, y));
      float out = std::pow(grey, 5.0f);
      out = std::clamp(out * 0.7f + 0.3f * out * out, 0.0f, 1.0f);
      out *= vignette(x, y, picture.width, picture.height);
      store(result, x, y,
            byEdge(out, edgeStrength(image, x, y, picture.width, picture.height), counts == nullptr ? own_counts : *counts));
    }
  }
  return result;
}

Displacement plainDisplacement(std::uint32_t k, int radius) {
  std::uint32_t state = k;
  const auto next = [&state] {
    state = state * 214013u + 2531011u;
    return static_cast<int>((state >> 16) & 0xFFu);
  };
  const int x = next() % (2 * radius + 1);
  const int y = next() % (2 * radius + 1);
  return {x, y};
}

Picture plainStippling(const Picture& picture, int edge, EdgeCounts* counts) {
  const Image image(padded(picture, edge));
  Picture result(picture.width, picture.height);
  EdgeCounts own_counts;
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      const Displacement displacement = plainDisplacement(static_cast<std::uint32_t>(y * image.width() + x), kFilterRadius);
      const Colour jittered = image.at(x + displacement.x - kFilterRadius, y + displacement.y - kFilterRadius);
      const float out = std::pow(lightenedGrey(jittered, image.at(x, y)), 4.0f);
      store(result, x, y,
            byEdge(out, edgeStrength(image, x, y, image.width(), image.height()), counts == nullptr ? own_counts : *counts));
    }
  }
  return result;
}

} // namespace vorin::tests
