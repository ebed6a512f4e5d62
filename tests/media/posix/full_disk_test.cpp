// A disk without room for a clip, by a limit that only these systems have.
#include "support/media_files.h"
#include "support/media_way.h"
#include "support/test_environment.h"

#include <gmock/gmock.h>

#include <csignal>
#include <sys/resource.h>

namespace vorin::media {
namespace {

using namespace tests;

TEST(FullDisk, IsNamedAndNothingIsLeft) {
  const TemporaryFolder folder;
  const fs::path clip = folder.path() / "in.mkv";
  ffmpeg("-f lavfi -i testsrc2=s=320x240:r=25:d=2 -c:v libx264 -preset ultrafast -crf 10 " + clip.string());
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit narrow = before;
  narrow.rlim_cur = 20000; // as a disk with so much room
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &narrow), 0);
  const std::string line = errorOf([&] { restyle(clip, folder.path() / "out.mkv"); }).what();
  setrlimit(RLIMIT_FSIZE, &before);
  static_cast<void>(std::signal(SIGXFSZ, handler));
  EXPECT_THAT(line, testing::HasSubstr("cannot be written (File too large): make room"));
  EXPECT_EQ(namesIn(folder.path()), (std::set<std::string>{"in.mkv"}));
}

} // namespace
} // namespace vorin::media
