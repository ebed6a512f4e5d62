// Network output to pictures. The other side computes value by value in the order of the definition: normalisation undone in
// double precision, planes merged pixel by pixel, then the imaging library's own stretching and its own conversion, one after the
// other. Equal, byte by byte and (style transfer's planes) bit by bit: the library's roundings are part of the definition.
#include "pipeline/neural_output.h"
#include "support/guarded_buffer.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

namespace vorin {
namespace {

using tests::GuardedBuffer;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Three planes of floats with a watched end.
class Planes {
public:
  Planes(int width, int height)
      : width_(width), height_(height), buffer_(3 * sizeof(float) * static_cast<std::size_t>(width * height)) {}

  float* data() { return reinterpret_cast<float*>(buffer_.data()); }
  float& at(int plane, int index) { return data()[plane * width_ * height_ + index]; }
  int width() const { return width_; }
  int height() const { return height_; }
  int planeSize() const { return width_ * height_; }
  int size() const { return 3 * width_ * height_; }
  bool guardIntact() const { return buffer_.guardIntact(); }

private:
  int width_;
  int height_;
  GuardedBuffer buffer_;
};

cv::Mat merged(Planes& planes) {
  cv::Mat image(planes.height(), planes.width(), CV_32FC3);
  for (int index = 0; index < planes.planeSize(); ++index) {
    for (int plane = 0; plane < 3; ++plane) {
      image.ptr<float>()[3 * index + plane] = planes.at(plane, index);
    }
  }
  return image;
}

void undoNormalisation(Planes& planes) {
  constexpr double kDeviations[] = {0.225, 0.224, 0.229};
  constexpr double kMeans[] = {0.406, 0.456, 0.485};
  for (int plane = 0; plane < 3; ++plane) {
    for (int index = 0; index < planes.planeSize(); ++index) {
      float& value = planes.at(plane, index);
      volatile double product = value * kDeviations[plane]; // rounded before the addition
      value = static_cast<float>(product + kMeans[plane]);
      if (value > 1.0F) {
        value = 1.0F;
      } else if (value < 0.0F) {
        value = 0.0F;
      }
    }
  }
}

cv::Mat stretched(Planes& planes) {
  cv::Mat image = merged(planes);
  cv::normalize(image, image, 0, 255, cv::NORM_MINMAX);
  image.convertTo(image, CV_8U);
  return image;
}

void expectSameBytes(const cv::Mat& actual, const cv::Mat& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  ASSERT_EQ(actual.type(), CV_8UC3);
  for (int y = 0; y < expected.rows; ++y) {
    for (int byte = 0; byte < 3 * expected.cols; ++byte) {
      ASSERT_EQ(actual.ptr(y)[byte], expected.ptr(y)[byte])
          << "byte " << byte << " of row " << y << " in " << expected.cols << " x " << expected.rows;
    }
  }
}

// Runs all three styles on copies of the planes.
void expectAllStylesEqual(Planes& planes) {
  cv::Mat byte_planes;
  cv::Mat image;
  lightGreyOutputToImage(planes.data(), planes.height(), planes.width(), byte_planes, image);
  expectSameBytes(image, stretched(planes));

  cartoonOutputToImage(planes.data(), planes.height(), planes.width(), byte_planes, image);
  cv::Mat cartoon = merged(planes);
  cartoon.convertTo(cartoon, CV_8U, 127.5, 127.5);
  expectSameBytes(image, cartoon);

  Planes expected = planes;
  undoNormalisation(expected);
  transferOutputToImage(planes.data(), planes.height(), planes.width(), byte_planes, image);
  ASSERT_EQ(std::memcmp(planes.data(), expected.data(), sizeof(float) * static_cast<std::size_t>(planes.size())), 0);
  expectSameBytes(image, stretched(expected));
  EXPECT_TRUE(planes.guardIntact());
}

void fillNormally(Planes& planes, float mean, float deviation, std::mt19937& random) {
  std::normal_distribution<float> distribution(mean, deviation);
  for (int index = 0; index < planes.size(); ++index) {
    planes.data()[index] = distribution(random);
  }
}

constexpr std::tuple<int, int> kSizes[] = {{1, 1}, {1, 2},   {2, 1},  {3, 1},   {5, 1},   {5, 3},
                                           {7, 7}, {16, 16}, {31, 9}, {97, 13}, {640, 33}};

TEST(NeuralOutput, NormalValuesOfAnyRangeAndSize) {
  constexpr std::tuple<float, float> kSpreads[] = {{0.0F, 1.0F},     {0.1F, 0.3F},  {-2.0F, 4.0F},
                                                   {1000.0F, 0.01F}, {0.0F, 1e-9F}, {3.0F, 1e30F}};
  std::mt19937 random(1801);
  for (const auto& [width, height] : kSizes) {
    for (const auto& [mean, deviation] : kSpreads) {
      Planes planes(width, height);
      fillNormally(planes, mean, deviation, random);
      expectAllStylesEqual(planes);
    }
  }
}

// Values that a broken network may give, in all places of a vector and outside the whole ones.
TEST(NeuralOutput, NotANumberAndInfinity) {
  std::mt19937 random(1802);
  for (const auto& [width, height] : kSizes) {
    for (const float strange : {kNan, kInfinity, -kInfinity}) {
      for (const unsigned one_in : {1U, 2U, 5U, 40U}) {
        Planes planes(width, height);
        fillNormally(planes, 0.0F, 1.0F, random);
        for (int index = 0; index < planes.size(); ++index) {
          if (random() % one_in == 0) {
            planes.data()[index] = strange;
          }
        }
        expectAllStylesEqual(planes);
      }
    }
  }
}

TEST(NeuralOutput, ConstantPlanes) {
  for (const auto& [width, height] : kSizes) {
    for (const float value : {-3.0F, -0.0F, 0.0F, 0.5F, 1.0F, 7.0F}) {
      Planes planes(width, height);
      std::fill_n(planes.data(), planes.size(), value);
      expectAllStylesEqual(planes);
    }
  }
}

// By hand, and in the planes' order.
TEST(NeuralOutput, CartoonSaturates) {
  float planes[] = {-1.0F, 1.0F, 0.0F, 1.5F, -7.0F, 0.5F};
  cv::Mat byte_planes;
  cv::Mat image;
  cartoonOutputToImage(planes, 1, 2, byte_planes, image);
  const std::vector<std::uint8_t> bytes(image.data, image.data + 6);
  EXPECT_EQ(bytes, (std::vector<std::uint8_t>{0, 128, 0, 255, 255, 191})); // 127.5 is rounded to the even 128
}

TEST(NeuralOutput, TransferClampsAndStretches) {
  // Plane 0: far below and far above. Plane 1: 0 becomes its mean, 0.456. Plane 2: 0.229 above its mean is 0.714.
  float planes[] = {-100.0F, 100.0F, 0.0F, 0.0F, 1.0F, kNan};
  cv::Mat byte_planes;
  cv::Mat image;
  transferOutputToImage(planes, 1, 2, byte_planes, image);
  EXPECT_EQ(planes[0], 0.0F);
  EXPECT_EQ(planes[1], 1.0F);
  EXPECT_EQ(planes[2], 0.456F);
  EXPECT_EQ(planes[4], 0.714F);
  EXPECT_TRUE(std::isnan(planes[5]));
  const std::vector<std::uint8_t> bytes(image.data, image.data + 6);
  EXPECT_EQ(bytes, (std::vector<std::uint8_t>{0, 116, 182, 255, 116, 0}));
}

TEST(NeuralOutput, MemoryIsKeptWhileTheSizeStays) {
  std::mt19937 random(1803);
  cv::Mat byte_planes;
  cv::Mat image;
  Planes planes(64, 32);
  fillNormally(planes, 0.0F, 1.0F, random);
  transferOutputToImage(planes.data(), 32, 64, byte_planes, image);
  const void* const first_bytes = byte_planes.data;
  const void* const first_image = image.data;
  lightGreyOutputToImage(planes.data(), 32, 64, byte_planes, image);
  cartoonOutputToImage(planes.data(), 32, 64, byte_planes, image);
  transferOutputToImage(planes.data(), 32, 64, byte_planes, image);
  EXPECT_EQ(byte_planes.data, first_bytes);
  EXPECT_EQ(image.data, first_image);
}

} // namespace
} // namespace vorin
