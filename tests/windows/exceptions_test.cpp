// Exceptions across the DLL's border: this program and the DLL each have a C++ runtime, an OpenCV and an interface to the
// inference runtime inside, and what the one throws the other catches by its type.
#include "support/api_object.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>
#include <opencv2/core.hpp>
#include <openvino/runtime/core.hpp>

#include <vector>

namespace vorin {
namespace {

using testing::IsEmpty;
using testing::Not;
using testing::ThrowsMessage;

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

TEST(Exceptions, AreCaughtByTheirType) {
  const tests::Object object = tests::makeObject();
  tests::configure(*object, kNoStyle, kSize, kSize); // nothing is drawn, and nothing cannot be converted
  EXPECT_THAT([&] { process(*object, VORIN_FMT_BGRA); }, ThrowsMessage<cv::Exception>(Not(IsEmpty())));

  const tests::TestPackage package({tests::twinFiles(tests::kLightGrey, tests::FixedNetwork{})});
  tests::configure(*object, SttStyleLightGrey, kSize, kSize);
  object->SetConfig(nullptr, SttCfgModelPath, package.folder().c_str());
  ASSERT_EQ(object->Prepare(nullptr), VORIN_STATUS_OK);
  // A frame that cannot be read has no output.
  EXPECT_THAT([&] { process(*object, kUnsupportedFormat); }, ThrowsMessage<ov::Exception>(Not(IsEmpty())));
  EXPECT_NO_THROW(process(*object, VORIN_FMT_BGRA));
}

} // namespace
} // namespace vorin
