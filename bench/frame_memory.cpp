// Measures memory in the steady state: the large heap allocations of a frame outside of inference, and the growth of the
// program's resident size over a thousand frames of each style. The exit status does not depend on the figures.
//
// Allocations are counted at the sizes of the promises; for growth small sizes are enough, since a leak in each frame shows at
// any size.
#include "allocation_count.h"
#include "neural_case.h"
#include "photo_like_picture.h"

#include <array>
#include <exception>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace vorin::bench {
namespace {

struct MemoryCase {
  const char* style;
  NeuralCase full_size; // of the output; the input is 1920 x 1080
  NeuralCase small_size;
};

constexpr std::array kCases = {
    MemoryCase{"transfer", {SttStyleTransfer, 2, kWidth, kHeight}, {SttStyleTransfer, 1, 320, 180}}, // its smallest network
    MemoryCase{"light grey", {SttStyleLightGrey, 0, 960, 540}, {SttStyleLightGrey, 0, 64, 48}},
    MemoryCase{"cartoon", {SttStyleCartoon, 0, 960, 540}, {SttStyleCartoon, 0, 64, 48}},
    MemoryCase{"stippling", {SttStyleStippling, 0, kWidth, kHeight}, {SttStyleStippling, 0, 160, 120}},
    MemoryCase{"pencil sketch", {SttStylePencilSketch, 0, kWidth, kHeight}, {SttStylePencilSketch, 0, 160, 120}},
};

constexpr int kFramesBefore = 50; // until the steady state
constexpr int kFrames = 1000;
constexpr int kCountedFrames = 10;
constexpr double kMaxGrowthKib = 2048.0;
constexpr int kStyleEdge = 256;

double residentKib() {
  std::ifstream statistics("/proc/self/statm");
  long total_pages = 0;
  long resident_pages = 0;
  statistics >> total_pages >> resident_pages;
  return static_cast<double>(resident_pages) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1024.0;
}

// A prepared style and a frame of its own size.
class FrameStream {
public:
  FrameStream(const NeuralCase& neural_case, int input_width, int input_height)
      : settings_(settingsOf(neural_case)), input_pixels_(photoLikePicture(input_width, input_height)),
        output_pixels_(static_cast<std::size_t>(neural_case.output_width) * neural_case.output_height * 4),
        style_pixels_(photoLikePicture(kStyleEdge, kStyleEdge)),
        input_(bgraFrame(input_pixels_.data(), input_width, input_height)),
        style_(bgraFrame(style_pixels_.data(), kStyleEdge, kStyleEdge)), output_(bgraFrame(output_pixels_.data(), 0, 0)) {
    if (pipeline_.initPlugins(settings_) != VORIN_STATUS_OK) {
      throw std::runtime_error("no trained networks (models/build), or no GPU of the inference runtime");
    }
  }

  // Passes the style image with each frame, so that binding it is measured too.
  void frame() { static_cast<void>(pipeline_.processFrame(settings_, input_, &style_, output_)); }

private:
  StyleSettings settings_;
  FramePipeline pipeline_;
  std::vector<std::uint8_t> input_pixels_;
  std::vector<std::uint8_t> output_pixels_;
  std::vector<std::uint8_t> style_pixels_;
  SttFrame input_;
  SttFrame style_;
  SttFrame output_;
};

void printCells(const std::array<std::string, 7>& cells) {
  std::cout << std::left << std::setw(14) << cells[0] << std::right;
  for (std::size_t cell = 1; cell < cells.size(); ++cell) {
    std::cout << " |" << std::setw(16) << cells[cell];
  }
  std::cout << std::endl;
}

void measure(const MemoryCase& memory_case) {
  std::int64_t allocations = 0;
  std::int64_t largest_bytes = 0;
  {
    FrameStream stream(memory_case.full_size, kWidth, kHeight);
    for (int frame = 0; frame < 3; ++frame) {
      stream.frame();
    }
    const AllocationCount counter;
    for (int frame = 0; frame < kCountedFrames; ++frame) {
      stream.frame();
    }
    allocations = counter.count();
    largest_bytes = counter.largestBytes();
  }
  FrameStream stream(memory_case.small_size, memory_case.small_size.output_width, memory_case.small_size.output_height);
  double before_kib = 0;
  for (int frame = 0; frame < kFrames; ++frame) {
    if (frame == kFramesBefore) {
      before_kib = residentKib();
    }
    stream.frame();
  }
  const double growth_kib = residentKib() - before_kib;
  std::ostringstream growth;
  growth << std::fixed << std::setprecision(0) << growth_kib << " KiB";
  printCells({memory_case.style, std::to_string(allocations), std::to_string(largest_bytes) + " B",
              allocations == 0 ? "ok" : "OVER", growth.str(), "<= 2048 KiB", growth_kib <= kMaxGrowthKib ? "ok" : "OVER"});
}

} // namespace
} // namespace vorin::bench

int main() {
  using namespace vorin::bench;
  printCells({"style", "above 128 KiB", "largest", "of 10 frames", "growth", "limit", "of 950 frames"});
  for (const MemoryCase& memory_case : kCases) {
    try {
      measure(memory_case);
    } catch (const std::exception& error) {
      std::cout << memory_case.style << ": " << error.what() << std::endl;
    }
  }
}
