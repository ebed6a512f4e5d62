#include "neural/bilinear_resize.h"

#include <opencv2/core/hal/intrin.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace vorin::neural {
namespace {

constexpr float kWeightOne = 2048.0F;
constexpr int kStripes = 8;           // of rows, for the imaging library's threads
constexpr int kLargestSide = 1 << 16; // beyond it products of sizes leave the range of int
constexpr int kRowMargin = 16;        // elements behind a blended row that a vector may write

// Between which two pixels of an axis a pixel of the result lies, and how near to the second. In single precision where the
// imaging library is.
struct Position {
  Position(int index, double scale) {
    const float place = static_cast<float>((index + 0.5) * scale - 0.5);
    first = cvFloor(place);
    fraction = place - static_cast<float>(first);
  }

  int first;
  float fraction;
};

std::array<std::int16_t, 2> weightsOf(float fraction) {
  return {cv::saturate_cast<std::int16_t>((1.0F - fraction) * kWeightOne),
          cv::saturate_cast<std::int16_t>(fraction * kWeightOne)};
}

double scaleOf(int source_length, int length) {
  return 1.0 / (static_cast<double>(length) / source_length);
}

BilinearResize::Column columnAt(int index, double scale, int source_columns, int channels) {
  Position position(index, scale);
  if (position.first < 0) {
    position.first = 0;
    position.fraction = 0.0F;
  } else if (position.first > source_columns - 2) { // the last pixel, as the right one of a pair
    position.first = source_columns - 2;
    position.fraction = 1.0F;
  }
  return {position.first * channels, weightsOf(position.fraction)};
}

BilinearResize::Row rowAt(int index, double scale, int source_rows) {
  const Position position(index, scale);
  return {{std::clamp(position.first, 0, source_rows - 1), std::clamp(position.first + 1, 0, source_rows - 1)},
          weightsOf(position.fraction)};
}

#if CV_SIMD128

// The channels of one column, and behind those of 3 channels one value of no meaning. Reads eight bytes.
template <int kChannels> cv::v_int32x4 blendColumn(const std::uint8_t* source, const BilinearResize::Column& column) {
  int both_weights = 0;
  std::memcpy(&both_weights, column.weights.data(), sizeof both_weights);
  const cv::v_int16x8 left = cv::v_reinterpret_as_s16(cv::v_load_expand(source + column.offset_bytes));
  const cv::v_int16x8 right = cv::v_rotate_right<kChannels>(left);
  cv::v_int16x8 pairs;
  cv::v_int16x8 unused;
  cv::v_zip(left, right, pairs, unused);
  return cv::v_shr<4>(cv::v_dotprod(pairs, cv::v_reinterpret_as_s16(cv::v_setall_s32(both_weights))));
}

#endif

// One row of the source at the result's columns. For the first `vector_count` columns eight bytes can be read.
template <int kChannels>
void blendColumns(const std::uint8_t* source, const BilinearResize::Column* columns, int count, [[maybe_unused]] int vector_count,
                  std::int16_t* blended) {
  int index = 0;
#if CV_SIMD128
  for (; index + 2 <= vector_count; index += 2) {
    const cv::v_int16x8 two =
        cv::v_pack(blendColumn<kChannels>(source, columns[index]), blendColumn<kChannels>(source, columns[index + 1]));
    std::int16_t* const first = blended + static_cast<std::ptrdiff_t>(index) * kChannels;
    cv::v_store_low(first, two);
    cv::v_store_high(first + kChannels, two);
  }
#endif
  for (; index < count; ++index) {
    const std::uint8_t* left = source + columns[index].offset_bytes;
    const auto& weights = columns[index].weights;
    for (int channel = 0; channel < kChannels; ++channel) {
      const int sum = left[channel] * weights[0] + left[channel + kChannels] * weights[1];
      blended[index * kChannels + channel] = static_cast<std::int16_t>(sum >> 4);
    }
  }
}

void blendRows(const std::int16_t* upper, const std::int16_t* lower, const std::array<std::int16_t, 2>& weights, int count,
               std::uint8_t* result) {
  int index = 0;
#if CV_SIMD128
  const cv::v_int16x8 upper_weight = cv::v_setall_s16(weights[0]);
  const cv::v_int16x8 lower_weight = cv::v_setall_s16(weights[1]);
  const auto blend = [&](int first) {
    return cv::v_mul_hi(cv::v_load(upper + first), upper_weight) + cv::v_mul_hi(cv::v_load(lower + first), lower_weight);
  };
  for (; index + 16 <= count; index += 16) {
    cv::v_store(result + index, cv::v_rshr_pack_u<2>(blend(index), blend(index + 8)));
  }
#endif
  for (; index < count; ++index) {
    const int sum = ((upper[index] * weights[0]) >> 16) + ((lower[index] * weights[1]) >> 16);
    result[index] = static_cast<std::uint8_t>((sum + 2) >> 2);
  }
}

#if CV_SIMD128

// The pixels' bytes by channel.
template <int kChannels> using Planes = std::array<cv::v_uint8x16, kChannels>;

void loadPlanes(const std::uint8_t* pixels, Planes<3>& planes) {
  cv::v_load_deinterleave(pixels, planes[0], planes[1], planes[2]);
}

void loadPlanes(const std::uint8_t* pixels, Planes<4>& planes) {
  cv::v_load_deinterleave(pixels, planes[0], planes[1], planes[2], planes[3]);
}

void storePlanes(std::uint8_t* pixels, const Planes<3>& planes) {
  cv::v_store_interleave(pixels, planes[0], planes[1], planes[2]);
}

void storePlanes(std::uint8_t* pixels, const Planes<4>& planes) {
  cv::v_store_interleave(pixels, planes[0], planes[1], planes[2], planes[3]);
}

cv::v_uint16x8 sumsOfNeighbours(const cv::v_uint8x16& bytes) {
  const cv::v_uint16x8 pairs = cv::v_reinterpret_as_u16(bytes);
  return (pairs & cv::v_setall_u16(0x00FF)) + cv::v_shr<8>(pairs);
}

#endif

template <int kChannels> void halveRow(const std::uint8_t* upper, const std::uint8_t* lower, int columns, std::uint8_t* result) {
  int column = 0;
#if CV_SIMD128
  for (; column + 16 <= columns; column += 16) {
    std::array<std::array<Planes<kChannels>, 2>, 2> planes; // by row, then by half
    for (int half = 0; half < 2; ++half) {
      const int first_byte = (2 * column + 16 * half) * kChannels;
      loadPlanes(upper + first_byte, planes[0][half]);
      loadPlanes(lower + first_byte, planes[1][half]);
    }
    Planes<kChannels> means;
    for (int channel = 0; channel < kChannels; ++channel) {
      means[channel] = cv::v_rshr_pack<2>(sumsOfNeighbours(planes[0][0][channel]) + sumsOfNeighbours(planes[1][0][channel]),
                                          sumsOfNeighbours(planes[0][1][channel]) + sumsOfNeighbours(planes[1][1][channel]));
    }
    storePlanes(result + static_cast<std::ptrdiff_t>(column) * kChannels, means);
  }
#endif
  for (; column < columns; ++column) {
    for (int channel = 0; channel < kChannels; ++channel) {
      const int left = 2 * column * kChannels + channel;
      const int sum = upper[left] + upper[left + kChannels] + lower[left] + lower[left + kChannels];
      result[column * kChannels + channel] = static_cast<std::uint8_t>((sum + 2) >> 2);
    }
  }
}

template <int kChannels> void halve(const cv::Mat& source, cv::Mat& destination) {
  cv::parallel_for_(
      cv::Range(0, destination.rows),
      [&](const cv::Range& rows) {
        for (int row = rows.start; row < rows.end; ++row) {
          halveRow<kChannels>(source.ptr<std::uint8_t>(2 * row), source.ptr<std::uint8_t>(2 * row + 1), destination.cols,
                              destination.ptr<std::uint8_t>(row));
        }
      },
      kStripes);
}

} // namespace

