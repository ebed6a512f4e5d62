// The effect Steady: applies steady_blend.h to pictures in the frames' layout, and follows motion on another thread while the
// frame is restyled.
#include "effects/steady_blend.h"
#include "picture_mat.h"

#include <opencv2/imgproc.hpp>

#include <future>

namespace vorin::media {

SteadyBlend steadyBlendFor(Style style) {
  constexpr double kLongMemory = 0.97;
  switch (style) {
  case Style::kStippling: // blended dots become grey
    return SteadyBlend(Texture::kDots);
  case Style::kTransfer: // the library blends without following motion: the smear of a pan flickers unless blended longer
    return SteadyBlend(Texture::kStrokes, kLongMemory);
  default:
    return SteadyBlend(Texture::kStrokes);
  }
}

class Steady::Work {
public:
  explicit Work(Style style) : blend_(steadyBlendFor(style)) {}
  ~Work() {
    if (motion_.valid()) { // another effect threw before apply
      motion_.wait();
    }
  }
  Work(const Work&) = delete;
  Work& operator=(const Work&) = delete;

  void see(const Picture& source, cv::Size size) {
    motion_ = std::async(std::launch::async, [this, &source, size] {
      if (source.layout() == PixelLayout::kNv12) {
        blend_.see(matOver(source), size);
      } else {
        blend_.see(bgrOf(source), size);
      }
    });
  }

  void apply(Picture& picture) {
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

Steady::Steady(Style style) : work_(std::make_unique<Work>(style)) {}
Steady::~Steady() = default;

void Steady::see(const Picture& source, Size size) {
  work_->see(source, {size.width, size.height});
}

void Steady::apply(const Picture& /*source*/, Picture& picture) {
  if (!picture.ownsPixels()) {
    picture = picture.copy();
  }
  work_->apply(picture);
}

} // namespace vorin::media
