#include "ratio_table.h"

#include "bench_names.h"

#include <array>
#include <iomanip>
#include <optional>
#include <sstream>

namespace vorin::bench {

namespace {

constexpr std::array kRows = {
    RatioRow{"pencil sketch : copying the image", kPencilSketchKernel, kCopyKernel, Bound::kAtMost, 4.0},
    RatioRow{"plain pencil sketch : pencil sketch", kPlainPencilSketchKernel, kPencilSketchKernel, Bound::kAtLeast, 8.0},
    RatioRow{"stippling : copying the image", kStipplingKernel, kCopyKernel, Bound::kAtMost, 4.0},
    RatioRow{"displacement tables, plain loop : ours", kPlainTables, kTables, Bound::kAtLeast, 5.0},
    RatioRow{
        "pencil frame beyond its kernel : memcpy", kFrameBeyondKernel, {kFrameBeyondKernel, kFrameCopyMs}, Bound::kAtMost, 6.0},
    RatioRow{"NV12 of a neural style : colours alone", kNeuralToNv12, kColourBgrToI420, Bound::kAtMost, 3.0},
    RatioRow{"YUY2 of a neural style : colours alone", kNeuralToYuy2, kColourRgbToYuv, Bound::kAtMost, 3.0},
    RatioRow{"NV12 of a filter : colours alone", kFilterToNv12, kColourBgraToI420, Bound::kAtMost, 3.0},
    RatioRow{"YUY2 of a filter : colours alone", kFilterToYuy2, kColourRgbToYuv, Bound::kAtMost, 3.0},
    RatioRow{"transfer frame, literal smoothing : ours",
             {kTransferFrame, kLiteralSmoothingFrameMs},
             kTransferFrame,
             Bound::kAtLeast,
             1.01},
    RatioRow{"transfer frame : infer()", kTransferFrame, {kTransferFrame, kBareInferenceMs}, Bound::kAtMost, {1.06, 1.15}},
    RatioRow{"light-grey frame : infer()", kLightGreyFrame, {kLightGreyFrame, kBareInferenceMs}, Bound::kAtMost, {1.03, 1.08}},
    RatioRow{"cartoon frame : infer()", kCartoonFrame, {kCartoonFrame, kBareInferenceMs}, Bound::kAtMost, {1.03, 1.08}},
    RatioRow{"transfer beyond infer() : memcpy",
             {kTransferFrame, kBeyondInferenceMs},
             {kTransferFrame, kFrameCopyMs},
             Bound::kAtMost,
             16.0},
    RatioRow{"light grey beyond infer() : memcpy",
             {kLightGreyFrame, kBeyondInferenceMs},
             {kLightGreyFrame, kFrameCopyMs},
             Bound::kAtMost,
             8.0},
    RatioRow{"cartoon beyond infer() : memcpy",
             {kCartoonFrame, kBeyondInferenceMs},
             {kCartoonFrame, kFrameCopyMs},
             Bound::kAtMost,
             8.0},
    RatioRow{"transfer, Prepare warm : cold", kTransferPrepare, {kTransferPrepare, kColdCacheMs}, Bound::kAtMost, 0.55},
    RatioRow{"light grey, Prepare warm : cold", kLightGreyPrepare, {kLightGreyPrepare, kColdCacheMs}, Bound::kAtMost, 0.55},
    RatioRow{"cartoon, Prepare warm : cold", kCartoonPrepare, {kCartoonPrepare, kColdCacheMs}, Bound::kAtMost, 0.55},
};

constexpr int kWhatWidth = 42;
constexpr int kNumberWidth = 13;

std::optional<double> median(const Medians& medians_ms, const Side& side) {
  const auto found = medians_ms.find(side.counter == nullptr ? side.benchmark : std::string(side.benchmark) + '/' + side.counter);
  return found == medians_ms.end() ? std::nullopt : std::optional(found->second);
}

std::string fixed(double value, int decimals, const char* unit) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(decimals) << value << unit;
  return text.str();
}

std::string limitText(Bound bound, double limit) {
  return (bound == Bound::kAtMost ? "<= " : ">= ") + fixed(limit, 2, "");
}

void printCells(std::ostream& out, const std::string& what, const std::array<std::string, 5>& cells) {
  out << std::left << std::setw(kWhatWidth) << what << std::right;
  for (const std::string& cell : cells) {
    out << " |" << std::setw(kNumberWidth) << cell;
  }
  out << "\n";
}

void printRow(std::ostream& out, const RatioRow& row, const Medians& medians_ms, bool networks_in_bf16) {
  const double limit = networks_in_bf16 ? row.limit.in_bf16 : row.limit.in_f32;
  const auto ours = median(medians_ms, row.this_side);
  const auto other = median(medians_ms, row.other_side);
  if (!ours || !other) {
    printCells(out, row.what, {"", "", "", limitText(row.bound, limit), "not measured"});
    return;
  }
  const double ratio = *ours / *other;
  const bool kept = row.bound == Bound::kAtMost ? ratio <= limit : ratio >= limit;
  printCells(
      out, row.what,
      {fixed(*ours, 3, " ms"), fixed(*other, 3, " ms"), fixed(ratio, 3, ""), limitText(row.bound, limit), kept ? "ok" : "OVER"});
}

} // namespace

void printRatioTable(std::ostream& out, const Medians& medians_ms, bool networks_in_bf16) {
  out << "networks compute in " << (networks_in_bf16 ? "bf16" : "f32") << "\n";
  printCells(out, "what", {"this", "other side", "ratio", "limit", "ok"});
  for (const RatioRow& row : kRows) {
    printRow(out, row, medians_ms, networks_in_bf16);
  }
}

} // namespace vorin::bench
