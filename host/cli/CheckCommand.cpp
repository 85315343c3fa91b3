#include <algorithm>
#include <filesystem>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/cli/Commands.h"
#include "host/cli/Output.h"
#include "host/model/FindObject.h"
#include "host/model/Findings.h"
#include "host/storage/DocumentFile.h"

namespace host {

namespace {

struct CheckArguments {
  std::filesystem::path document;
  std::string embodiment;
  bool repair = false;
  bool json = false;
};

void Print(const std::vector<Finding>& findings, bool json) {
  if (json) {
    JsonList list;
    for (const Finding& finding : findings) {
      list.Add({{"kind", finding.kind}, {"object", finding.object}, {"body", finding.body}, {"text", finding.text}});
    }
    list.Finish();
    return;
  }
  if (findings.empty()) {
    PrintLine("nothing found");
    return;
  }
  PrintTable({"KIND", "OBJECT", "BODY", "TEXT"}, [&findings](const RowVisitor& row) {
    for (const Finding& finding : findings) {
      row({finding.kind, finding.object, finding.body, finding.text});
    }
  });
}

int RunCheck(const CheckArguments& arguments) {
  Progress progress;
  const std::unique_ptr<Document> document = LoadDocument(arguments.document, progress.Callback());
  const std::vector<Finding> findings =
      FindFaults(*document, FindEmbodiment(*document, arguments.embodiment), progress.Callback());
  progress.End();
  Print(findings, arguments.json);
  return findings.empty() ? 0 : 1;
}

// How many of the findings are no longer there. What a repair leaves may be more than there was.
std::size_t CountRepaired(const std::vector<Finding>& before, const std::vector<Finding>& after) {
  const auto parts = [](const Finding& finding) {
    return std::tie(finding.kind, finding.object, finding.body, finding.text);
  };
  std::set<decltype(parts(before.front()))> left;
  std::transform(after.begin(), after.end(), std::inserter(left, left.end()), parts);
  const auto isRepaired = [&](const Finding& finding) { return !left.contains(parts(finding)); };
  return static_cast<std::size_t>(std::count_if(before.begin(), before.end(), isRepaired));
}

// Prints how much was found, and what is left.
int RunRepair(const CheckArguments& arguments) {
  Progress progress;
  DocumentEdit edit(arguments.document, progress.Callback());
  Document& document = edit.Get();
  const UniqueMetaObjectKey base = document.productData.RootEmbodiment();
  const std::vector<Finding> before = FindFaults(document, base, progress.Callback());
  RepairLinks(document, progress.Callback());
  const std::vector<Finding> after = FindFaults(document, base, progress.Callback());
  const auto print = [&] {
    progress.End();
    if (!arguments.json) {
      PrintLine(
          fmt::format("{} found, {} repaired, {} left", before.size(), CountRepaired(before, after), after.size()));
    }
    if (arguments.json || !after.empty()) {
      Print(after, arguments.json);
    }
    FinishOutput();
  };
  edit.Save(print, progress.Callback());
  return after.empty() ? 0 : 1;
}

}  // namespace

void AddCheckCommand(CLI::App& app, Command& chosen) {
  const auto arguments = std::make_shared<CheckArguments>();
  CLI::App* verb =
      app.add_subcommand("check", "Look for invalid links, double positions and bodies without a position");
  verb->add_option("DOC", arguments->document, "The document")->required();
  CLI::Option* embodiment =
      verb->add_option("--embodiment", arguments->embodiment, "The root in this embodiment, by name, number or key");
  verb->add_flag("--repair", arguments->repair,
                 "Remove the links that are not valid in the base embodiment and rebuild the position links")
      ->excludes(embodiment);
  verb->add_flag("--json", arguments->json, "Print JSON");
  verb->callback([&chosen, arguments] {
    chosen = [arguments] {
      return WithFileName(arguments->document,
                          [&] { return arguments->repair ? RunRepair(*arguments) : RunCheck(*arguments); });
    };
  });
}

}  // namespace host
