// bounded_queue.h: hands items from one thread to another, with a limit on the bytes that wait in it.
//
// Either side may end it: close() after the last item, abort() when the rest is no longer wanted. An item larger than the limit
// passes when it is alone. Waiting for room looks at a cancellation flag, which a signal handler may set: nobody can wake the
// waiting from there.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace vorin::media {

template <typename Value> class BoundedQueue {
public:
  BoundedQueue(std::size_t capacity_bytes, const std::atomic<bool>& cancelled)
      : capacity_bytes_(capacity_bytes), cancelled_(cancelled) {}

  // False when nobody takes items any more; the item is gone then.
  bool push(Value&& value, std::size_t bytes) {
    std::unique_lock lock(mutex_);
    waitFor(lock, [&] { return cancelled_ || waiting_bytes_ == 0 || waiting_bytes_ + bytes <= capacity_bytes_; });
    if (aborted_ || cancelled_) {
      return false;
    }
    waiting_bytes_ += bytes;
    items_.emplace_back(std::move(value), bytes);
    changed_.notify_all();
    return true;
  }

  // Nothing at the end, and after an abort.
  std::optional<Value> pop() {
    return popWhen([] { return false; });
  }

  // Nothing after a cancellation either.
  std::optional<Value> popUnlessCancelled() {
    return popWhen([this] { return cancelled_.load(); });
  }

  void close() { set(closed_); }
  void abort() { set(aborted_); }

private:
  void set(bool& flag) {
    const std::scoped_lock lock(mutex_);
    flag = true;
    changed_.notify_all();
  }

  template <typename Stop> std::optional<Value> popWhen(const Stop& stop) {
    std::unique_lock lock(mutex_);
    waitFor(lock, [&] { return !items_.empty() || closed_ || stop(); });
    if (aborted_ || items_.empty() || stop()) {
      return std::nullopt;
    }
    std::optional<Value> value(std::move(items_.front().first));
    waiting_bytes_ -= items_.front().second;
    items_.pop_front();
    changed_.notify_all();
    return value;
  }

  template <typename Condition> void waitFor(std::unique_lock<std::mutex>& lock, const Condition& condition) {
    constexpr std::chrono::milliseconds kLook(20);
    while (!condition() && !aborted_) {
      changed_.wait_for(lock, kLook);
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::pair<Value, std::size_t>> items_;
  std::size_t waiting_bytes_ = 0;
  std::size_t capacity_bytes_;
  const std::atomic<bool>& cancelled_;
  bool closed_ = false;
  bool aborted_ = false;
};

} // namespace vorin::media
