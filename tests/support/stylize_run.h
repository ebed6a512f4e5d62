// Shared by the tests of vorin-stylize: a folder to work in, images to work on, and the program on two kinds of machine.
#pragma once

#include "support/child_process.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <set>
#include <string>
#include <vector>

namespace vorin::tests {

// A reproducible picture: soft colours, hard edges and grain. Each 2 x 2 pixels have one colour, so that the layouts in which
// neighbours share colour lose nothing.
cv::Mat makePicture(cv::Size size);

// Writes an image file in the format of the name's extension: by OpenCV, or on Windows, where it has no codecs, by the system's.
void savePicture(const std::string& file, const cv::Mat& bgr);

// Reads an image file; empty if there is no picture.
cv::Mat loadPicture(const std::string& file);

// Whether no pixel differs by more than the tolerance.
testing::AssertionResult areEqual(const cv::Mat& a, const cv::Mat& b, double tolerance = 0);

// Expects a run that ended with the status and printed only one line on standard error, which holds the text.
void expectFailure(const ChildResult& result, int exit_status, const std::string& said);

struct FailureCase {
  std::string name;
  std::vector<std::string> arguments; // a "%" in front stands for the folder
  int exit_status;
  std::string said; // part of the one line
};

class StylizeRun {
public:
  const std::filesystem::path& folder() const { return folder_.path(); }
  std::string file(const std::string& name) const { return (folder() / name).string(); }
  std::set<std::string> names() const { return namesIn(folder()); }
  std::vector<std::string> inFolder(std::vector<std::string> arguments) const; // a "%" in front stands for the folder

  // Expects the failure, and the folder to hold what it held.
  void expectFailureOf(const FailureCase& failure, const ChildSetting& setting) const;

  // Writes the picture of makePicture into the folder and returns its path.
  std::string image(const std::string& name, cv::Size size = {61, 47}) const;

  // The settings of a machine with the stand-in GPU and of one without any GPU. The program unpacks networks below cacheFolder().
  static ChildSetting withGpu();
  static ChildSetting withoutGpu();
  static std::filesystem::path cacheFolder() { return buildFolder() / "tests" / "stylize_cache"; }
  static void setCacheFolder(ChildSetting& setting, const std::filesystem::path& folder);

  static std::string program() { return VORIN_STYLIZE_PROGRAM; }
  static std::filesystem::path buildFolder() { return std::filesystem::path(program()).parent_path(); }
  static ChildResult run(std::vector<std::string> arguments, const ChildSetting& setting = withGpu());
  // Restyles photo.png into out.png.
  ChildResult restyle(std::vector<std::string> more, const ChildSetting& setting = withGpu()) const;

  // Copies the program and its library into a folder, without the software device.
  static std::string copyProgram(const std::filesystem::path& folder);

private:
  TemporaryFolder folder_;
};

} // namespace vorin::tests
