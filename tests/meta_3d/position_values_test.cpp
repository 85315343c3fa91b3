#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qProdData3D/meta_3d.h>

#include "tests/support/DocumentMocks.h"
#include "tests/support/Links.h"
#include "tests/support/ProductDataMocks.h"
#include "tests/support/StreamMocks.h"

namespace {

using meta_data::positions::PositionValue;
using testing::AnyNumber;
using testing::InSequence;
using testing::NiceMock;
using testing::Return;
using testing::ReturnRef;
using testing::StrictMock;
using testing::Test;
using UnitId = meta_data::properties::UnitId;

const std::wstring c_positionName = L"position";
const UniqueMetaObjectKey c_ordinary = Key("ordinary");
const UniqueMetaObjectKey c_groupObject = Key("group object");
const UniqueMetaObjectKey c_group = Key("group");
const UniqueMetaObjectKey c_otherGroup = Key("other group");
const SimplePropVal c_empty;
const SimplePropVal c_seven(7);
const SimplePropVal c_eight(8);

/// A result as tests compare it: the elements in their order, with units.
struct Element {
  UniqueMetaObjectKey key;
  SimplePropVal value;

  friend bool operator==(const Element&, const Element&) = default;
};

void PrintTo(const Element& element, std::ostream* out) {
  PrintTo(element.key, out);
  *out << ": ";
  PrintTo(element.value, out);
}

using Elements = std::vector<Element>;

Elements ElementsOf(const std::set<PositionValue>& values) {
  Elements elements;
  for (const PositionValue& value : values) {
    elements.push_back({value.GetKey(), value.GetValue()});
  }
  return elements;
}

/// The object whose positions are asked for, in its component.
class PositionValues : public Test {
 protected:
  StrictMock<MockAggregator> aggregator;
  StrictMock<MockLinkStore> store;
  StrictMock<MockObject> object;
  StrictMock<MockSource> source;
  StrictMock<MockComponent> component;
  StrictMock<MockComponent> sourceComponent;
  const MbPath path{2, 1};
  const MbPath secondPath{5};
  const MbName name{"body"};

  Elements Ask() {
    const CompTrObject<IfSomething> wrapper{&object, &component, &sourceComponent, nullptr};
    return ElementsOf(meta_3d::GetPositionValues(aggregator, store, wrapper));
  }

  void ExpectSource() {
    EXPECT_CALL(object, QueryInterface(IfGeometrySource::c_interfaceType))
        .WillOnce(Return(static_cast<IfGeometrySource*>(&source)));
    EXPECT_CALL(source, GetObjectType).WillOnce(Return(GeometryObject3D::c_solid));
    EXPECT_CALL(source, GetSecondPath).WillOnce(ReturnRef(secondPath));
    EXPECT_CALL(source, GetObjectName).WillOnce(ReturnRef(name));
  }

  /// The questions up to the keys that the store links to the object.
  void ExpectLinks(const Keys& keys) {
    ExpectSource();
    EXPECT_CALL(component, GetPath).WillOnce(ReturnRef(path));
    EXPECT_CALL(store, GetMetaObjectKeys(Solid(ComponentPath{2, 1}, "body", {5}))).WillOnce(Return(keys));
  }

  /// The comparisons of the sort, in any number: `groupObjects` are the group objects.
  void ExpectSort(const std::set<UniqueMetaObjectKey>& groupObjects) {
    EXPECT_CALL(aggregator, IsGroupObject).Times(AnyNumber()).WillRepeatedly([groupObjects](const auto& key) {
      return groupObjects.contains(key);
    });
  }

  /// The questions up to the attributes of a key, which are those of a group part that is none: admitted.
  void ExpectHandler(const UniqueMetaObjectKey& key) {
    EXPECT_CALL(aggregator, HasObject(key)).WillOnce(Return(true));
    EXPECT_CALL(aggregator, MakeGroupPartHandler(key)).WillOnce(Return(GroupPartHandler()));
  }

  void ExpectAdmitted(const UniqueMetaObjectKey& key, bool isGroupObject) {
    ExpectHandler(key);
    EXPECT_CALL(component, GetGroupKey).WillOnce(Return(c_group));
    EXPECT_CALL(aggregator, IsGroupObject(key)).WillOnce(Return(isGroupObject));
  }

  void ExpectGroupValue(const UniqueMetaObjectKey& key, const SimplePropVal& value) {
    EXPECT_CALL(aggregator, GetGroupObjPropValue(c_group, key, c_positionName)).WillOnce(ReturnRef(value));
  }

  void ExpectGroupObject(const UniqueMetaObjectKey& key, const UniqueMetaObjectKey& groupObject) {
    EXPECT_CALL(aggregator, GetGroupObjectKey(key)).WillOnce(Return(groupObject));
  }

