#include "support/opencl_pictures.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>

namespace vorin::tests {

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

Picture mirrored(const Picture& picture) {
  Picture result(picture.width, picture.height);
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      std::copy_n(picture.bytes.begin() + static_cast<std::ptrdiff_t>(picture.offset(x, y)), 4,
                  result.bytes.begin() +
                      static_cast<std::ptrdiff_t>(result.offset(picture.width - 1 - x, picture.height - 1 - y)));
    }
  }
  return result;
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

} // namespace vorin::tests
