#include "bench/Allocations.h"

#include <cstdlib>
#include <new>

#include <malloc.h>

namespace {

bool isCounting = false;
std::size_t allocations = 0;

void* AllocateOrNull(std::size_t size) noexcept {
  if (isCounting) {
    ++allocations;
  }
  return std::malloc(size == 0 ? 1 : size);
}

void* Allocate(std::size_t size) {
  void* block = AllocateOrNull(size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
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
  std::free(block);
}

void operator delete[](void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

void operator delete[](void* block, std::size_t) noexcept {
  std::free(block);
}

void operator delete(void* block, const std::nothrow_t&) noexcept {
  std::free(block);
}

void operator delete[](void* block, const std::nothrow_t&) noexcept {
  std::free(block);
}

namespace bench {

AllocationCount::AllocationCount() noexcept {
  allocations = 0;
  isCounting = true;
}

AllocationCount::~AllocationCount() {
  isCounting = false;
}

std::size_t AllocationCount::Get() const noexcept {
  return allocations;
}

std::size_t AllocatedBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

}  // namespace bench
