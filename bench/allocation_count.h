// Counts the large heap allocations of this program, from whatever library they come and on whatever thread, outside of
// inference. Linking allocation_count.cpp into a program replaces the C library's allocation functions, under
// which operator new and the imaging library's allocator lie.
#pragma once

#include <cstdint>

namespace vorin::bench {

// Larger ones than this are counted: those that the C library takes from the system, whose fresh pages cost about as much as the
// work on them. The imaging library's tables for resizing a row are smaller.
constexpr std::size_t kCountedAboveBytes = std::size_t{128} * 1024;

// Counting starts at 0 with the object and ends with it. One object at a time.
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
