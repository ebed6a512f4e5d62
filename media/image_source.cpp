// Reads image files as sources of one frame: PNG, JPEG, WebP, BMP, TIFF and GIF.
//
// Grey, palette, 16-bit and transparent images are read too: transparent parts are blended with a background, 16 bits become 8,
// and an image that its camera marked as turned is turned upright. Two checks that the decoders lack are made here: the size,
// since decoding a huge picture takes all memory, and the end of a JPEG or PNG file, since a decoder (that of PNG only on
// Windows) fills missing rows with grey and reports no error.
#include "files.h"
#include "image_bytes.h"
#include "image_codec.h"
#include "picture_mat.h"
#include "sources_and_sinks.h"
#include "text.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <array>
#include <fstream>
#include <system_error>

namespace vorin::media {
namespace {

namespace fs = std::filesystem;

Error unreadable(const fs::path& file, const std::string& why) {
  return {ErrorKind::kInputOutput, (file == kPipeName ? "standard input" : base::quotedPath(file)) + " " + why};
}

std::vector<std::uint8_t> readBytes(const fs::path& file) {
  constexpr std::uintmax_t kMaxFileBytes = std::uintmax_t{1} << 30;
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  requireExists(file);
  if (fs::is_directory(status)) {
    static_cast<void>(fs::directory_iterator(file, error)); // learns why: an unreadable folder is listed like an image
    throw unreadable(file, error ? "cannot be read (" + error.message() + "): check its permissions"
                                 : "is a folder: name an image file in it");
  }
  if (!fs::is_regular_file(status)) {
    throw unreadable(file, "is not an image file" + (error ? " (" + error.message() + ")" : std::string()) + ": name one");
  }
  const std::uintmax_t file_bytes = fs::file_size(file, error);
  if (!error && file_bytes > kMaxFileBytes) {
    throw unreadable(file, "is larger than 1 GiB: use a smaller image");
  }
  std::ifstream stream(file, std::ios::binary);
  std::vector<std::uint8_t> bytes(error ? 0 : file_bytes);
  stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (error || !stream) {
    throw unreadable(file, "cannot be read: check its permissions");
  }
  if (bytes.empty()) {
    throw unreadable(file, "is empty: use another copy of the image");
  }
  return bytes;
}

// The user's limit; without one, 2^24 pixels for any file, and 4096 for each of its bytes.
std::uint64_t mostPixels(std::size_t file_bytes, std::optional<std::uint64_t> max_pixels) {
  return max_pixels.value_or(std::max(std::uint64_t{1} << 24U, std::uint64_t{4096} * file_bytes));
}

// Refuses a picture that would take far more memory and time than its file leads to expect.
void requireExpectedSize(const fs::path& file, const ImageHeader& header, std::size_t file_bytes, std::uint64_t most_pixels) {
  const std::uint64_t pixels = header.width * header.height;
  if (pixels > most_pixels) {
    throw unreadable(file, "claims " + std::to_string(header.width) + "x" + std::to_string(header.height) + " pixels in " +
                               std::to_string(file_bytes) + " bytes: allow them with --max-pixels " + std::to_string(pixels));
  }
  const std::optional<std::uint64_t> available_bytes = base::availableMemory();
  if (available_bytes && pixels * kBytesForAPixel > *available_bytes) {
    throw unreadable(file, "is " + std::to_string(header.width) + "x" + std::to_string(header.height) + " pixels, which need " +
                               std::to_string(pixels * kBytesForAPixel >> 20U) + " MiB of memory, and " +
                               std::to_string(*available_bytes >> 20U) + " are available: use a smaller image");
  }
}

ImageHeader requireDecodable(const fs::path& file, Bytes bytes, std::uint64_t most_pixels) {
  if (imageKindOf(bytes) == ImageKind::kNone) {
    throw unreadable(file, "is not a PNG, JPEG, WebP, BMP, TIFF or GIF image: convert it to one of these");
  }
  const ImageHeader header = readImageHeader(bytes);
  if (header.width != 0 && header.height != 0 && !isUsableSize(header.width, header.height)) {
    throw unreadable(file, "is " + std::to_string(header.width) + "x" + std::to_string(header.height) +
                               " pixels, too large: use an image with " + sizeLimits());
  }
  if (!header.is_whole || header.width == 0 || header.height == 0) {
    throw unreadable(file, "is truncated or damaged: use another copy of the image");
  }
  requireExpectedSize(file, header, bytes.size(), most_pixels);
  return header;
}

cv::Mat turnedUpright(const cv::Mat& picture, int orientation) {
  cv::Mat turned = picture;
  if (orientation >= 5) { // the camera's rows are columns
    cv::transpose(picture, turned);
  }
  constexpr int kBoth = -1;
  constexpr int kRows = 0;
  constexpr int kColumns = 1;
  cv::Mat upright = turned;
  if (orientation == 2 || orientation == 6) {
    cv::flip(turned, upright, kColumns);
  } else if (orientation == 3 || orientation == 7) {
    cv::flip(turned, upright, kBoth);
  } else if (orientation == 4 || orientation == 8) {
    cv::flip(turned, upright, kRows);
  }
  return upright;
}

struct Upright {
  cv::Mat pixels; // with alpha if the file may have transparent parts
  bool is_animated;
};

Upright decodeUpright(const fs::path& file, Bytes bytes, std::optional<std::uint64_t> max_pixels) {
  const std::uint64_t most_pixels = mostPixels(bytes.size(), max_pixels);
  const ImageHeader header = requireDecodable(file, bytes, most_pixels);
  const std::optional<cv::Mat> pixels = decodeImage(bytes, most_pixels);
  if (!pixels) {
    throw unreadable(file, "is an image that this system has no decoder for: convert it to PNG or JPEG");
  }
  // Checks the decoded size too: the decoder may have used another header than the one checked before.
  if (pixels->empty() || !isUsableSize(static_cast<std::uint64_t>(pixels->cols), static_cast<std::uint64_t>(pixels->rows))) {
    throw unreadable(file, "is truncated or damaged: use another copy of the image");
  }
  return {turnedUpright(*pixels, imageOrientation(bytes)), header.is_animated};
}

Picture blended(const cv::Mat& bgra, std::uint32_t background) {
  const std::array<unsigned, 3> behind = {background & 0xFFU, background >> 8U & 0xFFU, background >> 16U & 0xFFU};
  Picture picture(PixelLayout::kBgra, {bgra.cols, bgra.rows});
  cv::Mat target = matOver(picture);
  std::transform(bgra.begin<cv::Vec4b>(), bgra.end<cv::Vec4b>(), target.begin<cv::Vec4b>(), [&](const cv::Vec4b& pixel) {
    const unsigned alpha = pixel[3];
    const auto mixed = [&](unsigned front, unsigned back) {
      return static_cast<std::uint8_t>((front * alpha + back * (255 - alpha) + 127) / 255);
    };
    return cv::Vec4b(mixed(pixel[0], behind[0]), mixed(pixel[1], behind[1]), mixed(pixel[2], behind[2]), 255);
  });
  return picture;
}

class ImageSource final : public Source {
public:
  // file: for messages.
  ImageSource(const fs::path& file, Bytes bytes, const SourceOptions& options) {
    const auto [pixels, is_animated] = decodeUpright(file, bytes, options.max_pixels);
    detailsOf(info_).tags = imageTags(bytes);
    picture_ = pixels.channels() == 4 ? blended(pixels, options.background) : pictureFromBgr(pixels);
    if (pixels.channels() == 4) {
      cv::Mat alpha;
      cv::extractChannel(pixels, alpha, 3);
      detailsOf(info_).alpha = cv::countNonZero(alpha != 255) > 0 ? alpha : cv::Mat();
    }
    info_.name = base::quotedPath(file);
    info_.size = picture_.size();
    info_.time_base = {1, 1};
    info_.frames_expected = 1;
    if (is_animated) {
      warnings_.push_back(info_.name + " is an animation: only its first picture is taken");
    }
  }

