#include "commands.h"

#include "entry_name.h"
#include "extraction.h"
#include "network_source.h"
#include "neural/style_catalogue.h"
#include "output_path.h"
#include "package_directory.h"
#include "package_writer.h"
#include "utf8_path.h"
#include "verification.h"

#include <cstdio>

namespace vorin::pack {
namespace {

namespace fs = std::filesystem;

void printData(const std::string& text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
    throw Failure("the output cannot be written: make room, or write it elsewhere");
  }
}

class PackageContent {
public:
  explicit PackageContent(bool half_precision) : source_(half_precision) {}

  void addNetwork(const std::string& entry_name, const fs::path& file) {
    const NetworkFiles network = source_.load(file);
    files_.push_back({entry_name, network.network});
    files_.push_back({neural::weightsName(entry_name), network.weights});
  }

  void addNamed(const NamedFile& named) {
    if (!isNetworkName(named.file)) {
      requireFile(named.file);
      if (base::pathFromUtf8(named.entry_name).extension() == ".xml") {
        throw Failure("the entry name " + quoted(named.entry_name) + " promises a network, and " + quotedPath(named.file) +
                      " is none, an .xml or .onnx file: name one, or choose another ending");
      }
      files_.push_back({named.entry_name, named.file});
      return;
    }
    if (base::pathFromUtf8(named.entry_name).extension() != ".xml") {
      throw Failure("the entry name " + quoted(named.entry_name) +
                    " is to hold a network and does not end in .xml: give it that ending");
    }
    addNetwork(named.entry_name, named.file);
  }

  void addCataloguePart(const CataloguePart& part) {
    addNetwork(part.network.float_entry, part.file);
    if (part.network.hasTwin()) {
      addNetwork(part.network.quantised_entry, part.quantised_file.value_or(part.file));
      if (!part.quantised_file) {
        printLine(part.network.name + ": no --int8 given, so devices that work with 8-bit integers get " + quotedPath(part.file) +
                  " too");
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
      throw Failure(quotedPath(package) + " is one of the files to pack: name the package first, under another name");
    }
  }
}

ExitStatus run(const PrintArguments& arguments) {
  printData(arguments.text);
  return ExitStatus::kDone;
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
  for (const CataloguePart& part : arguments.catalogue_parts) {
    content.addCataloguePart(part);
  }
  requireOtherFile(arguments.package, content.files());
  writePackage(content.files(), arguments.package, arguments.overwrite);
  printLine("wrote " + quotedPath(arguments.package) + " with " + std::to_string(content.files().size()) + " entries");
  return ExitStatus::kDone;
}

std::string tableOf(const PackageDirectory& directory) {
  std::string text;
  for (const PackageEntry& entry : directory.entries) {
    const std::string name = quoted(entry.name);
    text += std::to_string(entry.size_bytes) + '\t' + std::to_string(entry.offset_bytes) + '\t' +
            name.substr(1, name.size() - 2) + '\n';
  }
  return text;
}

std::string jsonOf(const PackageDirectory& directory) {
  std::string text;
  for (const PackageEntry& entry : directory.entries) {
    text += (text.empty() ? "\n" : ",\n");
    text += "  {\"name\": " + jsonText(entry.name) + ", \"size_bytes\": " + std::to_string(entry.size_bytes) +
            ", \"offset_bytes\": " + std::to_string(entry.offset_bytes) + "}";
  }
  return text.empty() ? "[]\n" : "[" + text + "\n]\n";
}

ExitStatus run(const ListArguments& arguments) {
  const PackageDirectory directory = readPackageDirectory(arguments.package);
  printData(arguments.as_json ? jsonOf(directory) : tableOf(directory));
  const std::vector<std::string> problems = directory.problems();
  for (const std::string& problem : problems) {
    printLine(quotedPath(arguments.package) + ": " + problem);
  }
  return problems.empty() ? ExitStatus::kDone : ExitStatus::kFailed;
}

ExitStatus run(const VerifyArguments& arguments) {
  std::string lines;
  for (const std::string& finding : verifyPackage(arguments.package, arguments.networks)) {
    lines += finding + '\n';
  }
  printData(lines);
  if (lines.empty()) {
    printLine(quotedPath(arguments.package) + " holds what the library asks for");
  }
  return lines.empty() ? ExitStatus::kDone : ExitStatus::kFailed;
}

ExitStatus run(const ExtractArguments& arguments) {
  const std::size_t count = extractEntries(arguments.package, arguments.entry_names, arguments.folder, arguments.overwrite);
  printLine("wrote " + std::to_string(count) + (count == 1 ? " file" : " files") + " to " + quotedPath(arguments.folder));
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
