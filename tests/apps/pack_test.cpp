// vorin-pack build, run as a user does: the entries and bytes that it writes, and its refusals, with one line and nothing
// half-written. Packages are read by the tests' own reader, and by the library's.
#include "modelpack/model_package_reader.h"
#include "support/pack_run.h"

#include <gmock/gmock.h>

#include <csignal>

namespace vorin::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PackBuild : public PackTest {};

TEST_F(PackBuild, PacksNetworksUnderTheirOwnAndOtherNames) {
  pack_.save("two", makeNetwork(TransferNetwork{}));
  writeFile(pack_.file("notes.txt"), randomBytes(100000, 5));
  writeFile(pack_.file("empty"), "");
  const std::string longest(1023, 'n');
  build({"net.xml", "--name", "renamed.v2.xml=two.xml", "--name", "notes=notes.txt", "--name", "empty=empty", "--name",
         longest + "=notes.txt"},
        "vorin-pack: wrote 'model_st.bin' with 7 entries\n");
  EXPECT_THAT(entries(), ElementsAre(entry("net.xml", "net.xml"), entry("net.bin", "net.bin"), entry("renamed.v2.xml", "two.xml"),
                                     entry("renamed.v2.bin", "two.bin"), entry("notes", "notes.txt"), entry("empty", "empty"),
                                     entry(longest, "notes.txt")));
  for (const NamedContent& packed : entries()) {
    ASSERT_EQ(modelpack::ModelPackageReader(fs::path(pack_.file("model_st.bin")).wstring(), packed.name, pack_.file("unpacked")),
              modelpack::PackageStatus::kWritten);
    EXPECT_EQ(readFile(pack_.file("unpacked")), packed.content) << packed.name;
  }
}

TEST_F(PackBuild, GivesTheFloatNetworkToAllDevicesWithoutATwinAndSaysSo) {
  build({"--as", "lightgrey", "net.xml"},
        "vorin-pack: lightgrey: no --int8 given, so devices that work with 8-bit integers get 'net.xml' too\n"
        "vorin-pack: wrote 'model_st.bin' with 4 entries\n");
  EXPECT_THAT(entries(),
              ElementsAre(entry("model_lightgrey_v19.xml", "net.xml"), entry("model_lightgrey_v19.bin", "net.bin"),
                          entry("model_lightgrey_v19_int8.xml", "net.xml"), entry("model_lightgrey_v19_int8.bin", "net.bin")));
  // The two share their bytes.
  EXPECT_LT(readFile(pack_.file("model_st.bin")).size(),
            readFile(pack_.file("net.xml")).size() + readFile(pack_.file("net.bin")).size() + 256);

  pack_.save("twin", makeNetwork(FixedNetwork{.gain = 0.25F}));
  build({"--overwrite", "--as", "lightgrey", "net.xml", "--int8=twin.xml"}, "vorin-pack: wrote 'model_st.bin' with 4 entries\n");
  EXPECT_THAT(entries(),
              ElementsAre(entry("model_lightgrey_v19.xml", "net.xml"), entry("model_lightgrey_v19.bin", "net.bin"),
                          entry("model_lightgrey_v19_int8.xml", "twin.xml"), entry("model_lightgrey_v19_int8.bin", "twin.bin")));
}

TEST_F(PackBuild, RefusesWhatIsNoNetwork) {
  fs::create_directory(pack_.file("folder.xml"));
  writeFile(pack_.file("alone.xml"), readFile(pack_.file("net.xml")));
  writeFile(pack_.file("text.xml"), "hello");
  writeFile(pack_.file("text.bin"), "hello");
  writeFile(pack_.file("cut.xml"), readFile(pack_.file("net.xml")).substr(0, 300));
  writeFile(pack_.file("cut.bin"), readFile(pack_.file("net.bin")));
  for (const auto& [file, line] : {std::pair("none.xml", "'none.xml' does not exist"),
                                   {"none.onnx", "'none.onnx' does not exist"},
                                   {"folder.xml", "'folder.xml' is not a file"},
                                   {"net.bin", "'net.bin' is not a network"},
                                   {"alone.xml", "'alone.xml' has no weights: put 'alone.bin' beside it"},
                                   {"text.xml", "'text.xml' is not a network in OpenVINO's IR"},
                                   {"cut.xml", "'cut.xml' is not a network that the runtime can read ("}}) {
    expectRefusal({"build", "model_st.bin", "net.xml", file}, 1, line);
    expectRefusal({"build", "model_st.bin", "--as", "cartoon", file}, 1, line);
  }
  expectRefusal({"build", "model_st.bin", "--as", "lightgrey", "net.xml", "--int8", "none.xml"}, 1, "'none.xml' does not exist");
  expectRefusal({"build", "model_st.bin", "--name", "notes=none.txt"}, 1, "'none.txt' does not exist");
}

