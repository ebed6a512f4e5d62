// The decoders and encoders of the Windows Imaging Component. It has no encoder for WebP, and a decoder only where the user, or a
// newer Windows, has installed one.
#include "../image_codec.h"

#include "../sources_and_sinks.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <objbase.h>
#include <oleauto.h>
#include <stdexcept>
#include <wincodec.h>
#include <windows.h>

namespace vorin::media {
namespace {

// ---- The system's reference-counted objects ----

// Releases its reference in the destructor.
template <typename Interface> class ComPointer {
public:
  ComPointer() = default;
  ~ComPointer() {
    if (object_ != nullptr) {
      object_->Release();
    }
  }
  ComPointer(const ComPointer&) = delete;
  ComPointer& operator=(const ComPointer&) = delete;

  Interface* get() const { return object_; }
  Interface* operator->() const { return object_; }
  // Returns where a function may store the object that it makes.
  Interface** out() { return &object_; }

private:
  Interface* object_ = nullptr;
};

class ComError : public std::runtime_error {
public:
  explicit ComError(HRESULT result) : std::runtime_error("a call of the system's components failed"), result_(result) {}
  HRESULT result() const { return result_; }

private:
  HRESULT result_;
};

inline void requireSuccess(HRESULT result) {
  if (FAILED(result)) {
    throw ComError(result);
  }
}

// Lets its thread use COM objects while it lives.
class ComApartment {
public:
  ComApartment() : result_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
  ~ComApartment() {
    if (SUCCEEDED(result_)) {
      CoUninitialize();
    }
  }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;

private:
  HRESULT result_; // fails if the thread has an apartment of another kind, which works too
};

// ---- Decoding ----

constexpr std::array kEncodings = {
    ImageEncoding{".png", static_cast<int>(kLargestSide), true, true},
    ImageEncoding{".jpg", static_cast<int>(kLargestSide), false, true},
    ImageEncoding{".jpeg", static_cast<int>(kLargestSide), false, true},
    ImageEncoding{".bmp", static_cast<int>(kLargestSide), false, false},
};

void makeFactory(ComPointer<IWICImagingFactory>& factory) {
  requireSuccess(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER, IID_IWICImagingFactory,
                                  reinterpret_cast<void**>(factory.out())));
}

// Converts any kind of image to 8-bit blue, green, red and alpha.
cv::Mat copyPixels(IWICImagingFactory& factory, IWICBitmapSource& source, std::uint64_t most_pixels) {
  ComPointer<IWICFormatConverter> converter;
  requireSuccess(factory.CreateFormatConverter(converter.out()));
  requireSuccess(converter->Initialize(&source, GUID_WICPixelFormat32bppBGRA, WICBitmapDitherTypeNone, nullptr, 0,
                                       WICBitmapPaletteTypeCustom));
  UINT width = 0;
  UINT height = 0;
  requireSuccess(converter->GetSize(&width, &height));
  if (!isUsableSize(width, height) || std::uint64_t{width} * height > most_pixels) {
    throw ComError(WINCODEC_ERR_IMAGESIZEOUTOFRANGE);
  }
  cv::Mat picture(static_cast<int>(height), static_cast<int>(width), CV_8UC4);
  const auto row_bytes = static_cast<UINT>(picture.step);
  requireSuccess(converter->CopyPixels(nullptr, row_bytes, row_bytes * height, picture.data));
  return picture;
}

cv::Mat decode(std::span<const std::uint8_t> file, std::uint64_t most_pixels) {
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
  return copyPixels(*factory.get(), *frame.get(), most_pixels);
}

// The system decodes the first picture of a GIF file without the transparent canvas around it.
cv::Mat onCanvas(const cv::Mat& picture, const ImageHeader& header) {
  cv::Mat canvas(static_cast<int>(header.height), static_cast<int>(header.width), CV_8UC4, cv::Scalar::all(0));
  const cv::Rect place(static_cast<int>(header.left), static_cast<int>(header.top), picture.cols, picture.rows);
  const cv::Rect shown = place & cv::Rect(0, 0, canvas.cols, canvas.rows);
  if (!shown.empty()) {
    picture(shown - place.tl()).copyTo(canvas(shown));
  }
  return canvas;
}

// ---- Encoding ----

const GUID& containerOf(const ImageEncoding& encoding) {
  if (encoding.extension == ".png") {
    return GUID_ContainerFormatPng;
  }
  return encoding.extension == ".bmp" ? GUID_ContainerFormatBmp : GUID_ContainerFormatJpeg;
}

void setJpegQuality(IPropertyBag2& options, int percent) {
  std::wstring name = L"ImageQuality";
  PROPBAG2 option = {};
  option.pstrName = name.data();
  VARIANT quality;
  VariantInit(&quality);
  quality.vt = VT_R4;
  quality.fltVal = static_cast<float>(percent) / 100;
  requireSuccess(options.Write(1, &option, &quality));
}

WICPixelFormatGUID formatOf(const cv::Mat& picture) {
  if (picture.channels() == 1) {
    return GUID_WICPixelFormat8bppGray;
  }
  return picture.channels() == 4 ? GUID_WICPixelFormat32bppBGRA : GUID_WICPixelFormat24bppBGR;
}

void writeFrame(IWICBitmapEncoder& encoder, const ImageEncoding& encoding, const cv::Mat& picture, std::optional<int> quality) {
  ComPointer<IWICBitmapFrameEncode> frame;
  ComPointer<IPropertyBag2> options;
  requireSuccess(encoder.CreateNewFrame(frame.out(), options.out()));
  if (containerOf(encoding) == GUID_ContainerFormatJpeg) {
    setJpegQuality(*options.get(), quality.value_or(kUsualJpegQuality));
  }
  requireSuccess(frame->Initialize(options.get()));
  requireSuccess(frame->SetSize(static_cast<UINT>(picture.cols), static_cast<UINT>(picture.rows)));
  const WICPixelFormatGUID wanted = formatOf(picture);
  WICPixelFormatGUID format = wanted;
  requireSuccess(frame->SetPixelFormat(&format));
  if (format != wanted) {
    throw ComError(WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);
  }
  for (int row = 0; row < picture.rows; ++row) { // row by row: rows may be padded
    const auto row_bytes = static_cast<UINT>(static_cast<std::size_t>(picture.cols) * picture.elemSize());
    requireSuccess(frame->WritePixels(1, row_bytes, row_bytes, const_cast<std::uint8_t*>(picture.ptr(row)))); // only read
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

std::vector<std::uint8_t> encode(const ImageEncoding& encoding, const cv::Mat& picture, std::optional<int> quality) {
  ComPointer<IWICImagingFactory> factory;
  makeFactory(factory);
  ComPointer<IStream> stream;
  requireSuccess(CreateStreamOnHGlobal(nullptr, TRUE, stream.out()));
  ComPointer<IWICBitmapEncoder> encoder;
  requireSuccess(factory->CreateEncoder(containerOf(encoding), nullptr, encoder.out()));
  requireSuccess(encoder->Initialize(stream.get(), WICBitmapEncoderNoCache));
  writeFrame(*encoder.get(), encoding, picture, quality);
  requireSuccess(encoder->Commit());
  return contentOf(*stream.get());
}

} // namespace

std::span<const ImageEncoding> imageEncodings() {
  return kEncodings;
}

std::optional<cv::Mat> decodeImage(std::span<const std::uint8_t> file, std::uint64_t most_pixels) {
  const ComApartment apartment;
  try {
    const cv::Mat picture = decode(file, most_pixels);
    return imageKindOf(file) == ImageKind::kGif ? onCanvas(picture, readImageHeader(file)) : picture;
  } catch (const ComError& error) {
    return error.result() == WINCODEC_ERR_COMPONENTNOTFOUND ? std::nullopt : std::optional(cv::Mat());
  }
}

std::vector<std::uint8_t> pngProfile(std::span<const std::uint8_t> /*file*/) {
  return {};
}

std::vector<std::uint8_t> encodeImage(const ImageEncoding& encoding, const cv::Mat& picture, std::optional<int> quality,
                                      const ImageTags& /*tags*/) {
  const ComApartment apartment;
  try {
    return encode(encoding, picture, quality);
  } catch (const ComError&) {
    return {};
  }
}

} // namespace vorin::media