  void ExpectGroups(const UniqueMetaObjectKey& key, const std::set<UniqueMetaObjectKey>& groups) {
    EXPECT_CALL(aggregator, GetObjectGroups(key)).WillOnce(Return(groups));
  }

  void ExpectOwnValue(const UniqueMetaObjectKey& key, const SimplePropVal& value) {
    EXPECT_CALL(aggregator, GetObjPropValue(key, c_positionName)).WillOnce(ReturnRef(value));
  }

  /// All questions about an ordinary object of no group object, in the group, with a position.
  void ExpectOrdinary(const UniqueMetaObjectKey& key, const SimplePropVal& value) {
    ExpectAdmitted(key, false);
    ExpectGroupObject(key, UniqueMetaObjectKey::null);
    ExpectGroups(key, {c_group});
    ExpectOwnValue(key, value);
  }
};

/// Sources of attributes behind the handlers.
class PositionValuesOfParts : public PositionValues {
 protected:
  const UniqueMetaObjectKey partKey = Key("part");
  StrictMock<MockGroupPartSource> groupParts;
  StrictMock<MockPartSource> parts;
  StrictMock<MockPropertyCalculator> calculator;
  ProductPart part;

  void ExpectPartHandler() {
    EXPECT_CALL(aggregator, HasObject(c_ordinary)).WillOnce(Return(true));
    EXPECT_CALL(aggregator, MakeGroupPartHandler(c_ordinary))
        .WillOnce(Return(GroupPartHandler(groupParts, c_ordinary, c_otherGroup)));
  }

  void ExpectPart(bool hasCalculator) {
    EXPECT_CALL(groupParts, IsValidGroupPart(c_ordinary, c_otherGroup)).WillOnce(Return(true));
    EXPECT_CALL(groupParts, GetGroupPart(c_ordinary, c_otherGroup)).WillOnce(Return(PartHandler(parts, partKey)));
    EXPECT_CALL(parts, IsValidPart(partKey)).WillOnce(Return(true));
    EXPECT_CALL(parts, IsCalcAvailable(partKey)).WillOnce(Return(hasCalculator));
  }

  void ExpectStored() { EXPECT_CALL(parts, GetProductPart(partKey)).WillOnce(ReturnRef(part)); }

  void ExpectCalculated(std::optional<bool> isIncluded) {
    EXPECT_CALL(parts, GetPropertyCalculator(partKey)).WillOnce(ReturnRef(calculator));
    EXPECT_CALL(calculator, CalcIncludeFlag(partKey)).WillOnce(Return(isIncluded));
  }

  /// The flag for the inclusion, then the flag for the exclusion, both stored.
  void ExpectStoredFlags(bool isIncluded, bool isExcluded) {
    part = AttributedPart{{isIncluded, isExcluded, 0}};
    ExpectPartHandler();
    ExpectPart(false);
    ExpectStored();
    ExpectPart(false);
    ExpectStored();
  }

  void ExpectTheRest() {
    EXPECT_CALL(component, GetGroupKey).WillOnce(Return(c_group));
    EXPECT_CALL(aggregator, IsGroupObject(c_ordinary)).WillOnce(Return(false));
    ExpectGroupObject(c_ordinary, UniqueMetaObjectKey::null);
    ExpectGroups(c_ordinary, {c_group});
    ExpectOwnValue(c_ordinary, c_seven);
  }
};

}  // namespace

TEST_F(PositionValues, OfAnObjectWithoutLinksAreNoneAndTheAggregatorIsNotAsked) {
  const InSequence order;
  ExpectLinks({});
  EXPECT_EQ(Ask(), Elements());
}

TEST_F(PositionValues, OfAnOrdinaryObjectAreItsOwnWhereItIsInTheGroupOfTheComponent) {
  const InSequence order;
  ExpectLinks({c_ordinary});
  EXPECT_CALL(aggregator, HasObject(c_ordinary)).WillOnce(Return(true));
  EXPECT_CALL(aggregator, MakeGroupPartHandler(c_ordinary)).WillOnce(Return(GroupPartHandler()));
  EXPECT_CALL(component, GetGroupKey).WillOnce(Return(c_group));
  EXPECT_CALL(aggregator, IsGroupObject(c_ordinary)).WillOnce(Return(false));
  EXPECT_CALL(aggregator, GetGroupObjectKey(c_ordinary)).WillOnce(Return(UniqueMetaObjectKey::null));
  EXPECT_CALL(aggregator, GetObjectGroups(c_ordinary)).WillOnce(Return(MockAggregator::Keys{c_otherGroup, c_group}));
  EXPECT_CALL(aggregator, GetObjPropValue(c_ordinary, c_positionName)).WillOnce(ReturnRef(c_seven));
  EXPECT_EQ(Ask(), (Elements{{c_ordinary, c_seven}}));
}

