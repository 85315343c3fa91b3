#include "host/cli/StepInput.h"

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/cli/Output.h"
#include "host/step/FoldWrappers.h"
#include "host/step/ReadStepFile.h"

namespace host {

void AddStepInput(CLI::App& verb, StepInput& input) {
  verb.add_option("STEP", input.file, "The STEP file")->required();
  verb.add_option("--codepage", input.codePage,
                  "The code page of names that are neither ASCII nor UTF-8, such as CP1251");
  verb.add_flag("--keep-wrappers", input.keepWrappers,
                "Leave the assemblies that an exporter wraps around the bodies of one part");
}

StepAssembly ReadStepInput(const StepInput& input, const ProgressCallback& progress) {
  StepReadOptions options;
  options.codePage = input.codePage;
  options.progress = progress;
  try {
    StepAssembly assembly = ReadStepFile(input.file, options);
    if (!input.keepWrappers) {
      FoldWrappers(assembly);
    }
    return assembly;
  } catch (const StepError& error) {
    throw HostError(error.what());
  }
}

void PrintStepWarnings(const StepInput& input, const StepAssembly& assembly) {
  for (const std::string& warning : assembly.warnings) {
    PrintWarning(fmt::format("{}: {}", input.file.string(), warning));
  }
}

}  // namespace host
