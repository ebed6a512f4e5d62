// node_output.hpp: an input or output of a network. Behind it: ov_output_const_port_t, which keeps its part of the network alive,
// so it outlives the model's handle; ov_port_get_*, ov_output_const_port_free. There is no handle for the node itself.
//
// Each call queries shapes and types again, since the network may change; unlike the original's they are returned as values.
//
// The C API reports only one name, the first in the order of characters (ov_port_get_any_name). get_names() returns all names of
// an input that has them in its description, else only that one name, so also for every output.
#pragma once

#include <openvino/binding/handle.hpp>
#include <openvino/binding/ir_inputs.hpp>
#include <openvino/core/partial_shape.hpp>
#include <openvino/core/type/element_type.hpp>

#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

namespace ov {

class Node;

namespace binding {

class Port {
public:
  Port() = default;
  explicit Port(std::shared_ptr<ov_output_const_port_t> handle) : handle_(std::move(handle)) {
    char* name = nullptr;
    if (ov_port_get_any_name(this->handle(), &name) == ov_status_e::OK) { // it fails only if there is no name
      names_ = std::make_shared<const std::unordered_set<std::string>>(std::unordered_set<std::string>{takeText(name)});
    }
  }

  const std::unordered_set<std::string>& get_names() const { return *names_; }
  Shape get_shape() const { return shapeFrom(ov_const_port_get_shape, handle()); }
  PartialShape get_partial_shape() const { return partialShapeOf(handle()); }
  element::Type get_element_type() const {
    ov_element_type_e type = DYNAMIC;
    check(ov_port_get_element_type(handle(), &type));
    return fromC(type);
  }

  // Not in the original, for layout::get_layout.
  const std::string& declared_layout() const { return layout_; }
  void describe(const IrInput& input) {
    names_ = std::make_shared<const std::unordered_set<std::string>>(input.names.begin(), input.names.end());
    layout_ = input.layout.empty() ? layout_ : input.layout;
  }
  const ov_output_const_port_t* handle() const { return initialised(handle_, "Output"); }

private:
  std::shared_ptr<ov_output_const_port_t> handle_;
  std::shared_ptr<const std::unordered_set<std::string>> names_ = std::make_shared<const std::unordered_set<std::string>>();
  std::string layout_ = "...";
};

} // namespace binding

template <typename NodeType> class Output : public binding::Port {
public:
  Output() = default;
  explicit Output(binding::Port port) : Port(std::move(port)) {}
};

// A port of a mutable network can be used as one of a constant network.
template <> class Output<const Node> : public binding::Port {
public:
  Output() = default;
  explicit Output(binding::Port port) : Port(std::move(port)) {}
  Output(const Output<Node>& other) : Port(other) {}
};

using OutputVector = std::vector<Output<Node>>;

} // namespace ov
