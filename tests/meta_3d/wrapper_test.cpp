#include <memory>
#include <set>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qProdData3D/meta_3d.h>

#include "tests/support/DocumentMocks.h"
#include "tests/support/Links.h"
#include "tests/support/ProductDataMocks.h"
#include "tests/support/StreamMocks.h"

namespace {

using testing::_;
using testing::NiceMock;
using testing::Return;
using testing::ReturnRef;
using testing::StrictMock;

/// The wrappers that geometry objects were made of, and their addresses.
std::vector<CompTrObject<IfSomething>> wrappers;
std::vector<const CompTrObject<IfSomething>*> addresses;

}  // namespace

/// In place of the platform's: keeps the wrapper, of which a geometry object shows a part only.
GeometryObject3D::GeometryObject3D(const CompTrObject<IfSomething>& wrapper) {
  wrappers.push_back(wrapper);
  addresses.push_back(&wrapper);
}

TEST(SetPositionsMetaLinks, MakesGeometryObjectsOfThePositionObjectAndTheComponentInBothPlaces) {
  NiceMock<MockMetaProductData> productData;
  NiceMock<MockLinkStore> store;
  NiceMock<MockDocument> document;
  NiceMock<MockObject> holder;
  NiceMock<MockComponent> component;
  NiceMock<MockRebuildResult> rebuilt;
  NiceMock<MockPartObject> object;
  NiceMock<MockPositionObject> position;
  const auto life = std::make_shared<int>();
  const PartRebuildResult::BuildObjects built = {WeakReference<PartObject>(life, &object)};
  ON_CALL(document, CreateObjectIterator).WillByDefault([](IfDocObject*, std::uint64_t) {
    return std::make_unique<NiceMock<MockIterator>>();
  });
  ON_CALL(document, GetComponentHolder).WillByDefault(ReturnRef(holder));
  ON_CALL(holder, QueryInterface).WillByDefault(Return(static_cast<IfComponent*>(&component)));
  ON_CALL(component, GetRebuildResult).WillByDefault(Return(&rebuilt));
  ON_CALL(rebuilt, GetBuildObjects).WillByDefault(ReturnRef(built));
  ON_CALL(object, IsOfKind).WillByDefault(Return(true));
  ON_CALL(object, QueryInterface).WillByDefault(Return(static_cast<IfPositionObject*>(&position)));
  ON_CALL(position, CollectPositionKeys).WillByDefault(Return(std::set<UniqueMetaObjectKey>{Key("a"), Key("b")}));
  EXPECT_CALL(store, AddLink(_, _, LinkSet::Validated)).Times(2);
  wrappers.clear();
  meta_3d::SetPositionsMetaLinks(document, productData, store);
  ASSERT_EQ(wrappers.size(), 2U);
  for (const CompTrObject<IfSomething>& wrapper : wrappers) {
    EXPECT_EQ(wrapper.object, &position);
    EXPECT_EQ(wrapper.component, &component);
    EXPECT_EQ(wrapper.sourceComponent, &component);
    EXPECT_EQ(wrapper.placement, nullptr);
  }
}

TEST(GetPositionValues, MakesTheGeometryObjectOnceOfTheWholeWrapper) {
  StrictMock<MockAggregator> aggregator;
  StrictMock<MockLinkStore> store;
  EXPECT_CALL(store, GetMetaObjectKeys).WillOnce(Return(Keys()));
  const CompTrObject<IfSomething> wrapper;
  addresses.clear();
  EXPECT_TRUE(meta_3d::GetPositionValues(aggregator, store, wrapper).empty());
  EXPECT_EQ(addresses, (std::vector<const CompTrObject<IfSomething>*>{&wrapper}));
}
