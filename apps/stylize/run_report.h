// run_report.h: what became of each photo of a run, for a program that reads it: JSON on standard output.
#pragma once

#include "drawing_manner.h"
#include "exit_status.h"

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace vorin::stylize {

struct PhotoResult {
  enum class Outcome { kDone, kSkipped, kFailed };

  std::filesystem::path input;
  std::filesystem::path output;
  Outcome outcome = Outcome::kDone;
  cv::Size size;         // of a drawing that is done
  double elapsed_ms = 0; // likewise
  double load_ms = 0;    // likewise
  std::string error;     // of a failure: the line for the user
  std::string caption;   // of a drawing on a sheet
};

nlohmann::ordered_json jsonOf(const Headline& headline);
nlohmann::ordered_json jsonOf(const PhotoResult& result);

// The whole of a run: headline, results, exit status. headline: null where nothing had to be drawn.
void printRun(const Headline* headline, const std::vector<PhotoResult>& results, ExitStatus status);

// Broken bytes in names become the replacement character.
void printJson(const nlohmann::ordered_json& json);

} // namespace vorin::stylize
