#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/cli/Commands.h"
#include "host/cli/Output.h"
#include "host/model/FindObject.h"
#include "host/model/Positions.h"
#include "host/storage/DocumentFile.h"

namespace host {

namespace {

struct PositionArguments {
  std::filesystem::path document;
  std::string object;
  std::int64_t number = 0;
  std::string component;
  std::string embodiment;
  bool swap = false;
};

// The assembly that --component names; none without it.
std::optional<UniqueMetaObjectKey> AssemblyAskedFor(const Document& document, const std::string& path) {
  if (path.empty()) {
    return std::nullopt;
  }
  const Component* component = FindComponent(document, path);
  const MetaObject* occurrence = component == nullptr ? nullptr : document.productData.Find(component->occurrence);
  return occurrence == nullptr ? document.productData.RootProduct() : occurrence->product;
}

// The embodiment in which the line is numbered: one of the root for its lines, else the assembly's own.
UniqueMetaObjectKey EmbodimentOf(const Document& document, const UniqueMetaObjectKey& line,
                                 const std::string& embodiment) {
  const ProductData& data = document.productData;
  const UniqueMetaObjectKey& assembly = data.Find(line)->holder;
  if (assembly == data.RootProduct()) {
    return FindEmbodiment(document, embodiment);
  }
  if (!embodiment.empty()) {
    throw DocumentError(fmt::format("{} is a line of {}; embodiments are those of the root, leave out --embodiment",
                                data.DisplayName(line), data.DisplayName(assembly)));
  }
  return data.Find(assembly)->embodiment;
}

std::optional<UniqueMetaObjectKey> HolderOf(const ProductData& data, const UniqueMetaObjectKey& embodiment,
                                            std::int32_t number) {
  for (const auto& [line, count] : data.FindGroup(embodiment).lines) {
    if (StoredPosition(data, embodiment, line) == number) {
      return line;
    }
  }
  return std::nullopt;
}

int RunPosition(const PositionArguments& arguments) {
  if (arguments.number < 1 || arguments.number > c_maxPosition) {
    throw DocumentError(fmt::format("{} is no position number; they run from 1 to {}", arguments.number, c_maxPosition));
  }
  const auto number = static_cast<std::int32_t>(arguments.number);
  DocumentEdit edit(arguments.document);
  Document& document = edit.Get();
  ProductData& data = document.productData;
  const UniqueMetaObjectKey line =
      FindLine(document, arguments.object, AssemblyAskedFor(document, arguments.component));
  const UniqueMetaObjectKey embodiment = EmbodimentOf(document, line, arguments.embodiment);
  if (!data.FindGroup(embodiment).lines.contains(line)) {
    throw DocumentError(fmt::format("{} does not occur in this embodiment; 'qlinks positions' shows its lines",
                                data.DisplayName(line)));
  }
  if (data.Find(line)->billet != BilletKind::none) {
    throw DocumentError(fmt::format("{} is stock, which has no position of its own; 'qlinks billet --none' makes it a part",
                                data.DisplayName(line)));
  }
  const std::optional<std::int32_t> old = StoredPosition(data, embodiment, line);
  const std::optional<UniqueMetaObjectKey> holder = HolderOf(data, embodiment, number);
  if (holder && !(*holder == line)) {
    if (!arguments.swap) {
      throw DocumentError(fmt::format("position {} is that of {}; choose another, or --swap", number,
                                  data.DisplayName(*holder)));
    }
    if (!old) {
      throw DocumentError(fmt::format("{} has no position to swap; choose a free number", data.DisplayName(line)));
    }
    SetPosition(data, embodiment, *holder, *old, true);
    PrintLine(fmt::format("{}: {}", data.DisplayName(*holder), *old));
  }
  SetPosition(data, embodiment, line, number, true);
  edit.Save([&] {
    PrintLine(fmt::format("{}: {}", data.DisplayName(line), number));
    FinishOutput();
  });
  return 0;
}

}  // namespace

void AddPositionCommand(CLI::App& app, Command& chosen) {
  const auto arguments = std::make_shared<PositionArguments>();
  CLI::App* verb = app.add_subcommand("position", "Set the position number of a line by hand");
  verb->add_option("DOC", arguments->document, "The document")->required();
  verb->add_option("OBJECT", arguments->object, "The line, by the marking or name of its product, or by its key")
      ->required();
  verb->add_option("NUMBER", arguments->number, "The number")->required();
  verb->add_option("--component", arguments->component, "Look for the line in the assembly in this component");
  verb->add_option("--embodiment", arguments->embodiment, "The root in this embodiment, by name, number or key");
  verb->add_flag("--swap", arguments->swap, "Give the line that has the number now the other's");
  verb->callback([&chosen, arguments] {
    chosen = [arguments] { return WithFileName(arguments->document, [&] { return RunPosition(*arguments); }); };
  });
}

}  // namespace host
