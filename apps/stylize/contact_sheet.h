// contact_sheet.h: pictures in rows of three on a white sheet, each with a caption below it.
#pragma once

#include <opencv2/core/mat.hpp>

#include <string>
#include <vector>

namespace vorin::stylize {

struct SheetPicture {
  cv::Mat bgr;
  std::string caption; // what the font lacks, all but ASCII, shows as "?"
};

// Shrinks a picture that is too large for its place on the sheet; never enlarges one.
cv::Mat shrunkForSheet(const cv::Mat& bgr);

// At least one picture; each group begins a row. Fails when the sheet would be larger than the program's pictures may be.
cv::Mat makeContactSheet(const std::vector<std::vector<SheetPicture>>& groups);

} // namespace vorin::stylize
