#include "tests/support/AllocationCounter.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>

#include <malloc.h>

namespace {

constexpr std::size_t c_never = std::numeric_limits<std::size_t>::max();

struct Block {
  std::uintptr_t begin;
  std::uintptr_t end;
};

std::size_t allocations = 0;
std::size_t releases = 0;
std::size_t bytes = 0;
std::size_t liveBlocks = 0;
std::size_t liveBytes = 0;
std::size_t peakBytes = 0;
void* lastBlock = nullptr;
std::size_t firstRefused = c_never;
std::size_t lastRefused = c_never;
bool hasRefused = false;
std::size_t largestAllowed = c_never;

// Of a fixed size, since noting a release must not allocate.
std::array<Block, 1024> released;
std::size_t releasedCount = 0;
bool isLogging = false;

void* AllocateOrNull(std::size_t size) noexcept {
  ++allocations;
  bytes += size;
  if (allocations >= firstRefused && allocations <= lastRefused) {
    hasRefused = true;
    return nullptr;
  }
  void* block = size <= largestAllowed ? std::malloc(size == 0 ? 1 : size) : nullptr;
  if (block != nullptr) {
    ++liveBlocks;
    liveBytes += malloc_usable_size(block);
    peakBytes = std::max(peakBytes, liveBytes);
    lastBlock = block;
  }
  return block;
}

void* Allocate(std::size_t size) {
  void* block = AllocateOrNull(size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

void Release(void* block) noexcept {
  if (block == nullptr) {
    return;
  }
  const std::size_t size = malloc_usable_size(block);
  ++releases;
  --liveBlocks;
  liveBytes -= size;
  if (isLogging && releasedCount < released.size()) {
    const auto begin = reinterpret_cast<std::uintptr_t>(block);
    released[releasedCount++] = {begin, begin + size};
  }
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) {
  return Allocate(size);
}

void* operator new[](std::size_t size) {
  return Allocate(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return AllocateOrNull(size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return AllocateOrNull(size);
}

void operator delete(void* block) noexcept {
  Release(block);
}

void operator delete[](void* block) noexcept {
  Release(block);
}

void operator delete(void* block, std::size_t) noexcept {
  Release(block);
}

void operator delete[](void* block, std::size_t) noexcept {
  Release(block);
}

void operator delete(void* block, const std::nothrow_t&) noexcept {
  Release(block);
}

void operator delete[](void* block, const std::nothrow_t&) noexcept {
  Release(block);
}

AllocationCounter::AllocationCounter() noexcept
    : allocationsBefore(allocations), releasesBefore(releases), bytesBefore(bytes), blocksBefore(liveBlocks) {}

std::size_t AllocationCounter::Allocations() const noexcept {
  return allocations - allocationsBefore;
}

std::size_t AllocationCounter::Releases() const noexcept {
  return releases - releasesBefore;
}

std::size_t AllocationCounter::Bytes() const noexcept {
  return bytes - bytesBefore;
}

std::ptrdiff_t AllocationCounter::Live() const noexcept {
  return static_cast<std::ptrdiff_t>(liveBlocks) - static_cast<std::ptrdiff_t>(blocksBefore);
}

void* AllocationCounter::LastBlock() noexcept {
  return lastBlock;
}

PeakMemory::PeakMemory() noexcept : bytesBefore(liveBytes) {
  peakBytes = liveBytes;
}

std::size_t PeakMemory::Bytes() const noexcept {
  return peakBytes - bytesBefore;
}

FailingAllocations::FailingAllocations(std::size_t first, Refusal refusal) noexcept {
  firstRefused = allocations + first;
  lastRefused = refusal == Refusal::once ? firstRefused : c_never;
  hasRefused = false;
}

FailingAllocations::~FailingAllocations() {
  firstRefused = c_never;
}

bool FailingAllocations::HasFailed() const noexcept {
  return hasRefused;
}

FailingLargeAllocations::FailingLargeAllocations(std::size_t largest) noexcept {
  largestAllowed = largest;
}

FailingLargeAllocations::~FailingLargeAllocations() {
  largestAllowed = c_never;
}

ReleaseLog::ReleaseLog() noexcept {
  releasedCount = 0;
  isLogging = true;
}

ReleaseLog::~ReleaseLog() {
  isLogging = false;
}

std::size_t ReleaseLog::PositionOf(const void* address) const noexcept {
  const auto wanted = reinterpret_cast<std::uintptr_t>(address);
  for (std::size_t i = 0; i < releasedCount; ++i) {
    if (released[i].begin <= wanted && wanted < released[i].end) {
      return i;
    }
  }
  return c_notFound;
}
