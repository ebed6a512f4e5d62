#include "support/opencl_filter_reference.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <random>

namespace vorin::tests {
namespace {

using Colour = std::array<float, 4>; // red, green, blue, alpha, 0 to 1

// Reads pixels as the filters do: a coordinate beyond the image reads the nearest pixel in it.
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

// The weights of the pencil sketch's blur.
std::vector<float> blurWeights() {
  std::vector<float> weights;
  for (int i = -kFilterRadius; i <= kFilterRadius; ++i) {
    weights.push_back(static_cast<float>(std::exp(-0.5 * i * i / 25.0) * 0.39894 / 5.0));
  }
  return weights;
}

float vignette(int x, int y, int width, int height) {
  const float qx = static_cast<float>(x) / static_cast<float>(width);
  const float qy = static_cast<float>(y) / static_cast<float>(height);
  return 0.75f + 0.25f * std::pow(16.0f * qx * qy * (1.0f - qx) * (1.0f - qy), 0.15f);
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

Picture plainPicture(int width, int height, std::uint8_t value) {
  Picture picture(width, height);
  std::fill(picture.bytes.begin(), picture.bytes.end(), value);
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
  constexpr int kLargestDifference = 1;
  constexpr std::size_t kBytesOfOnePixel = 3;
  const std::size_t allowed = std::max(kBytesOfOnePixel, expected.bytes.size() / 10'000);
  std::size_t different = 0;
  for (std::size_t i = 0; i < expected.bytes.size(); ++i) {
    const int difference = std::abs(actual[i] - expected.bytes[i]);
    if (difference > kLargestDifference) {
      const std::size_t pixel = i / 4;
      const auto width = static_cast<std::size_t>(expected.width);
      return testing::AssertionFailure() << "byte " << i % 4 << " of pixel (" << pixel % width << ", " << pixel / width << ") is "
                                         << static_cast<int>(actual[i]) << ", expected " << static_cast<int>(expected.bytes[i])
                                         << ", picture " << expected.width << " x " << expected.height;
    }
    different += difference != 0 ? 1 : 0;
  }
  if (different > allowed) {
    return testing::AssertionFailure() << different << " bytes differ by 1, " << allowed << " may, picture " << expected.width
                                       << " x " << expected.height;
  }
  return testing::AssertionSuccess();
}

Picture plainPencilSketch(const Picture& picture, int /*edge*/, EdgeCounts* counts) {
  const Image image(picture);
  const std::vector<float> weights = blurWeights();
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
