#include "host/model/Findings.h"

#include <array>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include <fmt/format.h>

#include <qProdData3D/CheckValidProductGeometryLink.h>

#include "host/model/Bill.h"
#include "host/model/Positions.h"
#include "host/model/TextForms.h"
#include "vocabulary/PropertyNames.h"

namespace host {

namespace {

std::string GeometryText(const GeometryObject3D& geometry) {
  const std::string place = fmt::format("{} {}", ObjectTypeText(geometry.objectType), PathText(geometry.componentPath));
  return geometry.objectName.IsEmpty() ? place : fmt::format("{} {}", place, BytesText(geometry.objectName.Bytes()));
}

// In the order in which findings are told.
enum class Kind { goneObject, goneBody, invalidLink, doublePosition, noPosition };
constexpr std::array c_kindNames{"gone-object", "gone-body", "invalid-link", "double-position", "no-position"};

class Search {
 public:
  Search(const Document& model, const UniqueMetaObjectKey& rootEmbodiment)
      : document(model),
        data(model.productData),
        aggregator({&data}),
        embodiments(model, rootEmbodiment),
        tree(embodiments.Tree()),
        view(model, rootEmbodiment),
        root(rootEmbodiment) {}

  std::vector<Finding> Run(const ProgressCallback& progress) {
    // Links: one to a component, unique, and two to a body, validated; a damaged document may have others.
    checking = ProgressStage(progress, "checking",
                             (1 + c_linksPerOccurrence) * document.components.size() + 2 * document.BodyCount());
    for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
      document.links->ForEachLink([this, set](const ProductGeometryObject3D& link) { CheckLink(link, set); }, set);
    }
    CheckNumbers();
    CheckBodies();
    std::vector<Finding> all;
    for (auto& [kind, ofKind] : findings) {
      std::move(ofKind.begin(), ofKind.end(), std::back_inserter(all));
    }
    return all;
  }

 private:
  // To look at the bodies of an occurrence takes as long as so many links.
  static constexpr std::size_t c_linksPerOccurrence = 4;

  void Add(Kind kind, std::string object, std::string body, std::string text) {
    findings[kind].push_back(
        {c_kindNames[static_cast<std::size_t>(kind)], std::move(object), std::move(body), std::move(text)});
  }

  void CheckLink(const ProductGeometryObject3D& link, LinkSet set) {
    checking.Advance();
    if (!data.HasMetaObject(link.metaKey)) {
      AddLink(Kind::goneObject, link, set, "of a meta object that is gone");
    } else if (link.geometry.ToSomething(view) == nullptr) {
      AddLink(Kind::goneBody, link, set, "to a 3D object that is gone");
    } else if (!CheckValidProductGeometryLink(link, aggregator, tree)) {
      AddLink(Kind::invalidLink, link, set, "that is not valid in this embodiment");
    }
  }

  void AddLink(Kind kind, const ProductGeometryObject3D& link, LinkSet set, const char* what) {
    Add(kind, data.DisplayName(link.metaKey), GeometryText(link.geometry),
        fmt::format("{} link {}", set == LinkSet::Unique ? "unique" : "validated", what));
  }

  // What the base embodiment and a variant have in common is told of the base.
  void CheckNumbers() {
    for (const bool ofBases : {true, false}) {
      for (const auto& [embodiment, group] : data.AllGroups()) {
        if (IsBase(embodiment) == ofBases && IsLookedAt(embodiment)) {
          CheckNumbersIn(embodiment, group);
        }
      }
    }
  }

  void CheckNumbersIn(const UniqueMetaObjectKey& embodiment, const ProductData::Group& group) {
    std::map<std::int32_t, UniqueMetaObjectKey> holders;
    for (const auto& [line, count] : group.lines) {
      const auto number = StoredPosition(data, embodiment, line);
      if (!number) {
        continue;
      }
      const auto [holder, isFirst] = holders.emplace(*number, line);
      if (!isFirst && sharedNumbers.emplace(line, *number).second) {
        Add(Kind::doublePosition, data.DisplayName(line), "",
            fmt::format("position {} in {} is also that of {}", *number, AssemblyName(embodiment),
                        data.DisplayName(holder->second)));
      }
    }
  }

