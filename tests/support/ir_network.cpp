#include "support/ir_network.h"

namespace vorin::tests {
namespace {

std::string attribute(const std::string& name, const std::string& value) {
  return " " + name + "=\"" + value + "\"";
}

std::string attribute(const std::string& name, std::size_t value) {
  return attribute(name, std::to_string(value));
}

// Its type is left to the reader to work out.
std::string port(std::size_t number) {
  return "<port" + attribute("id", number) + attribute("precision", "dynamic");
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) {
    text += (text.empty() ? "" : ",") + name;
  }
  return text;
}

} // namespace

IrNetwork::Value IrNetwork::input(const std::vector<std::string>& names, const std::string& shape,
                                  const std::string& element_type, const std::string& layout) {
  const std::string name = names.empty() ? "input" + std::to_string(output_ports_.size()) : names.front();
  std::string output_port = names.empty() ? ">" : attribute("names", joined(names)) + ">";
  if (!layout.empty()) {
    output_port += "<rt_info><attribute name=\"layout\" version=\"0\"" + attribute("layout", layout) + "/></rt_info>";
  }
  return add(name, "Parameter", 1, attribute("shape", shape) + attribute("element_type", element_type), {}, output_port);
}

IrNetwork::Value IrNetwork::constantOf(const std::string& element_type, const std::string& shape, const void* values,
                                       std::size_t size_bytes) {
  constexpr std::size_t kAlignmentBytes = 8;
  weights_.resize((weights_.size() + kAlignmentBytes - 1) / kAlignmentBytes * kAlignmentBytes);
  const std::string attributes = attribute("element_type", element_type) + attribute("shape", shape) +
                                 attribute("offset", weights_.size()) + attribute("size", size_bytes);
  weights_.append(static_cast<const char*>(values), size_bytes);
  return add("constant" + std::to_string(output_ports_.size()), "Const", 1, attributes, {}, ">");
}

IrNetwork::Value IrNetwork::operation(const std::string& type, const std::vector<Value>& arguments, const std::string& attributes,
                                      int version) {
  return add(type + std::to_string(output_ports_.size()), type, version, " " + attributes, arguments, ">");
}

IrNetwork::Value IrNetwork::add(const std::string& name, const std::string& type, int version, const std::string& attributes,
                                const std::vector<Value>& arguments, const std::string& output_port) {
  const Value layer = output_ports_.size();
  layers_ += "<layer" + attribute("id", layer) + attribute("name", name) + attribute("type", type) +
             attribute("version", "opset" + std::to_string(version)) + "><data" + attributes + "/><input>";
  for (std::size_t input = 0; input < arguments.size(); ++input) {
    layers_ += port(input) + "/>";
    edges_ += "<edge" + attribute("from-layer", arguments[input]) + attribute("from-port", output_ports_.at(arguments[input])) +
              attribute("to-layer", layer) + attribute("to-port", input) + "/>";
  }
  layers_ += "</input>";
  if (type != "Result") {
    layers_ += "<output>" + port(arguments.size()) + output_port + "</port></output>";
  }
  layers_ += "</layer>\n";
  output_ports_.push_back(arguments.size());
  return layer;
}

std::string IrNetwork::description() const {
  return "<?xml version=\"1.0\"?>\n<net name=\"network\" version=\"11\">\n<layers>\n" + layers_ + "</layers>\n<edges>\n" +
         edges_ + "</edges>\n</net>\n";
}

} // namespace vorin::tests
