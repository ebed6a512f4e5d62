#include "neural/content_smoothing.h"

#include "neural/changed_pixels.h"

namespace vorin::neural {

void smoothContent(cv::Mat& image, const cv::Mat& previous) {
  smoothPixels(image, previous, [](std::uint8_t current, std::uint8_t /*previous*/) { return current; });
}

} // namespace vorin::neural
