#include "entry_name.h"
#include "failure.h"
#include "onnx_to_ir.h"

namespace vorin::pack {

void convertOnnxToIr(const std::filesystem::path& onnx, const std::filesystem::path& /*network*/, bool /*half_precision*/) {
  throw Failure(quotedPath(onnx) +
                " is ONNX, which this build of vorin-pack cannot turn into OpenVINO IR: convert it with ovc, the "
                "converter of OpenVINO's Python package, or with vorin-pack on Linux, and pack the IR");
}

} // namespace vorin::pack
