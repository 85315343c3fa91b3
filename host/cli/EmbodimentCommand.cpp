#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/cli/Commands.h"
#include "host/cli/Output.h"
#include "host/model/Embodiments.h"
#include "host/model/FindObject.h"
#include "host/model/Positions.h"
#include "host/model/TextForms.h"
#include "host/storage/DocumentFile.h"
#include "vocabulary/PropertyNames.h"

namespace host {

namespace {

struct EmbodimentArguments {
  std::filesystem::path document;
  std::string name;
  std::string number;
  std::vector<std::string> without;
};

// How the list calls the base embodiment, which has no name.
constexpr std::string_view c_baseName = "(base)";

std::string NameOf(const Document& document, const UniqueMetaObjectKey& embodiment) {
  return embodiment == document.productData.RootEmbodiment()
             ? std::string(c_baseName)
             : document.productData.ProductText(embodiment, c_variantName);
}

int RunAdd(const EmbodimentArguments& arguments) {
  if (arguments.name.empty() || arguments.number.empty()) {
    throw DocumentError("an embodiment without a name or a number; give it both, such as short --number 02");
  }
  if (arguments.name == c_baseName) {
    throw DocumentError(fmt::format("'{}' is what lists call the base embodiment; choose another name", c_baseName));
  }
  DocumentEdit edit(arguments.document);
  Document& document = edit.Get();
  std::vector<UniqueMetaObjectKey> without;
  std::transform(arguments.without.begin(), arguments.without.end(), std::back_inserter(without),
                 [&document](const std::string& text) { return FindRootOccurrence(document, text); });
  const UniqueMetaObjectKey embodiment = AddEmbodiment(document, arguments.name, arguments.number, without);
  RebuildPositionLinks(document);
  edit.Save([&] {
    PrintLine(
        fmt::format("{}: {} occurrences", arguments.name, document.productData.FindGroup(embodiment).members.size()));
    FinishOutput();
  });
  return 0;
}

int RunRemove(const EmbodimentArguments& arguments) {
  DocumentEdit edit(arguments.document);
  Document& document = edit.Get();
  const UniqueMetaObjectKey embodiment = FindEmbodiment(document, arguments.name);
  RemoveEmbodiment(document, embodiment);
  RebuildPositionLinks(document);
  edit.Save([&arguments] {
    PrintLine(fmt::format("{}: removed", arguments.name));
    FinishOutput();
  });
  return 0;
}

int RunList(const EmbodimentArguments& arguments) {
  const std::unique_ptr<Document> document = LoadDocument(arguments.document);
  const ProductData& data = document->productData;
  PrintTable({"NAME", "NUMBER", "OCCURRENCES", "KEY"}, [&](const RowVisitor& row) {
    for (const UniqueMetaObjectKey& key : data.EmbodimentsOf(data.RootProduct())) {
      row({NameOf(*document, key), data.ProductText(key, c_markingEmbodimentNumber),
           std::to_string(data.FindGroup(key).members.size()), KeyText(key)});
    }
  });
  return 0;
}

// The document stands before the subcommand, which does not know of it.
class SubcommandFormatter : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App* app, std::string name) const override {
    name.insert(name.size() - app->get_name().size(), "DOC ");
    return Formatter::make_usage(app, std::move(name));
  }
};

}  // namespace

void AddEmbodimentCommand(CLI::App& app, Command& chosen) {
  const auto arguments = std::make_shared<EmbodimentArguments>();
  CLI::App* verb = app.add_subcommand("embodiment", "Add, list or remove variants of the root assembly");
  verb->add_option("DOC", arguments->document, "The document")->required();
  verb->require_subcommand(1);
  const auto choose = [&chosen, arguments](int (*run)(const EmbodimentArguments&)) {
    return [&chosen, arguments, run] {
      chosen = [arguments, run] { return WithFileName(arguments->document, [&] { return run(*arguments); }); };
    };
  };

  CLI::App* add = verb->add_subcommand("add", "Add an embodiment");
  add->add_option("NAME", arguments->name, "Its name")->required();
  add->add_option("--number", arguments->number, "Its number in the marking, such as 02")->required();
  add->add_option("--without", arguments->without,
                  "An occurrence directly below the root that it does not have, by component path, key, marking or "
                  "name; may be repeated");
  add->callback(choose(RunAdd));

  verb->add_subcommand("list", "List the embodiments")->callback(choose(RunList));

  CLI::App* remove = verb->add_subcommand("remove", "Remove an embodiment");
  remove->add_option("NAME", arguments->name, "Its name, number or key")->required();
  remove->callback(choose(RunRemove));

  for (CLI::App* subcommand : verb->get_subcommands({})) {
    subcommand->formatter(std::make_shared<SubcommandFormatter>());
  }
}

}  // namespace host
