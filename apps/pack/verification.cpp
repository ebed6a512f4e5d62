#include "verification.h"

#include "cancellation.h"
#include "entry_name.h"
#include "network_check.h"
#include "network_source.h"
#include "neural/style_catalogue.h"
#include "output_file.h"
#include "package_directory.h"
#include "saturation_check.h"
#include "temporary_folder.h"
#include "utf8_path.h"

#include <openvino/runtime/core.hpp>

namespace vorin::pack {
namespace {

namespace fs = std::filesystem;

class Verifier {
public:
  explicit Verifier(const fs::path& package)
      : package_(package), directory_(readPackageDirectory(package)), findings_(directory_.problems()) {}

  void checkNetworks(const CatalogueNetwork& network) {
    check(network, network.float_entry, "--as " + network.name + " FILE");
    if (network.hasTwin()) {
      check(network, network.quantised_entry, "--as " + network.name + " FILE --int8 FILE");
    }
  }

  std::vector<std::string> takeFindings() { return std::move(findings_); }

private:
  void check(const CatalogueNetwork& wanted, const std::string& entry_name, const std::string& how) {
    throwIfCancelled();
    const std::string weights_name = neural::weightsName(entry_name);
    const bool is_complete = isUsable(wanted, entry_name, how);
    if (!isUsable(wanted, weights_name, how) || !is_complete) {
      return;
    }
    const std::string subject = wanted.name + ": the network " + quoted(entry_name) + " ";
    const TemporaryFolder folder;
    const fs::path file = unpack(entry_name, folder);
    unpack(weights_name, folder);
    if (!looksLikeIr(file)) {
      findings_.push_back(subject + "is not one in OpenVINO's IR: pack it anew with " + how);
      return;
    }
    try {
      const NetworkReader read = [&] { return core_.read_model(base::utf8Text(file)); };
      for (const std::string& finding : checkNetwork(read, wanted.style_type)) {
        findings_.push_back(subject + finding);
      }
      for (const std::string& finding : findSaturatingLayers(*read())) {
        findings_.push_back(subject + finding);
      }
    } catch (const ov::Exception& error) {
      findings_.push_back(subject + "cannot be read by the runtime (" + runtimeReason(error) + "): pack it anew with " + how);
    }
  }

  // Present and, as the directory's problems would tell, sound.
  bool isUsable(const CatalogueNetwork& wanted, const std::string& entry_name, const std::string& how) {
    const PackageEntry* entry = directory_.find(entry_name);
    if (entry == nullptr) {
      findings_.push_back(wanted.name + ": there is no entry " + quoted(entry_name) + ": pack the network with " + how);
    }
    return entry != nullptr && entry->problem.empty();
  }

  fs::path unpack(const std::string& entry_name, const TemporaryFolder& folder) {
    fs::path file = folder.path() / base::pathFromUtf8(entry_name);
    base::OutputFile output(file, false);
    readEntry(package_, *directory_.find(entry_name), [&](std::span<const std::uint8_t> bytes) { output.write(bytes); });
    output.commit();
    return file;
  }

  fs::path package_;
  PackageDirectory directory_;
  std::vector<std::string> findings_;
  ov::Core core_;
};

} // namespace

std::vector<std::string> verifyPackage(const fs::path& package, std::span<const CatalogueNetwork> wanted) {
  Verifier verifier(package);
  for (const CatalogueNetwork& network : wanted) {
    verifier.checkNetworks(network);
  }
  return verifier.takeFindings();
}

} // namespace vorin::pack
