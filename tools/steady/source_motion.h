// Where each place of a film's frame was in the frame before, and how far that can be trusted.
//
// Idea: dense inverse search (T. Kroeger, R. Timofte, D. Dai, L. Van Gool: "Fast Optical Flow using Dense Inverse Search", ECCV 2016;
// the imaging library's own) on small grey pictures. Motion seen in flat areas is noise: each place takes the mean motion of its
// surroundings, weighted by their texture. Trust is photometric: the previous picture, moved, is compared with the present one, and
// what differs by clearly more than the frame's own noise is not trusted, nor are its neighbours. Where little is left, a cut was.
#pragma once

#include <opencv2/core.hpp>
#include <opencv2/video/tracking.hpp>

namespace vorin::steady {

class SourceMotion {
public:
  // Takes the next frame, 8-bit, of 1 channel (luma) or 3 (blue, green, red). picture_size: of the picture that will follow the
  // motion; the frame may have another size. False where there is nothing to follow: the first frame, another picture size than
  // before, a cut.
  bool follow(const cv::Mat& frame, cv::Size picture_size);

  // Of the last frame that could be followed, in an even grid over the picture. Motion: CV_32FC2, from a place to where it was, in
  // pixels of the picture. Trust: CV_8UC1, 0 to 255.
  const cv::Mat& motion() const { return motion_; }
  const cv::Mat& trust() const { return trust_; }

private:
  void makePresent(const cv::Mat& frame);
  void settleMotion();
  double weighTrust(); // the mean, 0 to 1

  cv::Ptr<cv::DISOpticalFlow> search_;
  cv::Size picture_size_;
  cv::Mat previous_; // small and grey, as present_
  cv::Mat present_;
  cv::Mat twice_colour_; // of the present frame, on its way
  cv::Mat small_colour_;
  cv::Mat flow_; // CV_32FC2, in small pixels
  cv::Mat motion_;
  cv::Mat trust_;
};

} // namespace vorin::steady
