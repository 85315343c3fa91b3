#include "tests/support/MemoryFaults.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>

#include <malloc.h>

namespace {

constexpr std::size_t c_never = std::numeric_limits<std::size_t>::max();

std::size_t requests = 0;
std::size_t liveBlocks = 0;
std::size_t liveBytes = 0;
std::size_t peakBytes = 0;

std::size_t firstRefused = c_never;
std::size_t lastRefused = c_never;
bool hasRefused = false;
std::size_t largestAllowed = c_never;

void* AllocateOrNull(std::size_t size) noexcept {
  ++requests;
  if (requests >= firstRefused && requests <= lastRefused) {
    hasRefused = true;
    return nullptr;
  }
  void* block = size <= largestAllowed ? std::malloc(size == 0 ? 1 : size) : nullptr;
  if (block != nullptr) {
    ++liveBlocks;
    liveBytes += malloc_usable_size(block);
    peakBytes = std::max(peakBytes, liveBytes);
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
  if (block != nullptr) {
    --liveBlocks;
    liveBytes -= malloc_usable_size(block);
    std::free(block);
  }
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

MemoryUse::MemoryUse() noexcept : blocksBefore(liveBlocks), bytesBefore(liveBytes) {
  peakBytes = liveBytes;
}

std::ptrdiff_t MemoryUse::Blocks() const noexcept {
  return static_cast<std::ptrdiff_t>(liveBlocks) - static_cast<std::ptrdiff_t>(blocksBefore);
}

std::size_t MemoryUse::PeakBytes() const noexcept {
  return peakBytes - bytesBefore;
}

RefusedAllocations::RefusedAllocations(std::size_t first, How how) noexcept {
  firstRefused = requests + first;
  lastRefused = how == How::once ? firstRefused : c_never;
  hasRefused = false;
}

RefusedAllocations::~RefusedAllocations() {
  firstRefused = c_never;
  lastRefused = c_never;
}

bool RefusedAllocations::HasRefused() const noexcept {
  return hasRefused;
}

RefusedLargeAllocations::RefusedLargeAllocations(std::size_t largest) noexcept {
  largestAllowed = largest;
}

RefusedLargeAllocations::~RefusedLargeAllocations() {
  largestAllowed = c_never;
}
