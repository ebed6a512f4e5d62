// Measures how steady restyled clips are: every style over clips whose motion is known, each frame raw (restyled by a new object
// of the library, which has no memory), as the library delivers it, and that steadied. Then measures the cost of steadying:
// frames with it and without it by turns, so that a busy moment affects both. The exit status does not depend on the figures.
//
// usage: vorin_steadiness [steadiness | cost]
#include "effects/steady_blend.h"
#include "measures.h"
#include "moving_clip.h"
#include "style_stream.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <chrono>
#include <cmath>
#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>

namespace vorin::bench {
namespace {

constexpr int kFrames = 24;
constexpr int kCostFrames = 31; // of each kind
constexpr double kCameraNoise = 3;
const cv::Size kSize(960, 540);

const std::string kModels = VORIN_DEMO_BUILD "/models";

// Reads a photo that scripts/setup has unpacked.
cv::Mat photo(const std::string& name) {
  for (const auto& version : std::filesystem::directory_iterator(VORIN_DEMO_BUILD "/venv/lib")) {
    cv::Mat picture = cv::imread((version.path() / "site-packages" / name).string());
    if (!picture.empty()) {
      return picture;
    }
  }
  throw std::runtime_error("no photo " + name + ": run scripts/setup");
}

cv::Mat styleImage() {
  return cv::imread(kModels + "/painting.png");
}

struct Results {
  std::vector<cv::Mat> raw;
  std::vector<cv::Mat> delivered;
  std::vector<cv::Mat> steadied;
};

Results resultsOf(const Clip& clip, const StyleCase& style) {
  Results results;
  StyleStream stream(style, kSize, kModels, styleImage());
  media::SteadyBlend blend = media::steadyBlendFor(static_cast<media::Style>(style.type));
  for (const cv::Mat& frame : clip.frames_bgr) {
    results.raw.push_back(StyleStream(style, kSize, kModels, styleImage()).restyle(frame));
    results.delivered.push_back(stream.restyle(frame));
    blend.see(frame, kSize);
    results.steadied.push_back(blend.apply(results.delivered.back()).clone());
  }
  return results;
}

void printSteadiness(const Clip& clip) {
  std::cout << "\n" << clip.name << "\n\n";
  printRow({"style", "raw", "delivered", "steadied", "steadied : raw", "steadied : delivered", "detail delivered : raw",
            "detail steadied : raw"});
  printRow({"---", "---:", "---:", "---:", "---:", "---:", "---:", "---:"});
  for (const StyleCase& style : kStyleCases) {
    const Results results = resultsOf(clip, style);
    const double raw = warpedDifference(results.raw, clip.pan_pixels, clip.pan_frames);
    const double delivered = warpedDifference(results.delivered, clip.pan_pixels, clip.pan_frames);
    const double steadied = warpedDifference(results.steadied, clip.pan_pixels, clip.pan_frames);
    const double raw_detail = detailOf(results.raw);
    printRow({style.name, decimals(raw, 2), decimals(delivered, 2), decimals(steadied, 2), decimals(steadied / raw, 2),
              decimals(steadied / delivered, 2), decimals(detailOf(results.delivered) / raw_detail, 2),
              decimals(detailOf(results.steadied) / raw_detail, 2)});
  }
}

// Prints how far the first frame after the cut is from the raw one.
void printCut(const Clip& clip) {
  std::cout << "\n" << clip.name << "\n\n";
  printRow({"style", "difference delivered - raw", "difference steadied - delivered"});
  printRow({"---", "---:", "---:"});
  const std::size_t first_after = clip.frames_bgr.size() / 2;
  for (const StyleCase& style : kStyleCases) {
    const Results results = resultsOf(clip, style);
    const auto difference = [&](const std::vector<cv::Mat>& a, const std::vector<cv::Mat>& b) {
      return cv::norm(a[first_after], b[first_after], cv::NORM_L1) / static_cast<double>(a[first_after].total() * 3);
    };
    printRow({style.name, decimals(difference(results.delivered, results.raw), 2),
              decimals(difference(results.steadied, results.delivered), 2)});
  }
}

void printCost(const StyleCase& style, cv::Size size, const cv::Mat& scene_photo) {
  const Clip clip = panClip(scene_photo, size, kFrames, 4, kCameraNoise);
  StyleStream stream(style, size, kModels, styleImage());
  media::SteadyBlend blend = media::steadyBlendFor(static_cast<media::Style>(style.type));
  std::vector<double> without_ms;
  std::vector<double> with_ms;
  std::vector<double> blending_ms;
  for (int frame = 0; frame < 2 * kCostFrames; ++frame) {
    const cv::Mat& frame_bgr = clip.frames_bgr[static_cast<std::size_t>(frame / 2 % kFrames)];
    if (frame % 2 == 0) {
      stream.restyle(frame_bgr);
      without_ms.push_back(stream.elapsedMs());
      continue;
    }
    const cv::Mat result = stream.restyle(frame_bgr, [&] { blend.see(frame_bgr, size); });
    const auto start = std::chrono::steady_clock::now();
    blend.apply(result);
    blending_ms.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    with_ms.push_back(stream.elapsedMs() + blending_ms.back());
  }
  const double ratio = medianOf(with_ms) / medianOf(without_ms);
  printRow({style.name, std::to_string(size.width) + "x" + std::to_string(size.height), decimals(medianOf(without_ms), 1) + " ms",
            decimals(medianOf(with_ms), 1) + " ms", decimals(medianOf(blending_ms), 1) + " ms", decimals(ratio, 2)});
}

void printAllSteadiness() {
  const cv::Mat pavilion = photo("sklearn/datasets/images/china.jpg");
  const cv::Mat coffee = photo("skimage/data/coffee.png");
  printSteadiness(stillClip(pavilion, kSize, kFrames, kCameraNoise));
  printSteadiness(panClip(pavilion, kSize, kFrames, 4, 0));
  printSteadiness(panClip(pavilion, kSize, kFrames, 4, kCameraNoise));
  printSteadiness(panClip(pavilion, kSize, kFrames, 3, kCameraNoise));          // no reduced picture moves by whole pixels
  printSteadiness(halfPixelPanClip(pavilion, kSize, kFrames, 5, kCameraNoise)); // everything is softened
  printCut(cutClip(pavilion, coffee, kSize, 8));
}

void printAllCost() {
  const cv::Mat pavilion = photo("sklearn/datasets/images/china.jpg");
  std::cout << "\ncost\n\n";
  printRow({"style", "size", "frame", "frame, steadied", "blending alone", "ratio"});
  printRow({"---", "---", "---:", "---:", "---:", "---:"});
  for (const StyleCase& style : kStyleCases) {
    for (const cv::Size size : {kSize, cv::Size(1920, 1080)}) {
      printCost(style, size, pavilion);
    }
  }
}

} // namespace
} // namespace vorin::bench

int main(int argc, char** argv) {
  const std::string part = argc == 2 ? argv[1] : "";
  if (argc > 2 || (!part.empty() && part != "steadiness" && part != "cost")) {
    std::cerr << "usage: vorin_steadiness [steadiness | cost]" << std::endl;
    return 2;
  }
  try {
    if (part != "cost") {
      vorin::bench::printAllSteadiness();
    }
    if (part != "steadiness") {
      vorin::bench::printAllCost();
    }
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "steadiness: " << error.what() << std::endl;
    return 1;
  }
}
