// onnx_to_ir.h: ONNX networks become OpenVINO IR. Alone in its file because it is the one use of the runtime's ONNX reader and IR
// writer, which its C interface lacks: where the programs are built on that one (compat/), onnx_to_ir_refused.cpp takes its
// place.
#pragma once

#include <filesystem>

namespace vorin::pack {

// Writes `network` (.xml) and the weights beside it (.bin), in single precision unless half is asked for. Errors of the runtime
// leave it as exceptions, and a Failure says that there is no way here.
void convertOnnxToIr(const std::filesystem::path& onnx, const std::filesystem::path& network, bool half_precision);

} // namespace vorin::pack
