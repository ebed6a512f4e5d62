// handle.hpp: owners of the C API's objects. The C++ interface's objects are shared handles: a copy is the same object. So are
// these; the last owner frees the C API's object.
#pragma once

#include <openvino/binding/status.hpp>

#include <memory>
#include <utility>

namespace ov::binding {

// Calls `create`, whose last parameter receives a handle, and returns the handle.
template <typename Handle, typename Create, typename... Arguments>
std::shared_ptr<Handle> make(void (*release)(Handle*), Create create, Arguments... arguments) {
  Handle* handle = nullptr;
  check(create(arguments..., &handle));
  return {handle, release};
}

// Calls `query`, whose last parameter receives a text, and returns the text.
template <typename Query, typename... Arguments> std::string text(Query query, Arguments... arguments) {
  char* content = nullptr;
  check(query(arguments..., &content));
  return takeText(content);
}

// The handle's pointer, or the exception that the C++ interface throws for an object that was only default-constructed.
template <typename Handle> Handle* initialised(const std::shared_ptr<Handle>& handle, const char* name) {
  if (!handle) {
    throw Exception(std::string(name) + " was not initialized.");
  }
  return handle.get();
}

} // namespace ov::binding