TEST_F(PositionValues, OfAnOrdinaryObjectInOtherGroupsOnlyAreNoneAndItsOwnIsNotAskedFor) {
  for (const std::set<UniqueMetaObjectKey>& groups : {std::set<UniqueMetaObjectKey>(), {c_otherGroup}}) {
    const InSequence order;
    ExpectLinks({c_ordinary});
    ExpectAdmitted(c_ordinary, false);
    ExpectGroupObject(c_ordinary, UniqueMetaObjectKey::null);
    ExpectGroups(c_ordinary, groups);
    EXPECT_EQ(Ask(), Elements());
  }
}

TEST_F(PositionValues, OfAnOrdinaryObjectWithoutAPositionAreNone) {
  const InSequence order;
  ExpectLinks({c_ordinary});
  ExpectOrdinary(c_ordinary, c_empty);
  EXPECT_EQ(Ask(), Elements());
}

TEST_F(PositionValues, OfAGroupObjectAreThatInTheGroupOfTheComponentAndNothingMoreIsAsked) {
  const InSequence order;
  ExpectLinks({c_groupObject});
  EXPECT_CALL(aggregator, HasObject(c_groupObject)).WillOnce(Return(true));
  EXPECT_CALL(aggregator, MakeGroupPartHandler(c_groupObject)).WillOnce(Return(GroupPartHandler()));
  EXPECT_CALL(component, GetGroupKey).WillOnce(Return(c_group));
  EXPECT_CALL(aggregator, IsGroupObject(c_groupObject)).WillOnce(Return(true));
  EXPECT_CALL(aggregator, GetGroupObjPropValue(c_group, c_groupObject, c_positionName)).WillOnce(ReturnRef(c_seven));
  EXPECT_EQ(Ask(), (Elements{{c_groupObject, c_seven}}));
}

TEST_F(PositionValues, OfAGroupObjectWithoutOneInTheGroupAreItsOwnWhereItIsInTheGroup) {
  const InSequence order;
  ExpectLinks({c_groupObject});
  ExpectAdmitted(c_groupObject, true);
  ExpectGroupValue(c_groupObject, c_empty);
  ExpectGroups(c_groupObject, {c_group});
  ExpectOwnValue(c_groupObject, c_seven);
  EXPECT_EQ(Ask(), (Elements{{c_groupObject, c_seven}}));
}

TEST_F(PositionValues, OfAGroupObjectWithoutOneInTheGroupAndOutsideOfItAreNone) {
  const InSequence order;
  ExpectLinks({c_groupObject});
  ExpectAdmitted(c_groupObject, true);
  ExpectGroupValue(c_groupObject, c_empty);
  ExpectGroups(c_groupObject, {c_otherGroup});
  EXPECT_EQ(Ask(), Elements());
}

TEST_F(PositionValues, TakeAUnitWithoutAValueForNone) {
  const SimplePropVal unitAlone(SimplePropVal::Value(), UnitId::kilogram);
  const InSequence order;
  ExpectLinks({c_groupObject});
  ExpectAdmitted(c_groupObject, true);
  ExpectGroupValue(c_groupObject, unitAlone);
  ExpectGroups(c_groupObject, {c_group});
  ExpectOwnValue(c_groupObject, unitAlone);
  EXPECT_EQ(Ask(), Elements());
}

TEST_F(PositionValues, TreatTheNullKeyOfAComponentAsAnyOtherGroup) {
  const InSequence order;
  ExpectLinks({c_ordinary});
  ExpectHandler(c_ordinary);
  EXPECT_CALL(component, GetGroupKey).WillOnce(Return(UniqueMetaObjectKey::null));
  EXPECT_CALL(aggregator, IsGroupObject(c_ordinary)).WillOnce(Return(false));
  ExpectGroupObject(c_ordinary, UniqueMetaObjectKey::null);
  ExpectGroups(c_ordinary, {UniqueMetaObjectKey::null});
  ExpectOwnValue(c_ordinary, c_seven);
  EXPECT_EQ(Ask(), (Elements{{c_ordinary, c_seven}}));
}

TEST_F(PositionValues, TakeTheNullKeyOfALinkForAKey) {
  const InSequence order;
  ExpectLinks({UniqueMetaObjectKey::null});
  ExpectOrdinary(UniqueMetaObjectKey::null, c_seven);
  EXPECT_EQ(Ask(), (Elements{{UniqueMetaObjectKey::null, c_seven}}));
}

TEST_F(PositionValues, PassOverAnUnknownObjectBeforeItsHandlerIsMade) {
  const InSequence order;
  ExpectLinks({c_ordinary});
  EXPECT_CALL(aggregator, HasObject(c_ordinary)).WillOnce(Return(false));
  EXPECT_EQ(Ask(), Elements());
}

