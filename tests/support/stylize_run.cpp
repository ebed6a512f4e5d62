#include "support/stylize_run.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <sstream>
#include <stdexcept>

namespace vorin::tests {
namespace {

std::filesystem::path standIns() {
  return std::filesystem::path(StylizeRun::program()).parent_path() / "softgpu";
}

} // namespace

cv::Mat makePhoto(cv::Size size) {
  cv::Mat photo(size, CV_8UC3);
  for (int row = 0; row < photo.rows; ++row) {
    for (int column = 0; column < photo.cols; ++column) {
      photo.at<cv::Vec3b>(row, column) = {static_cast<std::uint8_t>(40 + 180 * column / photo.cols),
                                          static_cast<std::uint8_t>(60 + 150 * row / photo.rows),
                                          static_cast<std::uint8_t>(220 - 160 * column / photo.cols)};
    }
  }
  cv::rectangle(photo, {size.width / 4, size.height / 4}, {size.width / 2, size.height / 2}, {30, 200, 90}, cv::FILLED);
  cv::circle(photo, {size.width * 2 / 3, size.height * 2 / 3}, size.height / 5, {200, 40, 60}, cv::FILLED);
  cv::Mat grain(size, CV_8UC3);
  cv::RNG random(20);
  random.fill(grain, cv::RNG::UNIFORM, 0, 12);
  return photo + grain;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::set<std::string> StylizeRun::names() const {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder())) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

std::string StylizeRun::photo(const std::string& name, cv::Size size) const {
  if (!cv::imwrite(file(name), makePhoto(size))) {
    throw std::runtime_error("cannot write the photo " + name);
  }
  return file(name);
}

ChildSetting StylizeRun::withGpu() {
  ChildSetting setting;
  setting.variables = {{"OPENCL_LAYERS", (standIns() / "libvorin_softgpu_opencl.so").string()},
                       {"LD_LIBRARY_PATH", (standIns() / "runtime").string()},
                       {"VORIN_SOFTGPU", "1"}};
  return setting;
}

ChildSetting StylizeRun::withoutGpu() {
  ChildSetting setting;
  setting.variables = {{"OPENCL_LAYERS", std::nullopt}, {"LD_LIBRARY_PATH", std::nullopt}, {"VORIN_SOFTGPU", std::nullopt}};
  return setting;
}

ChildSetting StylizeRun::withGpuThatDoesNotDraw() {
  ChildSetting setting = withoutGpu();
  setting.variables["LD_LIBRARY_PATH"] = (standIns() / "runtime").string();
  return setting;
}

std::string StylizeRun::program() {
  return VORIN_STYLIZE_PROGRAM;
}

ChildResult StylizeRun::run(std::vector<std::string> arguments, const ChildSetting& setting) {
  arguments.insert(arguments.begin(), program());
  return ChildProcess(arguments, setting).wait();
}

} // namespace vorin::tests
