// selftest_command.h: draws a built-in picture in all five styles, and compares with what is known of the drawings.
//
// Known are, of each of 4 x 4 blocks, the means of blue, green and red and the standard deviation of green: enough to tell a
// drawing that is shifted, mirrored, blurred, of other colours or of another network, and robust against the last bit of a
// device's arithmetic. The filters always give the same; the drawings of the networks are known for the demo's package alone, by
// its SHA-256. With another one, and in any case, a drawing has to have the picture's size, more than one colour, and to be
// another picture. What is to be known next is what "selftest --json" tells.
#pragma once

#include "arguments.h"
#include "exit_status.h"

#include <opencv2/core/mat.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vorin::stylize {

ExitStatus testItself(const Arguments& arguments);

constexpr int kBlocks = 4; // in each direction
using BlockSums = std::array<std::uint8_t, std::size_t{kBlocks} * kBlocks * 4>;
BlockSums blockSums(const cv::Mat& picture_bgr);

struct KnownDrawing {
  std::string_view style;
  std::string_view package_sha256; // empty for a filter
  std::string_view sums;           // two hexadecimal digits each
};

// Null where nothing is known.
const KnownDrawing* findKnownDrawing(std::string_view style, std::string_view package_sha256);

// The pictures that are drawn.
cv::Mat selftestPhoto();
cv::Mat selftestStyleImage();

} // namespace vorin::stylize
