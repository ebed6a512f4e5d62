// except.hpp: the runtime's exception. The original has kinds of it, which nothing here tells apart and few of which have a
// status of their own. Behind it: ov_status_e, by way of binding/status.hpp.
#pragma once

#include <stdexcept>
#include <string>

namespace ov {

class Exception : public std::runtime_error {
public:
  explicit Exception(const std::string& message) : std::runtime_error(message) {}
};

} // namespace ov
