// arguments.h: the command line, checked. What comes out of here can be carried out, as far as that shows without a file or a
// device.
#pragma once

#include "device_choice.h"
#include "frame_conversion.h"
#include "software_device.h"
#include "styles.h"

#include <opencv2/core/types.hpp>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vorin::stylize {

// Of a clip or a pipe, which take the place of photo and drawing.
struct ClipOptions {
  std::string codec;
  std::optional<int> crf;
  std::optional<std::string> raw; // what goes through pipes, not read yet; none: Y4M
};

enum class Command { kStylize, kSheet, kDevices, kHelp, kVersion };

struct Arguments {
  Command command = Command::kStylize;
  std::string help;                          // for kHelp: the text
  std::vector<std::filesystem::path> photos; // or the clip, which may be kPipe
  std::filesystem::path output;
  const Style* style = nullptr;     // null for a sheet: all of them
  const Network* network = nullptr; // for a style with a choice of networks; null where none is named
  std::optional<std::filesystem::path> style_image;
  std::optional<std::filesystem::path> models;
  std::optional<cv::Size> size; // none: the photo's
  DeviceWish device = DeviceWish::kAuto;
  const Precision* precision = nullptr; // of the software device; null where none is named
  const FrameFormat* format = nullptr;  // of a photo
  std::optional<ClipOptions> clip;      // none: a photo
  bool overwrite = false;
  bool quiet = false;
};

Arguments parseArguments(int count, const char* const* arguments); // a Failure with the status for usage when they make no sense

} // namespace vorin::stylize
