#include "selftest_command.h"

#include "commands.h"
#include "painter.h"
#include "picture_size.h"
#include "quoted_name.h"
#include "run_report.h"
#include "selftest_expectations.h"
#include "sha256.h"

#include <opencv2/core.hpp>

#include <iostream>
#include <nlohmann/json.hpp>

namespace vorin::stylize {
namespace {

using Json = nlohmann::ordered_json;

struct StyleResult {
  const Style* style = nullptr;
  std::string error;                     // empty: it draws as it should
  ExitStatus status = ExitStatus::kDone; // of the error
  std::string sums;                      // hexadecimal; empty where it does not draw
  std::optional<int> difference;         // the largest; none where nothing is known
  int tolerance = 0;
};

// What shows without knowing the drawing. A drawing that is the photo differs by nothing, real ones by 20 and more on average.
std::string faultOf(const cv::Mat& photo, const cv::Mat& drawing) {
  constexpr double kOtherPicture = 3;
  if (drawing.size() != photo.size()) {
    return "the drawing is " + sizeText(drawing.size()) + " instead of " + sizeText(photo.size());
  }
  cv::Mat difference;
  cv::absdiff(photo, drawing, difference);
  const cv::Scalar mean = cv::mean(difference);
  return (mean[0] + mean[1] + mean[2]) / 3 < kOtherPicture ? "the drawing is the photo itself" : "";
}

void judge(StyleResult& result, const cv::Mat& photo, const cv::Mat& drawing, const Expectations& expectations) {
  result.status = ExitStatus::kDevice;
  result.error = faultOf(photo, drawing);
  if (!result.error.empty()) {
    return;
  }
  const BlockSums sums = blockSums(drawing);
  result.sums = hexadecimalText(sums);
  const auto expected = expectations.drawings.find(result.style->name);
  if (expected != expectations.drawings.end()) {
    result.tolerance = expected->second.tolerance;
    result.difference = largestDifference(sums, expected->second.sums);
    if (*result.difference > result.tolerance) {
      result.error = "the drawing is another one than it should be";
      return;
    }
  }
  result.status = ExitStatus::kDone;
}

// The package with the built-in style image, and what it says about its drawings.
struct TestedPackage {
  explicit TestedPackage(const Arguments& arguments)
      : tools{ModelPackage(arguments.models), selftestStyleImage()}, expectations(expectationsOfNetworks(tools.package)) {
    if (!expectations.problem.empty()) {
      problem = base::quotedPath(tools.package.file()) + ": how its networks should draw is not known, since its entry " +
                "'selftest.json' " + expectations.problem + ": build the package anew";
      printLine(problem);
    }
  }

  NeuralTools tools;
  Expectations expectations;
  std::string problem; // what keeps the expectations from being used
};

StyleResult test(ChosenDevice& device, const Arguments& arguments, const Style& style, std::optional<TestedPackage>& package) {
  StyleResult result;
  result.style = &style;
  try {
    if (style.isNeural()) {
      if (!package) { // the filters are drawn without one
        package.emplace(arguments);
      }
      package->tools.package.requireNetwork(style, style.networks.front());
    }
    Manner manner = mannerOf(arguments, style, package ? &package->tools : nullptr);
    manner.format = findFrameFormat("bgra");
    const cv::Mat photo = selftestPhoto();
    judge(result, photo, device.draw(photo, manner).bgr, style.isNeural() ? package->expectations : expectationsOfFilters());
  } catch (const Failure& failure) {
    result.error = failure.what();
    result.status = failure.status();
  }
  return result;
}

std::string textOf(const StyleResult& result) {
  std::string text(result.style->name);
  text += result.error.empty() ? ": ok" : ": FAILED: " + result.error;
  if (result.difference) {
    return text + ", off by " + std::to_string(*result.difference) + " at most, " + std::to_string(result.tolerance) + " allowed";
  }
  return text + (result.sums.empty() ? "" : ", a drawing; how it should look is not known for this package");
}

Json jsonOf(const StyleResult& result) {
  return {{"style", result.style->name},
          {"outcome", result.error.empty() ? "ok" : "failed"},
          {"error", result.error.empty() ? Json() : Json(result.error)},
          {"largest_difference", result.difference ? Json(*result.difference) : Json()},
          {"allowed", result.difference ? Json(result.tolerance) : Json()},
          {"block_sums", result.sums.empty() ? Json() : Json(result.sums)}};
}

} // namespace

ExitStatus testItself(const Arguments& arguments) {
  ChosenDevice device(arguments.device);
  try {
    device.prepare(styles().front()); // where the program would start again, before anything is printed
  } catch (const Failure&) {          // comes again, as that style's own
  }
  std::optional<TestedPackage> package;
  std::vector<StyleResult> results;
  ExitStatus status = ExitStatus::kDone;
  for (const Style& style : styles()) {
    results.push_back(test(device, arguments, style, package));
    status = status == ExitStatus::kDone ? results.back().status : status;
    if (!arguments.json) {
      std::cout << textOf(results.back()) << std::endl;
    }
  }
  if (!arguments.json) {
    std::cout << "on " << device.name() << ": " << device.reason() << '\n';
    return status;
  }
  Json json = {{"device", device.name()},
               {"device_reason", device.reason()},
               {"inputs",
                {{"photo", hexadecimalText(blockSums(selftestPhoto()))},
                 {"style_image", hexadecimalText(blockSums(selftestStyleImage()))}}},
               {"package_problem", package && !package->problem.empty() ? Json(package->problem) : Json()},
               {"styles", Json::array()}};
  for (const StyleResult& result : results) {
    json["styles"].push_back(jsonOf(result));
  }
  json["exit_status"] = static_cast<int>(status);
  printJson(json);
  return status;
}

} // namespace vorin::stylize
