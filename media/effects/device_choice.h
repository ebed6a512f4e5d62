// device_choice.h: chooses the device that runs the styles, starting from the one that the user asked for.
#pragma once

#include "effects/library_object.h"

namespace vorin::media {

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

class DeviceChoice {
public:
  // Throws kDevice if there is no such device.
  DeviceChoice(Device wish, Precision precision);

  const std::string& name() const { return name_; }     // for the user
  const std::string& reason() const { return reason_; } // why it is this device
  bool isSoftware() const { return is_software_; }

  // Makes an object of the library with the device selected.
  std::unique_ptr<LibraryObject> makeObject();

  // To be called if the device does not run the filter: switches to the software device if any device may be used, else throws
  // kDevice.
  void replaceForFilter(Style style);

private:
  bool takeGpu();
  void takeSoftware(const std::string& reason);

  Device wish_;
  Precision precision_;
  LibraryCopy* copy_ = nullptr;
  SttDeviceKind kind_ = SttDeviceAnyGpu;
  bool is_software_ = false;
  std::unique_ptr<LibraryObject> spare_; // made to list its devices, not handed out yet
  std::string name_;
  std::string reason_;
};

} // namespace vorin::media
