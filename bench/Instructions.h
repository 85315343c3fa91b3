#pragma once

#include <cstddef>
#include <filesystem>

namespace bench {

/// For a run under `valgrind --tool=callgrind --instr-atstart=no`: does every workload of the library and the floor
/// once, each between a beginning and an end that callgrind is told about, so that it writes a file of counts for each.
/// The files name the workload and the contender, "AddLink/unique|library|1000", the last being the operations done.
void CountInstructions(std::size_t linkCount);

}  // namespace bench
