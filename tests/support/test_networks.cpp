#include "support/test_networks.h"

#include <openvino/opsets/opset8.hpp>
#include <openvino/pass/serialize.hpp>

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace vorin::tests {
namespace {

namespace op = ov::opset8;

using Value = ov::Output<ov::Node>;

std::shared_ptr<op::Parameter> makeInput(const std::string& name, int width, int height) {
  auto input = std::make_shared<op::Parameter>(ov::element::f32, ov::PartialShape{1, 3, height, width});
  input->output(0).set_names({name});
  input->set_friendly_name(name);
  return input;
}

Value scalar(float value) {
  return op::Constant::create(ov::element::f32, {1}, {value});
}

Value times(const Value& value, float factor) {
  return std::make_shared<op::Multiply>(value, scalar(factor));
}

Value plus(const Value& left, const Value& right) {
  return std::make_shared<op::Add>(left, right);
}

Value meanOfPlanes(const Value& value) {
  const auto axes = op::Constant::create(ov::element::i64, {2}, {2, 3});
  return std::make_shared<op::ReduceMean>(value, axes, true);
}

Value sumOfZeros(std::size_t count) {
  const auto zeros = op::Constant::create(ov::element::f32, {1, count}, std::vector<float>(count, 0.0F));
  return std::make_shared<op::ReduceSum>(zeros, op::Constant::create(ov::element::i64, {1}, {1}), false);
}

Value withChannels(const Value& value, int channels) {
  std::vector<std::int64_t> planes(static_cast<std::size_t>(channels));
  for (std::size_t plane = 0; plane < planes.size(); ++plane) {
    planes[plane] = static_cast<std::int64_t>(plane % 3);
  }
  const auto indices = op::Constant::create(ov::element::i64, {planes.size()}, planes);
  const auto axis = op::Constant::create(ov::element::i64, {}, {1});
  return channels == 3 ? value : std::make_shared<op::Gather>(value, indices, axis)->output(0);
}

std::shared_ptr<ov::Model> modelOf(const Value& output, const ov::ParameterVector& inputs) {
  return std::make_shared<ov::Model>(ov::ResultVector{std::make_shared<op::Result>(output)}, inputs);
}

} // namespace

std::shared_ptr<ov::Model> makeNetwork(const TransferNetwork& recipe) {
  const auto content = makeInput("input_content", recipe.width, recipe.height);
  const auto style = makeInput("input_style", recipe.style_width, recipe.style_height);
  const bool same_size = recipe.width == recipe.style_width && recipe.height == recipe.style_height;
  const Value look = same_size ? style->output(0) : meanOfPlanes(style);
  const Value mixed = plus(times(content, recipe.content_gain), times(look, recipe.style_gain));
  const Value output = withChannels(plus(mixed, scalar(recipe.bias)), recipe.channels);
  return modelOf(output, recipe.style_first ? ov::ParameterVector{style, content} : ov::ParameterVector{content, style});
}

std::shared_ptr<ov::Model> makeNetwork(const FixedNetwork& recipe) {
  const auto input = makeInput("frame", recipe.width, recipe.height);
  Value value = plus(times(input, recipe.gain), scalar(recipe.bias));
  if (recipe.padding_floats != 0) {
    value = plus(value, sumOfZeros(recipe.padding_floats));
  }
  return modelOf(withChannels(value, recipe.channels), {input});
}

std::shared_ptr<ov::Model> makeSum(const std::vector<std::string>& input_names) {
  ov::ParameterVector inputs;
  Value sum = scalar(0);
  for (const std::string& name : input_names) {
    inputs.push_back(makeInput(name, 13, 7));
    sum = plus(sum, inputs.back());
  }
  return modelOf(sum, inputs);
}

std::vector<NamedContent> networkFiles(const std::string& name, const std::shared_ptr<ov::Model>& network) {
  std::ostringstream description;
  std::ostringstream weights;
  ov::pass::Serialize(description, weights).run_on_model(network);
  return {{name + ".xml", description.str()}, {name + ".bin", weights.str()}};
}

void TestPackage::write(const std::vector<std::vector<NamedContent>>& networks) {
  std::vector<NamedContent> entries;
  for (const std::vector<NamedContent>& files : networks) {
    entries.insert(entries.end(), files.begin(), files.end());
  }
  writeFile((folder_.path() / "model_st.bin").string(), packageBytes(entries));
}

std::string programFolder() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
}

std::vector<std::string> unpackedNetworkFiles() {
  std::vector<std::string> found;
  for (const char* name : {kTransfer512, kTransfer540, kTransfer256, kLightGrey, kCartoon}) {
    for (const char* ending : {".xml", ".bin", "_int8.xml", "_int8.bin"}) {
      if (std::filesystem::exists(programFolder() + "/" + name + ending)) {
        found.push_back(std::string(name) + ending);
      }
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

void removeUnpackedNetworkFiles() {
  for (const std::string& file : unpackedNetworkFiles()) {
    std::filesystem::remove(programFolder() + "/" + file);
  }
}

} // namespace vorin::tests
