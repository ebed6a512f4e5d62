// Makes clips for the tests by the program ffmpeg, and examines clips by ffmpeg and ffprobe, which are independent of the code.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vorin::tests {

// Runs ffmpeg with these arguments, split at spaces; the test fails when it does.
void ffmpeg(const std::string& arguments);

// The times at which the frames of the video begin, in seconds. Every frame is decoded.
std::vector<double> frameTimes(const std::filesystem::path& clip);

// The duration of the whole clip, in seconds; and how much later than the video the sound begins, 0 without sound.
double duration(const std::filesystem::path& clip);
double soundDelay(const std::filesystem::path& clip);

// The hash of the packets of each audio (a) or subtitle (s) track, a line each.
std::string packetHashes(const std::filesystem::path& clip, char kind);

// The hash of each decoded frame of the video with its time, a line each.
std::string frameHashes(const std::filesystem::path& clip);

// Entries of the main video: "width,height" gives 320,240.
std::string videoEntries(const std::filesystem::path& clip, const std::string& names);

// The similarity of the pictures of two clips, over all of them.
constexpr double kNoNoise_db = 1000; // if they are equal
double peakSignalToNoise_db(const std::filesystem::path& clip, const std::filesystem::path& other);

// The colour in the middle of the first picture, as ffmpeg decodes it by the clip's tags.
std::vector<int> middleColour(const std::filesystem::path& clip);

} // namespace vorin::tests
