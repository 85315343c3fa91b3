#pragma once

#include <map>
#include <set>
#include <vector>

#include <gmock/gmock.h>

#include <qProdData/IfMetaProductData.h>
#include <qProdData3D/IProductGeometryObjects3D.h>

#include "tests/support/PlatformPrinting.h"

/// A store that only tells what was asked of it; tests of the reader expect AddLink and GetGeometryObjects.
class MockLinkStore : public IProductGeometryObjects3D {
 public:
  using Key = UniqueMetaObjectKey;
  using Keys = std::set<Key>;
  using Geometry = GeometryObject3D;
  using Geometries = std::vector<GeometryObject3D>;
  using KeyMap = std::map<Key, Key>;
  using Wrapper = CompTrObject<IfSomething>;

  MOCK_METHOD(void, SetLinkValidater, (LinkValidator), (override));
  MOCK_METHOD(void, AddLink, (const Key&, const Geometry&, LinkSet), (override));
  MOCK_METHOD(void, AddLinks, (const Key&, const Geometries&, LinkSet), (override));
  MOCK_METHOD(void, RemoveGeometryObjectLinks, (const Geometry&, LinkSet), (override));
  MOCK_METHOD(void, RemoveLink, (const Geometry&, const Key&, LinkSet), (override));
  MOCK_METHOD(void, RemoveMetaObjectLinks, (const Key&, LinkSet), (override));
  MOCK_METHOD(void, RemoveMetaObjectsLinks, (const Keys&, LinkSet), (override));
  MOCK_METHOD(void, ClearLinks, (), (noexcept, override));
  MOCK_METHOD(bool, HasLink, (const Key&, const Geometry&, LinkSet), (const, override));
  MOCK_METHOD(const Key&, GetMetaObjectKey, (const Geometry&, LinkSet), (const, override));
  MOCK_METHOD(std::vector<Key>, GetMetaObjectKeys, (const Geometry&), (const, override));
  MOCK_METHOD(Geometries, GetGeometryObjects, (const Key&, LinkSet), (const, override));
  MOCK_METHOD(Geometry, GetGeometryObject, (const Key&), (const, override));
  MOCK_METHOD(IfSomething*, MetaObjectToSomething, (const Key&, const IfDocObject&), (const, override));
  MOCK_METHOD(Wrapper, MetaObjectToWrapper, (const Key&, const IfDocObject&, IfComponent*), (const, override));
  MOCK_METHOD(void, WriteMetaObjectsLinks, (writer&), (const, override));
  MOCK_METHOD(void, SetWriteComponentPath, (const MbPath*), (override));
  MOCK_METHOD(KeyMap, RegenerateMetaObjectKeys, (), (override));
  MOCK_METHOD(void, ReplaceGeometryObject, (const Geometry&, const Geometry&), (override));
  MOCK_METHOD(void, ReplaceMetaObjectKey, (const Key&, const Key&, LinkSet), (override));
  MOCK_METHOD(void, ReplaceComponentPath, (const MbPath&, const MbPath&), (override));
  MOCK_METHOD(void, ForEachLink, (const LinkVisitor&, LinkSet), (const, override));
  MOCK_METHOD(Geometries, GetValidatedOnlyGeometryObjects, (const Key&, bool*, bool*), (const, override));
};

class MockMetaProductData : public IfMetaProductData {
 public:
  MOCK_METHOD(bool, HasMetaObject, (const UniqueMetaObjectKey&), (const, override));
  MOCK_METHOD(std::set<UniqueMetaObjectKey>, GetRelatedMetaObjects, (const UniqueMetaObjectKey&), (const, override));
  MOCK_METHOD(PropValueRef, GetPropertyRef, (const UniqueMetaObjectKey&, const std::wstring&), (const, override));
  MOCK_METHOD(bool, IsAssociativeBillet, (const UniqueMetaObjectKey&), (const, override));
};
