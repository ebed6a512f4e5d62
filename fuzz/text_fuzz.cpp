// Reads any text as a Y4M stream, as the format of a raw pipe, as a command line, or as the plan of a job, by its first letter:
// "y", "r", "o" or "j". Each ends with what it says, within its limits, or in an Error.
#include "clip_formats.h"
#include "command_line.h"
#include "jobs/job_file.h"
#include "options.h"

#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <sstream>
#include <sys/mman.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using namespace vorin;
using namespace vorin::media;

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

// The frames behind a header that was read, if they are small.
void readFrames(const std::string& stream, const SourceOptions& options, Size size, Rational rate) {
  require(size.width > 0 && size.width <= 16384 && size.height > 0 && size.height <= 16384 && rate.num > 0 && rate.den > 0);
  if (size.width > 64 || size.height > 64) {
    return;
  }
  const int file = memfd_create("stream", 0);
  require(write(file, stream.data(), stream.size()) == static_cast<ssize_t>(stream.size()) && lseek(file, 0, SEEK_SET) == 0);
  try {
    const std::unique_ptr<Source> source = openPipeSource(file, options);
    while (const std::optional<Item> item = source->next()) {
      require(std::get<Frame>(*item).picture.size() == size);
    }
  } catch (const Error&) { // of the first frame
  }
  close(file);
}

// What a header says is written as it was read.
void readY4m(const std::string& stream) {
  const SourceInfo info = parseY4mHeader(stream.substr(0, stream.find('\n')), "input");
  const std::string header = y4mHeader(info, info.size);
  const SourceInfo again = parseY4mHeader(header.substr(0, header.size() - 1), "output");
  require(again.size == info.size && again.frame_rate.num == info.frame_rate.num && again.frame_rate.den == info.frame_rate.den);
  readFrames(stream, {}, info.size, info.frame_rate);
}

void readRaw(const std::string& text) {
  const std::string format = text.substr(0, text.find('\n'));
  const RawFormat raw = parseRawFormat(format);
  readFrames(text.substr(std::min(text.size(), format.size() + 1)), {.raw = format}, raw.size, raw.rate);
}

// Words between blanks, up to a zero byte.
void readOptions(const std::string& text) {
  std::istringstream stream(text.c_str());
  const std::vector<std::string> words{std::istream_iterator<std::string>(stream), {}};
  std::vector<const char*> arguments = {"vorin-stylize"};
  for (const std::string& word : words) {
    arguments.push_back(word.c_str());
  }
  const auto count = static_cast<int>(arguments.size());
  if (!stylize::parseCommandLine(count, arguments.data()).version) { // which would load the library
    static_cast<void>(stylize::parseOptions(count, arguments.data()));
  }
}

void readPlan(const std::string& text) {
  const jobs::Plan plan = jobs::parsePlan(text, "job");
  for (const jobs::PlannedUnit& unit : plan.units) {
    require(unit.frames(plan.inputs) > 0);
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    if (text.starts_with('y')) {
      readY4m(text.substr(1));
    } else if (text.starts_with('r')) {
      readRaw(text.substr(1));
    } else if (text.starts_with('o')) {
      readOptions(text.substr(1));
    } else if (text.starts_with('j')) {
      readPlan(text.substr(1));
    }
  } catch (const Error&) { // is one of the two ends
  }
  return 0;
}
