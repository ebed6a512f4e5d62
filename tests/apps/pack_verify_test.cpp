// vorin-pack verify prints a line for each fault that the library would fail on. Each network here has one fault.
#include "support/pack_run.h"

#include <gmock/gmock.h>

namespace vorin::tests {
namespace {

using namespace testing;

using Value = IrNetwork::Value;
using Integers = std::vector<std::int64_t>;

struct NetworkInput {
  std::vector<std::string> names;
  std::string shape; // "1,3,?,?", or "..." for any
  std::string type = "f32";
  std::string layout = {}; // as the network declares it, such as "[N,H,W,C]"
};

struct NetworkRecipe {
  std::vector<NetworkInput> inputs;
  Integers output_shape = {}; // as the network's own Reshape wants it; empty: the first input's
  std::size_t outputs = 1;
};

Value meanOf(IrNetwork& network, Value value) {
  const Value flat = network.operation("Reshape", {value, network.constant("1", Integers{-1})}, "special_zero=\"false\"");
  return network.operation("ReduceMean", {flat, network.constant("1", Integers{0})}, "keep_dims=\"false\"");
}

// Half of the first input, plus the mean of each further one.
IrNetwork networkOf(const NetworkRecipe& recipe) {
  IrNetwork network;
  std::vector<Value> inputs;
  for (const NetworkInput& input : recipe.inputs) {
    inputs.push_back(network.input(input.names, input.shape, input.type, input.layout));
  }
  const auto asFloat = [&](Value input) { return network.operation("Convert", {input}, "destination_type=\"f32\""); };
  const Value weight = network.constant("1", std::vector<float>{0.5F});
  Value value = network.operation("Multiply", {asFloat(inputs.front()), weight});
  for (std::size_t further = 1; further < inputs.size(); ++further) {
    value = network.operation("Add", {value, meanOf(network, asFloat(inputs[further]))});
  }
  if (!recipe.output_shape.empty()) {
    const Value shape = network.constant(std::to_string(recipe.output_shape.size()), recipe.output_shape);
    value = network.operation("Reshape", {value, shape}, "special_zero=\"false\"");
  }
  for (std::size_t output = 0; output < recipe.outputs; ++output) {
    network.output(network.operation("ReLU", {value}));
  }
  return network;
}

class PackVerify : public testing::Test {
protected:
  // Expects this one finding, which may leave out what follows `text`.
  void expectFinding(const std::vector<std::string>& arguments, const std::string& text) const {
    const ChildResult result = pack_.run(arguments);
    EXPECT_EQ(result.exit_status, 1) << text;
    EXPECT_THAT(linesOf(result.standard_output), ElementsAre(StartsWith(text)));
    EXPECT_EQ(result.standard_error, "") << text;
    EXPECT_THAT(pack_.leftovers(), IsEmpty());
  }

  void expectSound(const std::vector<std::string>& arguments) const {
    const ChildResult result = pack_.run(arguments);
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.standard_output, "");
    EXPECT_EQ(result.standard_error, "vorin-pack: 'p.bin' holds all that the library needs\n");
    EXPECT_THAT(pack_.leftovers(), IsEmpty());
  }

  // A package with the network as the named one of the catalogue, the float and the 8-bit one alike.
  void pack(const NetworkRecipe& recipe, const std::string& network) const {
    pack_.save("net", networkOf(recipe));
    ASSERT_EQ(pack_.run({"build", "p.bin", "--overwrite", "--as", network, "net.xml"}).exit_status, 0);
  }

