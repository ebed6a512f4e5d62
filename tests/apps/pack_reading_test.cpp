// vorin-pack list and extract on packages that the test wrote byte by byte, sound and damaged.
#include "support/pack_run.h"

#include <tuple>

namespace vorin::tests {
namespace {

class PackReading : public PackTest {
protected:
  PackReading() { fs::create_directory(pack_.file("work")); }

  void package(const std::string& bytes) const { writeFile(pack_.file("p.bin"), bytes); }
};

TEST_F(PackReading, ListsSizesOffsetsAndNames) {
  package(packageBytes({{"net.xml", "12345"}, {"a\tb\"\\", ""}, {"\xFF\xE4", "1"}, {"\xC3\xA4", "12"}}));
  const ChildResult table = pack_.run({"list", "p.bin"});
  EXPECT_EQ(table.exit_status, 0);
  EXPECT_EQ(table.standard_error, "");
  EXPECT_EQ(table.standard_output, "5\t61\tnet.xml\n0\t66\ta\\x09b\"\\\n1\t66\t\xFF\xE4\n2\t67\t\xC3\xA4\n");
  const ChildResult json = pack_.run({"list", "--json", "p.bin"});
  EXPECT_EQ(json.exit_status, 0);
  EXPECT_EQ(json.standard_output, "[\n"
                                  "  {\"name\":\"net.xml\",\"size_bytes\":5,\"offset_bytes\":61},\n"
                                  "  {\"name\":\"a\\tb\\\"\\\\\",\"size_bytes\":0,\"offset_bytes\":66},\n"
                                  "  {\"name\":\"\xC3\xBF\xC3\xA4\",\"size_bytes\":1,\"offset_bytes\":66},\n" // read as Latin-1
                                  "  {\"name\":\"\xC3\xA4\",\"size_bytes\":2,\"offset_bytes\":67}\n]\n");
  package(recordBytes("", 0, 0));
  EXPECT_EQ(pack_.run({"list", "p.bin"}).standard_output, "");
  EXPECT_EQ(pack_.run({"list", "--json", "p.bin"}).standard_output, "[]\n");
}

TEST_F(PackReading, TellsWhatIsWrongWithAPackage) {
  const std::string closing = recordBytes("", 0, 0);
  const std::string anew = "build the package anew";
  const std::string early = "the directory ends early, so this is no package or a damaged one: " + anew;
  const std::string too_big =
      " has a size of 1073741825 bytes, and the library reads no package beyond an entry above 1073741824: " + anew;
  const std::string too_far = ", and the library would wait for them without end: copy or " + anew;
  for (const auto& [bytes, table, fault] : std::vector<std::tuple<std::string, const char*, std::string>>{
           {"", "", early},
           {recordBytes("a", 0, 0), "0\t0\ta\n", early},
           {recordBytes("a", 0, 0) + std::string(8, '\0'), "0\t0\ta\n", early},
           {std::string(2000, 'n'), "",
            "the directory holds a name of more than 1023 bytes, so this is no package or a damaged one: " + anew},
           {recordBytes("a", 0x40000001, 0) + closing, "1073741825\t0\ta\n", "entry 'a'" + too_big},
           {recordBytes("", 0x40000001, 0), "", "the record that ends the directory" + too_big},
           {recordBytes("a", 1, 0x80000000) + closing, "1\t2147483648\ta\n",
            "entry 'a' lies beyond the first 2 GiB, where the library does not reach: " + anew + " with fewer networks"},
           {recordBytes("a", 5, 19) + closing + "12", "5\t19\ta\n", "entry 'a' runs 3 bytes past the end of the file" + too_far},
           {recordBytes("a", 0x40000000, 0x7FFFFFFF) + closing, "1073741824\t2147483647\ta\n",
            "entry 'a' runs 3221225452 bytes past the end of the file" + too_far},
           {recordBytes("a", 0, 0) + recordBytes("a", 1, 0) + closing, "0\t0\ta\n1\t0\ta\n",
            "entry 'a' is there more than once, and the library sees the first only: " + anew}}) {
    package(bytes);
    expectRefusal({"list", "p.bin"}, 1, table, "'p.bin': " + fault);
    expectRefusal({"extract", "p.bin", "-o", "out"}, 1, "'p.bin': " + fault + ", or name the entries that you want");
  }
  package(recordBytes("sound", 0, 1000) + closing); // no bytes, so no end to run past
  EXPECT_EQ(pack_.run({"list", "p.bin"}).exit_status, 0);
}

TEST_F(PackReading, FailsWithOneLineForFilesThatAreNotThere) {
  const std::string line = "'none.bin' does not exist: name a package file";
  expectRefusal({"list", "none.bin"}, 1, line);
  expectRefusal({"verify", "none.bin"}, 1, line);
  expectRefusal({"extract", "none.bin", "-o", "out"}, 1, line);
  expectRefusal({"list", "work"}, 1, "'work' is not a file: name a package file");
}

TEST_F(PackReading, ExtractsAllOrTheNamedEntries) {
  const std::string large = randomBytes(200000, 9);
  package(packageBytes({{"net.xml", "network"}, {"net.bin", large}, {"empty", ""}, {"n\xC3\xA4me", "x"}}));
  auto expected = pack_.content();
  const auto expectFiles = [&](const std::string& folder, const std::map<std::string, std::string>& files) {
    expected[folder] = "(folder)";
    for (const auto& [name, content] : files) {
      expected[std::string(folder).append("/").append(name)] = content;
    }
    EXPECT_EQ(pack_.content(), expected);
  };
  const ChildResult all = pack_.run({"extract", "p.bin", "-o", "new/all"});
  EXPECT_EQ(all.exit_status, 0);
  EXPECT_EQ(all.standard_error, "vorin-pack: wrote 4 files to 'new/all'\n");
  expected["new"] = "(folder)";
  expectFiles("new/all", {{"net.xml", "network"}, {"net.bin", large}, {"empty", ""}, {"n\xC3\xA4me", "x"}});
  EXPECT_EQ(pack_.run({"extract", "p.bin", "net.bin", "empty", "net.bin", "-o", "work"}).exit_status, 0);
  expectFiles("work", {{"net.bin", large}, {"empty", ""}});
}

TEST_F(PackReading, ExtractsTheSoundEntriesOfADamagedPackage) {
  const std::string directory = recordBytes("cut", 100, 30) + recordBytes("sound", 4, 40) + recordBytes("sound", 9, 0);
  ASSERT_EQ(directory.size(), 40U);
  package(directory + scrambled("data")); // without an end of the directory
  EXPECT_EQ(pack_.run({"extract", "p.bin", "sound", "-o", "work"}).exit_status, 0);
  EXPECT_EQ(readFile(pack_.file("work/sound")), "data");
  expectRefusal(
      {"extract", "p.bin", "cut", "-o", "work"}, 1, "",
      "'p.bin': entry 'cut' runs 86 bytes past the end of the file, and the library would wait for them without end: copy "
      "or build the package anew");
}

TEST_F(PackReading, NeverWritesOutsideTheFolder) {
  const std::string kControl = "a\x1B[2Jb";
  const char* const kSeparator = "holds a path separator";
  for (const auto& [name, why] : {std::pair<std::string, const char*>("../out", kSeparator),
                                  {"/tmp/vorin-out", kSeparator},
                                  {"..\\out", kSeparator},
                                  {"c:out", kSeparator},
                                  {"..", "names a folder"},
                                  {".", "names a folder"},
                                  {kControl, "holds a control character"}}) {
    package(packageBytes({{"net.xml", "network"}, {name, "out"}}));
    const std::string shown = name == kControl ? "a\\x1B[2Jb" : name;
    const std::string line =
        "'p.bin': the name of entry '" + shown + "' " + why + ", so nothing is extracted: name other entries";
    expectRefusal({"extract", "p.bin", "-o", "work"}, 1, line);
    expectRefusal({"extract", "p.bin", name, "-o", "work"}, 1, line);
  }
}

TEST_F(PackReading, ReplacesFilesOnRequestOnly) {
  package(packageBytes({{"first", "1"}, {"net.xml", "network"}}));
  writeFile(pack_.file("work/net.xml"), "mine");
  writeFile(pack_.file("file"), "");
  const std::string existing = (fs::path("work") / "net.xml").string();
  expectRefusal({"extract", "p.bin", "-o", "work"}, 1, "",
                "'" + existing + "' exists: choose another name, or replace it with --overwrite");
  expectRefusal({"extract", "p.bin", "none", "-o", "work"}, 1, "'p.bin': there is no entry 'none': see vorin-pack list");
  expectRefusal({"extract", "p.bin", "-o", "file"}, 1, "'file' is not a folder and cannot be created: choose another with -o");
  EXPECT_EQ(pack_.run({"extract", "p.bin", "-o", "work", "--overwrite"}).exit_status, 0);
  EXPECT_EQ(readFile(pack_.file("work/net.xml")), "network");
  EXPECT_EQ(readFile(pack_.file("work/first")), "1");
}

} // namespace
} // namespace vorin::tests
