// Measures a clip's results and prints tables of the figures.
#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace vorin::bench {

// The mean absolute difference of results that lie so many frames apart, in grey levels, where the later one shows what the
// earlier one showed `pan_pixels` further to the right. Parts that have just entered are left out.
double warpedDifference(const std::vector<cv::Mat>& results, int pan_pixels, int pan_frames);

// The variance of the Laplacian of the results' grey, on average over the second half: since detail is lost gradually.
double detailOf(const std::vector<cv::Mat>& results);

double medianOf(std::vector<double> values);

// A row of a table in Markdown.
void printRow(const std::vector<std::string>& cells);
std::string decimals(double value, int digits);

} // namespace vorin::bench
