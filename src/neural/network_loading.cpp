// Loads one network: unpacks it from the model package, reads it, adds the library's conversions around it, and compiles it.
#include "core/log.h"
#include "core/writable_folder.h"
#include "modelpack/model_package_format.h"
#include "neural/neural_engine.h"
#include "neural/style_catalogue.h"
#include "platform/platform.h"

#include <openvino/core/preprocess/pre_post_process.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <limits>
#include <stdexcept>

namespace vorin::neural {
namespace {

constexpr std::int32_t kMaxNetworkWidth = 1920;
constexpr std::int32_t kMaxNetworkHeight = 1080;
constexpr int kCompileAttempts = 5;

std::int64_t monotonicNanoseconds() {
  constexpr std::int64_t kNanoseconds = 1'000'000'000;
  const std::int64_t frequency = platform::performanceFrequency();
  const std::int64_t count = platform::performanceCounter();
  return count / frequency * kNanoseconds + count % frequency * kNanoseconds / frequency;
}

// Compiled networks are cached for GPUs of these names only.
bool hasModelCache(const std::string& device_name) {
  return device_name == "GPU.0" || device_name == "GPU.1" || device_name == "GPU";
}

std::string capabilityText(ov::Core& core, const std::string& device_name) {
  const ov::Any capabilities = core.get_property(device_name, "OPTIMIZATION_CAPABILITIES");
  std::string text;
  for (const std::string& capability : capabilities.as<std::vector<std::string>>()) { // a reference into the ov::Any
    text += ' ' + capability;
  }
  return text;
}

// The library's frames: 8-bit blue-green-red, interleaved. The colour conversion is requested deliberately, although one from BGR
// to BGR adds nothing to the network.
ov::preprocess::PreProcessSteps& takeFrames(ov::preprocess::InputInfo& input) {
  input.tensor()
      .set_element_type(ov::element::u8)
      .set_layout("NHWC")
      .set_color_format(ov::preprocess::ColorFormat::BGR, std::vector<std::string>{});
  input.model().set_layout("NCHW");
  return input.preprocess().convert_color(ov::preprocess::ColorFormat::BGR);
}

} // namespace

_VorinStatus NeuralEngine::load(const std::string& device_name, std::int32_t style_type, std::int32_t style_index,
                                std::int32_t width, std::int32_t height, const std::string& package_folder) try {
  if (initialised_) {
    return VORIN_STATUS_OK;
  }
  style_type_ = style_type;
  style_index_ = style_index;
  requested_width_ = width;
  requested_height_ = height;

  ov::Core core;
  if (!platform::isWritable(platform::toWide(package_folder))) {
    sttLogError("sdk path not exist");
    return VORIN_STATUS_PATH_NOT_FOUND;
  }
  const std::optional<std::size_t> row = findCatalogueRow(style_type, style_index);
  if (!row) {
    sttLogError("unsupported style");
    return VORIN_STATUS_UNKNOWN_TYPE;
  }
  if (hasModelCache(device_name)) {
    const std::string cache_folder = getWritableFolder() + platform::kPathSeparator + "cache";
    if (platform::isOwnFolder(cache_folder)) { // else the networks in it may be anybody's
      core.set_property(device_name, ov::AnyMap{{"CACHE_DIR", platform::toUtf8(cache_folder)}});
    }
  }
  const std::string capabilities = capabilityText(core, device_name);
  logTexts(sttLogInfo, "Device info: %s, support: %s", {device_name, capabilities});

  std::string network_path;
  _VorinStatus status =
      unpackNetwork(adaptNameToDevice(kCatalogue[*row].network_name, capabilities), package_folder, network_path);
  if (status == VORIN_STATUS_OK) {
    status = loadUnpacked(core, device_name, network_path);
  }
  if (status != VORIN_STATUS_OK) {
    return status;
  }
  modelpack::DeleteUnpackedFiles(unpackedFiles_);
  initialised_ = true;
  return VORIN_STATUS_OK;
} catch (const std::exception& error) {
  logTexts(sttLogError, "init error: %s", {error.what()});
  return VORIN_STATUS_FAILED;
} catch (...) {
  sttLogError("init error: unknown exception");
  return VORIN_STATUS_FAILED;
}

_VorinStatus NeuralEngine::unpackNetwork(const std::string& network_name, const std::string& package_folder,
                                         std::string& network_path) {
  const std::wstring package_path =
      platform::toWide(package_folder) + platform::toWide(std::string(1, platform::kPathSeparator) + modelpack::kPackageFileName);
  network_path = modelpack::UnpackModelFile(unpackedFiles_, package_path, network_name);
  if (network_path.empty()) {
    sttLogError("create model file error.");
    return kExtractionFailed;
  }
  const std::string weights = modelpack::UnpackModelFile(unpackedFiles_, package_path, modelpack::weightsEntry(network_name));
  // Missing weights are reported when the network is read. The runtime reads whatever file it finds for them, so one that another
  // package or somebody else left there must go.
  const std::string weights_beside = modelpack::weightsEntry(network_path);
  const bool only_own_weights = weights == weights_beside || std::remove(weights_beside.c_str()) == 0 || errno == ENOENT;
  if (!only_own_weights || !platform::exists(network_path)) {
    sttLogError("create model file error.");
    return kExtractionFailed;
  }
  return VORIN_STATUS_OK;
}

_VorinStatus NeuralEngine::loadUnpacked(ov::Core& core, const std::string& device_name, const std::string& network_path) {
  sttLogInfo("Init NN");
  const std::int64_t start_ns = monotonicNanoseconds();
  std::shared_ptr<ov::Model> model = core.read_model(platform::toUtf8(network_path));
  sttLogInfo("ReadNetwork finished");
  if (style_type_ != SttStyleTransfer && requested_width_ != 0 && requested_height_ != 0) {
    model->reshape(
        ov::PartialShape{1, 3, std::min(requested_height_, kMaxNetworkHeight), std::min(requested_width_, kMaxNetworkWidth)});
  }
  inputs_ = model->inputs();
  style_planes_.reset(); // they have the size that an earlier attempt had read
  if (inputs_.size() != 1 && inputs_.size() != 2) {
    sttLogInfo("only support 1 or 2 inputs");
    return VORIN_STATUS_INVALID_PARAM;
  }
  readInputs(*model);
  compile(core, addConversions(model), device_name);
  sttLogInfo("end Init");
  const std::int64_t elapsed_ms = (monotonicNanoseconds() - start_ns) / 1'000'000;
  sttLogInfo("loading model takes %f ms", static_cast<double>(elapsed_ms));
  return VORIN_STATUS_OK;
}

cv::Size NeuralEngine::pictureSize(const ov::Shape& input) {
  constexpr std::size_t kMaxPixels = std::numeric_limits<int>::max() / 3;
  if (input.size() != 4 || input[0] != 1 || input[1] != 3 || input[2] == 0 || input[3] == 0 || input[2] > kMaxPixels / input[3]) {
    throw std::runtime_error("the network's input is no picture of three planes");
  }
  return {static_cast<int>(input[3]), static_cast<int>(input[2])};
}

void NeuralEngine::readInputs(const ov::Model& model) {
  const ov::Output<const ov::Node> content = style_type_ == SttStyleTransfer ? model.input(kContentInputName) : model.input(0);
  const cv::Size size = pictureSize(content.get_shape());
  network_width_ = size.width;
  network_height_ = size.height;
  if (style_type_ != SttStyleTransfer) {
    return;
  }
  for (std::size_t index = 0; index < inputs_.size(); ++index) {
    const auto& names = inputs_[index].get_names();
    if (names.empty()) {
      continue;
    }
    if (*names.begin() == kStyleInputName) {
      style_input_index_ = index;
    }
    if (*names.begin() == kContentInputName) {
      content_input_index_ = index;
    }
  }
}

std::shared_ptr<ov::Model> NeuralEngine::addConversions(const std::shared_ptr<ov::Model>& model) const {
  ov::preprocess::PrePostProcessor processor(model);
  switch (style_type_) {
  case SttStyleTransfer:
    takeFrames(processor.input(kContentInputName))
        .convert_element_type(ov::element::f16)
        .mean({123.675F, 116.28F, 103.53F}) // red, green, blue, on blue, green, red channels
        .scale({58.395F, 57.12F, 57.375F});
    processor.input(kStyleInputName).model().set_layout("NCHW");
    break;
  case SttStyleLightGrey:
    takeFrames(processor.input()).convert_element_type(ov::element::f16).mean(127.5F).scale({127.5F, 127.5F, 127.5F});
    break;
  default:
    takeFrames(processor.input()).convert_element_type().mean(127.5F).scale({127.5F, 127.5F, 127.5F});
    break;
  }
  processor.output().tensor().set_element_type(ov::element::f32);
  return processor.build();
}

void NeuralEngine::compile(ov::Core& core, const std::shared_ptr<ov::Model>& model, const std::string& device_name) {
  for (int attempt = 0; attempt < kCompileAttempts; ++attempt) {
    try {
      request_ = core.compile_model(model, device_name, ov::AnyMap{}).create_infer_request();
      return;
    } catch (...) {
      // Deliberately on standard output and not in the log, a line for each attempt.
      std::cout << "exception: compile model" << std::endl;
    }
  }
}

} // namespace vorin::neural