void BilinearResize::resize(const cv::Mat& source, cv::Mat& destination, const cv::Size& size) {
  const bool is_known_type = source.type() == CV_8UC3 || source.type() == CV_8UC4;
  const bool is_known_size = size.width >= 1 && size.height >= 1 && std::max(size.width, size.height) <= kLargestSide &&
                             source.rows >= 1 && source.cols >= 2 && std::max(source.rows, source.cols) <= kLargestSide;
  if (!is_known_type || !is_known_size) {
    cv::resize(source, destination, size, 0.0, 0.0, cv::INTER_LINEAR);
    return;
  }
  destination.create(size, source.type());
  if (source.cols == 2 * size.width && source.rows == 2 * size.height) {
    source.channels() == 3 ? halve<3>(source, destination) : halve<4>(source, destination);
    return;
  }
  prepare(source, size);
  cv::parallel_for_(cv::Range(0, kStripes), [&](const cv::Range& stripes) {
    for (int stripe = stripes.start; stripe < stripes.end; ++stripe) {
      resizeStripe(source, destination, stripe);
    }
  });
}

void BilinearResize::resizeStripe(const cv::Mat& source, cv::Mat& destination, int stripe) {
  // Neighbouring rows of the source are an even and an odd one, so each of the two buffers serves its own.
  std::array<int, 2> buffered_rows = {-1, -1};
  const auto blended = [&](int source_row) {
    const int buffer = source_row % 2;
    std::int16_t* const elements = blended_rows_.data() + static_cast<std::size_t>(2 * stripe + buffer) * buffer_elements_;
    if (buffered_rows[buffer] != source_row) {
      const auto blend = channels_ == 3 ? blendColumns<3> : blendColumns<4>;
      blend(source.ptr<std::uint8_t>(source_row), columns_.data(), destination.cols, vector_columns_, elements);
      buffered_rows[buffer] = source_row;
    }
    return elements;
  };
  const int end_row = (stripe + 1) * destination.rows / kStripes;
  for (int row = stripe * destination.rows / kStripes; row < end_row; ++row) {
    const Row& blend = rows_[row];
    blendRows(blended(blend.source_rows[0]), blended(blend.source_rows[1]), blend.weights, destination.cols * channels_,
              destination.ptr<std::uint8_t>(row));
  }
}

void BilinearResize::prepare(const cv::Mat& source, const cv::Size& size) {
  if (source.size() == source_size_ && size == size_ && source.channels() == channels_) {
    return;
  }
  source_size_ = {}; // until all is there
  size_ = size;
  channels_ = source.channels();
  columns_.clear();
  for (int column = 0; column < size.width; ++column) {
    columns_.push_back(columnAt(column, scaleOf(source.cols, size.width), source.cols, channels_));
  }
  vector_columns_ = static_cast<int>(std::count_if(columns_.begin(), columns_.end(), [&](const Column& column) {
    return column.offset_bytes + 8 <= source.cols * channels_;
  }));
  rows_.clear();
  for (int row = 0; row < size.height; ++row) {
    rows_.push_back(rowAt(row, scaleOf(source.rows, size.height), source.rows));
  }
  buffer_elements_ = static_cast<std::size_t>(size.width) * channels_ + kRowMargin;
  blended_rows_.resize(buffer_elements_ * 2 * kStripes);
  source_size_ = source.size();
}

} // namespace vorin::neural
