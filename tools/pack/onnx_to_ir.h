// onnx_to_ir.h: ONNX networks become OpenVINO IR. Alone in its file because it is the one use of the runtime's ONNX reader and IR
// writer, which not every build of the runtime has.
#pragma once

#include <filesystem>

namespace vorin::pack {

// Writes `network` (.xml) and the weights beside it (.bin), in single precision unless half is asked for. Errors of the runtime
// leave it as exceptions.
void convertOnnxToIr(const std::filesystem::path& onnx, const std::filesystem::path& network, bool half_precision);

} // namespace vorin::pack
