#include "commands.h"

#include "cancellation.h"
#include "modelpack/package_directory.h"
#include "output_file.h"
#include "packing.h"
#include "text.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <set>

namespace vorin::pack {
namespace {

namespace fs = std::filesystem;
using base::ExitStatus;
using base::quoted;
using base::quotedPath;
using modelpack::PackageDirectory;
using modelpack::PackageEntry;

void printData(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
    throw Error(ErrorKind::kInputOutput, "the output cannot be written: make room, or write it elsewhere");
  }
}

ExitStatus run(const PrintArguments& arguments) {
  printData(arguments.text);
  return ExitStatus::kDone;
}

// ---- build ----

class PackageContent {
public:
  explicit PackageContent(bool half_precision) : source_(half_precision) {}

  void addNetwork(std::string_view entry_name, const fs::path& file) {
    const NetworkFiles network = source_.load(file);
    files_.push_back({std::string(entry_name), network.network});
    files_.push_back({modelpack::weightsEntry(entry_name), network.weights});
  }

  void addNamed(const NamedFile& named) {
    const bool names_network = base::pathFromUtf8(named.entry_name).extension() == ".xml";
    if (isNetworkName(named.file)) {
      if (!names_network) {
        throw Error(ErrorKind::kModel, "the entry name " + quoted(named.entry_name) +
                                           " names a network but does not end in .xml: give it that ending");
      }
      addNetwork(named.entry_name, named.file);
      return;
    }
    requireFile(named.file);
    if (names_network) {
      throw Error(ErrorKind::kModel, "the entry name " + quoted(named.entry_name) + " is a network's, but " +
                                         quotedPath(named.file) +
                                         " is not an .xml or .onnx file: name one, or choose another ending");
    }
    files_.push_back({named.entry_name, named.file});
  }

  void addLibraryNetwork(const LibraryNetwork& added) {
    const NamedNetwork& network = *added.network;
    addNetwork(network.float_entry, added.file);
    if (network.hasTwin()) {
      addNetwork(network.quantised_entry, added.quantised_file.value_or(added.file));
      if (!added.quantised_file) {
        printLine(std::string(network.name) + ": no --int8 given, so devices that work with 8-bit integers get " +
                  quotedPath(added.file) + " too");
      }
    }
  }

