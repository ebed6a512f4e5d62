// model.hpp: a network in memory. Behind it: ov_model_const_input*, ov_model_const_output*, ov_model_inputs_size,
// ov_model_outputs_size, ov_model_reshape_single_input, ov_model_free. The C API cannot copy a network: read it again instead.
#pragma once

#include <openvino/core/node_output.hpp>

#include <algorithm>
#include <string>
#include <vector>

namespace ov {

class Model {
public:
  // Not in the original, where only the runtime makes models too.
  Model(std::shared_ptr<ov_model_t> handle, std::vector<binding::IrInput> ir_inputs)
      : handle_(std::move(handle)), ir_inputs_(std::move(ir_inputs)) {}
  const ov_model_t* handle() const { return handle_.get(); }

  OutputVector inputs() { return inputsAs<Node>(); }
  std::vector<Output<const Node>> inputs() const { return inputsAs<const Node>(); }
  Output<Node> input() { return Output<Node>(onlyInput()); }
  Output<Node> input(std::size_t index) { return Output<Node>(inputAt(index)); }
  Output<Node> input(const std::string& name) { return Output<Node>(inputOf(name)); }
  Output<const Node> input() const { return Output<const Node>(onlyInput()); }
  Output<const Node> input(std::size_t index) const { return Output<const Node>(inputAt(index)); }
  Output<const Node> input(const std::string& name) const { return Output<const Node>(inputOf(name)); }

  OutputVector outputs() { return outputsAs<Node>(); }
  std::vector<Output<const Node>> outputs() const { return outputsAs<const Node>(); }
  Output<Node> output() { return Output<Node>(port(ov_model_const_output)); }
  Output<Node> output(std::size_t index) { return Output<Node>(outputAt(index)); }
  Output<Node> output(const std::string& name) { return Output<Node>(outputOf(name)); }
  Output<const Node> output() const { return Output<const Node>(port(ov_model_const_output)); }
  Output<const Node> output(std::size_t index) const { return Output<const Node>(outputAt(index)); }
  Output<const Node> output(const std::string& name) const { return Output<const Node>(outputOf(name)); }

  // Reshapes the only input. The C API would reshape the first of several, so they are counted first.
  void reshape(const PartialShape& shape) {
    onlyInput();
    binding::PartialShapeArgument argument(shape);
    binding::check(ov_model_reshape_single_input(handle(), argument.get()));
  }

private:
  template <typename Get, typename... Arguments> binding::Port port(Get get, Arguments... arguments) const {
    return binding::Port(binding::make(ov_output_const_port_free, get, handle(), arguments...));
  }

  binding::Port onlyInput() const { return described(port(ov_model_const_input), 0); }
  binding::Port inputAt(std::size_t index) const { return described(port(ov_model_const_input_by_index, index), index); }
  binding::Port inputOf(const std::string& name) const { return described(port(ov_model_const_input_by_name, name.c_str()), 0); }
  binding::Port outputAt(std::size_t index) const { return port(ov_model_const_output_by_index, index); }
  binding::Port outputOf(const std::string& name) const { return port(ov_model_const_output_by_name, name.c_str()); }

  // Adds the description's data of the input: the one with the port's name, or with the index for a port without a name.
  binding::Port described(binding::Port port, std::size_t index) const {
    auto input = ir_inputs_.end();
    if (!port.get_names().empty()) {
      input = std::find_if(ir_inputs_.begin(), ir_inputs_.end(),
                           [&](const binding::IrInput& entry) { return entry.names.count(*port.get_names().begin()) > 0; });
    } else if (index < ir_inputs_.size() && ir_inputs_[index].names.empty()) {
      input = ir_inputs_.begin() + static_cast<std::ptrdiff_t>(index);
    }
    if (input != ir_inputs_.end()) {
      port.describe(*input);
    }
    return port;
  }

  template <typename NodeType> std::vector<Output<NodeType>> inputsAs() const {
    std::vector<Output<NodeType>> ports;
    std::size_t count = 0;
    binding::check(ov_model_inputs_size(handle(), &count));
    for (std::size_t index = 0; index < count; ++index) {
      ports.emplace_back(inputAt(index));
    }
    return ports;
  }

  template <typename NodeType> std::vector<Output<NodeType>> outputsAs() const {
    std::vector<Output<NodeType>> ports;
    std::size_t count = 0;
    binding::check(ov_model_outputs_size(handle(), &count));
    for (std::size_t index = 0; index < count; ++index) {
      ports.emplace_back(outputAt(index));
    }
    return ports;
  }

  std::shared_ptr<ov_model_t> handle_;
  std::vector<binding::IrInput> ir_inputs_;
};

} // namespace ov
