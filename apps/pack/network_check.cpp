#include "network_check.h"

#include "network_source.h"
#include "neural/style_catalogue.h"

#include <openvino/core/layout.hpp>

#include <algorithm>
#include <array>

namespace vorin::pack {
namespace {

using Findings = std::vector<std::string>;
using Port = ov::Output<ov::Node>;

constexpr std::int64_t kPlanes = 3;
constexpr const char* kWantedShape = "[1,3,height,width]";

struct Size {
  std::int64_t width;
  std::int64_t height;
};
// Hosts ask for frames of any size up to the first one, so also for an odd one.
constexpr std::array<Size, 4> kTriedSizes = {{{1920, 1080}, {960, 540}, {640, 480}, {641, 481}}};

std::string names(const ov::OutputVector& ports) {
  Findings all;
  for (const Port& port : ports) {
    all.insert(all.end(), port.get_names().begin(), port.get_names().end());
  }
  std::sort(all.begin(), all.end()); // the runtime keeps them in no order
  std::string text;
  for (const std::string& name : all) {
    text += (text.empty() ? "" : ", ") + name;
  }
  return text.empty() ? "none" : text;
}

bool isNhwc(const ov::PartialShape& shape) {
  const auto isPlanes = [](const ov::Dimension& dimension) { return dimension.is_static() && dimension == kPlanes; };
  return isPlanes(shape[3]) && !isPlanes(shape[1]);
}

// The dimensions of an input or output, as far as they are known.
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

// An output without a fixed size is fine: the library takes it as it comes. `when` says for which frames, if the shape depends on
// them.
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
    findings.push_back("has no input named '" + name + "' (its inputs: " + names(inputs) + "): name it so");
    return;
  }
  const std::string subject = "takes an input '" + name + "' that";
  if (input->get_names().size() != 1) {
    findings.push_back(subject + " has other names too (" + names({*input}) + "): leave it this one only");
  }
  checkInput(*input, subject, true, findings);
  const ov::element::Type& type = input->get_element_type();
  if (name == neural::kStyleInputName && type != ov::element::f32) {
    findings.push_back(subject + " has elements of the type " + type.to_string() +
                       ", and the library passes f32: export it in f32");
  } else if (!type.is_real()) {
    findings.push_back(subject + " has elements of the type " + type.to_string() +
                       ", and the library passes fractions: export it in f32");
  }
}

void checkTransfer(ov::Model& network, Findings& findings) {
  const ov::OutputVector inputs = network.inputs();
  if (inputs.size() != 2) {
    findings.push_back("takes " + std::to_string(inputs.size()) + " inputs where two are needed, '" + neural::kContentInputName +
                       "' and '" + neural::kStyleInputName + "': export it with these");
  }
  checkNamedInput(inputs, neural::kContentInputName, findings);
  checkNamedInput(inputs, neural::kStyleInputName, findings);
  checkOutput(network, "", findings);
}

void checkAtSizes(const NetworkReader& read, Findings& findings) {
  for (const Size& size : kTriedSizes) {
    const std::string wxh = std::to_string(size.width) + "x" + std::to_string(size.height);
    const std::shared_ptr<ov::Model> sized = read(); // afresh: a size once given leaves traces in a network
    try {
      sized->reshape(ov::PartialShape{1, kPlanes, size.height, size.width});
    } catch (const std::exception& error) {
      findings.push_back("cannot be given the size " + wxh + " (" + runtimeReason(error) +
                         "): build it without sizes of its own, so that it takes frames of any size");
      return;
    }
    const std::size_t before = findings.size();
    checkOutput(*sized, " for frames of " + wxh, findings);
    if (findings.size() != before) {
      return; // the other sizes would say the same
    }
  }
}

void checkFixedStyle(const NetworkReader& read, Findings& findings) {
  const ov::OutputVector inputs = read()->inputs();
  if (inputs.size() != 1) {
    findings.push_back("takes " + std::to_string(inputs.size()) + " inputs (" + names(inputs) +
                       ") where one is needed, the frame: build the others in");
    return;
  }
  const std::size_t before = findings.size();
  checkInput(inputs.front(), "takes an input that", false, findings);
  if (!inputs.front().get_element_type().is_real()) {
    findings.push_back("takes an input of the type " + inputs.front().get_element_type().to_string() +
                       ", and the library passes fractions: export it in f32");
  }
  if (findings.size() == before) {
    checkAtSizes(read, findings);
  }
}

} // namespace

Findings checkNetwork(const NetworkReader& read, std::int32_t style_type) {
  Findings findings;
  if (style_type == 0) {
    checkTransfer(*read(), findings);
  } else {
    checkFixedStyle(read, findings);
  }
  return findings;
}

} // namespace vorin::pack
