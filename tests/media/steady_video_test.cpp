// Steadied clips whose motion is known, since they are windows over one large texture. Pictures are that window with noise of
// their own, as a style's flicker; steadied ones have to come nearer to it.
#include "effects/steady_blend.h"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdint>
#include <vector>

namespace vorin::media {
namespace {

constexpr double kFlicker = 12; // the standard deviation of a picture's own noise

cv::Mat texture(cv::Size size, int seed) {
  cv::RNG random(static_cast<std::uint64_t>(seed));
  cv::Mat bytes(size, CV_8UC3);
  random.fill(bytes, cv::RNG::UNIFORM, 0, 256);
  cv::GaussianBlur(bytes, bytes, cv::Size(), 2.5);
  cv::normalize(bytes, bytes, 30, 225, cv::NORM_MINMAX);
  return bytes;
}

cv::Mat flickering(const cv::Mat& clean, int seed) {
  cv::RNG random(static_cast<std::uint64_t>(seed + 1000));
  cv::Mat noise(clean.size(), CV_16SC(clean.channels()));
  random.fill(noise, cv::RNG::NORMAL, 0, kFlicker);
  cv::Mat picture;
  cv::add(clean, noise, picture, cv::noArray(), CV_8U);
  return picture;
}

double meanDifference(const cv::Mat& a, const cv::Mat& b) {
  return cv::norm(a, b, cv::NORM_L1) / static_cast<double>(a.total() * a.elemSize());
}

const cv::Mat& steadiedBy(SteadyBlend& blend, const cv::Mat& source, const cv::Mat& picture) {
  blend.see(source, picture.size());
  return blend.apply(picture);
}

bool areEqual(const cv::Mat& a, const cv::Mat& b) {
  return a.size() == b.size() && cv::norm(a, b, cv::NORM_INF) == 0;
}

cv::Rect insideOf(const cv::Mat& picture, int rim) {
  return {rim, rim, picture.cols - 2 * rim, picture.rows - 2 * rim};
}

// Windows over a scene whose colour is also a texture of its own at half the size, as the chroma of a picture in 4:2:0.
class SteadyScene : public testing::Test {
protected:
  cv::Mat windowAt(cv::Point2d place, double scale) const {
    const cv::Point2d corner = (cv::Point2d(70, 70) + place) * scale;
    const cv::Mat shift = (cv::Mat_<double>(2, 3) << 1, 0, -corner.x, 0, 1, -corner.y);
    cv::Mat window;
    cv::warpAffine(scale == 1 ? scene_ : small_scene_, window, shift, scale == 1 ? size_ : size_ / 2, cv::INTER_CUBIC);
    return window;
  }

  static cv::Mat channelsOf(const cv::Mat& picture, int count) {
    cv::Mat part(picture.size(), CV_8UC(count));
    cv::mixChannels({picture}, {part}, count == 1 ? std::vector{0, 0} : std::vector{0, 0, 1, 1});
    return part;
  }

