// report.h: the program's reports: lines on standard error for the user, and JSON on standard output for other programs.
#pragma once

#include "exit_status.h"
#include "vorin_media.hpp"

#include <nlohmann/json_fwd.hpp>

namespace vorin::stylize {

// Writes one line to standard error, whatever the text contains.
void printLine(const std::string& text);

// Writes the JSON to standard output. Bytes that are not UTF-8 become the replacement character.
void printJson(const nlohmann::ordered_json& json);

struct InputResult {
  enum class Outcome { kDone, kSkipped, kFailed };

  std::filesystem::path input;
  std::filesystem::path output;
  Outcome outcome = Outcome::kDone;
  media::Size size;               // of the result, like the next three
  media::RestylerReport restyler; // of the last frame
  std::int64_t frames = 1;
  double frames_per_second = 0; // of a clip
  bool is_clip = false;
  std::vector<std::string> warnings; // parts of a clip that the output lacks
  std::vector<std::string> damage;   // of the input
  std::string error;                 // of a failure
  std::string caption;               // of a picture on a sheet
};

// "style pencil, no network, GPU: the only GPU".
std::string headline(const media::RestylerReport& report);

// "640x480, pencil, 3.1 ms per frame".
std::string resultText(const InputResult& result);

nlohmann::ordered_json jsonOf(const media::RestylerReport& report);
nlohmann::ordered_json jsonOf(const InputResult& result);

std::size_t count(const std::vector<InputResult>& results, InputResult::Outcome outcome);

// "images", or "files" if there are clips among them.
std::string unitOf(const std::vector<InputResult>& results);

// Prints a whole run: device and style, results, exit status. taken: jsonOf(report), empty if nothing had to be done.
void printRun(nlohmann::ordered_json taken, const std::vector<InputResult>& results, base::ExitStatus status);

} // namespace vorin::stylize
