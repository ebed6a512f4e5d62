#include "support/opencl_filter_reference.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <random>

namespace vorin::tests {
namespace {

using Colour = std::array<float, 4>; // red, green, blue, alpha, 0 to 1

// Reads a pixel as the filters do: a coordinate beyond the picture reads the nearest pixel in it.
Colour colourAt(const Picture& picture, int x, int y) {
  const std::size_t i = picture.offset(std::clamp(x, 0, picture.width - 1), std::clamp(y, 0, picture.height - 1));
  const auto channel = [&](std::size_t byte) { return static_cast<float>(picture.bytes[byte]) / 255.0f; };
  return {channel(i + 2), channel(i + 1), channel(i), channel(i + 3)};
}

// The Sobel strength of the strongest of red, green and blue; 1 at the rim.
float edgeStrength(const Picture& picture, int x, int y) {
  if (x <= 0 || x >= picture.width - 1 || y <= 0 || y >= picture.height - 1) {
    return 1.0f;
  }
  float strongest = 0.0f;
  for (std::size_t c = 0; c < 3; ++c) {
    const auto p = [&](int dx, int dy) { return colourAt(picture, x + dx, y + dy)[c]; };
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

Colour blurred(const Picture& picture, int x, int y, const std::vector<float>& weights) {
  float weight_sum = 0.0f;
  for (const float weight : weights) {
    weight_sum += weight;
  }
  Colour sum{};
  for (int i = -kFilterRadius; i <= kFilterRadius; ++i) {
    for (int j = -kFilterRadius; j <= kFilterRadius; ++j) {
      const float weight = weights.at(kFilterRadius + j) * weights.at(kFilterRadius + i);
      const Colour pixel = colourAt(picture, x + i, y + j);
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

// The weights of the pencil sketch's blur.
std::vector<float> blurWeights() {
  std::vector<float> weights;
  for (int i = -kFilterRadius; i <= kFilterRadius; ++i) {
    weights.push_back(static_cast<float>(std::exp(-0.5 * i * i / 25.0) * 0.39894 / 5.0));
  }
  return weights;
}

float vignette(const Picture& picture, int x, int y) {
  const float qx = static_cast<float>(x) / static_cast<float>(picture.width);
  const float qy = static_cast<float>(y) / static_cast<float>(picture.height);
  return 0.75f + 0.25f * std::pow(16.0f * qx * qy * (1.0f - qx) * (1.0f - qy), 0.15f);
}

// A picture of the size of the given one, by its grey before the edges count, and the edges of the device's image.
template <typename GreyAt>
Picture drawn(const Picture& picture, const Picture& device_image, EdgeCounts* counts, const GreyAt& grey_at) {
  Picture result(picture.width, picture.height);
  EdgeCounts ignored;
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      store(result, x, y, byEdge(grey_at(x, y), edgeStrength(device_image, x, y), counts == nullptr ? ignored : *counts));
    }
  }
  return result;
}

} // namespace

Picture testPicture(int width, int height, std::uint32_t seed) {
  Picture picture(width, height);
  std::mt19937 random(seed);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int area = (x / 11 + y / 7) % 5;
      const int noise_range = area == 0 ? 1 : area == 1 ? 8 : area == 2 ? 40 : 200;
      for (int channel = 0; channel < 4; ++channel) {
        const double wave = 128.0 + 100.0 * std::sin(0.031 * x * (channel + 1)) * std::cos(0.023 * y);
        const int noise = static_cast<int>(random() % static_cast<std::uint32_t>(noise_range));
        const int value = area == 4 ? ((x / 3 + y / 5) % 2) * 255 : static_cast<int>(wave) + noise - noise_range / 2;
        picture.bytes[picture.offset(x, y) + channel] = static_cast<std::uint8_t>(std::clamp(value, 0, 255));
      }
    }
  }
  return picture;
}

Picture padded(const Picture& picture, int edge) {
  Picture result((picture.width + edge - 1) / edge * edge, (picture.height + edge - 1) / edge * edge);
  for (int y = 0; y < picture.height; ++y) {
    std::copy_n(picture.bytes.begin() + static_cast<std::ptrdiff_t>(picture.offset(0, y)), picture.width * 4,
                result.bytes.begin() + static_cast<std::ptrdiff_t>(result.offset(0, y)));
  }
  return result;
}

testing::AssertionResult isNearlyEqual(const std::uint8_t* actual, const Picture& expected) {
  const std::size_t allowed = std::max(std::size_t{3}, expected.bytes.size() / 10'000);
  std::size_t different = 0;
  for (std::size_t i = 0; i < expected.bytes.size(); ++i) {
    if (std::abs(actual[i] - expected.bytes[i]) > 1) {
      return testing::AssertionFailure() << "byte " << i << " of " << expected.width << " x " << expected.height << " pixels is "
                                         << int{actual[i]} << ", expected " << int{expected.bytes[i]};
    }
    different += actual[i] != expected.bytes[i] ? 1 : 0;
  }
  return (different > allowed ? testing::AssertionFailure() : testing::AssertionSuccess())
         << different << " bytes differ by 1, " << allowed << " may";
}

Picture plainPencilSketch(const Picture& picture, int /*edge*/, EdgeCounts* counts) {
  const std::vector<float> weights = blurWeights();
  return drawn(picture, picture, counts, [&](int x, int y) {
    const float out = std::pow(lightenedGrey(blurred(picture, x, y, weights), colourAt(picture, x, y)), 5.0f);
    return std::clamp(out * 0.7f + 0.3f * out * out, 0.0f, 1.0f) * vignette(picture, x, y);
  });
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
  const Picture image = padded(picture, edge);
  return drawn(picture, image, counts, [&](int x, int y) {
    const Displacement moved = plainDisplacement(static_cast<std::uint32_t>(y * image.width + x), kFilterRadius);
    const Colour jittered = colourAt(image, x + moved.x - kFilterRadius, y + moved.y - kFilterRadius);
    return std::pow(lightenedGrey(jittered, colourAt(image, x, y)), 4.0f);
  });
}

} // namespace vorin::tests