  const cv::Size size_{254, 162};
  const cv::Mat scene_ = texture(size_ + cv::Size(140, 140), 21);
  const cv::Mat small_scene_ = texture(size_ / 2 + cv::Size(70, 70), 22);
};

struct Pan {
  cv::Point2d step;     // of the window, pixels a frame
  bool is_luma = false; // the source comes as one channel
  int source_scale = 1; // the source is larger than the picture
};

// Luma and chroma have flickers of their own. After a blend at nine tenths a flicker of 1 is one of sqrt(0.1 / 1.9) = 0.23; the
// rest is what moving a picture by parts of a pixel softens. Colour that lags behind by a pixel has 0.44. What passes for motion
// is within a quarter of a pixel of the truth nearly everywhere.
TEST_F(SteadyScene, IsFollowedAndFlickersLess) {
  constexpr int kFrames = 24;
  const double raw = std::sqrt(2 / CV_PI) * kFlicker; // the mean of a normal deviation's amounts
  for (const Pan& pan :
       {Pan{{0, 0}}, Pan{{4, -2}}, Pan{{3, -1}}, Pan{{0.25, 0}}, Pan{{0, -0.5}}, Pan{{-3, 2}, true}, Pan{{1, -4}, false, 2}}) {
    SCOPED_TRACE(testing::Message() << pan.step);
    SteadyBlend blend(Texture::kStrokes);
    SteadyBlend planes(Texture::kStrokes);
    SourceMotion motion(kUsualMemory);
    cv::Mat clean;
    cv::Mat clean_chroma;
    cv::Mat steadied;
    cv::Mat luma;
    cv::Mat chroma;
    for (int frame = 0; frame < kFrames; ++frame) {
      clean = windowAt(frame * pan.step, 1);
      clean_chroma = channelsOf(windowAt(frame * pan.step, 0.5), 2);
      cv::Mat source;
      cv::resize(pan.is_luma ? channelsOf(clean, 1) : clean, source, cv::Size(), pan.source_scale, pan.source_scale,
                 cv::INTER_CUBIC);
      const cv::Mat picture = flickering(clean, frame);
      steadied = steadiedBy(blend, source, picture);
      luma = channelsOf(picture, 1);
      chroma = flickering(clean_chroma, frame + kFrames);
      const cv::Mat restyled = chroma.clone();
      planes.see(source, size_);
      planes.apply(luma, chroma);
      EXPECT_EQ(areEqual(chroma, restyled), frame == 0);
      EXPECT_EQ(motion.follow(source, size_), frame > 0);
    }
    const cv::Rect inside = insideOf(steadied, 24);
    const cv::Rect inside_chroma = insideOf(chroma, 12);
    EXPECT_LT(meanDifference(steadied(inside), clean(inside)), 0.4 * raw);
    EXPECT_LT(meanDifference(luma(inside), channelsOf(clean, 1)(inside)), 0.4 * raw);
    EXPECT_LT(meanDifference(chroma(inside_chroma), clean_chroma(inside_chroma)), 0.4 * raw);
    cv::Mat wrong;
    cv::absdiff(motion.motion(), cv::Scalar(pan.step.x, pan.step.y), wrong);
    EXPECT_LT(cv::countNonZero(wrong.reshape(1) > 0.25), 0.2 * static_cast<double>(wrong.total()));
  }
}

// Styles frame their pictures. A moving camera must not carry the frame into the picture: there all is grey, exactly.
TEST(SteadyBlend, AFrameAroundThePictureLeavesNoTrail) {
  constexpr int kFrameWidth = 6;
  constexpr int kGrey = 200;
  const cv::Mat scene = texture({400, 300}, 12);
  cv::Mat picture(203, 299, CV_8UC3, cv::Scalar::all(0));
  picture(insideOf(picture, kFrameWidth)) = cv::Scalar::all(kGrey);
  for (const cv::Point step : {cv::Point(4, 0), cv::Point(-3, 0), cv::Point(0, 2), cv::Point(-1, -4)}) {
    SteadyBlend blend(Texture::kStrokes);
    cv::Mat steadied;
    for (int frame = 0; frame < 10; ++frame) {
      steadied = steadiedBy(blend, scene({cv::Point(45, 45) + frame * step, picture.size()}), picture);
    }
    double least = 0;
    cv::minMaxLoc(steadied(insideOf(steadied, kFrameWidth)).reshape(1), &least, nullptr);
    EXPECT_EQ(least, kGrey) << step;
  }
}

// New parts of the scene stay as they were restyled, the rest stays steady.
TEST(SteadyBlend, NewThingsAreDrawnAtOnce) {
  SteadyBlend blend(Texture::kStrokes);
  cv::Mat source = texture({320, 240}, 4);
  constexpr int kFrames = 20;
  for (int frame = 0; frame < kFrames; ++frame) {
    steadiedBy(blend, source, flickering(source, frame));
  }
  const cv::Rect thing(100, 80, 80, 60);
  texture(thing.size(), 5).copyTo(source(thing));
  const cv::Mat picture = flickering(source, kFrames);
  const cv::Mat steadied = steadiedBy(blend, source, picture);
  const cv::Rect within(thing.tl() + cv::Point(8, 8), thing.size() - cv::Size(16, 16));
  EXPECT_LT(meanDifference(steadied(within), picture(within)), 0.05 * kFlicker);
  const cv::Rect elsewhere(200, 160, 100, 70);
  EXPECT_LT(meanDifference(steadied(elsewhere), source(elsewhere)), 0.5 * meanDifference(picture(elsewhere), source(elsewhere)));
}

// A clip that slowly darkens by 3 grey levels a frame, each step as small as noise: blended at nine tenths all the while, it
// would lag behind by 27, and with a longer memory by more.
TEST(SteadyBlend, FadesAreFollowed) {
  const cv::Mat bright = texture({320, 240}, 6) + cv::Scalar::all(30);
  for (const double memory : {kUsualMemory, 0.97}) {
    SteadyBlend blend(Texture::kStrokes, memory);
    for (int frame = 0; frame < 25; ++frame) {
      const cv::Mat source = bright - cv::Scalar::all(3.0 * frame);
      EXPECT_LT(meanDifference(steadiedBy(blend, source, source), source), 10) << "frame " << frame << ", memory " << memory;
    }
  }
}

TEST(SteadyBlend, FirstOnesComeBackEqual) {
  for (const Texture kind : {Texture::kStrokes, Texture::kDots}) {
    SteadyBlend blend(kind);
    int seed = 10;
    const auto isEqual = [&](const cv::Mat& source, cv::Size size) {
      const cv::Mat picture = texture(size, ++seed);
      return areEqual(steadiedBy(blend, source, picture), picture);
    };
    const cv::Mat source = texture({203, 117}, 7);
    const cv::Mat after_cut = texture({203, 117}, 8);
    EXPECT_TRUE(isEqual(source, {203, 117})) << "first";
    EXPECT_FALSE(isEqual(source, {203, 117})) << "second";
    EXPECT_TRUE(isEqual(after_cut, {203, 117})) << "after a cut";
    EXPECT_FALSE(isEqual(after_cut, {203, 117})) << "second after it";
    EXPECT_TRUE(isEqual(after_cut, {119, 203})) << "another size";
    EXPECT_FALSE(isEqual(after_cut, {119, 203})) << "that size again";
    for (const cv::Size tiny : {cv::Size(1, 1), cv::Size(7, 40), cv::Size(8, 1), cv::Size(9, 9)}) {
      isEqual(source, tiny); // anything but a fault
      EXPECT_EQ(steadiedBy(blend, source, texture(tiny, ++seed)).size(), tiny);
    }
  }
}

// In a clip at rest each frame's picture is of one grey, which shows when a pixel was renewed: whole tiles, each of them once in
// eight frames, and only a few at a time.
TEST(SteadyBlend, DotsAreCarriedAndRenewed) {
  SteadyBlend blend(Texture::kDots);
  const cv::Mat source = texture({240, 160}, 9);
  constexpr int kFrames = 25;
  constexpr int kGreys = 10; // from frame to frame
  cv::Mat steadied;
  for (int frame = 0; frame < kFrames; ++frame) {
    steadied = steadiedBy(blend, source, cv::Mat(source.size(), CV_8UC3, cv::Scalar::all(kGreys * frame)));
  }
  std::vector<int> pixels_of_age(8);
  for (int row = 0; row < steadied.rows; ++row) {
    for (int column = 0; column < steadied.cols; ++column) {
      const int grey = steadied.at<cv::Vec3b>(row, column)[0];
      const int age = kFrames - 1 - grey / kGreys;
      ASSERT_EQ(grey % kGreys, 0) << "a blend at " << column << ", " << row;
      ASSERT_LT(age, 8) << "at " << column << ", " << row;
      ASSERT_EQ(grey, steadied.at<cv::Vec3b>(row / kTile * kTile, column / kTile * kTile)[0]);
      ++pixels_of_age[static_cast<std::size_t>(age)];
    }
  }
  for (const int pixels : pixels_of_age) {
    EXPECT_NEAR(pixels, steadied.rows * steadied.cols / 8.0, steadied.rows * steadied.cols / 16.0);
  }
}

// A pan of 0.3 pixels a frame: no single step moves a dot, but all of them have to. Chroma of one colour stays as it is.
TEST_F(SteadyScene, DotsKeepUpWithSlowMotion) {
  SteadyBlend blend(Texture::kDots);
  const cv::Mat grey(size_ / 2, CV_8UC2, cv::Scalar(128, 130));
  cv::Mat source;
  cv::Mat luma;
  for (int frame = 0; frame < 30; ++frame) {
    source = channelsOf(windowAt({0.3 * frame, 0}, 1), 1);
    luma = source.clone();
    cv::Mat chroma = grey.clone();
    blend.see(source, size_);
    blend.apply(luma, chroma);
    EXPECT_TRUE(areEqual(chroma, grey));
  }
  const cv::Rect inside = insideOf(source, 24);
  const auto differenceAt = [&](int columns) { return meanDifference(luma(inside), source(inside + cv::Point(columns, 0))); };
  EXPECT_LT(differenceAt(0), differenceAt(-1));
  EXPECT_LT(differenceAt(0), differenceAt(1));
  EXPECT_LT(differenceAt(0), 0.5 * differenceAt(2));
}

} // namespace
} // namespace vorin::media
