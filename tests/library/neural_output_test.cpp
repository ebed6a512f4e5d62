// Network output to pictures. The other side computes value by value in the order of the definition: normalisation undone in
// double precision, planes merged pixel by pixel, then the imaging library's own stretching and its own conversion, one after the
// other. Equal, byte by byte and (style transfer's planes) bit by bit: its roundings are part of the definition.
#include "pipeline/neural_output.h"
#include "support/guarded_buffer.h"
#include "support/neural_reference.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <tuple>

namespace vorin {
namespace {

using namespace tests;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// What the library makes of planes, in memory with a watched end; it may change them.
template <typename Function> Picture converted(const Function& outputToImage, Planes& planes, int width, int height) {
  GuardedBuffer memory(planes.size() * sizeof(float));
  std::memcpy(memory.data(), planes.data(), memory.size());
  cv::Mat byte_planes;
  cv::Mat image;
  outputToImage(reinterpret_cast<float*>(memory.data()), height, width, byte_planes, image);
  EXPECT_TRUE(memory.guardIntact());
  EXPECT_EQ(image.size(), cv::Size(width, height));
  EXPECT_EQ(image.type(), CV_8UC3);
  std::memcpy(planes.data(), memory.data(), memory.size());
  return {image.datastart, image.dataend};
}

Planes stretched(Planes planes) {
  cv::Mat all(planes);
  cv::normalize(all, all, 0, 255, cv::NORM_MINMAX);
  return planes;
}

void expectAllStylesEqual(const Planes& planes, int width, int height) {
  SCOPED_TRACE(testing::Message() << width << " x " << height);
  Planes changed = planes;
  EXPECT_TRUE(converted(lightGreyOutputToImage, changed, width, height) == stretchedPicture(planes, width, height));
  changed = planes;
  EXPECT_TRUE(converted(cartoonOutputToImage, changed, width, height) == cartoonPicture(planes, width, height));
  changed = planes;
  EXPECT_TRUE(converted(transferOutputToImage, changed, width, height) == transferPicture(planes, width, height));
  EXPECT_EQ(std::memcmp(changed.data(), stretched(denormalised(planes)).data(), planes.size() * sizeof(float)), 0);
}

Planes normalPlanes(int width, int height, float mean, float deviation, std::mt19937& random) {
  std::normal_distribution<float> distribution;
  Planes planes(static_cast<std::size_t>(3 * width * height));
  std::generate(planes.begin(), planes.end(), [&] { return mean + deviation * distribution(random); });
  return planes;
}

constexpr std::tuple<int, int> kSizes[] = {{1, 1}, {1, 2},   {2, 1},  {3, 1},   {5, 1},   {5, 3},
                                           {7, 7}, {16, 16}, {31, 9}, {97, 13}, {640, 33}};

// Normal values, one value everywhere (a deviation of 0), and values that a broken network may give, in all places of a vector
// and outside the whole ones.
TEST(NeuralOutput, OfAnyRangeAndSizeAndOfNoNumbers) {
  constexpr std::tuple<float, float> kSpreads[] = {{0.0F, 1.0F},  {0.1F, 0.3F},  {-2.0F, 4.0F}, {1000.0F, 0.01F}, {0.0F, 1e-9F},
                                                   {3.0F, 1e30F}, {-3.0F, 0.0F}, {-0.0F, 0.0F}, {0.5F, 0.0F},     {7.0F, 0.0F}};
  std::mt19937 random(1801);
  for (const auto& [width, height] : kSizes) {
    for (const auto& [mean, deviation] : kSpreads) {
      expectAllStylesEqual(normalPlanes(width, height, mean, deviation, random), width, height);
    }
    for (const float strange : {kNan, kInfinity, -kInfinity}) {
      for (const unsigned one_in : {1U, 2U, 5U, 40U}) {
        Planes planes = normalPlanes(width, height, 0.0F, 1.0F, random);
        for (float& value : planes) {
          value = random() % one_in == 0 ? strange : value;
        }
        expectAllStylesEqual(planes, width, height);
      }
    }
  }
}

// By hand, and in the planes' order. 127.5 is rounded to the even 128.
TEST(NeuralOutput, CartoonSaturates) {
  Planes planes = {-1.0F, 1.0F, 0.0F, 1.5F, -7.0F, 0.5F};
  EXPECT_EQ(converted(cartoonOutputToImage, planes, 2, 1), (Picture{0, 128, 0, 255, 255, 191}));
}

// Plane 0: far below and far above. Plane 1: 0 becomes its mean, 0.456. Plane 2: 0.229 above its mean is 0.714.
TEST(NeuralOutput, TransferClampsAndStretches) {
  Planes planes = {-100.0F, 100.0F, 0.0F, 0.0F, 1.0F, kNan};
  EXPECT_EQ(converted(transferOutputToImage, planes, 2, 1), (Picture{0, 116, 182, 255, 116, 0}));
}

} // namespace
} // namespace vorin
