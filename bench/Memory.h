#pragma once

#include <cstddef>
#include <filesystem>

namespace bench {

/// Writes as JSON what a link takes in each set, for every contender: bytes and, where the contender allocates by
/// operator new, allocations; and how many blocks the library's look-ups allocate, in the worst case of a call, beyond
/// the copy of what they return.
void MeasureMemory(std::size_t linkCount, const std::filesystem::path& file);

}  // namespace bench
