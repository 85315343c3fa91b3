#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include <qProdData/PositionValue.h>

#include "host/ProgressCallback.h"
#include "host/model/Aggregator.h"
#include "host/model/ModelDocument.h"

namespace host {

/// A body by its place.
struct BodyPlace {
  ComponentPath component;
  MbName name;
};

/// One line of a bill of materials.
struct BillLine {
  UniqueMetaObjectKey groupObject;
  /// What meta_3d::GetGroupObjPositionValue answers; empty for stock.
  SimplePropVal position;
  std::string marking;
  std::string name;
  /// How many of it one assembly has; where its uses differ, the first one that has any.
  std::size_t count = 0;
  /// The bodies of all its occurrences, wherever the assembly is used, in the order of the tree.
  std::vector<BodyPlace> bodies;
  /// Those of the bodies for which meta_3d::GetPositionValues answers something else than `position`.
  std::vector<BodyPlace> disagreeing;
};

/// The bill of one assembly.
struct Bill {
  UniqueMetaObjectKey assembly;
  UniqueMetaObjectKey embodiment;
  /// Levels below the root, where the assembly occurs first.
  std::size_t depth = 0;
  /// By position, then in the order of first occurrence; lines without one come last.
  std::vector<BillLine> lines;
};

/// An occurrence in its place.
struct HeldOccurrence {
  const ComponentPath* path;
  const UniqueMetaObjectKey* key;
  const MetaObject* object;
};

/// Calls the visitor with a HeldOccurrence, which borrows from the document, for every occurrence, in the order of the
/// tree, that the root in this embodiment really has: a component that the embodiment does not hold takes along all
/// below it. O(n log n).
template <class Visitor>
void ForEachOccurrence(const Document& document, const UniqueMetaObjectKey& rootEmbodiment, Visitor visit) {
  const auto& members = document.productData.FindGroup(rootEmbodiment).members;
  bool isRootElementHeld = false;
  for (const auto& [path, component] : document.components) {
    if (path.Count() == 1) {
      isRootElementHeld = members.contains(component.occurrence);
    }
    const MetaObject* object = document.productData.Find(component.occurrence);
    if (isRootElementHeld && object != nullptr) {
      visit(HeldOccurrence{&path, &component.occurrence, object});
    }
  }
}

/// True unless somebody has taken the object out of the bill.
bool CountsInBill(const MetaObject& object);

/// The positions of one body, as meta_3d::GetPositionValues answers.
std::set<meta_data::positions::PositionValue> PositionsOfBody(const Aggregator& aggregator, const Document& document,
                                                              const ModelDocument& model, const GeometryObject3D& body);

/// The bills of the root in this embodiment and of every assembly in it, each assembly once, in the order of the tree.
/// Occurrences that the embodiment does not hold, and what is taken out of the bill, are left out. O(n log n).
/// `progress` is told of "counting".
std::vector<Bill> MakeBills(const Document& document, const UniqueMetaObjectKey& rootEmbodiment,
                            const ProgressCallback& progress = {});

/// One bill of all parts in the whole product, however deep, without positions; by marking, then by name.
/// `progress` as for MakeBills.
Bill MakeFlatBill(const Document& document, const UniqueMetaObjectKey& rootEmbodiment,
                  const ProgressCallback& progress = {});

}  // namespace host
