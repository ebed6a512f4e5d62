// except.hpp: the runtime's exceptions. Over the C API all failed checks arrive as ov::Exception: of the original's kinds only
// those remain that have a status of their own. Behind it: ov_status_e, by way of binding/status.hpp.
#pragma once

#include <stdexcept>
#include <string>

namespace ov {

class Exception : public std::runtime_error {
public:
  explicit Exception(const std::string& message) : std::runtime_error(message) {}
};

class AssertFailure : public Exception {
public:
  using Exception::Exception;
};

class NotImplemented : public AssertFailure {
public:
  using AssertFailure::AssertFailure;
};

} // namespace ov
