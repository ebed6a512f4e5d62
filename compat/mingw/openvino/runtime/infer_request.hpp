// infer_request.hpp: one run of a compiled network. Behind it: ov_infer_request_*. A copy is the same request.
#pragma once

#include <openvino/core/node_output.hpp>
#include <openvino/runtime/tensor.hpp>

#include <cstddef>
#include <string>

namespace ov {

class InferRequest {
public:
  InferRequest() = default;
  // Not in the original: takes the C API's request.
  explicit InferRequest(std::shared_ptr<ov_infer_request_t> handle) : handle_(std::move(handle)) {}

  explicit operator bool() const { return handle_ != nullptr; }

  void set_tensor(const std::string& name, const Tensor& tensor) {
    binding::check(ov_infer_request_set_tensor(handle(), name.c_str(), tensor.handle()));
  }
  void set_tensor(const Output<const Node>& port, const Tensor& tensor) {
    binding::check(ov_infer_request_set_tensor_by_const_port(handle(), port.handle(), tensor.handle()));
  }
  void set_input_tensor(const Tensor& tensor) { binding::check(ov_infer_request_set_input_tensor(handle(), tensor.handle())); }
  void set_input_tensor(std::size_t index, const Tensor& tensor) {
    binding::check(ov_infer_request_set_input_tensor_by_index(handle(), index, tensor.handle()));
  }

  Tensor get_input_tensor() { return tensorFrom(ov_infer_request_get_input_tensor); }
  Tensor get_output_tensor() { return tensorFrom(ov_infer_request_get_output_tensor); }
  Tensor get_output_tensor(std::size_t index) { return tensorFrom(ov_infer_request_get_output_tensor_by_index, index); }

  void infer() { binding::check(ov_infer_request_infer(handle())); }

private:
  ov_infer_request_t* handle() const { return binding::initialised(handle_, "InferRequest"); }

  template <typename Get, typename... Arguments> Tensor tensorFrom(Get get, Arguments... arguments) const {
    return Tensor(binding::make(ov_tensor_free, get, handle(), arguments...));
  }

  std::shared_ptr<ov_infer_request_t> handle_;
};

} // namespace ov
