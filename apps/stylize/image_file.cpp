#include "image_file.h"

#include "exit_status.h"
#include "image_codec.h"
#include "image_header.h"
#include "name_table.h"
#include "picture_size.h"
#include "quoted_name.h"
#include "utf8_path.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <system_error>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;

const ImageEncoding* findEncoding(const fs::path& file) {
  const std::string extension = base::lowerCaseExtension(file);
  const auto encodings = imageEncodings();
  const auto row = std::find_if(encodings.begin(), encodings.end(),
                                [&](const ImageEncoding& encoding) { return encoding.extension == extension; });
  return row == encodings.end() ? nullptr : &*row;
}

Failure unreadable(const fs::path& file, const std::string& why) {
  return {ExitStatus::kInputOutput, base::quotedPath(file) + " " + why};
}

std::vector<std::uint8_t> readBytes(const fs::path& file) {
  constexpr std::uintmax_t kMaxFileBytes = std::uintmax_t{1} << 30;
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  requireExists(file);
  if (fs::is_directory(status)) {
    static_cast<void>(fs::directory_iterator(file, error)); // of many photos, a folder gets here because it cannot be read
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

void requireSound(const fs::path& file, const std::vector<std::uint8_t>& bytes) {
  const auto header = readImageHeader(bytes);
  if (!header) {
    throw unreadable(file, "is not a PNG, JPEG, WebP or BMP image: convert it to one of these");
  }
  if (header->width != 0 && header->height != 0 && !isUsableSize(header->width, header->height)) {
    throw unreadable(file, "is " + std::to_string(header->width) + "x" + std::to_string(header->height) +
                               " pixels, too large: use an image with " + sizeLimits());
  }
  if (!header->complete || header->width == 0 || header->height == 0) {
    throw unreadable(file, "is truncated or damaged: use another copy of the image");
  }
}

} // namespace

void requireExists(const fs::path& file) {
  std::error_code error;
  if (fs::status(file, error).type() == fs::file_type::not_found) {
    throw unreadable(file, "does not exist: check the name");
  }
}

cv::Mat readPicture(const fs::path& file) {
  const std::vector<std::uint8_t> bytes = readBytes(file);
  requireSound(file, bytes);
  const std::optional<cv::Mat> decoded = decodeImage(bytes);
  if (!decoded) {
    throw unreadable(file, "is an image that this system has no decoder for: convert it to PNG or JPEG");
  }
  const cv::Mat& bgr = *decoded;
  // The decoder has the last word on the size: the header that was checked need not be the one that it used.
  if (bgr.empty() || !isUsableSize(static_cast<std::uint64_t>(bgr.cols), static_cast<std::uint64_t>(bgr.rows))) {
    throw unreadable(file, "is damaged and cannot be decoded: use another copy of the image");
  }
  return bgr;
}

bool isPictureName(const fs::path& file) {
  return findEncoding(file) != nullptr;
}

std::vector<std::string> pictureExtensionList() {
  std::vector<std::string> list;
  for (const ImageEncoding& encoding : imageEncodings()) {
    list.emplace_back(encoding.extension);
  }
  return list;
}

std::string pictureExtensions() {
  return joinTexts(pictureExtensionList());
}

void requireFits(const fs::path& file, cv::Size size) {
  const ImageEncoding* encoding = findEncoding(file);
  if (encoding != nullptr && std::max(size.width, size.height) > encoding->largest_side) {
    throw Failure(ExitStatus::kUsage, base::quotedPath(file) + ": a " + std::string(encoding->extension) +
                                          " image has sides of at most " + std::to_string(encoding->largest_side) +
                                          ": choose .png or a smaller size");
  }
}

std::vector<std::uint8_t> encodePicture(const fs::path& file, const cv::Mat& bgr) {
  const ImageEncoding* encoding = findEncoding(file);
  std::vector<std::uint8_t> bytes = encoding == nullptr ? std::vector<std::uint8_t>() : encodeImage(*encoding, bgr);
  if (bytes.empty()) {
    throw Failure(ExitStatus::kInputOutput, base::quotedPath(file) + " cannot be encoded: choose another file extension");
  }
  return bytes;
}

} // namespace vorin::stylize
