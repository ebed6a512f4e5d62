#include "pipeline/chroma_packing.h"

#include <opencv2/core/hal/intrin.hpp>

#include <cstring>

namespace vorin {
namespace {

// One row; a plain loop over what the vector loop leaves.
void packYuy2Row(const std::uint8_t* yuv, std::size_t columns, std::uint8_t* output) {
  std::size_t column = 0;
#if CV_SIMD128
  const cv::v_uint16x8 low_byte = cv::v_setall_u16(0x00FF);
  for (; column + 16 <= columns; column += 16) {
    cv::v_uint8x16 y;
    cv::v_uint8x16 u;
    cv::v_uint8x16 v;
    cv::v_load_deinterleave(yuv + 3 * column, y, u, v);
    // Seen as 16-bit lanes, the low byte of each is an even pixel's: U below, V above.
    const cv::v_uint16x8 chroma = (cv::v_reinterpret_as_u16(u) & low_byte) | cv::v_shl<8>(cv::v_reinterpret_as_u16(v) & low_byte);
    cv::v_store_interleave(output + 2 * column, y, cv::v_reinterpret_as_u8(chroma));
  }
#endif
  for (; column < columns; ++column) {
    const std::uint8_t* pixel = yuv + 3 * column;
    output[2 * column] = pixel[0];
    output[2 * column + 1] = column % 2 == 0 ? pixel[1] : pixel[-1]; // [-1]: V of the pixel before
  }
}

} // namespace

void packYuy2(const cv::Mat& yuv, std::uint8_t* output) {
  const std::size_t row_bytes = 2 * static_cast<std::size_t>(yuv.cols);
  for (int row = 0; row < yuv.rows; ++row) {
    packYuy2Row(yuv.ptr<std::uint8_t>(row), static_cast<std::size_t>(yuv.cols),
                output + static_cast<std::size_t>(row) * row_bytes);
  }
}

void packNv12(const cv::Mat& i420, std::uint8_t* output, std::size_t pitch_bytes) {
  const int width = i420.cols;
  const int height = 2 * i420.rows / 3;
  for (int row = 0; row < height; ++row) {
    std::memcpy(output + static_cast<std::size_t>(row) * pitch_bytes, i420.ptr<std::uint8_t>(row),
                static_cast<std::size_t>(width));
  }
  // Two rows of U, and then two of V, lie side by side in each row of the planar picture.
  const std::size_t chroma_step = i420.step / 2;
  std::uint8_t* u_data = i420.data + i420.step * static_cast<std::size_t>(height);
  std::uint8_t* v_data = u_data + chroma_step * static_cast<std::size_t>(height / 2);
  const cv::Mat planes[] = {cv::Mat(height / 2, width / 2, CV_8UC1, u_data, chroma_step),
                            cv::Mat(height / 2, width / 2, CV_8UC1, v_data, chroma_step)};
  cv::Mat pairs(height / 2, width / 2, CV_8UC2, output + static_cast<std::size_t>(height) * pitch_bytes, pitch_bytes);
  cv::merge(planes, 2, pairs);
}

} // namespace vorin
