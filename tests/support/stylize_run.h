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

// Writes an image file of the kind that the name stands for: by OpenCV, or on Windows, where it has no codecs, by the system's.
void savePicture(const std::string& file, const cv::Mat& bgr);

// Empty where there is no picture.
cv::Mat loadPicture(const std::string& file);

// Whether JPEG files get the quality that the program asks for. Wine's encoder has its own.
bool jpegQualityIsKept();

// A PNG file by the bytes, uncompressed: 8 or 16 bits, one, three or four channels.
std::string pngBytes(const cv::Mat& picture);

// Expects a run that ended with the status and said nothing but one line on standard error, which holds the text.
void expectFailure(const ChildResult& result, int exit_status, const std::string& said);

class StylizeRun {
public:
  const std::filesystem::path& folder() const { return folder_.path(); }
  std::string file(const std::string& name) const { return (folder() / name).string(); }
  std::set<std::string> names() const; // all that lies in the folder
  // The arguments, where a "%" in front stands for the folder.
  std::vector<std::string> inFolder(std::vector<std::string> arguments) const;

  // Writes the photo into the folder and gives its path.
  std::string photo(const std::string& name, cv::Size size) const;

  // The settings of a machine with the stand-in GPU, of one without any GPU, and of one whose GPU is listed but has no OpenCL
  // driver.
  static ChildSetting withGpu(const std::filesystem::path& runtime = standInRuntime());
  static ChildSetting withoutGpu();
  static ChildSetting withGpuThatDoesNotDraw();

  static std::filesystem::path standInRuntime(); // the inference runtime's folder
  static std::string program();
  static std::string programName(); // of its file
  static ChildResult run(std::vector<std::string> arguments, const ChildSetting& setting);
  // With Ctrl-C as soon as the condition holds.
  static ChildResult runCancelled(std::vector<std::string> arguments, ChildSetting setting,
                                  const std::function<bool()>& condition);
  // Draws photo.png, of 61 x 47 pixels, into out.png.
  ChildResult draw(std::vector<std::string> more, const ChildSetting& setting) const;

  // Copies the program into a folder; the copy finds the library where the program has it.
  static std::string copyProgram(const std::filesystem::path& folder, ChildSetting& setting);

  // Keeps the program from loading a network while it lives.
  static std::shared_ptr<void> holdTurn();

private:
  TemporaryFolder folder_;
};

} // namespace vorin::tests
