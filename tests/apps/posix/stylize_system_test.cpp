// vorin-stylize with features that only these systems have: links, devices, signals, folders that a user may not read or write,
// and a machine whose OpenCL driver is missing.
#include "support/stylize_run.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>

#include <chrono>
#include <fstream>
#include <thread>
#include <unistd.h>

namespace vorin::tests {
namespace {

using testing::HasSubstr;

// The setting of a machine whose GPU is listed but has no OpenCL driver.
ChildSetting withGpuThatDoesNotDraw() {
  ChildSetting setting = StylizeRun::withGpu();
  setting.variables["OPENCL_LAYERS"] = std::nullopt;
  setting.variables["VORIN_SOFTGPU"] = std::nullopt;
  return setting;
}

TEST(StylizeOnPosix, GpuThatDoesNotDrawIsAnErrorWhenAskedForByName) {
  const StylizeRun run;
  expectFailure(run.restyle({"--style", "stipple", "--device", "integrated"}, withGpuThatDoesNotDraw()), 4, "--device software");
  EXPECT_EQ(run.names(), std::set<std::string>({"photo.png"}));
}

// A system that does not list its display adapters may have a GPU.
TEST(StylizeOnPosix, AutoGoesOnWhereTheGpuDoesNotDraw) {
  const StylizeRun run;
  const ChildResult result =
      ChildProcess({"unshare", "-rm", "sh", "-c", "mount -t tmpfs none /sys/bus && exec \"$@\"", "sh", StylizeRun::program(),
                    run.image("photo.png"), "-o", run.file("out.png"), "--style", "stipple"},
                   withGpuThatDoesNotDraw())
          .wait();
  if (result.standard_error.find("vorin-stylize") == std::string::npos) {
    GTEST_SKIP() << "no other view of the system can be had here: " << result.standard_error;
  }
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(linesOf(result.standard_error),
              testing::ElementsAre(AllOf(HasSubstr("software device"), HasSubstr("does not run filters")), testing::_));
}

TEST(StylizeOnPosix, F32IsRefusedWhereTheActiveStandInsComputeInBf16) {
  ChildSetting setting = StylizeRun::withGpu();
  setting.variables["LD_LIBRARY_PATH"] = (StylizeRun::buildFolder() / "softgpu" / "runtime-bf16").string();
  const StylizeRun run;
  expectFailure(run.restyle({"--style", "pencil", "--precision", "f32"}, setting), 2, "stand-ins compute in bf16");
  EXPECT_EQ(run.restyle({"--style", "pencil"}, setting).exit_status, 0);
}

TEST(StylizeOnPosix, StartsThroughALink) {
  const StylizeRun run;
  fs::create_symlink(StylizeRun::program(), run.folder() / "linked");
  ChildSetting setting = StylizeRun::withoutGpu();
  setting.working_folder = run.folder();
  run.image("photo.png");
  const ChildResult result = ChildProcess({"./linked", "photo.png", "-o", "out.png", "--style", "pencil"}, setting).wait();
  EXPECT_EQ(result.exit_status, 0) << result.standard_error;
}

// A runtime whose CPU plugin cannot be loaded offers no GPU either: the program continues and reports why.
TEST(StylizeOnPosix, StandInWithoutTheCpuPluginSaysSo) {
  const TemporaryFolder runtime;
  for (const auto& entry : fs::directory_iterator(fs::path(StylizeRun::program()).parent_path() / "softgpu" / "runtime")) {
    if (entry.path().stem().string().find("openvino_intel_cpu_plugin") == std::string::npos) {
      fs::copy(entry.path(), runtime.path() / entry.path().filename(), fs::copy_options::copy_symlinks);
    }
  }
  ChildSetting setting = StylizeRun::withGpu();
  setting.variables["LD_LIBRARY_PATH"] = runtime.path().string();
  const ChildResult result = StylizeRun::run({"devices"}, setting);
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(result.standard_error, HasSubstr("softgpu: no stand-in for OpenVINO's GPU: "));
}

// PoCL stores compiled kernels in a folder, and runs no kernel if it cannot make the folder.
TEST(StylizeOnPosix, CompilerWithoutItsFolderIsHinted) {
  ChildSetting setting = StylizeRun::withGpu();
  setting.variables["POCL_CACHE_DIR"] = "/proc/none";
  expectFailure(StylizeRun().restyle({"--style", "pencil", "--quiet"}, setting), 4, "POCL_CACHE_DIR, is writable");
}

// At most one run ends badly.
TEST(StylizeOnPosix, DamagedCompiledKernelsAreMadeAgain) {
  const StylizeRun run;
  ChildSetting setting = StylizeRun::withoutGpu();
  setting.variables["XDG_CACHE_HOME"] = run.file("cache");
  setting.variables["POCL_CACHE_DIR"] = std::nullopt;
  const auto draw = [&] { return run.restyle({"--style", "pencil", "--overwrite"}, setting).exit_status; };
  ASSERT_EQ(draw(), 0);
  for (const auto& entry : fs::recursive_directory_iterator(run.file("cache/vorin-stt/pocl"))) {
    if (entry.is_regular_file()) {
      fs::resize_file(entry.path(), entry.file_size() / 2);
    }
  }
  EXPECT_NE(draw(), 0);
  EXPECT_EQ(draw(), 0);
}

TEST(StylizeOnPosix, FullStandardOutputIsAnOutputError) {
  ChildSetting setting = StylizeRun::withoutGpu();
  setting.standard_output = "/dev/full";
  expectFailure(StylizeRun::run({"--help"}, setting), 5, "");
}

// Both are seen before the inference runtime gets that far, which would end the process.
TEST(StylizeOnPosix, TooLittleMemoryOrDiskIsSaidBeforehand) {
  const StylizeRun run;
  const TestPackage package({networkFiles(kCartoon, FixedNetwork{.gain = -1})});
  const auto restyle = [&](std::vector<std::string> line, const std::string& input) {
    line.insert(line.end(), {"sh", StylizeRun::program(), input, "-o", run.file("out.png"), "--max-pixels", "200000000"});
    line.insert(line.end(), {"--style", "cartoon", "--models", package.folder()});
    ChildSetting setting = StylizeRun::withGpu();
    StylizeRun::setCacheFolder(setting, run.file("cache"));
    return ChildProcess(line, setting).wait();
  };
  writeFile(run.file("large.png"),
            std::string("\x89PNG\r\n\x1A\n\0\0\0\x0DIHDR\0\0\x2A\xF8\0\0\x2A\xF8\x08\2\0\0\0CRC!\0\0\0\0IENDCRC!", 45));
  const ChildResult limited = restyle({"sh", "-c", "ulimit -v 2500000 && exec \"$@\""}, run.file("large.png"));
  if (limited.standard_error.find("AddressSanitizer failed to allocate") == std::string::npos) { // for its own tables
    expectFailure(limited, 5, "is 11000x11000 pixels, which need 3000 MiB of memory");
  }
  fs::create_directories(run.file("cache/vorin-stt"));
  const std::string full = "mount -t tmpfs -o size=4k none " + run.file("cache/vorin-stt") + " && exec \"$@\"";
  const ChildResult result = restyle({"unshare", "-rm", "sh", "-c", full}, run.image("photo.png"));
  if (result.standard_error.find("vorin-stylize") == std::string::npos) {
    GTEST_SKIP() << "no other view of the system can be had here: " << result.standard_error;
  }
  expectFailure(result, 5, "make room on its disk");
}

// nohup ignores SIGHUP like this, and a shell SIGINT for background jobs.
TEST(StylizeOnPosix, IgnoredSignalsStayIgnored) {
  const StylizeRun run;
  const ChildResult result =
      runAndSignal({"sh", "-c", "trap '' INT HUP; exec \"$@\"", "sh", StylizeRun::program(), run.image("photo.bmp", {4000, 3000}),
                    "-o", run.file("out.bmp"), "--style", "stipple", "--quiet"},
                   StylizeRun::withGpu(), [&] { return run.names().size() == 2; }, {SIGINT, SIGHUP});
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_EQ(result.standard_error, "");
}

// Before anything is sent. The program itself holds the pipe's other end.
TEST(StylizeOnPosix, WaitingForAPipeIsCancelledAtOnce) {
  const StylizeRun run;
  ChildSetting setting = StylizeRun::withoutGpu();
  setting.working_folder = run.folder();
  const auto wait = [] { // nothing shows that it waits
    std::this_thread::sleep_for(std::chrono::seconds(1));
    return true;
  };
  const ChildResult result = runAndSignal({"sh", "-c", "mkfifo pipe && exec 3<>pipe && exec \"$@\" <pipe", "sh",
                                           StylizeRun::program(), "-", "-o", "out.mkv", "--style", "pencil"},
                                          setting, wait);
  EXPECT_EQ(result.exit_status, 130);
  EXPECT_EQ(result.standard_error, "vorin-stylize: cancelled\n");
}

// The superuser may read and write everywhere, so the program runs as somebody else where the tests run as the superuser.
ChildResult runAsSomebodyElse(std::vector<std::string> arguments, const StylizeRun& run) {
  arguments.insert(arguments.begin(), StylizeRun::program());
  if (geteuid() == 0) {
    arguments.insert(arguments.begin(), {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"});
  }
  fs::permissions(run.folder(), fs::perms::others_all, fs::perm_options::add);
  ChildSetting setting = StylizeRun::withGpu();
  setting.variables["POCL_CACHE_DIR"] = run.file("pocl");
  setting.variables["XDG_CACHE_HOME"] = run.file("cache");
  setting.variables["GCOV_PREFIX"] = run.file("counts"); // in the build that counts lines, whose folder is not this user's
  return ChildProcess(arguments, setting).wait();
}

TEST(StylizeOnPosix, FolderThatCannotBeRead) {
  const StylizeRun run;
  fs::create_directories(run.file("in/locked"));
  run.image("in/photo.png");
  fs::permissions(run.file("in/locked"), fs::perms::none);
  const ChildResult result = runAsSomebodyElse({run.file("in"), "-o", run.file("out"), "--style", "pencil", "--quiet"}, run);
  fs::permissions(run.file("in/locked"), fs::perms::owner_all);
  if (result.exit_status == 126 || result.exit_status == 127) {
    GTEST_SKIP() << "nobody else can start the program here: " << result.standard_error;
  }
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_THAT(linesOf(result.standard_error),
              testing::ElementsAre(HasSubstr("locked' cannot be read (Permission denied): check its permissions"), testing::_));
}

// The program puts a link to the package into the user's cache, unless something is in the way there.
TEST(StylizeOnPosix, PackageMayLieInAFolderThatIsNotWritable) {
  for (const bool has_room : {true, false}) {
    const StylizeRun run;
    const fs::path models = run.file("models");
    fs::create_directory(models);
    writeFile(models / "model_st.bin", packageBytes(networkFiles(kCartoon, FixedNetwork{})));
    fs::permissions(models, fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_read | fs::perms::others_exec);
    if (!has_room) {
      std::ofstream(run.file("cache")).close();
    }
    const ChildResult result = runAsSomebodyElse(
        {run.image("photo.png"), "-o", run.file("out.png"), "--style", "cartoon", "--models", models.string()}, run);
    fs::permissions(models, fs::perms::owner_all);
    if (result.exit_status == 126 || result.exit_status == 127) {
      GTEST_SKIP() << "nobody else can start the program here: " << result.standard_error;
    }
    EXPECT_EQ(result.exit_status, has_room ? 0 : 3);
    EXPECT_EQ(result.standard_error.find("not writable") == std::string::npos, has_room) << result.standard_error;
  }
}

} // namespace
} // namespace vorin::tests
