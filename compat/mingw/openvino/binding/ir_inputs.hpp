// ir_inputs.hpp: reads from a network's description in OpenVINO's IR what the C API does not report about inputs: all their
// names, and their declared layouts.
//
// Not an XML parser: it reads the form in which the runtime writes these files. For a description that is not IR it finds no
// inputs, and only the C API's answers remain.
//
//   <layer ... type="Parameter" ...> ... <output> <port ... names="a,b"> ... <attribute name="layout" ... layout="[N,C,H,W]"/>
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ov::binding {

struct IrInput {
  std::set<std::string> names;
  std::string layout; // empty unless declared
};

namespace ir {

// Returns the part of `text` between `begin` and `end`, and moves on behind it; empty if there is no `end`.
inline std::string_view takeUntil(std::string_view& text, std::string_view end) {
  const std::size_t length = text.find(end);
  if (length == std::string_view::npos) {
    text = {};
    return {};
  }
  const std::string_view part = text.substr(0, length);
  text.remove_prefix(length + end.size());
  return part;
}

inline std::string unescaped(std::string_view text) {
  constexpr std::pair<std::string_view, char> kEntities[] = {
      {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}, {"&amp;", '&'}};
  std::string plain;
  while (!text.empty()) {
    std::size_t used = 1;
    char character = text.front();
    for (const auto& [entity, meaning] : kEntities) {
      if (text.starts_with(entity)) {
        used = entity.size();
        character = meaning;
      }
    }
    plain.push_back(character);
    text.remove_prefix(used);
  }
  return plain;
}

// The attribute's value in the element's text, which begins after the element's name; empty if it has none.
inline std::string attribute(std::string_view element, const std::string& name) {
  const std::string key = ' ' + name + "=\"";
  const std::size_t place = element.find(key);
  if (place == std::string_view::npos) {
    return {};
  }
  element.remove_prefix(place + key.size());
  return unescaped(takeUntil(element, "\""));
}

// Names are separated by commas; a comma that is part of a name has a backslash before it.
inline std::set<std::string> splitNames(std::string_view text) {
  std::set<std::string> names;
  std::string name;
  for (; !text.empty(); text.remove_prefix(1)) {
    if (text.starts_with("\\,")) {
      text.remove_prefix(1);
      name.push_back(',');
    } else if (text.front() == ',') {
      names.insert(std::exchange(name, {}));
    } else {
      name.push_back(text.front());
    }
  }
  if (!name.empty()) {
    names.insert(name);
  }
  return names;
}

inline IrInput inputOf(std::string_view layer) {
  IrInput input;
  takeUntil(layer, "<output");
  takeUntil(layer, "<port");
  input.names = splitNames(attribute(takeUntil(layer, ">"), "names"));
  takeUntil(layer, "<attribute name=\"layout\"");
  input.layout = attribute(takeUntil(layer, ">"), "layout");
  return input;
}

} // namespace ir

// The inputs, in the network's order.
inline std::vector<IrInput> irInputs(std::string_view description) {
  std::vector<IrInput> inputs;
  for (ir::takeUntil(description, " type=\"Parameter\""); !description.empty();
       ir::takeUntil(description, " type=\"Parameter\"")) {
    inputs.push_back(ir::inputOf(ir::takeUntil(description, "</layer>")));
  }
  return inputs;
}

// The inputs of a description in a file, whose name is UTF-8; none if it cannot be read.
inline std::vector<IrInput> irInputsOfFile(const std::string& path) {
  std::ifstream file(std::filesystem::path(std::u8string(path.begin(), path.end())), std::ios::binary);
  return irInputs(std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()));
}

} // namespace ov::binding
