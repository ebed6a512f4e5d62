// look.h: how much of the style shows, and whose colours: what the program does to a drawing after the library.
//
// A drawing is blended with its source byte by byte, source * (1 - strength) + drawing * strength, so that strength 0 is the
// source itself and 1 the drawing. To keep the colours, each pixel takes the drawing's luma and the source's chroma, both of
// BT.601 (luma = 0.299 red + 0.587 green + 0.114 blue), the matrix of the library's own YUV formats. In blue, green, red that is
// the source with the difference of the lumas added to all three, cut off at 0 and 255, so a drawing equal to its source leaves
// it as it is.
#pragma once

#include <opencv2/core/mat.hpp>

namespace vorin::stylize {

struct Look {
  double strength = 1; // 0 to 1
  bool keep_colors = false;

  bool changesNothing() const { return strength == 1 && !keep_colors; }
};

// 8-bit pictures of blue, green, red, perhaps with alpha. A source of another size is brought to the drawing's.
void applyLook(const Look& look, const cv::Mat& source, cv::Mat& drawing);

// The two planes of NV12: luma, one byte a pixel; chroma, pairs for 2 x 2 pixels.
struct Nv12Planes {
  cv::Mat luma;
  cv::Mat chroma;
};
void applyLook(const Look& look, const Nv12Planes& source, Nv12Planes& drawing);

} // namespace vorin::stylize
