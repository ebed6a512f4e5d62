#include "files.h"
#include "library_copy.h"
#include "model_package.h"
#include "options.h"
#include "report.h"
#include "text.h"
#include "vorin_installation.hpp"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>

namespace vorin::stylize {
namespace {

using Json = nlohmann::ordered_json;
using base::ExitStatus;

struct SummedEntry {
  modelpack::PackageEntry entry;
  std::string sha256;
  std::string style; // the style that uses it; empty if none does
};

struct SummedPackage {
  std::string file;
  std::uint64_t size_bytes = 0;
  std::string sha256;
  std::vector<SummedEntry> entries;
};

// The style that uses the entry, and which of its networks: "transfer 512".
std::string styleOf(const std::string& entry) {
  for (const modelpack::NamedNetwork& network : modelpack::kNetworks) {
    const std::vector<std::string> entries = modelpack::requiredEntries(network);
    if (std::find(entries.begin(), entries.end(), entry) != entries.end()) {
      std::string style(network.style);
      return network.variant.empty() ? style : style.append(" ").append(network.variant);
    }
  }
  return {};
}

SummedPackage summed(const media::ModelPackage& package) {
  SummedPackage sums = {base::utf8Text(package.file()), std::filesystem::file_size(package.file()), {}, {}};
  sums.sha256 = base::sha256OfFile(package.file(), 0, sums.size_bytes);
  for (const modelpack::PackageEntry& entry : package.directory().entries) {
    sums.entries.push_back({entry, package.sha256Of(entry), styleOf(entry.name)});
  }
  return sums;
}

std::string kindName(const media::Gpu& gpu) {
  return gpu.is_discrete ? "discrete" : "integrated";
}

std::vector<std::string> softwarePrecisions() {
  std::vector<std::string> installed;
  for (const char* precision : {"f32", "bf16"}) {
    if (media::softwareDeviceIsInstalled(precision)) {
      installed.emplace_back(precision);
    }
  }
  return installed;
}

void printText(const media::LibraryInfo& library, const media::NetworkCache& cache, const std::optional<SummedPackage>& package) {
  std::cout << versionText();
  for (const media::Gpu& gpu : library.gpus) {
    std::cout << "GPU, " << kindName(gpu) << ": " << gpu.name << '\n';
  }
  std::cout << (library.gpus.empty() ? "no GPU found\n" : "");
  const std::string software = base::joined(softwarePrecisions());
  std::cout << "software device: " << (software.empty() ? "not installed" : "installed, networks in " + software)
            << (media::standInsAreActive() ? "; active, and listed as a GPU" : "") << '\n';
  std::cout << "cache of compiled networks " << base::utf8Text(cache.folder) << ": " << cache.networks << " networks, "
            << cache.bytes << " bytes\n";
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

Json jsonOf(const std::vector<media::Gpu>& gpus) {
  Json json = Json::array();
  for (const media::Gpu& gpu : gpus) {
    json.push_back({{"kind", kindName(gpu)}, {"name", gpu.name}});
  }
  return json;
}

} // namespace

ExitStatus listDevices(const Options& options) {
  const std::vector<media::Gpu> gpus = media::libraryInfo().gpus;
  if (options.json) {
    printJson({{"devices", jsonOf(gpus)}});
    return ExitStatus::kDone;
  }
  for (const media::Gpu& gpu : gpus) {
    std::cout << kindName(gpu) << '\t' << gpu.name << '\n';
  }
  if (gpus.empty()) {
    printLine("no GPU found: --device software, or auto, works on this machine's processor");
  }
  return ExitStatus::kDone;
}

ExitStatus printInfo(const Options& options) {
  const media::LibraryInfo library = media::libraryInfo();
  const media::NetworkCache cache = media::networkCache();
  std::optional<SummedPackage> package;
  ExitStatus status = ExitStatus::kDone;
  try {
    package = summed(media::ModelPackage(options.restyler.models));
  } catch (const Error& error) {
    printLine(error.what());
    status = options.restyler.models.empty()
                 ? ExitStatus::kDone
                 : base::exitStatusOf(error.kind()); // without --models, a missing package is not an error
  }
  if (options.json) {
    printJson({{"program", VORIN_STYLIZE_VERSION},
               {"library", std::to_string(library.major) + "." + std::to_string(library.minor)},
               {"devices", jsonOf(library.gpus)},
               {"software_device", {{"precisions", softwarePrecisions()}, {"active", media::standInsAreActive()}}},
               {"cache", {{"folder", base::utf8Text(cache.folder)}, {"networks", cache.networks}, {"size_bytes", cache.bytes}}},
               {"package", jsonOf(package)}});
  } else {
    printText(library, cache, package);
  }
  return status;
}

} // namespace vorin::stylize
