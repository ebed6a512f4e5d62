// checked_source.h: the source of a unit, with a check that it delivers what was planned. Private to this folder.
#pragma once

#include "clip_units.h"

#include <atomic>
#include <optional>
#include <variant>

namespace vorin::media::jobs {

// The frames of a unit are not those that were planned, which can be the fault of searching the file.
struct OtherFrames {};

// Passes on what the source delivers, checks it, and notes whether the source failed.
class CheckedSource final : public Source {
public:
  // part: null for an image.
  CheckedSource(Source& source, const ClipPart* part) : source_(source), part_(part) {}

  const SourceInfo& info() const override { return source_.info(); }
  void interrupt() noexcept override {
    is_interrupted_ = true;
    source_.interrupt();
  }
  bool hasFailed() const { return has_failed_; }

  std::optional<Item> next() override {
    has_failed_ = true;
    std::optional<Item> item = source_.next();
    check(item ? std::get_if<Frame>(&*item) : nullptr);
    has_failed_ = false;
    return item;
  }

private:
  void check(const Frame* frame) {
    if (part_ == nullptr || is_interrupted_) {
      return;
    }
    const bool is_first = frame != nullptr && frames_ == 0;
    const bool is_wrong = is_first && (frame->time != part_->begin_time || sha256Of(frame->picture) != part_->begin_sha256);
    frames_ += frame != nullptr ? 1 : 0;
    if (is_wrong || (frame == nullptr && frames_ != part_->warm_up + part_->frames)) {
      throw OtherFrames();
    }
  }

  Source& source_;
  const ClipPart* part_;
  std::int64_t frames_ = 0;
  std::atomic<bool> is_interrupted_ = false;
  bool has_failed_ = false;
};

} // namespace vorin::media::jobs
