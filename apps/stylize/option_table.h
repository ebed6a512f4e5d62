// option_table.h: the options of the command line and the words of its help. One table, read by the parser and by the completion.
#pragma once

#include "styles.h"

#include <string>
#include <variant>
#include <vector>

namespace vorin::stylize {

// The values as typed.
struct RawArguments {
  std::vector<std::string> photos;
  std::string output;
  std::string style;
  std::string style_image;
  std::string network;
  std::string models;
  std::string size;
  std::string to;
  std::string strength;
  std::string device = "auto";
  std::string precision;
  std::string format;
  std::string codec;
  std::string crf;
  std::string raw;
  std::string progress = "auto";
  bool keep_colors = false;
  bool steady = false;
  bool overwrite = false;
  bool resume = false;
  bool quiet = false;
  bool json = false;
  bool version = false;
};

enum CommandSet : unsigned {
  kForStylize = 1,
  kForSheet = 2,
  kForDrawing = kForStylize | kForSheet,
  kForDevices = 4,
  kForInfo = 8,
  kForSelftest = 16,
  kForAll = 31
};

struct OptionRow {
  const char* names;
  std::variant<std::string RawArguments::*, bool RawArguments::*> value;
  const char* placeholder;
  std::string help;
  unsigned commands;
  const char* section;
  std::vector<std::string> words = {}; // that the value may be, where they are few
};

std::vector<OptionRow> optionTable();

extern const char* const kOtherSection; // of the help: where options stand that are in no table
extern const char* const kFooter;       // below the options
extern const char* const kSheetFooter;

// The style that takes a style image and a choice of networks.
const Style& transferStyle();

} // namespace vorin::stylize