  const std::vector<PackedFile>& files() const { return files_; }

private:
  NetworkSource source_;
  std::vector<PackedFile> files_;
};

void requireOtherFile(const fs::path& package, const std::vector<PackedFile>& files) {
  std::error_code error;
  for (const PackedFile& file : files) {
    if (fs::equivalent(package, file.file, error)) {
      throw Error(ErrorKind::kInputOutput,
                  quotedPath(package) + " is both the package and a file to pack: give the package another name");
    }
  }
}

ExitStatus run(const BuildArguments& arguments) {
  base::requireWritable(arguments.package, arguments.overwrite); // before the networks are read, which takes time
  PackageContent content(arguments.half_precision);
  for (const fs::path& file : arguments.networks) {
    content.addNetwork(base::utf8Text(file.stem()) + ".xml", file);
  }
  for (const NamedFile& named : arguments.named_files) {
    content.addNamed(named);
  }
  for (const LibraryNetwork& network : arguments.library_networks) {
    content.addLibraryNetwork(network);
  }
  requireOtherFile(arguments.package, content.files());
  writePackage(content.files(), arguments.package, arguments.overwrite);
  printLine("wrote " + quotedPath(arguments.package) + " with " + std::to_string(content.files().size()) + " entries");
  return ExitStatus::kDone;
}

// ---- list ----

std::string tableOf(const PackageDirectory& directory) {
  std::string text;
  for (const PackageEntry& entry : directory.entries) {
    const std::string name = quoted(entry.name);
    text += std::to_string(entry.size_bytes) + '\t' + std::to_string(entry.offset_bytes) + '\t' +
            name.substr(1, name.size() - 2) + '\n';
  }
  return text;
}

// A name that is not UTF-8 is read as Latin-1, whose bytes are the first 256 code points.
std::string jsonLine(const PackageEntry& entry, const std::string& name) {
  try {
    return nlohmann::ordered_json{{"name", name}, {"size_bytes", entry.size_bytes}, {"offset_bytes", entry.offset_bytes}}.dump();
  } catch (const nlohmann::json::type_error&) {
    std::string utf8;
    for (const char character : name) {
      const auto byte = static_cast<unsigned char>(character);
      utf8 += byte < 0x80 ? std::string(1, character)
                          : std::string{static_cast<char>(0xC0U | byte >> 6U), static_cast<char>(0x80U | (byte & 0x3FU))};
    }
    return jsonLine(entry, utf8);
  }
}

std::string jsonOf(const PackageDirectory& directory) {
  std::vector<std::string> lines;
  for (const PackageEntry& entry : directory.entries) {
    lines.push_back("  " + jsonLine(entry, entry.name));
  }
  return lines.empty() ? "[]\n" : "[\n" + base::joined(lines, ",\n") + "\n]\n";
}

ExitStatus run(const ListArguments& arguments) {
  const PackageDirectory directory = modelpack::readPackageDirectory(arguments.package);
  printData(arguments.as_json ? jsonOf(directory) : tableOf(directory));
  const std::vector<std::string> problems = directory.problems();
  for (const std::string& problem : problems) {
    printLine(quotedPath(arguments.package) + ": " + problem);
  }
  return problems.empty() ? ExitStatus::kDone : ExitStatus::kSomeInputsFailed;
}

// ---- verify ----

ExitStatus run(const VerifyArguments& arguments) {
  const std::vector<std::string> findings = verifyPackage(arguments.package, arguments.networks);
  printData(findings.empty() ? "" : base::joined(findings, "\n") + "\n");
  if (findings.empty()) {
    printLine(quotedPath(arguments.package) + " holds all that the library needs");
  }
  return findings.empty() ? ExitStatus::kDone : ExitStatus::kSomeInputsFailed;
}

// ---- extract ----

Error unreadable(const fs::path& package, const std::string& why) {
  return {ErrorKind::kModel, quotedPath(package) + ": " + why};
}

std::vector<PackageEntry> wantedEntries(const ExtractArguments& arguments) {
  const fs::path& package = arguments.package;
  const PackageDirectory directory = modelpack::readPackageDirectory(package);
  if (arguments.entry_names.empty()) {
    const std::vector<std::string> problems = directory.problems();
    if (!problems.empty()) {
      throw unreadable(package, problems.front() + ", or name the entries that you want");
    }
    return directory.entries;
  }
  std::vector<PackageEntry> wanted;
  for (const std::string& name : std::set<std::string>(arguments.entry_names.begin(), arguments.entry_names.end())) {
    const PackageEntry* entry = directory.find(name);
    if (entry == nullptr) {
      throw unreadable(package, "there is no entry " + quoted(name) + ": see vorin-pack list");
    }
    if (!entry->problem.empty()) {
      throw unreadable(package, "entry " + quoted(name) + " " + entry->problem);
    }
    wanted.push_back(*entry);
  }
  return wanted;
}

void makeFolder(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (!base::isFolder(folder)) {
    throw Error(ErrorKind::kInputOutput, quotedPath(folder) + " is not a folder and cannot be created: choose another with -o");
  }
}

// Checks all that can be checked before it writes the first file.
ExitStatus run(const ExtractArguments& arguments) {
  const std::vector<PackageEntry> entries = wantedEntries(arguments);
  for (const PackageEntry& entry : entries) {
    const std::string reason = unusableAsFileName(entry.name);
    if (!reason.empty()) {
      throw unreadable(arguments.package, "the name of entry " + quoted(entry.name) + " " + reason +
                                              ", so nothing is extracted: name other entries");
    }
  }
  makeFolder(arguments.folder);
  const auto fileOf = [&](const PackageEntry& entry) { return arguments.folder / base::pathFromUtf8(entry.name); };
  for (const PackageEntry& entry : entries) {
    base::requireWritable(fileOf(entry), arguments.overwrite);
  }
  for (const PackageEntry& entry : entries) {
    base::OutputFile output(fileOf(entry), arguments.overwrite);
    modelpack::readEntry(arguments.package, entry, [&](std::span<const std::uint8_t> bytes) {
      base::throwIfCancelled();
      output.write(bytes);
    });
    output.commit();
  }
  printLine("wrote " + std::to_string(entries.size()) + (entries.size() == 1 ? " file" : " files") + " to " +
            quotedPath(arguments.folder));
  return ExitStatus::kDone;
}

} // namespace

ExitStatus runCommand(const Arguments& arguments) {
  return std::visit([](const auto& command) { return run(command); }, arguments);
}

void printLine(const std::string& line) {
  static_cast<void>(std::fprintf(stderr, "vorin-pack: %s\n", line.c_str()));
}

} // namespace vorin::pack
