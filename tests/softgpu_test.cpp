// The stand-ins for the hardware: what programs find with them and without, and how the OpenCL one answers unusual questions.
#define CL_TARGET_OPENCL_VERSION 120

#include "platform/platform.h"
#include "support/child_process.h"
#include "support/test_environment.h"

#include <CL/cl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace vorin {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// Runs a shell command without the stand-ins of this process, and gives the lines of its standard output.
struct PlainCommand {
  explicit PlainCommand(const std::string& command) {
    const char* const plain = "env -u OPENCL_LAYERS -u LD_LIBRARY_PATH -u WINEPATH -u VORIN_SOFTGPU -u VORIN_BUILD_DIR ";
    const tests::ChildResult result = tests::ChildProcess({"/bin/sh", "-c", plain + command}, {}).wait();
    status = result.exit_status;
    std::istringstream stream(result.standard_output);
    for (std::string line; std::getline(stream, line);) {
      lines.push_back(line);
    }
  }

  int status;
  std::vector<std::string> lines;
};

// Wine's programs find their libraries in a variable of its own, by names in its own terms.
const bool kWine = platform::kPathSeparator == '\\';
const std::string kLibraryPath = kWine ? "WINEPATH" : "LD_LIBRARY_PATH";

std::string inLibraryPath(std::string folder) {
  std::replace(folder.begin(), folder.end(), '/', platform::kPathSeparator);
  return VORIN_TEST_DRIVE + folder;
}

const std::string kRuntime = inLibraryPath(VORIN_BUILD_FOLDER "/softgpu/runtime");
const std::string kReport = (kWine ? "'" VORIN_EMULATOR "' " : "") + std::string("'" VORIN_HARDWARE_REPORT "'");
const std::string kWithSoftGpu = "'" VORIN_WITH_SOFTGPU "'";
const std::string kPocl = "opencl Portable Computing Language|";

std::string deviceName(const std::vector<std::string>& lines, const std::string& device) {
  for (const std::string& line : lines) {
    const std::string start = "openvino " + device + "|";
    if (line.rfind(start, 0) == 0) {
      return line.substr(start.size());
    }
  }
  return {};
}

TEST(SoftGpu, GivesProgramsAGpuInBothRuntimes) {
  const PlainCommand result(kWithSoftGpu + " --build '" VORIN_BUILD_FOLDER "' " + kReport);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.lines, Contains(AllOf(StartsWith(kPocl), HasSubstr("Merix"), EndsWith("|1"))));
  EXPECT_THAT(result.lines, Contains("compiled GPU"));
  EXPECT_EQ(deviceName(result.lines, "GPU"), deviceName(result.lines, "CPU"));
  EXPECT_NE(deviceName(result.lines, "GPU"), "");
}

TEST(SoftGpu, KeepsCompiledNetworksInTheCache) {
  const tests::TemporaryFolder cache;
  const PlainCommand result(kWithSoftGpu + " --build '" VORIN_BUILD_FOLDER "' " + kReport + " '" + cache.path().string() + "'");
  EXPECT_THAT(result.lines, ElementsAre("cached GPU"));
}

TEST(SoftGpu, IsNotThereWithoutTheScript) {
  const PlainCommand result(kReport);
  EXPECT_THAT(result.lines, Contains(AllOf(StartsWith(kPocl), Not(HasSubstr("Merix")), EndsWith("|0"))));
  EXPECT_NE(deviceName(result.lines, "CPU"), "");
  EXPECT_NE(deviceName(result.lines, "GPU"), deviceName(result.lines, "CPU"));
}

// A runtime whose CPU plugin cannot be loaded has no GPU to offer either: the program goes on and is told why.
TEST(SoftGpu, SaysWhyThereIsNoneWithoutTheCpuPlugin) {
  const tests::TemporaryFolder runtime;
  for (const auto& entry : std::filesystem::directory_iterator(kRuntime)) {
    if (entry.path().stem().string().find("openvino_intel_cpu_plugin") == std::string::npos) {
      std::filesystem::copy(entry.path(), runtime.path() / entry.path().filename(), std::filesystem::copy_options::copy_symlinks);
    }
  }
  const PlainCommand result(kLibraryPath + "='" + runtime.path().string() + "' " + kReport + " 2>&1");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.lines, Contains(HasSubstr("softgpu: no stand-in for OpenVINO's GPU: ")));
}

