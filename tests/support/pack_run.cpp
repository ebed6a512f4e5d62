#include "support/pack_run.h"

#include "support/system.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace vorin::tests {

using namespace testing;

ChildSetting PackRun::setting() const {
  ChildSetting setting;
  setting.working_folder = folder();
  setting.variables = {{kTemporaryFolderVariable, temporary_.path().string()}};
  return setting;
}

ChildResult PackRun::run(const std::vector<std::string>& arguments) const {
  std::vector<std::string> line = {VORIN_PACK_PROGRAM};
  line.insert(line.end(), arguments.begin(), arguments.end());
  return ChildProcess(line, setting()).wait();
}

std::set<std::string> PackRun::leftovers() const {
  std::set<std::string> names = namesIn(temporary_.path());
  for (const std::string& name : namesIn(folder())) {
    if (name.starts_with(".vorin-")) {
      names.insert(name);
    }
  }
  return names;
}

void PackTest::build(std::vector<std::string> arguments, const std::string& lines) const {
  arguments.insert(arguments.begin(), {"build", "model_st.bin"});
  const ChildResult result = pack_.run(arguments);
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_EQ(result.standard_output, "");
  EXPECT_EQ(result.standard_error, lines);
  EXPECT_THAT(pack_.leftovers(), IsEmpty());
}

void PackTest::expectRefusal(const std::vector<std::string>& arguments, int status, const std::string& output,
                             const std::string& text) const {
  const auto before = pack_.content();
  const ChildResult result = pack_.run(arguments);
  EXPECT_EQ(result.exit_status, status) << text;
  EXPECT_EQ(result.standard_output, output) << text;
  EXPECT_THAT(result.standard_error, StartsWith("vorin-pack: "));
  EXPECT_THAT(result.standard_error, HasSubstr(text));
  EXPECT_EQ(std::count(result.standard_error.begin(), result.standard_error.end(), '\n'), 1) << result.standard_error;
  EXPECT_EQ(pack_.content(), before) << text;
  EXPECT_THAT(pack_.leftovers(), IsEmpty()) << text;
}

void PackTest::expectCancelledBy(int signal) const {
  writeFile(pack_.file("large"), "");
  fs::resize_file(pack_.file("large"), 0x40000000); // large enough for the signal to arrive during the work
  const ChildResult result = runAndSignal({VORIN_PACK_PROGRAM, "build", "model_st.bin", "--name", "large=large"}, pack_.setting(),
                                          [&] { return !pack_.leftovers().empty(); }, {signal});
  EXPECT_EQ(result.exit_status, 130) << signal;
  EXPECT_EQ(result.standard_error, "vorin-pack: cancelled\n");
  EXPECT_FALSE(fs::exists(pack_.file("model_st.bin")));
  EXPECT_THAT(pack_.leftovers(), IsEmpty());
}

} // namespace vorin::tests
