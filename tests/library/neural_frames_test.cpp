// Whole frames of the neural styles, from the host's descriptor to the host's descriptor. What a network answers to a frame comes
// from an engine of its own, which other tests hold against plain computations; all that happens after it is computed here, and
// must be equal byte by byte.
#include "pipeline/frame_pipeline.h"
#include "support/guarded_buffer.h"
#include "support/log_lines.h"
#include "support/neural_reference.h"
#include "support/test_networks.h"

#include <gmock/gmock.h>

namespace vorin {
namespace {

using namespace tests;
using testing::ElementsAre;
using testing::StartsWith;

constexpr int kWidth = 13;
constexpr int kHeight = 7;
const cv::Size kSize(kWidth, kHeight);

// A host's output frame: memory with a watched end, and a descriptor that says nothing yet.
struct HostOutput {
  explicit HostOutput(cv::Size size, std::uint32_t format = VORIN_FMT_BGR24)
      : memory(static_cast<std::size_t>(size.area()) * (format == VORIN_FMT_BGR24 ? 3U : 4U)),
        frame{.memoryType = 9, .data = memory.data(), .pixelFormat = format, .width = 12345, .height = 54321, .pitch = 0} {}

  bool untouched() const { return memory.untouched() && frame.width == 12345 && frame.height == 54321; }
  cv::Size size() const { return {static_cast<int>(frame.width), static_cast<int>(frame.height)}; }

  GuardedBuffer memory;
  SttFrame frame;
};

// The 512 and the 256 network have one size, the 540p one another. The answers of all leave 0 to 1, so that clamping shows.
std::vector<std::vector<NamedContent>> allNetworks() {
  return {twinFiles(kTransfer512, TransferNetwork{.content_gain = 0.8F, .style_gain = 0.4F}),
          twinFiles(kTransfer256, TransferNetwork{.style_width = 4, .style_height = 5, .content_gain = -0.7F, .bias = 0.3F}),
          networkFiles(kTransfer540, TransferNetwork{.width = 20, .height = 9, .style_width = 20, .style_height = 9}),
          twinFiles(kLightGrey, FixedNetwork{.gain = 3, .bias = -1}), networkFiles(kCartoon, FixedNetwork{.gain = 1.2F})};
}

using Integers = std::vector<std::int64_t>;

// Leaves out the last planes, or repeats the first.
OutputChange toPlanes(const Integers& planes) {
  return [planes](IrNetwork& network, IrNetwork::Value value) {
    const auto chosen = network.constant(std::to_string(planes.size()), planes);
    return network.operation("Gather", {value, chosen, network.constant("", Integers{1})}, "batch_dims=\"0\"", 8);
  };
}

// Leaves an axis without entries.
OutputChange withoutEntries(std::int64_t axis) {
  return [axis](IrNetwork& network, IrNetwork::Value value) {
    const auto zero = network.constant("1", Integers{0});
    const auto one = network.constant("1", Integers{1});
    return network.operation("Slice", {value, zero, zero, one, network.constant("1", Integers{axis})}, "", 8);
  };
}

OutputChange toShape(const Integers& shape) {
  return [shape](IrNetwork& network, IrNetwork::Value value) {
    const auto wanted = network.constant(std::to_string(shape.size()), shape);
    return network.operation("Reshape", {value, wanted}, "special_zero=\"false\"");
  };
}

class NeuralFramesTest : public testing::Test {
protected:
  StyleSettings settings(std::int32_t style_type, std::int32_t style_index = 0, cv::Size size = {}) const {
    return {.style_type = style_type,
            .style_index = style_index,
            .width = size.width,
            .height = size.height,
            .model_folder = package_.folder()};
  }

  // An engine with which a test asks for a network's answers.
  void load(neural::NeuralEngine& engine, const StyleSettings& style) const {
    ASSERT_EQ(engine.load(style.device_name, style.style_type, style.style_index, style.width, style.height, package_.folder()),
              VORIN_STATUS_OK);
  }

  static Planes answer(neural::NeuralEngine& engine, Picture frame, cv::Size size = kSize) {
    const ov::Tensor output = engine.infer(cv::Mat(size, CV_8UC3, frame.data()));
    return {output.data<float>(), output.data<float>() + output.get_size()};
  }

  // Through the pipeline, 24 bits in and out.
  Picture restyle(FramePipeline& pipeline, const StyleSettings& style, Picture frame, const SttFrame* style_image = nullptr,
                  cv::Size output_size = kSize) {
    HostOutput output(output_size);
    EXPECT_EQ(pipeline.processFrame(style, frameOf(frame, kSize), style_image, output.frame), VORIN_STATUS_OK);
    EXPECT_EQ(output.size(), output_size);
    EXPECT_TRUE(output.memory.guardIntact());
    return output.memory.content();
  }

