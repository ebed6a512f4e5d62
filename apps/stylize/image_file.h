// image_file.h: image files to pictures in memory (8-bit blue, green, red) and back: PNG, JPEG, WebP, BMP.
//
// Read are grey, palette, 16-bit and transparent images too: transparency is dropped, 16 bits become 8, and a photo that its
// camera marked as turned is turned upright. Every fault of a file becomes a Failure with one line; the decoders' own lines are
// kept away.
#pragma once

#include <opencv2/core/mat.hpp>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace vorin::stylize {

cv::Mat readPicture(const std::filesystem::path& file);

// Fails where there is nothing of that name.
void requireExists(const std::filesystem::path& file);

// Whether the extension of the name stands for one of the formats; a list of those extensions for messages.
bool isPictureName(const std::filesystem::path& file);
std::vector<std::string> pictureExtensionList();
std::string pictureExtensions();

// Fails where the format that the name stands for cannot hold a picture of this size.
void requireFits(const std::filesystem::path& file, cv::Size size);

// The bytes of an image file of the format that the name stands for.
std::vector<std::uint8_t> encodePicture(const std::filesystem::path& file, const cv::Mat& bgr);

} // namespace vorin::stylize
