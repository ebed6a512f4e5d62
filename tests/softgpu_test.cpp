// The stand-ins for the hardware: what programs find with them and without.
#include "platform/platform.h"
#include "support/binding_networks.h"
#include "support/child_process.h"
#include "support/test_environment.h"

#include <gmock/gmock.h>
#include <openvino/runtime/properties.hpp>

#include <algorithm>

namespace vorin {
namespace {

using testing::Contains;
using testing::HasSubstr;

// Runs a shell command without the stand-ins of this process, and gives the lines of its standard output.
struct PlainCommand {
  explicit PlainCommand(const std::string& command) {
    const char* const plain = "env -u OPENCL_LAYERS -u LD_LIBRARY_PATH -u WINEPATH -u VORIN_SOFTGPU -u VORIN_BUILD_DIR ";
    const tests::ChildResult result = tests::ChildProcess({"/bin/sh", "-c", plain + command}, {}).wait();
    status = result.exit_status;
    lines = tests::linesOf(result.standard_output);
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
const std::string kStylize = (kWine ? "'" VORIN_EMULATOR "' " : "") + std::string("'" VORIN_STYLIZE_PROGRAM "'");
const std::string kWithSoftGpu = "'" VORIN_WITH_SOFTGPU "'";

// In a process of its own (see CMakeLists.txt) it fails where the stand-in does not pass on the CPU plugin's own operations, of
// which processors make this chain.
TEST(SoftGpuCache, GivesACompiledNetworkBack) {
  tests::IrNetwork network;
  const auto input = network.input({"input"}, "1,3,16,16");
  const auto scale = network.constant("1,3,1,1", std::vector<float>{2, 3, 4});
  const auto squared = network.operation("Multiply", {network.operation("Multiply", {input, scale}), input});
  network.output(network.operation("Subtract", {squared, scale}));
  const tests::TemporaryFolder cache;
  for (const bool is_cached : {false, true}) {
    ov::Core core;
    core.set_property("GPU", ov::cache_dir(cache.path().string()));
    EXPECT_EQ(core.compile_model(tests::read(network), "GPU").get_property(ov::loaded_from_cache), is_cached);
  }
}

// A runtime whose CPU plugin cannot be loaded has no GPU to offer either: the program goes on and is told why.
TEST(SoftGpu, SaysWhyThereIsNoneWithoutTheCpuPlugin) {
  const tests::TemporaryFolder runtime;
  for (const auto& entry : std::filesystem::directory_iterator(kRuntime)) {
    if (entry.path().stem().string().find("openvino_intel_cpu_plugin") == std::string::npos) {
      std::filesystem::copy(entry.path(), runtime.path() / entry.path().filename(), std::filesystem::copy_options::copy_symlinks);
    }
  }
  const PlainCommand result(kLibraryPath + "='" + runtime.path().string() + "' " + kStylize + " devices 2>&1");
  EXPECT_EQ(result.status, 0);
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

} // namespace
} // namespace vorin
