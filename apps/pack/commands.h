// commands.h: the commands of vorin-pack: parses the arguments of each, and runs it.
#pragma once

#include "exit_status.h"
#include "modelpack/network_names.h"

#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace vorin::pack {

using modelpack::NamedNetwork;

struct NamedFile {
  std::string entry_name;
  std::filesystem::path file;
};

// The file for a network that the library loads, and the file for its quantised twin if one was named.
struct LibraryNetwork {
  const NamedNetwork* network = nullptr;
  std::filesystem::path file;
  std::optional<std::filesystem::path> quantised_file;
};

struct BuildArguments {
  std::filesystem::path package;
  std::vector<std::filesystem::path> networks; // under their own names
  std::vector<NamedFile> named_files;
  std::vector<LibraryNetwork> library_networks;
  bool half_precision = false;
  bool overwrite = false;
};

struct ListArguments {
  std::filesystem::path package;
  bool as_json = false;
};

struct VerifyArguments {
  std::filesystem::path package;
  std::vector<const NamedNetwork*> networks;
};

struct ExtractArguments {
  std::filesystem::path package;
  std::vector<std::string> entry_names; // empty: all
  std::filesystem::path folder;
  bool overwrite = false;
};

// A text to print instead of work.
struct PrintArguments {
  std::string text;
};

using Arguments = std::variant<PrintArguments, BuildArguments, ListArguments, VerifyArguments, ExtractArguments>;

// Throws Error(kUsage).
Arguments parseArguments(int count, const char* const* arguments);

// Returns kDone, or kSomeInputsFailed if list or verify finds a problem in the package. Throws an Error for all other failures,
// and base::Cancelled after a signal.
base::ExitStatus runCommand(const Arguments& arguments);

// Writes a line for the user to standard error.
void printLine(const std::string& line);

} // namespace vorin::pack
