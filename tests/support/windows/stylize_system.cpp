#include "image_file.h"
#include "support/package_bytes.h"
#include "support/stylize_run.h"
#include "utf8_path.h"

#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <windows.h>

namespace vorin::tests {
namespace {

namespace fs = std::filesystem;

fs::path buildFolder() {
  return fs::path(StylizeRun::program()).parent_path();
}

// Programs find a DLL through PATH.
std::string pathWith(const fs::path& folder) {
  return fs::path(folder).make_preferred().string() + ";" + std::getenv("PATH"); // NOLINT(concurrency-mt-unsafe): on one thread
}

} // namespace

void savePicture(const std::string& file, const cv::Mat& bgr) {
  if (file.ends_with(".png")) {
    writeFile(file, pngBytes(bgr));
    return;
  }
  const std::vector<std::uint8_t> bytes = stylize::encodePicture(base::pathFromUtf8(file), bgr);
  writeFile(file, std::string(bytes.begin(), bytes.end()));
}

cv::Mat loadPicture(const std::string& file) {
  try {
    return stylize::readPicture(base::pathFromUtf8(file));
  } catch (const std::exception&) {
    return {};
  }
}

bool jpegQualityIsKept() {
  return GetProcAddress(GetModuleHandleA("ntdll"), "wine_get_version") == nullptr;
}

// The OpenCL stand-in stays as the tests were started with it: it belongs to the system below Wine.
ChildSetting StylizeRun::withGpu(const fs::path& runtime) {
  ChildSetting setting;
  setting.variables = {{"PATH", pathWith(runtime)}, {"VORIN_SOFTGPU", "1"}};
  return setting;
}

ChildSetting StylizeRun::withoutGpu() {
  ChildSetting setting;
  setting.variables = {{"PATH", pathWith(VORIN_RUNTIME_FOLDER)}, {"VORIN_SOFTGPU", std::nullopt}};
  return setting;
}

// The OpenCL stand-in can only be taken away where Wine starts.
ChildSetting StylizeRun::withGpuThatDoesNotDraw() {
  ChildSetting setting;
  const fs::path runtime = standInRuntime().make_preferred();
  setting.variables = {{"OPENCL_LAYERS", std::nullopt}, {"WINEPATH", runtime.string()}, {"VORIN_SOFTGPU", std::nullopt}};
  return setting;
}

std::string StylizeRun::copyProgram(const fs::path& folder, ChildSetting& setting) {
  const fs::path copy = folder / programName();
  fs::copy_file(program(), copy);
  auto& folders = setting.variables["PATH"];
  folders = folders.value_or("") + ";" + buildFolder().make_preferred().string();
  return copy.string();
}

std::shared_ptr<void> StylizeRun::holdTurn() {
  OVERLAPPED place = {};
  place.OffsetHigh = 0x40000000; // where the program has its lock
  HANDLE file = CreateFileW(fs::path(program()).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE || LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place) == FALSE) {
    throw std::runtime_error("cannot take the turn");
  }
  return {file, [](void* handle) { CloseHandle(handle); }};
}

} // namespace vorin::tests
