// contact_sheet.h: puts pictures in rows of three on a white sheet, each with a caption below it.
#pragma once

#include <opencv2/core/mat.hpp>

#include <string>
#include <vector>

namespace vorin::stylize {

struct SheetPicture {
  cv::Mat bgr;
  std::string caption; // characters that the font lacks, all but ASCII, become "?"
};

// Shrinks a picture that is too large for its place on the sheet; never enlarges one.
cv::Mat shrunkForSheet(const cv::Mat& bgr);

// Needs at least one picture; each group begins a row. Throws if the sheet would exceed the largest size of pictures.
cv::Mat makeContactSheet(const std::vector<std::vector<SheetPicture>>& groups);

} // namespace vorin::stylize
