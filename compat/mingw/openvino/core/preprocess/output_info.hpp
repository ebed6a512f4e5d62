// output_info.hpp: the conversions of one output after the network. Behind it: ov_preprocess_output_info_get_tensor_info and
// ov_preprocess_output_set_element_type.
#pragma once

#include <openvino/binding/handle.hpp>
#include <openvino/core/type/element_type.hpp>

namespace ov::preprocess {

class OutputTensorInfo {
public:
  explicit OutputTensorInfo(const ov_preprocess_output_info_t* output)
      : handle_(binding::make(ov_preprocess_output_tensor_info_free, ov_preprocess_output_info_get_tensor_info, output)) {}

  OutputTensorInfo& set_element_type(const element::Type& type) {
    binding::check(ov_preprocess_output_set_element_type(handle_.get(), binding::toC(type)));
    return *this;
  }

private:
  std::shared_ptr<ov_preprocess_output_tensor_info_t> handle_;
};

class OutputInfo {
public:
  explicit OutputInfo(std::shared_ptr<ov_preprocess_output_info_t> handle) : handle_(std::move(handle)), tensor_(handle_.get()) {}

  OutputTensorInfo& tensor() { return tensor_; }

private:
  std::shared_ptr<ov_preprocess_output_info_t> handle_;
  OutputTensorInfo tensor_;
};

} // namespace ov::preprocess
