#include "inference_clock.h"

#include <openvino/runtime/infer_request.hpp>

#include <atomic>
#include <chrono>

namespace vorin::bench {
namespace {

std::chrono::steady_clock::duration total{};
std::atomic<bool> inside = false;

} // namespace

double inferenceSeconds() {
  return std::chrono::duration<double>(total).count();
}

bool insideInference() {
  return inside;
}

} // namespace vorin::bench

// The linker's --wrap gives every call of the one to the other; a member function takes its object as the first argument.
extern "C" void __real__ZN2ov12InferRequest5inferEv(ov::InferRequest* request);

extern "C" void __wrap__ZN2ov12InferRequest5inferEv(ov::InferRequest* request) {
  const auto start = std::chrono::steady_clock::now();
  vorin::bench::inside = true;
  __real__ZN2ov12InferRequest5inferEv(request);
  vorin::bench::inside = false;
  vorin::bench::total += std::chrono::steady_clock::now() - start;
}
