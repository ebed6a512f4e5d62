// Clips for the tests, made by the program ffmpeg, and what it and ffprobe see in clips: another program's eyes than the code's.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vorin::tests {

// Runs ffmpeg with these arguments, split at spaces; the test fails when it does.
void ffmpeg(const std::string& arguments);

// The times at which the frames of the video begin, in seconds. Every frame is decoded.
std::vector<double> frameTimes(const std::filesystem::path& clip);

// Of the whole clip, in seconds; and how much later than the video the sound begins, 0 without sound.
double duration(const std::filesystem::path& clip);
double soundDelay(const std::filesystem::path& clip);

// The hash of the packets of each audio (a) or subtitle (s) track, a line each.
std::string packetHashes(const std::filesystem::path& clip, char kind);

// Of the main video: such as "width,height" gives 320,240.
std::string videoEntries(const std::filesystem::path& clip, const std::string& names);

// How near the pictures of two clips are, over all of them.
constexpr double kNoNoise_db = 1000; // where they are equal
double peakSignalToNoise_db(const std::filesystem::path& clip, const std::filesystem::path& other);

// The colour in the middle of the first picture, as ffmpeg decodes it by the clip's tags.
std::vector<int> middleColour(const std::filesystem::path& clip);

} // namespace vorin::tests
