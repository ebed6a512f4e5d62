#include "exit_status.h"
#include "image_file.h"
#include "image_header.h"
#include "picture_size.h"
#include "quiet_output.h"

#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <fstream>
#include <system_error>

namespace vorin::stylize {
namespace {

namespace fs = std::filesystem;

struct Extension {
  std::string_view text;
  int largest_side;
};

constexpr std::array kExtensions = {
    Extension{".png", kMaxSide}, Extension{".jpg", kMaxSide}, Extension{".jpeg", kMaxSide},
    Extension{".webp", 16383},   Extension{".bmp", kMaxSide},
};

std::string lowerCaseExtension(const fs::path& file) {
  std::string extension = file.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return extension;
}

const Extension* findExtension(const fs::path& file) {
  const std::string extension = lowerCaseExtension(file);
  const auto row = std::find_if(kExtensions.begin(), kExtensions.end(), [&](const Extension& e) { return e.text == extension; });
  return row == kExtensions.end() ? nullptr : &*row;
}

Failure unreadable(const fs::path& file, const std::string& why) {
  return {ExitStatus::kInputOutput, "'" + file.string() + "' " + why};
}

std::vector<std::uint8_t> readBytes(const fs::path& file) {
  constexpr std::uintmax_t kMaxFileBytes = std::uintmax_t{1} << 30;
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (status.type() == fs::file_type::not_found) {
    throw unreadable(file, "does not exist: check the name");
  }
  if (fs::is_directory(status)) {
    throw unreadable(file, "is a folder: name an image file in it");
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

cv::Mat readPicture(const fs::path& file) {
  const std::vector<std::uint8_t> bytes = readBytes(file);
  requireSound(file, bytes);
  cv::Mat bgr;
  try {
    const Quiet quiet(Stream::kError);
    bgr = cv::imdecode(bytes, cv::IMREAD_COLOR);
  } catch (const cv::Exception&) {
    bgr.release();
  }
  // The decoder has the last word on the size: the header that was checked need not be the one that it used.
  if (bgr.empty() || !isUsableSize(static_cast<std::uint64_t>(bgr.cols), static_cast<std::uint64_t>(bgr.rows))) {
    throw unreadable(file, "is damaged and cannot be decoded: use another copy of the image");
  }
  return bgr;
}

bool isPictureName(const fs::path& file) {
  return findExtension(file) != nullptr;
}

std::string pictureExtensions() {
  std::string list;
  for (const Extension& extension : kExtensions) {
    list += (list.empty() ? "" : ", ") + std::string(extension.text);
  }
  return list;
}

void requireFits(const fs::path& file, cv::Size size) {
  const Extension* extension = findExtension(file);
  if (extension != nullptr && std::max(size.width, size.height) > extension->largest_side) {
    throw Failure(ExitStatus::kUsage, "'" + file.string() + "': a " + std::string(extension->text) +
                                          " image has sides of at most " + std::to_string(extension->largest_side) +
                                          ": choose .png or a smaller size");
  }
}

std::vector<std::uint8_t> encodePicture(const fs::path& file, const cv::Mat& bgr) {
  std::vector<std::uint8_t> bytes;
  bool encoded = false;
  try {
    const Quiet quiet(Stream::kError);
    encoded = cv::imencode(lowerCaseExtension(file), bgr, bytes);
  } catch (const cv::Exception&) {
    encoded = false;
  }
  if (!encoded) {
    throw Failure(ExitStatus::kInputOutput, "'" + file.string() + "' cannot be encoded: choose another file extension");
  }
  return bytes;
}

} // namespace vorin::stylize
