// selftest_expectations.h: the built-in pictures that selftest restyles, the figures by which it compares results, and the
// expected figures.
//
// The figures are, for each of 4 x 4 blocks, the means of blue, green and red and the standard deviation of green: enough to find
// a result that is shifted, mirrored, blurred, of other colours or of another network, and robust against the last bit of a
// device's arithmetic.
//
// The program knows the figures of the filters. Those of networks come from the builder of the package, who may pack them as its
// entry "selftest.json":
//
//   {"version": 1,
//    "inputs": {"photo": SUMS, "style_image": SUMS},
//    "styles": {"cartoon": {"block_sums": SUMS, "tolerance": 16}, "lightgrey": ..., "transfer": ...}}
//
// SUMS is a text, the block sums of a picture in two hexadecimal digits each. The inputs are the restyled pictures: if they are
// not this program's, the entry does not apply. A tolerance, 0 to 255, is how far any sum may be off; it leaves room for the
// precisions of devices. Styles may be left out.
#pragma once

#include "model_package.h"

#include <opencv2/core/mat.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace vorin::media {

cv::Mat selftestPhoto();
cv::Mat selftestStyleImage();

constexpr int kBlocks = 4; // in each direction
using BlockSums = std::array<std::uint8_t, std::size_t{kBlocks} * kBlocks * 4>;
BlockSums blockSums(const cv::Mat& picture_bgr);

// Parses sums of two hexadecimal digits each; nothing for any other text.
std::optional<BlockSums> parseBlockSums(std::string_view text);

int largestDifference(const BlockSums& left, const BlockSums& right);

struct ExpectedResult {
  BlockSums sums{};
  int tolerance = 0;
};

struct Expectations {
  std::map<std::string, ExpectedResult, std::less<>> results; // by the style's name
  std::string problem;                                        // why an entry cannot be used, continuing "its entry ..."
};

Expectations expectationsOfFilters();

// Reads the entry of the package. Without one there are neither results nor a problem. Throws an Error if the package cannot be
// read.
Expectations expectationsOfNetworks(const ModelPackage& package);

// Parses the entry's text.
Expectations parseExpectations(const std::string& text);

} // namespace vorin::media
