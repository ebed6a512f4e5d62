// Clips: how much of the library's own frame rate is left when frames come out of a clip and go into another one, and what
// steadying them costs on that way.
//
// All sides draw the same frames, in turns, in one run: the library alone, with the frames in memory; the whole way of
// vorin-stylize, decoding ahead and encoding behind; and the same with --steady. A device that is the processor itself shares it
// with the codecs, so what they cost alone is told too.
#include "clip_reader.h"
#include "clip_steadying.h"
#include "clip_writer.h"
#include "photo_like_picture.h"
#include "pipeline.h"
#include "styles.h"
#include "vorin_stt.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <future>
#include <iomanip>
#include <iostream>
#include <memory>

namespace vorin::bench {
namespace {

namespace fs = std::filesystem;

constexpr int kRounds = 5;
constexpr media::Size kLarge = {1920, 1080};
constexpr media::Size kSmall = {960, 540};

struct ClipRow {
  const char* style;
  media::Size size;
  int frames; // so many that the clip's begin and end, where one side waits for the other, count for little
};

constexpr std::array kClips = {ClipRow{"pencil", kLarge, 60},    ClipRow{"pencil", kSmall, 160},
                               ClipRow{"stipple", kLarge, 60},   ClipRow{"stipple", kSmall, 160},
                               ClipRow{"lightgrey", kLarge, 40}, ClipRow{"lightgrey", kSmall, 80},
                               ClipRow{"cartoon", kLarge, 40},   ClipRow{"cartoon", kSmall, 80}};

// A photo that the camera pans over, as H.264.
void makeClip(const fs::path& clip, media::Size size, int frames) {
  constexpr int kStep = 4; // pixels a frame
  const int wide = size.width + kStep * frames;
  const std::vector<std::uint8_t> photo = photoLikePicture(wide, size.height);
  media::VideoInfo info;
  info.size = size;
  info.frame_rate = {25, 1};
  info.time_base = {1, 25};
  detailsOf(info).colours.matrix = 1;
  media::ClipWriterOptions options;
  options.overwrite = true;
  media::ClipWriter writer(clip, info, size, options);
  for (int i = 0; i < frames; ++i) {
    media::VideoFrame frame;
    frame.picture = media::makePicture(media::PixelLayout::kBgra, size);
    frame.time = i;
    frame.duration = 1;
    const auto row_bytes = static_cast<std::size_t>(size.width) * 4;
    for (int row = 0; row < size.height; ++row) {
      const auto from =
          (static_cast<std::size_t>(row) * static_cast<std::size_t>(wide) + static_cast<std::size_t>(i * kStep)) * 4;
      std::memcpy(frame.picture.bytes.data() + static_cast<std::size_t>(row) * row_bytes, photo.data() + from, row_bytes);
    }
    writer.write(std::move(frame));
  }
  writer.finish();
}

SttFrame descriptorOf(const media::Picture& nv12) {
  SttFrame frame{};
  frame.memoryType = VORIN_MEM_SYSTEM;
  frame.data = const_cast<std::uint8_t*>(nv12.bytes.data()); // written to only where the frame is an output
  frame.pixelFormat = VORIN_FMT_NV12;
  frame.width = static_cast<std::uint32_t>(nv12.size.width);
  frame.height = static_cast<std::uint32_t>(nv12.size.height);
  frame.pitch = frame.width;
  return frame;
}

class Library {
public:
  Library(SttStyleType style, media::Size size) {
    SttInterface* object = nullptr;
    SttFactory::Create(&object);
    object_.reset(object);
    SttDeviceRequest request{};
    request.kind = SttDeviceAnyGpu;
    SttDeviceRecord* device = nullptr;
    object_->CreateDevice(&request, &device);
    object_->CreateContext(device, &context_);
    set(SttCfgStyleType, style);
    set(SttCfgStyleIndex, 0);
    set(SttCfgWidth, size.width);
    set(SttCfgHeight, size.height);
    object_->SetConfig(context_, SttCfgModelPath, VORIN_DEMO_MODELS);
    is_ready_ = object_->Prepare(context_) == VORIN_STATUS_OK;
  }

  bool isReady() const { return is_ready_; }

  void draw(const media::Picture& frame, media::Picture& drawing) {
    const SttFrame input = descriptorOf(frame);
    SttFrame output = descriptorOf(drawing);
    object_->ProcessFrame(context_, &input, nullptr, &output);
  }

private:
  struct Destroyer {
    void operator()(SttInterface* object) const { SttFactory::Destroy(object); }
  };

  void set(SttConfigKey key, std::int32_t value) { object_->SetConfig(context_, key, &value); }

