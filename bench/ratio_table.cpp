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
    RatioRow{"pencil frame beyond its kernel : memcpy", kFrameBeyondKernel, kFrameCopy, Bound::kAtMost, 6.0},
    RatioRow{"NV12 of a neural style : colours alone", kNeuralToNv12, kColourBgrToI420, Bound::kAtMost, 3.0},
    RatioRow{"YUY2 of a neural style : colours alone", kNeuralToYuy2, kColourRgbToYuv, Bound::kAtMost, 3.0},
    RatioRow{"NV12 of a filter : colours alone", kFilterToNv12, kColourBgraToI420, Bound::kAtMost, 3.0},
    RatioRow{"YUY2 of a filter : colours alone", kFilterToYuy2, kColourRgbToYuv, Bound::kAtMost, 3.0},
    RatioRow{"transfer's output, literal loops : ours", kLiteralTransferOutput, kTransferOutput, Bound::kAtLeast, 3.0},
    RatioRow{"content smoothing, moving, literal : ours", kLiteralContentSmoothingMoving, kContentSmoothingMoving,
             Bound::kAtLeast, 4.0},
    RatioRow{"content smoothing, cut, literal : ours", kLiteralContentSmoothingCut, kContentSmoothingCut, Bound::kAtLeast, 4.0},
    RatioRow{"output smoothing, moving, literal : ours", kLiteralOutputSmoothingMoving, kOutputSmoothingMoving, Bound::kAtLeast,
             4.0},
    RatioRow{"output smoothing, cut, literal : ours", kLiteralOutputSmoothingCut, kOutputSmoothingCut, Bound::kAtLeast, 4.0},
};

constexpr int kWhatWidth = 42;
constexpr int kNumberWidth = 13;

std::optional<double> median(const Medians& medians_ms, const char* name) {
  const auto found = medians_ms.find(name);
  return found == medians_ms.end() ? std::nullopt : std::optional(found->second);
}

std::string fixed(double value, int decimals, const char* unit) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(decimals) << value << unit;
  return text.str();
}

std::string limitText(const RatioRow& row) {
  return (row.bound == Bound::kAtMost ? "<= " : ">= ") + fixed(row.limit, 1, "");
}

void printCells(std::ostream& out, const std::string& what, const std::array<std::string, 5>& cells) {
  out << std::left << std::setw(kWhatWidth) << what << std::right;
  for (const std::string& cell : cells) {
    out << " |" << std::setw(kNumberWidth) << cell;
  }
  out << "\n";
}

void printRow(std::ostream& out, const RatioRow& row, const Medians& medians_ms) {
  const auto ours = median(medians_ms, row.this_side);
  const auto other = median(medians_ms, row.other_side);
  if (!ours || !other) {
    printCells(out, row.what, {"", "", "", limitText(row), "not measured"});
    return;
  }
  const double ratio = *ours / *other;
  const bool kept = row.bound == Bound::kAtMost ? ratio <= row.limit : ratio >= row.limit;
  printCells(out, row.what,
             {fixed(*ours, 3, " ms"), fixed(*other, 3, " ms"), fixed(ratio, 2, ""), limitText(row), kept ? "ok" : "OVER"});
}

} // namespace

void printRatioTable(std::ostream& out, const Medians& medians_ms) {
  printCells(out, "what", {"this", "other side", "ratio", "limit", "ok"});
  for (const RatioRow& row : kRows) {
    printRow(out, row, medians_ms);
  }
}

} // namespace vorin::bench
