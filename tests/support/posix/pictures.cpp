#include "support/pictures.h"

#include <opencv2/imgcodecs.hpp>

#include <stdexcept>

namespace vorin::tests {

void savePicture(const std::string& file, const cv::Mat& bgr) {
  if (!cv::imwrite(file, bgr)) {
    throw std::runtime_error("cannot write the picture " + file);
  }
}

cv::Mat loadPicture(const std::string& file) {
  return cv::imread(file, cv::IMREAD_UNCHANGED);
}

bool jpegQualityIsKept() {
  return true;
}

} // namespace vorin::tests