  TestPackage package_{allNetworks()};
  FramePipeline pipeline_;
  Picture frame_ = randomPicture(kWidth, kHeight, 1);
  Picture look_ = randomPicture(5, 4, 2);
  SttFrame look_frame_ = frameOf(look_, {5, 4});
};

TEST_F(NeuralFramesTest, LightGreyIsStretchedAndCartoonScaled) {
  for (const std::int32_t type : {SttStyleLightGrey, SttStyleCartoon}) {
    SCOPED_TRACE(type);
    const StyleSettings style = settings(type, 0, kSize);
    neural::NeuralEngine engine;
    load(engine, style);
    const Planes planes = answer(engine, frame_);
    ASSERT_EQ(pipeline_.initPlugins(style), VORIN_STATUS_OK);
    const Picture expected =
        type == SttStyleCartoon ? cartoonPicture(planes, kWidth, kHeight) : stretchedPicture(planes, kWidth, kHeight);
    EXPECT_EQ(restyle(pipeline_, style, frame_, &look_frame_), expected); // a style image means nothing here
    EXPECT_EQ(restyle(pipeline_, style, frame_), expected);               // nor does the frame before

    // Another size is asked for after the network was fitted to the first.
    const cv::Size other(22, 5);
    EXPECT_EQ(restyle(pipeline_, settings(type, 0, other), frame_, nullptr, other), resizedPicture(expected, kSize, other));
    for (const cv::Size none : {cv::Size(0, kHeight), cv::Size(kWidth, 0), cv::Size(0, 0)}) {
      HostOutput output(kSize);
      EXPECT_THROW(pipeline_.processFrame(settings(type, 0, none), frameOf(frame_, kSize), nullptr, output.frame), cv::Exception);
      EXPECT_TRUE(output.untouched());
    }
  }
}

TEST_F(NeuralFramesTest, OnlyFirstThreePlanesOfAFixedStyleCount) {
  package_.write({networkFiles(kCartoon, FixedNetwork{.change = toPlanes({0, 1, 2, 0})})});
  const StyleSettings style = settings(SttStyleCartoon, 0, kSize);
  neural::NeuralEngine engine;
  load(engine, style);
  Planes planes = answer(engine, frame_);
  ASSERT_EQ(planes.size(), 4U * kWidth * kHeight);
  ASSERT_EQ(pipeline_.initPlugins(style), VORIN_STATUS_OK);
  EXPECT_EQ(restyle(pipeline_, style, frame_), cartoonPicture(planes, kWidth, kHeight));

  package_.write({twinFiles(kLightGrey, FixedNetwork{.change = toPlanes({0, 1})})});
  ASSERT_EQ(pipeline_.initPlugins(settings(SttStyleLightGrey, 0, kSize)), VORIN_STATUS_OK);
  EXPECT_THROW(restyle(pipeline_, settings(SttStyleLightGrey, 0, kSize), frame_), std::exception);
}

TEST_F(NeuralFramesTest, StyleTransferWithOtherThanThreePlanesHasNoPicture) {
  for (const Integers& planes : {Integers{0, 1}, {0, 1, 2, 0}}) {
    package_.write({networkFiles(kTransfer540, TransferNetwork{.change = toPlanes(planes)})});
    FramePipeline pipeline;
    const StyleSettings style = settings(SttStyleTransfer, 2);
    ASSERT_EQ(pipeline.initPlugins(style), VORIN_STATUS_OK);
    HostOutput output({1, 1});
    EXPECT_EQ(pipeline.processFrame(style, frameOf(frame_, kSize), &look_frame_, output.frame), VORIN_STATUS_OK);
    EXPECT_EQ(output.size(), cv::Size(0, 0));
    EXPECT_TRUE(output.memory.untouched());
    HostOutput bgra({1, 1}, VORIN_FMT_BGRA);
    EXPECT_THROW(pipeline.processFrame(style, frameOf(frame_, kSize), nullptr, bgra.frame), cv::Exception);
  }
}

TEST_F(NeuralFramesTest, AnOutputThatHoldsNoPictureEndsTheFrame) {
  for (const OutputChange& change : {withoutEntries(0), withoutEntries(2), withoutEntries(3), toShape({1, 3, kHeight, kWidth, 1}),
                                     toShape({1, 3, kHeight * kWidth})}) {
    package_.write(
        {networkFiles(kTransfer540, TransferNetwork{.change = change}), networkFiles(kCartoon, FixedNetwork{.change = change})});
    FramePipeline pipeline;
    for (const StyleSettings& style : {settings(SttStyleTransfer, 2), settings(SttStyleCartoon, 0, kSize)}) {
      SCOPED_TRACE(style.style_type);
      ASSERT_EQ(pipeline.initPlugins(style), VORIN_STATUS_OK);
      HostOutput output(kSize);
      EXPECT_THROW(pipeline.processFrame(style, frameOf(frame_, kSize), nullptr, output.frame), std::exception);
      EXPECT_TRUE(output.untouched());
    }
  }
}

TEST_F(NeuralFramesTest, StyleTransferComesInTheNetworksSizeOrInBothSizesAskedFor) {
  const StyleSettings style = settings(SttStyleTransfer, 0);
  neural::NeuralEngine engine;
  load(engine, style);
  engine.bindStyleImage(look_frame_);
  const Picture expected = transferPicture(answer(engine, frame_), kWidth, kHeight);
  for (const cv::Size asked : {cv::Size(0, 0), cv::Size(30, 0), cv::Size(0, 30), kSize, cv::Size(26, 15)}) {
    FramePipeline pipeline; // whose first frame has none to be smoothed with
    ASSERT_EQ(pipeline.initPlugins(style), VORIN_STATUS_OK);
    const cv::Size delivered = asked.empty() ? kSize : asked;
    const StyleSettings sized = settings(SttStyleTransfer, 0, asked);
    EXPECT_EQ(restyle(pipeline, sized, frame_, &look_frame_, delivered), resizedPicture(expected, kSize, delivered)) << asked;
    // What is kept for the next frame has the network's size: the same frame again comes out the same.
    EXPECT_EQ(restyle(pipeline, style, frame_), expected) << asked;
  }
}

TEST_F(NeuralFramesTest, AFrameThatCannotBeInferredIsToldAndNotCounted) {
  const StyleSettings style = settings(SttStyleCartoon, 0, kSize);
  ASSERT_EQ(pipeline_.initPlugins(style), VORIN_STATUS_OK);
  LogLines log;
  restyle(pipeline_, style, frame_);
  for (const std::uint32_t format : {0U, 4U, 7U}) {
    HostOutput output(kSize);
    EXPECT_THROW(pipeline_.processFrame(style, frameOf(frame_, kSize, format), nullptr, output.frame), std::exception);
    EXPECT_TRUE(output.untouched());
  }
  restyle(pipeline_, style, frame_);
  const std::string line = "[I] -------------------------------------------------------";
  const std::string enter = "[V] enter StyleTransfer::ProcessFrame";
  const std::string leave = "[V] exit StyleTransfer::ProcessFrame";
  const std::string first = "[I] inference frame: 0";
  const std::string second = "[I] inference frame: 1";
  const auto error = StartsWith("[E] error: OpenCV");
  EXPECT_THAT(log.take(), ElementsAre(enter, first, line, leave, enter, second, line, error, enter, second, line, error, enter,
                                      second, line, error, enter, second, line, leave));
}

TEST_F(NeuralFramesTest, AStyleThatWasNotPreparedOrFailedToBeHasNoFrames) {
  const auto expectNoFrame = [&](std::int32_t type, const SttFrame* style_image) {
    HostOutput output(kSize);
    EXPECT_THROW(pipeline_.processFrame(settings(type, 0, kSize), frameOf(frame_, kSize), style_image, output.frame),
                 std::exception);
    EXPECT_TRUE(output.untouched());
  };
  for (const std::int32_t type : {SttStyleTransfer, SttStyleLightGrey, SttStyleCartoon}) {
    expectNoFrame(type, nullptr);
    expectNoFrame(type, &look_frame_);
  }
  package_.write({});
  EXPECT_EQ(pipeline_.initPlugins(settings(SttStyleCartoon, 0, kSize)), VORIN_STATUS_FAILED);
  expectNoFrame(SttStyleCartoon, nullptr);
}

TEST_F(NeuralFramesTest, AStyleImageForAnotherStylesNetworkIsRefused) {
  ASSERT_EQ(pipeline_.initPlugins(settings(SttStyleCartoon, 0, kSize)), VORIN_STATUS_OK);
  HostOutput output(kSize);
  LogLines log;
  EXPECT_EQ(pipeline_.processFrame(settings(SttStyleTransfer), frameOf(frame_, kSize), &look_frame_, output.frame),
            VORIN_STATUS_INVALID_PARAM);
  EXPECT_TRUE(output.untouched());
  EXPECT_THAT(log.take(), ElementsAre("[V] enter StyleTransfer::ProcessFrame", "[E] set style error"));
}

} // namespace
} // namespace vorin
