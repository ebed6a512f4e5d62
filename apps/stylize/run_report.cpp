#include "run_report.h"

#include "utf8_path.h"

#include <iostream>
#include <nlohmann/json.hpp>

namespace vorin::stylize {
namespace {

const char* nameOf(PhotoResult::Outcome outcome) {
  switch (outcome) {
  case PhotoResult::Outcome::kDone:
    return "done";
  case PhotoResult::Outcome::kSkipped:
    return "skipped";
  case PhotoResult::Outcome::kFailed:
    break;
  }
  return "failed";
}

nlohmann::ordered_json textOrNull(const std::string& text) {
  return text.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(text);
}

} // namespace

nlohmann::ordered_json jsonOf(const Headline& headline) {
  return {{"style", textOrNull(headline.style)},
          {"network", textOrNull(headline.network)},
          {"package", textOrNull(headline.package)},
          {"device", headline.device},
          {"device_reason", headline.reason}};
}

nlohmann::ordered_json jsonOf(const PhotoResult& result) {
  nlohmann::ordered_json json = {
      {"input", base::utf8Text(result.input)}, {"output", base::utf8Text(result.output)}, {"outcome", nameOf(result.outcome)}};
  if (!result.caption.empty()) {
    json["caption"] = result.caption;
  }
  if (result.outcome == PhotoResult::Outcome::kDone) {
    json["width"] = result.size.width;
    json["height"] = result.size.height;
    json["ms_per_frame"] = result.elapsed_ms;
    json["load_ms"] = result.load_ms;
  } else if (result.outcome == PhotoResult::Outcome::kFailed) {
    json["error"] = result.error;
  }
  return json;
}

void printRun(const Headline* headline, const std::vector<PhotoResult>& results, ExitStatus status) {
  nlohmann::ordered_json json = headline == nullptr ? nlohmann::ordered_json::object() : jsonOf(*headline);
  json["results"] = nlohmann::ordered_json::array();
  for (const PhotoResult& result : results) {
    json["results"].push_back(jsonOf(result));
  }
  json["exit_status"] = static_cast<int>(status);
  printJson(json);
}

void printJson(const nlohmann::ordered_json& json) {
  std::cout << json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << '\n';
}

} // namespace vorin::stylize
