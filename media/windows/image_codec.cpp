// The decoders and encoders of the Windows Imaging Component. It has no encoder for WebP, and a decoder only where the user, or a
// newer Windows, has installed one.
#include "../image_codec.h"

#include "../sources_and_sinks.h"
#include "com_pointer.h"

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <oleauto.h>
#include <wincodec.h>
#include <windows.h>

namespace vorin::media {
namespace {

// ---- Orientation: the EXIF entry 0x0112 of JPEG and PNG files says how the camera was held. The system's decoders ignore it
// ----
using Bytes = std::span<const std::uint8_t>;

constexpr int kUpright = 1;

bool textAt(Bytes bytes, std::size_t offset, std::string_view text) {
  return bytes.size() >= offset + text.size() &&
         std::equal(text.begin(), text.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset),
                    [](char letter, std::uint8_t byte) { return static_cast<std::uint8_t>(letter) == byte; });
}

// Numbers of 16 and 32 bits in the order of their file; 0 beyond its end.
struct Numbers {
  Bytes bytes;
  bool big_endian;

  std::uint32_t read(std::size_t at, std::size_t count) const {
    std::uint32_t number = 0;
    for (std::size_t index = 0; index < count && at + count <= bytes.size(); ++index) {
      number = number << 8U | bytes[at + (big_endian ? index : count - 1 - index)];
    }
    return number;
  }
};

// EXIF data are a TIFF file: byte order, offset of the first directory; the directory's number of entries, and 12 bytes for each.
int orientationOf(Bytes exif) {
  constexpr std::uint32_t kOrientation = 0x0112;
  const Numbers numbers = {exif, textAt(exif, 0, "MM")};
  if (!numbers.big_endian && !textAt(exif, 0, "II")) {
    return kUpright;
  }
  const std::size_t directory = numbers.read(4, 4);
  const std::size_t entries = numbers.read(directory, 2);
  for (std::size_t entry = 0; entry < entries; ++entry) {
    const std::size_t at = directory + 2 + entry * 12;
    if (numbers.read(at, 2) == kOrientation) {
      const auto value = static_cast<int>(numbers.read(at + 8, 2));
      return value >= 1 && value <= 8 ? value : kUpright;
    }
  }
  return kUpright;
}

Bytes exifOfJpeg(Bytes file) {
  constexpr std::uint8_t kApp1 = 0xE1;
  constexpr std::uint8_t kStartOfScan = 0xDA;
  const Numbers numbers = {file, true};
  for (std::size_t at = 2; at + 4 <= file.size() && file[at] == 0xFF;) {
    const std::size_t segment_bytes = numbers.read(at + 2, 2); // counts the length's own two bytes
    if (file[at + 1] == kStartOfScan || segment_bytes < 2 || file.size() - at - 2 < segment_bytes) {
      break;
    }
    const Bytes content = file.subspan(at + 4, segment_bytes - 2);
    constexpr std::string_view kHead("Exif\0\0", 6);
    if (file[at + 1] == kApp1 && textAt(content, 0, kHead)) {
      return content.subspan(kHead.size());
    }
    at += 2 + segment_bytes;
  }
  return {};
}

Bytes exifOfPng(Bytes file) {
  const Numbers numbers = {file, true};
  for (std::size_t at = 8; at + 12 <= file.size();) {
    const std::size_t content_bytes = numbers.read(at, 4);
    if (file.size() - at - 12 < content_bytes) {
      break;
    }
    if (textAt(file, at + 4, "eXIf")) {
      return file.subspan(at + 8, content_bytes);
    }
    at += 12 + content_bytes;
  }
  return {};
}

int imageOrientation(Bytes file) {
  return orientationOf(textAt(file, 0, "\xFF\xD8") ? exifOfJpeg(file) : textAt(file, 0, "\x89PNG") ? exifOfPng(file) : Bytes());
}

// ---- Decoding ----

constexpr std::array kEncodings = {
    ImageEncoding{".png", static_cast<int>(kLargestSide)},
    ImageEncoding{".jpg", static_cast<int>(kLargestSide)},
    ImageEncoding{".jpeg", static_cast<int>(kLargestSide)},
    ImageEncoding{".bmp", static_cast<int>(kLargestSide)},
};
constexpr float kJpegQuality = 0.95F; // the quality of the encoder on other systems

void makeFactory(ComPointer<IWICImagingFactory>& factory) {
  requireSuccess(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_IWICImagingFactory,
                                  reinterpret_cast<void**>(factory.out())));
}

