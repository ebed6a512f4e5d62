// library_object.h: one object of the style-transfer library, and the choice of the device for it. Every status and exception of
// the library becomes an Error.
//
// Frames are passed to the library without padding between rows, which every style accepts, and never as kBgr24, since a neural
// style may write to an input of that layout, or kRgb24, which the library does not have.
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

  // Loads a network for results of this size, under the lock of the writable folder. cache_bytes: what compiled networks may take
  // there; 0: none is used or kept. Returns false if the library cannot load it. Throws kInputOutput without room on the disk.
  bool loadNetwork(const ModelPackage& package, const modelpack::NamedNetwork& network, Size size, std::uint64_t cache_bytes);

  // Has the next frame of the style transfer smoothed against none.
  void forgetFrames() { copy_.forgetFrames(*object_); }

  std::int32_t workGroupEdge() const { return copy_.workGroupEdge(*object_); } // of the filter prepared last

  // Restyles one frame with the filter or network prepared last. style_image: null to keep the image passed last. Returns the
  // milliseconds that the library took. Throws kDevice.
  double process(const Picture& input, const Picture* style_image, Picture& output);

private:
  void set(SttConfigKey key, std::int32_t value);
  void setSize(Size size);

  LibraryCopy& copy_;
  LibraryCopy::Object object_;
  VorinSttContext context_ = nullptr;
};

// The layout to ask the library for where a result is wanted in this one: it writes YUY2 in full range, in neural styles with red
// and blue exchanged, and no RGB of 3 bytes.
PixelLayout deliveredLayout(PixelLayout wanted);

// Whether all pixels are equal. Returns at the first difference, so it is fast for real results.
bool isOneColour(const cv::Mat& pixels);

// The size at which a network that takes any size works: the picture's, shrunk in its ratio of sides to the largest size that the
// library uses (1920x1080), but no side below the 32 pixels that the layers of a network need.
Size networkSize(Size picture);

// ---- The device ----

// Thrown where the software device needs a process of its own, as on Windows.
class NeedsOwnProcess : public Error {
public:
  explicit NeedsOwnProcess(std::string reason)
      : Error(ErrorKind::kDevice, "the software device needs a process of its own: use vorin-stylize"),
        reason_(std::move(reason)) {}
  const std::string& reason() const { return reason_; } // why the software device was chosen

private:
  std::string reason_;
};

// Chooses the device that runs the styles, starting from the one that the user asked for.
class DeviceChoice {
public:
  // Throws kDevice if there is no such device, and kUsage if active stand-ins compute in another precision.
  DeviceChoice(Device wish, std::optional<Precision> precision);

  const std::string& name() const { return name_; }              // for the user
  const std::string& reason() const { return reason_; }          // why it is this device
  std::string_view precision() const { return precision_name_; } // of the software device's networks; empty on a GPU

  // Makes an object of the library with the device selected.
  std::unique_ptr<LibraryObject> makeObject();

  // To be called if the device does not run the filter: switches to the software device if any device may be used, else throws
  // kDevice.
  void replaceForFilter(Style style);

private:
  bool takeGpu();
  bool takeGpuIfInstalled();
  void takeSoftware(const std::string& reason);

  Device wish_;
  std::optional<Precision> precision_;
  std::string_view precision_name_;
  LibraryCopy* copy_ = nullptr;
  SttDeviceKind kind_ = SttDeviceAnyGpu;
  bool is_software_ = false;
  std::unique_ptr<LibraryObject> spare_; // made to list its devices, not handed out yet
  std::string name_;
  std::string reason_;
};

} // namespace vorin::media
