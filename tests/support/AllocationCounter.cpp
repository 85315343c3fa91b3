#include "tests/support/AllocationCounter.h"

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
std::size_t refusals = 0;
std::size_t bytes = 0;
void* lastBlock = nullptr;
std::size_t firstRefused = c_never;
std::size_t lastRefused = c_never;
bool hasRefused = false;

// Of a fixed size, since noting a release must not allocate.
std::array<Block, 1024> released;
std::size_t releasedCount = 0;
bool isLogging = false;

void* Allocate(std::size_t size) {
  ++allocations;
  bytes += size;
  if (allocations >= firstRefused && allocations <= lastRefused) {
    ++refusals;
    hasRefused = true;
    throw std::bad_alloc();
  }
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  lastBlock = block;
  return block;
}

void* AllocateOrNull(std::size_t size) noexcept {
  try {
    return Allocate(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void Release(void* block) noexcept {
  if (block == nullptr) {
    return;
  }
  ++releases;
  if (isLogging && releasedCount < released.size()) {
    const auto begin = reinterpret_cast<std::uintptr_t>(block);
    released[releasedCount++] = {begin, begin + malloc_usable_size(block)};
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

AllocationCounter::AllocationCounter() noexcept
    : allocationsBefore(allocations), releasesBefore(releases), bytesBefore(bytes), refusalsBefore(refusals) {}

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
  return static_cast<std::ptrdiff_t>(Allocations() - (refusals - refusalsBefore)) -
         static_cast<std::ptrdiff_t>(Releases());
}

void* AllocationCounter::LastBlock() noexcept {
  return lastBlock;
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
