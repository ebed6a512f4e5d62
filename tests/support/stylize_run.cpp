#include "support/stylize_run.h"

#include <gmock/gmock.h>
#include <opencv2/imgproc.hpp>

namespace vorin::tests {

cv::Mat makePicture(cv::Size size) {
  const cv::Size half((size.width + 1) / 2, (size.height + 1) / 2);
  cv::Mat blocks;
  cv::Vec3b corners[] = {{40, 60, 220}, {220, 60, 60}, {40, 210, 220}, {220, 210, 60}};
  cv::resize(cv::Mat(2, 2, CV_8UC3, corners), blocks, half);
  cv::rectangle(blocks, {half.width / 4, half.height / 4}, {half.width / 2, half.height / 2}, {30, 200, 90}, cv::FILLED);
  cv::Mat grain(half, CV_8UC3);
  cv::RNG random(20);
  random.fill(grain, cv::RNG::UNIFORM, 0, 30);
  blocks += grain;
  cv::Mat picture;
  cv::resize(blocks, picture, half * 2, 0, 0, cv::INTER_NEAREST);
  return picture(cv::Rect({0, 0}, size)).clone();
}

testing::AssertionResult areEqual(const cv::Mat& a, const cv::Mat& b, double tolerance) {
  if (a.size() != b.size() || a.type() != b.type()) {
    return testing::AssertionFailure() << a.size() << " and " << b.size() << ", types " << a.type() << " and " << b.type();
  }
  const double difference = cv::norm(a, b, cv::NORM_INF);
  return (difference <= tolerance ? testing::AssertionSuccess() : testing::AssertionFailure()) << "difference " << difference;
}

void expectFailure(const ChildResult& result, int exit_status, const std::string& said) {
  EXPECT_EQ(result.exit_status, exit_status);
  EXPECT_EQ(linesOf(result.standard_error).size(), 1U) << result.standard_error;
  EXPECT_THAT(result.standard_error, testing::StartsWith("vorin-stylize: "));
  EXPECT_THAT(result.standard_error, testing::HasSubstr(said));
  EXPECT_EQ(result.standard_output, "");
}

void StylizeRun::expectFailureOf(const FailureCase& failure, const ChildSetting& setting) const {
  SCOPED_TRACE(failure.name);
  const std::set<std::string> names_before = names();
  expectFailure(run(inFolder(failure.arguments), setting), failure.exit_status, failure.said);
  EXPECT_EQ(names(), names_before);
}

std::vector<std::string> StylizeRun::inFolder(std::vector<std::string> arguments) const {
  for (std::string& argument : arguments) {
    if (argument.starts_with('%')) {
      argument = file(argument.substr(1));
    }
  }
  return arguments;
}

std::string StylizeRun::image(const std::string& name, cv::Size size) const {
  savePicture(file(name), makePicture(size));
  return file(name);
}

std::string StylizeRun::copyProgram(const std::filesystem::path& folder) {
  const std::filesystem::path copy = folder / std::filesystem::path(program()).filename();
  std::filesystem::copy_file(program(), copy);
  const std::filesystem::path library = buildFolder() / "libvorin_stt_embedded.so"; // on Windows the program holds it
  if (std::filesystem::exists(library)) {
    std::filesystem::create_symlink(library, folder / library.filename());
  }
  return copy.string();
}

ChildResult StylizeRun::run(std::vector<std::string> arguments, const ChildSetting& setting) {
  arguments.insert(arguments.begin(), program());
  return ChildProcess(arguments, setting).wait();
}

ChildResult StylizeRun::restyle(std::vector<std::string> more, const ChildSetting& setting) const {
  more.insert(more.begin(), {image("photo.png"), "-o", file("out.png")});
  return run(more, setting);
}

} // namespace vorin::tests
