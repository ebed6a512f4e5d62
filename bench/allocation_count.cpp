#include "allocation_count.h"

#include "inference_clock.h"

#include <atomic>
#include <cerrno>
#include <cstddef>

// The C library's own functions under second names, for programs that replace the first.
extern "C" {
void* __libc_malloc(std::size_t size_bytes);
void* __libc_calloc(std::size_t count, std::size_t size_bytes);
void* __libc_realloc(void* memory, std::size_t size_bytes);
void* __libc_memalign(std::size_t alignment_bytes, std::size_t size_bytes);
}

namespace vorin::bench {
namespace {

std::atomic<bool> counting = false;
std::atomic<std::int64_t> counted = 0;
std::atomic<std::int64_t> largest_bytes = 0;

void count(std::size_t size_bytes) {
  if (size_bytes <= kCountedAboveBytes || !counting || insideInference()) {
    return;
  }
  ++counted;
  const auto size = static_cast<std::int64_t>(size_bytes);
  for (std::int64_t largest = largest_bytes; size > largest && !largest_bytes.compare_exchange_weak(largest, size);) {
  }
}

} // namespace

AllocationCount::AllocationCount() {
  counted = 0;
  largest_bytes = 0;
  counting = true;
}

AllocationCount::~AllocationCount() {
  counting = false;
}

std::int64_t AllocationCount::count() const {
  return counted;
}

std::int64_t AllocationCount::largestBytes() const {
  return largest_bytes;
}

} // namespace vorin::bench

extern "C" {

void* malloc(std::size_t size_bytes) {
  vorin::bench::count(size_bytes);
  return __libc_malloc(size_bytes);
}

void* calloc(std::size_t count, std::size_t size_bytes) {
  vorin::bench::count(count * size_bytes); // an overflow fails below
  return __libc_calloc(count, size_bytes);
}

void* realloc(void* memory, std::size_t size_bytes) {
  vorin::bench::count(size_bytes);
  return __libc_realloc(memory, size_bytes);
}

void* memalign(std::size_t alignment_bytes, std::size_t size_bytes) {
  vorin::bench::count(size_bytes);
  return __libc_memalign(alignment_bytes, size_bytes);
}

void* aligned_alloc(std::size_t alignment_bytes, std::size_t size_bytes) {
  return memalign(alignment_bytes, size_bytes);
}

int posix_memalign(void** memory, std::size_t alignment_bytes, std::size_t size_bytes) {
  *memory = memalign(alignment_bytes, size_bytes);
  return *memory == nullptr ? ENOMEM : 0;
}
}
