// Reads the product structure of a STEP file, AP203, AP214 or AP242, through a helper program.
//
// The helper is a program of its own because the library behind it is large, slow to load, writes to standard
// output and dies on damaged files. Its death is an error of this call, nothing more.

#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>

#include "host/ProgressCallback.h"
#include "host/step/StepAssembly.h"

namespace host {

/// The longest silence of the helper before it is taken for hung and killed. A file of 30 MB with 5,400 instances
/// takes 13 s altogether and speaks all the while; one single body may keep the reader busy for long.
inline constexpr std::chrono::milliseconds c_stepInactivityLimit{120'000};

/// What the helper may take of memory before it is killed: a fixed share and so many bytes for every byte of the
/// file. Real files need 40 MB and 10 to 15 bytes per byte. Looked at ten times a second, so that a helper may be
/// beyond it for a moment.
inline constexpr std::uint64_t c_stepMemoryBase = std::uint64_t{2} << 30;
inline constexpr std::uint64_t c_stepMemoryPerByte = 100;

struct StepReadOptions {
  /// The code page of names written as raw bytes, under one of the names that the error for an unknown one lists.
  /// Empty: UTF-8, as the standard says; bytes that are none are reported as a warning.
  std::string codePage;
  /// Told about once in 0.1 s, of "reading" and "transferring".
  ProgressCallback progress;
  /// The program to start; empty: FindStepReader().
  std::filesystem::path helperProgram;
  std::chrono::milliseconds inactivityLimit = c_stepInactivityLimit;
  /// In bytes; 0: c_stepMemoryBase + c_stepMemoryPerByte * size of the file.
  std::uint64_t memoryLimit = 0;
};

/// Where the helper program is: beside the running program, else in ../libexec/qProdData3D/ as seen from there.
/// Gives the first of the two where neither exists, so that the error names it.
std::filesystem::path FindStepReader();

/// Reads `file`. Throws StepError when there is no usable assembly in it or the helper failed; whatever the
/// progress function throws passes on. In every case the helper has ended when the call returns, and no descriptor
/// stays open. Not silent: whatever the file has that is not in the result stands in its `warnings`.
/// Several threads may read at the same time.
StepAssembly ReadStepFile(const std::filesystem::path& file, const StepReadOptions& options = {});

}  // namespace host
