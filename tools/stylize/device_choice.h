// device_choice.h: from what the user asked for to the device that draws.
#pragma once

#include "stylizer.h"

#include <exception>
#include <span>
#include <string>
#include <string_view>

namespace vorin::stylize {

enum class DeviceWish { kAuto, kIntegrated, kDiscrete, kSoftware };

struct NamedDeviceWish {
  std::string_view name;
  DeviceWish wish;
};

std::span<const NamedDeviceWish> deviceWishes();

// Thrown, so that everything in progress is undone first, when the program has to start again on the software device.
class RestartOnSoftwareDevice : public std::exception {
public:
  explicit RestartOnSoftwareDevice(std::string reason) : reason_(std::move(reason)) {}
  const std::string& reason() const { return reason_; } // a line for the user; empty: the user asked for it

private:
  std::string reason_;
};

// The wished-for device.
class ChosenDevice {
public:
  explicit ChosenDevice(DeviceWish wish);

  const std::string& name() const { return name_; } // for the user
  Drawing draw(const cv::Mat& photo_bgr, const Manner& manner);

  // One clip instead of photos. After prepareClip the program does not start again on another device.
  void prepareClip(const Manner& manner);
  void beginClip(const Manner& manner, cv::Size size) { stylizer_.beginClip(manner, size); }
  void drawClipFrame(const SttFrame& input, SttFrame& output) { stylizer_.drawClipFrame(input, output); }

private:
  void prepareFilter(const Style& style);

  DeviceWish wish_;
  Stylizer stylizer_; // for the filters, and for a clip
  std::string name_;
};

std::string_view kindName(SttDeviceKind kind); // "integrated", "discrete"

} // namespace vorin::stylize
