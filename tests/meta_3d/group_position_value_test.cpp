#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qProdData3D/meta_3d.h>

#include "tests/support/Links.h"
#include "tests/support/ProductDataMocks.h"
#include "tests/support/StreamMocks.h"

namespace {

using testing::InSequence;
using testing::Return;
using testing::ReturnRef;
using testing::StrictMock;
using testing::Test;
using testing::Throw;
using UnitId = meta_data::properties::UnitId;

const UniqueMetaObjectKey c_object = Key("object");
const UniqueMetaObjectKey c_group = Key("group");
const std::wstring c_positionName = L"position";
const SimplePropVal c_empty;
const SimplePropVal c_inGroup(7, UnitId::millimetre);
const SimplePropVal c_own(std::wstring(L"12a"), UnitId::degree);

class GroupObjPositionValue : public Test {
 protected:
  StrictMock<MockAggregator> aggregator;
  StrictMock<MockMetaProductData> productData;

  PropValue Ask() { return meta_3d::GetGroupObjPositionValue(aggregator, c_object, c_group); }

  void ExpectNoBillet() {
    EXPECT_CALL(aggregator, Actualize).WillOnce(Return(false));
    EXPECT_CALL(aggregator, IsManualBillet(c_object)).WillOnce(Return(false));
    EXPECT_CALL(aggregator, GetMetaProductData(c_object)).WillOnce(ReturnRef(productData));
    EXPECT_CALL(productData, IsAssociativeBillet(c_object)).WillOnce(Return(false));
  }

  void ExpectGroupValue(const SimplePropVal& value) {
    EXPECT_CALL(aggregator, GetGroupObjPropValue(c_group, c_object, c_positionName)).WillOnce(ReturnRef(value));
  }
};

}  // namespace

TEST_F(GroupObjPositionValue, IsEmptyForAManualBilletAndTheProductDataIsNotAskedFor) {
  const InSequence order;
  EXPECT_CALL(aggregator, Actualize).WillOnce(Return(true));
  EXPECT_CALL(aggregator, IsManualBillet(c_object)).WillOnce(Return(true));
  EXPECT_TRUE(Ask().IsEmpty());
}

TEST_F(GroupObjPositionValue, IsEmptyForAnAssociativeBilletAndNoPropertyIsAskedFor) {
  const InSequence order;
  EXPECT_CALL(aggregator, Actualize).WillOnce(Return(true));
  EXPECT_CALL(aggregator, IsManualBillet(c_object)).WillOnce(Return(false));
  EXPECT_CALL(aggregator, GetMetaProductData(c_object)).WillOnce(ReturnRef(productData));
  EXPECT_CALL(productData, IsAssociativeBillet(c_object)).WillOnce(Return(true));
  EXPECT_TRUE(Ask().IsEmpty());
}

TEST_F(GroupObjPositionValue, IsTheValueInTheGroupWithItsUnitAndTheOwnValueIsNotAskedFor) {
  const InSequence order;
  ExpectNoBillet();
  ExpectGroupValue(c_inGroup);
  const PropValue value = Ask();
  EXPECT_EQ(value.GetSimpleValue(), c_inGroup);
  EXPECT_EQ(value.GetSimpleValue().GetUnit(), UnitId::millimetre);
  EXPECT_TRUE(value.GetPropertyTree().empty());
}

TEST_F(GroupObjPositionValue, IsTheOwnValueWithItsUnitWhereTheValueInTheGroupIsEmpty) {
  const InSequence order;
  ExpectNoBillet();
  ExpectGroupValue(c_empty);
  EXPECT_CALL(aggregator, GetPropValueRef(c_object, c_positionName)).WillOnce(Return(PropValueRef(c_own)));
  const PropValue value = Ask();
  EXPECT_EQ(value.GetSimpleValue(), c_own);
  EXPECT_EQ(value.GetSimpleValue().GetUnit(), UnitId::degree);
}

TEST_F(GroupObjPositionValue, IsTheOwnValueWhereTheGroupHasAUnitWithoutAValue) {
  const SimplePropVal unitAlone(SimplePropVal::Value(), UnitId::kilogram);
  const InSequence order;
  ExpectNoBillet();
  ExpectGroupValue(unitAlone);
  EXPECT_CALL(aggregator, GetPropValueRef(c_object, c_positionName)).WillOnce(Return(PropValueRef(c_own)));
  EXPECT_EQ(Ask().GetSimpleValue(), c_own);
}

