// option_table.h: the options of the command line and the words of its help. One table, read by the parser.
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
  std::string device = "auto";
  std::string precision;
  std::string format;
  std::string codec;
  std::string crf;
  std::string raw;
  bool overwrite = false;
  bool quiet = false;
  bool version = false;
};

enum CommandSet : unsigned { kForStylize = 1, kForSheet = 2, kForBoth = 3 };

struct OptionRow {
  const char* names;
  std::variant<std::string RawArguments::*, bool RawArguments::*> value;
  const char* placeholder;
  std::string help;
  unsigned commands;
  const char* section;
};

std::vector<OptionRow> optionTable();

extern const char* const kOtherSection; // of the help: where options stand that are in no table
extern const char* const kFooter;       // below the options
extern const char* const kSheetFooter;

// The style that takes a style image and a choice of networks.
const Style& transferStyle();

} // namespace vorin::stylize
