#include "support/stylize_run.h"

#include <algorithm>
#include <cstdint>

namespace vorin::tests {
namespace {

std::string big(std::uint32_t number, int bytes) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    text += static_cast<char>(number >> static_cast<unsigned>(shift));
  }
  return text;
}

std::uint32_t crc32(const std::string& bytes) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) {
      crc = crc >> 1U ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0U);
    }
  }
  return ~crc;
}

std::string chunk(const std::string& name, const std::string& content) {
  return big(static_cast<std::uint32_t>(content.size()), 4) + name + content + big(crc32(name + content), 4);
}

// A stream of zlib with stored blocks only.
std::string stored(const std::string& bytes) {
  constexpr std::size_t kMaxBlockBytes = 0xFFFF;
  std::string stream = "\x78\x01";
  for (std::size_t at = 0; at < bytes.size(); at += kMaxBlockBytes) {
    const std::string block = bytes.substr(at, kMaxBlockBytes);
    const auto size = static_cast<std::uint32_t>(block.size());
    const bool is_last = at + block.size() == bytes.size();
    stream += is_last ? '\1' : '\0';
    for (const std::uint32_t number : {size, ~size}) {
      stream += {static_cast<char>(number), static_cast<char>(number >> 8U)};
    }
    stream += block;
  }
  std::uint32_t sum = 1;
  std::uint32_t sum_of_sums = 0;
  for (const char byte : bytes) {
    sum = (sum + static_cast<unsigned char>(byte)) % 65521;
    sum_of_sums = (sum_of_sums + sum) % 65521;
  }
  return stream + big(sum_of_sums << 16U | sum, 4);
}

// A pixel's samples: red before blue, the high byte first.
std::string samples(const cv::Mat& picture, int row, int column) {
  const int channels = picture.channels();
  std::string bytes;
  for (int sample = 0; sample < channels; ++sample) {
    const int channel = channels >= 3 && sample < 3 ? 2 - sample : sample;
    const int at = column * channels + channel;
    bytes += picture.depth() == CV_16U ? big(picture.ptr<std::uint16_t>(row)[at], 2) : big(picture.ptr(row)[at], 1);
  }
  return bytes;
}

} // namespace

std::string pngBytes(const cv::Mat& picture) {
  std::string rows;
  for (int row = 0; row < picture.rows; ++row) {
    rows += '\0'; // no filter
    for (int column = 0; column < picture.cols; ++column) {
      rows += samples(picture, row, column);
    }
  }
  const char colour_kind = picture.channels() == 1 ? '\0' : picture.channels() == 3 ? '\2' : '\6';
  const std::string head = big(static_cast<std::uint32_t>(picture.cols), 4) + big(static_cast<std::uint32_t>(picture.rows), 4) +
                           std::string{picture.depth() == CV_16U ? '\x10' : '\x08', colour_kind, '\0', '\0', '\0'};
  return "\x89PNG\r\n\x1A\n" + chunk("IHDR", head) + chunk("IDAT", stored(rows)) + chunk("IEND", "");
}

} // namespace vorin::tests
