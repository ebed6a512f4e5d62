// device_choice.h: from what the user asked for to the device that draws.
#pragma once

#include "stylizer.h"

#include <exception>
#include <memory>
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
  const std::string& reason() const { return reason_; } // as that of a ChosenDevice

private:
  std::string reason_;
};

// The wished-for device.
class ChosenDevice {
public:
  explicit ChosenDevice(DeviceWish wish);

  const std::string& name() const { return name_; }     // for the user
  const std::string& reason() const { return reason_; } // why it is this one

  // Makes sure that the device draws in the style, as far as that shows without a network: after it, the program does not start
  // again on another device.
  void prepare(const Style& style);

  Drawing draw(const cv::Mat& photo_bgr, const Manner& manner);

  // One clip instead of photos, in the style prepared last.
  void beginClip(const Manner& manner, cv::Size size) { stylizer_.beginClip(manner, size); }
  void drawClipFrame(const SttFrame& input, SttFrame& output) { stylizer_.drawClipFrame(input, output); }

private:
  DeviceWish wish_;
  Stylizer stylizer_;                // for the filters, and for a clip
  std::unique_ptr<Stylizer> neural_; // the one that drew last
  const Style* prepared_ = nullptr;
  std::string name_;
  std::string reason_;
};

std::string_view kindName(SttDeviceKind kind); // "integrated", "discrete"

} // namespace vorin::stylize
