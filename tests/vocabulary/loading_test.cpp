#include <cstddef>
#include <cstdlib>
#include <new>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include "tests/host/storage/ChildProcess.h"

namespace {

/// How many allocations are left until one is refused, that one alone; 0 when none is to be refused any more.
std::size_t untilRefused = 0;
bool hasRefused = false;

}  // namespace

// For the whole program and for what it loads.
void* operator new(std::size_t size) {
  if (untilRefused != 0 && --untilRefused == 0) {
    hasRefused = true;
    throw std::bad_alloc();
  }
  if (void* block = std::malloc(size == 0 ? 1 : size)) {
    return block;
  }
  throw std::bad_alloc();
}

void operator delete(void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

namespace {

enum Loading : int { loaded = 0, loadedInSpiteOfARefusal = 1, notLoaded = 2, outOfMemory = 3 };

/// Loads the library in a child process in which allocation number `refused` fails. A child each time: a library whose
/// construction failed stays behind half built.
int LoadRefusing(std::size_t refused) {
  return InChild([refused]() -> int {
           // The C library declares that dlopen throws nothing, and compilers rely on it; not through this pointer.
           void* (*volatile load)(const char*, int) = &::dlopen;
           untilRefused = refused;
           try {
             if (load(QPD_LIBRARY, RTLD_NOW | RTLD_LOCAL) == nullptr) {
               return notLoaded;
             }
           } catch (const std::bad_alloc&) {
             return outOfMemory;
           }
           return hasRefused ? loadedInSpiteOfARefusal : loaded;
         })
      .status;
}

}  // namespace

TEST(LoadingTheLibrary, PassesTheExceptionOfAConstantThatGetsNoMemory) {
  std::size_t needed = 0;
  for (int end = LoadRefusing(1); end != loaded; end = LoadRefusing(needed + 1)) {
    ++needed;
    ASSERT_EQ(end, outOfMemory) << "allocation " << needed;
    ASSERT_LT(needed, 1000U);
  }
  // Each of the 96 texts is longer than what a string holds inside, and the set has 4 nodes.
  EXPECT_GE(needed, 100U);
}
