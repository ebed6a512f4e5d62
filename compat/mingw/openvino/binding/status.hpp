// status.hpp: turns the statuses of the C API into the exceptions of the C++ interface.
//
// ov_get_last_err_msg returns the text of the exception inside a function. The whole process shares one text: of two calls that
// fail at the same time in two threads, either may see the other's text. Functions that refuse an argument themselves
// (INVALID_C_PARAM, PARAMETER_MISMATCH, NOT_FOUND) leave it unchanged, so these get the text of their status from
// ov_get_error_info.
#pragma once

#include <openvino/binding/c_api.hpp>
#include <openvino/core/except.hpp>

#include <memory>
#include <stdexcept>
#include <string>

namespace ov::binding {

// A text of the C API, which may be null.
inline std::string takeText(const char* text) {
  const std::unique_ptr<const char, void (*)(const char*)> owned(text, [](const char* content) { ov_free(content); });
  return text == nullptr ? std::string() : std::string(text);
}

inline std::string lastMessage(ov_status_e status) {
  const std::string message = takeText(ov_get_last_err_msg());
  return message.empty() ? std::string(ov_get_error_info(status)) : message;
}

[[noreturn]] inline void throwStatus(ov_status_e status) {
  switch (status) {
  case GENERAL_ERROR:
  case NOT_IMPLEMENTED:
  case REQUEST_BUSY:
  case INFER_CANCELLED:
    throw Exception(lastMessage(status));
  case UNEXPECTED:
  case UNKNOW_EXCEPTION: // not the runtime's exception: the C API loses its type and text
    throw std::runtime_error(lastMessage(status));
  default:
    throw Exception(ov_get_error_info(status));
  }
}

inline void check(ov_status_e status) {
  if (status != ov_status_e::OK) {
    throwStatus(status);
  }
}

} // namespace ov::binding
