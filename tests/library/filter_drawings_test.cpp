// The filters' drawings and tables against plain computations: the kernels at every work-group edge that a device may call for,
// the engine at the device's own edge through sizes that need padding and sizes that need none, and whole frames of the styles.
#include "gpufilters/displacement_tables.h"
#include "support/api_object.h"
#include "support/guarded_buffer.h"
#include "support/opencl_filter_reference.h"
#include "support/opencl_test_layer.h"

#include <CL/cl.h>
#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <optional>
#include <stdexcept>
#include <utility>

namespace vorin {
namespace {

using namespace tests;

class FilterDrawing : public testing::TestWithParam<Filter> {
protected:
  ~FilterDrawing() override { layer_.reset(); }

  void SetUp() override { init(); }

  void init() {
    engine_.emplace();
    engine_->Init(SttDeviceAnyGpu, SttStylePencilSketch, -1, 0, 0);
    ASSERT_TRUE(engine_->initialised());
  }

  // The engine's drawing of a picture, with its guard zone checked.
  std::vector<std::uint8_t> draw(const Picture& picture) {
    GuardedBuffer output(picture.bytes.size());
    EXPECT_EQ(((*engine_).*GetParam().prepare)(picture.width, picture.height), VORIN_STATUS_OK);
    EXPECT_EQ(((*engine_).*GetParam().run)(picture.bytes.data(), output.data()), VORIN_STATUS_OK);
    EXPECT_TRUE(output.guardIntact());
    return output.content();
  }

  void expectPlainDrawing(const Picture& picture, EdgeCounts* counts = nullptr) {
    EXPECT_TRUE(isNearlyEqual(draw(picture).data(), GetParam().plain(picture, engine_->workGroupEdge(), counts)));
  }

  OpenClTestLayer layer_;
  std::optional<gpufilters::GpuFilterEngine> engine_;
};

INSTANTIATE_TEST_SUITE_P(Filters, FilterDrawing, testing::Values(kPencilSketch, kStippling), nameOfFilter);

TEST_P(FilterDrawing, IsThePlainComputationsAtEveryWorkGroupEdgeAndSize) {
  EdgeCounts counts;
  for (const std::size_t max_work_group_items : {2, 5, 64, 256, 1024, 4096, 8192}) {
    layer_.setPlatforms({{"Merix", {{true, max_work_group_items}}}});
    init();
    const int edge = engine_->workGroupEdge();
    // Below an edge, one more than an edge, whole edges, and sizes whose halves meet in the middle of a group.
    for (const auto& [width, height] :
         {std::pair{1, 1}, {3, 5}, {edge, edge}, {edge + 1, 2 * edge}, {2 * edge, 3 * edge}, {83, 61}}) {
      SCOPED_TRACE(testing::Message() << width << " x " << height << ", edge " << edge);
      expectPlainDrawing(testPicture(width, height, 23), &counts);
      expectPlainDrawing(testPicture(width, height, 24), &counts);
      EXPECT_EQ(engine_->paddedWidth(), (width + edge - 1) / edge * edge);
      EXPECT_EQ(engine_->paddedHeight(), (height + edge - 1) / edge * edge);
    }
  }
  EXPECT_GT(counts.weak, 1000);
  EXPECT_GT(counts.middle, 1000);
  EXPECT_GT(counts.strong, 1000);
}

// What larger frames left in the device's memory must not reach the frame's right and lower rims: the sketch reads nothing beyond
// the frame; for stippling, what lies there is always black.
TEST_P(FilterDrawing, KnowsNothingOfLargerFrames) {
  const int edge = engine_->workGroupEdge();
  for (int repeat = 0; repeat < 3; ++repeat) {
    draw(Picture(2 * edge, 2 * edge, 255));
    expectPlainDrawing(Picture(edge + 1, edge + 1, 200));
  }
}

constexpr int kWidth = 37;
constexpr int kHeight = 21;
constexpr int kEdge = 16; // of the work-groups, which stippling's displacements depend on; as on most GPUs

class FilterFrames : public testing::TestWithParam<Filter> {
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
  Picture expected_ = GetParam().plain(picture_, kEdge, nullptr);
};

INSTANTIATE_TEST_SUITE_P(Filters, FilterFrames, testing::Values(kStippling, kPencilSketch), nameOfFilter);

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

// Integers on both sides, so every byte must agree. Sizes around what a step of the filling may be, a padded full HD frame, one
// entry more; then every kind of divisor: 1, 3, the largest below a byte's range, the first above it, and beyond.
TEST(DisplacementTables, EqualTheGeneratorsDraws) {
  for (const auto& [entries, filter_radius] : {std::pair(0U, 4),
                                               {1U, 4},
                                               {63U, 4},
                                               {64U, 4},
                                               {65U, 4},
                                               {1920U * 1088, 4},
                                               {1920U * 1088 + 1, 4},
                                               {70000U, 0},
                                               {70000U, 1},
                                               {70000U, 7},
                                               {70000U, 127},
                                               {70000U, 128},
                                               {70000U, 300}}) {
    const gpufilters::DisplacementTables built = gpufilters::buildDisplacementTables(entries, filter_radius);
    SCOPED_TRACE(testing::Message() << entries << " entries, radius " << filter_radius);
    ASSERT_EQ(built.x.size(), entries);
    ASSERT_EQ(built.y.size(), entries);
    for (std::uint32_t k = 0; k < entries; ++k) {
      const Displacement expected = plainDisplacement(k, filter_radius);
      ASSERT_EQ(built.x[k], static_cast<std::uint8_t>(expected.x)) << k;
      ASSERT_EQ(built.y[k], static_cast<std::uint8_t>(expected.y)) << k;
    }
  }
}

// Known from the runtime itself, so a fault shared by the builder and the plain computation would show.
TEST(DisplacementTables, BeginAsTheRuntimes) {
  const gpufilters::DisplacementTables built = gpufilters::buildDisplacementTables(4, 4);
  EXPECT_EQ(built.x, (std::vector<std::uint8_t>{2, 5, 0, 3}));
  EXPECT_EQ(built.y, (std::vector<std::uint8_t>{3, 8, 5, 1}));
}

} // namespace
} // namespace vorin
