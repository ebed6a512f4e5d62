// What leaves ProcessFrame of the shared library, through its public header. What the filters draw is tested at their modules.
#include "support/api_object.h"
#include "support/guarded_buffer.h"

#include <opencv2/core.hpp>

namespace vorin {
namespace {

using namespace tests;

class Frames : public testing::Test {
protected:
  SttFrame inputOf(std::uint32_t format) { return {VORIN_MEM_SYSTEM, input_.data(), format, kWidth, kHeight, kWidth * 4}; }
  SttFrame outputOf(std::uint32_t format) { return {99, output_.data(), format, 1, 2, 3}; }
  _VorinStatus process(SttInterface& object, const SttFrame& input, SttFrame& output) {
    return object.ProcessFrame(nullptr, &input, nullptr, &output);
  }

  static constexpr std::uint32_t kWidth = 24;
  static constexpr std::uint32_t kHeight = 16;
  GuardedBuffer input_{kWidth * kHeight * 4, 0x40};
  GuardedBuffer output_{kWidth * kHeight * 4};
};

TEST_F(Frames, OutsideSystemMemoryAreRefused) {
  const LogSetting setting(1);
  const Object object = makeObject();
  configure(*object, SttStylePencilSketch, kWidth, kHeight);
  SttFrame input = inputOf(VORIN_FMT_BGRA);
  input.memoryType = 1;
  SttFrame output = outputOf(VORIN_FMT_BGRA);
  DebuggerOutput log;
  EXPECT_EQ(process(*object, input, output), VORIN_STATUS_UNSUPPORTED);
  EXPECT_EQ(linesOf(log.take()),
            (std::vector<std::string>{"[V] enter StyleTransfer::ProcessFrame", "[E] only support system memory now!"}));
  EXPECT_TRUE(output_.untouched());
  EXPECT_EQ(output.width, 1U);
  EXPECT_EQ(output.height, 2U);
}

TEST_F(Frames, OfAnUnknownStyleComeOutEmptyOrThrow) {
  const LogSetting setting(1);
  const Object object = makeObject();
  configure(*object, 9, kWidth, kHeight);
  const SttFrame input = inputOf(VORIN_FMT_BGRA);
  SttFrame output = outputOf(VORIN_FMT_BGR24);
  DebuggerOutput log;
  EXPECT_EQ(process(*object, input, output), VORIN_STATUS_OK);
  EXPECT_EQ(linesOf(log.take()),
            (std::vector<std::string>{"[V] enter StyleTransfer::ProcessFrame", "[E] error type for style transfer",
                                      "[V] exit StyleTransfer::ProcessFrame"}));
  EXPECT_EQ(output.width, 0U);
  EXPECT_EQ(output.height, 0U);
  for (const std::uint32_t format : {VORIN_FMT_BGRA, VORIN_FMT_RGBA, VORIN_FMT_NV12, VORIN_FMT_YUY2}) {
    output = outputOf(format);
    EXPECT_THROW(process(*object, input, output), cv::Exception) << format;
  }
  EXPECT_TRUE(output_.untouched());
}

TEST_F(Frames, OfAFilterWithoutOpenClComeOutBlackAndTransparent) {
  const Object object = makeObject();
  configureWithoutGpu(*object, SttStylePencilSketch, kWidth, kHeight);
  object->Prepare(nullptr);
  SttFrame output = outputOf(VORIN_FMT_BGRA);
  EXPECT_EQ(process(*object, inputOf(VORIN_FMT_BGRA), output), VORIN_STATUS_OK);
  EXPECT_EQ(output.width, kWidth);
  EXPECT_EQ(output_.content(), std::vector<std::uint8_t>(output_.size(), 0));
  EXPECT_TRUE(output_.guardIntact());
}

TEST_F(Frames, ThrowWhereTheRequestedSizeIsZeroOrTheInputFormatUnknown) {
  const Object object = makeObject();
  for (const std::int32_t style : {SttStyleStippling, SttStylePencilSketch}) {
    configure(*object, style, 0, kHeight);
    ASSERT_EQ(object->Prepare(nullptr), VORIN_STATUS_OK);
    output_ = GuardedBuffer(output_.size());
    SttFrame output = outputOf(VORIN_FMT_BGRA);
    EXPECT_THROW(process(*object, inputOf(VORIN_FMT_BGRA), output), cv::Exception);
    configure(*object, style, kWidth, kHeight);
    EXPECT_THROW(process(*object, inputOf(4), output), cv::Exception);
    EXPECT_TRUE(output_.untouched());
    // Neither leaves the object unusable.
    EXPECT_EQ(process(*object, inputOf(VORIN_FMT_BGRA), output), VORIN_STATUS_OK);
    EXPECT_TRUE(output_.guardIntact());
  }
}

} // namespace
} // namespace vorin
