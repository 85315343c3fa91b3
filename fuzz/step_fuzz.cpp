// Any file is refused as a STEP file in one line, or becomes a document without faults that a second reading leaves as
// it is. The library that reads the file runs in a program of its own: its death is one of the refusals.

#include <chrono>

#include "fuzz/Fuzz.h"
#include "fuzz/ScratchFile.h"
#include "host/HostError.h"
#include "host/model/Findings.h"
#include "host/step/FoldWrappers.h"
#include "host/step/MergeAssembly.h"
#include "host/step/ReadStepFile.h"

namespace {

host::StepReadOptions Options() {
  host::StepReadOptions options;
  options.helperProgram = QPD_STEP_READER;
  options.inactivityLimit = std::chrono::seconds(10);
  options.memoryLimit = std::uint64_t{1} << 30;
  return options;
}

void Import(const std::filesystem::path& file) {
  host::StepAssembly assembly = host::ReadStepFile(file, Options());
  host::FoldWrappers(assembly);
  host::Document document;
  host::MergeAssembly(document, assembly, "name");
  const host::MergeReport again = host::MergeAssembly(document, assembly, "name");
  Require(again.added == 0 && again.removed == 0 && again.moved == 0, "a second reading changes the document");
  for (const host::Finding& finding : host::FindFaults(document, document.productData.RootEmbodiment())) {
    Require(finding.kind == "no-position", finding.text.c_str());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const ScratchFile file(".step");
  file.Write(data, size);
  try {
    Import(file.Path());
  } catch (const host::StepError& error) {
    Require(std::string_view(error.what()).find('\n') == std::string_view::npos, "an error of several lines");
  } catch (const host::DocumentError&) {
  }
  return 0;
}
