// selftest_expectations.h: the built-in pictures that selftest restyles, the figures by which it compares results, and what those
// should be.
//
// The figures are, of each of 4 x 4 blocks, the means of blue, green and red and the standard deviation of green: enough to tell
// a drawing that is shifted, mirrored, blurred, of other colours or of another network, and robust against the last bit of a
// device's arithmetic.
//
// The filters' drawings are known to the program. Those of networks are known to whoever built the package, who may pack them as
// its entry "selftest.json":
//
//   {"version": 1,
//    "inputs": {"photo": SUMS, "style_image": SUMS},
//    "styles": {"cartoon": {"block_sums": SUMS, "tolerance": 16}, "lightgrey": ..., "transfer": ...}}
//
// SUMS is a text, the block sums of a picture (selftest_pictures.h) in two hexadecimal digits each. The inputs are the pictures
// that were drawn: where they are not this program's, the entry says nothing about its drawings. A tolerance, 0 to 255, is how
// far any sum may be off; it has room for the precisions of devices. Styles may be left out.
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

namespace vorin::stylize {

cv::Mat selftestPhoto();
cv::Mat selftestStyleImage();

constexpr int kBlocks = 4; // in each direction
using BlockSums = std::array<std::uint8_t, std::size_t{kBlocks} * kBlocks * 4>;
BlockSums blockSums(const cv::Mat& picture_bgr);

// Of two hexadecimal digits each; nothing for any other text.
std::optional<BlockSums> parseBlockSums(std::string_view text);

int largestDifference(const BlockSums& left, const BlockSums& right);

struct ExpectedDrawing {
  BlockSums sums{};
  int tolerance = 0;
};

struct Expectations {
  std::map<std::string, ExpectedDrawing, std::less<>> drawings; // by the style's name
  std::string problem; // of an entry that is there and cannot be used, continuing "its entry ..."
};

Expectations expectationsOfFilters();

// Without an entry there are neither drawings nor a problem. A Failure where the package cannot be read.
Expectations expectationsOfNetworks(const media::ModelPackage& package);

// Of the entry's text.
Expectations parseExpectations(const std::string& text);

} // namespace vorin::stylize