TEST_F(PackBuild, RefusesEntryNamesThatThePackageCannotHold) {
  fs::create_directory(pack_.file("other"));
  pack_.save("other/net", makeNetwork(FixedNetwork{}));
  writeFile(pack_.file("data"), "data");
  expectRefusal({"build", "model_st.bin", "--name", "../out=data"}, 1, "'../out' holds a path separator");
  expectRefusal({"build", "model_st.bin", "--name", std::string(1020, 'n') + ".xml=net.xml"}, 1, "has 1024 bytes");
  expectRefusal({"build", "model_st.bin", "--name", "net.txt=net.xml"}, 1, "'net.txt' names a network but does not end in .xml");
  expectRefusal({"build", "model_st.bin", "--name", "model.xml=data"}, 1, "'model.xml' is a network's, but 'data' is not");
  expectRefusal({"build", "model_st.bin", "net.xml", "other/net.xml"}, 1, "two files would become the entry 'net.xml'");
  expectRefusal({"build", "model_st.bin", "net.xml", "--name", "net.bin=data"}, 1, "two files would become the entry 'net.bin'");
  expectRefusal({"build", "model_st.bin", "--as", "cartoon", "net.xml", "--as", "cartoon", "other/net.xml"}, 1,
                "two files would become");
}

TEST_F(PackBuild, RefusesMoreBytesThanTheFormatHolds) {
  // Sparse files, which need no space: they are refused before they are read.
  for (const char* const name : {"one", "two", "three"}) {
    writeFile(pack_.file(name), "");
    fs::resize_file(pack_.file(name), 0x40000000);
  }
  writeFile(pack_.file("large"), "");
  fs::resize_file(pack_.file("large"), 0x40000001);
  const auto expectLine = [&](const std::vector<std::string>& arguments, const std::string& line) {
    const ChildResult result = pack_.run(arguments);
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.standard_error, "vorin-pack: " + line + "\n");
    EXPECT_FALSE(fs::exists(pack_.file("model_st.bin")));
    EXPECT_THAT(pack_.leftovers(), IsEmpty());
  };
  expectLine({"build", "model_st.bin", "--name", "large=large"},
             "'large' has 1073741825 bytes, and an entry holds at most 1073741824: make the network smaller");
  expectLine({"build", "model_st.bin", "--name", "1=one", "--name", "2=two", "--name", "3=three"},
             "'three' would begin beyond the first 2 GiB of the package, where the library does not reach: pack fewer or smaller "
             "networks");
}

TEST_F(PackBuild, RefusesTargetsThatItCannotOrMustNotWriteAndReplacesThemOnRequest) {
  writeFile(pack_.file("there.bin"), "a package that someone needs");
  fs::create_directory(pack_.file("folder"));
  expectRefusal({"build", "there.bin", "net.xml"}, 1, "'there.bin' exists: choose another name, or replace it with --overwrite");
  expectRefusal({"build", "folder", "net.xml", "--overwrite"}, 1, "'folder' is a folder");
  expectRefusal({"build", "none/model_st.bin", "net.xml"}, 1, "the folder 'none' does not exist");
  expectRefusal({"build", "there.bin/model_st.bin", "net.xml"}, 1, "'there.bin' is not a folder");
  expectRefusal({"build", "there.bin/none/model_st.bin", "net.xml"}, 1, "'there.bin' is not a folder");
  expectRefusal({"build", "net.bin", "net.xml", "--overwrite"}, 1, "'net.bin' is both the package and a file to pack");
  writeFile(pack_.file("model_st.bin"), "old");
  build({"--overwrite", "net.xml"}, "vorin-pack: wrote 'model_st.bin' with 2 entries\n");
  EXPECT_THAT(entries(), ElementsAre(entry("net.xml", "net.xml"), entry("net.bin", "net.bin")));
}

TEST_F(PackBuild, RefusesLinesItDoesNotUnderstand) {
  using Words = std::vector<std::string>;
  for (const auto& [arguments, line] : std::vector<std::pair<Words, const char*>>{
           {{}, "no command given"},
           {{"build", "p.bin"}, "no network named"},
           {{"build", "p.bin", "--as", "pencil", "net.xml"},
            "pencil not in {transfer-512,transfer-256,transfer-540p,lightgrey,cartoon}"},
           {{"build", "p.bin", "--int8", "net.xml", "--as", "lightgrey", "net.xml"}, "--int8 net.xml belongs to no network"},
           {{"build", "p.bin", "--as", "lightgrey", "net.xml", "--int8", "net.xml", "--int8", "a.xml"}, "--int8 a.xml belongs"},
           {{"build", "p.bin", "--as", "cartoon", "net.xml", "--int8", "net.xml"}, "does not load a quantised twin of cartoon"},
           {{"build", "p.bin", "--name", "net.xml"}, "--name 'net.xml' is not of the form ENTRY=FILE"},
           {{"build", "p.bin", "--name", "=net.xml"}, "is not of the form"},
           {{"verify", "p.bin", "pencil"}, "pencil not in {"}}) {
    expectRefusal(arguments, 2, line);
  }
}

TEST_F(PackBuild, TakesNamesOfAnyLetters) {
  fs::rename(pack_.file("net.xml"), pack_.folder() / u8"Möwe 雪.xml");
  fs::rename(pack_.file("net.bin"), pack_.folder() / u8"Möwe 雪.bin");
  build({"Möwe 雪.xml"}, "vorin-pack: wrote 'model_st.bin' with 2 entries\n");
  ASSERT_EQ(entries().size(), 2U);
  EXPECT_EQ(entries().front().name, "Möwe 雪.xml");
  expectRefusal({"build", "雪.bin", "нет.xml"}, 1, "'нет.xml' does not exist");
}

TEST_F(PackBuild, LeavesNothingWhenItIsCancelled) {
  expectCancelledBy(SIGINT);
}

} // namespace
} // namespace vorin::tests
