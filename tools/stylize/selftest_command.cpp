#include "selftest_command.h"

#include "painter.h"
#include "picture_size.h"
#include "run_report.h"
#include "sha256.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <iostream>
#include <nlohmann/json.hpp>

namespace vorin::stylize {
namespace {

using Json = nlohmann::ordered_json;

// Of a block's mean. Filters compute alike on every device but for roundings; networks in half precision, or as their quantised
// twins, give drawings that differ by a few steps everywhere, where another network is tens away.
constexpr int kFilterTolerance = 2;
constexpr int kNetworkTolerance = 8;

struct StyleResult {
  const Style* style = nullptr;
  std::string error;                     // empty: it draws as it should
  ExitStatus status = ExitStatus::kDone; // of the error
  std::string means;                     // hexadecimal; empty where it does not draw
  std::optional<int> difference;         // the largest; none where nothing is known
  int tolerance = 0;
};

int largestDifference(const BlockMeans& means, std::string_view known) {
  int largest = 0;
  for (std::size_t index = 0; index < means.size(); ++index) {
    int value = 0;
    std::from_chars(known.data() + index * 2, known.data() + index * 2 + 2, value, 16);
    largest = std::max(largest, std::abs(means[index] - value));
  }
  return largest;
}

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

void judge(StyleResult& result, const cv::Mat& photo, const cv::Mat& drawing, const std::string& package_sha256) {
  result.status = ExitStatus::kDevice;
  result.error = faultOf(photo, drawing);
  if (!result.error.empty()) {
    return;
  }
  const BlockMeans means = blockMeans(drawing);
  result.means = hexadecimalText(means);
  result.tolerance = result.style->isNeural() ? kNetworkTolerance : kFilterTolerance;
  if (const KnownDrawing* known = findKnownDrawing(result.style->name, package_sha256)) {
    result.difference = largestDifference(means, known->means);
    if (*result.difference > result.tolerance) {
      result.error = "the drawing is another one than it should be";
      return;
    }
  }
  result.status = ExitStatus::kDone;
}

// The networks with the built-in style image. A Failure where there is no package: the filters are drawn without one.
NeuralTools neuralTools(const Arguments& arguments) {
  return {ModelPackage(arguments.models), selftestStyleImage()};
}

StyleResult test(ChosenDevice& device, const Arguments& arguments, const Style& style, std::optional<NeuralTools>& tools,
                 std::string& package_sha256) {
  StyleResult result;
  result.style = &style;
  try {
    if (style.isNeural()) {
      if (!tools) {
        tools = neuralTools(arguments);
        package_sha256 = sha256OfFile(tools->package.file(), 0, std::filesystem::file_size(tools->package.file()));
      }
      tools->package.requireNetwork(style, style.networks.front());
    }
    Manner manner = mannerOf(arguments, style, tools ? &*tools : nullptr);
    manner.format = findFrameFormat("bgra");
    const cv::Mat photo = selftestPhoto();
    judge(result, photo, device.draw(photo, manner).bgr, package_sha256);
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
  return text + (result.means.empty() ? "" : ", a drawing; how it should look is not known for this package");
}

Json jsonOf(const StyleResult& result) {
  return {{"style", result.style->name},
          {"outcome", result.error.empty() ? "ok" : "failed"},
          {"error", result.error.empty() ? Json() : Json(result.error)},
          {"largest_difference", result.difference ? Json(*result.difference) : Json()},
          {"allowed", result.difference ? Json(result.tolerance) : Json()},
          {"block_means", result.means.empty() ? Json() : Json(result.means)}};
}

} // namespace

BlockMeans blockMeans(const cv::Mat& picture_bgr) {
  cv::Mat small;
  cv::resize(picture_bgr, small, {kBlocks, kBlocks}, 0, 0, cv::INTER_AREA);
  BlockMeans means{};
  std::copy(small.datastart, small.dataend, means.begin());
  return means;
}

ExitStatus testItself(const Arguments& arguments) {
  ChosenDevice device(arguments.device);
  device.prepare(styles().front()); // where the program would start again, before anything is printed
  std::optional<NeuralTools> tools;
  std::string package_sha256;
  std::vector<StyleResult> results;
  ExitStatus status = ExitStatus::kDone;
  for (const Style& style : styles()) {
    results.push_back(test(device, arguments, style, tools, package_sha256));
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
               {"package_sha256", package_sha256.empty() ? Json() : Json(package_sha256)},
               {"styles", Json::array()}};
  for (const StyleResult& result : results) {
    json["styles"].push_back(jsonOf(result));
  }
  json["exit_status"] = static_cast<int>(status);
  printJson(json);
  return status;
}

} // namespace vorin::stylize
