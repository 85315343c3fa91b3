#pragma once

#include <memory>
#include <utility>
#include <vector>

#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/IProductGeometryObjects3D.h>

#include "bench/contenders/Contender.h"

namespace bench {

/// The library's store through its virtual table, as an application calls it. Keeps every rule.
class Library {
 public:
  static constexpr std::string_view c_name = "library";
  static constexpr bool c_keepsOrder = true;
  static constexpr bool c_scansLinksOfOne = false;

  void Begin() {}
  void Commit() {}

  template <LinkSet set>
  void AddLink(const Key& key, const Geometry& geometry) {
    store->AddLink(key, geometry, set);
  }

  template <LinkSet set>
  bool HasLink(const Key& key, const Geometry& geometry) const {
    return store->HasLink(key, geometry, set);
  }

  template <LinkSet set>
  const Key& GetMetaObjectKey(const Geometry& geometry) const {
    return store->GetMetaObjectKey(geometry, set);
  }

  std::vector<Key> GetMetaObjectKeys(const Geometry& geometry) const { return store->GetMetaObjectKeys(geometry); }

  template <LinkSet set>
  std::vector<Geometry> GetGeometryObjects(const Key& key) const {
    return store->GetGeometryObjects(key, set);
  }

  template <LinkSet set>
  void RemoveLink(const Geometry& geometry, const Key& key) {
    store->RemoveLink(geometry, key, set);
  }

  void SetLinkValidater(Validator validator) { store->SetLinkValidater(std::move(validator)); }

  template <LinkSet set>
  void ReplaceMetaObjectKey(const Key& from, const Key& to) {
    store->ReplaceMetaObjectKey(from, to, set);
  }

  void ReplaceGeometryObject(const Geometry& from, const Geometry& to) { store->ReplaceGeometryObject(from, to); }

  void ReplaceComponentPath(const MbPath& from, const MbPath& to) { store->ReplaceComponentPath(from, to); }

  RenamedKeys RegenerateMetaObjectKeys() { return store->RegenerateMetaObjectKeys(); }

  template <LinkSet set, class Visitor>
  void ForEachLink(Visitor visitor) const {
    store->ForEachLink(std::ref(visitor), set);
  }

  IProductGeometryObjects3D& Store() { return *store; }

 private:
  std::unique_ptr<IProductGeometryObjects3D> store = CreateProductGeometryObjects3D(AcceptAny);
};

}  // namespace bench
