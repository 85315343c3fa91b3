#pragma once

#include <cstddef>

namespace bench {

/// The program's operator new and delete are replaced, for itself and the libraries that it loads, by ones that can
/// count. While nothing counts they cost one test more than the standard ones.

/// Counts the allocations made while it lives. One at a time, one thread.
class AllocationCount {
 public:
  AllocationCount() noexcept;
  AllocationCount(const AllocationCount&) = delete;
  AllocationCount& operator=(const AllocationCount&) = delete;
  ~AllocationCount();

  std::size_t Get() const noexcept;
};

/// The bytes that the program has allocated at present, whoever asked for them, with what the allocator adds to each
/// block.
std::size_t AllocatedBytes();

}  // namespace bench
