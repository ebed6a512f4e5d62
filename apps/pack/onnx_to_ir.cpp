#include "onnx_to_ir.h"

#include "utf8_path.h"

#include <openvino/core/graph_util.hpp>
#include <openvino/frontend/manager.hpp>

namespace vorin::pack {

// The ONNX reader by name: asked for any reader that will do, the runtime tries them all on a broken file, and some of them
// print.
void convertOnnxToIr(const std::filesystem::path& onnx, const std::filesystem::path& network, bool half_precision) {
  ov::frontend::FrontEndManager readers;
  const ov::frontend::FrontEnd::Ptr reader = readers.load_by_framework("onnx");
  ov::save_model(reader->convert(reader->load(base::utf8Text(onnx))), base::utf8Text(network), half_precision);
}

} // namespace vorin::pack
