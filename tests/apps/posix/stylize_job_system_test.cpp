// Jobs with features that only these systems have: a watch on a folder, sparse files, a disk that is full, signals through a
// shell.
#include "support/stylize_job.h"

#include <array>
#include <fstream>
#include <sys/inotify.h>
#include <unistd.h>

namespace vorin::tests {
namespace {

using testing::HasSubstr;

class StylizeJobOnPosix : public StylizeJob {};

// Runs the work, and counts how often somebody listed the folder meanwhile.
template <typename Work> int listingsOf(const fs::path& folder, const Work& work) {
  const int watch = inotify_init1(IN_NONBLOCK);
  inotify_add_watch(watch, folder.c_str(), IN_OPEN | IN_CLOSE); // two equal events in a row would be one
  work();
  alignas(inotify_event) std::array<char, 1 << 16> events{};
  int listings = 0;
  for (ssize_t bytes = 0; (bytes = read(watch, events.data(), events.size())) > 0;) {
    for (const char* at = events.data(); at < events.data() + bytes;) {
      const auto* event = reinterpret_cast<const inotify_event*>(at);
      listings += event->len == 0 && (event->mask & IN_OPEN) != 0 ? 1 : 0;
      at += sizeof(inotify_event) + event->len;
    }
  }
  close(watch);
  return listings;
}

// Reading the input for its sum would take an hour.
TEST_F(StylizeJobOnPosix, ReadingAHugeInputIsShownAndCancelled) {
  const std::string in = usualClip();
  const auto bytes = fs::file_size(in);
  plan("in.mp4", "out.mp4", "job", {"--style", "pencil"});
  job({"work", "%job", "-q"});
  std::error_code error;
  fs::resize_file(in, std::uintmax_t{1} << 40U, error);
  if (error) {
    GTEST_SKIP() << "the file system has no files of that size: " << error.message();
  }
  const std::string log = run_.file("log");
  for (const Words& command :
       {Words{"work", "%job"}, Words{"join", "%job"},
        Words{"plan", "%in.mp4", "-o", "%out.mp4", "--job", "%new", "--style", "pencil"},
        Words{"plan", "%in.mp4", "-o", "%out.mp4", "--job", "%job", "--style", "pencil", "--unit-length", "0.25"}}) {
    Words line = {"sh", "-c", "exec \"$0\" job \"$@\" --progress json 2>" + log, StylizeRun::program()};
    const Words words = run_.inFolder(command);
    line.insert(line.end(), words.begin(), words.end());
    const auto reads = [&] { return readText(log).find(R"("unit":"MB")") != std::string::npos; };
    EXPECT_EQ(runAndSignal(line, StylizeRun::withGpu(), reads).exit_status, 130) << testing::PrintToString(command);
    fs::remove(log);
  }
  fs::resize_file(in, bytes);
  EXPECT_TRUE(openUnits("job").empty());
  EXPECT_FALSE(fs::exists(run_.file("new")));
}

// Of thousands of units, one look at their folder tells who works on which.
TEST_F(StylizeJobOnPosix, LooksAtTheFolderOfUnitsOnceForAllUnits) {
  usualClip();
  plan("in.mp4", "out.mp4", "job", {"--style", "pencil"});
  const fs::path units = run_.folder() / "job" / "units";
  EXPECT_EQ(listingsOf(units, [&] { job({"status", "%job"}); }), 1);
  EXPECT_LE(listingsOf(units, [&] { job({"work", "%job", "-q"}); }), 2 * 12 + 6);
}

TEST_F(StylizeJobOnPosix, GoesOnOnceTheFullDiskHasRoom) {
  usualClip();
  const std::string script =
      "mount -t tmpfs -o size=160k none \"$1\" && cd \"$1\" && $0 job plan ../in.mp4 -o ../out.mp4 --style "
      "stipple --job job --unit-length 0.25 -q && { $0 job work job -q; echo $?; } && mount -o "
      "remount,size=40m none . && $0 job work job -q && $0 job join job -q";
  fs::create_directory(run_.folder() / "disk");
  const ChildResult result =
      ChildProcess({"unshare", "-rm", "sh", "-c", script, StylizeRun::program(), run_.file("disk")}, StylizeRun::withGpu())
          .wait();
  if (result.standard_output.empty() && result.exit_status != 0) {
    GTEST_SKIP() << "no small disk can be had here: " << result.standard_error;
  }
  EXPECT_EQ(result.exit_status, 0) << result.standard_error;
  EXPECT_EQ(result.standard_output, "5\n");
  EXPECT_THAT(result.standard_error, HasSubstr("make room on its disk"));
  EXPECT_EQ(frameTimes(run_.file("out.mp4")).size(), 36U);
}

} // namespace
} // namespace vorin::tests
