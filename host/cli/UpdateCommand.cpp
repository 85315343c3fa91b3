#include <filesystem>
#include <memory>
#include <string>

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/cli/Commands.h"
#include "host/cli/Output.h"
#include "host/cli/StepInput.h"
#include "host/step/MergeAssembly.h"
#include "host/storage/DocumentFile.h"

namespace host {

namespace {

struct UpdateArguments {
  std::filesystem::path document;
  StepInput step;
  std::filesystem::path output;
  bool dryRun = false;
};

MergeReport Merge(Document& document, const StepAssembly& assembly, const UpdateArguments& arguments,
                  const ProgressCallback& progress) {
  return WithFileName(arguments.step.file,
                      [&] { return MergeAssembly(document, assembly, arguments.step.file.stem().string(), progress); });
}

void Print(const UpdateArguments& arguments, const StepAssembly& assembly, const MergeReport& report) {
  PrintStepWarnings(arguments.step, assembly);
  for (const std::string& change : report.changes) {
    PrintLine(change);
  }
  PrintLine(fmt::format("kept {}, added {}, moved {}, removed {} occurrences{}", report.kept, report.added,
                        report.moved, report.removed, arguments.dryRun ? " (nothing was written)" : ""));
  FinishOutput();
}

int RunDry(const UpdateArguments& arguments) {
  Progress progress;
  const std::unique_ptr<Document> document = LoadDocument(arguments.document, progress.Callback());
  const StepAssembly assembly = ReadStepInput(arguments.step, progress.Callback());
  const MergeReport report = Merge(*document, assembly, arguments, progress.Callback());
  progress.End();
  Print(arguments, assembly, report);
  return 0;
}

int RunUpdate(const UpdateArguments& arguments) {
  if (arguments.output.empty()) {
    throw HostError("name the document to make with -o, or look first with --dry-run");
  }
  Progress progress;
  RequireOutputPlace(arguments.output);
  DocumentEdit edit(arguments.document, arguments.output, progress.Callback());
  const StepAssembly assembly = ReadStepInput(arguments.step, progress.Callback());
  const MergeReport report = Merge(edit.Get(), assembly, arguments, progress.Callback());
  const auto print = [&] {
    progress.End();
    Print(arguments, assembly, report);
  };
  edit.Save(print, progress.Callback());
  return 0;
}

}  // namespace

void AddUpdateCommand(CLI::App& app, Command& chosen) {
  const auto arguments = std::make_shared<UpdateArguments>();
  CLI::App* verb = app.add_subcommand("update", "Take a revised STEP file into a document; numbers and keys stay");
  verb->add_option("DOC", arguments->document, "The document")->required();
  AddStepInput(*verb, arguments->step);
  verb->add_option("-o,--output", arguments->output, "The document to make; an older one is replaced");
  verb->add_flag("--dry-run", arguments->dryRun, "Tell what would change, and change nothing");
  verb->callback([&chosen, arguments] {
    chosen = [arguments] {
      return WithFileName(arguments->document,
                          [&] { return arguments->dryRun ? RunDry(*arguments) : RunUpdate(*arguments); });
    };
  });
}

}  // namespace host
