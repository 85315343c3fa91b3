#include "host/model/Findings.h"

#include <map>
#include <optional>
#include <set>
#include <utility>

#include <fmt/format.h>

#include <qProdData3D/CheckValidProductGeometryLink.h>

#include "host/model/Bill.h"
#include "host/model/Positions.h"
#include "host/model/TextForms.h"

namespace host {

namespace {

std::string GeometryText(const GeometryObject3D& geometry) {
  const std::string place = fmt::format("{} {}", ObjectTypeText(geometry.objectType), PathText(geometry.componentPath));
  return geometry.objectName.IsEmpty() ? place : fmt::format("{} {}", place, BytesText(geometry.objectName.Bytes()));
}

class Search {
 public:
  Search(const Document& model, const UniqueMetaObjectKey& rootEmbodiment)
      : document(model), data(model.productData), aggregator({&data}), embodiments(model, rootEmbodiment),
        tree(embodiments.Tree()), view(model, rootEmbodiment), root(rootEmbodiment) {}

  std::vector<Finding> Run() {
    for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
      document.links->ForEachLink([this, set](const ProductGeometryObject3D& link) { CheckLink(link, set); }, set);
    }
    CheckNumbers();
    CheckBodies();
    return std::move(findings);
  }

 private:
  void Add(const char* kind, std::string object, std::string body, std::string text) {
    findings.push_back({kind, std::move(object), std::move(body), std::move(text)});
  }

  void CheckLink(const ProductGeometryObject3D& link, LinkSet set) {
    const char* name = set == LinkSet::Unique ? "unique" : "validated";
    const std::string object = data.DisplayName(link.metaKey);
    const std::string body = GeometryText(link.geometry);
    if (!data.HasMetaObject(link.metaKey)) {
      Add("gone-object", object, body, fmt::format("{} link of a meta object that is gone", name));
    } else if (link.geometry.ToSomething(view) == nullptr) {
      Add("gone-body", object, body, fmt::format("{} link to a 3D object that is gone", name));
    } else if (set == LinkSet::Validated && !CheckValidProductGeometryLink(link, aggregator, tree)) {
      Add("invalid-link", object, body, "link that is not valid in this embodiment");
    }
  }

  void CheckNumbers() {
    for (const auto& [embodiment, group] : data.AllGroups()) {
      std::map<std::int32_t, UniqueMetaObjectKey> holders;
      for (const auto& [line, count] : group.lines) {
        const auto number = StoredPosition(data, embodiment, line);
        if (!number) {
          continue;
        }
        const auto [holder, isFirst] = holders.emplace(*number, line);
        if (!isFirst) {
          Add("double-position", data.DisplayName(line), "",
              fmt::format("position {} in {} is also that of {}", *number, AssemblyName(embodiment),
                          data.DisplayName(holder->second)));
        }
      }
    }
  }

  void CheckBodies() {
    const auto& members = data.FindGroup(root).members;
    bool isRootElementHeld = false;
    for (const auto& [path, component] : document.components) {
      if (path.Count() == 1) {
        isRootElementHeld = members.contains(component.occurrence);
      }
      const MetaObject* occurrence = data.Find(component.occurrence);
      const auto bodies = document.bodies.find(path);
      if (!isRootElementHeld || occurrence == nullptr || bodies == document.bodies.end() || !NeedsPosition(*occurrence)) {
        continue;
      }
      for (const Body& body : bodies->second) {
        const GeometryObject3D geometry = BodyGeometry(path, body);
        if (PositionsOfBody(aggregator, document, view, geometry).empty()) {
          Add("no-position", data.DisplayName(component.occurrence), GeometryText(geometry), "body without a position");
        }
      }
    }
  }

  bool NeedsPosition(const MetaObject& occurrence) const {
    const MetaObject* line = data.Find(occurrence.groupObject);
    return CountsInBill(occurrence) && occurrence.billet == BilletKind::none &&
           (line == nullptr || (CountsInBill(*line) && line->billet == BilletKind::none));
  }

  std::string AssemblyName(const UniqueMetaObjectKey& embodiment) const {
    const MetaObject* variant = data.Find(embodiment);
    return data.DisplayName(variant == nullptr ? embodiment : variant->product);
  }

  const Document& document;
  const ProductData& data;
  Aggregator aggregator;
  ModelEmbodiments embodiments;
  EmbodimentsTree tree;
  ModelDocument view;
  UniqueMetaObjectKey root;
  std::vector<Finding> findings;
};

// The keys without a meta object and the geometry objects without a 3D object that some link names.
struct GoneEnds {
  std::set<UniqueMetaObjectKey> keys;
  std::set<GeometryObject3D> geometry;
};

GoneEnds FindGoneEnds(const Document& document) {
  const ModelDocument view(document, document.productData.RootEmbodiment());
  GoneEnds gone;
  for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
    document.links->ForEachLink(
        [&](const ProductGeometryObject3D& link) {
          if (!document.productData.HasMetaObject(link.metaKey)) {
            gone.keys.insert(link.metaKey);
          } else if (link.geometry.ToSomething(view) == nullptr) {
            gone.geometry.insert(link.geometry);
          }
        },
        set);
  }
  return gone;
}

}  // namespace

std::vector<Finding> FindFaults(const Document& document, const UniqueMetaObjectKey& rootEmbodiment) {
  return Search(document, rootEmbodiment).Run();
}

void RepairLinks(Document& document) {
  const GoneEnds gone = FindGoneEnds(document);
  document.links->RemoveMetaObjectsLinks(gone.keys, LinkSet::Both);
  for (const GeometryObject3D& geometry : gone.geometry) {
    document.links->RemoveGeometryObjectLinks(geometry, LinkSet::Both);
  }
  RebuildPositionLinks(document);
  PurgeInvalidLinks(document);
}

}  // namespace host
