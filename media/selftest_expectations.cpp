#include "selftest_expectations.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace vorin::media {
namespace {

// ---- Pictures ----

constexpr int kWidth = 384;
constexpr int kHeight = 288;

std::uint8_t byteOf(int value) {
  return static_cast<std::uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
}

bool isInDisc(int x, int y, int radius) {
  return x * x + y * y <= radius * radius;
}

// A sky that grows lighter downwards, a sun, hills, a house with a door. Computed in whole numbers, so it is the same everywhere.
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

// ---- Expectations ----

using Json = nlohmann::json;

constexpr const char* kEntryName = "selftest.json";
constexpr std::uint64_t kMaxEntryBytes = 0x40000;

// Filters compute alike on every device except for rounding; the sums of the two filters differ by 14.
constexpr int kFilterTolerance = 2;
constexpr const char* kPencil = "f8f8f820fafafa1cfdfdfd0dfdfdfd0ffafafa1bfcfcfc17fafafa1ff7f7f723"
                                "f9f9f91efbfbfb1bf2f2f22ef6f6f61df3f3f321f4f4f422f4f4f421f5f5f51a";
constexpr const char* kStipple = "fcfcfc17fcfcfc18ffffff01ffffff01fcfcfc17fdfdfd13fcfcfc1dfafafa1f"
                                 "fcfcfc17fdfdfd17f4f4f42cf9f9f918f9f9f91af8f8f81ef8f8f81dfafafa14";

// Throws a std::exception, as a wrong type does.
BlockSums sumsOf(const Json& text) {
  const std::optional<BlockSums> sums = parseBlockSums(text.get_ref<const std::string&>());
  if (!sums) {
    throw std::invalid_argument("no block sums");
  }
  return *sums;
}

// A mean of exactly half is rounded up by one computation and down by another.
bool areSumsOf(const cv::Mat& picture, const Json& text) {
  return largestDifference(blockSums(picture), sumsOf(text)) <= 1;
}

int toleranceOf(const Json& number) {
  const auto tolerance = number.get_ref<const Json::number_unsigned_t&>();
  if (tolerance > UINT8_MAX) {
    throw std::out_of_range("no tolerance");
  }
  return static_cast<int>(tolerance);
}

} // namespace

cv::Mat selftestPhoto() {
  return pictureOf({kWidth, kHeight}, photoColour);
}

cv::Mat selftestStyleImage() {
  return pictureOf({256, 256}, styleColour);
}

BlockSums blockSums(const cv::Mat& picture_bgr) {
  BlockSums sums{};
  auto* sum = sums.data();
  const cv::Size size(picture_bgr.cols / kBlocks, picture_bgr.rows / kBlocks);
  for (int block = 0; block < kBlocks * kBlocks; ++block) {
    const cv::Point origin(block % kBlocks * size.width, block / kBlocks * size.height);
    cv::Scalar mean;
    cv::Scalar deviation;
    cv::meanStdDev(picture_bgr(cv::Rect(origin, size)), mean, deviation);
    for (const double value : {mean[0], mean[1], mean[2], deviation[1]}) {
      *sum++ = cv::saturate_cast<std::uint8_t>(value);
    }
  }
  return sums;
}

std::optional<BlockSums> parseBlockSums(std::string_view text) {
  BlockSums sums{};
  if (text.size() != 2 * sums.size()) {
    return std::nullopt;
  }
  for (std::uint8_t& sum : sums) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + 2, sum, 16);
    if (error != std::errc() || end != text.data() + 2) {
      return std::nullopt;
    }
    text.remove_prefix(2);
  }
  return sums;
}

int largestDifference(const BlockSums& left, const BlockSums& right) {
  int largest = 0;
  for (std::size_t index = 0; index < left.size(); ++index) {
    largest = std::max(largest, std::abs(left[index] - right[index]));
  }
  return largest;
}

Expectations expectationsOfFilters() {
  return {{{"pencil", {parseBlockSums(kPencil).value(), kFilterTolerance}},
           {"stipple", {parseBlockSums(kStipple).value(), kFilterTolerance}}},
          {}};
}

Expectations parseExpectations(const std::string& text) {
  try {
    const Json json = Json::parse(text);
    if (json.at("version") != 1) {
      return {{}, "has a version that this program does not know"};
    }
    const Json& inputs = json.at("inputs");
    if (!areSumsOf(selftestPhoto(), inputs.at("photo")) || !areSumsOf(selftestStyleImage(), inputs.at("style_image"))) {
      return {{}, "was made for other built-in pictures"};
    }
    Expectations expectations;
    for (const auto& [style, result] : json.at("styles").get_ref<const Json::object_t&>()) {
      expectations.results[style] = {sumsOf(result.at("block_sums")), toleranceOf(result.at("tolerance"))};
    }
    return expectations;
  } catch (const std::exception&) {
    return {{}, "is damaged"};
  }
}

Expectations expectationsOfNetworks(const ModelPackage& package) {
  const modelpack::PackageEntry* entry = package.directory().find(kEntryName);
  if (entry == nullptr) {
    return {};
  }
  if (entry->size_bytes > kMaxEntryBytes) {
    return {{}, "is damaged"};
  }
  std::string text;
  modelpack::readEntry(package.file(), *entry,
                       [&](std::span<const std::uint8_t> part) { text.append(part.begin(), part.end()); });
  return parseExpectations(text);
}

} // namespace vorin::media