TEST_F(PositionValues, OfAnObjectWithoutAComponentAreNoneAfterTheFlagsOfEveryKeyWereRead) {
  const UniqueMetaObjectKey keys[] = {c_groupObject, c_ordinary};
  StrictMock<MockGroupPartSource> groupParts;
  const InSequence order;
  ExpectSource();
  EXPECT_CALL(store, GetMetaObjectKeys(Solid({}, "body", {5}))).WillOnce(Return(Keys{c_ordinary, c_groupObject}));
  ExpectSort({c_groupObject});
  for (const UniqueMetaObjectKey& key : keys) {
    EXPECT_CALL(aggregator, HasObject(key)).WillOnce(Return(true));
    EXPECT_CALL(aggregator, MakeGroupPartHandler(key)).WillOnce(Return(GroupPartHandler(groupParts, key, c_group)));
    EXPECT_CALL(groupParts, IsValidGroupPart(key, c_group)).Times(2).WillRepeatedly(Return(false));
  }
  const CompTrObject<IfSomething> wrapper{&object, nullptr, &sourceComponent, nullptr};
  EXPECT_EQ(ElementsOf(meta_3d::GetPositionValues(aggregator, store, wrapper)), Elements());
}

TEST_F(PositionValues, AskForTheGroupOfTheComponentAgainForEveryKey) {
  const InSequence order;
  ExpectLinks({c_ordinary, c_groupObject});
  ExpectSort({c_groupObject});
  ExpectHandler(c_groupObject);
  EXPECT_CALL(component, GetGroupKey).WillOnce(Return(c_otherGroup));
  EXPECT_CALL(aggregator, IsGroupObject(c_groupObject)).WillOnce(Return(true));
  EXPECT_CALL(aggregator, GetGroupObjPropValue(c_otherGroup, c_groupObject, c_positionName))
      .WillOnce(ReturnRef(c_eight));
  ExpectHandler(c_ordinary);
  EXPECT_CALL(component, GetGroupKey).WillOnce(Return(c_group));
  EXPECT_CALL(aggregator, IsGroupObject(c_ordinary)).WillOnce(Return(false));
  ExpectGroupObject(c_ordinary, UniqueMetaObjectKey::null);
  ExpectGroups(c_ordinary, {c_group});
  ExpectOwnValue(c_ordinary, c_seven);
  EXPECT_EQ(Ask(), (Elements{{c_ordinary, c_seven}, {c_groupObject, c_eight}}));
}

TEST_F(PositionValues, PassOverAnObjectWhoseGroupObjectWasVisitedWhateverTheOrderOfTheStore) {
  for (const Keys& keys : {Keys{c_ordinary, c_groupObject}, Keys{c_groupObject, c_ordinary}}) {
    const InSequence order;
    ExpectLinks(keys);
    ExpectSort({c_groupObject});
    ExpectAdmitted(c_groupObject, true);
    ExpectGroupValue(c_groupObject, c_seven);
    ExpectAdmitted(c_ordinary, false);
    ExpectGroupObject(c_ordinary, c_groupObject);
    EXPECT_EQ(Ask(), (Elements{{c_groupObject, c_seven}}));
  }
}

TEST_F(PositionValues, PassOverAnObjectAlsoWhereItsGroupObjectHasNoPosition) {
  const InSequence order;
  ExpectLinks({c_ordinary, c_groupObject});
  ExpectSort({c_groupObject});
  ExpectAdmitted(c_groupObject, true);
  ExpectGroupValue(c_groupObject, c_empty);
  ExpectGroups(c_groupObject, {});
  ExpectAdmitted(c_ordinary, false);
  ExpectGroupObject(c_ordinary, c_groupObject);
  EXPECT_EQ(Ask(), Elements());
}

TEST_F(PositionValues, CountAnObjectWhoseGroupObjectIsUnknown) {
  const InSequence order;
  ExpectLinks({c_ordinary, c_groupObject});
  ExpectSort({c_groupObject});
  EXPECT_CALL(aggregator, HasObject(c_groupObject)).WillOnce(Return(false));
  ExpectAdmitted(c_ordinary, false);
  ExpectGroupObject(c_ordinary, c_groupObject);
  ExpectGroups(c_ordinary, {c_group});
  ExpectOwnValue(c_ordinary, c_seven);
  EXPECT_EQ(Ask(), (Elements{{c_ordinary, c_seven}}));
}

