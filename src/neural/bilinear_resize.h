// Bilinear resizing of 8-bit images that allocates nothing once it knows the sizes: frame after frame of one size costs the work
// alone.
//
// Idea: the bytes are those of cv::resize with INTER_LINEAR, which hosts know: weights of 11 bits per axis, columns blended
// first. The blended rows keep 15 bits, all that the second blend looks at, so that both blends are 16-bit multiplications.
// Exactly half the size is the mean of four pixels, as there. cv::resize itself builds its tables and row buffers anew by each
// call.
#pragma once

#include <opencv2/core.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vorin::neural {

class BilinearResize {
public:
  // Resizes `source` into `destination`, which keeps its memory while size and type stay and must not be that of `source`. Other
  // images than those of 8 bits with 3 or 4 channels are left to cv::resize, and so are empty images and sizes, which it refuses
  // with an exception. The rows of the source may be padded.
  void resize(const cv::Mat& source, cv::Mat& destination, const cv::Size& size);

  // Of one column of the result: the left one of two pixels, and both weights.
  struct Column {
    int offset_bytes;
    std::array<std::int16_t, 2> weights;
  };

  // Of one row of the result.
  struct Row {
    std::array<int, 2> source_rows; // the same twice at a rim
    std::array<std::int16_t, 2> weights;
  };

private:
  void prepare(const cv::Mat& source, const cv::Size& size);
  void resizeStripe(const cv::Mat& source, cv::Mat& destination, int stripe);

  cv::Size source_size_;
  cv::Size size_;
  int channels_ = 0;
  std::vector<Column> columns_;
  int vector_columns_ = 0; // the first ones, which eight bytes can be read for
  std::vector<Row> rows_;
  std::size_t buffer_elements_ = 0;        // of one blended row
  std::vector<std::int16_t> blended_rows_; // two for each stripe of rows that is worked on at once
};

} // namespace vorin::neural