  PackRun pack_;
};

TEST_F(PackVerify, FindsNothingInACompletePackage) {
  pack_.save("fixed", makeNetwork(FixedNetwork{}));
  pack_.save("transfer", makeNetwork(TransferNetwork{}));
  std::vector<std::string> arguments = {"build", "p.bin"};
  for (const std::string network : {"transfer-512", "transfer-256", "transfer-540p", "lightgrey", "cartoon"}) {
    arguments.insert(arguments.end(), {"--as", network, network.starts_with("transfer") ? "transfer.xml" : "fixed.xml"});
  }
  ASSERT_EQ(pack_.run(arguments).exit_status, 0);
  expectSound({"verify", "p.bin"});
}

TEST_F(PackVerify, NamesEveryMissingEntry) {
  writeFile(pack_.file("p.bin"), packageBytes({{"other", ""}}));
  const ChildResult result = pack_.run({"verify", "p.bin"});
  EXPECT_EQ(result.exit_status, 1);
  const std::string k512 = "ensemble_out_r31_512_retrained_autoencoder";
  const std::string k256 = "ensemble_out_r31_256_retrained_autoencoder";
  std::string expected;
  const auto expectMissing = [&](const std::string& network, const std::string& entry, const std::string& twin = "") {
    for (const char* const ending : {".xml", ".bin"}) {
      expected.append(network).append(": there is no entry '").append(entry).append(ending);
      expected.append("': pack the network with --as ").append(network).append(" FILE").append(twin).append("\n");
    }
  };
  expectMissing("transfer-512", k512);
  expectMissing("transfer-512", k512 + "_int8", " --int8 FILE");
  expectMissing("transfer-256", k256);
  expectMissing("transfer-256", k256 + "_int8", " --int8 FILE");
  expectMissing("transfer-540p", "ensemble_out_r31_c540p_s512_retrained_autoencoder");
  expectMissing("lightgrey", "model_lightgrey_v19");
  expectMissing("lightgrey", "model_lightgrey_v19_int8", " --int8 FILE");
  expectMissing("cartoon", "cartoon_model_slim5");
  EXPECT_EQ(result.standard_output, expected);
}

TEST_F(PackVerify, ReportsEntriesThatAreNoNetworks) {
  pack_.save("net", makeNetwork(FixedNetwork{}));
  const std::string network = readFile(pack_.file("net.xml"));
  const std::string weights = readFile(pack_.file("net.bin"));
  const std::string subject = "cartoon: the network 'cartoon_model_slim5.xml' ";
  const auto expectFor = [&](const std::string& network_entry, const std::string& weights_entry, const std::string& finding) {
    writeFile(pack_.file("p.bin"),
              packageBytes({{"cartoon_model_slim5.xml", network_entry}, {"cartoon_model_slim5.bin", weights_entry}}));
    expectFinding({"verify", "p.bin", "cartoon"}, finding);
  };
  expectFor("hello", weights, subject + "is not in OpenVINO's IR format: pack it again with --as cartoon FILE");
  expectFor(network.substr(0, network.size() / 2), weights, subject + "cannot be read by the runtime (");
  expectFor(network, "", subject + "cannot be read by the runtime (");

  const std::string record = recordBytes("cartoon_model_slim5.bin", 10, 100000) + recordBytes("", 0, 0);
  const std::string first = recordBytes("cartoon_model_slim5.xml", static_cast<std::uint32_t>(network.size()), 0);
  writeFile(pack_.file("p.bin"), first + record + network);
  expectFinding({"verify", "p.bin", "cartoon"}, "entry 'cartoon_model_slim5.bin' runs ");
}

struct WrongNetwork {
  const char* what;
  NetworkRecipe recipe;
  const char* finding;
};

NetworkRecipe withOutput(NetworkRecipe recipe, const std::vector<std::int64_t>& shape) {
  recipe.output_shape = shape;
  return recipe;
}

NetworkRecipe with(const std::vector<NetworkInput>& inputs) {
  return {.inputs = inputs};
}

const NetworkInput kFrame = {{"frame"}, "1,3,?,?"};
const NetworkInput kContent = {{"input_content"}, "1,3,24,40"};
const NetworkInput kStyle = {{"input_style"}, "1,3,16,16"};

// Networks of a fixed style and of style transfer.
std::vector<WrongNetwork> wrongFixedStyles() {
  return {
      {"two inputs", with({kContent, kStyle}),
       "takes 2 inputs (input_content, input_style) where one is needed, the frame: make "},
      {"three dimensions", with({{{"x"}, "3,?,?"}}),
       "takes an input that has the shape [3,?,?] where [1,3,height,width] is needed: export it with these four"},
      {"any rank", with({{{"x"}, "..."}}), "takes an input that has the shape [...] where "},
      {"planes last, fixed", with({{{"x"}, "1,480,640,3"}}),
       "takes an input that has the shape [1,480,640,3] where [1,3,height,width] is needed: put a transpose there"},
      {"one plane", with({{{"x"}, "1,1,?,?"}}),
       "takes an input that has the shape [1,1,?,?] where [1,3,height,width] is needed: export it for pictures of three planes"},
      {"four pictures", with({{{"x"}, "4,3,?,?"}}),
       "takes an input that has the shape [4,3,?,?] where [1,3,height,width] is needed: export it for one picture at a time"},
      {"bytes", with({{{"x"}, "1,3,?,?", "u8"}}), "takes an input of the type u8, and the library"},
      {"declared layout", with({{{"x"}, "1,3,?,?", "f32", "[N,H,W,C]"}}),
       "takes an input that declares the layout [N,H,W,C], and the library takes it as NCHW"},
      {"two outputs", {.inputs = {kFrame}, .outputs = 2}, "gives 2 outputs where one is needed: keep the picture only"},
      {"output of one plane", withOutput(with({kFrame}), {1, 1, 1, -1}),
       "gives an output for frames of 1920x1080 that has the shape [1,1,1,6220800] where [1,3,height,width] is needed"},
      {"one size only", withOutput(with({kFrame}), {1, 3, 1080, 1920}), "cannot be given the size 960x540 ("},
      {"even sizes only", withOutput(with({kFrame}), {1, 3, 2, -1}), "cannot be given the size 641x481 ("},
  };
}

std::vector<WrongNetwork> wrongTransfers() {
  return {
      {"three inputs", with({kContent, kStyle, {{"strength"}, "1"}}),
       "takes 3 inputs where two are needed, 'input_content' and 'input_style': export it with these"},
      {"other name", with({kContent, {{"style"}, "1,3,16,16"}}),
       "has no input named 'input_style' (its inputs: input_content, style): rename that input"},
      {"two names", with({{{"input_content", "x"}, "1,3,24,40"}, kStyle}),
       "takes an input 'input_content' that has other names too (input_content, x): keep only this name"},
      {"no size", with({{{"input_content"}, "1,3,?,?"}, kStyle}),
       "takes an input 'input_content' that has no fixed size ([1,3,?,?]), which this style needs: export it with one"},
      {"style in half precision", with({kContent, {{"input_style"}, "1,3,16,16", "f16"}}),
       "takes an input 'input_style' that has elements of the type f16, and the library passes f32: export it in f32"},
      {"content in bytes", with({{{"input_content"}, "1,3,24,40", "u8"}, kStyle}),
       "takes an input 'input_content' that has elements of the type u8, and the library passes floating-point values"},
      {"style with planes last", with({kContent, {{"input_style"}, "1,16,16,3"}}),
       "takes an input 'input_style' that has the shape [1,16,16,3] where [1,3,height,width] is needed: put a transpose"},
      {"output of other planes", withOutput(with({kContent, kStyle}), {1, 1, 72, 40}),
       "gives an output that has the shape [1,1,72,40] where [1,3,height,width] is needed"},
  };
}

TEST_F(PackVerify, SaysWhatIsWrongWithANetwork) {
  for (const WrongNetwork& wrong : wrongFixedStyles()) {
    SCOPED_TRACE(wrong.what);
    pack(wrong.recipe, "cartoon");
    expectFinding({"verify", "p.bin", "cartoon"}, std::string("cartoon: the network 'cartoon_model_slim5.xml' ") + wrong.finding);
  }
  for (const WrongNetwork& wrong : wrongTransfers()) {
    SCOPED_TRACE(wrong.what);
    pack(wrong.recipe, "transfer-540p");
    expectFinding({"verify", "p.bin", "transfer-540p"},
                  std::string("transfer-540p: the network 'ensemble_out_r31_c540p_s512_retrained_autoencoder.xml' ") +
                      wrong.finding);
  }
}

TEST_F(PackVerify, AcceptsWhatTheLibraryCanUse) {
  for (const NetworkRecipe& recipe :
       {with({{{"a", "b"}, "1,3,?,?"}}), with({{{"x"}, "?,3,64,64"}}), with({{{"x"}, "1,3,?,?", "f16"}}),
        with({{{"x"}, "?,?,?,?"}}), with({{{"x"}, "1,3,?,?", "f32", "[N,C,H,W]"}}), with({{{}, "1,3,?,?"}})}) {
    pack(recipe, "cartoon");
    expectSound({"verify", "p.bin", "cartoon"});
  }
  pack(with({{{"input_content"}, "1,3,24,40", "f16"}, kStyle}), "transfer-540p");
  expectSound({"verify", "p.bin", "transfer-540p"});
  pack(with({kStyle, kContent}), "transfer-540p"); // in either order
  expectSound({"verify", "p.bin", "transfer-540p"});
}

} // namespace
} // namespace vorin::tests
