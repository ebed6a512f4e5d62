// Whole frames of the filter styles, from the host's descriptor to the host's descriptor, against the plain computations of both
// filters.
#include "support/api_object.h"
#include "support/guarded_buffer.h"
#include "support/opencl_filter_reference.h"
#include "support/opencl_test_layer.h"

#include <CL/cl.h>
#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <stdexcept>

namespace vorin {
namespace {

using namespace tests;

constexpr int kWidth = 37;
constexpr int kHeight = 21;
constexpr int kEdge = 32; // of the work-groups, which stippling's displacements depend on

struct FilterStyle {
  std::int32_t style_type;
  const Filter& filter;
};

class FilterFrames : public testing::TestWithParam<FilterStyle> {
protected:
  FilterFrames() { resetLayer(); }
  ~FilterFrames() override { layer_.reset(); }

  // Forgets the faults, and keeps the device of the edge.
  void resetLayer() {
    layer_.reset();
    layer_.setPlatforms({{"Merix", {{true, std::size_t{4} * kEdge * kEdge}}}});
  }

  // Restyles the picture with delivery at a size, and checks the status, the descriptor and the guard zone.
  std::vector<std::uint8_t> restyle(const cv::Size& size) {
    configure(*object_, GetParam().style_type, size.width, size.height);
    GuardedBuffer memory(static_cast<std::size_t>(size.area()) * 4);
    SttFrame output = {VORIN_MEM_SYSTEM, memory.data(), VORIN_FMT_BGRA, 0, 0, 0};
    EXPECT_EQ(object_->ProcessFrame(nullptr, &input_, nullptr, &output), VORIN_STATUS_OK);
    EXPECT_EQ(cv::Size(static_cast<int>(output.width), static_cast<int>(output.height)), size);
    EXPECT_TRUE(memory.guardIntact());
    return memory.content();
  }

  void prepare() {
    configure(*object_, GetParam().style_type, kWidth, kHeight);
    ASSERT_EQ(object_->Prepare(nullptr), VORIN_STATUS_OK);
  }

  OpenClTestLayer layer_;
  Object object_ = makeObject();
  Picture picture_ = testPicture(kWidth, kHeight, 59);
  SttFrame input_{VORIN_MEM_SYSTEM, picture_.bytes.data(), VORIN_FMT_BGRA, kWidth, kHeight, 0};
  Picture expected_ = GetParam().filter.plain(picture_, kEdge, nullptr);
};

INSTANTIATE_TEST_SUITE_P(Filters, FilterFrames,
                         testing::Values(FilterStyle{SttStyleStippling, kStippling},
                                         FilterStyle{SttStylePencilSketch, kPencilSketch}),
                         [](const auto& instance) { return std::string(instance.param.filter.name); });

TEST_P(FilterFrames, AreThePlainComputationAlsoWhereTheLibraryResizesThem) {
  prepare();
  EXPECT_TRUE(isNearlyEqual(restyle({kWidth, kHeight}).data(), expected_));
  const cv::Mat drawn(kHeight, kWidth, CV_8UC4, expected_.bytes.data());
  for (const cv::Size& size : {cv::Size(18, 10), cv::Size(37, 40), cv::Size(90, 50)}) {
    cv::Mat wanted;
    cv::resize(drawn, wanted, size, 0, 0, cv::INTER_LINEAR);
    std::vector<std::uint8_t> resized = restyle(size);
    // A weighted mean of bytes that may be off by 1 is off by no more.
    EXPECT_LE(cv::norm(cv::Mat(size, CV_8UC4, resized.data()), wanted, cv::NORM_INF), 1) << size;
  }
}

// The host gets what there is: the drawing when the repetition of a failed step succeeds, and otherwise black of alpha 0.
TEST_P(FilterFrames, OfFailedStepsAreDeliveredAsFarAsTheyWereDrawn) {
  prepare();
  const std::vector<std::uint8_t> drawn = restyle({kWidth, kHeight});
  const std::vector<std::uint8_t> black(drawn.size(), 0);
  for (const auto& [function, failures, wanted] :
       {std::tuple("clEnqueueReadImage", 1, &drawn), {"clEnqueueReadImage", 2, &black}, {"clEnqueueWriteImage", 1, &black}}) {
    resetLayer();
    layer_.fail(function, CL_OUT_OF_RESOURCES, 0, failures);
    EXPECT_TRUE(restyle({kWidth, kHeight}) == *wanted) << function << " fails times " << failures;
    EXPECT_TRUE(restyle({kWidth, kHeight}) == drawn) << function;
  }
}

TEST_P(FilterFrames, ThrowBeforeAnyFilterIsPrepared) {
  configure(*object_, GetParam().style_type, kWidth, kHeight);
  GuardedBuffer memory(picture_.bytes.size());
  SttFrame output = {VORIN_MEM_SYSTEM, memory.data(), VORIN_FMT_BGRA, 0, 0, 0};
  EXPECT_THROW(object_->ProcessFrame(nullptr, &input_, nullptr, &output), std::logic_error);
  EXPECT_TRUE(memory.untouched());
}

} // namespace
} // namespace vorin
