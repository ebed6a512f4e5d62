// vorin-pack with features that only these systems have: links, devices, limits of the shell, signals that ask a program to end.
#include "support/pack_run.h"

#include <gmock/gmock.h>

#include <csignal>

namespace vorin::tests {
namespace {

using namespace testing;

class PackOnPosix : public PackTest {};

TEST_F(PackOnPosix, RefusesTargetsThatAreNoFiles) {
  expectRefusal({"build", "/dev/null", "net.xml", "--overwrite"}, 1, "'/dev/null' is not a file that can be replaced");
  expectRefusal({"build", "/proc/model_st.bin", "net.xml"}, 1, "'/proc/model_st.bin' cannot be written (");
}

TEST_F(PackOnPosix, KeepsALinkAndReplacesItsFile) {
  writeFile(pack_.file("real.bin"), "old");
  fs::create_symlink("real.bin", pack_.file("model_st.bin"));
  build({"--overwrite", "net.xml"}, "vorin-pack: wrote 'model_st.bin' with 2 entries\n");
  EXPECT_TRUE(fs::is_symlink(pack_.file("model_st.bin")));
  EXPECT_THAT(entriesOf(readFile(pack_.file("real.bin"))), ElementsAre(entry("net.xml", "net.xml"), entry("net.bin", "net.bin")));
}

TEST_F(PackOnPosix, LeavesNothingWhereThereIsNoRoom) {
  writeFile(pack_.file("large"), randomBytes(200000, 4));
  const std::string line = "ulimit -f 64; exec '" VORIN_PACK_PROGRAM "' build model_st.bin net.xml --name large=large";
  const ChildResult result = ChildProcess({"/bin/sh", "-c", line}, pack_.setting()).wait();
  EXPECT_EQ(result.exit_status, 1);
  EXPECT_THAT(result.standard_error, StartsWith("vorin-pack: 'model_st.bin' cannot be written ("));
  EXPECT_FALSE(fs::exists(pack_.file("model_st.bin")));
  EXPECT_THAT(pack_.leftovers(), IsEmpty());
}

TEST_F(PackOnPosix, NoticesThatItsOutputCannotBeWritten) {
  writeFile(pack_.file("p.bin"), packageBytes({{"net.xml", "12345"}}));
  ChildSetting setting = pack_.setting();
  setting.standard_output = "/dev/full";
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"list", "p.bin"}, {"list", "--json", "p.bin"}, {"verify", "p.bin"}, {"--help"}}) {
    std::vector<std::string> line = {VORIN_PACK_PROGRAM};
    line.insert(line.end(), arguments.begin(), arguments.end());
    const ChildResult result = ChildProcess(line, setting).wait();
    EXPECT_EQ(result.exit_status, 1) << arguments.front();
    EXPECT_THAT(result.standard_error, HasSubstr("the output cannot be written"));
  }
}

TEST_F(PackOnPosix, LeavesNothingAfterASignal) {
  for (const int signal : {SIGTERM, SIGHUP}) {
    expectCancelledBy(signal);
  }
}

} // namespace
} // namespace vorin::tests
