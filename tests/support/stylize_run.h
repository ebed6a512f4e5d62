// What the tests of vorin-stylize share: a folder to work in, photos to work on, and the program under three kinds of machine.
#pragma once

#include "support/child_process.h"
#include "support/test_environment.h"

#include <opencv2/core.hpp>

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace vorin::tests {

// A reproducible photo: soft colours, hard edges and grain. Each 2 x 2 pixels have one colour, so that the formats in which
// neighbours share colour lose nothing by it.
cv::Mat makePhoto(cv::Size size);

std::vector<std::string> linesOf(const std::string& text);

class StylizeRun {
public:
  const std::filesystem::path& folder() const { return folder_.path(); }
  std::string file(const std::string& name) const { return (folder() / name).string(); }
  std::set<std::string> names() const; // all that lies in the folder

  // Writes the photo into the folder and gives its path.
  std::string photo(const std::string& name, cv::Size size) const;

  // The settings of a machine with the stand-in GPU, of one without any GPU, and of one whose GPU is listed but has no OpenCL
  // driver.
  static ChildSetting withGpu();
  static ChildSetting withoutGpu();
  static ChildSetting withGpuThatDoesNotDraw();

  static std::string program();
  static std::string programName(); // of its file
  static ChildResult run(std::vector<std::string> arguments, const ChildSetting& setting);

  // Copies the program into a folder; the copy finds the library where the program has it.
  static std::string copyProgram(const std::filesystem::path& folder, ChildSetting& setting);

  // Keeps the program from loading a network while it lives.
  static std::shared_ptr<void> holdTurn();

private:
  TemporaryFolder folder_;
};

} // namespace vorin::tests
