// core.hpp: the runtime. Behind it: ov_core_create, ov_core_get_available_devices, ov_core_get_property, ov_core_set_properties,
// ov_core_read_model, ov_core_read_model_from_memory_buffer, ov_core_compile_model_props. A copy is the same runtime.
#pragma once

#include <openvino/core/model.hpp>
#include <openvino/runtime/compiled_model.hpp>

#include <string>
#include <utility>
#include <vector>

namespace ov {

class Core {
public:
  Core() : handle_(binding::make(ov_core_free, ov_core_create)) {}

  std::vector<std::string> get_available_devices() const {
    ov_available_devices_t devices = {nullptr, 0};
    binding::check(ov_core_get_available_devices(handle_.get(), &devices));
    const std::unique_ptr<ov_available_devices_t, void (*)(ov_available_devices_t*)> owned(
        &devices, [](ov_available_devices_t* owner) { ov_available_devices_free(owner); });
    return {devices.devices, devices.devices + devices.size};
  }

  Any get_property(const std::string& device, const std::string& name) const {
    return Any(binding::text(ov_core_get_property, handle_.get(), device.c_str(), name.c_str()));
  }
  template <typename T> T get_property(const std::string& device, const Property<T>& property) const {
    return get_property(device, std::string(property.name())).template as<T>();
  }

  void set_property(const std::string& device, const AnyMap& properties) {
    std::vector<std::string> texts;
    const std::vector<ov_property_t> list = binding::toC(properties, texts);
    binding::check(ov_core_set_properties(handle_.get(), device.c_str(), list.size(), list.data()));
  }
  void set_property(const std::string& device, const std::pair<std::string, Any>& property) {
    set_property(device, AnyMap{property});
  }

  // Without a path of weights the runtime searches for them beside the network.
  std::shared_ptr<Model> read_model(const std::string& path, const std::string& weights_path = {}) const {
    auto handle = binding::make(ov_model_free, ov_core_read_model, handle_.get(), path.c_str(), weights_path.c_str());
    return std::make_shared<Model>(std::move(handle), binding::irInputsOfFile(path));
  }

  // Reads a description in memory; the network keeps using the weights' memory.
  std::shared_ptr<Model> read_model(const std::string& description, const Tensor& weights) const {
    auto handle = binding::make(ov_model_free, ov_core_read_model_from_memory_buffer, handle_.get(), description.c_str(),
                                description.size(), weights ? weights.handle() : nullptr);
    return std::make_shared<Model>(std::move(handle), binding::irInputs(description));
  }

  CompiledModel compile_model(const std::shared_ptr<const Model>& model, const std::string& device,
                              const AnyMap& properties = {}) {
    std::vector<std::string> texts;
    const std::vector<ov_property_t> list = binding::toC(properties, texts);
    return CompiledModel(binding::make(ov_compiled_model_free, ov_core_compile_model_props, handle_.get(), model->handle(),
                                       device.c_str(), list.size(), list.data()));
  }

private:
  std::shared_ptr<ov_core_t> handle_;
};

} // namespace ov
