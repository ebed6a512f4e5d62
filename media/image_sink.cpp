// Writes image files as sinks of one frame: PNG, JPEG, WebP and BMP. A grey result is written as grey where the encoding has
// that.
#include "cancellation.h"
#include "image_bytes.h"
#include "image_codec.h"
#include "output_file.h"
#include "picture_mat.h"
#include "sources_and_sinks.h"
#include "terminal.h"
#include "text.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace vorin::media {
namespace {

namespace fs = std::filesystem;

const ImageEncoding* findEncoding(const fs::path& file) {
  const std::string extension = base::lowerCaseExtension(file);
  const auto encodings = imageEncodings();
  const auto row = std::find_if(encodings.begin(), encodings.end(),
                                [&](const ImageEncoding& encoding) { return encoding.extension == extension; });
  return row == encodings.end() ? nullptr : &*row;
}

bool isGrey(const cv::Mat& bgr) {
  return std::all_of(bgr.begin<cv::Vec3b>(), bgr.end<cv::Vec3b>(),
                     [](const cv::Vec3b& pixel) { return pixel[0] == pixel[1] && pixel[1] == pixel[2]; });
}

class ImageSink final : public Sink {
public:
  ImageSink(const fs::path& file, const ImageEncoding& encoding, const SourceInfo& source, Size size, const SinkOptions& options)
      : name_(file == kPipeName ? "standard output" : base::quotedPath(file)), encoding_(encoding), size_(size),
        quality_(options.quality), tags_(detailsOf(source).tags) {
    setExifSize(tags_.exif, size.width, size.height);
    if (file != kPipeName) {
      output_.emplace(file, options.overwrite);
    }
    if (options.keep_alpha && encoding.holds_alpha && !detailsOf(source).alpha.empty()) {
      cv::resize(detailsOf(source).alpha, alpha_, {size.width, size.height}, 0, 0, cv::INTER_AREA);
    }
  }

  Size size() const override { return size_; }
  void write(Packet&& /*packet*/) override {}

  void write(Frame&& frame) override {
    if (is_written_) {
      throw Error(ErrorKind::kUsage, name_ + " is an image, which holds one frame: write a clip, as out.mp4");
    }
    cv::Mat pixels = bgrOf(frame.picture);
    if (!alpha_.empty()) {
      cv::merge(std::vector<cv::Mat>{pixels, alpha_}, pixels);
    } else if (encoding_.holds_grey && isGrey(pixels)) { // a third of the bytes, or less
      cv::extractChannel(pixels, pixels, 0);
    }
    constexpr std::size_t kColourSpaceOffset = 16; // in an ICC profile
    if (!textAt(tags_.profile, kColourSpaceOffset, pixels.channels() == 1 ? "GRAY" : "RGB ")) {
      tags_.profile.clear();
    }
    bytes_ = encodeImage(encoding_, pixels, quality_, tags_);
    if (bytes_.empty()) {
      throw Error(ErrorKind::kInputOutput, name_ + " cannot be encoded: choose another file extension");
    }
    if (output_) {
      output_->write(bytes_);
    }
    is_written_ = true;
  }

  void finish() override {
    if (output_) {
      output_->commit();
    } else if (!base::writeOutput(base::kStandardOutput, bytes_, base::cancellationIsDue())) {
      throw base::Cancelled();
    }
  }

  std::int64_t finishEarly() override {
    if (is_written_) {
      finish();
    }
    return is_written_ ? 1 : 0;
  }

private:
  std::string name_;
  const ImageEncoding& encoding_;
  Size size_;
  std::optional<int> quality_;
  ImageTags tags_;
  std::optional<base::OutputFile> output_; // none: standard output
  std::vector<std::uint8_t> bytes_;        // of the whole file
  cv::Mat alpha_;                          // empty: the file has none
  bool is_written_ = false;
};

} // namespace

bool isImageName(const fs::path& file) {
  return findEncoding(file) != nullptr;
}

std::vector<std::string> imageExtensions() {
  std::vector<std::string> list;
  for (const ImageEncoding& encoding : imageEncodings()) {
    list.emplace_back(encoding.extension);
  }
  return list;
}

void requireImageFits(const fs::path& file, Size size) {
  const ImageEncoding* encoding = findEncoding(file);
  if (encoding != nullptr && std::max(size.width, size.height) > encoding->largest_side) {
    throw Error(ErrorKind::kUsage, base::quotedPath(file) + ": a " + std::string(encoding->extension) +
                                       " image has sides of at most " + std::to_string(encoding->largest_side) +
                                       ": choose .png or a smaller size");
  }
}

std::unique_ptr<Sink> openImageSink(const fs::path& file, const SourceInfo& source, Size size, const SinkOptions& options) {
  const fs::path name = file == kPipeName ? fs::path(kPipeName).concat(options.image) : file; // with the extension
  const ImageEncoding* encoding = findEncoding(name);
  if (encoding == nullptr) {
    throw Error(ErrorKind::kUsage, "the output " + base::quotedPath(file) + " has no file extension of an image: use one of " +
                                       base::joined(imageExtensions()));
  }
  requireImageFits(name, size);
  return std::make_unique<ImageSink>(file, *encoding, source, size, options);
}

} // namespace vorin::media
