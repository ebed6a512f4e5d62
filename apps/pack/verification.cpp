#include "cancellation.h"
#include "modelpack/package_directory.h"
#include "packing.h"
#include "text.h"

#include <openvino/core/layout.hpp>
#include <openvino/runtime/core.hpp>

#include <algorithm>
#include <array>
#include <functional>
#include <memory>

namespace vorin::pack {
namespace {

namespace fs = std::filesystem;
using base::quoted;
using modelpack::NamedNetwork;
using modelpack::PackageEntry;
using Findings = std::vector<std::string>;
using NetworkReader = std::function<std::shared_ptr<ov::Model>()>;
using Port = ov::Output<ov::Node>;

constexpr std::int64_t kPlanes = 3;
constexpr const char* kWantedShape = "[1,3,height,width]";

struct Size {
  std::int64_t width;
  std::int64_t height;
};
// The library gives a network any size up to the first one, odd sizes included.
constexpr std::array<Size, 4> kTriedSizes = {{{1920, 1080}, {960, 540}, {640, 480}, {641, 481}}};

std::string names(const ov::OutputVector& ports) {
  Findings all;
  for (const Port& port : ports) {
    all.insert(all.end(), port.get_names().begin(), port.get_names().end());
  }
  std::sort(all.begin(), all.end()); // the runtime keeps them in an arbitrary order
  return all.empty() ? "none" : base::joined(all);
}

bool isNhwc(const ov::PartialShape& shape) {
  const auto isPlanes = [](const ov::Dimension& dimension) { return dimension.is_static() && dimension == kPlanes; };
  return isPlanes(shape[3]) && !isPlanes(shape[1]);
}

// What is wrong with the shape of an input or output, empty if nothing. Unknown dimensions are accepted.
std::string shapeFinding(const ov::PartialShape& shape) {
  const std::string is = " has the shape " + shape.to_string();
  const std::string needed = std::string(" where ") + kWantedShape + " is needed: ";
  if (shape.rank().is_dynamic() || shape.size() != 4) {
    return is + needed + "export it with these four dimensions";
  }
  if (isNhwc(shape)) {
    return is + needed + "put a transpose there, so that the planes come before height and width";
  }
  if (!shape[0].compatible(1)) {
    return is + needed + "export it for one picture at a time";
  }
  return shape[1].compatible(kPlanes) ? std::string() : is + needed + "export it for pictures of three planes";
}

std::string sizeFinding(const ov::PartialShape& shape) {
  return shape.is_static() ? std::string()
                           : " has no fixed size (" + shape.to_string() + "), which this style needs: export it with one";
}

std::string declaredLayoutFinding(const Port& input) {
  const ov::Layout layout = ov::layout::get_layout(input);
  const bool has_other_planes = ov::layout::has_channels(layout) && ov::layout::channels_idx(layout) != 1;
  return has_other_planes
             ? " declares the layout " + layout.to_string() + ", and the library takes it as NCHW: declare and build it so"
             : std::string();
}

void add(Findings& findings, const std::string& subject, const std::string& finding) {
  if (!finding.empty()) {
    findings.push_back(subject + finding);
  }
}

void checkInput(const Port& input, const std::string& subject, bool fixed_size, Findings& findings) {
  const ov::PartialShape& shape = input.get_partial_shape();
  const std::string wrong_shape = shapeFinding(shape);
  add(findings, subject, wrong_shape);
  if (fixed_size && wrong_shape.empty()) {
    add(findings, subject, sizeFinding(shape));
  }
  add(findings, subject, declaredLayoutFinding(input));
}

// Checks the output, which needs no fixed size: the library reads the size of each result. `when` names the frames for which the
// shape holds, if it depends on them.
void checkOutput(const ov::Model& network, const std::string& when, Findings& findings) {
  if (network.outputs().size() != 1) {
    findings.push_back("gives " + std::to_string(network.outputs().size()) +
                       " outputs where one is needed: keep the picture only");
    return;
  }
  add(findings, "gives an output" + when + " that", shapeFinding(network.output(0).get_partial_shape()));
}

void checkNamedInput(const ov::OutputVector& inputs, const std::string& name, Findings& findings) {
  const auto input =
      std::find_if(inputs.begin(), inputs.end(), [&](const Port& port) { return port.get_names().count(name) > 0; });
  if (input == inputs.end()) {
    findings.push_back("has no input named '" + name + "' (its inputs: " + names(inputs) + "): rename that input");
    return;
  }
  const std::string subject = "takes an input '" + name + "' that";
  if (input->get_names().size() != 1) {
    findings.push_back(subject + " has other names too (" + names({*input}) + "): keep only this name");
  }
  checkInput(*input, subject, true, findings);
  const ov::element::Type& type = input->get_element_type();
  if (name == modelpack::kStyleInputName && type != ov::element::f32) {
    findings.push_back(subject + " has elements of the type " + type.to_string() +
                       ", and the library passes f32: export it in f32");
  } else if (!type.is_real()) {
    findings.push_back(subject + " has elements of the type " + type.to_string() +
                       ", and the library passes floating-point values: export it in f32");
  }
}

void checkTransfer(ov::Model& network, Findings& findings) {
  const ov::OutputVector inputs = network.inputs();
  if (inputs.size() != 2) {
    findings.push_back("takes " + std::to_string(inputs.size()) + " inputs where two are needed, '" +
                       modelpack::kContentInputName + "' and '" + modelpack::kStyleInputName + "': export it with these");
  }
  checkNamedInput(inputs, modelpack::kContentInputName, findings);
  checkNamedInput(inputs, modelpack::kStyleInputName, findings);
  checkOutput(network, "", findings);
}

void checkAtSizes(const NetworkReader& read, Findings& findings) {
  for (const Size& size : kTriedSizes) {
    const std::string wxh = std::to_string(size.width) + "x" + std::to_string(size.height);
    const std::shared_ptr<ov::Model> sized = read(); // reads it again: a size that was set leaves traces in a network
    try {
      sized->reshape(ov::PartialShape{1, kPlanes, size.height, size.width});
    } catch (const std::exception& error) {
      findings.push_back("cannot be given the size " + wxh + " (" + runtimeReason(error) +
                         "): export it without fixed sizes, so that it accepts frames of any size");
      return;
    }
    const std::size_t before = findings.size();
    checkOutput(*sized, " for frames of " + wxh, findings);
    if (findings.size() != before) {
      return; // the other sizes would give the same finding
    }
  }
}

void checkFixedStyle(const NetworkReader& read, Findings& findings) {
  const ov::OutputVector inputs = read()->inputs();
  if (inputs.size() != 1) {
    findings.push_back("takes " + std::to_string(inputs.size()) + " inputs (" + names(inputs) +
                       ") where one is needed, the frame: make the others constants");
    return;
  }
  const std::size_t before = findings.size();
  checkInput(inputs.front(), "takes an input that", false, findings);
  if (!inputs.front().get_element_type().is_real()) {
    findings.push_back("takes an input of the type " + inputs.front().get_element_type().to_string() +
                       ", and the library passes floating-point values: export it in f32");
  }
  if (findings.size() == before) {
    checkAtSizes(read, findings);
  }
}

// What is wrong with a network; each finding continues "the network ...". Each check that changes the network reads it again.
Findings checkNetwork(const NetworkReader& read, std::int32_t style_type) {
  Findings findings;
  if (style_type == 0) {
    checkTransfer(*read(), findings);
  } else {
    checkFixedStyle(read, findings);
  }
  const Findings layers = findSaturatingLayers(*read());
  findings.insert(findings.end(), layers.begin(), layers.end());
  return findings;
}

class Verifier {
public:
  explicit Verifier(const fs::path& package)
      : package_(package), directory_(modelpack::readPackageDirectory(package)), findings_(directory_.problems()) {}

