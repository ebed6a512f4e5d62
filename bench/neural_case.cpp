#include "neural_case.h"

#include "core/writable_folder.h"
#include "neural/style_catalogue.h"
#include "photo_like_picture.h"

#include <openvino/core/preprocess/pre_post_process.hpp>
#include <openvino/runtime/core.hpp>
#include <openvino/runtime/properties.hpp>

#include <algorithm>
#include <exception>
#include <filesystem>

namespace vorin::bench {
namespace {

constexpr const char* kDevice = "GPU";

std::string networkFile(ov::Core& core, const NeuralCase& neural_case) {
  std::string capabilities;
  for (const std::string& capability : core.get_property(kDevice, ov::device::capabilities)) {
    capabilities += ' ' + capability;
  }
  const std::size_t row = neural::findCatalogueRow(neural_case.style_type, neural_case.style_index).value();
  return modelFolder() + '/' + neural::adaptNameToDevice(neural::kCatalogue[row].network_name, capabilities);
}

ov::preprocess::PreProcessSteps& takePictures(ov::preprocess::InputInfo& input) {
  input.tensor().set_element_type(ov::element::u8).set_layout("NHWC").set_color_format(ov::preprocess::ColorFormat::BGR);
  input.model().set_layout("NCHW");
  return input.preprocess().convert_color(ov::preprocess::ColorFormat::BGR);
}

std::shared_ptr<ov::Model> withConversions(const std::shared_ptr<ov::Model>& model, std::int32_t style_type) {
  ov::preprocess::PrePostProcessor processor(model);
  if (style_type == SttStyleTransfer) {
    takePictures(processor.input(neural::kContentInputName))
        .convert_element_type(ov::element::f16)
        .mean({123.675F, 116.28F, 103.53F})
        .scale({58.395F, 57.12F, 57.375F});
    processor.input(neural::kStyleInputName).model().set_layout("NCHW");
  } else if (style_type == SttStyleLightGrey) {
    takePictures(processor.input()).convert_element_type(ov::element::f16).mean(127.5F).scale({127.5F, 127.5F, 127.5F});
  } else {
    takePictures(processor.input()).convert_element_type().mean(127.5F).scale({127.5F, 127.5F, 127.5F});
  }
  processor.output().tensor().set_element_type(ov::element::f32);
  return processor.build();
}

// An input in 8-bit pixels; the other one, of style type 0, is in floats.
std::vector<std::uint8_t> threeChannelPicture(const ov::Shape& shape) {
  const std::vector<std::uint8_t> bgra = photoLikePicture(static_cast<int>(shape.at(2)), static_cast<int>(shape.at(1)));
  std::vector<std::uint8_t> bgr;
  for (std::size_t index = 0; index < bgra.size(); index += 4) {
    bgr.insert(bgr.end(), bgra.begin() + static_cast<std::ptrdiff_t>(index),
               bgra.begin() + static_cast<std::ptrdiff_t>(index + 3));
  }
  return bgr;
}

} // namespace

StyleSettings settingsOf(const NeuralCase& neural_case) {
  StyleSettings settings;
  settings.style_type = neural_case.style_type;
  settings.style_index = neural_case.style_index;
  settings.width = neural_case.output_width;
  settings.height = neural_case.output_height;
  settings.model_folder = modelFolder();
  return settings;
}

std::string modelFolder() {
  return std::filesystem::exists(VORIN_DEMO_MODELS "/model_st.bin") ? VORIN_DEMO_MODELS : "";
}

void removeNetworkCache() {
  std::filesystem::remove_all(std::filesystem::path(getWritableFolder()) / "cache");
}

bool computesInBf16() {
  try {
    return ov::Core().get_property(kDevice, ov::hint::inference_precision) == ov::element::bf16;
  } catch (const std::exception&) { // there is no such device
    return false;
  }
}

BareNetwork::BareNetwork(const NeuralCase& neural_case) {
  ov::Core core;
  std::shared_ptr<ov::Model> model = core.read_model(networkFile(core, neural_case));
  if (neural_case.style_type != SttStyleTransfer) {
    model->reshape(ov::PartialShape{1, 3, neural_case.output_height, neural_case.output_width});
  }
  ov::CompiledModel compiled = core.compile_model(withConversions(model, neural_case.style_type), kDevice);
  request_ = compiled.create_infer_request();
  for (const ov::Output<const ov::Node>& input : compiled.inputs()) {
    const ov::Shape& shape = input.get_shape();
    if (input.get_element_type() == ov::element::u8) {
      content_ = threeChannelPicture(shape);
      request_.set_tensor(input, ov::Tensor(ov::element::u8, shape, content_.data()));
    } else {
      style_.assign(ov::shape_size(shape), 0.25F);
      request_.set_tensor(input, ov::Tensor(ov::element::f32, shape, style_.data()));
    }
  }
}

SttFrame bgraFrame(std::uint8_t* pixels, int width, int height) {
  SttFrame frame{};
  frame.memoryType = VORIN_MEM_SYSTEM;
  frame.data = pixels;
  frame.pixelFormat = VORIN_FMT_BGRA;
  frame.width = static_cast<std::uint32_t>(width);
  frame.height = static_cast<std::uint32_t>(height);
  frame.pitch = frame.width * 4;
  return frame;
}

} // namespace vorin::bench
