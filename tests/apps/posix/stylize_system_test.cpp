// vorin-stylize and what only these systems have: links, devices, limits of the shell, folders that a user may not write to, and
// an OpenCL stand-in that the program can take or leave by itself.
#include "support/stylize_run.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>

#include <fstream>
#include <unistd.h>

namespace vorin::tests {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

TEST(StylizeOnPosix, AutoGoesOnWhereTheGpuDoesNotDraw) {
  const ChildResult result = StylizeRun().draw({"--style", "stipple"}, StylizeRun::withGpuThatDoesNotDraw());
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_THAT(linesOf(result.standard_error),
              testing::ElementsAre(AllOf(HasSubstr("software device"), HasSubstr("does not draw")), testing::_));
}

TEST(StylizeOnPosix, StartsThroughALink) {
  const StylizeRun run;
  fs::create_symlink(StylizeRun::program(), run.folder() / "linked");
  ChildSetting setting = StylizeRun::withoutGpu();
  setting.working_folder = run.folder();
  run.photo("photo.png", {61, 47});
  const ChildResult result = ChildProcess({"./linked", "photo.png", "-o", "out.png", "--style", "pencil"}, setting).wait();
  EXPECT_EQ(result.exit_status, 0) << result.standard_error;
  EXPECT_EQ(loadPicture(run.file("out.png")).size(), cv::Size(61, 47));
}

TEST(StylizeOnPosix, OverwriteReplacesTheFileALinkPointsTo) {
  const StylizeRun run;
  const std::string photo = run.photo("photo.png", {61, 47});
  std::ofstream(run.file("old.png")) << "old";
  fs::create_symlink("old.png", run.file("link.png"));
  const ChildResult result =
      StylizeRun::run({photo, "-o", run.file("link.png"), "--style", "pencil", "--overwrite"}, StylizeRun::withGpu());
  EXPECT_EQ(result.exit_status, 0) << result.standard_error;
  EXPECT_TRUE(fs::is_symlink(run.file("link.png")));
  EXPECT_EQ(loadPicture(run.file("old.png")).size(), cv::Size(61, 47));
}

// Of the stand-ins' two runtimes only the one that was asked for counts.
TEST(StylizeOnPosix, EachPrecisionHasItsOwnRuntime) {
  const StylizeRun run;
  const fs::path build = fs::path(StylizeRun::program()).parent_path();
  const std::string photo = run.photo("photo.png", {61, 47});
  fs::create_directory(run.file("softgpu"));
  for (const char* const name : {"libvorin_softgpu_opencl.so", "runtime"}) {
    fs::create_symlink(build / "softgpu" / name, run.folder() / "softgpu" / name);
  }
  ChildSetting setting = StylizeRun::withoutGpu();
  const std::string lonely = StylizeRun::copyProgram(run.folder(), setting);
  for (const auto& [precision, exit_status] : {std::pair("f32", 0), std::pair("bf16", 4)}) {
    const ChildResult result = ChildProcess({lonely, photo, "-o", run.file("out.png"), "--style", "pencil", "--overwrite",
                                             "--device", "software", "--precision", precision},
                                            setting)
                                   .wait();
    EXPECT_EQ(result.exit_status, exit_status) << precision << ": " << result.standard_error;
  }
}

// PoCL keeps what it has compiled in a folder, and draws nothing where it cannot make it.
TEST(StylizeOnPosix, CompilerWithoutItsFolderIsHinted) {
  const StylizeRun run;
  ChildSetting setting = StylizeRun::withGpu();
  setting.variables["POCL_CACHE_DIR"] = "/proc/none";
  const ChildResult result = run.draw({"--style", "pencil"}, setting);
  EXPECT_EQ(result.exit_status, 4);
  EXPECT_THAT(result.standard_error, HasSubstr("POCL_CACHE_DIR, is writable"));
}

TEST(StylizeOnPosix, FullDiskLeavesNothing) {
  const StylizeRun run;
  const std::string photo = run.photo("photo.png", {2000, 1500});
  // The limit is far above what the OpenCL compiler writes and far below the 9 MB of the drawing.
  const ChildResult result = ChildProcess({"sh", "-c", "ulimit -f 5000 && exec \"$@\"", "sh", StylizeRun::program(), photo, "-o",
                                           run.file("out.bmp"), "--style", "pencil"},
                                          StylizeRun::withGpu())
                                 .wait();
  expectFailure(result, 5, "");
  EXPECT_EQ(run.names(), std::set<std::string>({"photo.png"}));
}

// Where even the OpenCL compiler finds no room, it ends the process: with its words and status, but nothing may stay behind.
TEST(StylizeOnPosix, CompilerWithoutRoomLeavesNothing) {
  const StylizeRun run;
  const std::string photo = run.photo("photo.png", {61, 47});
  ChildSetting setting = StylizeRun::withGpu();
  setting.variables["POCL_CACHE_DIR"] = run.file("cache"); // nothing compiled yet
  fs::create_directory(run.file("cache"));
  const ChildResult result = ChildProcess({"sh", "-c", "ulimit -f 400 && exec \"$@\"", "sh", StylizeRun::program(), photo, "-o",
                                           run.file("out.png"), "--style", "pencil"},
                                          setting)
                                 .wait();
  EXPECT_EQ(result.standard_error.find("vorin-stylize"), std::string::npos) << "the compiler found room";
  EXPECT_NE(result.exit_status, 0);
  EXPECT_EQ(run.names(), std::set<std::string>({"cache", "photo.png"}));
}

TEST(StylizeOnPosix, FullStandardOutputIsAnOutputError) {
  ChildSetting setting = StylizeRun::withoutGpu();
  setting.standard_output = "/dev/full";
  expectFailure(StylizeRun::run({"--help"}, setting), 5, "");
}

TEST(StylizeOnPosix, WhatIsNoFileIsNeitherReadNorWritten) {
  const StylizeRun run;
  const std::string photo = run.photo("photo.png", {61, 47});
  fs::create_symlink("/dev/null", run.file("device.png"));
  fs::create_symlink("nowhere.png", run.file("dangling.png"));
  const auto names_before = run.names();
  struct Case {
    std::string photo;
    std::string output;
    std::string said;
  };
  for (const Case& each :
       {Case{"/dev/zero", run.file("out.png"), "not an image file"},
        Case{photo, run.file("device.png"), "not a file that can be replaced"},
        Case{photo, run.file("dangling.png"), "leads nowhere"}, Case{photo, "/proc/out.png", "choose another folder"}}) {
    expectFailure(StylizeRun::run({each.photo, "-o", each.output, "--style", "pencil", "--overwrite"}, StylizeRun::withoutGpu()),
                  5, each.said);
    EXPECT_EQ(run.names(), names_before);
  }
}

// The superuser may read and write everywhere, so the program runs as somebody else where the tests run as the superuser.
std::vector<std::string> asSomebodyElse(std::vector<std::string> arguments) {
  if (geteuid() == 0) {
    arguments.insert(arguments.begin(), {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"});
  }
  return arguments;
}

TEST(StylizeOnPosix, FolderThatCannotBeRead) {
  const StylizeRun run;
  fs::create_directories(run.file("in/locked"));
  run.photo("in/photo.png", {61, 47});
  fs::permissions(run.file("in/locked"), fs::perms::none);
  fs::permissions(run.folder(), fs::perms::others_all, fs::perm_options::add);
  ChildSetting setting = StylizeRun::withGpu();
  setting.variables["POCL_CACHE_DIR"] = run.file("cache");
  const std::vector<std::string> arguments =
      asSomebodyElse({StylizeRun::program(), run.file("in"), "-o", run.file("out"), "--style", "pencil", "--quiet"});
  const ChildResult result = ChildProcess(arguments, setting).wait();
  fs::permissions(run.file("in/locked"), fs::perms::owner_all);
  if (result.exit_status == 126 || result.exit_status == 127) {
    GTEST_SKIP() << "nobody else can start the program here: " << result.standard_error;
  }
  EXPECT_EQ(result.exit_status, 1);
  const auto lines = linesOf(result.standard_error);
  ASSERT_EQ(lines.size(), 2U) << result.standard_error;
  EXPECT_NE(lines[0].find("locked' cannot be read (Permission denied): check its permissions"), std::string::npos) << lines[0];
}

// With a home, the program would put a link to the package there.
TEST(StylizeOnPosix, FolderThatIsNotWritableAndNoHome) {
  const StylizeRun run;
  fs::create_directory(run.file("models"));
  writeFile(run.file("models") + "/model_st.bin", packageBytes(networkFiles(kCartoon, FixedNetwork{})));
  fs::permissions(run.file("models"),
                  fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_read | fs::perms::others_exec);
  fs::permissions(run.folder(), fs::perms::others_read | fs::perms::others_exec, fs::perm_options::add);
  const std::vector<std::string> arguments =
      asSomebodyElse({StylizeRun::program(), run.photo("photo.png", {61, 47}), "-o", run.file("out.png"), "--style", "cartoon",
                      "--models", run.file("models")});
  ChildSetting setting = StylizeRun::withGpu();
  setting.variables["HOME"] = setting.variables["XDG_CACHE_HOME"] = std::nullopt;
  const ChildResult result = ChildProcess(arguments, setting).wait();
  fs::permissions(run.file("models"), fs::perms::owner_all);
  if (result.exit_status == 126 || result.exit_status == 127) {
    GTEST_SKIP() << "nobody else can start the program here: " << result.standard_error;
  }
  expectFailure(result, 3, "not writable");
}

// Read by the runtime, but refused by the compiler, which works out the constant: it has no element 99.
IrNetwork networkThatDoesNotCompile() {
  IrNetwork network;
  const auto input = network.input({"frame"}, "1,3,7,13");
  const auto three = network.constant("1,3,1,1", std::vector<float>{1, 2, 3});
  const auto beyond = network.constant("1,3,1,1", std::vector<std::int64_t>{99, 99, 99});
  network.output(network.operation("Add", {input, network.operation("GatherElements", {three, beyond}, "axis=\"1\"", 6)}));
  return network;
}

// Under Wine the runtime itself crashes on such a network, whatever program and device it works for.
TEST(StylizeOnPosix, NetworkDoesNotCompile) {
  const StylizeRun run;
  const TestPackage package({networkFiles(kCartoon, networkThatDoesNotCompile())});
  expectFailure(run.draw({"--style", "cartoon", "--models", package.folder()}, StylizeRun::withGpu()), 3, "does not work");
  EXPECT_EQ(run.names(), std::set<std::string>({"photo.png"}));
}

} // namespace
} // namespace vorin::tests
