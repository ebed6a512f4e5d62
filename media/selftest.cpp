// The self-test: restyles a built-in picture and compares the result with the expected one. Without an expected result, a result
// must have the picture's size and differ from it.
#include "picture_mat.h"
#include "selftest_expectations.h"
#include "sources_and_sinks.h"
#include "text.h"
#include "vorin_installation.hpp"

#include <opencv2/core.hpp>

#include <optional>
#include <utility>

namespace vorin::media {
namespace {

// The faults that show without an expected result. A result equal to the input differs by 0, real ones by 20 or more on average.
std::string faultOf(const cv::Mat& input, const cv::Mat& output) {
  constexpr double kOtherPicture = 3;
  if (output.size() != input.size()) {
    return "the result is " + sizeText({output.cols, output.rows}) + " instead of " + sizeText({input.cols, input.rows});
  }
  cv::Mat difference;
  cv::absdiff(input, output, difference);
  const cv::Scalar mean = cv::mean(difference);
  return (mean[0] + mean[1] + mean[2]) / 3 < kOtherPicture ? "the result equals the input" : "";
}

void judge(StyleTest& test, const cv::Mat& input, const cv::Mat& output, const Expectations& expectations) {
  test.fault = ErrorKind::kDevice;
  test.error = faultOf(input, output);
  if (!test.error.empty()) {
    return;
  }
  const BlockSums sums = blockSums(output);
  test.block_sums = base::hexadecimalText(sums);
  const auto expected = expectations.results.find(nameOf(test.style));
  if (expected != expectations.results.end()) {
    test.tolerance = expected->second.tolerance;
    test.difference = largestDifference(sums, expected->second.sums);
    test.error = *test.difference > test.tolerance ? "the result differs from the expected one" : "";
  }
}

} // namespace

class SelfTest::Work {
public:
  Work(const RestylerOptions& options, Prepare prepare)
      : models_(options.models), prepare_(std::move(prepare)), restyler_(options) {
    restyler_.setStyleImage(pictureFromBgr(selftestStyleImage()));
  }

  void test(StyleTest& test) {
    const Picture input = pictureFromBgr(selftestPhoto());
    restyler_.setStyle(test.style);
    restyler_.startSequence();
    if (prepare_) {
      prepare_(restyler_, input.size());
    }
    const Picture output = restyler_.restyle(input);
    judge(test, bgrOf(input), bgrOf(output), isNeural(test.style) ? expectationsOfPackage() : expectationsOfFilters());
  }

  RestylerReport report() const { return restyler_.report(); }

  std::string problem;

private:
  // Read once, for the first neural style.
  const Expectations& expectationsOfPackage() {
    if (!expectations_) {
      const ModelPackage package(models_);
      expectations_ = expectationsOfNetworks(package);
      if (!expectations_->problem.empty()) {
        problem = base::quotedPath(package.file()) + ": network results are not compared, since its entry 'selftest.json' " +
                  expectations_->problem + ": build the package again";
      }
    }
    return *expectations_;
  }

  std::filesystem::path models_;
  Prepare prepare_;
  Restyler restyler_;
  std::optional<Expectations> expectations_;
};

SelfTest::SelfTest(const RestylerOptions& options, Prepare prepare)
    : work_(std::make_unique<Work>(options, std::move(prepare))) {}
SelfTest::~SelfTest() = default;

StyleTest SelfTest::test(Style style) {
  StyleTest test;
  test.style = style;
  try {
    work_->test(test);
  } catch (const Error& error) {
    test.error = error.what();
    test.fault = error.kind();
  }
  return test;
}

RestylerReport SelfTest::report() const {
  return work_->report();
}

const std::string& SelfTest::packageProblem() const {
  return work_->problem;
}

} // namespace vorin::media
