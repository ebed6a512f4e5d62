// The effect Restyler: a safe interface to the style-transfer library.
//
// Filters share one object of the library; the network has another. The network's object is recreated when the network or its
// working size changes, and in kTransfer for each sequence, since the library smooths its frames over time.
#include "effects/library_object.h"
#include "files.h"
#include "picture_mat.h"
#include "sources_and_sinks.h"
#include "vorin_installation.hpp"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <new>
#include <optional>

namespace vorin::media {
namespace {

// The standard deviation of the channel that varies most.
double contrastOf(const cv::Mat& picture) {
  cv::Scalar mean;
  cv::Scalar deviation;
  cv::meanStdDev(picture, mean, deviation);
  return *std::max_element(deviation.val, deviation.val + std::min(picture.channels(), 3));
}

// Whether the output has one colour although the input clearly has several. That is how a broken network, an overflow on the
// device, and a filter that the device lost show.
bool isBlank(const Picture& input, const Picture& output) {
  constexpr double kClearContrast = 8;
  const cv::Mat result = matOver(output);
  if (!isOneColour(result)) {
    return false;
  }
  cv::Mat seen;
  cv::resize(input.layout() == PixelLayout::kNv12 ? matOver(input) : bgrOf(input), seen, result.size(), 0, 0, cv::INTER_AREA);
  return contrastOf(seen) >= kClearContrast;
}

void requireUsable(const Picture& picture, const char* what) {
  const auto [width, height] = picture.size();
  if (picture.isEmpty() || !isUsableSize(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height))) {
    throw Error(ErrorKind::kUsage,
                std::string(what) + " of " + sizeText(picture.size()) + " pixels: use one with " + sizeLimits());
  }
}

bool isTight(const Picture& picture) {
  return picture.pitchBytes() == picture.rowBytes();
}

// Marks an object as in use for the duration of a call.
class InUse {
public:
  explicit InUse(std::atomic_flag& flag) : flag_(flag) {
    if (flag_.test_and_set()) {
      throw Error(ErrorKind::kBusy, "the restyler is in use by another thread: give each thread one of its own");
    }
  }
  ~InUse() { flag_.clear(); }
  InUse(const InUse&) = delete;
  InUse& operator=(const InUse&) = delete;

private:
  std::atomic_flag& flag_;
};

} // namespace

class Restyler::Work {
public:
  explicit Work(const RestylerOptions& options)
      : options_(options), network_(findNetwork()), device_(options.device, options.precision) {
    report_.style = options.style;
  }

  void setStyle(Style style, const std::string& network) {
    options_.style = style;
    options_.network = network;
    network_ = findNetwork();
  }

  void setStyleImage(const Picture& image) {
    requireUsable(image, "a style image");
    const cv::Mat bgr = bgrOf(image);
    style_image_.emplace(PixelLayout::kBgr24, image.size());
    bgr.copyTo(matOver(*style_image_));
    is_style_image_new_ = true;
  }

  void prepare(Size size) {
    report_.load_ms = 0;
    if (network_ != nullptr) {
      prepareNetwork(size);
    } else {
      prepareFilter();
    }
    is_sequence_new_ = false;
  }

  void restyle(const Picture& input, Picture& output) {
    requireUsable(input, "a picture");
    requireUsable(output, "a result");
    prepare(output.size());
    const Picture& given = asLibraryTakes(input);
    const PixelLayout layout = deliveredLayout(output.layout());
    if (layout == output.layout() && isTight(output)) {
      process(given, output);
    } else {
      giveShape(result_, layout, output.size());
      process(given, result_);
      convert(result_, output);
    }
  }

  RestylerReport report() const {
    RestylerReport report = report_;
    report.style = options_.style;
    report.work_group_edge = network_ == nullptr ? report.work_group_edge : 0;
    report.device = device_.name();
    report.device_reason = device_.reason();
    report.precision = device_.precision();
    if (network_ != nullptr) {
      report.network = network_->float_entry.substr(0, network_->float_entry.rfind('.'));
      report.package = package_->file();
    }
    return report;
  }

  std::atomic_flag in_use;
  RestylerOptions options_;
  bool is_sequence_new_ = true;

private:
  // Null for a filter. Throws if the package lacks the network, before a device is chosen.
  const modelpack::NamedNetwork* findNetwork() {
    if (!isNeural(options_.style)) {
      return nullptr;
    }
    const modelpack::NamedNetwork& network = networkOf(options_.style, options_.network);
    package_ = ModelPackage(options_.models);
    package_->requireNetwork(options_.style, network);
    return &network;
  }

  void prepareFilter() {
    if (prepared_filter_ == options_.style) {
      return;
    }
    for (prepared_filter_.reset();;) {
      if (filters_ == nullptr) {
        filters_ = device_.makeObject();
      }
      if (filters_->prepareFilter(options_.style)) {
        report_.work_group_edge = filters_->workGroupEdge();
        prepared_filter_ = options_.style;
        return;
      }
      filters_.reset();
      device_.replaceForFilter(options_.style);
      neural_.reset(); // belongs to the former device
    }
  }

