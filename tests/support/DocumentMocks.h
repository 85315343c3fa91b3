#pragma once

#include <memory>
#include <set>
#include <string>

#include <gmock/gmock.h>

#include <q3DCore/IfComponent.h>
#include <q3DCore/IfGeometrySource.h>
#include <q3DCore/IfPositionObject.h>
#include <q3DCore/PartObject.h>
#include <qDocument/IfDocObject.h>

#include "tests/support/PlatformPrinting.h"

/// Mocks of the document side. An object that is asked for an interface answers with what the test gives, cast to
/// the interface's own type first.

class MockObject : public IfSomething {
 public:
  MOCK_METHOD(void*, QueryInterface, (unsigned int), (const, override));
};

class MockComponent : public IfComponent {
 public:
  MOCK_METHOD(void*, QueryInterface, (unsigned int), (const, override));
  MOCK_METHOD(const MbPath&, GetPath, (), (const, override));
  MOCK_METHOD(UniqueMetaObjectKey, GetGroupKey, (), (const, override));
  MOCK_METHOD(const PartRebuildResult*, GetRebuildResult, (), (const, override));
  MOCK_METHOD(void, FindEmbodimentPath, (MbPath&), (const, override));
};

class MockSource : public IfGeometrySource {
 public:
  MOCK_METHOD(std::uint32_t, GetObjectType, (), (const, override));
  MOCK_METHOD(const MbPath&, GetSecondPath, (), (const, override));
  MOCK_METHOD(const MbName&, GetObjectName, (), (const, override));
};

class MockIterator : public IfObjectIterator {
 public:
  MOCK_METHOD(void, Die, ());
  MOCK_METHOD(IfDocObject*, Next, (), (override));
  ~MockIterator() override { Die(); }
};

class MockDocument : public IfDocObject {
 public:
  using Wrapper = CompTrObject<IfSomething>;

  MOCK_METHOD(std::unique_ptr<IfObjectIterator>, CreateObjectIterator, (IfDocObject*, std::uint64_t), (override));
  MOCK_METHOD(IfSomething&, GetComponentHolder, (), (override));
  MOCK_METHOD(IfSomething*, FindObject, (const GeometryObject3D&), (const, override));
  MOCK_METHOD(Wrapper, FindWrapper, (const GeometryObject3D&, IfComponent*), (const, override));
};

class MockPartObject : public PartObject {
 public:
  MOCK_METHOD(void*, QueryInterface, (unsigned int), (const, override));
  MOCK_METHOD(bool, IsOfKind, (BitFlags<COGroups>), (const, override));
};

class MockRebuildResult : public PartRebuildResult {
 public:
  MOCK_METHOD(const BuildObjects&, GetBuildObjects, (), (const, override));
};

class MockPositionObject : public IfPositionObject {
 public:
  using Keys = std::set<UniqueMetaObjectKey>;

  MOCK_METHOD(void*, QueryInterface, (unsigned int), (const, override));
  MOCK_METHOD(Keys, CollectPositionKeys, (const IfMetaProductData&, IProductGeometryObjects3D&), (override));
};
