// What can be said about a STEP file without understanding it.

#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace host {

/// Gives the size of `file` in bytes, having made sure that it is a readable regular file that begins and ends as
/// the exchange structure of STEP does. Throws StepError otherwise; where the end is missing, with the last line.
/// The file is read at most once, in pieces.
std::uint64_t CheckStepFile(const std::filesystem::path& file);

/// The file's name as an error text shows it: on one line, whatever it holds.
std::string ShownName(const std::filesystem::path& file);

}  // namespace host
