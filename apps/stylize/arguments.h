// arguments.h: the command line, checked. What comes out of here can be carried out, as far as that shows without a file or a
// device.
#pragma once

#include "device_choice.h"
#include "frame_conversion.h"
#include "look.h"
#include "progress.h"
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
  bool steady = false;
};

enum class Command { kStylize, kSheet, kDevices, kInfo, kSelftest, kText, kVersion };

struct Arguments {
  Command command = Command::kStylize;
  std::string text;                                 // for kText: what to print
  std::vector<std::filesystem::path> photos;        // or folders, or patterns; or the clip, which may be kPipe
  std::filesystem::path output;                     // a folder for many photos
  const Style* style = nullptr;                     // null for a sheet: all of them
  const Network* network = nullptr;                 // for a style with a choice of networks; null where none is named
  std::optional<std::filesystem::path> style_image; // or a folder of them
  std::optional<std::filesystem::path> models;
  std::optional<cv::Size> size; // none: the photo's
  DeviceWish device = DeviceWish::kAuto;
  const Precision* precision = nullptr; // of the software device; null where none is named
  const FrameFormat* format = nullptr;  // of a photo
  std::optional<ClipOptions> clip;      // none: a photo
  Look look;
  std::string to; // the file extension of many drawings, with its dot; empty: each photo's own
  ProgressWish progress = ProgressWish::kAuto;
  bool overwrite = false;
  bool resume = false;
  bool quiet = false;
  bool json = false;
};

Arguments parseArguments(int count, const char* const* arguments); // a Failure with the status for usage when they make no sense

} // namespace vorin::stylize
