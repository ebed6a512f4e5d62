#include "report.h"

#include "model_package.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace vorin::stylize {
namespace {

using Json = nlohmann::ordered_json;

const char* nameOf(InputResult::Outcome outcome) {
  switch (outcome) {
  case InputResult::Outcome::kDone:
    return "done";
  case InputResult::Outcome::kSkipped:
    return "skipped";
  case InputResult::Outcome::kFailed:
    break;
  }
  return "failed";
}

Json textOrNull(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

// Names the network of a result: by its name if the style has several, else by the size at which it worked.
std::string networkText(const media::RestylerReport& report) {
  const auto networks = media::networksOf(report.style);
  for (const auto& network : networks) {
    if (networks.size() > 1 && network.float_entry.starts_with(report.network + ".")) {
      return std::string(network.variant);
    }
  }
  return media::sizeText(report.network_size);
}

} // namespace

void printLine(const std::string& text) {
  std::cerr << "vorin-stylize: " + base::oneLine(text) + "\n";
}

void printJson(const Json& json) {
  std::cout << json.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

std::string headline(const media::RestylerReport& report) {
  std::string text = "style " + std::string(media::nameOf(report.style)) + ", ";
  text += report.network.empty() ? "no network" : "network " + report.network + " of '" + base::utf8Text(report.package) + "'";
  return text + ", " + report.device + ": " + report.device_reason;
}

std::string resultText(const InputResult& result) {
  std::ostringstream text;
  text << media::sizeText(result.size) << ", " << media::nameOf(result.restyler.style) << std::fixed << std::setprecision(1);
  if (result.is_clip) {
    text << ", " << result.frames << (result.frames == 1 ? " frame" : " frames") << ", " << result.frames_per_second
         << " frames per second";
    return text.str();
  }
  if (!result.restyler.network.empty()) {
    text << ", network " << networkText(result.restyler);
  }
  text << ", " << result.restyler.frame_ms << " ms per frame";
  if (result.restyler.load_ms > 0) {
    text << ", loaded in " << result.restyler.load_ms << " ms";
  }
  return text.str();
}

std::size_t count(const std::vector<InputResult>& results, InputResult::Outcome outcome) {
  return static_cast<std::size_t>(
      std::count_if(results.begin(), results.end(), [&](const auto& each) { return each.outcome == outcome; }));
}

std::string unitOf(const std::vector<InputResult>& results) {
  const bool has_clips = std::any_of(results.begin(), results.end(), [](const auto& each) { return each.is_clip; });
  return has_clips ? "files" : "images";
}

Json jsonOf(const media::RestylerReport& report) {
  return {{"style", media::nameOf(report.style)},
          {"network", textOrNull(report.network)},
          {"package", textOrNull(base::utf8Text(report.package))},
          {"device", report.device},
          {"device_reason", report.device_reason}};
}

Json jsonOf(const InputResult& result) {
  Json json = {
      {"input", base::utf8Text(result.input)}, {"output", base::utf8Text(result.output)}, {"outcome", nameOf(result.outcome)}};
  if (!result.caption.empty()) {
    json["caption"] = result.caption;
  }
  if (result.outcome == InputResult::Outcome::kFailed) {
    json["error"] = result.error;
  }
  if (result.outcome != InputResult::Outcome::kDone) {
    return json;
  }
  json["width"] = result.size.width;
  json["height"] = result.size.height;
  if (result.is_clip) {
    json["frames"] = result.frames;
    json["frames_per_second"] = result.frames_per_second;
    json["warnings"] = result.warnings;
    json["damage"] = result.damage;
  } else {
    json["ms_per_frame"] = result.restyler.frame_ms;
    json["load_ms"] = result.restyler.load_ms;
    if (!result.warnings.empty()) {
      json["warnings"] = result.warnings;
    }
  }
  return json;
}

void printRun(Json json, const std::vector<InputResult>& results, base::ExitStatus status) {
  json["results"] = Json::array();
  for (const InputResult& result : results) {
    json["results"].push_back(jsonOf(result));
  }
  json["exit_status"] = static_cast<int>(status);
  printJson(json);
}

} // namespace vorin::stylize
