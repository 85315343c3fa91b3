#pragma once

#include <functional>

#include <qProdData3D/Export.h>
#include <qProdData3D/IProductGeometryObjects3D.h>

#include "link_store/LinkSets.h"

/// The store behind IProductGeometryObjects3D, which states the contract of every operation. An operation that uses
/// another one calls this class's own implementation, never a derived class's.
class QPRODDATA3D_API ProductGeometryObjects3D : public IProductGeometryObjects3D {
 public:
  /// An empty store without a validator and without a write path.
  ProductGeometryObjects3D();
  /// Releases the validator and the links; the write path on purpose not (SetWriteComponentPath).
  ~ProductGeometryObjects3D() override;

  void SetLinkValidater(LinkValidator validator) override;
  void AddLink(const UniqueMetaObjectKey& key, const GeometryObject3D& geometry, LinkSet set) override;
  void AddLinks(const UniqueMetaObjectKey& key, const std::vector<GeometryObject3D>& list, LinkSet set) override;
  void RemoveGeometryObjectLinks(const GeometryObject3D& geometry, LinkSet set) override;
  void RemoveLink(const GeometryObject3D& geometry, const UniqueMetaObjectKey& key, LinkSet set) override;
  void RemoveMetaObjectLinks(const UniqueMetaObjectKey& key, LinkSet set) override;
  void RemoveMetaObjectsLinks(const std::set<UniqueMetaObjectKey>& keys, LinkSet set) override;
  void ClearLinks() noexcept override;

  bool HasLink(const UniqueMetaObjectKey& key, const GeometryObject3D& geometry, LinkSet set) const override;
  const UniqueMetaObjectKey& GetMetaObjectKey(const GeometryObject3D& geometry, LinkSet set) const override;
  std::vector<UniqueMetaObjectKey> GetMetaObjectKeys(const GeometryObject3D& geometry) const override;
  std::vector<GeometryObject3D> GetGeometryObjects(const UniqueMetaObjectKey& key, LinkSet set) const override;
  GeometryObject3D GetGeometryObject(const UniqueMetaObjectKey& key) const override;
  IfSomething* MetaObjectToSomething(const UniqueMetaObjectKey& key, const IfDocObject& document) const override;
  CompTrObject<IfSomething> MetaObjectToWrapper(const UniqueMetaObjectKey& key, const IfDocObject& document,
                                                IfComponent* component) const override;

  void WriteMetaObjectsLinks(writer& out) const override;
  void SetWriteComponentPath(const MbPath* path) override;

  std::map<UniqueMetaObjectKey, UniqueMetaObjectKey> RegenerateMetaObjectKeys() override;
  void ReplaceGeometryObject(const GeometryObject3D& from, const GeometryObject3D& to) override;
  void ReplaceMetaObjectKey(const UniqueMetaObjectKey& from, const UniqueMetaObjectKey& to, LinkSet set) override;
  void ReplaceComponentPath(const MbPath& from, const MbPath& to) override;

  void ForEachLink(const LinkVisitor& visitor, LinkSet set) const override;
  std::vector<GeometryObject3D> GetValidatedOnlyGeometryObjects(const UniqueMetaObjectKey& key, bool* sharedFound,
                                                                bool* sharedPartFound) const override;

 private:
  // Their order is fixed, and with it the order of destruction: the validator, the validated, then the unique links.
  UniqueLinks uniqueLinks;
  ValidatedLinks validatedLinks;
  LinkValidator linkValidator;
  // Owned but, by contract, released only where SetWriteComponentPath replaces or clears it.
  MbPath* writeComponentPath = nullptr;
};