TEST_F(PositionValues, CountAnObjectWhoseGroupObjectIsLinkedButNotAdmitted) {
  const ProductPart notIncluded = AttributedPart{{false, false, 0}};
  NiceMock<MockGroupPartSource> groupParts;
  NiceMock<MockPartSource> parts;
  ON_CALL(groupParts, IsValidGroupPart).WillByDefault(Return(true));
  ON_CALL(groupParts, GetRawPart).WillByDefault(Return(PartHandler(parts, c_groupObject)));
  ON_CALL(parts, IsValidPart).WillByDefault(Return(true));
  ON_CALL(parts, GetProductPart).WillByDefault(ReturnRef(notIncluded));
  const InSequence order;
  ExpectLinks({c_ordinary, c_groupObject});
  ExpectSort({c_groupObject});
  EXPECT_CALL(aggregator, HasObject(c_groupObject)).WillOnce(Return(true));
  EXPECT_CALL(aggregator, MakeGroupPartHandler(c_groupObject))
      .WillOnce(Return(GroupPartHandler(groupParts, c_groupObject, UniqueMetaObjectKey::null)));
  ExpectAdmitted(c_ordinary, false);
  ExpectGroupObject(c_ordinary, c_groupObject);
  ExpectGroups(c_ordinary, {c_group});
  ExpectOwnValue(c_ordinary, c_seven);
  EXPECT_EQ(Ask(), (Elements{{c_ordinary, c_seven}}));
}

TEST_F(PositionValues, CountAnObjectWhoseGroupObjectIsNotLinked) {
  const InSequence order;
  ExpectLinks({c_ordinary, c_groupObject});
  ExpectSort({c_groupObject});
  ExpectAdmitted(c_groupObject, true);
  ExpectGroupValue(c_groupObject, c_eight);
  ExpectAdmitted(c_ordinary, false);
  ExpectGroupObject(c_ordinary, Key("another group object"));
  ExpectGroups(c_ordinary, {c_group});
  ExpectOwnValue(c_ordinary, c_seven);
  EXPECT_EQ(Ask(), (Elements{{c_ordinary, c_seven}, {c_groupObject, c_eight}}));
}

TEST_F(PositionValues, AreOnceTheSameForTheObjectVisitedFirst) {
  const InSequence order;
  ExpectLinks({c_ordinary, c_groupObject});
  ExpectSort({c_groupObject});
  ExpectAdmitted(c_groupObject, true);
  ExpectGroupValue(c_groupObject, c_seven);
  ExpectOrdinary(c_ordinary, c_seven);
  EXPECT_EQ(Ask(), (Elements{{c_groupObject, c_seven}}));
}

TEST_F(PositionValues, VisitAKeyAsOftenAsItIsLinked) {
  ExpectLinks({c_ordinary, c_ordinary});
  ExpectSort({});
  EXPECT_CALL(aggregator, HasObject(c_ordinary)).Times(2).WillRepeatedly(Return(true));
  EXPECT_CALL(aggregator, MakeGroupPartHandler(c_ordinary)).Times(2).WillRepeatedly(Return(GroupPartHandler()));
  EXPECT_CALL(component, GetGroupKey).Times(2).WillRepeatedly(Return(c_group));
  EXPECT_CALL(aggregator, GetGroupObjectKey(c_ordinary)).Times(2).WillRepeatedly(Return(UniqueMetaObjectKey::null));
  EXPECT_CALL(aggregator, GetObjectGroups(c_ordinary)).Times(2).WillRepeatedly(Return(MockAggregator::Keys{c_group}));
  EXPECT_CALL(aggregator, GetObjPropValue(c_ordinary, c_positionName)).Times(2).WillRepeatedly(ReturnRef(c_seven));
  EXPECT_EQ(Ask(), (Elements{{c_ordinary, c_seven}}));
}

TEST_F(PositionValues, CarryTheValueWithoutItsUnit) {
  const SimplePropVal inGroup(7, UnitId::millimetre);
  const SimplePropVal own(8, UnitId::kilogram);
  const InSequence order;
  ExpectLinks({c_ordinary, c_groupObject});
  ExpectSort({c_groupObject});
  ExpectAdmitted(c_groupObject, true);
  ExpectGroupValue(c_groupObject, inGroup);
  ExpectOrdinary(c_ordinary, own);
  EXPECT_EQ(Ask(),
            (Elements{{c_groupObject, SimplePropVal(7, UnitId::none)}, {c_ordinary, SimplePropVal(8, UnitId::none)}}));
}

TEST_F(PositionValues, CarryEveryKindOfValueUntouched) {
  for (const SimplePropVal& value :
       {SimplePropVal(std::wstring()), SimplePropVal(std::wstring(L"12a")), SimplePropVal(false), SimplePropVal(0),
        SimplePropVal(0.0), SimplePropVal(SimplePropVal::DateTime())}) {
    const InSequence order;
    ExpectLinks({c_ordinary});
    ExpectOrdinary(c_ordinary, value);
    EXPECT_EQ(Ask(), (Elements{{c_ordinary, value}}));
  }
}

