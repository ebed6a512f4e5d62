// Times what the program adds to the library: one image in a new process against the library in a running process, and a folder
// of images against as many frames of the library. Both sides on the software device, in turns, in one run.
//
// The one image is a BMP file, whose reading and writing cost almost nothing; those of the folder are JPEG files.
#include "effects/library_object.h"
#include "photo_like_picture.h"
#include "sources_and_sinks.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iomanip>
#include <iostream>

namespace vorin::bench {
namespace {

namespace fs = std::filesystem;
using media::Picture;
using media::Style;

constexpr int kRounds = 7;
constexpr int kImages = 100;
constexpr media::Size kOneSize = {1280, 720};
constexpr media::Size kFolderSize = {640, 480};
constexpr std::array kStyles = {Style::kPencilSketch, Style::kStippling, Style::kLightGrey, Style::kCartoon, Style::kTransfer};

double elapsedMs(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

using Times = std::array<double, kRounds>;

double median(Times times) {
  std::sort(times.begin(), times.end());
  return times[kRounds / 2];
}

Picture photo(media::Size size) {
  const std::vector<std::uint8_t> pixels = photoLikePicture(size.width, size.height);
  return Picture::wrap(media::PixelLayout::kBgra, size, pixels.data(), static_cast<std::size_t>(size.width) * 4).copy();
}

void write(const fs::path& file, const Picture& picture) {
  media::SinkOptions options;
  options.overwrite = true;
  const std::unique_ptr<media::Sink> sink = media::openSink(file, {}, picture.size(), options);
  sink->write(media::Frame{picture.copy()});
  sink->finish();
}

// An object of the library on the software device, ready for frames of a size.
std::unique_ptr<media::LibraryObject> preparedObject(Style style, media::Size size) {
  auto object = std::make_unique<media::LibraryObject>(media::LibraryCopy::get(true));
  object->selectGpu(SttDeviceAnyGpu);
  if (!media::isNeural(style)) {
    object->prepareFilter(style);
  } else if (!object->loadNetwork(media::ModelPackage(VORIN_DEMO_MODELS), media::networkOf(style, ""),
                                  media::networkSize(size))) {
    throw std::runtime_error("no network: run models/build");
  }
  return object;
}

Picture styleImage() {
  const std::unique_ptr<media::Source> source = media::openSource(fs::path(VORIN_DEMO_MODELS) / "painting.png");
  Picture bgra = std::move(std::get<media::Frame>(*source->next()).picture);
  return bgra;
}

void runProgram(Style style, const fs::path& input, const fs::path& output) {
  std::string command = std::string(VORIN_STYLIZE_PROGRAM) + " -q --overwrite --device software --models " + VORIN_DEMO_MODELS +
                        " --style " + std::string(media::nameOf(style)) + " -o " + output.string() + " " + input.string();
  if (style == Style::kTransfer) {
    command += std::string(" --style-image ") + VORIN_DEMO_MODELS + "/painting.png";
  }
  if (std::system(command.c_str()) != 0) { // NOLINT(concurrency-mt-unsafe,cert-env33-c): a program of the build
    throw std::runtime_error("the program fails");
  }
}

void printRow(Style style, double library_ms, double program_ms, double limit) {
  const double ratio = program_ms / library_ms;
  std::cout << std::setw(10) << media::nameOf(style) << std::fixed << std::setprecision(1) << std::setw(12) << library_ms
            << std::setw(12) << program_ms << std::setprecision(2) << std::setw(9) << ratio << (ratio <= limit ? "" : "  OVER")
            << std::endl;
}

void measureOne(Style style, const fs::path& folder) {
  const Picture input = photo(kOneSize);
  const Picture look = styleImage();
  write(folder / "one.bmp", input);
  Times library{};
  Times program{};
  for (int round = -1; round < kRounds; ++round) { // the first one fills caches
    const auto at = static_cast<std::size_t>(std::max(round, 0));
    library[at] = elapsedMs([&] {
      Picture output(media::PixelLayout::kBgra, kOneSize);
      preparedObject(style, kOneSize)->process(input, style == Style::kTransfer ? &look : nullptr, output);
    });
    program[at] = elapsedMs([&] { runProgram(style, folder / "one.bmp", folder / "restyled.bmp"); });
  }
  printRow(style, median(library), median(program), 1.25);
}

void measureFolder(Style style, const fs::path& folder) {
  const Picture input = photo(kFolderSize);
  const Picture look = styleImage();
  fs::create_directories(folder / "many");
  for (int image = 0; image < kImages; ++image) {
    write(folder / "many" / (std::to_string(image) + ".jpg"), input);
  }
  const std::unique_ptr<media::LibraryObject> object = preparedObject(style, kFolderSize);
  Picture output(media::PixelLayout::kBgra, kFolderSize);
  object->process(input, style == Style::kTransfer ? &look : nullptr, output);
  const auto frames = [&](int count) {
    return elapsedMs([&] {
      for (int frame = 0; frame < count; ++frame) {
        object->process(input, nullptr, output);
      }
    });
  };
  const double before = frames(kImages / 2);
  const double program = elapsedMs([&] { runProgram(style, folder / "many", folder / "restyled"); });
  printRow(style, before + frames(kImages / 2), program, 1.1);
}

} // namespace
} // namespace vorin::bench

int main() {
  using namespace vorin::bench;
  const fs::path folder = fs::temp_directory_path() / "vorin-start-bench";
  fs::create_directories(folder);
  std::cout << "One image of 1280x720, medians of " << kRounds
            << ", ms: creation, preparation and frame of the library; the program\n"
            << "     style     library     program    ratio (at most 1.25)\n";
  for (const auto style : kStyles) {
    measureOne(style, folder);
  }
  std::cout << "\n"
            << kImages << " images of 640x480 in a folder, ms: as many frames of the library; the program\n"
            << "     style     library     program    ratio (at most 1.10)\n";
  for (const auto style : kStyles) {
    measureFolder(style, folder);
  }
  fs::remove_all(folder);
  return 0;
}
