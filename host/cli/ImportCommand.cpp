#include <filesystem>
#include <memory>

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/cli/Commands.h"
#include "host/cli/Output.h"
#include "host/cli/StepInput.h"
#include "host/step/MergeAssembly.h"
#include "host/storage/DocumentFile.h"

namespace host {

namespace {

struct ImportArguments {
  StepInput step;
  std::filesystem::path output;
};

int RunImport(const ImportArguments& arguments) {
  Progress progress;
  RequireOutputPlace(arguments.output);
  const StepAssembly assembly = ReadStepInput(arguments.step, progress.Callback());
  Document document;
  const MergeReport report =
      MergeAssembly(document, assembly, arguments.step.file.stem().string(), progress.Callback());
  const auto print = [&] {
    progress.End();
    PrintStepWarnings(arguments.step, assembly);
    PrintLine(fmt::format("{} occurrences, {} products, {} bodies, {} warnings", report.occurrences, report.products,
                          report.bodies, assembly.warnings.size()));
    FinishOutput();
  };
  SaveDocument(document, arguments.output, print, progress.Callback());
  return 0;
}

}  // namespace

void AddImportCommand(CLI::App& app, Command& chosen) {
  const auto arguments = std::make_shared<ImportArguments>();
  CLI::App* verb = app.add_subcommand("import", "Make a document from a STEP file (AP203, AP214, AP242)");
  AddStepInput(*verb, arguments->step);
  verb->add_option("-o,--output", arguments->output, "The document to make; an older one is replaced")->required();
  verb->callback([&chosen, arguments] {
    chosen = [arguments] { return WithFileName(arguments->step.file, [&] { return RunImport(*arguments); }); };
  });
}

}  // namespace host
