#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/cli/Commands.h"
#include "host/cli/DroppedLinks.h"
#include "host/cli/Output.h"
#include "host/model/TextForms.h"
#include "host/storage/DocumentFile.h"

namespace host {

namespace {

struct LinksArguments {
  std::filesystem::path document;
  std::string set;
  std::optional<std::string> key;
  std::optional<std::string> component;
  bool json = false;
};

struct NamedSet {
  const char* name;
  LinkSet set;
};
constexpr NamedSet c_sets[] = {{"unique", LinkSet::Unique}, {"validated", LinkSet::Validated}};

// The links asked for, set by set, in key order.
class Selection {
 public:
  Selection(const Document& opened, const LinksArguments& arguments) : document(opened), set(arguments.set) {
    if (arguments.key) {
      key = UniqueMetaObjectKey(BytesOfText(*arguments.key));
      RequireKey();
    }
    if (arguments.component) {
      path = ParsePath(*arguments.component);
      RequireComponent();
    }
  }

  template <class Visitor>
  void ForEach(Visitor visit) const {
    for (const NamedSet& named : c_sets) {
      if (!set.empty() && set != named.name) {
        continue;
      }
      document.links->ForEachLink(
          [&](const ProductGeometryObject3D& link) {
            if ((!key || link.metaKey == *key) && (!path || link.geometry.componentPath == *path)) {
              visit(named.name, link);
            }
          },
          named.set);
    }
  }

 private:
  void RequireKey() const {
    const bool isLinked = !document.links->GetGeometryObjects(*key, LinkSet::Unique).empty() ||
                          !document.links->GetGeometryObjects(*key, LinkSet::Validated).empty();
    if (!isLinked && !document.productData.HasMetaObject(*key)) {
      throw DocumentError(fmt::format("no meta object has the key '{}'; 'qlinks links' shows the keys", KeyText(*key)));
    }
  }

  // A link may name a component that is gone, which is worth looking at.
  void RequireComponent() const {
    bool isNamed = path->IsEmpty() || document.components.contains(*path);
    for (const NamedSet& named : c_sets) {
      document.links->ForEachLink(
          [&](const ProductGeometryObject3D& link) { isNamed = isNamed || link.geometry.componentPath == *path; },
          named.set);
    }
    if (!isNamed) {
      throw DocumentError(fmt::format("no component {}; 'qlinks links' shows the paths", PathText(*path)));
    }
  }

  const Document& document;
  std::string set;
  std::optional<UniqueMetaObjectKey> key;
  std::optional<ComponentPath> path;
};

void PrintText(const Document& document, const Selection& selection) {
  PrintTable({"SET", "KEY", "TYPE", "COMPONENT", "BODY", "OBJECT"}, [&](const RowVisitor& row) {
    selection.ForEach([&](const char* set, const ProductGeometryObject3D& link) {
      row({set, KeyText(link.metaKey), ObjectTypeText(link.geometry.objectType), PathText(link.geometry.componentPath),
           BytesText(link.geometry.objectName.Bytes()), document.productData.DisplayName(link.metaKey)});
    });
  });
}

void PrintJson(const Selection& selection) {
  JsonList list;
  selection.ForEach([&list](const char* set, const ProductGeometryObject3D& link) {
    list.Add({{"set", set},
              {"key", KeyText(link.metaKey)},
              {"objectType", link.geometry.objectType},
              {"componentPath", PathJson(link.geometry.componentPath)},
              {"secondPath", PathJson(link.geometry.secondPath)},
              {"objectName", BytesText(link.geometry.objectName.Bytes())}});
  });
  list.Finish();
}

int RunLinks(const LinksArguments& arguments) {
  const std::unique_ptr<Document> opened = LoadDocument(arguments.document);
  const Document& document = *opened;
  const Selection selection(document, arguments);
  WarnOfDroppedLinks(arguments.document, document);
  if (arguments.json) {
    PrintJson(selection);
  } else {
    PrintText(document, selection);
  }
  return 0;
}

}  // namespace

void AddLinksCommand(CLI::App& app, Command& chosen) {
  const auto arguments = std::make_shared<LinksArguments>();
  CLI::App* verb = app.add_subcommand("links", "List the links between meta objects and 3D objects");
  verb->add_option("DOC", arguments->document, "The document")->required();
  verb->add_option("--set", arguments->set, "One link set alone: unique or validated")
      ->check(CLI::IsMember({"unique", "validated"}));
  verb->add_option("--key", arguments->key, "The links of one meta object, by its key");
  verb->add_option("--component", arguments->component, "The links of one component, by its path");
  verb->add_flag("--json", arguments->json, "Print JSON");
  verb->callback([&chosen, arguments] {
    chosen = [arguments] { return WithFileName(arguments->document, [&] { return RunLinks(*arguments); }); };
  });
}

}  // namespace host
