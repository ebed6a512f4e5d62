// Small networks whose answers can be computed by hand, and model packages that hold them.
#pragma once

#include "support/ir_network.h"
#include "support/package_bytes.h"
#include "support/test_environment.h"

#include <functional>
#include <string>
#include <vector>

namespace vorin::tests {

// The names of the entries that the library loads, and the mark of quantised twins.
inline constexpr const char* kTransfer512 = "ensemble_out_r31_512_retrained_autoencoder";
inline constexpr const char* kTransfer540 = "ensemble_out_r31_c540p_s512_retrained_autoencoder";
inline constexpr const char* kTransfer256 = "ensemble_out_r31_256_retrained_autoencoder";
inline constexpr const char* kLightGrey = "model_lightgrey_v19";
inline constexpr const char* kCartoon = "cartoon_model_slim5";
inline constexpr const char* kQuantised = "_int8";

// Operations at the end of a network, by which a package's author may spoil its output.
using OutputChange = std::function<IrNetwork::Value(IrNetwork&, IrNetwork::Value)>;

// Two inputs, "input_content" and "input_style", [1, 3, height, width] each. The output has the content's size:
//     content_gain x content + style_gain x style + bias
// where the style is taken value by value if it has the content's size, and else as the mean of each of its planes.
struct TransferNetwork {
  int width = 13;
  int height = 7;
  int style_width = 13;
  int style_height = 7;
  float content_gain = 1.0F;
  float style_gain = 1.0F;
  float bias = 0.0F;
  bool style_first = false; // the order of the inputs
  OutputChange change = {};
};
IrNetwork makeNetwork(const TransferNetwork& recipe);

// One input [1, 3, height, width] of any size; the output is gain x input + bias. Padding makes the weights longer.
struct FixedNetwork {
  int width = 13;
  int height = 7;
  float gain = 1.0F;
  float bias = 0.0F;
  std::size_t padding_floats = 0;
  OutputChange change = {};
};
IrNetwork makeNetwork(const FixedNetwork& recipe);

// Inputs of the given names, added up.
IrNetwork makeSum(const std::vector<std::string>& input_names);

// The two files of a network, NAME.xml and NAME.bin.
std::vector<NamedContent> networkFiles(const std::string& name, const IrNetwork& network);

template <typename Recipe> std::vector<NamedContent> networkFiles(const std::string& name, const Recipe& recipe) {
  return networkFiles(name, makeNetwork(recipe));
}

// A network's float and quantised files, both of float here; the second one's greater bias shows which of the two ran.
inline constexpr float kTwinBias = 0.25F;
template <typename Recipe>
std::vector<NamedContent> twinFiles(const std::string& name, Recipe recipe, float twin_bias = kTwinBias) {
  std::vector<NamedContent> files = networkFiles(name, recipe);
  recipe.bias += twin_bias;
  const std::vector<NamedContent> quantised = networkFiles(name + kQuantised, recipe);
  files.insert(files.end(), quantised.begin(), quantised.end());
  return files;
}

// Twins that are alike, for tests in which it does not matter which of them the device wants.
template <typename Recipe> std::vector<NamedContent> alikeTwins(const std::string& name, const Recipe& recipe) {
  return twinFiles(name, recipe, 0);
}

// A folder with a model package in it, removed at the end of the scope.
class TestPackage {
public:
  explicit TestPackage(const std::vector<std::vector<NamedContent>>& networks = {}) { write(networks); }

  void write(const std::vector<std::vector<NamedContent>>& networks);

  std::string folder() const { return folder_.path().string(); }

private:
  TemporaryFolder folder_;
};

// The files of the catalogue's networks that lie in the program's folder, where the library unpacks them, sorted.
std::vector<std::string> unpackedNetworkFiles();
void removeUnpackedNetworkFiles();

} // namespace vorin::tests
