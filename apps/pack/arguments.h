// arguments.h: the command line of vorin-pack, checked.
#pragma once

#include "network_names.h"

#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace vorin::pack {

struct NamedFile {
  std::string entry_name;
  std::filesystem::path file;
};

// A network for a place of the catalogue, with its quantised twin if there is one.
struct CataloguePart {
  CatalogueNetwork network;
  std::filesystem::path file;
  std::optional<std::filesystem::path> quantised_file;
};

struct BuildArguments {
  std::filesystem::path package;
  std::vector<std::filesystem::path> networks; // under their own names
  std::vector<NamedFile> named_files;
  std::vector<CataloguePart> catalogue_parts;
  bool half_precision = false;
  bool overwrite = false;
};

struct ListArguments {
  std::filesystem::path package;
  bool as_json = false;
};

struct VerifyArguments {
  std::filesystem::path package;
  std::vector<CatalogueNetwork> networks;
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

// Throws a Failure with the status for usage.
Arguments parseArguments(int count, const char* const* arguments);

} // namespace vorin::pack
