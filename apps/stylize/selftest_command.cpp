#include "cancellation.h"
#include "model_package.h"
#include "options.h"
#include "report.h"
#include "restyling.h"
#include "selftest_expectations.h"
#include "text.h"
#include "vorin_installation.hpp"

#include <iostream>
#include <nlohmann/json.hpp>

namespace vorin::stylize {
namespace {

using Json = nlohmann::ordered_json;
using base::ExitStatus;

std::string textOf(const media::StyleTest& test) {
  std::string text(media::nameOf(test.style));
  text += test.error.empty() ? ": ok" : ": FAILED: " + test.error;
  if (test.difference) {
    return text + ", off by " + std::to_string(*test.difference) + " at most, " + std::to_string(test.tolerance) + " allowed";
  }
  return text + (test.block_sums.empty() ? "" : ", not compared: this package holds no expected result");
}

Json jsonOf(const media::StyleTest& test) {
  return {{"style", media::nameOf(test.style)},
          {"outcome", test.error.empty() ? "ok" : "failed"},
          {"error", test.error.empty() ? Json() : Json(test.error)},
          {"largest_difference", test.difference ? Json(*test.difference) : Json()},
          {"allowed", test.difference ? Json(test.tolerance) : Json()},
          {"block_sums", test.block_sums.empty() ? Json() : Json(test.block_sums)}};
}

} // namespace

ExitStatus testItself(const Options& options) {
  media::SelfTest self_test(options.restyler, [](media::Restyler& restyler, media::Size size) {
    prepareQuietly(restyler, size);
    base::throwIfCancelled();
  });
  std::vector<media::StyleTest> tests;
  ExitStatus status = ExitStatus::kDone;
  for (const media::Style style : media::kTestedStyles) {
    const std::string problem_before = self_test.packageProblem();
    tests.push_back(self_test.test(style));
    const media::StyleTest& test = tests.back();
    if (problem_before != self_test.packageProblem()) {
      printLine(self_test.packageProblem());
    }
    status = status == ExitStatus::kDone && !test.error.empty() ? base::exitStatusOf(test.fault) : status;
    if (!options.json) {
      std::cout << textOf(test) << std::endl;
    }
  }
  const media::RestylerReport report = self_test.report();
  if (!options.json) {
    std::cout << "on " << report.device << ": " << report.device_reason << '\n';
    return status;
  }
  Json json = {{"device", report.device},
               {"device_reason", report.device_reason},
               {"inputs",
                {{"photo", base::hexadecimalText(media::blockSums(media::selftestPhoto()))},
                 {"style_image", base::hexadecimalText(media::blockSums(media::selftestStyleImage()))}}},
               {"package_problem", self_test.packageProblem().empty() ? Json() : Json(self_test.packageProblem())},
               {"styles", Json::array()}};
  for (const media::StyleTest& test : tests) {
    json["styles"].push_back(jsonOf(test));
  }
  json["exit_status"] = static_cast<int>(status);
  printJson(json);
  return status;
}

} // namespace vorin::stylize
