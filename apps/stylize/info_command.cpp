#include "info_command.h"

#include "commands.h"
#include "device_choice.h"
#include "model_package.h"
#include "name_table.h"
#include "run_report.h"
#include "sha256.h"
#include "software_device.h"
#include "utf8_path.h"

#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>

namespace vorin::stylize {
namespace {

using Json = nlohmann::ordered_json;

struct SummedEntry {
  PackageEntry entry;
  std::string sha256;
  std::string style; // that uses it; empty for none of the program's
};

struct SummedPackage {
  std::string file;
  std::uint64_t size_bytes = 0;
  std::string sha256;
  std::vector<SummedEntry> entries;
};

// The style that uses the entry: itself or its twin.
std::string styleOf(const std::string& entry) {
  const std::string stem = entry.substr(0, entry.rfind('.'));
  for (const Style& style : styles()) {
    for (const Network& network : style.networks) {
      const std::string name(network.entry);
      if (stem == name || (network.has_twin && stem == name + "_int8")) {
        std::string text(style.name);
        return network.name.empty() ? text : text.append(" ").append(network.name);
      }
    }
  }
  return {};
}

SummedPackage summed(const ModelPackage& package) {
  SummedPackage sums = {base::utf8Text(package.file()), std::filesystem::file_size(package.file()), {}, {}};
  sums.sha256 = sha256OfFile(package.file(), 0, sums.size_bytes);
  for (const PackageEntry& entry : package.entries()) {
    sums.entries.push_back(
        {entry, sha256OfFile(package.file(), entry.offset_bytes, entry.size_bytes, kEntryMask), styleOf(entry.name)});
  }
  return sums;
}

std::vector<std::string> softwarePrecisions() {
  std::vector<std::string> installed;
  for (const Precision& precision : precisions()) {
    try {
      requireSoftwareDevice(precision);
      installed.emplace_back(precision.name);
    } catch (const Failure&) { // not there
    }
  }
  return installed;
}

std::string versionText(const SttVersion& version) {
  return std::to_string(version.major) + "." + std::to_string(version.minor);
}

void printText(const SttVersion& version, const std::vector<Gpu>& gpus, const std::optional<SummedPackage>& package) {
  std::cout << "vorin-stylize " << VORIN_STYLIZE_VERSION << "\nvorin_stt " << versionText(version) << '\n';
  for (const Gpu& gpu : gpus) {
    std::cout << "GPU, " << kindName(gpu.kind) << ": " << gpu.name << '\n';
  }
  std::cout << (gpus.empty() ? "no GPU found\n" : "");
  const std::string software = joinTexts(softwarePrecisions());
  std::cout << "software device: " << (software.empty() ? "not installed" : "installed, networks in " + software)
            << (isSoftwareDeviceActive() ? "; active, and listed as a GPU" : "") << '\n';
  if (!package) {
    std::cout << "no model package\n";
    return;
  }
  std::cout << "package " << package->file << ": " << package->size_bytes << " bytes, SHA-256 " << package->sha256 << '\n';
  for (const SummedEntry& each : package->entries) {
    std::cout << each.sha256 << '\t' << each.entry.size_bytes << '\t' << each.entry.name
              << (each.style.empty() ? "" : "\t" + each.style) << '\n';
  }
}

Json jsonOf(const std::optional<SummedPackage>& package) {
  if (!package) {
    return {};
  }
  Json json = {{"file", package->file}, {"size_bytes", package->size_bytes}, {"sha256", package->sha256}};
  json["entries"] = Json::array();
  for (const SummedEntry& each : package->entries) {
    json["entries"].push_back({{"name", each.entry.name},
                               {"size_bytes", each.entry.size_bytes},
                               {"sha256", each.sha256},
                               {"style", each.style.empty() ? Json() : Json(each.style)}});
  }
  return json;
}

} // namespace

nlohmann::ordered_json jsonOf(const std::vector<Gpu>& gpus) {
  Json json = Json::array();
  for (const Gpu& gpu : gpus) {
    json.push_back({{"kind", kindName(gpu.kind)}, {"name", gpu.name}});
  }
  return json;
}

ExitStatus printInfo(const Arguments& arguments) {
  Stylizer stylizer;
  const SttVersion version = stylizer.version();
  const std::vector<Gpu> gpus = stylizer.gpus();
  std::optional<SummedPackage> package;
  ExitStatus status = ExitStatus::kDone;
  try {
    package = summed(ModelPackage(arguments.models));
  } catch (const Failure& failure) {
    printLine(failure.what());
    status = arguments.models ? failure.status() : ExitStatus::kDone; // nobody has promised one
  }
  if (arguments.json) {
    printJson({{"program", VORIN_STYLIZE_VERSION},
               {"library", versionText(version)},
               {"devices", jsonOf(gpus)},
               {"software_device", {{"precisions", softwarePrecisions()}, {"active", isSoftwareDeviceActive()}}},
               {"package", jsonOf(package)}});
  } else {
    printText(version, gpus, package);
  }
  return status;
}

} // namespace vorin::stylize
