#include <qProdData3D/ReadMetaObjectsLinks.h>

#include <set>
#include <vector>

#include <q3DCore/GeometryObject3D.h>
#include <qProdData/IfMetaProductData.h>
#include <qProdData3D/IProductGeometryObjects3D.h>

#include "persistence/LinkStream.h"

namespace {

// The records of the first section that name one geometry object, in byGeometry order, which for equal objects is
// stream order. They stay where they are, in the temporary set.
using LinkGroup = std::vector<const ProductGeometryObject3D*>;

bool IsAddedAsStored(const ProductGeometryObject3D& record) {
  return record.geometry.objectType == GeometryObject3D::c_assemblyComponent;
}

void AddTo(IProductGeometryObjects3D& store, const ProductGeometryObject3D& record, LinkSet set) {
  store.AddLink(record.metaKey, record.geometry, set);
}

// The meta object exists and, where it depends on others, the first of these has its place in the model.
bool Qualifies(const UniqueMetaObjectKey& key, const IfMetaProductData& metaData,
               const IProductGeometryObjects3D& store) {
  if (!metaData.HasMetaObject(key)) {
    return false;
  }
  const std::set<UniqueMetaObjectKey> related = metaData.GetRelatedMetaObjects(key);
  return related.empty() || !store.GetGeometryObjects(*related.begin(), LinkSet::Unique).empty();
}

// The record that stands for the group; null for an empty one. Every record is asked about and the last that
// qualifies wins; callers rely on that, so the walk does not stop at the first.
const ProductGeometryObject3D* ResolveLinkGroup(const LinkGroup& group, const IfMetaProductData* metaData,
                                                const IProductGeometryObjects3D& store) {
  const ProductGeometryObject3D* result = nullptr;
  if (metaData != nullptr) {  // coverage: never false, since today's only caller resolves groups with product data
    for (const ProductGeometryObject3D* record : group) {
      if (Qualifies(record->metaKey, *metaData, store)) {
        result = record;
      }
    }
  }
  // A record that qualified with the empty key counts as none.
  if ((result == nullptr || result->metaKey.IsEmpty()) && !group.empty()) {
    result = group.front();
  }
  return result;
}

void AddResolved(IProductGeometryObjects3D& store, LinkGroup& group, const IfMetaProductData* metaData) {
  const ProductGeometryObject3D* record = ResolveLinkGroup(group, metaData, store);
  if (record != nullptr && !record->metaKey.IsEmpty()) {
    AddTo(store, *record, LinkSet::Unique);
  }
  group.clear();
}

// The unique links, one for each geometry object. Those to components of assemblies come first and as they stand:
// resolving the others asks the store for them.
void AddRepaired(IProductGeometryObjects3D& store, const ValidatedLinks& links, const IfMetaProductData* metaData) {
  const auto& byGeometryObject = links.get<byGeometry>();
  for (const ProductGeometryObject3D& record : byGeometryObject) {
    if (IsAddedAsStored(record)) {
      AddTo(store, record, LinkSet::Unique);
    }
  }
  LinkGroup group;
  for (const ProductGeometryObject3D& record : byGeometryObject) {
    if (IsAddedAsStored(record)) {
      continue;
    }
    // Equality, not equivalence: records that differ in what the order leaves out are resolved apart.
    if (!group.empty() && !(record.geometry == group.front()->geometry)) {
      AddResolved(store, group, metaData);
    }
    group.push_back(&record);
  }
  AddResolved(store, group, metaData);
}

}  // namespace

void ReadMetaObjectsLinks(reader& in, IProductGeometryObjects3D& store, const IfMetaProductData* metaData) {
  ValidatedLinks first;
  ValidatedLinks second;
  ReadLinkSections(in, first, second);
  if (metaData == nullptr) {
    for (const ProductGeometryObject3D& record : first) {
      AddTo(store, record, LinkSet::Unique);
    }
  } else {
    AddRepaired(store, first, metaData);
  }
  for (const ProductGeometryObject3D& record : second) {
    AddTo(store, record, LinkSet::Validated);
  }
}