TEST_F(PositionValuesOfParts, CountWhatIsIncludedAndNotExcluded) {
  const InSequence order;
  ExpectLinks({c_ordinary});
  ExpectStoredFlags(true, false);
  ExpectTheRest();
  EXPECT_EQ(Ask(), (Elements{{c_ordinary, c_seven}}));
}

TEST_F(PositionValuesOfParts, PassOverWhatIsNotIncludedAfterReadingBothFlags) {
  for (const bool isExcluded : {false, true}) {
    const InSequence order;
    ExpectLinks({c_ordinary});
    ExpectStoredFlags(false, isExcluded);
    EXPECT_EQ(Ask(), Elements());
  }
}

TEST_F(PositionValuesOfParts, PassOverWhatIsExcluded) {
  const InSequence order;
  ExpectLinks({c_ordinary});
  ExpectStoredFlags(true, true);
  EXPECT_EQ(Ask(), Elements());
}

TEST_F(PositionValuesOfParts, PassOverAnObjectWithoutAValidPart) {
  const InSequence order;
  ExpectLinks({c_ordinary});
  ExpectPartHandler();
  for (int flag = 0; flag < 2; ++flag) {
    EXPECT_CALL(groupParts, IsValidGroupPart(c_ordinary, c_otherGroup)).WillOnce(Return(true));
    EXPECT_CALL(groupParts, GetGroupPart(c_ordinary, c_otherGroup)).WillOnce(Return(PartHandler()));
  }
  EXPECT_EQ(Ask(), Elements());
}

TEST_F(PositionValuesOfParts, LetTheCalculatorDecideOnTheInclusionFirstAndTheStoredFlagOnTheExclusionThen) {
  for (const bool isIncluded : {true, false}) {
    part = AttributedPart{{!isIncluded, false, 0}};
    const InSequence order;
    ExpectLinks({c_ordinary});
    ExpectPartHandler();
    ExpectPart(true);
    ExpectCalculated(isIncluded);
    ExpectPart(true);
    ExpectStored();
    if (isIncluded) {
      ExpectTheRest();
    }
    EXPECT_EQ(Ask(), isIncluded ? (Elements{{c_ordinary, c_seven}}) : Elements());
  }
}

TEST_F(PositionValuesOfParts, TakeTheStoredInclusionWhereTheCalculatorHasNoAnswer) {
  for (const bool isIncluded : {true, false}) {
    part = AttributedPart{{isIncluded, false, 0}};
    const InSequence order;
    ExpectLinks({c_ordinary});
    ExpectPartHandler();
    ExpectPart(true);
    ExpectCalculated(std::nullopt);
    ExpectStored();
    ExpectPart(true);
    ExpectStored();
    if (isIncluded) {
      ExpectTheRest();
    }
    EXPECT_EQ(Ask(), isIncluded ? (Elements{{c_ordinary, c_seven}}) : Elements());
  }
}

TEST_F(PositionValuesOfParts, AskForTheRawPartWhereTheHandlerHasTheNullGroupKey) {
  part = AttributedPart{{true, false, 0}};
  const InSequence order;
  ExpectLinks({c_ordinary});
  EXPECT_CALL(aggregator, HasObject(c_ordinary)).WillOnce(Return(true));
  EXPECT_CALL(aggregator, MakeGroupPartHandler(c_ordinary))
      .WillOnce(Return(GroupPartHandler(groupParts, c_ordinary, UniqueMetaObjectKey::null)));
  for (int flag = 0; flag < 2; ++flag) {
    EXPECT_CALL(groupParts, IsValidGroupPart(c_ordinary, UniqueMetaObjectKey::null)).WillOnce(Return(true));
    EXPECT_CALL(groupParts, GetRawPart(c_ordinary)).WillOnce(Return(PartHandler(parts, partKey)));
    EXPECT_CALL(parts, IsValidPart(partKey)).WillOnce(Return(true));
    EXPECT_CALL(parts, IsCalcAvailable(partKey)).WillOnce(Return(false));
    ExpectStored();
  }
  ExpectTheRest();
  EXPECT_EQ(Ask(), (Elements{{c_ordinary, c_seven}}));
}

TEST_F(PositionValuesOfParts, CountAnObjectWhoseHandlerIsInvalid) {
  const InSequence order;
  ExpectLinks({c_ordinary});
  ExpectPartHandler();
  EXPECT_CALL(groupParts, IsValidGroupPart(c_ordinary, c_otherGroup)).Times(2).WillRepeatedly(Return(false));
  ExpectTheRest();
  EXPECT_EQ(Ask(), (Elements{{c_ordinary, c_seven}}));
}

