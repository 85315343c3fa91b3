#include <filesystem>
#include <map>
#include <memory>

#include <fmt/format.h>

#include "host/cli/Commands.h"
#include "host/cli/DroppedLinks.h"
#include "host/cli/Output.h"
#include "host/model/TextForms.h"
#include "host/storage/DocumentFile.h"
#include "host/storage/LinksSection.h"

namespace host {

namespace {

struct InfoArguments {
  std::filesystem::path document;
  bool json = false;
};

struct TypeCount {
  const char* label;
  MetaObjectType type;
};
constexpr TypeCount c_types[] = {
    {"part products", MetaObjectType::partProduct},
    {"assembly products", MetaObjectType::assemblyProduct},
    {"embodiments", MetaObjectType::embodiment},
    {"part occurrences", MetaObjectType::partOccurrence},
    {"assembly occurrences", MetaObjectType::assemblyOccurrence},
    {"billets", MetaObjectType::billet},
    {"group objects", MetaObjectType::groupObject},
};

void PrintText(const Document& document, std::uint64_t unique, std::uint64_t validated) {
  const ProductData& data = document.productData;
  std::map<MetaObjectType, std::size_t> byType;
  std::size_t properties = 0;
  for (const auto& [key, object] : data.All()) {
    ++byType[object.type];
    properties += object.properties.size();
  }
  std::size_t members = 0;
  for (const auto& [embodiment, group] : data.AllGroups()) {
    members += group.members.size();
  }
  PrintTable({"root", data.DisplayName(data.RootProduct())}, [&](const RowVisitor& row) {
    row({"application version", VersionText(document.linksVersions.appVersion)});
    row({"math version", VersionText(document.linksVersions.mathVersion)});
    row({"meta objects", std::to_string(data.All().size())});
    for (const TypeCount& type : c_types) {
      row({fmt::format("  {}", type.label), std::to_string(byType[type.type])});
    }
    row({"properties", std::to_string(properties)});
    row({"groups", std::to_string(data.AllGroups().size())});
    row({"  members", std::to_string(members)});
    row({"components", std::to_string(document.components.size())});
    row({"bodies", std::to_string(document.BodyCount())});
    row({"unique links", std::to_string(unique)});
    row({"validated links", std::to_string(validated)});
    for (const auto& [name, stream] : document.otherStreams) {
      row({fmt::format("stream '{}'", BytesText(name)), fmt::format("{} bytes", stream.bytes.size())});
    }
  });
}

int RunInfo(const InfoArguments& arguments) {
  const std::unique_ptr<Document> opened = LoadDocument(arguments.document);
  const Document& document = *opened;
  const std::uint64_t unique = CountLinks(*document.links, LinkSet::Unique);
  const std::uint64_t validated = CountLinks(*document.links, LinkSet::Validated);
  WarnOfDroppedLinks(arguments.document, document);
  if (!arguments.json) {
    PrintText(document, unique, validated);
    return 0;
  }
  const nlohmann::ordered_json info = {
      {"appVersion", document.linksVersions.appVersion},
      {"mathVersion", document.linksVersions.mathVersion},
      {"metaObjects", document.productData.All().size()},
      {"components", document.components.size()},
      {"bodies", document.BodyCount()},
      {"links", {{"unique", unique}, {"validated", validated}}},
  };
  PrintJson(info);
  return 0;
}

}  // namespace

void AddInfoCommand(CLI::App& app, Command& chosen) {
  const auto arguments = std::make_shared<InfoArguments>();
  CLI::App* verb = app.add_subcommand("info", "Show the versions of a document and how much it holds");
  verb->add_option("DOC", arguments->document, "The document")->required();
  verb->add_flag("--json", arguments->json, "Print JSON");
  verb->callback([&chosen, arguments] { chosen = [arguments] { return RunInfo(*arguments); }; });
}

}  // namespace host