  void CheckBodies() {
    ForEachOccurrence(document, root, [this](const HeldOccurrence& occurrence) {
      checking.Advance(c_linksPerOccurrence);
      const auto bodies = document.bodies.find(*occurrence.path);
      if (bodies == document.bodies.end() || !NeedsPosition(*occurrence.object)) {
        return;
      }
      for (const Body& body : bodies->second) {
        const GeometryObject3D geometry = BodyGeometry(*occurrence.path, body);
        if (PositionsOfBody(aggregator, document, view, geometry).empty()) {
          Add(Kind::noPosition, data.DisplayName(*occurrence.key), GeometryText(geometry), "body without a position");
        }
      }
    });
  }

  bool NeedsPosition(const MetaObject& occurrence) const {
    const MetaObject* line = data.Find(occurrence.groupObject);
    return CountsInBill(occurrence) && occurrence.billet == BilletKind::none &&
           (line == nullptr || (CountsInBill(*line) && line->billet == BilletKind::none));
  }

  bool IsBase(const UniqueMetaObjectKey& embodiment) const {
    const MetaObject* variant = data.Find(embodiment);
    const MetaObject* product = variant == nullptr ? nullptr : data.Find(variant->product);
    return product != nullptr && product->embodiment == embodiment;
  }

  // Who looks at one variant of the root asks about that one alone; the base stands for all of them.
  bool IsLookedAt(const UniqueMetaObjectKey& embodiment) const {
    const MetaObject* variant = data.Find(embodiment);
    return variant == nullptr || !(variant->product == data.RootProduct()) || root == data.RootEmbodiment() ||
           embodiment == root;
  }

  std::string AssemblyName(const UniqueMetaObjectKey& embodiment) const {
    const MetaObject* variant = data.Find(embodiment);
    if (variant == nullptr) {
      return data.DisplayName(embodiment);
    }
    return data.DisplayName(variant->product) +
           (IsBase(embodiment) ? std::string() : fmt::format(" ({})", data.ProductText(embodiment, c_variantName)));
  }

  const Document& document;
  const ProductData& data;
  Aggregator aggregator;
  ModelEmbodiments embodiments;
  EmbodimentsTree tree;
  ModelDocument view;
  UniqueMetaObjectKey root;
  // By line; told already.
  std::set<std::pair<UniqueMetaObjectKey, std::int32_t>> sharedNumbers;
  std::map<Kind, std::vector<Finding>> findings;
  ProgressStage checking;
};

// The geometry objects without a 3D object that some link names.
std::set<GeometryObject3D> FindGoneGeometry(const Document& document) {
  const ModelDocument view(document, document.productData.RootEmbodiment());
  std::set<GeometryObject3D> gone;
  for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
    document.links->ForEachLink(
        [&](const ProductGeometryObject3D& link) {
          if (link.geometry.ToSomething(view) == nullptr) {
            gone.insert(link.geometry);
          }
        },
        set);
  }
  return gone;
}

// The store validates the other set only.
void RemoveInvalidUniqueLinks(Document& document) {
  const Aggregator aggregator({&document.productData});
  const ModelEmbodiments embodiments(document, document.productData.RootEmbodiment());
  const EmbodimentsTree tree = embodiments.Tree();
  std::vector<ProductGeometryObject3D> invalid;
  document.links->ForEachLink(
      [&](const ProductGeometryObject3D& link) {
        if (!CheckValidProductGeometryLink(link, aggregator, tree)) {
          invalid.push_back(link);
        }
      },
      LinkSet::Unique);
  for (const ProductGeometryObject3D& link : invalid) {
    document.links->RemoveLink(link.geometry, link.metaKey, LinkSet::Unique);
  }
}

}  // namespace

std::vector<Finding> FindFaults(const Document& document, const UniqueMetaObjectKey& rootEmbodiment,
                                const ProgressCallback& progress) {
  return Search(document, rootEmbodiment).Run(progress);
}

void RepairLinks(Document& document, const ProgressCallback& progress) {
  // The steps in parts of the time that they take.
  ProgressStage repairing(progress, "repairing", 10);
  for (const GeometryObject3D& geometry : FindGoneGeometry(document)) {
    document.links->RemoveGeometryObjectLinks(geometry, LinkSet::Both);
  }
  repairing.Advance(2);
  RebuildPositionLinks(document);
  repairing.Advance(6);
  // A link of a meta object that is gone is not valid either.
  PurgeInvalidLinks(document);
  repairing.Advance(1);
  RemoveInvalidUniqueLinks(document);
  repairing.Advance(1);
}

}  // namespace host
