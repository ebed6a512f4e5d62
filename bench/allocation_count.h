// Counts the heap allocations of this program that are larger than a page, from whatever library they come and on whatever
// thread, outside of inference. Linking allocation_count.cpp into a program replaces the C library's allocation functions, under
// which operator new and the imaging library's allocator lie.
#pragma once

#include <cstdint>

namespace vorin::bench {

// Larger ones than this are counted, bytes. Fresh pages of the system make such an allocation cost more than the work on it.
constexpr std::size_t kCountedAboveBytes = 4096;

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
