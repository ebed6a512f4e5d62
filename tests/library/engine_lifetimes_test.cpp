// The order in which an object frees its images and engines.
#include "pipeline/frame_pipeline.h"
#include "support/neural_reference.h"
#include "support/opencl_test_layer.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <span>
#include <tuple>
#include <utility>
#include <vector>

namespace vorin {
namespace {

using namespace tests;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// Writes down the sizes of OpenCV's images as they are freed, each with the number of OpenCL contexts released by then.
class FreedImages : public cv::MatAllocator {
public:
  explicit FreedImages(const OpenClTestLayer& layer) : layer_(layer) { cv::Mat::setDefaultAllocator(this); }
  ~FreedImages() override { cv::Mat::setDefaultAllocator(cv::Mat::getStdAllocator()); }
  FreedImages(const FreedImages&) = delete;
  FreedImages& operator=(const FreedImages&) = delete;

  cv::UMatData* allocate(int dimensions, const int* sizes, int type, void* data, std::size_t* step, cv::AccessFlag flags,
                         cv::UMatUsageFlags usage) const override {
    cv::UMatData* const image = cv::Mat::getStdAllocator()->allocate(dimensions, sizes, type, data, step, flags, usage);
    image->prevAllocator = image->currAllocator = this;
    return image;
  }
  bool allocate(cv::UMatData* image, cv::AccessFlag flags, cv::UMatUsageFlags usage) const override {
    return cv::Mat::getStdAllocator()->allocate(image, flags, usage);
  }
  void deallocate(cv::UMatData* image) const override {
    freed_.emplace_back(layer_.countCalls("clReleaseContext"), image->size);
    cv::Mat::getStdAllocator()->deallocate(image);
  }

  // Each size once, as last freed.
  std::vector<std::size_t> sizesAfter(std::size_t released_contexts) const {
    std::vector<std::size_t> sizes;
    for (const auto& [contexts, size_bytes] : freed_) {
      if (contexts == released_contexts && (sizes.empty() || sizes.back() != size_bytes)) {
        sizes.push_back(size_bytes);
      }
    }
    return sizes;
  }

  void forget() { freed_.clear(); }

private:
  const OpenClTestLayer& layer_;
  mutable std::vector<std::pair<std::size_t, std::size_t>> freed_;
};

// Working images, then the filters' engines, the pencil sketch's first, then those of the networks. Each network has another
// width, so its images tell it.
TEST(EngineLifetimesTest, AnObjectFreesItsEnginesInTheAgreedOrder) {
  constexpr int kRows = 5;
  const TestPackage package({twinFiles(kTransfer256, TransferNetwork{.width = 8, .height = kRows}),
                             twinFiles(kTransfer512, TransferNetwork{.width = 9, .height = kRows}),
                             networkFiles(kTransfer540, TransferNetwork{.width = 10, .height = kRows}),
                             twinFiles(kLightGrey, FixedNetwork{}), networkFiles(kCartoon, FixedNetwork{})});
  OpenClTestLayer layer;
  FreedImages images(layer);
  auto pipeline = std::make_unique<FramePipeline>();
  const std::tuple<std::int32_t, std::int32_t, int> steps[] = {{4, 0, 6},  {3, 0, 6},   {0, 2, 10}, {2, 0, 12},
                                                               {0, -1, 8}, {1, -1, 11}, {0, 0, 9}};
  Picture memory(3 * 20 * kRows);
  Picture frame = randomPicture(6, 4, 1); // smaller than the networks' own
  for (const auto& [style_type, style_index, width] : steps) {
    const StyleSettings settings = {
        .style_type = style_type, .style_index = style_index, .width = width, .height = kRows, .model_folder = package.folder()};
    ASSERT_EQ(pipeline->initPlugins(settings), VORIN_STATUS_OK);
    SttFrame output = frameOf(memory, {});
    ASSERT_EQ(pipeline->processFrame(settings, frameOf(frame, {6, 4}), nullptr, output), VORIN_STATUS_OK);
  }
  const auto firstOf = [&](const char* function, std::size_t begin) {
    const std::span<const OpenClCall> calls = layer.calls().subspan(begin);
    return std::find_if(calls.begin(), calls.end(), [&](const OpenClCall& call) { return call.name() == function; })->handle;
  };
  const std::uint64_t pencil_context = firstOf("clCreateContext", 0);
  const std::size_t begin = layer.calls().size();
  images.forget();
  pipeline.reset();
  EXPECT_EQ(firstOf("clReleaseContext", begin), pencil_context);
  EXPECT_THAT(images.sizesAfter(0), Not(IsEmpty()));
  EXPECT_THAT(images.sizesAfter(2), ElementsAre(3 * 12 * kRows, 3 * 11 * kRows, 3 * 10 * kRows, 3 * 9 * kRows, 3 * 8 * kRows));
}

} // namespace
} // namespace vorin
