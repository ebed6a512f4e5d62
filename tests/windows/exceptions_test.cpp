// Exceptions across the DLL's border: this program and the DLL each have a C++ runtime, an OpenCV and an interface to the
// inference runtime inside, and what the one throws the other catches by its type.
#include "support/api_object.h"
#include "support/test_networks.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <openvino/runtime/core.hpp>

#include <exception>
#include <string>
#include <vector>

namespace vorin {
namespace {

constexpr std::uint32_t kSize = 16;
constexpr std::uint32_t kUnsupportedFormat = 4;
constexpr std::int32_t kNoStyle = 99;

void process(SttInterface& object, std::uint32_t format) {
  std::vector<std::uint8_t> pixels(std::size_t{4} * kSize * kSize);
  const SttFrame input = {VORIN_MEM_SYSTEM, pixels.data(), format, kSize, kSize, 4 * kSize};
  SttFrame output = input;
  output.pixelFormat = VORIN_FMT_BGRA;
  object.ProcessFrame(nullptr, &input, nullptr, &output);
}

TEST(Exceptions, OfOpenCvAreCaughtByTheirType) {
  const tests::Object object = tests::makeObject();
  tests::configure(*object, kNoStyle, kSize, kSize); // no style: the empty result cannot be converted
  try {
    process(*object, VORIN_FMT_BGRA);
    FAIL() << "nothing thrown";
  } catch (const ov::Exception&) {
    FAIL() << "of another type";
  } catch (const cv::Exception& error) {
    EXPECT_NE(error.code, 0);
    EXPECT_NE(error.err, "");
    EXPECT_NE(std::string(error.what()).find(error.err), std::string::npos);
  }
}

TEST(Exceptions, OfTheInferenceRuntimeAreCaughtByTheirType) {
  const tests::TestPackage package({tests::twinFiles(tests::kLightGrey, tests::FixedNetwork{})});
  const tests::Object object = tests::makeObject();
  tests::configure(*object, SttStyleLightGrey, kSize, kSize);
  object->SetConfig(nullptr, SttCfgModelPath, package.folder().c_str());
  ASSERT_EQ(object->Prepare(nullptr), VORIN_STATUS_OK);
  try {
    process(*object, kUnsupportedFormat); // there is no output of a frame that cannot be read
    FAIL() << "nothing thrown";
  } catch (const cv::Exception&) {
    FAIL() << "of another type";
  } catch (const ov::Exception& error) {
    EXPECT_NE(std::string(error.what()), "");
  }
  EXPECT_NO_THROW(process(*object, VORIN_FMT_BGRA));
}

TEST(Exceptions, AreCaughtByTheirBaseAndThrownOnAsOftenAsTheyCome) {
  const tests::Object object = tests::makeObject();
  tests::configure(*object, kNoStyle, kSize, kSize);
  for (int frame = 0; frame < 200; ++frame) {
    std::exception_ptr kept;
    try {
      process(*object, VORIN_FMT_BGRA);
    } catch (const std::exception&) {
      kept = std::current_exception();
    }
    ASSERT_TRUE(kept);
    EXPECT_THROW(std::rethrow_exception(kept), cv::Exception);
  }
}

} // namespace
} // namespace vorin
