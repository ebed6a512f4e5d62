// The neural styles' computations around a network, written value by value: nothing here is shared with the code under test.
// Pictures are bytes, three a pixel, blue, green, red; planes are floats, three of them one behind the other.
#pragma once

#include "vorin_stt.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

namespace vorin::tests {

using Picture = std::vector<std::uint8_t>;
using Planes = std::vector<float>;

inline SttFrame frameOf(Picture& picture, cv::Size size, std::uint32_t format = VORIN_FMT_BGR24) {
  const auto width = static_cast<std::uint32_t>(size.width);
  return {VORIN_MEM_SYSTEM, picture.data(), format, width, static_cast<std::uint32_t>(size.height), 0};
}

inline Picture randomPicture(int width, int height, std::uint32_t seed) {
  std::mt19937 random(seed);
  Picture picture(static_cast<std::size_t>(3 * width * height));
  std::generate(picture.begin(), picture.end(), [&] { return static_cast<std::uint8_t>(random()); });
  return picture;
}

// A picture near another: most bytes move by less than 10, some by more.
inline Picture movedPicture(Picture picture, std::uint32_t seed) {
  std::mt19937 random(seed);
  for (std::uint8_t& byte : picture) {
    const int reach = random() % 8 == 0 ? 14 : 9;
    const int moved = byte + static_cast<int>(random() % static_cast<unsigned>(2 * reach + 1)) - reach;
    byte = static_cast<std::uint8_t>(std::clamp(moved, 0, 255));
  }
  return picture;
}

// The networks' view of a byte of a frame (style transfer, other neural styles) and of a style image.
inline double contentValue(int channel, std::uint8_t byte) {
  constexpr double kMeans[] = {123.675, 116.28, 103.53};
  constexpr double kDeviations[] = {58.395, 57.12, 57.375};
  return (byte - kMeans[channel]) / kDeviations[channel];
}

inline double fixedStyleValue(int /*channel*/, std::uint8_t byte) {
  return (byte - 127.5) / 127.5;
}

inline double styleValue(int channel, std::uint8_t byte) {
  return contentValue(2 - channel, byte);
}

template <typename ValueOf> Planes planesOf(const Picture& picture, ValueOf value_of) {
  const std::size_t pixels = picture.size() / 3;
  Planes planes(picture.size());
  for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
    for (std::size_t channel = 0; channel < 3; ++channel) {
      planes[channel * pixels + pixel] = static_cast<float>(value_of(static_cast<int>(channel), picture[3 * pixel + channel]));
    }
  }
  return planes;
}

inline bool movedLittle(const std::uint8_t* now, const std::uint8_t* before) {
  return std::abs(now[0] - before[0]) < 10 && std::abs(now[1] - before[1]) < 10 && std::abs(now[2] - before[2]) < 10;
}

// The frame that a style-transfer network gets after `before` (as it got it).
inline Picture smoothedContent(Picture now, const Picture& before) {
  for (std::size_t pixel = 0; pixel < now.size(); pixel += 3) {
    if (movedLittle(&now[pixel], &before[pixel])) {
      for (std::size_t byte = pixel; byte < pixel + 3; ++byte) {
        now[byte] = static_cast<std::uint8_t>(0.1 * now[byte] + 0.9 * before[byte]);
      }
    }
  }
  return now;
}

// The picture that style transfer gives after `before` (as it gave it).
inline Picture smoothedOutput(Picture now, const Picture& before) {
  for (std::size_t pixel = 0; pixel < now.size(); pixel += 3) {
    float weight = 0.8F;
    if (movedLittle(&now[pixel], &before[pixel])) {
      int moved = 0;
      for (std::size_t byte = pixel; byte < pixel + 3; ++byte) {
        moved += std::abs(now[byte] - before[byte]);
      }
      weight = static_cast<float>(moved / 765.0);
    }
    for (std::size_t byte = pixel; byte < pixel + 3; ++byte) {
      const float share_now = static_cast<float>(now[byte]) * weight;
      const float share_before = static_cast<float>(before[byte]) * (1.0F - weight);
      now[byte] = static_cast<std::uint8_t>(share_now + share_before);
    }
  }
  return now;
}

// Planes as the imaging library's picture of floats.
inline cv::Mat mergedPlanes(const Planes& planes, int width, int height) {
  cv::Mat image(height, width, CV_32FC3);
  const std::size_t pixels = image.total();
  for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
    for (std::size_t plane = 0; plane < 3; ++plane) {
      image.ptr<float>()[3 * pixel + plane] = planes[plane * pixels + pixel];
    }
  }
  return image;
}

// Bytes by the imaging library's own stretching and conversion: its roundings are part of the definition.
inline Picture stretchedPicture(const Planes& planes, int width, int height) {
  cv::Mat image = mergedPlanes(planes, width, height);
  cv::normalize(image, image, 0, 255, cv::NORM_MINMAX);
  image.convertTo(image, CV_8U);
  return {image.datastart, image.dataend};
}

// A style-transfer network's output with its normalisation undone.
inline Planes denormalised(Planes planes) {
  constexpr double kDeviations[] = {0.225, 0.224, 0.229};
  constexpr double kMeans[] = {0.406, 0.456, 0.485};
  const std::size_t pixels = planes.size() / 3;
  for (std::size_t index = 0; index < planes.size(); ++index) {
    const double product = planes[index] * kDeviations[index / pixels];
    planes[index] = std::clamp(static_cast<float>(product + kMeans[index / pixels]), 0.0F, 1.0F);
  }
  return planes;
}

// The picture in it, before smoothing.
inline Picture transferPicture(const Planes& planes, int width, int height) {
  return stretchedPicture(denormalised(planes), width, height);
}

inline Picture cartoonPicture(const Planes& planes, int width, int height) {
  cv::Mat image = mergedPlanes(planes, width, height);
  image.convertTo(image, CV_8U, 127.5, 127.5);
  return {image.datastart, image.dataend};
}

inline Picture resizedPicture(Picture picture, cv::Size from, cv::Size to) {
  cv::Mat fitted;
  cv::resize(cv::Mat(from, CV_8UC3, picture.data()), fitted, to, 0, 0, cv::INTER_LINEAR);
  return {fitted.datastart, fitted.dataend};
}

// The greatest difference of two pictures or planes of one size; a great one where the sizes differ.
template <typename Values> double greatestDifference(const Values& left, const Values& right) {
  double greatest = left.size() == right.size() ? 0 : 1e9;
  for (std::size_t index = 0; index < std::min(left.size(), right.size()); ++index) {
    greatest = std::max(greatest, std::abs(double{left[index]} - double{right[index]}));
  }
  return greatest;
}

} // namespace vorin::tests
