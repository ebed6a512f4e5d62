#define CL_TARGET_OPENCL_VERSION 120

#include "support/opencl_test_layer.h"
#include "support/system.h"

#include <CL/cl.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

namespace vorin::tests {
namespace {

OpenClName nameOf(std::string_view text) {
  OpenClName name{};
  if (text.size() >= name.size()) {
    throw std::runtime_error("too long for the test layer: " + std::string(text));
  }
  std::copy(text.begin(), text.end(), name.begin());
  return name;
}

} // namespace

OpenClTestLayer::OpenClTestLayer() {
  cl_uint count = 0;
  clGetPlatformIDs(0, nullptr, &count);                     // the loader opens its layers at the first call
  const char* file = std::getenv(kOpenClLayerFileVariable); // NOLINT(concurrency-mt-unsafe): the tests run on one thread
  if (file != nullptr) {
    state_ = std::static_pointer_cast<OpenClLayerState>(mapSharedFile(file, sizeof(OpenClLayerState)));
    reset();
    clGetPlatformIDs(0, nullptr, &count);
  }
  if (!state_ || calls().empty()) { // a file of an earlier process does not count
    throw std::runtime_error(std::string("OPENCL_LAYERS does not list the tests' layer, or it has no ") +
                             kOpenClLayerFileVariable);
  }
  reset();
}

void OpenClTestLayer::reset() {
  state_->fault_count = 0;
  state_->platform_count = 0;
  state_->call_count = 0;
}

void OpenClTestLayer::fail(std::string_view function, std::int32_t code, int skip, int times) {
  state_->faults.at(state_->fault_count) = {nameOf(function), code, skip, times};
  ++state_->fault_count;
}

void OpenClTestLayer::setPlatforms(const std::vector<TestPlatform>& platforms) {
  state_->platform_count = 0;
  for (const TestPlatform& platform : platforms) {
    OpenClLayerState::Platform& shared = state_->platforms.at(state_->platform_count);
    shared = {nameOf(platform.vendor), {}, 0, platform.device_count_result};
    for (const TestDevice& device : platform.devices) {
      shared.devices.at(shared.device_count++) = {device.max_work_group_items, device.unified_memory ? 1U : 0U, 0};
    }
    ++state_->platform_count;
  }
}

std::uint64_t OpenClTestLayer::deviceHandle(std::size_t platform, std::size_t device) const {
  const auto* const here = reinterpret_cast<const char*>(state_.get());
  const auto* const handle = reinterpret_cast<const char*>(&state_->platforms.at(platform).devices.at(device));
  return state_->address + static_cast<std::uint64_t>(handle - here);
}

std::span<const OpenClCall> OpenClTestLayer::calls() const {
  if (state_->call_count > state_->calls.size()) {
    throw std::runtime_error("more OpenCL calls than the tests' layer can hold");
  }
  return {state_->calls.data(), static_cast<std::size_t>(state_->call_count)};
}

std::size_t OpenClTestLayer::countCalls(std::string_view function) const {
  const std::span<const OpenClCall> all = calls();
  return static_cast<std::size_t>(
      std::count_if(all.begin(), all.end(), [&](const OpenClCall& call) { return call.name() == function; }));
}

std::vector<std::string> OpenClTestLayer::namesSince(std::size_t first, std::string_view front) const {
  std::vector<std::string> names;
  for (const OpenClCall& call : calls().subspan(first)) {
    if (call.name().starts_with(front)) {
      names.emplace_back(call.name());
    }
  }
  return names;
}

} // namespace vorin::tests
