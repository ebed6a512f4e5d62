// Each OpenCL call from the creation of an object to its second frame fails in turn, with one error, in long runs with three. The
// style counts as prepared all the same, each frame ends without an exception, and the next object works.
#include "host.h"
#include "support/opencl_test_layer.h"

#include <set>

namespace vorin {
namespace {

using namespace tests;

TEST(FailingCalls, OfOpenCl) {
  Sweep sweep("failing OpenCL calls");
  OpenClTestLayer layer;
  for (const std::int32_t style : {SttStyleStippling, SttStylePencilSketch}) {
    const auto work = [&] { return Host(style, "").run(); };
    const std::string expected = work();
    std::set<std::string> functions = {"clGetDeviceInfo"}; // which the layer does not note
    for (const std::string& name : layer.namesSince(0)) {
      if (!name.starts_with("clRetain") && !name.starts_with("clRelease")) { // they fail only for handles that are none
        functions.insert(name);
      }
    }
    bool is_failing = false;
    for (const std::string& function : functions) {
      for (const int code :
           longerBy() > 1 ? std::vector{-5, -6, -2} : std::vector{-5}) { // out of resources, of host memory; no device
        int failing = 0;
        failEachStep(
            sweep, "style " + std::to_string(style) + ", " + function + ", " + std::to_string(code),
            [&](int number) {
              layer.reset();
              layer.fail(function, code, number - 1, 1);
              failing = number;
            },
            [&] {
              const bool reached = function == "clGetDeviceInfo" ? failing < 4 : layer.countCalls(function) >= failing;
              layer.reset();
              is_failing = std::exchange(failing, 0) != 0;
              return reached;
            },
            work,
            [&](const std::string& result) { return std::exchange(is_failing, false) ? !result.empty() : result == expected; });
      }
    }
  }
}

} // namespace
} // namespace vorin
