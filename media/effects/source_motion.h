// source_motion.h: finds where each place of a clip's frame was in the frame before, and how far the memory of it can be trusted.
//
// Idea: dense inverse search (T. Kroeger, R. Timofte, D. Dai, L. Van Gool: "Fast Optical Flow using Dense Inverse Search", ECCV
// 2016; OpenCV's implementation) on small grey pictures, slightly blurred: fine detail that a small picture cannot hold pulls
// motion towards zero. Motion seen in flat areas is noise, so each place takes the mean motion of its surroundings, weighted by
// their texture; and where most of the frame moves alike, the camera moves, and places of nearly that motion get exactly it.
//
// Trust is photometric: a small memory of the clip is blended exactly as the pictures are and compared with the present frame.
// They differ where motion was missed, and where many small steps left the memory late or blurred. A difference clearly above
// the clip's own noise takes the trust from a place and its neighbours. Where little trust is left, there was a cut.
#pragma once

#include <opencv2/core.hpp>
#include <opencv2/video/tracking.hpp>

namespace vorin::media {

class SourceMotion {
public:
  // memory: the part of the remembered picture in the next one, where that is trusted entirely; 0 to 1.
  explicit SourceMotion(double memory) : kept_(memory) {}

  // Takes the next frame, 8-bit, of 3 channels (blue, green, red) or 1 (luma). picture_size: of the picture that will follow the
  // motion; the frame may have another size. Returns false if there is nothing to follow: at the first frame, at a picture
  // size other than before, and at a cut.
  bool follow(const cv::Mat& frame, cv::Size picture_size);

  // The motion and trust of a frame for which follow returned true, in an even grid over the picture. Motion: CV_32FC2, from a
  // place to where it was, in pixels of the picture. Trust: CV_8UC1, 0 to 255.
  const cv::Mat& motion() const { return motion_; }
  const cv::Mat& trust() const { return trust_; }

private:
  void makePresent(const cv::Mat& frame);
  void search();
  void settleOnTexture();
  void settleOnCamera();
  void moveMemory();
  void weighTrust();
  void remember();

  double kept_;
  cv::Ptr<cv::DISOpticalFlow> search_;
  cv::Size picture_size_;
  cv::Mat small_colour_;
  cv::Mat present_;  // small and grey
  cv::Mat blurred_;  // present_ blurred, for the search
  cv::Mat previous_; // blurred_ of the frame before
  cv::Mat flow_;     // CV_32FC2, in small pixels
  cv::Mat memory_;   // CV_32FC1
  cv::Mat moved_;    // the memory, along the flow
  cv::Mat texture_;  // CV_32FC1: squared grey levels from pixel to pixel
  double noise_ = 1; // of the clip, in grey levels: half of the pixels have less
  cv::Mat motion_;
  cv::Mat trust_;
};

} // namespace vorin::media
