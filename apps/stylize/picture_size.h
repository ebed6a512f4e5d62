// picture_size.h: which picture sizes the program takes, and how a size is written ("640x480").
#pragma once

#include <opencv2/core/types.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vorin::stylize {

// A picture passes through about 26 bytes a pixel on its way; the limits keep that below 4 GB.
constexpr std::uint64_t kMaxSide = 16384;
constexpr std::uint64_t kMaxPixels = std::uint64_t{1} << 27;

bool isUsableSize(std::uint64_t width, std::uint64_t height);
std::string sizeLimits(); // "sides of 1 to 16384 and at most 134217728 pixels"

// The size at which a network works that takes pictures of any size: the picture's, with its ratio of sides kept while it shrinks
// to the largest size that the library uses (1920x1080), but no side below the 32 pixels that the layers of a network need.
cv::Size networkSize(cv::Size picture_size);

// Nothing when the text is not WIDTHxHEIGHT in plain decimal digits, or the size is not usable.
std::optional<cv::Size> parseSize(std::string_view text);
std::string sizeText(cv::Size size);

} // namespace vorin::stylize