TEST_F(PositionValuesOfParts, PassTheRefusalOfAPartWithoutAttributes) {
  for (const ProductPart& other : {ProductPart(UnloadedPart{}), ProductPart(ForeignPart{})}) {
    part = other;
    const InSequence order;
    ExpectLinks({c_ordinary});
    ExpectPartHandler();
    ExpectPart(false);
    ExpectStored();
    EXPECT_THROW(Ask(), std::bad_variant_access);
  }
}

TEST_F(PositionValuesOfParts, PassTheRefusalOfAPartWithoutAttributesAlsoForTheExclusionAlone) {
  part = ForeignPart{};
  const InSequence order;
  ExpectLinks({c_ordinary});
  ExpectPartHandler();
  ExpectPart(true);
  ExpectCalculated(false);
  ExpectPart(true);
  ExpectStored();
  EXPECT_THROW(Ask(), std::bad_variant_access);
}

namespace {

struct Refused {};

/// A whole product behind nice mocks that count every question put to them; the one with the number `refused` throws.
class PositionValuesOfManyObjects : public Test {
 protected:
  NiceMock<MockAggregator> aggregator;
  NiceMock<MockLinkStore> store;
  NiceMock<MockObject> object;
  NiceMock<MockSource> source;
  NiceMock<MockComponent> component;
  NiceMock<MockGroupPartSource> groupParts;
  NiceMock<MockPartSource> parts;
  NiceMock<MockPropertyCalculator> calculator;
  const MbPath path{1};
  const MbName name{"body"};
  const ProductPart part = AttributedPart{{true, false, 0}};
  Keys linked;
  std::set<UniqueMetaObjectKey> groupObjects;
  std::map<UniqueMetaObjectKey, SimplePropVal> values;
  /// The keys in the order of their visits, and the comparisons before the first one.
  Keys visited;
  int sortQuestions = 0;
  int questions = 0;
  int refused = 0;

  template <class Answer>
  auto Counted(Answer answer) {
    return [this, answer](const auto&... arguments) -> decltype(answer(arguments...)) {
      if (++questions == refused) {
        throw Refused();
      }
      return answer(arguments...);
    };
  }

  PositionValuesOfManyObjects() {
    ON_CALL(object, QueryInterface).WillByDefault(Counted([this](unsigned int) -> void* {
      return static_cast<IfGeometrySource*>(&source);
    }));
    ON_CALL(source, GetObjectType).WillByDefault(Counted([] { return 1U; }));
    ON_CALL(source, GetSecondPath).WillByDefault(Counted([this]() -> const MbPath& { return path; }));
    ON_CALL(source, GetObjectName).WillByDefault(Counted([this]() -> const MbName& { return name; }));
    ON_CALL(component, GetPath).WillByDefault(Counted([this]() -> const MbPath& { return path; }));
    ON_CALL(component, GetGroupKey).WillByDefault(Counted([] { return c_group; }));
    ON_CALL(store, GetMetaObjectKeys).WillByDefault(Counted([this](const auto&) { return linked; }));
    ON_CALL(aggregator, HasObject).WillByDefault(Counted([this](const UniqueMetaObjectKey& key) {
      visited.push_back(key);
      return true;
    }));
    ON_CALL(aggregator, IsGroupObject).WillByDefault(Counted([this](const UniqueMetaObjectKey& key) {
      sortQuestions += visited.empty() ? 1 : 0;
      return groupObjects.contains(key);
    }));
    ON_CALL(aggregator, MakeGroupPartHandler).WillByDefault(Counted([this](const UniqueMetaObjectKey& key) {
      return GroupPartHandler(groupParts, key, UniqueMetaObjectKey::null);
    }));
    ON_CALL(groupParts, IsValidGroupPart).WillByDefault(Counted([](const auto&, const auto&) { return true; }));
    ON_CALL(groupParts, GetRawPart).WillByDefault(Counted([this](const UniqueMetaObjectKey& key) {
      return PartHandler(parts, key);
    }));
    ON_CALL(parts, IsValidPart).WillByDefault(Counted([](const auto&) { return true; }));
    ON_CALL(parts, IsCalcAvailable).WillByDefault(Counted([](const auto&) { return true; }));
    ON_CALL(parts, GetPropertyCalculator).WillByDefault(Counted([this](const auto&) -> const IfPropertyCalculator& {
      return calculator;
    }));
    ON_CALL(parts, GetProductPart).WillByDefault(Counted([this](const auto&) -> const ProductPart& { return part; }));
    ON_CALL(calculator, CalcIncludeFlag).WillByDefault(Counted([](const auto&) { return std::optional(true); }));
    ON_CALL(aggregator, GetGroupObjectKey).WillByDefault(Counted([](const auto&) { return UniqueMetaObjectKey(); }));
    ON_CALL(aggregator, GetObjectGroups).WillByDefault(Counted([](const auto&) {
      return MockAggregator::Keys{c_group};
    }));
    ON_CALL(aggregator, GetGroupObjPropValue)
        .WillByDefault(Counted([](const auto&, const auto&, const auto&) -> const SimplePropVal& { return c_empty; }));
    ON_CALL(aggregator, GetObjPropValue)
        .WillByDefault(Counted(
            [this](const UniqueMetaObjectKey& key, const auto&) -> const SimplePropVal& { return values.at(key); }));
  }

