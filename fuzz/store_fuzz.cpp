// Any sequence of operations leaves the store as it leaves a naive one.

#include <span>

#include "fuzz/Fuzz.h"
#include "tests/support/StoreOperations.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  RequireNothing(RunStoreOperations(OperationsFrom(std::span(data, size))));
  return 0;
}
