// Exceptions across the DLL's border: this program and the DLL each have a C++ runtime, an OpenCV and a runtime's interface of
// their own inside, and what the one throws the other catches by its type.
#include "vorin_stt.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <openvino/runtime/core.hpp>

#include <exception>
#include <string>
#include <vector>

namespace {

class Exceptions : public testing::Test {
protected:
  Exceptions() {
    SttFactory::Create(&object_);
    const std::int32_t style = SttStyleLightGrey;
    const std::int32_t size = kSize;
    object_->SetConfig(nullptr, SttCfgStyleType, &style);
    object_->SetConfig(nullptr, SttCfgWidth, &size);
    object_->SetConfig(nullptr, SttCfgHeight, &size);
  }
  ~Exceptions() override { SttFactory::Destroy(object_); }

  // Of a neural style that was not prepared: every frame throws.
  void process(std::uint32_t format) {
    std::vector<std::uint8_t> pixels(std::size_t{4} * kSize * kSize);
    const SttFrame input = {VORIN_MEM_SYSTEM, pixels.data(), format, kSize, kSize, 4 * kSize};
    SttFrame output = input;
    object_->ProcessFrame(nullptr, &input, nullptr, &output);
  }

  static constexpr std::uint32_t kSize = 16;
  static constexpr std::uint32_t kUnsupportedFormat = 4;
  SttInterface* object_ = nullptr;
};

TEST_F(Exceptions, OfOpenCvAreCaughtByTheirType) {
  try {
    process(kUnsupportedFormat);
    FAIL() << "nothing thrown";
  } catch (const ov::Exception&) {
    FAIL() << "of another type";
  } catch (const cv::Exception& error) {
    EXPECT_NE(error.code, 0);
    EXPECT_FALSE(error.err.empty());
    EXPECT_NE(std::string(error.what()).find(error.err), std::string::npos);
  }
}

TEST_F(Exceptions, OfTheInferenceRuntimeAreCaughtByTheirType) {
  try {
    process(VORIN_FMT_BGRA);
    FAIL() << "nothing thrown";
  } catch (const cv::Exception&) {
    FAIL() << "of another type";
  } catch (const ov::Exception& error) {
    EXPECT_NE(std::string(error.what()), "");
  }
}

TEST_F(Exceptions, AreCaughtByTheirBaseAndThrownOnAsOftenAsTheyCome) {
  for (int frame = 0; frame < 200; ++frame) {
    std::exception_ptr kept;
    try {
      process(frame % 2 == 0 ? kUnsupportedFormat : std::uint32_t{VORIN_FMT_BGRA});
    } catch (const std::exception&) {
      kept = std::current_exception();
    }
    ASSERT_TRUE(kept);
    EXPECT_THROW(std::rethrow_exception(kept), std::exception);
  }
  SttVersion version = {};
  EXPECT_EQ(object_->GetVersion(&version), VORIN_STATUS_OK);
  EXPECT_EQ(version.minor, 5);
}

} // namespace
