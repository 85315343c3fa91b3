#pragma once

#include <filesystem>
#include <string>

#include "host/ProgressCallback.h"
#include "host/cli/Commands.h"
#include "host/step/StepAssembly.h"

namespace host {

/// A STEP file on the command line, and how it is to be read.
struct StepInput {
  std::filesystem::path file;
  std::string codePage;
  bool keepWrappers = false;
};

/// Adds the file and the options to a verb.
void AddStepInput(CLI::App& verb, StepInput& input);

/// Reads the file and folds wrappers unless told otherwise. Throws HostError.
StepAssembly ReadStepInput(const StepInput& input, const ProgressCallback& progress);

/// Prints what the reading had to tell.
void PrintStepWarnings(const StepInput& input, const StepAssembly& assembly);

}  // namespace host