TEST_F(GroupObjPositionValue, IsTheOwnPropertyWithAllItsParts) {
  const auto tree = std::make_shared<PropertyTree>(c_own);
  tree->push_back({L"part", PropertyTree(c_inGroup)});
  const InSequence order;
  ExpectNoBillet();
  ExpectGroupValue(c_empty);
  EXPECT_CALL(aggregator, GetPropValueRef(c_object, c_positionName)).WillOnce(Return(PropValueRef(tree)));
  EXPECT_EQ(Ask().GetPropertyTree(), *tree);
}

TEST_F(GroupObjPositionValue, IsEmptyWhereThereIsNoneAtAll) {
  const InSequence order;
  ExpectNoBillet();
  ExpectGroupValue(c_empty);
  EXPECT_CALL(aggregator, GetPropValueRef(c_object, c_positionName)).WillOnce(Return(PropValueRef()));
  EXPECT_TRUE(Ask().IsEmpty());
}

TEST_F(GroupObjPositionValue, TakesEveryKindOfValueForOne) {
  for (const SimplePropVal& value : {SimplePropVal(std::wstring()), SimplePropVal(false), SimplePropVal(0),
                                     SimplePropVal(0.0), SimplePropVal(SimplePropVal::DateTime())}) {
    const InSequence order;
    ExpectNoBillet();
    ExpectGroupValue(value);
    EXPECT_EQ(Ask().GetSimpleValue(), value);
  }
}

TEST_F(GroupObjPositionValue, PassesTheGroupAndTheObjectInThatOrderAlsoWhereTheyAreNullKeys) {
  const std::pair<UniqueMetaObjectKey, UniqueMetaObjectKey> pairs[] = {{c_object, UniqueMetaObjectKey::null},
                                                                       {UniqueMetaObjectKey::null, c_group}};
  for (const auto& [object, group] : pairs) {
    const InSequence order;
    EXPECT_CALL(aggregator, Actualize).WillOnce(Return(false));
    EXPECT_CALL(aggregator, IsManualBillet(object)).WillOnce(Return(false));
    EXPECT_CALL(aggregator, GetMetaProductData(object)).WillOnce(ReturnRef(productData));
    EXPECT_CALL(productData, IsAssociativeBillet(object)).WillOnce(Return(false));
    EXPECT_CALL(aggregator, GetGroupObjPropValue(group, object, c_positionName)).WillOnce(ReturnRef(c_inGroup));
    EXPECT_EQ(meta_3d::GetGroupObjPositionValue(aggregator, object, group).GetSimpleValue(), c_inGroup);
  }
}

TEST_F(GroupObjPositionValue, PassesTheExceptionOfEveryQuestion) {
  const auto gone = Throw(std::runtime_error("gone"));
  EXPECT_CALL(aggregator, Actualize).WillOnce(gone);
  EXPECT_THROW(Ask(), std::runtime_error);

  EXPECT_CALL(aggregator, Actualize).WillOnce(Return(true));
  EXPECT_CALL(aggregator, IsManualBillet).WillOnce(gone);
  EXPECT_THROW(Ask(), std::runtime_error);

  EXPECT_CALL(aggregator, Actualize).WillOnce(Return(true));
  EXPECT_CALL(aggregator, IsManualBillet).WillOnce(Return(false));
  EXPECT_CALL(aggregator, GetMetaProductData).WillOnce(gone);
  EXPECT_THROW(Ask(), std::runtime_error);

  EXPECT_CALL(aggregator, Actualize).WillOnce(Return(true));
  EXPECT_CALL(aggregator, IsManualBillet).WillOnce(Return(false));
  EXPECT_CALL(aggregator, GetMetaProductData).WillOnce(ReturnRef(productData));
  EXPECT_CALL(productData, IsAssociativeBillet).WillOnce(gone);
  EXPECT_THROW(Ask(), std::runtime_error);

  ExpectNoBillet();
  EXPECT_CALL(aggregator, GetGroupObjPropValue).WillOnce(gone);
  EXPECT_THROW(Ask(), std::runtime_error);

  ExpectNoBillet();
  ExpectGroupValue(c_empty);
  EXPECT_CALL(aggregator, GetPropValueRef).WillOnce(gone);
  EXPECT_THROW(Ask(), std::runtime_error);
}
