// The library's copies. A process loads each at most once, so most cases run in processes of their own: this program again, with
// arguments (see runAsChild).
#define CL_TARGET_OPENCL_VERSION 120

#include "library_copy.h"
#include "support/api_object.h"
#include "support/child_process.h"
#include "support/media_way.h"
#include "support/test_networks.h"

#include <CL/cl.h>
#include <gmock/gmock.h>
#include <openvino/c/openvino.h>

#include <cstdlib>
#include <dlfcn.h>
#include <iostream>
#include <unistd.h>

namespace vorin::media {
namespace {

using namespace tests;
using testing::HasSubstr;

constexpr std::uint32_t kWidth = 37;
constexpr std::uint32_t kHeight = 29;

template <typename Function> Function functionOf(void* library, const char* name, Function) {
  return reinterpret_cast<Function>(dlsym(library, name));
}

// ---- the child's side ----

// The devices that a program's own copy of the inference runtime lists.
std::string devicesOfTheUsersRuntime(int scope) {
  void* const library = dlopen(VORIN_USERS_RUNTIME, RTLD_NOW | scope);
  if (library == nullptr) {
    return dlerror();
  }
  ov_core_t* core = nullptr;
  ov_available_devices_t devices = {};
  functionOf(library, "ov_core_create", &ov_core_create)(&core);
  functionOf(library, "ov_core_get_available_devices", &ov_core_get_available_devices)(core, &devices);
  std::string names;
  for (std::size_t index = 0; index < devices.size; ++index) {
    names += std::string(devices.devices[index]) + ' ';
  }
  functionOf(library, "ov_core_free", &ov_core_free)(core);
  return names;
}

// The vendors of the OpenCL platforms that a program sees.
std::string vendorsOfOpenCl() {
  void* const library = dlopen("libOpenCL.so.1", RTLD_NOW);
  cl_platform_id platforms[8] = {};
  cl_uint count = 0;
  functionOf(library, "clGetPlatformIDs", &clGetPlatformIDs)(8, platforms, &count);
  std::string vendors;
  for (cl_uint index = 0; index < count; ++index) {
    char vendor[256] = {};
    functionOf(library, "clGetPlatformInfo", &clGetPlatformInfo)(platforms[index], CL_PLATFORM_VENDOR, sizeof vendor - 1, vendor,
                                                                 nullptr);
    vendors += std::string(vendor) + ' ';
  }
  return vendors;
}

std::string restyledFrame(bool software, const std::string& precision, std::int32_t style, const std::string& package_folder) {
  const LibraryCopy::Object object = LibraryCopy::get(software, precision).create();
  configure(*object, style, kWidth, kHeight);
  object->SetConfig(nullptr, SttCfgModelPath, package_folder.c_str());
  std::string input = randomBytes(std::size_t{4} * kWidth * kHeight, 5);
  std::string output(input.size(), '\0');
  const SttFrame frame = {VORIN_MEM_SYSTEM, input.data(), VORIN_FMT_BGRA, kWidth, kHeight, 4 * kWidth};
  SttFrame restyled = {VORIN_MEM_SYSTEM, output.data(), VORIN_FMT_BGRA, 0, 0, 0};
  if (object->Prepare(nullptr) != VORIN_STATUS_OK ||
      object->ProcessFrame(nullptr, &frame, nullptr, &restyled) != VORIN_STATUS_OK) {
    throw std::runtime_error("the frame fails");
  }
  return output;
}

// Arguments: software|ordinary, precision, style, package folder, and when the program uses its own runtime: "never", "before"
// (in a scope of its own), "linked" (before, in the global scope) or "after". Standard output gets the frame's pixels, and
// standard error what the program sees besides.
int runAsChild(const std::vector<std::string>& arguments) try {
  const std::string& order = arguments[4];
  if (order == "before" || order == "linked") {
    std::cerr << devicesOfTheUsersRuntime(order == "linked" ? RTLD_GLOBAL : RTLD_LOCAL) << vendorsOfOpenCl();
  }
  std::cout << restyledFrame(arguments[0] == "software", arguments[1], std::stoi(arguments[2]), arguments[3]);
  if (arguments[0] == "software" && std::getenv("OPENCL_LAYERS") != nullptr) {
    std::cerr << "a variable was left";
  }
  if (order == "after") {
    std::cerr << devicesOfTheUsersRuntime(RTLD_LOCAL) << vendorsOfOpenCl();
  }
  return 0;
} catch (const std::exception& error) {
  std::cerr << error.what();
  return 1;
}

// ---- the tests' side ----

class LibraryCopies : public testing::Test {
protected:
  ChildResult run(std::vector<std::string> program, const std::string& kind, const std::string& precision, std::int32_t style,
                  const std::string& order) const {
    program.insert(program.end(), {kind, precision, std::to_string(style), package_.folder(), order});
    ChildSetting setting;
    setting.variables = {{"XDG_CACHE_HOME", cache_.path().string()}, {"OPENCL_LAYERS", std::nullopt}};
    return ChildProcess(program, setting).wait();
  }

  ChildResult runSoftware(const std::string& precision, std::int32_t style, const std::string& order = "never") const {
    return run({programFile().string()}, "software", precision, style, order);
  }

