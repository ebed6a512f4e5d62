// What the sweeps share: the number of cases, a line of figures for each sweep, and memory between pages that nobody may touch.
//
// A sweep runs many cases that may end in any way that the interfaces allow; all else is a fault.
#pragma once

#include "support/test_networks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace vorin::tests {

// By how much scripts/robustness --long multiplies the number of cases.
inline int longerBy() {
  const char* factor = std::getenv("VORIN_ROBUSTNESS_FACTOR"); // NOLINT(concurrency-mt-unsafe)
  return factor == nullptr ? 1 : std::max(1, std::stoi(factor));
}

// Networks of the styles 0, 1 and 2, which take frames of any size.
inline TestPackage sweepPackage() {
  return TestPackage({networkFiles(kCartoon, FixedNetwork{.gain = 0.8F}), alikeTwins(kLightGrey, FixedNetwork{.gain = 0.6F}),
                      alikeTwins(kTransfer512, TransferNetwork{.content_gain = 0.6F, .style_gain = 0.3F})});
}

inline std::array<char, 512> current_case; // a signal handler prints it

extern "C" inline void nameCaseAndEnd(int number) {
  static_cast<void>(write(STDERR_FILENO, current_case.data(), std::strlen(current_case.data())) < 0);
  static_cast<void>(std::signal(number, SIG_DFL));
  static_cast<void>(std::raise(number));
}

// Counts cases and faults. A fault fails the test; a signal that ends the process names the case first.
class Sweep {
public:
  explicit Sweep(std::string name) : name_(std::move(name)) {
    for (const int number : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL}) {
      static_cast<void>(std::signal(number, nameCaseAndEnd));
    }
  }
  ~Sweep() { std::printf("robustness: %s: %d cases, %d faults%s\n", name_.c_str(), cases_, faults_, figures_.c_str()); }
  Sweep(const Sweep&) = delete;
  Sweep& operator=(const Sweep&) = delete;

  void begin(const std::string& what) {
    ++cases_;
    static_cast<void>(
        std::snprintf(current_case.data(), current_case.size(), "%s, case %d: %s\n", name_.c_str(), cases_, what.c_str()));
  }
  void require(bool holds, const std::string& fault) {
    faults_ += holds ? 0 : 1;
    EXPECT_TRUE(holds) << current_case.data() << fault;
  }
  void note(const std::string& figures) { figures_ += "; " + figures; }

private:
  std::string name_;
  int cases_ = 0;
  int faults_ = 0;
  std::string figures_;
};

// Memory that begins or ends at a page that nobody may touch. What is left of its own pages is watched.
class FencedBuffer {
public:
  FencedBuffer(std::size_t size, bool ends_at_fence) : size_(size) {
    const auto page_bytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    inner_bytes_ = std::max<std::size_t>(1, (size + page_bytes - 1) / page_bytes) * page_bytes;
    total_bytes_ = inner_bytes_ + 2 * page_bytes;
    area_ = static_cast<std::uint8_t*>(mmap(nullptr, total_bytes_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (area_ == MAP_FAILED || mprotect(inner(), inner_bytes_, PROT_READ | PROT_WRITE) != 0) {
      throw std::runtime_error("no memory for a fenced buffer");
    }
    std::memset(inner(), kUntouched, inner_bytes_);
    data_ = inner() + (ends_at_fence ? inner_bytes_ - size : 0);
  }
  ~FencedBuffer() { munmap(area_, total_bytes_); }
  FencedBuffer(const FencedBuffer&) = delete;
  FencedBuffer& operator=(const FencedBuffer&) = delete;

  std::uint8_t* data() const { return data_; }
  std::size_t size() const { return size_; }
  void forbidWriting() { mprotect(inner(), inner_bytes_, PROT_READ); }
  bool restIsUntouched() const {
    return std::all_of(inner(), data_, isUntouched) && std::all_of(data_ + size_, inner() + inner_bytes_, isUntouched);
  }

  static bool isUntouched(std::uint8_t byte) { return byte == kUntouched; }

private:
  static constexpr std::uint8_t kUntouched = 0xA7;

  std::uint8_t* inner() const { return area_ + (total_bytes_ - inner_bytes_) / 2; }

  std::size_t size_;
  std::size_t inner_bytes_ = 0;
  std::size_t total_bytes_ = 0;
  std::uint8_t* area_ = nullptr;
  std::uint8_t* data_ = nullptr;
};

} // namespace vorin::tests
