#include "measures.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace vorin::bench {

double warpedDifference(const std::vector<cv::Mat>& results, int pan_pixels, int pan_frames) {
  const auto apart = static_cast<std::size_t>(pan_frames);
  double sum = 0;
  for (std::size_t frame = apart; frame < results.size(); ++frame) {
    const cv::Mat& later = results[frame];
    const cv::Rect seen_again(0, 0, later.cols - pan_pixels, later.rows);
    const cv::Mat earlier = results[frame - apart](seen_again + cv::Point(pan_pixels, 0));
    sum += cv::norm(later(seen_again), earlier, cv::NORM_L1) / static_cast<double>(earlier.total() * earlier.elemSize());
  }
  return sum / static_cast<double>(results.size() - apart);
}

double detailOf(const std::vector<cv::Mat>& results) {
  double sum = 0;
  const std::size_t first = results.size() / 2;
  for (std::size_t frame = first; frame < results.size(); ++frame) {
    cv::Mat grey;
    cv::cvtColor(results[frame], grey, cv::COLOR_BGR2GRAY);
    cv::Mat laplacian;
    cv::Laplacian(grey, laplacian, CV_32F);
    cv::Scalar mean;
    cv::Scalar deviation;
    cv::meanStdDev(laplacian(cv::Rect(1, 1, grey.cols - 2, grey.rows - 2)), mean, deviation);
    sum += deviation[0] * deviation[0];
  }
  return sum / static_cast<double>(results.size() - first);
}

double medianOf(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

void printRow(const std::vector<std::string>& cells) {
  for (const std::string& cell : cells) {
    std::cout << "| " << cell << ' ';
  }
  std::cout << '|' << std::endl;
}

std::string decimals(double value, int digits) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(digits) << value;
  return text.str();
}

} // namespace vorin::bench
