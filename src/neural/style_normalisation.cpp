#include "neural/style_normalisation.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace vorin::neural {
namespace {

using Table = std::array<float, 256>;

constexpr Table tableOf(double mean, double deviation) {
  Table table{};
  for (std::size_t byte = 0; byte < table.size(); ++byte) {
    table[byte] = static_cast<float>((static_cast<double>(byte) - mean) / deviation);
  }
  return table;
}

constexpr std::array<Table, 3> kTables = {tableOf(103.53, 57.375), tableOf(116.28, 57.12), tableOf(123.675, 58.395)};

} // namespace

void normaliseStyle(const cv::Mat& bgr, float* planes) {
  const std::size_t columns = static_cast<std::size_t>(bgr.cols);
  const std::size_t plane = columns * static_cast<std::size_t>(bgr.rows);
  for (int row = 0; row < bgr.rows; ++row) {
    const std::uint8_t* pixel = bgr.ptr<std::uint8_t>(row);
    float* const output = planes + static_cast<std::size_t>(row) * columns;
    for (std::size_t column = 0; column < columns; ++column, pixel += 3) {
      output[column] = kTables[0][pixel[0]];
      output[plane + column] = kTables[1][pixel[1]];
      output[2 * plane + column] = kTables[2][pixel[2]];
    }
  }
}

} // namespace vorin::neural
