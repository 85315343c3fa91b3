#include <charconv>
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
#include "host/model/TextForms.h"
#include "host/storage/DocumentFile.h"

namespace host {

namespace {

struct PositionArguments {
  std::filesystem::path document;
  std::string object;
  std::string number;
  std::string component;
  std::string embodiment;
  bool swap = false;
};

// Digits alone: nothing that some would read as octal or hexadecimal.
std::int32_t ParsePosition(const std::string& text) {
  std::int32_t number = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || rest != end || number < 1 || number > c_maxPosition) {
    throw DocumentError(
        fmt::format("'{}' is no position number; they run from 1 to {}", BytesText(text), c_maxPosition));
  }
  return number;
}

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
  const MetaObject* object = data.Find(assembly);
  if (object == nullptr) {
    throw DocumentError(
        fmt::format("damaged document: {} is a line of no assembly; use a copy of it or import the "
                    "STEP file again",
                    data.DisplayName(line)));
  }
  return object->embodiment;
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
  const std::int32_t number = ParsePosition(arguments.number);
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
    throw DocumentError(
        fmt::format("{} is stock, which has no position of its own; 'qlinks billet --none' makes it a part",
                    data.DisplayName(line)));
  }
  const std::optional<std::int32_t> old = StoredPosition(data, embodiment, line);
  const std::optional<UniqueMetaObjectKey> holder = HolderOf(data, embodiment, number);
  const bool isSwap = holder && !(*holder == line);
  if (isSwap) {
    if (!arguments.swap) {
      throw DocumentError(
          fmt::format("position {} is that of {}; choose another, or --swap", number, data.DisplayName(*holder)));
    }
    if (!old) {
      throw DocumentError(fmt::format("{} has no position to swap; choose a free number", data.DisplayName(line)));
    }
    SetPosition(data, embodiment, *holder, *old, true);
  }
  SetPosition(data, embodiment, line, number, true);
  edit.Save([&] {
    if (isSwap) {
      PrintLine(fmt::format("{}: {}", data.DisplayName(*holder), *old));
    }
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
  verb->add_option("NUMBER", arguments->number, "The number, from 1 to 999999")->required();
  verb->add_option("--component", arguments->component, "Look for the line in the assembly in this component");
  verb->add_option("--embodiment", arguments->embodiment, "The root in this embodiment, by name, number or key");
  verb->add_flag("--swap", arguments->swap, "Give the line that has the number now the other's");
  verb->callback([&chosen, arguments] {
    chosen = [arguments] { return WithFileName(arguments->document, [&] { return RunPosition(*arguments); }); };
  });
}

}  // namespace host
