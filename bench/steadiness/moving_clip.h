// Clips whose motion is known exactly: a window that moves over a real photo by whole pixels, so that every pixel of a frame but
// those at the entering rim is found in the frame before (or in the one before that), and a window at rest with a camera's
// noise.
#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace vorin::bench {

struct Clip {
  std::string name;
  std::vector<cv::Mat> frames_bgr; // 8-bit
  int pan_pixels = 0;              // the scene's motion to the left
  int pan_frames = 1;              // in this number of frames
};

// Enlarges the photo as far as the longest pan needs; adds Gaussian noise of this standard deviation, new in every frame and
// channel. The seed is fixed.
Clip panClip(const cv::Mat& photo, cv::Size size, int frames, int pan_pixels, double noise);
Clip stillClip(const cv::Mat& photo, cv::Size size, int frames, double noise);

// The same from a photo of twice the size, scaled down: an odd step moves every other frame by half a pixel.
Clip halfPixelPanClip(const cv::Mat& photo, cv::Size size, int frames, int pan_half_pixels, double noise);

// Half of the frames show one photo, half the other, both panned.
Clip cutClip(const cv::Mat& before, const cv::Mat& after, cv::Size size, int frames);

} // namespace vorin::bench
