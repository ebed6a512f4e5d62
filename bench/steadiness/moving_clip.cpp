#include "moving_clip.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace vorin::bench {
namespace {

// The middle of the photo, enlarged to just this size.
cv::Mat covering(const cv::Mat& photo, cv::Size size) {
  const double scale = std::max(static_cast<double>(size.width) / photo.cols, static_cast<double>(size.height) / photo.rows);
  cv::Mat enlarged;
  cv::resize(photo, enlarged,
             cv::Size(std::max(size.width, cvRound(photo.cols * scale)), std::max(size.height, cvRound(photo.rows * scale))), 0,
             0, cv::INTER_CUBIC);
  return enlarged(cv::Rect((enlarged.cols - size.width) / 2, (enlarged.rows - size.height) / 2, size.width, size.height));
}

void addNoise(cv::Mat& frame, double deviation, cv::RNG& random) {
  if (deviation > 0) {
    cv::Mat noise(frame.size(), CV_16SC3);
    random.fill(noise, cv::RNG::NORMAL, 0.0, deviation);
    cv::add(frame, noise, frame, cv::noArray(), CV_8U);
  }
}

Clip windowOver(const cv::Mat& photo, cv::Size size, int frames, int pan_pixels, double noise) {
  const cv::Mat scene = covering(photo, {size.width + pan_pixels * (frames - 1), size.height});
  cv::RNG random(20240607);
  Clip clip;
  clip.pan_pixels = pan_pixels;
  for (int frame = 0; frame < frames; ++frame) {
    clip.frames_bgr.push_back(scene(cv::Rect(frame * pan_pixels, 0, size.width, size.height)).clone());
    addNoise(clip.frames_bgr.back(), noise, random);
  }
  return clip;
}

} // namespace

Clip panClip(const cv::Mat& photo, cv::Size size, int frames, int pan_pixels, double noise) {
  Clip clip = windowOver(photo, size, frames, pan_pixels, noise);
  clip.name = "pan by " + std::to_string(pan_pixels) + (noise > 0 ? " pixels, noisy" : " pixels");
  return clip;
}

Clip halfPixelPanClip(const cv::Mat& photo, cv::Size size, int frames, int pan_half_pixels, double noise) {
  Clip clip = windowOver(photo, size * 2, frames, pan_half_pixels, 0);
  clip.name = "pan by " + std::to_string(pan_half_pixels) + " half pixels, noisy";
  clip.pan_frames = 2;
  cv::RNG random(20240607);
  for (cv::Mat& frame : clip.frames_bgr) {
    cv::Mat small;
    cv::resize(frame, small, size, 0, 0, cv::INTER_AREA);
    addNoise(small, noise, random);
    frame = small;
  }
  return clip;
}

Clip stillClip(const cv::Mat& photo, cv::Size size, int frames, double noise) {
  Clip clip = windowOver(photo, size, frames, 0, noise);
  clip.name = "still, noisy";
  return clip;
}

Clip cutClip(const cv::Mat& before, const cv::Mat& after, cv::Size size, int frames) {
  Clip clip = panClip(before, size, frames / 2, 4, 0);
  const Clip second = panClip(after, size, frames - frames / 2, 4, 0);
  clip.name = "cut";
  clip.frames_bgr.insert(clip.frames_bgr.end(), second.frames_bgr.begin(), second.frames_bgr.end());
  return clip;
}

} // namespace vorin::bench
