// options.h: the command line, with all checks that need no file and no device, and the commands that it starts.
#pragma once

#include "exit_status.h"
#include "vorin_jobs.hpp"

#include <vector>

namespace vorin::stylize {

enum class Command { kRestyle, kSheet, kDevices, kInfo, kSelftest, kPlan, kWork, kStatus, kJoin, kText };
enum class ProgressWish { kAuto, kJson };

// What the user asked for: how to restyle, and all else.
struct Options : media::Recipe { // a sheet has all styles; the style image may be a folder of them
  Command command = Command::kRestyle;
  std::string text;                          // the text to print, for kText
  std::vector<std::filesystem::path> inputs; // images, clips, folders, or "-"
  std::filesystem::path output;              // a folder for many inputs
  std::string to; // the file extension of many images or of one in a pipe, with its dot; empty: each input's own
  ProgressWish progress = ProgressWish::kAuto;
  bool resume = false;
  bool quiet = false;
  bool json = false;
  std::filesystem::path job; // the folder of a job
  std::string unit;          // the one to do
  int workers = 1;           // processes
  media::UnitRules unit_rules;
  bool skip_failed = false;              // units that failed before
  bool open_units = false;               // list them
  std::vector<std::string> clip_options; // the options on the command line that apply to clips only
};

// Parses plain decimal digits; nothing for any other text and for a size that no picture may have.
std::optional<media::SizeRule> parseSize(const std::string& text);

// Parses a colour, "white", "black" or six hexadecimal digits, to 0xRRGGBB; nothing for any other text.
std::optional<std::uint32_t> parseColour(const std::string& text);

// Parses a time in seconds, as "90" or "90.5", "1:30" or "0:01:30"; nothing for any other text.
std::optional<double> parseTime(const std::string& text);

// Throws kUsage.
Options parseOptions(int count, const char* const* arguments);

// "vorin-stylize 0.5.0" and the library's version, a line each.
std::string versionText();

// ---- The commands: each has one function and one file ----

// Restyles images, clips and pipes: one into a file, or many into a folder.
base::ExitStatus restyle(const Options& options);

base::ExitStatus restyleMany(const Options& options);

// Writes one image with pictures beside their originals: each input in all styles, or in each look of a folder of style images.
base::ExitStatus makeSheet(const Options& options);

// Restyles a built-in picture in all five styles and compares the results with the expected ones. Without an expected
// result, a result must have the picture's size and differ from it.
base::ExitStatus testItself(const Options& options);

// Plans a job, does its units, tells where it stands, and writes its outputs.
base::ExitStatus planJob(const Options& options);
base::ExitStatus workOnJob(const Options& options);
base::ExitStatus printJobState(const Options& options);
base::ExitStatus joinJob(const Options& options);

// Lists the GPUs.
base::ExitStatus listDevices(const Options& options);

// Lists versions, devices, and the networks of the package.
base::ExitStatus printInfo(const Options& options);

} // namespace vorin::stylize
