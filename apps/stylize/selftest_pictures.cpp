#include "selftest_command.h"

#include <array>
#include <cstdlib>

namespace vorin::stylize {
namespace {

constexpr int kWidth = 384;
constexpr int kHeight = 288;

constexpr std::string_view kDemoPackage = "8d5577245ba16f6b1e27110218ec022af6f4f3312cf51f90145eeec90384a38c";

// Drawn on the software device, with networks in f32.
constexpr std::array kKnownDrawings = {
    KnownDrawing{"pencil", "",
                 "f8f8f820fafafa1cfdfdfd0dfdfdfd0ffafafa1bfcfcfc17fafafa1ff7f7f723"
                 "f9f9f91efbfbfb1bf2f2f22ef6f6f61df3f3f321f4f4f422f4f4f421f5f5f51a"},
    KnownDrawing{"stipple", "",
                 "fcfcfc17fcfcfc18ffffff01ffffff01fcfcfc17fdfdfd13fcfcfc1dfafafa1f"
                 "fcfcfc17fdfdfd17f4f4f42cf9f9f918f9f9f91af8f8f81ef8f8f81dfafafa14"},
    KnownDrawing{"lightgrey", kDemoPackage,
                 "d1d1d12ad0d0d027dedede04dedede04dcdcdc1fdedede18c5c5c532d2d2d22a"
                 "e4e4e41ae5e5e51ac0c0c03fc6c6c62bc9c9c91cbfbfbf1fb9b9b92cc3c3c31d"},
    KnownDrawing{"cartoon", kDemoPackage,
                 "a98a5e44c19b6740e8ae6b31eab2702fcec79e23d7c89a25c2a57e58c9b68a45"
                 "c1cca224c8d0a81e6c82a44c629cad3b276c30362a703f3c2f625b414276733e"},
    KnownDrawing{"transfer", kDemoPackage,
                 "798dad3c7895b63a4b7cce384b7cce386a6e97355e6ea636757094446c6b9a3f"
                 "5c5e92265e5f8f279b827f48ad605442726d9732785c7e269e70733ea6585635"},
};

std::uint8_t byteOf(int value) {
  return static_cast<std::uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
}

bool isInDisc(int x, int y, int radius) {
  return x * x + y * y <= radius * radius;
}

// A sky that grows lighter downwards, a sun, hills, a house with a door. In whole numbers, so that it is the same everywhere.
cv::Vec3b photoColour(int x, int y) {
  const int hill = 200 - 60 * (x - 100) * (x - 100) / (200 * 200) + 40 * (x % 96) / 96;
  if (x >= 230 && x < 320 && y >= 150 && y < 250) {
    return x >= 262 && x < 288 && y >= 195 ? cv::Vec3b{40, 50, 90} : cv::Vec3b{70, 90, byteOf(190 + (x + y) % 17)};
  }
  if (y >= 100 && y < 150 && std::abs(x - 275) <= (y - 100) * 6 / 5) {
    return {50, 40, 60};
  }
  if (y >= hill) {
    return {byteOf(40 + (y - hill) / 4), byteOf(110 + (x * 7 + y * 13) % 31), byteOf(60 + x / 8)};
  }
  return isInDisc(x - 90, y - 70, 36) ? cv::Vec3b{120, 220, 250}
                                      : cv::Vec3b{byteOf(230 - y / 8), byteOf(150 + y / 3), byteOf(80 + y / 2)};
}

// Bands of warm and cold colours on a slant.
cv::Vec3b styleColour(int x, int y) {
  constexpr std::array<std::array<int, 3>, 4> kColours = {{{30, 60, 200}, {60, 170, 230}, {150, 90, 40}, {200, 190, 170}}};
  const auto& colour = kColours[static_cast<std::size_t>((x + 2 * y) / 24 % 4)];
  const int shade = (x * y) % 23;
  return {byteOf(colour[0] + shade), byteOf(colour[1] - shade), byteOf(colour[2] + shade / 2)};
}

template <typename Colour> cv::Mat pictureOf(cv::Size size, const Colour& colour) {
  cv::Mat picture(size, CV_8UC3);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      picture.at<cv::Vec3b>(y, x) = colour(x, y);
    }
  }
  return picture;
}

} // namespace

cv::Mat selftestPhoto() {
  return pictureOf({kWidth, kHeight}, photoColour);
}

cv::Mat selftestStyleImage() {
  return pictureOf({256, 256}, styleColour);
}

const KnownDrawing* findKnownDrawing(std::string_view style, std::string_view package_sha256) {
  for (const KnownDrawing& known : kKnownDrawings) {
    if (known.style == style && (known.package_sha256.empty() || known.package_sha256 == package_sha256)) {
      return &known;
    }
  }
  return nullptr;
}

} // namespace vorin::stylize