  void prepareNetwork(Size size) {
    const bool is_transfer = options_.style == Style::kTransfer;
    if (is_transfer && !style_image_) {
      throw Error(ErrorKind::kUsage,
                  "the style 'transfer' needs a picture whose look to use: add --style-image with an image file");
    }
    const Size network_size = networkSize(size);
    const bool is_loaded = neural_ != nullptr && loaded_ == network_ && (is_transfer || loaded_size_ == network_size);
    if (is_loaded) {
      if (is_transfer && is_sequence_new_) {
        neural_->forgetFrames();
      }
      return;
    }
    neural_.reset(); // before the next one takes memory
    std::unique_ptr<LibraryObject> object = device_.makeObject();
    const auto start = std::chrono::steady_clock::now();
    {
      const base::FileLock one_at_a_time(writableFolder() / "lock"); // the library unpacks networks under fixed names
      network_ = findNetwork(); // the package may be another by now, and the library never returns from one that is cut off
      if (!object->loadNetwork(*package_, *network_, network_size, options_.cache_bytes)) {
        throw package_->failedToLoad(options_.style);
      }
    }
    report_.load_ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    report_.network_size = network_size;
    neural_ = std::move(object);
    loaded_ = network_;
    loaded_size_ = network_size;
    is_style_image_new_ = is_transfer;
  }

  void process(const Picture& input, Picture& output) {
    if (network_ != nullptr) {
      runNetwork(input, output);
    } else {
      report_.frame_ms = filters_->process(input, nullptr, output);
      requireFiltered(input, output);
    }
  }

  void runNetwork(const Picture& input, Picture& output) {
    try {
      report_.frame_ms = neural_->process(input, is_style_image_new_ ? &*style_image_ : nullptr, output);
      is_style_image_new_ = false;
      if (isBlank(input, output)) {
        throw package_->failedToRun(options_.style);
      }
    } catch (const Error& error) {
      neural_.reset(); // its state is unknown
      throw error.kind() == ErrorKind::kModel ? error : package_->failedToRun(options_.style);
    }
  }

  // A failed filter leaves one colour, mostly black. Real results are dark on white even for black inputs: black is an error.
  static void requireFiltered(const Picture& input, const Picture& output) {
    constexpr int kFewPixels = 64; // a picture of fewer may well have one colour
    const cv::Mat pixels = matOver(output);
    const int colours = std::min(pixels.channels(), 3);
    const bool is_black = isOneColour(pixels) &&
                          std::all_of(output.pixels(), output.pixels() + colours, [](std::uint8_t byte) { return byte == 0; });
    if (!is_black && !isBlank(input, output)) {
      return;
    }
    if (!is_black && input.size().width * input.size().height < kFewPixels) {
      throw Error(ErrorKind::kInputOutput, "a picture of " + sizeText(input.size()) +
                                               " pixels is too small: its result has one colour only; use a larger one");
    }
    throw Error(ErrorKind::kDevice, "the device cannot restyle a picture of " + sizeText(input.size()) +
                                        " pixels: use a smaller one or another --device");
  }

  const Picture& asLibraryTakes(const Picture& input) {
    const bool has_3_bytes = input.layout() == PixelLayout::kBgr24 || input.layout() == PixelLayout::kRgb24;
    if (!has_3_bytes && isTight(input)) {
      return input;
    }
    giveShape(given_, has_3_bytes ? PixelLayout::kBgra : input.layout(), input.size());
    convert(input, given_);
    return given_;
  }

  std::optional<ModelPackage> package_;
  const modelpack::NamedNetwork* network_;
  DeviceChoice device_;
  std::unique_ptr<LibraryObject> filters_;
  std::optional<Style> prepared_filter_;
  std::unique_ptr<LibraryObject> neural_;
  const modelpack::NamedNetwork* loaded_ = nullptr;
  Size loaded_size_;
  std::optional<Picture> style_image_; // kBgr24
  bool is_style_image_new_ = false;    // the library has not seen it; it keeps the one seen last
  Picture given_;                      // of the last frame that the library does not take as it came, and of the
  Picture result_;                     // last result that is not delivered as the library writes it
  RestylerReport report_;
};

Restyler::Restyler(const RestylerOptions& options) : work_(std::make_unique<Work>(options)) {}
Restyler::~Restyler() = default;

void Restyler::setStyle(Style style, const std::string& network) {
  const InUse in_use(work_->in_use);
  work_->setStyle(style, network);
}

void Restyler::setStyleImage(const Picture& image) {
  const InUse in_use(work_->in_use);
  work_->setStyleImage(image);
}

void Restyler::setSize(std::optional<Size> size) {
  const InUse in_use(work_->in_use);
  work_->options_.size = size;
}

void Restyler::startSequence() {
  const InUse in_use(work_->in_use);
  work_->is_sequence_new_ = true;
}

void Restyler::prepare(Size input) {
  const InUse in_use(work_->in_use);
  work_->prepare(resultSize(input));
}

Picture Restyler::restyle(const Picture& input) {
  const Size size = resultSize(input.size());
  Picture output(layoutFor(input.layout(), size), size);
  restyle(input, output);
  return output;
}

void Restyler::restyle(const Picture& input, Picture& output) {
  const InUse in_use(work_->in_use);
  work_->restyle(input, output);
}

RestylerReport Restyler::report() const {
  return work_->report();
}

Size Restyler::resultSize(Size size) const {
  return work_->options_.size.value_or(size);
}

void Restyler::apply(const Picture& /*source*/, Picture& picture) {
  picture = restyle(picture);
}

LibraryInfo libraryInfo() {
  LibraryObject object(LibraryCopy::get(false));
  const SttVersion version = object.version();
  LibraryInfo info = {version.major, version.minor, {}};
  for (const ListedGpu& gpu : object.gpus()) {
    info.gpus.push_back({gpu.kind == SttDeviceDiscreteGpu, gpu.name});
  }
  return info;
}

} // namespace vorin::media
