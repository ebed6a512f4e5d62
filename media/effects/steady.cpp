// The effect Steady: steady_blend.h in the layout of the frames, with the search for motion beside the restyling.
#include "clip_module.h"
#include "effects/steady_blend.h"
#include "picture_mat.h"

#include <opencv2/imgproc.hpp>

#include <future>

namespace vorin::media {

SteadyBlend steadyBlendFor(Style style, std::int64_t first_frame) {
  constexpr double kLongMemory = 0.97;
  switch (style) {
  case Style::kStippling: // blended dots become grey
    return SteadyBlend(Texture::kDots, kUsualMemory, first_frame);
  case Style::kTransfer: // the library blends without following motion: the smear of a pan flickers unless blended longer
    return SteadyBlend(Texture::kStrokes, kLongMemory, first_frame);
  default:
    return SteadyBlend(Texture::kStrokes, kUsualMemory, first_frame);
  }
}

namespace {

class MotionSteady final : public Effect {
public:
  MotionSteady(Style style, std::int64_t first_frame) : blend_(steadyBlendFor(style, first_frame)) {}
  ~MotionSteady() override {
    if (motion_.valid()) { // another effect threw before apply
      motion_.wait();
    }
  }
  MotionSteady(const MotionSteady&) = delete;
  MotionSteady& operator=(const MotionSteady&) = delete;

  void see(const Picture& source, Size size) override {
    motion_ = std::async(std::launch::async, [this, &source, size = cv::Size(size.width, size.height)] {
      if (source.layout() == PixelLayout::kNv12) {
        blend_.see(matOver(source), size);
      } else {
        blend_.see(bgrOf(source), size);
      }
    });
  }

  void apply(const Picture& /*source*/, Picture& picture) override {
    if (!picture.ownsPixels()) {
      picture = picture.copy();
    }
    motion_.get();
    if (picture.layout() == PixelLayout::kNv12) {
      cv::Mat luma = matOver(picture);
      cv::Mat chroma = chromaOver(picture);
      blend_.apply(luma, chroma);
    } else {
      cv::Mat pixels = matOver(picture);
      cv::cvtColor(pixels, bgr_, cv::COLOR_BGRA2BGR);
      cv::mixChannels({blend_.apply(bgr_)}, {pixels}, {0, 0, 1, 1, 2, 2});
    }
  }

private:
  SteadyBlend blend_;
  cv::Mat bgr_;
  std::future<void> motion_;
};

} // namespace

std::unique_ptr<Effect> clips::makeSteady(Style style, std::int64_t first_frame) {
  return std::make_unique<MotionSteady>(style, first_frame);
}

} // namespace vorin::media