  void checkNetworks(const NamedNetwork& network) {
    const std::string how = "--as " + std::string(network.name) + " FILE";
    check(network, network.float_entry, how);
    if (network.hasTwin()) {
      check(network, network.quantised_entry, how + " --int8 FILE");
    }
  }

  Findings takeFindings() { return std::move(findings_); }

private:
  void check(const NamedNetwork& wanted, std::string_view entry_name, const std::string& how) {
    base::throwIfCancelled();
    const PackageEntry* network_entry = soundEntry(wanted, std::string(entry_name), how);
    const PackageEntry* weights_entry = soundEntry(wanted, modelpack::weightsEntry(entry_name), how);
    if (network_entry == nullptr || weights_entry == nullptr) {
      return;
    }
    const std::string subject = std::string(wanted.name) + ": the network " + quoted(network_entry->name) + " ";
    const std::vector<std::uint8_t> bytes = content(*network_entry);
    const std::string description(bytes.begin(), bytes.end());
    if (!looksLikeIr(description)) {
      findings_.push_back(subject + "is not in OpenVINO's IR format: pack it again with " + how);
      return;
    }
    std::vector<std::uint8_t> weights = content(*weights_entry);
    try {
      const ov::Tensor tensor(ov::element::u8, ov::Shape{weights.size()}, weights.data());
      for (const std::string& finding : checkNetwork([&] { return core_.read_model(description, tensor); }, wanted.style_type)) {
        findings_.push_back(subject + finding);
      }
    } catch (const ov::Exception& error) {
      findings_.push_back(subject + "cannot be read by the runtime (" + runtimeReason(error) + "): pack it again with " + how);
    }
  }

  // Null for a missing entry, and for a damaged one, which the directory's problems already report.
  const PackageEntry* soundEntry(const NamedNetwork& wanted, const std::string& entry_name, const std::string& how) {
    const PackageEntry* entry = directory_.find(entry_name);
    if (entry == nullptr) {
      findings_.push_back(std::string(wanted.name) + ": there is no entry " + quoted(entry_name) + ": pack the network with " +
                          how);
    }
    return entry != nullptr && entry->problem.empty() ? entry : nullptr;
  }

  std::vector<std::uint8_t> content(const PackageEntry& entry) const {
    std::vector<std::uint8_t> content;
    content.reserve(entry.size_bytes);
    modelpack::readEntry(package_, entry, [&](std::span<const std::uint8_t> bytes) {
      base::throwIfCancelled();
      content.insert(content.end(), bytes.begin(), bytes.end());
    });
    return content;
  }

  fs::path package_;
  modelpack::PackageDirectory directory_;
  Findings findings_;
  ov::Core core_;
};

} // namespace

std::vector<std::string> verifyPackage(const fs::path& package, std::span<const NamedNetwork* const> wanted) {
  Verifier verifier(package);
  for (const NamedNetwork* network : wanted) {
    verifier.checkNetworks(*network);
  }
  return verifier.takeFindings();
}

} // namespace vorin::pack