  std::unique_ptr<SttInterface, Destroyer> object_;
  VorinSttContext context_ = nullptr;
  bool is_ready_ = false;
};

// Frames a second of the whole way with this effect.
double clipRate(const fs::path& clip, const fs::path& output, const media::FrameEffect& effect) {
  const std::atomic<bool> never = false;
  const auto start = std::chrono::steady_clock::now();
  media::ClipReader reader(clip);
  media::ClipWriterOptions options;
  options.overwrite = true;
  media::ClipWriter writer(output, reader.info(), reader.info().size, options);
  const media::PipelineResult result = media::runPipeline(reader, writer, effect, {never, {}});
  return static_cast<double>(result.frames) / std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The library's own, on the frames of the clip. They are decoded in between, off the clock.
double libraryRate(const fs::path& clip, Library& library) {
  media::ClipReader reader(clip);
  media::Picture drawing = media::makePicture(media::PixelLayout::kNv12, reader.info().size);
  std::chrono::duration<double> elapsed{};
  int frames = 0;
  while (const std::optional<media::Item> item = reader.next()) {
    if (const auto* frame = std::get_if<media::VideoFrame>(&*item)) {
      const auto start = std::chrono::steady_clock::now();
      library.draw(frame->picture, drawing);
      elapsed += std::chrono::steady_clock::now() - start;
      ++frames;
    }
  }
  return frames / elapsed.count();
}

using Rates = std::array<double, kRounds>;

double median(Rates rates) {
  std::sort(rates.begin(), rates.end());
  return rates[kRounds / 2];
}

struct Sides {
  Rates alone;
  Rates whole;
  Rates steadied;
  Rates codecs;
};

// In turns.
Sides measure(Library& library, const stylize::Style& style, const fs::path& clip, const fs::path& folder) {
  const fs::path output = folder / "drawn.mp4";
  const media::FrameEffect draw = [&](const media::VideoFrame& frame, media::Picture& drawing) {
    library.draw(frame.picture, drawing);
  };
  stylize::ClipSteadying steadying(style);
  const media::FrameEffect draw_steadily = [&](const media::VideoFrame& frame, media::Picture& drawing) {
    std::future<void> motion = steadying.see(frame.picture, drawing.size);
    library.draw(frame.picture, drawing);
    motion.get();
    steadying.apply(drawing);
  };
  const media::FrameEffect copy = [](const media::VideoFrame& frame, media::Picture& drawing) {
    drawing.bytes = frame.picture.bytes;
  };
  clipRate(clip, output, draw); // the first frames build kernels
  Sides sides{};
  for (std::size_t round = 0; round < kRounds; ++round) {
    sides.alone[round] = libraryRate(clip, library);
    sides.steadied[round] = clipRate(clip, output, draw_steadily);
    sides.whole[round] = clipRate(clip, output, draw);
    // The drawings themselves through the codecs, once more.
    fs::copy_file(output, folder / "drawings.mp4", fs::copy_options::overwrite_existing);
    sides.codecs[round] = clipRate(folder / "drawings.mp4", output, copy);
  }
  return sides;
}

void measureAndPrint(const ClipRow& row, const fs::path& folder) {
  const stylize::Style& style = *stylize::findStyle(row.style);
  Library library(style.type, row.size);
  std::cout << std::setw(10) << row.style << std::setw(6) << row.size.height;
  if (!library.isReady()) {
    std::cout << ": not prepared: build the demo's networks with models/build" << std::endl;
    return;
  }
  const fs::path clip = folder / "clip.mp4";
  makeClip(clip, row.size, row.frames);
  const Sides sides = measure(library, style, clip, folder);
  const double whole = median(sides.whole);
  const double in_turn = 1 / (1 / median(sides.alone) + 1 / median(sides.codecs));
  std::cout << std::fixed << std::setprecision(2) << std::setw(10) << median(sides.alone) << std::setw(11) << whole
            << std::setw(9) << median(sides.codecs) << std::setw(8) << whole / median(sides.alone) << std::setw(17)
            << whole / in_turn << std::setw(11) << median(sides.steadied) << std::setw(8) << whole / median(sides.steadied)
            << std::endl;
}

} // namespace
} // namespace vorin::bench

int main() {
  using namespace vorin::bench;
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / "vorin-clip-bench";
  std::filesystem::create_directories(folder);
  std::cout << "Frames a second, medians of " << kRounds
            << ". Aims: ratio at least 0.9, cost (whole way : steadied) at most 1.15\n"
            << "     style lines   library  whole way   codecs   ratio  to both in turn   steadied    cost\n";
  for (const ClipRow& row : kClips) {
    measureAndPrint(row, folder);
  }
  std::filesystem::remove_all(folder);
  return 0;
}
