#include "selftest_command.h"

#include "painter.h"
#include "picture_size.h"
#include "run_report.h"
#include "sha256.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <iostream>
#include <nlohmann/json.hpp>

namespace vorin::stylize {
namespace {

using Json = nlohmann::ordered_json;

// Filters compute alike on every device but for roundings; one filter's sums are 14 away from the other's. Networks differ by
// their quantised twins and by the device's precision: in bf16 style transfer, whose answer the library stretches to the full
// range, is 10 away from f32. Sums of another style's network are 140 and more away.
constexpr int kFilterTolerance = 2;
constexpr int kNetworkTolerance = 16;

struct StyleResult {
  const Style* style = nullptr;
  std::string error;                     // empty: it draws as it should
  ExitStatus status = ExitStatus::kDone; // of the error
  std::string sums;                      // hexadecimal; empty where it does not draw
  std::optional<int> difference;         // the largest; none where nothing is known
  int tolerance = 0;
};

int largestDifference(const BlockSums& sums, std::string_view known) {
  int largest = 0;
  for (std::size_t index = 0; index < sums.size(); ++index) {
    int value = 0;
    std::from_chars(known.data() + index * 2, known.data() + index * 2 + 2, value, 16);
    largest = std::max(largest, std::abs(sums[index] - value));
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
  const BlockSums sums = blockSums(drawing);
  result.sums = hexadecimalText(sums);
  result.tolerance = result.style->isNeural() ? kNetworkTolerance : kFilterTolerance;
  if (const KnownDrawing* known = findKnownDrawing(result.style->name, package_sha256)) {
    result.difference = largestDifference(sums, known->sums);
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

BlockSums blockSums(const cv::Mat& picture_bgr) {
  BlockSums sums{};
  auto* sum = sums.data();
  const cv::Size size(picture_bgr.cols / kBlocks, picture_bgr.rows / kBlocks);
  for (int block = 0; block < kBlocks * kBlocks; ++block) {
    const cv::Point origin(block % kBlocks * size.width, block / kBlocks * size.height);
    cv::Scalar mean;
    cv::Scalar deviation;
    cv::meanStdDev(picture_bgr(cv::Rect(origin, size)), mean, deviation);
    for (const double value : {mean[0], mean[1], mean[2], deviation[1]}) {
      *sum++ = cv::saturate_cast<std::uint8_t>(value);
    }
  }
  return sums;
}

ExitStatus testItself(const Arguments& arguments) {
  ChosenDevice device(arguments.device);
  try {
    device.prepare(styles().front()); // where the program would start again, before anything is printed
  } catch (const Failure&) {          // comes again, as that style's own
  }
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
