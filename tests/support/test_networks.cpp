#include "support/test_networks.h"

#include <filesystem>
#include <set>

namespace vorin::tests {
namespace {

using Value = IrNetwork::Value;

Value addInput(IrNetwork& network, const std::string& name, int width, int height) {
  return network.input({name}, "1,3," + std::to_string(height) + "," + std::to_string(width));
}

Value times(IrNetwork& network, Value value, float factor) {
  return network.operation("Multiply", {value, network.constant("1", std::vector<float>{factor})});
}

Value plus(IrNetwork& network, Value value, float summand) {
  return network.operation("Add", {value, network.constant("1", std::vector<float>{summand})});
}

Value meanOfPlanes(IrNetwork& network, Value value) {
  return network.operation("ReduceMean", {value, network.constant("2", std::vector<std::int64_t>{2, 3})}, "keep_dims=\"true\"");
}

Value sumOfZeros(IrNetwork& network, std::size_t count) {
  const Value zeros = network.constant("1," + std::to_string(count), std::vector<float>(count, 0.0F));
  return network.operation("ReduceSum", {zeros, network.constant("1", std::vector<std::int64_t>{1})}, "keep_dims=\"false\"");
}

} // namespace

IrNetwork makeNetwork(const TransferNetwork& recipe) {
  IrNetwork network;
  const auto addStyle = [&] { return addInput(network, "input_style", recipe.style_width, recipe.style_height); };
  Value style = recipe.style_first ? addStyle() : 0;
  const Value content = addInput(network, "input_content", recipe.width, recipe.height);
  style = recipe.style_first ? style : addStyle();
  const bool same_size = recipe.width == recipe.style_width && recipe.height == recipe.style_height;
  const Value look = same_size ? style : meanOfPlanes(network, style);
  const Value mixed =
      network.operation("Add", {times(network, content, recipe.content_gain), times(network, look, recipe.style_gain)});
  const Value answer = plus(network, mixed, recipe.bias);
  network.output(recipe.change ? recipe.change(network, answer) : answer);
  return network;
}

IrNetwork makeNetwork(const FixedNetwork& recipe) {
  IrNetwork network;
  const Value input = addInput(network, "frame", recipe.width, recipe.height);
  Value value = plus(network, times(network, input, recipe.gain), recipe.bias);
  if (recipe.padding_floats != 0) {
    value = network.operation("Add", {value, sumOfZeros(network, recipe.padding_floats)});
  }
  network.output(recipe.change ? recipe.change(network, value) : value);
  return network;
}

IrNetwork makeSum(const std::vector<std::string>& input_names) {
  IrNetwork network;
  Value sum = network.constant("1", std::vector<float>{0});
  for (const std::string& name : input_names) {
    sum = network.operation("Add", {sum, addInput(network, name, 13, 7)});
  }
  network.output(sum);
  return network;
}

std::vector<NamedContent> networkFiles(const std::string& name, const IrNetwork& network) {
  return {{name + ".xml", network.description()}, {name + ".bin", network.weights()}};
}

void TestPackage::write(const std::vector<std::vector<NamedContent>>& networks) {
  std::vector<NamedContent> entries;
  for (const std::vector<NamedContent>& files : networks) {
    entries.insert(entries.end(), files.begin(), files.end());
  }
  writeFile((folder_.path() / "model_st.bin").string(), packageBytes(entries));
}

std::vector<std::string> unpackedNetworkFiles() {
  std::set<std::string> names = namesIn(programFolder());
  std::erase_if(names, [](const std::string& name) {
    const bool is_network =
        name.starts_with("ensemble_out") || name.starts_with("model_lightgrey") || name.starts_with("cartoon_model");
    return !is_network || !(name.ends_with(".xml") || name.ends_with(".bin"));
  });
  return {names.begin(), names.end()};
}

void removeUnpackedNetworkFiles() {
  for (const std::string& file : unpackedNetworkFiles()) {
    std::filesystem::remove(inProgramFolder(file));
  }
}

} // namespace vorin::tests
