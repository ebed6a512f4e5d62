// A host of the style library from beginning to end: an object, its preparation and two frames.
#pragma once

#include "support/api_object.h"
#include "sweep.h"

#include <functional>

namespace vorin::tests {

// Chooses any GPU and prepares the style for results of that size.
inline bool prepareStyle(SttInterface& object, std::int32_t style, std::int32_t width, std::int32_t height,
                         const std::string& package_folder) {
  SttDeviceRequest any_gpu{};
  any_gpu.kind = SttDeviceAnyGpu;
  SttDeviceRecord* device = nullptr;
  object.CreateDevice(&any_gpu, &device);
  configure(object, style, width, height);
  const std::int32_t index = 0;
  object.SetConfig(nullptr, SttCfgStyleIndex, &index);
  object.SetConfig(nullptr, SttCfgModelPath, package_folder.c_str());
  return object.Prepare(nullptr) == VORIN_STATUS_OK;
}

class Host {
public:
  explicit Host(std::int32_t style, std::string package_folder) : style_(style), package_folder_(std::move(package_folder)) {}

  bool prepare() {
    object_ = makeObject();
    return prepareAgain();
  }
  bool prepareAgain() { return prepareStyle(*object_, style_, kWidth, kHeight, package_folder_); }
  bool hasObject() const { return object_ != nullptr; }

  // The result, BGRA, of the frame of this number.
  std::string frame(int number) {
    FencedBuffer input(kBytes, true);
    FencedBuffer output(kBytes, true);
    for (std::size_t byte = 0; byte < kBytes; ++byte) {
      input.data()[byte] = static_cast<std::uint8_t>(byte * byte / 7 + static_cast<std::size_t>(number) * 50);
    }
    input.forbidWriting();
    const SttFrame in = {VORIN_MEM_SYSTEM, input.data(), VORIN_FMT_BGRA, kWidth, kHeight, 4 * kWidth};
    SttFrame out = in;
    out.data = output.data();
    object_->ProcessFrame(nullptr, &in, style_ == SttStyleTransfer && number == 0 ? &in : nullptr, &out);
    EXPECT_TRUE(output.restIsUntouched()) << current_case.data();
    return {reinterpret_cast<const char*>(output.data()), kBytes};
  }

  // The results of the first frames, one behind the other.
  std::string frames(int count) {
    std::string results;
    for (int number = 0; number < count; ++number) {
      results += frame(number);
    }
    return results;
  }

  // Two of them; nothing if the style is not prepared.
  std::string run() { return prepare() ? frames(2) : std::string(); }

private:
  static constexpr std::int32_t kWidth = 37;
  static constexpr std::int32_t kHeight = 21;
  static constexpr std::size_t kBytes = std::size_t{4} * kWidth * kHeight;

  std::int32_t style_;
  std::string package_folder_;
  Object object_;
};

inline constexpr std::array kAllStyles = {SttStyleTransfer, SttStyleLightGrey, SttStyleCartoon, SttStyleStippling,
                                          SttStylePencilSketch};

// Has one step of the work after the other fail, the first, the second and so on, until it has fewer. Each time the result is
// right, or there is none, and the next work is right again. disarm returns whether the step was reached.
inline void failEachStep(Sweep& sweep, const std::string& what, const std::function<void(int)>& arm,
                         const std::function<bool()>& disarm, const std::function<std::string()>& work,
                         const std::function<bool(const std::string&)>& is_right) {
  bool reached = true;
  for (int number = 1; reached; ++number) {
    sweep.begin(what + ", step " + std::to_string(number));
    std::string result;
    arm(number);
    try {
      result = work();
    } catch (const std::exception&) {
      result.clear();
    }
    reached = disarm();
    sweep.require(is_right(result), "a wrong result");
    result = work();
    sweep.require(!result.empty() && is_right(result), "the next one is spoiled");
  }
}

} // namespace vorin::tests
