// Clips: how much of the library's own frame rate is left when frames come out of a clip and go into another one.
//
// Both sides draw the same frames, in turns, in one run: the library alone, with the frames in memory, and the whole way of
// vorin-stylize, decoding ahead and encoding behind. A device that is the processor itself shares it with the codecs, so what
// they cost alone is told too.
#include "clip_reader.h"
#include "clip_writer.h"
#include "photo_like_picture.h"
#include "pipeline.h"
#include "vorin_stt.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iomanip>
#include <iostream>
#include <memory>

namespace vorin::bench {
namespace {

namespace fs = std::filesystem;

constexpr media::Size kSize = {1920, 1080};
constexpr int kRounds = 3;

struct StyleRow {
  const char* name;
  SttStyleType type;
  int frames; // of the clip: so many that its begin and end, where one side waits for the other, count for little
};

constexpr std::array kStyles = {StyleRow{"pencil", SttStylePencilSketch, 60}, StyleRow{"stipple", SttStyleStippling, 60},
                                StyleRow{"lightgrey", SttStyleLightGrey, 40}, StyleRow{"cartoon", SttStyleCartoon, 40}};

// A photo that the camera pans over, as H.264.
void makeClip(const fs::path& clip, int frames) {
  constexpr int kStep = 4; // pixels a frame
  const int wide = kSize.width + kStep * frames;
  const std::vector<std::uint8_t> photo = photoLikePicture(wide, kSize.height);
  media::VideoInfo info;
  info.size = kSize;
  info.frame_rate = {25, 1};
  info.time_base = {1, 25};
  info.colours.matrix = 1;
  media::ClipWriterOptions options;
  options.overwrite = true;
  media::ClipWriter writer(clip, info, kSize, options);
  for (int i = 0; i < frames; ++i) {
    media::VideoFrame frame;
    frame.picture = media::makePicture(media::PixelLayout::kBgra, kSize);
    frame.time = i;
    frame.duration = 1;
    const auto row_bytes = static_cast<std::size_t>(kSize.width) * 4;
    for (int row = 0; row < kSize.height; ++row) {
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
  explicit Library(SttStyleType style) {
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
    set(SttCfgWidth, kSize.width);
    set(SttCfgHeight, kSize.height);
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
  media::ClipWriter writer(output, reader.info(), kSize, options);
  const media::PipelineResult result = media::runPipeline(reader, writer, effect, {never, {}});
  return static_cast<double>(result.frames) / std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The library's own, on the frames of the clip. They are decoded in between, off the clock.
double libraryRate(const fs::path& clip, Library& library) {
  media::ClipReader reader(clip);
  media::Picture drawing = media::makePicture(media::PixelLayout::kNv12, kSize);
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

double median(std::array<double, kRounds> values) {
  std::sort(values.begin(), values.end());
  return values[kRounds / 2];
}

void measure(const StyleRow& style, const fs::path& folder) {
  Library library(style.type);
  if (!library.isReady()) {
    std::cout << style.name << ": not prepared: build the demo's networks with models/build\n";
    return;
  }
  const fs::path clip = folder / "clip.mp4";
  const fs::path output = folder / "drawn.mp4";
  makeClip(clip, style.frames);
  const media::FrameEffect draw = [&](const media::VideoFrame& frame, media::Picture& drawing) {
    library.draw(frame.picture, drawing);
  };
  clipRate(clip, output, draw); // the first frames build kernels
  std::array<double, kRounds> alone{};
  std::array<double, kRounds> whole{};
  std::array<double, kRounds> codecs{};
  for (std::size_t round = 0; round < kRounds; ++round) {
    alone[round] = libraryRate(clip, library);
    whole[round] = clipRate(clip, output, draw);
    // The drawings themselves through the codecs, once more.
    fs::copy_file(output, folder / "drawings.mp4", fs::copy_options::overwrite_existing);
    codecs[round] = clipRate(folder / "drawings.mp4", output, [](const media::VideoFrame& frame, media::Picture& drawing) {
      drawing.bytes = frame.picture.bytes;
    });
  }
  const double in_turn = 1 / (1 / median(alone) + 1 / median(codecs));
  std::cout << std::fixed << std::setprecision(2) << std::setw(10) << style.name << std::setw(10) << median(alone)
            << std::setw(11) << median(whole) << std::setw(8) << median(codecs) << std::setw(8) << median(whole) / median(alone)
            << std::setw(18) << median(whole) / in_turn << std::endl;
}

} // namespace
} // namespace vorin::bench

int main() {
  using namespace vorin::bench;
  const std::filesystem::path folder = std::filesystem::temp_directory_path() / "vorin-clip-bench";
  std::filesystem::create_directories(folder);
  std::cout << "frames a second at 1920x1080, medians of " << kRounds << "; aim: ratio at least 0.9\n"
            << "     style   library  whole way  codecs   ratio  to both in turn\n";
  for (const StyleRow& style : kStyles) {
    measure(style, folder);
  }
  std::filesystem::remove_all(folder);
  return 0;
}