// Decodes any kind of image to 8-bit blue, green, red; transparency is dropped, not blended. Works in strips of rows, since the
// intermediate pixels are wider.
cv::Mat copyPixels(IWICImagingFactory& factory, IWICBitmapSource& source) {
  ComPointer<IWICFormatConverter> converter;
  requireSuccess(factory.CreateFormatConverter(converter.out()));
  requireSuccess(converter->Initialize(&source, GUID_WICPixelFormat32bppBGRA, WICBitmapDitherTypeNone, nullptr, 0,
                                       WICBitmapPaletteTypeCustom));
  UINT width = 0;
  UINT height = 0;
  requireSuccess(converter->GetSize(&width, &height));
  if (!isUsableSize(width, height)) {
    throw ComError(WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
  }
  cv::Mat bgr(static_cast<int>(height), static_cast<int>(width), CV_8UC3);
  constexpr int kStripRows = 64;
  cv::Mat strip(kStripRows, bgr.cols, CV_8UC4);
  for (int row = 0; row < bgr.rows; row += kStripRows) {
    const int rows = std::min(kStripRows, bgr.rows - row);
    const WICRect place = {0, row, bgr.cols, rows};
    const auto row_bytes = static_cast<UINT>(strip.step);
    requireSuccess(converter->CopyPixels(&place, row_bytes, row_bytes * static_cast<UINT>(rows), strip.data));
    cv::Mat target = bgr.rowRange(row, row + rows);
    cv::cvtColor(strip.rowRange(0, rows), target, cv::COLOR_BGRA2BGR);
  }
  return bgr;
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

cv::Mat decode(std::span<const std::uint8_t> file) {
  ComPointer<IWICImagingFactory> factory;
  makeFactory(factory);
  ComPointer<IWICStream> stream;
  requireSuccess(factory->CreateStream(stream.out()));
  auto* const bytes = const_cast<std::uint8_t*>(file.data()); // only read
  requireSuccess(stream->InitializeFromMemory(bytes, static_cast<DWORD>(file.size())));
  ComPointer<IWICBitmapDecoder> decoder;
  requireSuccess(factory->CreateDecoderFromStream(stream.get(), nullptr, WICDecodeMetadataCacheOnDemand, decoder.out()));
  ComPointer<IWICBitmapFrameDecode> frame;
  requireSuccess(decoder->GetFrame(0, frame.out()));
  return copyPixels(*factory.get(), *frame.get());
}

// ---- Encoding ----

const GUID& containerOf(const ImageEncoding& encoding) {
  if (encoding.extension == ".png") {
    return GUID_ContainerFormatPng;
  }
  return encoding.extension == ".bmp" ? GUID_ContainerFormatBmp : GUID_ContainerFormatJpeg;
}

void setJpegQuality(IPropertyBag2& options) {
  std::wstring name = L"ImageQuality";
  PROPBAG2 option = {};
  option.pstrName = name.data();
  VARIANT quality;
  VariantInit(&quality);
  quality.vt = VT_R4;
  quality.fltVal = kJpegQuality;
  requireSuccess(options.Write(1, &option, &quality));
}

void writeFrame(IWICBitmapEncoder& encoder, const ImageEncoding& encoding, const cv::Mat& bgr) {
  ComPointer<IWICBitmapFrameEncode> frame;
  ComPointer<IPropertyBag2> options;
  requireSuccess(encoder.CreateNewFrame(frame.out(), options.out()));
  if (containerOf(encoding) == GUID_ContainerFormatJpeg) {
    setJpegQuality(*options.get());
  }
  requireSuccess(frame->Initialize(options.get()));
  requireSuccess(frame->SetSize(static_cast<UINT>(bgr.cols), static_cast<UINT>(bgr.rows)));
  WICPixelFormatGUID format = GUID_WICPixelFormat24bppBGR;
  requireSuccess(frame->SetPixelFormat(&format));
  if (format != GUID_WICPixelFormat24bppBGR) {
    throw ComError(WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);
  }
  for (int row = 0; row < bgr.rows; ++row) { // row by row: rows may be padded
    const auto row_bytes = static_cast<UINT>(bgr.cols * 3);
    requireSuccess(frame->WritePixels(1, row_bytes, row_bytes, const_cast<std::uint8_t*>(bgr.ptr(row)))); // only read
  }
  requireSuccess(frame->Commit());
}

std::vector<std::uint8_t> contentOf(IStream& stream) {
  STATSTG status = {};
  requireSuccess(stream.Stat(&status, STATFLAG_NONAME));
  requireSuccess(stream.Seek({}, STREAM_SEEK_SET, nullptr));
  std::vector<std::uint8_t> content(static_cast<std::size_t>(status.cbSize.QuadPart));
  ULONG read_bytes = 0;
  requireSuccess(stream.Read(content.data(), static_cast<ULONG>(content.size()), &read_bytes));
  content.resize(read_bytes);
  return content;
}

std::vector<std::uint8_t> encode(const ImageEncoding& encoding, const cv::Mat& bgr) {
  ComPointer<IWICImagingFactory> factory;
  makeFactory(factory);
  ComPointer<IStream> stream;
  requireSuccess(CreateStreamOnHGlobal(nullptr, TRUE, stream.out()));
  ComPointer<IWICBitmapEncoder> encoder;
  requireSuccess(factory->CreateEncoder(containerOf(encoding), nullptr, encoder.out()));
  requireSuccess(encoder->Initialize(stream.get(), WICBitmapEncoderNoCache));
  writeFrame(*encoder.get(), encoding, bgr);
  requireSuccess(encoder->Commit());
  return contentOf(*stream.get());
}

} // namespace

std::span<const ImageEncoding> imageEncodings() {
  return kEncodings;
}

std::optional<cv::Mat> decodeImage(std::span<const std::uint8_t> file) {
  const ComApartment apartment;
  try {
    return turnedUpright(decode(file), imageOrientation(file));
  } catch (const ComError& error) {
    return error.result() == WINCODEC_ERR_COMPONENTNOTFOUND ? std::nullopt : std::optional(cv::Mat());
  }
}

std::vector<std::uint8_t> encodeImage(const ImageEncoding& encoding, const cv::Mat& bgr) {
  const ComApartment apartment;
  try {
    return encode(encoding, bgr);
  } catch (const ComError&) {
    return {};
  }
}

} // namespace vorin::media
