// exception.hpp: the exceptions of inference. Behind it: the statuses INFER_CANCELLED and REQUEST_BUSY.
#pragma once

#include <openvino/core/except.hpp>

namespace ov {

class Cancelled : public Exception {
public:
  using Exception::Exception;
};

class Busy : public Exception {
public:
  using Exception::Exception;
};

} // namespace ov
