#include "packing.h"
#include "text.h"
#include "vorin_error.hpp"

namespace vorin::pack {

void convertOnnxToIr(const std::filesystem::path& onnx, const std::filesystem::path& /*network*/, bool /*half_precision*/) {
  throw Error(ErrorKind::kModel,
              base::quotedPath(onnx) +
                  " is ONNX, which this build of vorin-pack cannot turn into OpenVINO IR: convert it with ovc, the "
                  "converter of OpenVINO's Python package, or with vorin-pack on Linux, and pack the IR");
}

std::vector<std::string> findSaturatingLayers(const ov::Model& /*network*/) {
  return {};
}

} // namespace vorin::pack
