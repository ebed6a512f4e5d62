// library_object.h: one object of the style-transfer library. Every status and exception of the library becomes an Error.
//
// Frames are passed to the library without padding between rows, which every style accepts, and never as kBgr24, since a neural
// style may write to an input of that layout.
#pragma once

#include "library_copy.h"
#include "model_package.h"
#include "vorin_stt.h"

#include <opencv2/core/mat.hpp>

namespace vorin::media {

struct ListedGpu {
  SttDeviceKind kind;
  std::string name;
};

class LibraryObject {
public:
  explicit LibraryObject(LibraryCopy& copy);

  SttVersion version();
  std::vector<ListedGpu> gpus();
  void selectGpu(SttDeviceKind kind); // SttDeviceIntegratedGpu, SttDeviceDiscreteGpu or SttDeviceAnyGpu

  // Whether the filter runs on the selected GPU. The library does not report a filter whose set-up failed, so the function
  // restyles a built-in picture and checks the result.
  bool prepareFilter(Style style);

  // Loads a network for results of this size. Returns false if the library cannot load it.
  bool loadNetwork(const ModelPackage& package, const modelpack::NamedNetwork& network, Size size);

  // Restyles one frame with the filter or network prepared last. style_image: null to keep the image passed last. Returns the
  // milliseconds that the library took. Throws kDevice.
  double process(const Picture& input, const Picture* style_image, Picture& output);

private:
  void set(SttConfigKey key, std::int32_t value);
  void setSize(Size size);

  LibraryCopy::Object object_;
  VorinSttContext context_ = nullptr;
};

// Whether all pixels are equal. Returns at the first difference, so it is fast for real results.
bool isOneColour(const cv::Mat& pixels);

// The size at which a network that takes any size works: the picture's, shrunk in its ratio of sides to the largest size that the
// library uses (1920x1080), but no side below the 32 pixels that the layers of a network need.
Size networkSize(Size picture);

} // namespace vorin::media
