#include "cancellation.h"
#include "model_package.h"
#include "options.h"
#include "picture_mat.h"
#include "report.h"
#include "restyling.h"
#include "selftest_expectations.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <opencv2/core.hpp>

#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>

namespace vorin::stylize {
namespace {

using Json = nlohmann::ordered_json;
using base::ExitStatus;
using media::Style;

constexpr std::array kStyles = {Style::kPencilSketch, Style::kStippling, Style::kLightGrey, Style::kCartoon, Style::kTransfer};

struct StyleResult {
  std::string style;
  std::string error;                     // empty: the result is correct
  ExitStatus status = ExitStatus::kDone; // of the error
  std::string sums;                      // hexadecimal; empty if there is no result
  std::optional<int> difference;         // the largest; none if no result is expected
  int tolerance = 0;
};

// The faults that show without an expected result. A result equal to the input differs by 0, real ones by 20 or more on average.
std::string faultOf(const cv::Mat& input, const cv::Mat& output) {
  constexpr double kOtherPicture = 3;
  if (output.size() != input.size()) {
    return "the result is " + media::sizeText({output.cols, output.rows}) + " instead of " +
           media::sizeText({input.cols, input.rows});
  }
  cv::Mat difference;
  cv::absdiff(input, output, difference);
  const cv::Scalar mean = cv::mean(difference);
  return (mean[0] + mean[1] + mean[2]) / 3 < kOtherPicture ? "the result equals the input" : "";
}

void judge(StyleResult& result, const cv::Mat& input, const cv::Mat& output, const Expectations& expectations) {
  result.status = ExitStatus::kDevice;
  result.error = faultOf(input, output);
  if (!result.error.empty()) {
    return;
  }
  const BlockSums sums = blockSums(output);
  result.sums = base::hexadecimalText(sums);
  const auto expected = expectations.results.find(result.style);
  if (expected != expectations.results.end()) {
    result.tolerance = expected->second.tolerance;
    result.difference = largestDifference(sums, expected->second.sums);
    if (*result.difference > result.tolerance) {
      result.error = "the result differs from the expected one";
      return;
    }
  }
  result.status = ExitStatus::kDone;
}

// The results that the package expects of its networks. They are read once, for the first neural style.
class NetworkExpectations {
public:
  explicit NetworkExpectations(const Options& options) : options_(options) {}

  const Expectations& get() {
    if (!expectations_) {
      const media::ModelPackage package(options_.restyler.models);
      expectations_ = expectationsOfNetworks(package);
      if (!expectations_->problem.empty()) {
        problem_ = base::quotedPath(package.file()) + ": network results are not compared, since its entry 'selftest.json' " +
                   expectations_->problem + ": build the package again";
        printLine(problem_);
      }
    }
    return *expectations_;
  }

  const std::string& problem() const { return problem_; }

private:
  const Options& options_;
  std::optional<Expectations> expectations_;
  std::string problem_; // why the expectations cannot be used
};

StyleResult test(media::Restyler& restyler, Style style, NetworkExpectations& networks) {
  StyleResult result;
  result.style = media::nameOf(style);
  try {
    const media::Picture input = media::pictureFromBgr(selftestPhoto());
    restyler.setStyle(style);
    restyler.startSequence();
    prepareQuietly(restyler, input.size());
    base::throwIfCancelled();
    const media::Picture output = restyler.restyle(input);
    judge(result, media::bgrOf(input), media::bgrOf(output), media::isNeural(style) ? networks.get() : expectationsOfFilters());
  } catch (const Error& error) {
    result.error = error.what();
    result.status = base::exitStatusOf(error.kind());
  }
  return result;
}

std::string textOf(const StyleResult& result) {
  std::string text = result.style;
  text += result.error.empty() ? ": ok" : ": FAILED: " + result.error;
  if (result.difference) {
    return text + ", off by " + std::to_string(*result.difference) + " at most, " + std::to_string(result.tolerance) + " allowed";
  }
  return text + (result.sums.empty() ? "" : ", not compared: this package holds no expected result");
}

Json jsonOf(const StyleResult& result) {
  return {{"style", result.style},
          {"outcome", result.error.empty() ? "ok" : "failed"},
          {"error", result.error.empty() ? Json() : Json(result.error)},
          {"largest_difference", result.difference ? Json(*result.difference) : Json()},
          {"allowed", result.difference ? Json(result.tolerance) : Json()},
          {"block_sums", result.sums.empty() ? Json() : Json(result.sums)}};
}

} // namespace

ExitStatus testItself(const Options& options) {
  media::Restyler restyler(options.restyler);
  restyler.setStyleImage(media::pictureFromBgr(selftestStyleImage()));
  NetworkExpectations networks(options);
  std::vector<StyleResult> results;
  ExitStatus status = ExitStatus::kDone;
  for (const Style style : kStyles) {
    results.push_back(test(restyler, style, networks));
    status = status == ExitStatus::kDone ? results.back().status : status;
    if (!options.json) {
      std::cout << textOf(results.back()) << std::endl;
    }
  }
  const media::RestylerReport report = restyler.report();
  if (!options.json) {
    std::cout << "on " << report.device << ": " << report.device_reason << '\n';
    return status;
  }
  Json json = {{"device", report.device},
               {"device_reason", report.device_reason},
               {"inputs",
                {{"photo", base::hexadecimalText(blockSums(selftestPhoto()))},
                 {"style_image", base::hexadecimalText(blockSums(selftestStyleImage()))}}},
               {"package_problem", networks.problem().empty() ? Json() : Json(networks.problem())},
               {"styles", Json::array()}};
  for (const StyleResult& result : results) {
    json["styles"].push_back(jsonOf(result));
  }
  json["exit_status"] = static_cast<int>(status);
  printJson(json);
  return status;
}

} // namespace vorin::stylize
