// Clips: measures how much of the library's own frame rate remains when frames are decoded from a clip and encoded into another
// one, and the cost of steadying them.
//
// All sides restyle the same frames, in turns, in one run: the library alone, with the frames in memory; all of vorin-stylize's
// work, decoding ahead and encoding behind; and the same with --steady. A device that is the processor itself shares it
// with the codecs, so their cost alone is printed too.
#include "photo_like_picture.h"
#include "sources_and_sinks.h"
#include "vorin_stt.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
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
  const char* name;
  media::Style style;
  media::Size size;
  int frames; // enough that the clip's begin and end, where one side waits for the other, matter little
};

constexpr std::array kClips = {
    ClipRow{"pencil", media::Style::kPencilSketch, kLarge, 60}, ClipRow{"pencil", media::Style::kPencilSketch, kSmall, 160},
    ClipRow{"stipple", media::Style::kStippling, kLarge, 60},   ClipRow{"stipple", media::Style::kStippling, kSmall, 160},
    ClipRow{"lightgrey", media::Style::kLightGrey, kLarge, 40}, ClipRow{"lightgrey", media::Style::kLightGrey, kSmall, 80},
    ClipRow{"cartoon", media::Style::kCartoon, kLarge, 40},     ClipRow{"cartoon", media::Style::kCartoon, kSmall, 80}};

// Writes a clip, as H.264, of a camera that pans over a picture.
void makeClip(const fs::path& clip, media::Size size, int frames) {
  constexpr int kStep = 4; // pixels a frame
  const int wide = size.width + kStep * frames;
  const std::vector<std::uint8_t> photo = photoLikePicture(wide, size.height);
  media::SourceInfo info;
  info.size = size;
  info.frame_rate = {25, 1};
  info.time_base = {1, 25};
  detailsOf(info).colours.matrix = 1;
  media::SinkOptions options;
  options.overwrite = true;
  const std::unique_ptr<media::Sink> sink = media::openSink(clip, info, size, options);
  for (int i = 0; i < frames; ++i) {
    media::Frame frame = {media::Picture(media::PixelLayout::kBgra, size), i, 1};
    const auto row_bytes = static_cast<std::size_t>(size.width) * 4;
    for (int row = 0; row < size.height; ++row) {
      const auto from =
          (static_cast<std::size_t>(row) * static_cast<std::size_t>(wide) + static_cast<std::size_t>(i * kStep)) * 4;
      std::memcpy(frame.picture.pixels() + static_cast<std::size_t>(row) * row_bytes, photo.data() + from, row_bytes);
    }
    sink->write(std::move(frame));
  }
  sink->finish();
}

SttFrame descriptorOf(const media::Picture& nv12) {
  SttFrame frame{};
  frame.memoryType = VORIN_MEM_SYSTEM;
  frame.data = const_cast<std::uint8_t*>(nv12.pixels()); // written to only where the frame is an output
  frame.pixelFormat = VORIN_FMT_NV12;
  frame.width = static_cast<std::uint32_t>(nv12.size().width);
  frame.height = static_cast<std::uint32_t>(nv12.size().height);
  frame.pitch = frame.width;
  return frame;
}

class Library {
public:
  Library(media::Style style, media::Size size) {
    SttInterface* object = nullptr;
    SttFactory::Create(&object);
    object_.reset(object);
    SttDeviceRequest request{};
    request.kind = SttDeviceAnyGpu;
    SttDeviceRecord* device = nullptr;
    object_->CreateDevice(&request, &device);
    object_->CreateContext(device, &context_);
    set(SttCfgStyleType, static_cast<std::int32_t>(style));
    set(SttCfgStyleIndex, 0);
    set(SttCfgWidth, size.width);
    set(SttCfgHeight, size.height);
    object_->SetConfig(context_, SttCfgModelPath, VORIN_DEMO_MODELS);
    is_ready_ = object_->Prepare(context_) == VORIN_STATUS_OK;
  }

  bool isReady() const { return is_ready_; }

  void restyle(const media::Picture& frame, media::Picture& result) {
    const SttFrame input = descriptorOf(frame);
    SttFrame output = descriptorOf(result);
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

class LibraryEffect final : public media::Effect {
public:
  explicit LibraryEffect(Library& library) : library_(library) {}

  void apply(const media::Picture& source, media::Picture& picture) override {
    media::Picture result(picture.layout(), picture.size());
    library_.restyle(source, result);
    picture = std::move(result);
  }

private:
  Library& library_;
};

// Frames a second from clip to clip with these effects.
double clipRate(const fs::path& clip, const fs::path& output, std::span<media::Effect* const> effects) {
  const auto start = std::chrono::steady_clock::now();
  const std::unique_ptr<media::Source> source = media::openSource(clip);
  media::SinkOptions options;
  options.overwrite = true;
  const std::unique_ptr<media::Sink> sink = media::openSink(output, source->info(), source->info().size, options);
  const media::RunResult result = media::run(*source, *sink, effects);
  return static_cast<double>(result.frames) / std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The library's own rate on the frames of the clip, which are decoded in between, off the clock.
double libraryRate(const fs::path& clip, Library& library) {
  const std::unique_ptr<media::Source> source = media::openSource(clip);
  media::Picture result(media::PixelLayout::kNv12, source->info().size);
  std::chrono::duration<double> elapsed{};
  int frames = 0;
  while (const std::optional<media::Item> item = source->next()) {
    if (const auto* frame = std::get_if<media::Frame>(&*item)) {
      const auto start = std::chrono::steady_clock::now();
      library.restyle(frame->picture, result);
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

// Measures both sides by turns.
Sides measure(Library& library, media::Style style, const fs::path& clip, const fs::path& folder) {
  const fs::path output = folder / "restyled.mp4";
  LibraryEffect restyle(library);
  media::Steady steady(style);
  const std::array<media::Effect*, 1> plain = {&restyle};
  const std::array<media::Effect*, 2> restyle_steadily = {&restyle, &steady};
  clipRate(clip, output, plain); // the first frames build kernels
  Sides sides{};
  for (std::size_t round = 0; round < kRounds; ++round) {
    sides.alone[round] = libraryRate(clip, library);
    sides.steadied[round] = clipRate(clip, output, restyle_steadily);
    sides.whole[round] = clipRate(clip, output, plain);
    // Runs the results through the codecs once more, without an effect.
    fs::copy_file(output, folder / "results.mp4", fs::copy_options::overwrite_existing);
    sides.codecs[round] = clipRate(folder / "results.mp4", output, {});
  }
  return sides;
}

void measureAndPrint(const ClipRow& row, const fs::path& folder) {
  Library library(row.style, row.size);
  std::cout << std::setw(10) << row.name << std::setw(6) << row.size.height;
  if (!library.isReady()) {
    std::cout << ": not prepared: build the demo's networks with models/build" << std::endl;
    return;
  }
  const fs::path clip = folder / "clip.mp4";
  makeClip(clip, row.size, row.frames);
  const Sides sides = measure(library, row.style, clip, folder);
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
