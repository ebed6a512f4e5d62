// Image files of the tests' own: written and read by OpenCV, or on Windows, where it has no codecs, by the system's.
#pragma once

#include <opencv2/core/mat.hpp>

#include <string>

namespace vorin::tests {

// Of the kind that the name stands for.
void savePicture(const std::string& file, const cv::Mat& bgr);

// Empty where there is no picture.
cv::Mat loadPicture(const std::string& file);

// Whether JPEG files get the quality that the program asks for. Wine's encoder has its own.
bool jpegQualityIsKept();

// A PNG file by the bytes, uncompressed: 8 or 16 bits, one, three or four channels.
std::string pngBytes(const cv::Mat& picture);

} // namespace vorin::tests
