#include <filesystem>
#include <memory>
#include <string>
#include <variant>

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

struct AttributeArguments {
  std::filesystem::path document;
  std::string object;
  std::string attribute;
  std::string state;
};

void Show(const ProductData& data, const UniqueMetaObjectKey& key) {
  const auto* part = std::get_if<AttributedPart>(&data.Find(key)->part);
  const PartAttributes& attributes = part == nullptr ? GroupPartHandler::c_defaultAttrs : part->attributes;
  const auto text = [](bool flag) { return flag ? "on" : "off"; };
  PrintLine(fmt::format("{}: include {}, exclude {}, bound {}{}", data.DisplayName(key), text(attributes.includeFlag),
                        text(attributes.excludeFlag), text(attributes.embodimentBoundFlag != 0),
                        part == nullptr ? " (nothing set)" : ""));
}

// The object, which a component may name although it is gone.
UniqueMetaObjectKey FindPresent(const Document& document, const std::string& text) {
  UniqueMetaObjectKey key = FindOccurrenceOrLine(document, text);
  if (!document.productData.HasMetaObject(key)) {
    throw DocumentError(
        fmt::format("damaged document: the meta object {} of component {} is gone; use a copy of it or "
                    "import the STEP file again",
                    KeyText(key), text));
  }
  return key;
}

void Set(PartAttributes& attributes, const std::string& attribute, bool state) {
  if (attribute == "include") {
    attributes.includeFlag = state;
  } else if (attribute == "exclude") {
    attributes.excludeFlag = state;
  } else {
    attributes.embodimentBoundFlag = state ? 1 : 0;
  }
}

int RunShow(const AttributeArguments& arguments) {
  const std::unique_ptr<Document> document = LoadDocument(arguments.document);
  Show(document->productData, FindPresent(*document, arguments.object));
  return 0;
}

int RunSet(const AttributeArguments& arguments) {
  DocumentEdit edit(arguments.document);
  Document& document = edit.Get();
  const UniqueMetaObjectKey key = FindPresent(document, arguments.object);
  ProductPart& part = document.productData.Find(key)->part;
  if (!std::holds_alternative<AttributedPart>(part)) {
    // What held for it as long as nothing was set.
    part = AttributedPart{GroupPartHandler::c_defaultAttrs};
  }
  Set(std::get<AttributedPart>(part).attributes, arguments.attribute, arguments.state == "on");
  RebuildPositionLinks(document);
  edit.Save([&] {
    Show(document.productData, key);
    FinishOutput();
  });
  return 0;
}

}  // namespace

void AddAttributeCommand(CLI::App& app, Command& chosen) {
  const auto arguments = std::make_shared<AttributeArguments>();
  CLI::App* verb = app.add_subcommand("attribute", "Show or set what decides on an object's place in the bill");
  verb->add_option("DOC", arguments->document, "The document")->required();
  verb->add_option("OBJECT", arguments->object,
                   "An occurrence, by component path or key, or a line, by marking, name or key")
      ->required();
  CLI::Option* attribute =
      verb->add_option("ATTRIBUTE", arguments->attribute,
                       "include: it has a place in the bill; exclude: it is left out all the same; bound: it is valid "
                       "only in embodiments that contain it. Shows all three where none is given")
          ->check(CLI::IsMember({"include", "exclude", "bound"}));
  CLI::Option* state =
      verb->add_option("STATE", arguments->state, "on or off")->check(CLI::IsMember({"on", "off"}))->needs(attribute);
  attribute->needs(state);
  verb->callback([&chosen, arguments] {
    chosen = [arguments] {
      return WithFileName(arguments->document,
                          [&] { return arguments->attribute.empty() ? RunShow(*arguments) : RunSet(*arguments); });
    };
  });
}

}  // namespace host
