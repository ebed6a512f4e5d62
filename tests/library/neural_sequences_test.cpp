// Frames after frames, across changes of style: what each frame inherits from those before it, from which of them, and what two
// objects share, which is nothing.
//
// The other side keeps the few things that survive: an engine for each network and filter, and one last picture of style
// transfer.
#include "pipeline/frame_pipeline.h"
#include "support/api_object.h"
#include "support/log_lines.h"
#include "support/neural_reference.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>

#include <array>
#include <filesystem>

namespace vorin {
namespace {

using namespace tests;
using testing::ElementsAre;

constexpr int kWidth = 13;
constexpr int kHeight = 7;
const cv::Size kSize(kWidth, kHeight);
const cv::Size kWideSize(20, 9); // of the 540p network

std::vector<std::vector<NamedContent>> allNetworks() {
  return {twinFiles(kTransfer512, TransferNetwork{.content_gain = 0.4F, .style_gain = 0.2F}),
          twinFiles(kTransfer256, TransferNetwork{.content_gain = 0.4F, .style_gain = 0.3F, .style_first = true}),
          networkFiles(kTransfer540, TransferNetwork{.width = kWideSize.width, .height = kWideSize.height, .content_gain = 0.4F}),
          twinFiles(kLightGrey, FixedNetwork{}), networkFiles(kCartoon, FixedNetwork{})};
}

struct Step {
  std::int32_t style_type;
  std::int32_t style_index;
  std::uint32_t look = 0; // which style image comes with the frame; 0: none
};

StyleSettings settingsOf(const Step& step, const std::string& model_folder) {
  const bool is_transfer = step.style_type == SttStyleTransfer;
  return {.style_type = step.style_type,
          .style_index = step.style_index,
          .width = is_transfer ? 0 : kWidth,
          .height = is_transfer ? 0 : kHeight,
          .model_folder = model_folder};
}

// What a host gets that prepares the style and restyles a frame.
Picture restyled(FramePipeline& pipeline, const StyleSettings& settings, Picture frame, const SttFrame* look) {
  EXPECT_EQ(pipeline.initPlugins(settings), VORIN_STATUS_OK);
  Picture memory(static_cast<std::size_t>(3 * kWideSize.area()), 0xCD);
  SttFrame output = frameOf(memory, kSize);
  EXPECT_EQ(pipeline.processFrame(settings, frameOf(frame, kSize), look, output), VORIN_STATUS_OK);
  memory.resize(static_cast<std::size_t>(3) * output.width * output.height);
  return memory;
}

// What an object must give, from the definition of what survives.
class Expectation {
public:
  Picture frame(const Step& step, const StyleSettings& settings, Picture frame, const SttFrame* look) {
    if (step.style_type >= SttStyleStippling) {
      FramePipeline fresh;
      return restyled(fresh, settings, frame, nullptr);
    }
    neural::NeuralEngine& engine = engines_.at(neural::findCatalogueRow(step.style_type, step.style_index).value());
    EXPECT_EQ(engine.load(settings.device_name, settings.style_type, settings.style_index, settings.width, settings.height,
                          settings.model_folder),
              VORIN_STATUS_OK);
    if (look != nullptr && step.style_type == SttStyleTransfer) {
      EXPECT_EQ(engine.bindStyleImage(*look), VORIN_STATUS_OK);
    }
    const ov::Tensor output = engine.infer(cv::Mat(kSize, CV_8UC3, frame.data()));
    const Planes planes(output.data<float>(), output.data<float>() + output.get_size());
    if (step.style_type == SttStyleCartoon) {
      return cartoonPicture(planes, kWidth, kHeight);
    }
    if (step.style_type == SttStyleLightGrey) {
      return stretchedPicture(planes, kWidth, kHeight);
    }
    const cv::Size size = step.style_index == 2 ? kWideSize : kSize;
    Picture picture = transferPicture(planes, size.width, size.height);
    if (!last_transfer_.empty() && last_size_ == size) {
      picture = smoothedOutput(picture, last_transfer_);
    }
    last_transfer_ = picture;
    last_size_ = size;
    return picture;
  }

private:
  std::array<neural::NeuralEngine, neural::kCatalogue.size()> engines_;
  Picture last_transfer_;
  cv::Size last_size_;
};

const Step kJourney[] = {
    {0, 0, 1}, // the first frame
    {0, 0},    // smoothed, with the style image before
    {0, 0, 1}, // the same style image again
    {0, 0, 2}, // another
    {0, 1, 3}, // another network of the same size: a frame of its own, but the picture before is the other network's
    {0, 7},    // an index that means the same network, with its style image
    {0, 0},    // back, with the last style image of this network and the last picture of the other
    {2, 0, 1}, // a style that keeps nothing
    {0, 0},    // and left it as it was
    {3, 0, 1}, // filters keep nothing of the frames either
    {4, 0},    //
    {0, 0},    //
    {3, 0},    // nor does what the networks left in the images reach them
    {0, 2, 4}, // another size: nothing to be smoothed with
    {0, 2},    //
    {1, 5},    // as style 2
    {0, 0, 5}, // the picture before is of another size now
    {0, -1},   //
    {0, 0},
};

TEST(NeuralSequences, EachFrameInheritsWhatItShould) {
  const TestPackage package(allNetworks());
  FramePipeline pipeline;
  Expectation expectation;
  Picture frame = randomPicture(kWidth, kHeight, 1);
  std::uint32_t number = 0;
  for (const Step& step : kJourney) {
    SCOPED_TRACE(testing::Message() << "frame " << number << ", style " << step.style_type << ", index " << step.style_index);
    const StyleSettings settings = settingsOf(step, package.folder());
    Picture look = randomPicture(6, 5, 100 + step.look);
    const SttFrame look_frame = frameOf(look, {6, 5});
    const SttFrame* const look_or_none = step.look == 0 ? nullptr : &look_frame;
    EXPECT_EQ(restyled(pipeline, settings, frame, look_or_none), expectation.frame(step, settings, frame, look_or_none));
    frame = movedPicture(frame, ++number);
  }
}

// A whole object, as the public interface hands it out.
TEST(NeuralSequences, PreparesEachStyleOnceAndReportsFailuresAsOneStatus) {
  const TestPackage package(allNetworks());
  Object object = makeObject();
  std::vector<std::string> lines;
  const auto prepare = [&](std::int32_t type, std::int32_t index) {
    configure(*object, type, kWidth, kHeight);
    object->SetConfig(nullptr, SttCfgStyleIndex, &index);
    object->SetConfig(nullptr, SttCfgModelPath, package.folder().c_str());
    LogLines log;
    const _VorinStatus status = object->Prepare(nullptr);
    lines = log.take();
    return status;
  };
  const std::string leave = "[V] exit StyleTransfer::Prepare";
  for (const auto& [type, index] : {std::pair(0, 0), std::pair(0, 1), std::pair(0, 2), std::pair(1, 0), std::pair(2, 0)}) {
    EXPECT_EQ(prepare(type, index), VORIN_STATUS_OK);
    EXPECT_GT(lines.size(), 8U);
    EXPECT_EQ(lines.back(), leave);
  }
  std::filesystem::remove(package.folder() + "/model_st.bin");
  for (const auto& [type, index] : {std::pair(0, 0), std::pair(0, -1), std::pair(0, 7), std::pair(1, 9), std::pair(2, 3)}) {
    EXPECT_EQ(prepare(type, index), VORIN_STATUS_OK);
    EXPECT_THAT(lines, ElementsAre("[V] enter StyleTransfer::Prepare", "[I] Init plugins", "[I] Init plugins, done", leave));
  }
  object = makeObject();
  EXPECT_EQ(prepare(1, 0), VORIN_STATUS_FAILED);
  const std::vector<std::string> last(lines.end() - 3, lines.end());
  EXPECT_THAT(last, ElementsAre("[E] create model file error.", "[I] Init model failed", "[E] init error"));
}

} // namespace
} // namespace vorin
