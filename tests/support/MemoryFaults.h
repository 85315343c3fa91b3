#pragma once

#include <cstddef>

/// A test program that is linked with MemoryFaults.cpp has its operator new and delete replaced, for itself and for
/// every library that it loads: allocations can be refused one at a time, and what lives is measured. Not together
/// with AllocationCounter.cpp. One thread only.

/// What the program holds more than at the construction.
class MemoryUse {
 public:
  MemoryUse() noexcept;

  /// Blocks that live now less those that lived then.
  std::ptrdiff_t Blocks() const noexcept;
  /// The most bytes that lived at one time since then, less those that lived then. One measurement at a time.
  std::size_t PeakBytes() const noexcept;

 private:
  std::size_t blocksBefore;
  std::size_t bytesBefore;
};

/// While it lives, allocation number `first`, counted from 1 at its construction, throws std::bad_alloc (operator
/// new(std::nothrow) gives null): it alone, or it and every later one. One at a time.
class RefusedAllocations {
 public:
  enum class How { once, fromThenOn };

  RefusedAllocations(std::size_t first, How how) noexcept;
  RefusedAllocations(const RefusedAllocations&) = delete;
  RefusedAllocations& operator=(const RefusedAllocations&) = delete;
  ~RefusedAllocations();

  bool HasRefused() const noexcept;
};

/// While it lives, every allocation of more than `largest` bytes is refused, so that what a stream that lies asks for
/// does not depend on the machine. One at a time.
class RefusedLargeAllocations {
 public:
  explicit RefusedLargeAllocations(std::size_t largest) noexcept;
  RefusedLargeAllocations(const RefusedLargeAllocations&) = delete;
  RefusedLargeAllocations& operator=(const RefusedLargeAllocations&) = delete;
  ~RefusedLargeAllocations();
};
