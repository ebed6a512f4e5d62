// input_info.hpp: the conversions of one input before the network. Behind it: ov_preprocess_input_info_get_*,
// ov_preprocess_input_tensor_info_*, ov_preprocess_input_model_info_* and ov_preprocess_preprocess_steps_*. The C API's objects
// are views into its pre-processor, which outlives these.
#pragma once

#include <openvino/binding/handle.hpp>
#include <openvino/core/layout.hpp>
#include <openvino/core/preprocess/color_format.hpp>
#include <openvino/core/type/element_type.hpp>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace ov::preprocess {

class InputTensorInfo {
public:
  explicit InputTensorInfo(const ov_preprocess_input_info_t* input)
      : handle_(binding::make(ov_preprocess_input_tensor_info_free, ov_preprocess_input_info_get_tensor_info, input)) {}

  InputTensorInfo& set_element_type(const element::Type& type) {
    binding::check(ov_preprocess_input_tensor_info_set_element_type(handle_.get(), binding::toC(type)));
    return *this;
  }

  InputTensorInfo& set_layout(const Layout& layout) {
    binding::check(ov_preprocess_input_tensor_info_set_layout(handle_.get(), layout.handle()));
    return *this;
  }

  InputTensorInfo& set_color_format(ColorFormat format, const std::vector<std::string>& sub_names = {}) {
    const auto c_format = static_cast<ov_color_format_e>(format);
    if (sub_names.empty()) {
      binding::check(ov_preprocess_input_tensor_info_set_color_format(handle_.get(), c_format));
      return *this;
    }
    std::vector<const char*> names;
    std::transform(sub_names.begin(), sub_names.end(), std::back_inserter(names),
                   [](const std::string& name) { return name.c_str(); });
    binding::check(
        ov_preprocess_input_tensor_info_set_color_format_with_subnames(handle_.get(), c_format, names.size(), names.data()));
    return *this;
  }

private:
  std::shared_ptr<ov_preprocess_input_tensor_info_t> handle_;
};

class PreProcessSteps {
public:
  explicit PreProcessSteps(const ov_preprocess_input_info_t* input)
      : handle_(binding::make(ov_preprocess_preprocess_steps_free, ov_preprocess_input_info_get_preprocess_steps, input)) {}

  // Converts to the given type, by default to the network's own: the C API's "dynamic" means that, as in the original.
  PreProcessSteps& convert_element_type(const element::Type& type = {}) {
    binding::check(ov_preprocess_preprocess_steps_convert_element_type(handle_.get(), binding::toC(type)));
    return *this;
  }

  PreProcessSteps& convert_color(ColorFormat format) {
    binding::check(ov_preprocess_preprocess_steps_convert_color(handle_.get(), static_cast<ov_color_format_e>(format)));
    return *this;
  }

  PreProcessSteps& mean(float value) {
    binding::check(ov_preprocess_preprocess_steps_mean(handle_.get(), value));
    return *this;
  }

  PreProcessSteps& mean(const std::vector<float>& values) {
    binding::check(ov_preprocess_preprocess_steps_mean_multi_channels(handle_.get(), values.data(),
                                                                      static_cast<std::int32_t>(values.size())));
    return *this;
  }

  PreProcessSteps& scale(float value) {
    binding::check(ov_preprocess_preprocess_steps_scale(handle_.get(), value));
    return *this;
  }

  PreProcessSteps& scale(const std::vector<float>& values) {
    binding::check(ov_preprocess_preprocess_steps_scale_multi_channels(handle_.get(), values.data(),
                                                                       static_cast<std::int32_t>(values.size())));
    return *this;
  }

private:
  std::shared_ptr<ov_preprocess_preprocess_steps_t> handle_;
};

class InputModelInfo {
public:
  explicit InputModelInfo(const ov_preprocess_input_info_t* input)
      : handle_(binding::make(ov_preprocess_input_model_info_free, ov_preprocess_input_info_get_model_info, input)) {}

  InputModelInfo& set_layout(const Layout& layout) {
    binding::check(ov_preprocess_input_model_info_set_layout(handle_.get(), layout.handle()));
    return *this;
  }

private:
  std::shared_ptr<ov_preprocess_input_model_info_t> handle_;
};

class InputInfo {
public:
  explicit InputInfo(std::shared_ptr<ov_preprocess_input_info_t> handle)
      : handle_(std::move(handle)), tensor_(handle_.get()), steps_(handle_.get()), model_(handle_.get()) {}

  InputTensorInfo& tensor() { return tensor_; }
  PreProcessSteps& preprocess() { return steps_; }
  InputModelInfo& model() { return model_; }

private:
  std::shared_ptr<ov_preprocess_input_info_t> handle_;
  InputTensorInfo tensor_;
  PreProcessSteps steps_;
  InputModelInfo model_;
};

} // namespace ov::preprocess
