#include "support/media_files.h"

#include "support/child_process.h"
#include "support/test_environment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace vorin::tests {
namespace {

ChildResult runTool(const std::string& command) {
  std::istringstream words(command);
  std::vector<std::string> arguments;
  for (std::string word; words >> word;) {
    arguments.push_back(word);
  }
  return ChildProcess(arguments, {}).wait();
}

std::string probe(const std::filesystem::path& clip, const std::string& what) {
  const ChildResult result = runTool("ffprobe -v fatal " + what + " -of csv=p=0 " + clip.string());
  EXPECT_EQ(result.exit_status, 0) << clip;
  return result.standard_output;
}

// One at the begin of each line; what else stands there is passed over.
std::vector<double> numbersIn(const std::string& text) {
  std::vector<double> numbers;
  for (const std::string& line : linesOf(text)) {
    std::istringstream value(line);
    double number = 0;
    if (value >> number) {
      numbers.push_back(number);
    }
  }
  return numbers;
}

} // namespace

void ffmpeg(const std::string& arguments) {
  const ChildResult result = runTool("ffmpeg -v error -nostdin -y " + arguments);
  ASSERT_EQ(result.exit_status, 0) << arguments << '\n' << result.standard_error;
}

std::vector<double> frameTimes(const std::filesystem::path& clip) {
  return numbersIn(probe(clip, "-select_streams v:0 -show_entries frame=best_effort_timestamp_time"));
}

double duration(const std::filesystem::path& clip) {
  return numbersIn(probe(clip, "-show_entries format=duration")).at(0);
}

double soundDelay(const std::filesystem::path& clip) {
  const std::vector<double> video = numbersIn(probe(clip, "-select_streams v:0 -show_entries stream=start_time"));
  const std::vector<double> sound = numbersIn(probe(clip, "-select_streams a:0 -show_entries stream=start_time"));
  return sound.empty() ? 0 : sound.at(0) - video.at(0);
}

std::string packetHashes(const std::filesystem::path& clip, char kind) {
  const ChildResult result =
      runTool("ffmpeg -v fatal -nostdin -i " + clip.string() + " -map 0:" + kind + "? -map 0:v:0 -c copy -f streamhash -");
  EXPECT_EQ(result.exit_status, 0) << clip;
  std::string hashes;
  for (const std::string& line : linesOf(result.standard_output)) { // "0,a,SHA256=..."
    const std::size_t comma = line.find(',');
    if (comma != std::string::npos && line[comma + 1] == kind) {
      hashes += line.substr(comma) + '\n';
    }
  }
  return hashes;
}

std::string frameHashes(const std::filesystem::path& clip) {
  const ChildResult result = runTool("ffmpeg -v fatal -nostdin -i " + clip.string() + " -map 0:v:0 -f framemd5 -");
  EXPECT_EQ(result.exit_status, 0) << clip;
  std::string hashes;
  for (const std::string& line : linesOf(result.standard_output)) {
    hashes += line.starts_with('#') ? "" : line + '\n';
  }
  return hashes;
}

std::string videoEntries(const std::filesystem::path& clip, const std::string& names) {
  std::string text = probe(clip, "-select_streams v:0 -show_entries stream=" + names);
  text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
  return text;
}

double peakSignalToNoise_db(const std::filesystem::path& clip, const std::filesystem::path& other) {
  const ChildResult result =
      runTool("ffmpeg -v info -nostdin -i " + clip.string() + " -i " + other.string() + " -lavfi [0:v:0][1:v:0]psnr -f null -");
  const std::size_t at = result.standard_error.rfind("average:");
  if (at == std::string::npos) {
    ADD_FAILURE() << result.standard_error;
    return 0;
  }
  const std::string value = result.standard_error.substr(at + std::string("average:").size());
  return value.starts_with("inf") ? kNoNoise_db : std::stod(value);
}

std::vector<int> middleColour(const std::filesystem::path& clip) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "pixels.rgb";
  ffmpeg("-i " + clip.string() + " -frames:v 1 -vf scale=flags=accurate_rnd+full_chroma_int,format=rgb24,crop=1:1 -f rawvideo " +
         file.string());
  std::vector<int> colour;
  for (const char byte : readFile(file)) {
    colour.push_back(static_cast<unsigned char>(byte));
  }
  return colour;
}

} // namespace vorin::tests
