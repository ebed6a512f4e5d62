// tensor.hpp: a network's input or output. Behind it: ov_tensor_*. A copy is the same tensor.
#pragma once

#include <openvino/binding/handle.hpp>
#include <openvino/core/shape.hpp>
#include <openvino/core/type/element_type.hpp>

#include <type_traits>

namespace ov {

class Tensor {
public:
  Tensor() = default;

  Tensor(const element::Type& type, const Shape& shape)
      : handle_(binding::make(ov_tensor_free, ov_tensor_create, binding::toC(type), binding::ShapeArgument(shape).get())) {}

  // Uses the caller's memory, of the shape's size, which must outlive the tensor.
  Tensor(const element::Type& type, const Shape& shape, void* memory)
      : handle_(binding::make(ov_tensor_free, ov_tensor_create_from_host_ptr, binding::toC(type),
                              binding::ShapeArgument(shape).get(), memory)) {}

  // Not in the original: takes the C API's tensor.
  explicit Tensor(std::shared_ptr<ov_tensor_t> handle) : handle_(std::move(handle)) {}
  const ov_tensor_t* handle() const { return binding::initialised(handle_, "Tensor"); }

  explicit operator bool() const { return handle_ != nullptr; }
  Shape get_shape() const { return binding::shapeFrom(ov_tensor_get_shape, handle()); }
  std::size_t get_size() const {
    std::size_t size = 0;
    binding::check(ov_tensor_get_size(handle(), &size));
    return size;
  }

  element::Type get_element_type() const {
    ov_element_type_e type = DYNAMIC;
    binding::check(ov_tensor_get_element_type(handle(), &type));
    return binding::fromC(type);
  }

  void* data() { return memory(); }
  const void* data() const { return memory(); }
  template <typename T> T* data() { return static_cast<T*>(memoryOf(element::from<std::remove_const_t<T>>())); }
  template <typename T> const T* data() const { return static_cast<const T*>(memoryOf(element::from<std::remove_const_t<T>>())); }

private:
  void* memory() const {
    void* memory = nullptr;
    binding::check(ov_tensor_data(handle(), &memory));
    return memory;
  }

  void* memoryOf(const element::Type& wanted) const {
    if (const element::Type type = get_element_type(); type != wanted) {
      throw Exception("Tensor data with element type " + type.to_string() + ", is not representable as pointer to " +
                      wanted.to_string());
    }
    return memory();
  }

  std::shared_ptr<ov_tensor_t> handle_;
};

} // namespace ov
