#include "selftest_expectations.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace vorin::stylize {
namespace {

using Json = nlohmann::json;

constexpr const char* kEntryName = "selftest.json";
constexpr std::uint64_t kMaxEntryBytes = 0x40000;

// Filters compute alike on every device but for roundings; one filter's sums are 14 away from the other's.
constexpr int kFilterTolerance = 2;
constexpr const char* kPencil = "f8f8f820fafafa1cfdfdfd0dfdfdfd0ffafafa1bfcfcfc17fafafa1ff7f7f723"
                                "f9f9f91efbfbfb1bf2f2f22ef6f6f61df3f3f321f4f4f422f4f4f421f5f5f51a";
constexpr const char* kStipple = "fcfcfc17fcfcfc18ffffff01ffffff01fcfcfc17fdfdfd13fcfcfc1dfafafa1f"
                                 "fcfcfc17fdfdfd17f4f4f42cf9f9f918f9f9f91af8f8f81ef8f8f81dfafafa14";

// Throws what a wrong type throws, a std::exception.
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

Expectations expectationsOfFilters() {
  return {{{"pencil", {parseBlockSums(kPencil).value(), kFilterTolerance}},
           {"stipple", {parseBlockSums(kStipple).value(), kFilterTolerance}}},
          {}};
}

Expectations parseExpectations(const std::string& text) {
  try {
    const Json json = Json::parse(text);
    if (json.at("version") != 1) {
      return {{}, "is of a version that this program does not know"};
    }
    const Json& inputs = json.at("inputs");
    if (!areSumsOf(selftestPhoto(), inputs.at("photo")) || !areSumsOf(selftestStyleImage(), inputs.at("style_image"))) {
      return {{}, "was made for other pictures than those of this program"};
    }
    Expectations expectations;
    for (const auto& [style, drawing] : json.at("styles").get_ref<const Json::object_t&>()) {
      expectations.drawings[style] = {sumsOf(drawing.at("block_sums")), toleranceOf(drawing.at("tolerance"))};
    }
    return expectations;
  } catch (const std::exception&) {
    return {{}, "is damaged"};
  }
}

Expectations expectationsOfNetworks(const media::ModelPackage& package) {
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

} // namespace vorin::stylize
