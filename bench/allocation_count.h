// Counts the large heap allocations of this program, from all libraries and threads, outside of
// inference. Linking allocation_count.cpp into a program replaces the C library's allocation functions, which
// operator new and OpenCV's allocator call.
#pragma once

#include <cstdint>

namespace vorin::bench {

// Counts allocations larger than this: the C library gets them from the system, and their fresh pages cost about as much as the
// work on them. OpenCV's tables for resizing a row are smaller.
constexpr std::size_t kCountedAboveBytes = std::size_t{128} * 1024;

// Counts from 0 while the object lives. One object at a time.
class AllocationCount {
public:
  AllocationCount();
  ~AllocationCount();
  AllocationCount(const AllocationCount&) = delete;
  AllocationCount& operator=(const AllocationCount&) = delete;

  std::int64_t count() const;
  std::int64_t largestBytes() const;
};

} // namespace vorin::bench
