// pre_post_process.hpp: puts conversions around a network. Behind it: ov_preprocess_prepostprocessor_*.
#pragma once

#include <openvino/core/model.hpp>
#include <openvino/core/preprocess/input_info.hpp>
#include <openvino/core/preprocess/output_info.hpp>

#include <list>
#include <string>

namespace ov::preprocess {

class PrePostProcessor {
public:
  explicit PrePostProcessor(const std::shared_ptr<Model>& model)
      : model_(model),
        handle_(binding::make(ov_preprocess_prepostprocessor_free, ov_preprocess_prepostprocessor_create, model->handle())) {}

  InputInfo& input() { return inputFrom(ov_preprocess_prepostprocessor_get_input_info); }
  InputInfo& input(std::size_t index) { return inputFrom(ov_preprocess_prepostprocessor_get_input_info_by_index, index); }
  InputInfo& input(const std::string& name) {
    return inputFrom(ov_preprocess_prepostprocessor_get_input_info_by_name, name.c_str());
  }

  OutputInfo& output() { return outputFrom(ov_preprocess_prepostprocessor_get_output_info); }
  OutputInfo& output(std::size_t index) { return outputFrom(ov_preprocess_prepostprocessor_get_output_info_by_index, index); }

  // Changes the network and returns it.
  std::shared_ptr<Model> build() {
    binding::make(ov_model_free, ov_preprocess_prepostprocessor_build, handle_.get()); // a second handle of the same network
    return model_;
  }

private:
  template <typename Get, typename... Arguments> InputInfo& inputFrom(Get get, Arguments... arguments) {
    return inputs_.emplace_back(binding::make(ov_preprocess_input_info_free, get, handle_.get(), arguments...));
  }

  template <typename Get, typename... Arguments> OutputInfo& outputFrom(Get get, Arguments... arguments) {
    return outputs_.emplace_back(binding::make(ov_preprocess_output_info_free, get, handle_.get(), arguments...));
  }

  std::shared_ptr<Model> model_;
  std::shared_ptr<ov_preprocess_prepostprocessor_t> handle_;
  std::list<InputInfo> inputs_; // callers hold references to them
  std::list<OutputInfo> outputs_;
};

} // namespace ov::preprocess
