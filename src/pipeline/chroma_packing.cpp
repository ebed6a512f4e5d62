#include "pipeline/chroma_packing.h"

#include <cstring>

namespace vorin {
namespace {

// A pair of pixels is stored as one word, its lowest byte first in memory: four stores of a byte take longer.
void packYuy2Row(const std::uint8_t* yuv, int columns, std::uint8_t* output) {
  for (; columns >= 2; columns -= 2, yuv += 6, output += 4) {
    const std::uint32_t first_y = yuv[0];
    const std::uint32_t u = yuv[1];
    const std::uint32_t v = yuv[2];
    const std::uint32_t second_y = yuv[3];
    const std::uint32_t pair = first_y | u << 8 | second_y << 16 | v << 24;
    std::memcpy(output, &pair, sizeof pair);
  }
  if (columns == 1) {
    output[0] = yuv[0];
    output[1] = yuv[1];
  }
}

void interleaveRow(const std::uint8_t* u, const std::uint8_t* v, std::size_t pairs, std::uint8_t* output) {
  for (std::size_t pair = 0; pair < pairs; ++pair) {
    output[2 * pair] = u[pair];
    output[2 * pair + 1] = v[pair];
  }
}

} // namespace

void packYuy2(const cv::Mat& yuv, std::uint8_t* output) {
  const std::size_t row_bytes = 2 * static_cast<std::size_t>(yuv.cols);
  for (int row = 0; row < yuv.rows; ++row) {
    packYuy2Row(yuv.ptr<std::uint8_t>(row), yuv.cols, output + static_cast<std::size_t>(row) * row_bytes);
  }
}

void packNv12(const cv::Mat& i420, std::uint8_t* output, std::size_t pitch_bytes) {
  const auto width = static_cast<std::size_t>(i420.cols);
  const auto height = static_cast<std::size_t>(2 * i420.rows / 3);
  for (std::size_t row = 0; row < height; ++row) {
    std::memcpy(output + row * pitch_bytes, i420.data + row * i420.step, width);
  }
  // Two rows of U, and then two of V, lie side by side in each row of the planar picture.
  const std::size_t chroma_step = i420.step / 2;
  const std::uint8_t* u_data = i420.data + i420.step * height;
  const std::uint8_t* v_data = u_data + chroma_step * (height / 2);
  for (std::size_t row = 0; row < height / 2; ++row) {
    interleaveRow(u_data + row * chroma_step, v_data + row * chroma_step, width / 2, output + (height + row) * pitch_bytes);
  }
}

} // namespace vorin
