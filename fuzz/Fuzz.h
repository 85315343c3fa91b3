#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

/// What every fuzz target defines. It ends the program where something is wrong; anything else is right.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Ends the program, which a fuzzer takes for a find, where the text says that something is wrong.
inline void RequireNothing(const std::string& difference) {
  if (!difference.empty()) {
    std::fprintf(stderr, "%s\n", difference.c_str());
    std::abort();
  }
}

inline void Require(bool isTrue, const char* what) {
  RequireNothing(isTrue ? std::string() : what);
}
