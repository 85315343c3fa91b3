// Any file is refused as a STEP file in one line, or becomes a document without faults that a second reading leaves as
// it is. The library that reads the file runs in a program of its own: its death is one of the refusals.

#include <chrono>
#include <exception>
#include <filesystem>
#include <string_view>

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

host::StepAssembly Read(const std::filesystem::path& file) {
  host::StepAssembly assembly = host::ReadStepFile(file, Options());
  host::FoldWrappers(assembly);
  return assembly;
}

void Import(const std::filesystem::path& file) {
  host::Document document;
  host::MergeAssembly(document, Read(file), "name");
  const host::MergeReport again = host::MergeAssembly(document, Read(file), "name");
  Require(again.added == 0 && again.removed == 0 && again.moved == 0, "a second reading changes the document");
  for (const host::Finding& finding : host::FindFaults(document, document.productData.RootEmbodiment())) {
    Require(finding.kind == "no-position", finding.text.c_str());
  }
}

void RequireOneLine(const std::exception& error) {
  Require(std::string_view(error.what()).find('\n') == std::string_view::npos, "an error of several lines");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const ScratchFile file(".step");
  file.Write(data, size);
  try {
    Import(file.Path());
  } catch (const host::StepError& error) {
    RequireOneLine(error);
    Require(std::string_view(error.what()).starts_with(file.Path().string()), "an error without the file's name");
  } catch (const host::DocumentError& error) {
    RequireOneLine(error);
  }
  return 0;
}
