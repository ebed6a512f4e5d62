// compiled_model.hpp: a network that is compiled for a device. Behind it: ov_compiled_model_*. A copy is the same network.
#pragma once

#include <openvino/core/node_output.hpp>
#include <openvino/runtime/infer_request.hpp>
#include <openvino/runtime/properties.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace ov {

class CompiledModel {
public:
  CompiledModel() = default;
  // Not in the original: takes the C API's network.
  explicit CompiledModel(std::shared_ptr<ov_compiled_model_t> handle) : handle_(std::move(handle)) {}

  explicit operator bool() const { return handle_ != nullptr; }

  InferRequest create_infer_request() {
    return InferRequest(binding::make(ov_infer_request_free, ov_compiled_model_create_infer_request, handle()));
  }

  std::vector<Output<const Node>> inputs() const {
    return ports(ov_compiled_model_inputs_size, ov_compiled_model_input_by_index);
  }
  std::vector<Output<const Node>> outputs() const {
    return ports(ov_compiled_model_outputs_size, ov_compiled_model_output_by_index);
  }

  Any get_property(const std::string& name) const {
    return Any(binding::text(ov_compiled_model_get_property, handle(), name.c_str()));
  }
  template <typename T> T get_property(const Property<T>& property) const {
    return get_property(std::string(property.name())).template as<T>();
  }

private:
  const ov_compiled_model_t* handle() const { return binding::initialised(handle_, "CompiledModel"); }

  template <typename Size, typename Get> std::vector<Output<const Node>> ports(Size size, Get get) const {
    std::size_t count = 0;
    binding::check(size(handle(), &count));
    std::vector<Output<const Node>> result;
    for (std::size_t index = 0; index < count; ++index) {
      result.emplace_back(binding::Port(binding::make(ov_output_const_port_free, get, handle(), index)));
    }
    return result;
  }

  std::shared_ptr<ov_compiled_model_t> handle_;
};

} // namespace ov