  /// `count` keys, every third one a group object, with the positions 1, 2, 3 ...
  void Link(int count) {
    for (int i = 0; i < count; ++i) {
      linked.push_back(Key(std::to_string(i)));
      values[linked.back()] = SimplePropVal(i + 1);
      if (i % 3 == 2) {
        groupObjects.insert(linked.back());
      }
    }
  }

  std::set<PositionValue> Ask() {
    return meta_3d::GetPositionValues(aggregator, store, CompTrObject<IfSomething>{&object, &component});
  }
};

}  // namespace

TEST_F(PositionValuesOfManyObjects, VisitEveryKeyOnceAndAllGroupObjectsBeforeTheOthers) {
  Link(100);
  EXPECT_EQ(Ask().size(), 100U);
  const auto isGroupObject = [this](const UniqueMetaObjectKey& key) { return groupObjects.contains(key); };
  EXPECT_TRUE(std::is_partitioned(visited.begin(), visited.end(), isGroupObject));
  std::sort(visited.begin(), visited.end());
  std::sort(linked.begin(), linked.end());
  EXPECT_EQ(visited, linked);
}

TEST_F(PositionValuesOfManyObjects, AreThoseOfAllButTheObjectsWhoseGroupObjectWasVisited) {
  Link(20);
  // Once with the one half of the objects and once with the other, since either may be visited first.
  for (const int rest : {0, 1}) {
    SCOPED_TRACE(rest);
    const auto isOfGroupObject = [rest](const UniqueMetaObjectKey& key) { return std::stoi(std::string(key.Bytes())) % 2 == rest; };
    ON_CALL(aggregator, GetGroupObjectKey).WillByDefault([&](const UniqueMetaObjectKey& key) {
      return isOfGroupObject(key) ? *groupObjects.begin() : UniqueMetaObjectKey();
    });
    Elements expected;
    for (const UniqueMetaObjectKey& key : linked) {
      if (groupObjects.contains(key) || !isOfGroupObject(key)) {
        expected.push_back({key, values[key]});
      }
    }
    EXPECT_EQ(ElementsOf(Ask()), expected);
  }
}

TEST_F(PositionValuesOfManyObjects, AreInTheirOwnOrder) {
  Link(30);
  int expected = 0;
  for (const PositionValue& value : Ask()) {
    EXPECT_EQ(value.GetValue(), SimplePropVal(++expected));
  }
}

TEST_F(PositionValuesOfManyObjects, AskForGroupObjectsAfreshInEveryComparison) {
  Link(10);
  groupObjects = {linked.begin(), linked.end()};
  Ask();
  // At least nine comparisons, each of two group objects.
  EXPECT_GE(sortQuestions, 18);
}

TEST_F(PositionValuesOfManyObjects, OfTheSamePositionAreThatOfTheFirstOneVisited) {
  Link(40);
  for (auto& [key, value] : values) {
    value = SimplePropVal(5);
  }
  const std::set<PositionValue> result = Ask();
  ASSERT_EQ(result.size(), 1U);
  EXPECT_EQ(result.begin()->GetKey(), visited.front());
}

TEST_F(PositionValuesOfManyObjects, PassTheExceptionOfEveryQuestion) {
  Link(6);
  Ask();
  const int all = questions;
  ASSERT_GT(all, 100);
  for (refused = 1; refused <= all; ++refused) {
    questions = 0;
    EXPECT_THROW(Ask(), Refused) << refused;
    EXPECT_EQ(questions, refused);
  }
}

TEST_F(PositionValuesOfManyObjects, AreThoseOfTheValidatedLinksOfAStore) {
  Link(3);
  const GeometryObject3D body(1, ComponentPath{1}, MbPath{1}, name);
  const Store links = MakeStore({{linked[0], body}, {linked[1], body}}, LinkSet::Validated);
  links->AddLink(linked[2], body, LinkSet::Unique);
  links->AddLink(linked[2], Solid({1}, "another"), LinkSet::Validated);
  EXPECT_EQ(ElementsOf(meta_3d::GetPositionValues(aggregator, *links, CompTrObject<IfSomething>{&object, &component})),
            (Elements{{linked[0], SimplePropVal(1)}, {linked[1], SimplePropVal(2)}}));
}