  TemporaryFolder cache_;
  TestPackage package_{{alikeTwins(kCartoon, FixedNetwork{.gain = 0.731F, .bias = 0.0173F})}};
};

bool isDrawn(const std::string& pixels) {
  return pixels.size() == std::size_t{4} * kWidth * kHeight && pixels.find_first_not_of(pixels.front()) != std::string::npos;
}

constexpr std::int32_t kStyles[] = {SttStyleCartoon, SttStylePencilSketch};

TEST_F(LibraryCopies, TheSoftwareOneGivesTheBytesOfStandInsFromOutside) {
  for (const std::int32_t style : kStyles) {
    for (const std::string precision : {"f32", "bf16"}) {
      SCOPED_TRACE(std::to_string(style) + " " + precision);
      const ChildResult inside = runSoftware(precision, style);
      const ChildResult outside =
          run({VORIN_WITH_SOFTGPU, "--build", VORIN_BUILD_FOLDER, "--precision", precision, programFile().string()}, "ordinary",
              precision, style, "never");
      EXPECT_EQ(inside.standard_error + outside.standard_error, "");
      EXPECT_TRUE(isDrawn(inside.standard_output));
      EXPECT_TRUE(inside.standard_output == outside.standard_output);
    }
  }
  EXPECT_FALSE(fs::is_empty(cache_.path() / "vorin-stt" / "cache"));
}

TEST_F(LibraryCopies, TheSoftwareOneWorksBesideTheUsersRuntimeInAnyOrder) {
  for (const std::int32_t style : kStyles) {
    const std::string alone = runSoftware("f32", style).standard_output;
    for (const std::string order : {"before", "after", "linked"}) {
      if (order == "linked" && VORIN_OWN_SYMBOLS_FIRST == 0) {
        continue;
      }
      SCOPED_TRACE(std::to_string(style) + " " + order);
      const ChildResult beside = runSoftware("f32", style, order);
      EXPECT_THAT(beside.standard_error, testing::StartsWith("CPU "));
      EXPECT_THAT(beside.standard_error, testing::Not(testing::ContainsRegex("GPU|Merix|variable")));
      EXPECT_TRUE(beside.standard_output == alone);
    }
  }
}

TEST(LibraryCopy, HasOnePrecisionAProcess) {
  const TemporaryFolder cache;
  const ScopedVariable variable("XDG_CACHE_HOME", cache.path().string());
  EXPECT_EQ(&LibraryCopy::get(true, "bf16"), &LibraryCopy::get(true, "bf16"));
  for (const char* precision : {"f32", "f16"}) {
    EXPECT_EQ(errorOf([&] { LibraryCopy::get(true, precision); }).kind(), ErrorKind::kUsage) << precision;
  }
}

// Reading counts as use, and files that are no networks stay.
// Sets both times, unlike the C++ library.
void touch(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "/usr/bin/touch");
  ASSERT_EQ(tests::ChildProcess(arguments, {}).wait().exit_status, 0);
}

TEST(NetworkCache, LosesTheNetworksUsedLongestAgo) {
  const TemporaryFolder folder;
  const ScopedVariable variable("XDG_CACHE_HOME", folder.path().string());
  const fs::path cache = networkCache().folder;
  fs::create_directories(cache);
  const auto now = fs::file_time_type::clock::now();
  for (const auto& [name, age_hours] : {std::pair("old.blob", 4), {"read.blob", 5}, {"new.blob", 1}, {"old.txt", 9}}) {
    writeFile(cache / name, std::string(1000, 'x'));
    touch({"-d", std::to_string(age_hours) + " hours ago", cache / name});
  }
  touch({"-a", cache / "read.blob"}); // as reading does
  boundNetworkCache(2999);
  EXPECT_THAT(namesIn(cache), testing::ElementsAre("new.blob", "old.txt", "read.blob"));
  EXPECT_GE(fs::last_write_time(cache / "read.blob"), now);
  fs::rename(cache, folder.path() / "elsewhere"); // a link is not followed
  fs::create_directory_symlink(folder.path() / "elsewhere", cache);
  boundNetworkCache(0);
  EXPECT_EQ(namesIn(folder.path() / "elsewhere").size(), 3U);
}

TEST(WritableFolder, IsMadeInTheUsersCacheOrTheVariableIsNamed) {
  const TemporaryFolder folder;
  writeFile(folder.path() / "file", "");
  const std::string home = (folder.path() / "home").string();
  const struct {
    std::optional<std::string> cache, home;
    fs::path expected; // empty: an error
  } cases[] = {
      {home + "/c", home, home + "/c/vorin-stt"},       {"relative", home, home + "/.cache/vorin-stt"},
      {std::nullopt, home, home + "/.cache/vorin-stt"}, {std::nullopt, std::nullopt, {}},
      {(folder.path() / "file").string(), home, {}},    {"/proc", home, {}},
  };
  for (const auto& [cache_home, user_home, expected] : cases) {
    const ScopedVariable cache_variable("XDG_CACHE_HOME", cache_home);
    const ScopedVariable home_variable("HOME", user_home);
    fs::path found;
    const Error error = errorOf([&found = found] { found = writableFolder(); });
    EXPECT_EQ(found, expected);
    if (expected.empty()) {
      EXPECT_EQ(error.kind(), ErrorKind::kInputOutput);
      EXPECT_THAT(error.what(), HasSubstr(": set XDG_CACHE_HOME to a folder that you may write to"));
    } else {
      EXPECT_TRUE(fs::is_directory(expected));
    }
  }
  if (geteuid() == 0) { // only the superuser may give a folder away
    const ScopedVariable variable("XDG_CACHE_HOME", home + "/c");
    ASSERT_EQ(chown((home + "/c/vorin-stt").c_str(), 65534, 65534), 0);
    EXPECT_THAT(errorOf([] { writableFolder(); }).what(), HasSubstr("belongs to another user: set XDG_CACHE_HOME"));
  }
}

} // namespace
} // namespace vorin::media

int main(int count, char** arguments) {
  testing::InitGoogleMock(&count, arguments);
  return count == 6 ? vorin::media::runAsChild({arguments + 1, arguments + count}) : RUN_ALL_TESTS();
}
