// The benchmarks' names: the rows of the ratio table refer to them.
#pragma once

namespace vorin::bench {

constexpr const char* kCopyKernel = "kernel/copy_image";
constexpr const char* kPencilSketchKernel = "kernel/pencil_sketch";
constexpr const char* kPlainPencilSketchKernel = "kernel/plain_pencil_sketch";
constexpr const char* kStipplingKernel = "kernel/stippling";
constexpr const char* kPlainStipplingKernel = "kernel/plain_stippling";

constexpr const char* kTables = "tables/library";
constexpr const char* kPlainTables = "tables/plain_loop";

constexpr const char* kFrameBeyondKernel = "frame/pencil_sketch_beyond_kernel";

constexpr const char* kNeuralToNv12 = "output/neural_nv12";
constexpr const char* kNeuralToYuy2 = "output/neural_yuy2";
constexpr const char* kFilterToNv12 = "output/filter_nv12";
constexpr const char* kFilterToYuy2 = "output/filter_yuy2";
constexpr const char* kColourBgrToI420 = "output/colour_only_bgr_i420";
constexpr const char* kColourBgraToI420 = "output/colour_only_bgra_i420";
constexpr const char* kColourRgbToYuv = "output/colour_only_rgb_yuv";

// Benchmarks that measure both sides themselves, by turns: the other sides are counters, in milliseconds, whose medians are found
// under the benchmark's name, a slash and the counter's name.
constexpr const char* kTransferFrame = "neural_frame/transfer";
constexpr const char* kLightGreyFrame = "neural_frame/light_grey";
constexpr const char* kCartoonFrame = "neural_frame/cartoon";
constexpr const char* kBareInferenceMs = "bare_inference_ms";
constexpr const char* kBeyondInferenceMs = "beyond_inference_ms";
constexpr const char* kLiteralSmoothingFrameMs = "literal_smoothing_frame_ms";
constexpr const char* kFrameCopyMs = "memcpy_ms";

constexpr const char* kTransferPrepare = "prepare/transfer_warm";
constexpr const char* kLightGreyPrepare = "prepare/light_grey_warm";
constexpr const char* kCartoonPrepare = "prepare/cartoon_warm";
constexpr const char* kColdCacheMs = "cold_ms";

} // namespace vorin::bench
