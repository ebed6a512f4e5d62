// selftest_pictures.h: the built-in pictures that selftest draws, and the figures by which it compares drawings.
//
// The figures are, of each of 4 x 4 blocks, the means of blue, green and red and the standard deviation of green: enough to tell
// a drawing that is shifted, mirrored, blurred, of other colours or of another network, and robust against the last bit of a
// device's arithmetic.
#pragma once

#include <opencv2/core/mat.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace vorin::stylize {

cv::Mat selftestPhoto();
cv::Mat selftestStyleImage();

constexpr int kBlocks = 4; // in each direction
using BlockSums = std::array<std::uint8_t, std::size_t{kBlocks} * kBlocks * 4>;
BlockSums blockSums(const cv::Mat& picture_bgr);

// Of two hexadecimal digits each; nothing for any other text.
std::optional<BlockSums> parseBlockSums(std::string_view text);

int largestDifference(const BlockSums& left, const BlockSums& right);

} // namespace vorin::stylize
