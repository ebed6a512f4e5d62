// vorin-pack on Windows: its limits there, and reserved names.
#include "support/pack_run.h"

namespace vorin::tests {
namespace {

class PackOnWindows : public PackTest {};

TEST_F(PackOnWindows, SaysThatItDoesNotConvertOnnx) {
  fs::copy_file(VORIN_TEST_ONNX, pack_.file("net.onnx"));
  expectRefusal({"build", "model_st.bin", "net.onnx"}, 1,
                "'net.onnx' is ONNX, which this build of vorin-pack cannot turn into OpenVINO IR: convert it with ovc");
}

TEST_F(PackOnWindows, ExtractsNoNamesThatAreNoFiles) {
  for (const std::string name :
       {"NUL", "nul.xml", "con .txt", "COM1", "lpt\xC2\xB9.bin", "what?", "a*b", "name.", "name ", "\xFF\xE4"}) {
    writeFile(pack_.file("p.bin"), packageBytes({{"net.xml", "network"}, {name, "out"}}));
    expectRefusal({"extract", "p.bin", "-o", "out"}, 1,
                  "the name of entry '" + name + "' is not a valid file name on this system, so nothing is extracted");
  }
  // Names that only resemble reserved ones.
  writeFile(pack_.file("p.bin"), packageBytes({{"NULL", "1"}, {"COM10", "2"}, {"lpt.bin", "3"}, {" con", "4"}, {"a.nul", "5"}}));
  EXPECT_EQ(pack_.run({"extract", "p.bin", "-o", "out"}).exit_status, 0);
  EXPECT_EQ(readFile(pack_.file("out/COM10")), "2");
}

TEST_F(PackOnWindows, RefusesDevicesAsTargets) {
  expectRefusal({"build", "NUL", "net.xml", "--overwrite"}, 1, "'NUL' ");
}

} // namespace
} // namespace vorin::tests
