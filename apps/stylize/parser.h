// parser.h: the options of the program for CLI11, in groups that its commands share. Private to command_line.cpp and
// job_command_line.cpp.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace vorin::stylize {

struct CommandLine;

constexpr const char* kManySection = "Many inputs";
constexpr const char* kOtherSection = "Other options";

// Breaks each line that is too long at blanks, and indents the rest as the line was indented.
std::string wrapped(const std::string& text);

class Parser {
public:
  explicit Parser(CommandLine& values); // which it fills

  CommandLine& typed;
  CLI::App app{"Restyles images and clips: pencil, dots, and the looks of neural networks.", "vorin-stylize"};
  CLI::App* sheet = nullptr;
  CLI::App* devices = nullptr;
  CLI::App* info = nullptr;
  CLI::App* selftest = nullptr;
  CLI::App* job = nullptr;

private:
  static CLI::Option* text(CLI::App& app, const char* names, std::string& value, const char* placeholder, const std::string& help,
                           const char* section);
  static CLI::Option* flag(CLI::App& app, const char* names, bool& value, const char* help, const char* section);
  // All that says how to restyle.
  void addRestyling(CLI::App& to, bool at_once);
  void addProgress(CLI::App& to);
  void addResult(CLI::App& to);
  void addStyle(CLI::App& to);
  void addImages(CLI::App& to);
  void addLook(CLI::App& to);
  void addMany(CLI::App& to, bool at_once);
  void addClips(CLI::App& to, bool at_once);
  void addNeural(CLI::App& to);
  void addModels(CLI::App& to);
  void addDevice(CLI::App& to);
  void addOther(CLI::App& to, bool restyles);
  void addCommands();
  void addJob();
  CLI::App* addJobCommand(const char* name, const char* description);
};

} // namespace vorin::stylize
