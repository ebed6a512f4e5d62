// vorin-pack build on ONNX networks. Not in a build on the runtime's C interface, which cannot write what it has read.
#include "support/pack_run.h"

#include <gmock/gmock.h>
#include <openvino/runtime/core.hpp>

namespace vorin::tests {
namespace {

using testing::HasSubstr;

class PackOnnx : public PackTest {};

// Of version 8, operators of version 13: input "frame" [1, 3, h, w] times three weights, output "picture".
const std::string kOnnx = readFile(VORIN_TEST_ONNX);

// The weights 0.1, 0.2 and 0.3, of which half precision knows none.
const std::string kWeights = "\xCD\xCC\xCC\x3D\xCD\xCC\x4C\x3E\x9A\x99\x99\x3E";

TEST_F(PackOnnx, ConvertsOnnxToIrWithItsWeightsAsTheyAre) {
  writeFile(pack_.file("net.onnx"), kOnnx);
  build({"net.onnx", "--name", "again.xml=net.onnx"}, "vorin-pack: wrote 'model_st.bin' with 4 entries\n");
  const std::vector<NamedContent> packed = entries();
  ASSERT_EQ(packed.size(), 4U);
  EXPECT_EQ(packed[0].name, "net.xml");
  EXPECT_EQ(packed[1].name, "net.bin");
  EXPECT_EQ(packed[2], (NamedContent{"again.xml", packed[0].content}));
  EXPECT_EQ(packed[3], (NamedContent{"again.bin", packed[1].content}));
  EXPECT_THAT(packed[1].content, HasSubstr(kWeights));

  writeFile(pack_.file("net.xml"), packed[0].content);
  writeFile(pack_.file("net.bin"), packed[1].content);
  const auto network = ov::Core().read_model(pack_.file("net.xml"));
  EXPECT_EQ(network->input("frame").get_partial_shape(), (ov::PartialShape{1, 3, -1, -1}));
  EXPECT_EQ(network->output("picture").get_element_type(), ov::element::f32);

  fs::remove(pack_.file("model_st.bin"));
  build({"--fp16", "net.onnx"}, "vorin-pack: wrote 'model_st.bin' with 2 entries\n");
  EXPECT_THAT(entries()[1].content, testing::Not(HasSubstr(kWeights)));
}

TEST_F(PackOnnx, RefusesWhatIsNoNetwork) {
  writeFile(pack_.file("text.onnx"), "hello");
  writeFile(pack_.file("cut.onnx"), kOnnx.substr(0, 60));
  writeFile(pack_.file("empty.onnx"), "");
  for (const std::string file : {"text.onnx", "cut.onnx", "empty.onnx"}) {
    const std::string line = "'" + file + "' is not an ONNX network that the runtime can convert (";
    expectRefusal({"build", "model_st.bin", file}, 1, line);
    expectRefusal({"build", "model_st.bin", "--as", "cartoon", file}, 1, line);
  }
}

} // namespace
} // namespace vorin::tests
