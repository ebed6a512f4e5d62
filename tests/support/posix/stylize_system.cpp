#include "support/stylize_run.h"

#include <opencv2/imgcodecs.hpp>

#include <cstdlib>
#include <stdexcept>

namespace vorin::tests {
void savePicture(const std::string& file, const cv::Mat& bgr) {
  if (!cv::imwrite(file, bgr)) {
    throw std::runtime_error("cannot write the picture " + file);
  }
}

cv::Mat loadPicture(const std::string& file) {
  return cv::imread(file, cv::IMREAD_COLOR);
}

void StylizeRun::setCacheFolder(ChildSetting& setting, const fs::path& folder) {
  setting.variables["XDG_CACHE_HOME"] = folder.string();
  setting.variables["POCL_CACHE_DIR"] = (cacheFolder() / "pocl").string(); // or each folder costs a compilation
}

ChildSetting StylizeRun::withGpu() {
  ChildSetting setting = withoutGpu();
  setting.variables["OPENCL_LAYERS"] = (buildFolder() / "softgpu" / "libvorin_softgpu_opencl.so").string();
  setting.variables["LD_LIBRARY_PATH"] = (buildFolder() / "softgpu" / "runtime").string();
  setting.variables["VORIN_SOFTGPU"] = std::string("1");
  return setting;
}

ChildSetting StylizeRun::withoutGpu() {
  ChildSetting setting;
  // Empty in ordinary builds. AddressSanitizer needs the inference runtime's own thread library, which must be found first.
  const char* libraries = std::getenv("VORIN_TEST_LIBRARY_PATH"); // NOLINT(concurrency-mt-unsafe): the tests run on one thread
  setting.variables = {{"OPENCL_LAYERS", std::nullopt},
                       {"LD_LIBRARY_PATH", libraries == nullptr ? std::nullopt : std::optional<std::string>(libraries)},
                       {"VORIN_SOFTGPU", std::nullopt}};
  fs::create_directories(cacheFolder() / "pocl");
  setCacheFolder(setting, cacheFolder());
  return setting;
}

} // namespace vorin::tests
