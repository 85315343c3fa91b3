#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/cli/Commands.h"
#include "host/cli/Output.h"
#include "host/storage/DocumentFile.h"
#include "host/step/FoldWrappers.h"
#include "host/step/ImportAssembly.h"
#include "host/step/ReadStepFile.h"

namespace host {

namespace {

struct ImportArguments {
  std::filesystem::path step;
  std::filesystem::path output;
  std::string codePage;
  bool keepWrappers = false;
};

StepAssembly ReadAssembly(const ImportArguments& arguments) {
  Progress progress;
  StepReadOptions options;
  options.codePage = arguments.codePage;
  options.progress = [&progress](std::string_view stage, double fraction) { progress.Show(stage, fraction); };
  try {
    return ReadStepFile(arguments.step, options);
  } catch (const StepError& error) {
    throw HostError(error.what());
  }
}

int RunImport(const ImportArguments& arguments) {
  StepAssembly assembly = ReadAssembly(arguments);
  if (!arguments.keepWrappers) {
    FoldWrappers(assembly);
  }
  ImportCounts counts;
  const auto document = ImportAssembly(assembly, arguments.step.stem().string(), counts);
  SaveDocument(*document, arguments.output);
  for (const std::string& warning : assembly.warnings) {
    PrintWarning(fmt::format("{}: {}", arguments.step.string(), warning));
  }
  PrintLine(fmt::format("{} occurrences, {} products, {} bodies, {} warnings", counts.occurrences, counts.products,
                        counts.bodies, assembly.warnings.size()));
  return 0;
}

}  // namespace

void AddImportCommand(CLI::App& app, Command& chosen) {
  const auto arguments = std::make_shared<ImportArguments>();
  CLI::App* verb = app.add_subcommand("import", "Make a document from a STEP file (AP203, AP214, AP242)");
  verb->add_option("STEP", arguments->step, "The STEP file")->required();
  verb->add_option("-o,--output", arguments->output, "The document to make; an older one is replaced")->required();
  verb->add_option("--codepage", arguments->codePage,
                   "The code page of names that are neither ASCII nor UTF-8, such as CP1251");
  verb->add_flag("--keep-wrappers", arguments->keepWrappers,
                 "Leave the assemblies that an exporter wraps around the bodies of one part");
  verb->callback([&chosen, arguments] { chosen = [arguments] { return RunImport(*arguments); }; });
}

}  // namespace host
