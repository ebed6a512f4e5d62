// command_line.h: the program's options and commands as CLI11 reads them, and the texts of their help.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vorin::stylize {

// The values as typed, each checked by itself.
struct CommandLine {
  std::vector<std::string> inputs;
  std::string output;
  std::string style;
  std::string style_image;
  std::string network;
  std::string models;
  std::string size;
  std::string to;
  std::string background = "white";
  std::optional<std::uint64_t> max_pixels;
  std::optional<int> quality;
  double strength = 1;
  std::string device = "auto";
  std::string precision;
  std::string codec;
  std::optional<int> crf;
  std::string raw;
  std::string sound;
  std::string start;
  std::string end;
  std::string progress = "auto";
  bool keep_colours = false;
  bool steady = false;
  bool overwrite = false;
  bool keep_alpha = false;
  bool resume = false;
  bool no_cache = false;
  bool quiet = false;
  bool json = false;
  bool version = false;
  std::string job; // the folder
  std::string unit;
  int workers = 1;
  double unit_length_s = 20;
  int unit_images = 50;
  bool open_units = false;
  bool skip_failed = false;
  std::string command;             // "sheet", "devices", "info", "selftest", "plan", "work", "status", "join", or empty
  std::optional<std::string> help; // the text of --help, if it was requested
};

// Throws kUsage for arguments that CLI11 rejects, and for options before a command, which would be ignored.
CommandLine parseCommandLine(int count, const char* const* arguments);

std::vector<std::string> styleNames();

} // namespace vorin::stylize