TEST(WithSoftGpu, PutsTheStandInsInFrontOfWhatWasSet) {
  const PlainCommand result("OPENCL_LAYERS=/other/layer.so " + kLibraryPath + "=/other/folder " + kWithSoftGpu +
                            " --build='" VORIN_BUILD_FOLDER "' env");
  EXPECT_THAT(result.lines, Contains("OPENCL_LAYERS=" VORIN_SOFTGPU_LAYER ":/other/layer.so"));
  EXPECT_THAT(result.lines, Contains(kLibraryPath + "=" + kRuntime + (kWine ? ";" : ":") + "/other/folder"));
  EXPECT_THAT(result.lines, Contains("VORIN_SOFTGPU=1"));
  const PlainCommand shorter(kWithSoftGpu + " --build='" VORIN_BUILD_FOLDER "' --precision bf16 env");
  EXPECT_THAT(shorter.lines, Contains(kLibraryPath + "=" + kRuntime + "-bf16"));
  const PlainCommand by_variable("VORIN_BUILD_DIR='" VORIN_BUILD_FOLDER "' " + kWithSoftGpu + " env");
  EXPECT_THAT(by_variable.lines, Contains("OPENCL_LAYERS=" VORIN_SOFTGPU_LAYER));
  EXPECT_THAT(by_variable.lines, Contains(kLibraryPath + "=" + kRuntime));
}

TEST(WithSoftGpu, RefusesWhatItCannotDo) {
  struct Refusal {
    std::string arguments;
    std::string message;
  };
  for (const Refusal& refusal : {Refusal{"", "usage: with-softgpu"},
                                 {"--build", "--build needs a folder"},
                                 {"--precision f16 true", "unknown precision f16"},
                                 {"--wrong true", "unknown option --wrong"},
                                 {"--build /nowhere true", "no build folder /nowhere"},
                                 {"--build / true", "not built: /"}}) {
    const PlainCommand result(kWithSoftGpu + " " + refusal.arguments + " 2>&1");
    EXPECT_NE(result.status, 0) << refusal.arguments;
    EXPECT_THAT(result.lines, Contains(HasSubstr(refusal.message)));
  }
}

// ---- the OpenCL layer, in this process ----

class SoftGpuLayer : public testing::Test {
protected:
  void SetUp() override {
    std::array<cl_platform_id, 16> platforms{};
    cl_uint count = 0;
    clGetPlatformIDs(static_cast<cl_uint>(platforms.size()), platforms.data(), &count);
    for (cl_uint i = 0; i < count; ++i) {
      std::array<char, 256> name{};
      clGetPlatformInfo(platforms[i], CL_PLATFORM_NAME, name.size(), name.data(), nullptr);
      if (std::string(name.data()) == "Portable Computing Language") {
        platform_ = platforms[i];
      }
    }
    ASSERT_NE(platform_, nullptr);
  }

  cl_platform_id platform_ = nullptr;
};

TEST_F(SoftGpuLayer, TellsTheVendorInABufferOfAnySize) {
  std::size_t size_bytes = 0;
  ASSERT_EQ(clGetPlatformInfo(platform_, CL_PLATFORM_VENDOR, 0, nullptr, &size_bytes), CL_SUCCESS);
  std::vector<char> text(size_bytes + 1, '#');
  EXPECT_EQ(clGetPlatformInfo(platform_, CL_PLATFORM_VENDOR, size_bytes - 1, text.data(), nullptr), CL_INVALID_VALUE);
  EXPECT_EQ(text, std::vector<char>(size_bytes + 1, '#'));
  EXPECT_EQ(clGetPlatformInfo(platform_, CL_PLATFORM_VENDOR, size_bytes, text.data(), nullptr), CL_SUCCESS);
  EXPECT_EQ(std::string(text.data()).size() + 1, size_bytes);
  EXPECT_EQ(text.back(), '#');
  EXPECT_EQ(clGetPlatformInfo(platform_, CL_PLATFORM_VENDOR, 0, nullptr, nullptr), CL_SUCCESS);
}

TEST_F(SoftGpuLayer, AnswersForGpusWithTheProcessorAndForOtherTypesTruly) {
  cl_device_id processor = nullptr;
  ASSERT_EQ(clGetDeviceIDs(platform_, CL_DEVICE_TYPE_CPU, 1, &processor, nullptr), CL_SUCCESS);
  for (const cl_device_type type : {cl_device_type{CL_DEVICE_TYPE_GPU}, cl_device_type{CL_DEVICE_TYPE_GPU | CL_DEVICE_TYPE_CPU},
                                    cl_device_type{CL_DEVICE_TYPE_ALL}}) {
    std::array<cl_device_id, 4> devices{};
    cl_uint count = 0;
    EXPECT_EQ(clGetDeviceIDs(platform_, type, 0, nullptr, &count), CL_SUCCESS);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(clGetDeviceIDs(platform_, type, static_cast<cl_uint>(devices.size()), devices.data(), nullptr), CL_SUCCESS);
    EXPECT_EQ(devices[0], processor);
  }
  cl_uint count = 0;
  EXPECT_EQ(clGetDeviceIDs(platform_, CL_DEVICE_TYPE_ACCELERATOR, 0, nullptr, &count), CL_DEVICE_NOT_FOUND);
  EXPECT_EQ(clGetDeviceIDs(platform_, CL_DEVICE_TYPE_GPU, 0, &processor, nullptr), CL_INVALID_VALUE);
}

} // namespace
} // namespace vorin
