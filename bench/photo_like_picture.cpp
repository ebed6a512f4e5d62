#include "photo_like_picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <random>

namespace vorin::bench {

namespace {

constexpr std::uint32_t kSeed = 20;
constexpr int kDiscs = 60;
constexpr int kDiscKinds = 3; // bright, dark, and textured ones

struct Disc {
  float x;
  float y;
  float radius;
  std::array<float, 3> colour;
};

std::vector<Disc> makeDiscs(int width, int height, std::mt19937& random) {
  const auto upTo = [&random](float limit) { return limit * static_cast<float>(random() % 4096) / 4096.0f; };
  std::vector<Disc> discs;
  for (int i = 0; i < kDiscs; ++i) {
    const float radius = 10.0f + upTo(static_cast<float>(height) / 6.0f);
    discs.push_back(
        {upTo(static_cast<float>(width)), upTo(static_cast<float>(height)), radius, {upTo(255), upTo(255), upTo(255)}});
  }
  return discs;
}

// The sky-like shading that everything else lies on.
float shading(float u, float v, std::size_t channel) {
  const auto phase = static_cast<float>(channel);
  return 128.0f + 70.0f * std::sin(2.0f * u + phase) * std::cos(3.0f * v - 0.5f * phase) + 30.0f * v;
}

float texture(int x, int y) {
  return 18.0f * std::sin(0.9f * static_cast<float>(x)) * std::sin(0.7f * static_cast<float>(y));
}

} // namespace

std::vector<std::uint8_t> photoLikePicture(int width, int height) {
  std::mt19937 random(kSeed);
  const std::vector<Disc> discs = makeDiscs(width, height, random);
  std::vector<std::uint8_t> picture;
  picture.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const auto covers = [x, y](const Disc& disc) {
        return std::hypot(static_cast<float>(x) - disc.x, static_cast<float>(y) - disc.y) < disc.radius;
      };
      const auto disc = std::find_if(discs.begin(), discs.end(), covers);
      const bool textured = disc != discs.end() && (disc - discs.begin()) % kDiscKinds == 0;
      for (std::size_t channel = 0; channel < 3; ++channel) {
        float value = shading(static_cast<float>(x) / static_cast<float>(width),
                              static_cast<float>(y) / static_cast<float>(height), channel);
        if (disc != discs.end()) {
          value = 0.3f * value + 0.7f * disc->colour[channel];
        }
        value += (textured ? texture(x, y) : 0.0f) + static_cast<float>(random() % 7) - 3.0f;
        picture.push_back(static_cast<std::uint8_t>(std::clamp(value, 0.0f, 255.0f)));
      }
      picture.push_back(255);
    }
  }
  return picture;
}

} // namespace vorin::bench
