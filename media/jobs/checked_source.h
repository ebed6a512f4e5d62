// checked_source.h: the source of a unit, with a check that it delivers what was planned, and its sink; both note whether they
// failed, which tells whose fault a failure is. Private to this folder.
#pragma once

#include "clip_units.h"

#include <atomic>
#include <optional>
#include <utility>
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

// Passes on what the sink gets.
class CheckedSink final : public Sink {
public:
  explicit CheckedSink(Sink& sink) : sink_(sink) {}

  Size size() const override { return sink_.size(); }
  void write(Frame&& frame) override {
    noting([&] { sink_.write(std::move(frame)); });
  }
  void write(Packet&& packet) override {
    noting([&] { sink_.write(std::move(packet)); });
  }
  void finish() override {
    noting([&] { sink_.finish(); });
  }
  std::int64_t finishEarly() override { return sink_.finishEarly(); }
  void interrupt() noexcept override { sink_.interrupt(); }
  bool hasFailed() const { return has_failed_; }

private:
  template <typename Work> void noting(const Work& work) {
    has_failed_ = true;
    work();
    has_failed_ = false;
  }

  Sink& sink_;
  bool has_failed_ = false;
};

} // namespace vorin::media::jobs
