#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <new>
#include <thread>

#include <dlfcn.h>
#include <sys/resource.h>

#include <gtest/gtest.h>

#include "tests/host/storage/ChildProcess.h"

// Every allocation of a load refused, for a program that gets the exception and for one that does not: the C library
// declares that dlopen throws nothing, so where it is called by its name nothing can catch what a constant throws.

namespace {

enum class Refusal { once, forEver };

/// The number of the allocation that is refused, counted from 1; 0 when none is.
std::size_t refused = 0;
Refusal refusal = Refusal::once;
std::size_t allocations = 0;
bool hasRefused = false;

bool IsRefused() noexcept {
  ++allocations;
  const bool isRefused = refused != 0 && (refusal == Refusal::once ? allocations == refused : allocations >= refused);
  hasRefused = hasRefused || isRefused;
  return isRefused;
}

void Refuse(std::size_t nth, Refusal from) noexcept {
  allocations = 0;
  refused = nth;
  refusal = from;
}

}  // namespace

// For the whole program and for what it loads.
void* operator new(std::size_t size) {
  void* block = IsRefused() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

void operator delete(void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

namespace {

enum Loading : int { loaded = 0, loadedInSpiteOfARefusal = 1, notLoaded = 2, outOfMemory = 3, anotherException = 4 };

int EndWith(const void* library) {
  refused = 0;
  return library == nullptr ? notLoaded : hasRefused ? loadedInSpiteOfARefusal : loaded;
}

/// Loads the library in a child process in which allocation number `nth` fails. A child each time: a library whose
/// construction failed stays behind half built.
int LoadAndCatch(std::size_t nth, Refusal from) {
  return InChild([=]() -> int {
           // Through this pointer compilers do not rely on the declaration.
           void* (*volatile load)(const char*, int) = &::dlopen;
           Refuse(nth, from);
           try {
             return EndWith(load(QPD_LIBRARY, RTLD_NOW | RTLD_LOCAL));
           } catch (const std::bad_alloc&) {
             refused = 0;
             return outOfMemory;
           }
         })
      .status;
}

/// Ends the process with SIGABRT where what nobody caught is a lack of memory.
[[noreturn]] void EndUncaught() {
  try {
    std::rethrow_exception(std::current_exception());
  } catch (const std::bad_alloc&) {
    std::abort();
  } catch (...) {
    ::_exit(anotherException);
  }
}

/// The same in a thread, which has nobody above that could catch anything.
ChildEnd LoadPlainly(std::size_t nth, Refusal from) {
  return InChild([=]() -> int {
    const rlimit noCore{0, 0};
    ::setrlimit(RLIMIT_CORE, &noCore);
    std::set_terminate(EndUncaught);
    int end = notLoaded;
    std::thread([&] {
      Refuse(nth, from);
      end = EndWith(::dlopen(QPD_LIBRARY, RTLD_NOW | RTLD_LOCAL));
    }).join();
    return end;
  });
}

/// How many allocations a load needs, all of which were refused.
std::size_t NeededWhereItIsCaught(Refusal from) {
  std::size_t needed = 0;
  for (int end = LoadAndCatch(1, from); end != loaded; end = LoadAndCatch(needed + 1, from)) {
    ++needed;
    EXPECT_EQ(end, outOfMemory) << "allocation " << needed;
    if (end != outOfMemory || needed == 1000) {
      break;
    }
  }
  return needed;
}

void ExpectEveryRefusalEndsThePlainProgram(Refusal from) {
  const std::size_t needed = NeededWhereItIsCaught(from);
  for (std::size_t nth = 1; nth <= needed; ++nth) {
    ASSERT_EQ(LoadPlainly(nth, from).signal, SIGABRT) << "allocation " << nth;
  }
  EXPECT_EQ(LoadPlainly(needed + 1, from).status, loaded);
}

}  // namespace

TEST(LoadingTheLibrary, PassesTheExceptionOfAConstantThatGetsNoMemory) {
  // Each of the 96 texts is longer than what a string holds inside, and the set has 4 nodes.
  EXPECT_GE(NeededWhereItIsCaught(Refusal::once), 100U);
  EXPECT_GE(NeededWhereItIsCaught(Refusal::forEver), 100U);
}

TEST(LoadingTheLibrary, ByAPlainCallEndsTheProgramWhereOneAllocationIsRefused) {
  ExpectEveryRefusalEndsThePlainProgram(Refusal::once);
}

TEST(LoadingTheLibrary, ByAPlainCallEndsTheProgramWhereThereIsNoMemoryAnyMore) {
  ExpectEveryRefusalEndsThePlainProgram(Refusal::forEver);
}
