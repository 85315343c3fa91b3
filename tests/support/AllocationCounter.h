#pragma once

#include <cstddef>

/// A test program that is linked with AllocationCounter.cpp has its operator new and delete replaced, for
/// itself and for every library that it loads: allocations are counted, and can be refused. One thread only.

/// Counts from its construction on.
class AllocationCounter {
 public:
  AllocationCounter() noexcept;

  std::size_t Allocations() const noexcept;
  std::size_t Releases() const noexcept;
  /// The sum of the sizes asked for, in bytes.
  std::size_t Bytes() const noexcept;
  /// Blocks got less blocks released since then: 0 where nothing leaked.
  std::ptrdiff_t Live() const noexcept;

  /// The block that the last allocation of the program got.
  static void* LastBlock() noexcept;

 private:
  std::size_t allocationsBefore;
  std::size_t releasesBefore;
  std::size_t bytesBefore;
  std::size_t blocksBefore;
};

/// How many allocations a call makes.
template <class Call>
std::size_t AllocationsOf(Call&& call) {
  const AllocationCounter counter;
  call();
  return counter.Allocations();
}

/// Measures the most memory that the program holds at one time, from its construction on. One at a time.
class PeakMemory {
 public:
  PeakMemory() noexcept;

  /// Less what was held at the construction.
  std::size_t Bytes() const noexcept;

 private:
  std::size_t bytesBefore;
};

/// While it lives, allocation number `first`, counted from 1 at its construction, and every later one throw
/// std::bad_alloc (operator new(std::nothrow) gives null), or with `Refusal::once` that one alone. One at a time.
class FailingAllocations {
 public:
  enum class Refusal { once, forEver };

  explicit FailingAllocations(std::size_t first, Refusal refusal = Refusal::forEver) noexcept;
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;
  ~FailingAllocations();

  /// True when some allocation was refused.
  bool HasFailed() const noexcept;
};

/// While it lives, every allocation of more than `largest` bytes is refused, so that what a stream that lies asks for
/// does not depend on the machine. One at a time.
class FailingLargeAllocations {
 public:
  explicit FailingLargeAllocations(std::size_t largest) noexcept;
  FailingLargeAllocations(const FailingLargeAllocations&) = delete;
  FailingLargeAllocations& operator=(const FailingLargeAllocations&) = delete;
  ~FailingLargeAllocations();
};

/// While it lives, notes which blocks are released, in order. One at a time.
class ReleaseLog {
 public:
  static constexpr std::size_t c_notFound = static_cast<std::size_t>(-1);

  ReleaseLog() noexcept;
  ReleaseLog(const ReleaseLog&) = delete;
  ReleaseLog& operator=(const ReleaseLog&) = delete;
  ~ReleaseLog();

  /// The position in the order of release of the block that held this address, or c_notFound.
  std::size_t PositionOf(const void* address) const noexcept;
};
