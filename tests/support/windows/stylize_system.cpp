#include "picture_mat.h"
#include "sources_and_sinks.h"
#include "support/stylize_run.h"
#include "text.h"

#include <cstdlib>

namespace vorin::tests {
namespace {

// Programs find a DLL through PATH, and copies of them libav's in the build folder.
std::string pathWith(const fs::path& folder) {
  return fs::path(folder).make_preferred().string() + ";" + StylizeRun::buildFolder().make_preferred().string() + ";" +
         std::getenv("PATH"); // NOLINT(concurrency-mt-unsafe): on one thread
}

} // namespace

void savePicture(const std::string& file, const cv::Mat& bgr) {
  const std::unique_ptr<media::Sink> sink =
      media::openImageSink(base::pathFromUtf8(file), {}, {bgr.cols, bgr.rows}, {.overwrite = true});
  sink->write(media::Frame{media::pictureFromBgr(bgr)});
  sink->finish();
}

cv::Mat loadPicture(const std::string& file) {
  try {
    std::optional<media::Item> item = media::openImageSource(base::pathFromUtf8(file))->next();
    return media::bgrOf(std::get<media::Frame>(item.value()).picture).clone();
  } catch (const Error&) {
    return {};
  }
}

void StylizeRun::setCacheFolder(ChildSetting& setting, const fs::path& folder) {
  setting.variables["LOCALAPPDATA"] = fs::path(folder).make_preferred().string();
}

// The OpenCL stand-in stays as the tests were started with it: it belongs to the system below Wine.
ChildSetting StylizeRun::withGpu() {
  ChildSetting setting = withoutGpu();
  setting.variables["PATH"] = pathWith(buildFolder() / "softgpu" / "runtime");
  setting.variables["VORIN_SOFTGPU"] = std::string("1");
  return setting;
}

ChildSetting StylizeRun::withoutGpu() {
  ChildSetting setting;
  setting.variables = {{"PATH", pathWith(VORIN_RUNTIME_FOLDER)}, {"VORIN_SOFTGPU", std::nullopt}};
  fs::create_directories(cacheFolder());
  setCacheFolder(setting, cacheFolder());
  return setting;
}

} // namespace vorin::tests
