// Times what the program adds to the library: one image in a new process against the library's first object in a process and
// against a later one, and a folder of images against as many frames of the library. All on the software device, in turns, in one
// run. The images are JPEG files.
//
// A process's first object includes loading what the library runs on: OpenVINO, or the OpenCL implementation with its compiler.
#include "effects/library_object.h"
#include "photo_like_picture.h"
#include "sources_and_sinks.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iomanip>
#include <iostream>
#include <memory>
#include <vector>

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
  } else if (!object->loadNetwork(media::ModelPackage(VORIN_DEMO_MODELS), media::networkOf(style, ""), media::networkSize(size),
                                  media::RestylerOptions().cache_bytes)) {
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

// library_ms: one or several ways of the library; the limit is that of the first one.
void printRow(Style style, const std::vector<double>& library_ms, double program_ms, double limit) {
  std::cout << std::setw(10) << media::nameOf(style) << std::fixed << std::setprecision(1);
  for (const double ms : library_ms) {
    std::cout << std::setw(10) << ms;
  }
  std::cout << std::setw(10) << program_ms << std::setprecision(2);
  for (const double ms : library_ms) {
    std::cout << std::setw(9) << program_ms / ms;
  }
  std::cout << (program_ms / library_ms.front() <= limit ? "" : "  OVER") << std::endl;
}

// The time of an object from its creation to its first frame.
double firstFrameMs(Style style) {
  const Picture input = photo(kOneSize);
  const Picture look = styleImage();
  return elapsedMs([&] {
    Picture output(media::PixelLayout::kBgra, kOneSize);
    preparedObject(style, kOneSize)->process(input, style == Style::kTransfer ? &look : nullptr, output);
  });
}

// The same in a process of its own: this program, started with the style's name.
double firstFrameMsInNewProcess(Style style) {
  const std::string command = fs::canonical("/proc/self/exe").string() + " " + std::string(media::nameOf(style));
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> result(popen(command.c_str(), "r"), // NOLINT(cert-env33-c): this program
                                                               &pclose);
  double milliseconds = 0;
  if (!result || std::fscanf(result.get(), "%lf", &milliseconds) != 1) { // NOLINT(cert-err34-c): our own figure
    throw std::runtime_error("this program does not start again");
  }
  return milliseconds;
}

void measureOne(Style style, const fs::path& folder) {
  write(folder / "one.jpg", photo(kOneSize));
  Times first{};
  Times later{};
  Times program{};
  for (int round = -1; round < kRounds; ++round) { // the first one fills caches
    const auto at = static_cast<std::size_t>(std::max(round, 0));
    first[at] = firstFrameMsInNewProcess(style);
    later[at] = firstFrameMs(style);
    program[at] = elapsedMs([&] { runProgram(style, folder / "one.jpg", folder / "restyled.jpg"); });
  }
  printRow(style, {median(first), median(later)}, median(program), 1.25);
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
  printRow(style, {before + frames(kImages / 2)}, program, 1.1);
}

void measureAll() {
  const fs::path folder = fs::temp_directory_path() / "vorin-start-bench";
  fs::create_directories(folder);
  std::cout << "One image of 1280x720, medians of " << kRounds
            << ", ms: creation, preparation and frame of the library, first in its process and later; the program\n"
            << "     style     first     later   program   / first  / later   (/ first: at most 1.25)\n";
  for (const auto style : kStyles) {
    measureOne(style, folder);
  }
  std::cout << "\n"
            << kImages << " images of 640x480 in a folder, ms: as many frames of the library; the program\n"
            << "     style   library   program    ratio   (at most 1.10)\n";
  for (const auto style : kStyles) {
    measureFolder(style, folder);
  }
  fs::remove_all(folder);
}

} // namespace
} // namespace vorin::bench

int main(int count, char** arguments) {
  using namespace vorin::bench;
  try {
    if (count == 2) {
      const std::string_view name = arguments[1];
      const auto style =
          std::find_if(kStyles.begin(), kStyles.end(), [&](auto each) { return vorin::media::nameOf(each) == name; });
      std::cout << firstFrameMs(style == kStyles.end() ? kStyles.front() : *style) << '\n';
    } else {
      measureAll();
    }
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "vorin_start_bench: " << error.what() << '\n';
    return 1;
  }
}
