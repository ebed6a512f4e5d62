#include "support/stylize_run.h"

#include <opencv2/imgcodecs.hpp>

#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/file.h>
#include <unistd.h>

namespace vorin::tests {
namespace {

std::filesystem::path buildFolder() {
  return std::filesystem::path(StylizeRun::program()).parent_path();
}

} // namespace

void savePicture(const std::string& file, const cv::Mat& bgr) {
  if (!cv::imwrite(file, bgr)) {
    throw std::runtime_error("cannot write the picture " + file);
  }
}

cv::Mat loadPicture(const std::string& file) {
  return cv::imread(file, cv::IMREAD_UNCHANGED);
}

bool jpegQualityIsKept() {
  return true;
}

ChildSetting StylizeRun::withGpu(const std::filesystem::path& runtime) {
  ChildSetting setting;
  setting.variables = {{"OPENCL_LAYERS", (buildFolder() / "softgpu" / "libvorin_softgpu_opencl.so").string()},
                       {"LD_LIBRARY_PATH", runtime.string()},
                       {"VORIN_SOFTGPU", "1"}};
  return setting;
}

ChildSetting StylizeRun::withoutGpu() {
  ChildSetting setting;
  // Empty in ordinary builds. AddressSanitizer needs the inference runtime's own thread library, which must be found first.
  const char* libraries = std::getenv("VORIN_TEST_LIBRARY_PATH"); // NOLINT(concurrency-mt-unsafe): the tests run on one thread
  setting.variables = {{"OPENCL_LAYERS", std::nullopt},
                       {"LD_LIBRARY_PATH", libraries == nullptr ? std::nullopt : std::optional<std::string>(libraries)},
                       {"VORIN_SOFTGPU", std::nullopt}};
  return setting;
}

ChildSetting StylizeRun::withGpuThatDoesNotDraw() {
  ChildSetting setting = withoutGpu();
  setting.variables["LD_LIBRARY_PATH"] = standInRuntime().string();
  return setting;
}

std::string StylizeRun::copyProgram(const std::filesystem::path& folder, ChildSetting& setting) {
  const std::filesystem::path copy = folder / programName();
  std::filesystem::copy_file(program(), copy);
  auto& folders = setting.variables["LD_LIBRARY_PATH"];
  folders = folders.value_or("") + ":" + buildFolder().string();
  return copy.string();
}

std::shared_ptr<void> StylizeRun::holdTurn() {
  const int descriptor = open(program().c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0 || flock(descriptor, LOCK_EX) != 0) {
    throw std::runtime_error("cannot take the turn");
  }
  return {nullptr, [descriptor](void*) { close(descriptor); }};
}

} // namespace vorin::tests
