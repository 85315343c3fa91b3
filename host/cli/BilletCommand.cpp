#include <filesystem>
#include <memory>
#include <string>

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/cli/Commands.h"
#include "host/cli/Output.h"
#include "host/model/FindObject.h"
#include "host/model/Positions.h"
#include "host/storage/DocumentFile.h"
#include "vocabulary/PropertyNames.h"

namespace host {

namespace {

struct BilletArguments {
  std::filesystem::path document;
  std::string object;
  bool manual = false;
  bool associative = false;
  bool none = false;
};

void Show(const ProductData& data, const UniqueMetaObjectKey& line) {
  switch (data.Find(line)->billet) {
    case BilletKind::none:
      PrintLine(fmt::format("{}: no stock", data.DisplayName(line)));
      return;
    case BilletKind::manual:
      PrintLine(fmt::format("{}: stock, added by hand", data.DisplayName(line)));
      return;
    case BilletKind::associative:
      PrintLine(fmt::format("{}: stock, follows the model", data.DisplayName(line)));
      return;
  }
}

// A line and its occurrences are stock together.
void SetBillet(Document& document, const UniqueMetaObjectKey& line, BilletKind kind) {
  ProductData& data = document.productData;
  data.Find(line)->billet = kind;
  for (const auto& [path, component] : document.components) {
    MetaObject* occurrence = data.Find(component.occurrence);
    if (occurrence != nullptr && occurrence->groupObject == line) {
      occurrence->billet = kind;
      occurrence->type = kind == BilletKind::none ? MetaObjectType::partOccurrence : MetaObjectType::billet;
    }
  }
  if (kind == BilletKind::none) {
    NumberNewLines(document);
    return;
  }
  // Stock has no position of its own; the number is not given again.
  for (const UniqueMetaObjectKey& embodiment : data.EmbodimentsOf(data.Find(line)->holder)) {
    data.SetGroupValue(embodiment, line, c_position, SimplePropVal());
    data.SetGroupValue(embodiment, line, c_manual, SimplePropVal());
  }
}

int RunBillet(const BilletArguments& arguments) {
  if (!arguments.manual && !arguments.associative && !arguments.none) {
    const std::unique_ptr<Document> document = LoadDocument(arguments.document);
    Show(document->productData, FindLine(*document, arguments.object, std::nullopt));
    return 0;
  }
  DocumentEdit edit(arguments.document);
  Document& document = edit.Get();
  const UniqueMetaObjectKey line = FindLine(document, arguments.object, std::nullopt);
  const MetaObject* product = document.productData.Find(document.productData.Find(line)->product);
  if (product == nullptr || product->type != MetaObjectType::partProduct) {
    throw DocumentError(
        fmt::format("{} is an assembly; stock is what a part is made from", document.productData.DisplayName(line)));
  }
  SetBillet(document, line,
            arguments.manual        ? BilletKind::manual
            : arguments.associative ? BilletKind::associative
                                    : BilletKind::none);
  RebuildPositionLinks(document);
  edit.Save([&] {
    Show(document.productData, line);
    FinishOutput();
  });
  return 0;
}

}  // namespace

void AddBilletCommand(CLI::App& app, Command& chosen) {
  const auto arguments = std::make_shared<BilletArguments>();
  CLI::App* verb = app.add_subcommand("billet", "Show or set whether a line is stock, which has no position");
  verb->add_option("DOC", arguments->document, "The document")->required();
  verb->add_option("OBJECT", arguments->object, "The line, by the marking or name of its product, or by its key")
      ->required();
  auto* kinds = verb->add_option_group("kind", "What it becomes; shown where none is given");
  kinds->add_flag("--manual", arguments->manual, "Stock that was added by hand");
  kinds->add_flag("--associative", arguments->associative, "Stock that follows the model of the part");
  kinds->add_flag("--none", arguments->none, "A part again, with the next free number");
  kinds->require_option(0, 1);
  verb->callback([&chosen, arguments] {
    chosen = [arguments] { return WithFileName(arguments->document, [&] { return RunBillet(*arguments); }); };
  });
}

}  // namespace host