  const SourceInfo& info() const override { return info_; }
  std::vector<std::string> warnings() const override { return warnings_; }

  std::optional<Item> next() override {
    return picture_.isEmpty() ? std::nullopt : std::optional<Item>(Frame{std::move(picture_), 0, 1});
  }

private:
  Picture picture_; // until it is delivered
  SourceInfo info_;
  std::vector<std::string> warnings_;
};

} // namespace

void requireExists(const fs::path& file) {
  std::error_code error;
  if (fs::status(file, error).type() == fs::file_type::not_found) {
    throw unreadable(file, "does not exist: check the name");
  }
}

bool isImageFile(const fs::path& file) {
  std::error_code error;
  std::array<std::uint8_t, 16> begin{};
  std::ifstream stream;
  if (fs::is_regular_file(file, error)) { // opening a pipe would block until its other end opens
    stream.open(file, std::ios::binary);
  }
  stream.read(reinterpret_cast<char*>(begin.data()), begin.size());
  const ImageKind kind = imageKindOf(Bytes(begin).first(static_cast<std::size_t>(stream.gcount())));
  return kind != ImageKind::kNone && kind != ImageKind::kGif;
}

std::unique_ptr<Source> openImageSource(const fs::path& file, const SourceOptions& options) {
  return std::make_unique<ImageSource>(file, readBytes(file), options);
}

std::unique_ptr<Source> openPipedImage(Bytes bytes, const SourceOptions& options) {
  return std::make_unique<ImageSource>(kPipeName, bytes, options);
}

} // namespace vorin::media
