// What the product data answers: any question, any key, several product data, a calculator.

#include "host/model/Aggregator.h"

#include <optional>
#include <set>
#include <string>
#include <variant>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/model/TestModel.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::NiceMock;
using testing::UnorderedElementsAre;

namespace {

using host::Aggregator;
using host::BilletKind;
using host::MetaObject;
using host::MetaObjectType;
using host::ProductData;

SimplePropVal Text(const std::wstring& text) {
  return SimplePropVal(text);
}

MetaObject WithName(MetaObjectType type, const std::wstring& name) {
  MetaObject object;
  object.type = type;
  object.properties[c_productName] = Text(name);
  return object;
}

// ---- unknown keys

class AnUnknownKey : public testing::TestWithParam<std::string> {
 protected:
  AnUnknownKey() : aggregator({&model.Data()}) {}

  TestModel model;
  Aggregator aggregator;
  UniqueMetaObjectKey key = Key(GetParam());
};

INSTANTIATE_TEST_SUITE_P(, AnUnknownKey, testing::Values("", "nobody"),
                         [](const auto& parameter) { return parameter.param.empty() ? "Null" : "Other"; });

TEST_P(AnUnknownKey, IsThatOfNoObject) {
  EXPECT_FALSE(aggregator.HasObject(key));
}

TEST_P(AnUnknownKey, HasTypeZero) {
  EXPECT_EQ(aggregator.GetMetaObjectType(key), 0u);
}

TEST_P(AnUnknownKey, IsNoGroupObjectAndHasNone) {
  EXPECT_FALSE(aggregator.IsGroupObject(key));
  EXPECT_EQ(aggregator.GetGroupObjectKey(key), UniqueMetaObjectKey::null);
}

TEST_P(AnUnknownKey, TakesPartInNoGroup) {
  EXPECT_THAT(aggregator.GetObjectGroups(key), IsEmpty());
}

TEST_P(AnUnknownKey, HasAnInvalidHandler) {
  const GroupPartHandler handler = aggregator.MakeGroupPartHandler(key);
  EXPECT_FALSE(handler.IsValid());
  EXPECT_FALSE(handler.GetRawPartHandler(key).IsValid());
  EXPECT_FALSE(handler.GetGroupPartHandler(model.Base("M")).IsValid());
}

TEST_P(AnUnknownKey, HasEmptyValues) {
  EXPECT_TRUE(aggregator.GetObjPropValue(key, c_productName).IsEmpty());
  EXPECT_TRUE(aggregator.GetGroupObjPropValue(model.Base("M"), key, c_position).IsEmpty());
  EXPECT_TRUE(aggregator.GetGroupObjPropValue(key, model.Line("M", "B"), c_position).IsEmpty());
  const PropValueRef reference = aggregator.GetPropValueRef(key, c_productName);
  EXPECT_EQ(reference.Value(), nullptr);
  EXPECT_EQ(reference.Tree(), nullptr);
}

TEST_P(AnUnknownKey, IsHeldByEmptyProductData) {
  EXPECT_FALSE(aggregator.GetMetaProductData(key).HasMetaObject(key));
  EXPECT_FALSE(aggregator.GetMetaProductData(key).HasMetaObject(model.Product("M")));
}

TEST_P(AnUnknownKey, IsNoBillet) {
  EXPECT_FALSE(aggregator.IsManualBillet(key));
  EXPECT_FALSE(meta_data::SP::IsAssociativeBillet(aggregator.GetMetaProductData(key), key));
}

TEST(Aggregator, KnowsNothingWithoutProductData) {
  const Aggregator aggregator({});
  EXPECT_FALSE(aggregator.HasObject(Key("a")));
  EXPECT_EQ(aggregator.GetMetaObjectType(Key("a")), 0u);
  EXPECT_FALSE(aggregator.GetMetaProductData(Key("a")).HasMetaObject(Key("a")));
}

// ---- types

TEST(Aggregator, AnswersTheTypeOfEachMetaObject) {
  TestModel model;
  model.MakeStock(model.Line("M", "P"), BilletKind::manual);
  const Aggregator aggregator({&model.Data()});
  EXPECT_EQ(aggregator.GetMetaObjectType(model.OccurrenceAt("3")), 4u);
  EXPECT_EQ(aggregator.GetMetaObjectType(model.OccurrenceAt("1")), 5u);
  EXPECT_EQ(aggregator.GetMetaObjectType(model.OccurrenceAt("2")), 6u);
  EXPECT_EQ(aggregator.GetMetaObjectType(model.Line("M", "B")), 8u);
  for (const UniqueMetaObjectKey& key : {model.Product("M"), model.Product("B"), model.Base("M")}) {
    EXPECT_LT(aggregator.GetMetaObjectType(key), 4u);
    EXPECT_GT(aggregator.GetMetaObjectType(key), 0u);
  }
}

TEST(Aggregator, TellsGroupObjectsFromOthers) {
  TestModel model;
  const Aggregator aggregator({&model.Data()});
  EXPECT_TRUE(aggregator.IsGroupObject(model.Line("M", "B")));
  for (const UniqueMetaObjectKey& key :
       {model.OccurrenceAt("1"), model.OccurrenceAt("3"), model.Product("B"), model.Base("M")}) {
    EXPECT_FALSE(aggregator.IsGroupObject(key));
  }
}

TEST(Aggregator, HasNothingToTakeIn) {
  TestModel model;
  Aggregator aggregator({&model.Data()});
  EXPECT_FALSE(aggregator.Actualize());
}

TEST(Aggregator, AnswersWhatTheProductDataHoldsAtTheTimeOfTheQuestion) {
  TestModel model;
  const Aggregator aggregator({&model.Data()});
  const UniqueMetaObjectKey added = model.Data().Add(WithName(MetaObjectType::billet, L"Bar"));
  EXPECT_EQ(aggregator.GetMetaObjectType(added), 6u);
  model.Data().Remove(added);
  EXPECT_FALSE(aggregator.HasObject(added));
}

// ---- group objects and groups

TEST(GroupObject, OfAnOccurrenceIsTheLineOfItsProductInItsHolder) {
  TestModel model;
  const Aggregator aggregator({&model.Data()});
  EXPECT_EQ(aggregator.GetGroupObjectKey(model.OccurrenceAt("3")), model.Line("M", "B"));
  EXPECT_EQ(aggregator.GetGroupObjectKey(model.OccurrenceAt("1/3")), model.Line("F", "B"));
  EXPECT_EQ(aggregator.GetGroupObjectKey(model.OccurrenceAt("4")), model.Line("M", "F"));
}

TEST(GroupObject, IsSharedByAllUsesOfTheAssembly) {
  TestModel model;
  const Aggregator aggregator({&model.Data()});
  EXPECT_EQ(aggregator.GetGroupObjectKey(model.OccurrenceAt("1/2")),
            aggregator.GetGroupObjectKey(model.OccurrenceAt("4/4")));
}

TEST(GroupObject, HasNoneItselfAndNeitherHasWhatIsNoOccurrence) {
  TestModel model;
  const Aggregator aggregator({&model.Data()});
  for (const UniqueMetaObjectKey& key : {model.Line("M", "B"), model.Product("B"), model.Base("M")}) {
    EXPECT_EQ(aggregator.GetGroupObjectKey(key), UniqueMetaObjectKey::null);
  }
}

// The machine with a second embodiment, which does not have bolt 3.
class ObjectGroups : public testing::Test {
 protected:
  ObjectGroups() : aggregator({&model.Data()}) {
    MetaObject object;
    object.type = MetaObjectType::embodiment;
    object.product = model.Product("M");
    variant = model.Data().Add(object);
    for (const char* path : {"1", "2", "4"}) {
      model.Data().AddToGroup(variant, model.OccurrenceAt(path));
    }
  }

  TestModel model;
  UniqueMetaObjectKey variant;
  Aggregator aggregator;
};

TEST_F(ObjectGroups, OfAPartOccurrenceAreTheEmbodimentsOfItsHolderThatContainIt) {
  EXPECT_THAT(aggregator.GetObjectGroups(model.OccurrenceAt("2")), UnorderedElementsAre(model.Base("M"), variant));
  EXPECT_THAT(aggregator.GetObjectGroups(model.OccurrenceAt("3")), ElementsAre(model.Base("M")));
  EXPECT_THAT(aggregator.GetObjectGroups(model.OccurrenceAt("4/3")), ElementsAre(model.Base("F")));
}

TEST_F(ObjectGroups, OfAnAssemblyOccurrenceHoldTheEmbodimentThatItIsUsedInAsWell) {
  EXPECT_THAT(aggregator.GetObjectGroups(model.OccurrenceAt("1")),
              UnorderedElementsAre(model.Base("M"), variant, model.Base("F")));
}

TEST_F(ObjectGroups, OfABilletAreTheEmbodimentsOfItsHolderThatContainIt) {
  model.MakeStock(model.Line("M", "P"), BilletKind::associative);
  EXPECT_THAT(aggregator.GetObjectGroups(model.OccurrenceAt("2")), UnorderedElementsAre(model.Base("M"), variant));
}

TEST_F(ObjectGroups, OfAGroupObjectAreThoseThatContainOneOfItsOccurrences) {
  EXPECT_THAT(aggregator.GetObjectGroups(model.Line("M", "F")), UnorderedElementsAre(model.Base("M"), variant));
  EXPECT_THAT(aggregator.GetObjectGroups(model.Line("M", "B")), ElementsAre(model.Base("M")));
  EXPECT_THAT(aggregator.GetObjectGroups(model.Line("F", "B")), ElementsAre(model.Base("F")));
  model.Data().RemoveFromGroup(variant, model.OccurrenceAt("1"));
  EXPECT_THAT(aggregator.GetObjectGroups(model.Line("M", "F")), UnorderedElementsAre(model.Base("M"), variant));
  model.Data().RemoveFromGroup(variant, model.OccurrenceAt("4"));
  EXPECT_THAT(aggregator.GetObjectGroups(model.Line("M", "F")), ElementsAre(model.Base("M")));
}

TEST_F(ObjectGroups, OfProductsAndEmbodimentsThereAreNone) {
  for (const UniqueMetaObjectKey& key : {model.Product("M"), model.Product("B"), model.Base("M"), variant}) {
    EXPECT_THAT(aggregator.GetObjectGroups(key), IsEmpty());
  }
}

// ---- properties

TEST(GroupValue, IsHeldByTheEmbodimentAndTheGroupObjectAlone) {
  TestModel model;
  const Aggregator aggregator({&model.Data()});
  const UniqueMetaObjectKey line = model.Line("M", "B");
  EXPECT_EQ(aggregator.GetGroupObjPropValue(model.Base("M"), line, c_position), SimplePropVal(3));
  EXPECT_TRUE(aggregator.GetGroupObjPropValue(model.Base("F"), line, c_position).IsEmpty());
  EXPECT_TRUE(aggregator.GetGroupObjPropValue(line, model.Base("M"), c_position).IsEmpty());
  EXPECT_TRUE(aggregator.GetGroupObjPropValue(model.Base("M"), line, c_marking).IsEmpty());
}

TEST(GroupValue, OfAnOccurrenceIsThatOfItsGroupObject) {
  TestModel model;
  model.Data().SetGroupValue(model.Base("F"), model.OccurrenceAt("1/2"), c_position, SimplePropVal(77));
  const Aggregator aggregator({&model.Data()});
  EXPECT_EQ(aggregator.GetGroupObjPropValue(model.Base("F"), model.OccurrenceAt("1/2"), c_position), SimplePropVal(2));
  EXPECT_EQ(aggregator.GetGroupObjPropValue(model.Base("F"), model.OccurrenceAt("4/4"), c_position), SimplePropVal(2));
}

TEST(GroupValue, OfAnOccurrenceWithoutAGroupObjectIsItsOwn) {
  TestModel model;
  MetaObject lone;
  lone.type = MetaObjectType::partOccurrence;
  const UniqueMetaObjectKey key = model.Data().Add(lone);
  model.Data().SetGroupValue(model.Base("M"), key, c_position, SimplePropVal(9));
  const Aggregator aggregator({&model.Data()});
  EXPECT_EQ(aggregator.GetGroupObjPropValue(model.Base("M"), key, c_position), SimplePropVal(9));
}

TEST(OwnPosition, OfAGroupObjectAndOfAnOccurrenceThatHasOneIsEmpty) {
  TestModel model;
  const Aggregator aggregator({&model.Data()});
  for (const auto& [key, object] : model.Data().All()) {
    EXPECT_TRUE(aggregator.GetObjPropValue(key, c_position).IsEmpty());
    EXPECT_EQ(aggregator.GetPropValueRef(key, c_position).Value(), nullptr);
  }
}

TEST(OwnValue, IsThatOfTheObjectByItsName) {
  TestModel model;
  const Aggregator aggregator({&model.Data()});
  EXPECT_EQ(aggregator.GetObjPropValue(model.Product("B"), c_productName), Text(L"Bolt"));
  EXPECT_TRUE(aggregator.GetObjPropValue(model.Product("B"), c_position).IsEmpty());
  const PropValueRef reference = aggregator.GetPropValueRef(model.Product("B"), c_productName);
  ASSERT_NE(reference.Value(), nullptr);
  EXPECT_EQ(*reference.Value(), Text(L"Bolt"));
}

// ---- attributes

TEST(Handler, HasTheNullGroupKeyAndTheKeyOfItsObject) {
  TestModel model;
  const Aggregator aggregator({&model.Data()});
  for (const UniqueMetaObjectKey& key : {model.OccurrenceAt("3"), model.Line("M", "B"), Key("nobody")}) {
    EXPECT_EQ(aggregator.MakeGroupPartHandler(key).GetGroupKey(), UniqueMetaObjectKey::null);
    EXPECT_EQ(aggregator.MakeGroupPartHandler(key).GetObjectKey(), key);
  }
}

TEST(Handler, IsValidOnlyOverAnAttributeRecord) {
  TestModel model;
  const Aggregator aggregator({&model.Data()});
  const UniqueMetaObjectKey key = model.OccurrenceAt("3");
  for (const ProductPart& part : {ProductPart(UnloadedPart()), ProductPart(ForeignPart())}) {
    model.Data().Find(key)->part = part;
    EXPECT_FALSE(aggregator.MakeGroupPartHandler(key).IsValid());
    EXPECT_FALSE(aggregator.MakeGroupPartHandler(key).GetRawPartHandler(key).IsValid());
  }
  model.SetAttributes(key, c_excluded);
  const GroupPartHandler handler = aggregator.MakeGroupPartHandler(key);
  EXPECT_TRUE(handler.IsValid());
  EXPECT_TRUE(handler.GetRawPartHandler(key).IsValid());
  EXPECT_TRUE(handler.GetGroupPartHandler(model.Base("M")).IsValid());
}

TEST(Handler, GivesTheAttributesOfItsObject) {
  TestModel model;
  const Aggregator aggregator({&model.Data()});
  const UniqueMetaObjectKey key = model.OccurrenceAt("3");
  const PartAttributes attributes{.includeFlag = true, .excludeFlag = true, .embodimentBoundFlag = 0x80000000};
  model.SetAttributes(key, attributes);
  const GroupPartHandler handler = aggregator.MakeGroupPartHandler(key);
  EXPECT_EQ(std::get<AttributedPart>(handler.GetRawPartHandler(key).GetProductPart()).attributes, attributes);
  EXPECT_EQ(std::get<AttributedPart>(handler.GetGroupPartHandler(model.Base("M")).GetProductPart()).attributes,
            attributes);
}

TEST(Handler, KnowsOfTheAttributesOfNoOtherObject) {
  TestModel model;
  const Aggregator aggregator({&model.Data()});
  model.SetAttributes(model.Line("M", "B"), c_excluded);
  EXPECT_FALSE(aggregator.MakeGroupPartHandler(model.OccurrenceAt("3")).IsValid());
  EXPECT_FALSE(aggregator.MakeGroupPartHandler(model.Line("F", "B")).IsValid());
}

TEST(Calculator, IsAvailableWhereOneIsGivenAndOnlyThere) {
  TestModel model;
  const NiceMock<MockPropertyCalculator> calculator;
  const UniqueMetaObjectKey key = model.OccurrenceAt("3");
  const auto part = [&key](const Aggregator& aggregator) {
    return aggregator.MakeGroupPartHandler(key).GetRawPartHandler(key);
  };
  const Aggregator without({&model.Data()});
  const Aggregator with({&model.Data()}, &calculator);
  EXPECT_FALSE(part(without).IsCalcAvailable());
  EXPECT_THROW(part(without).GetPropertyCalculator(), std::logic_error);
  EXPECT_TRUE(part(with).IsCalcAvailable());
  EXPECT_EQ(&part(with).GetPropertyCalculator(), &calculator);
}

// ---- billets

TEST(Billet, IsManualOrAssociative) {
  TestModel model;
  const Aggregator aggregator({&model.Data()});
  const UniqueMetaObjectKey line = model.Line("M", "P");
  const auto isAssociative = [&] {
    return meta_data::SP::IsAssociativeBillet(aggregator.GetMetaProductData(line), line);
  };
  EXPECT_FALSE(aggregator.IsManualBillet(line));
  EXPECT_FALSE(isAssociative());
  model.MakeStock(line, BilletKind::manual);
  EXPECT_TRUE(aggregator.IsManualBillet(line));
  EXPECT_FALSE(isAssociative());
  model.MakeStock(line, BilletKind::associative);
  EXPECT_FALSE(aggregator.IsManualBillet(line));
  EXPECT_TRUE(isAssociative());
}

// ---- several product data

class SeveralProductData : public testing::Test {
 protected:
  SeveralProductData() : aggregator({&first, &second}) {
    first.Insert(Key("both"), WithName(MetaObjectType::partProduct, L"first"));
    second.Insert(Key("both"), WithName(MetaObjectType::billet, L"second"));
    first.Insert(Key("in first"), WithName(MetaObjectType::partOccurrence, L"in first"));
    second.Insert(Key("in second"), WithName(MetaObjectType::groupObject, L"in second"));
  }

  ProductData first;
  ProductData second;
  Aggregator aggregator;
};

TEST_F(SeveralProductData, AreSeenAsOne) {
  EXPECT_TRUE(aggregator.HasObject(Key("in first")));
  EXPECT_TRUE(aggregator.HasObject(Key("in second")));
  EXPECT_FALSE(aggregator.HasObject(Key("in none")));
  EXPECT_EQ(aggregator.GetMetaObjectType(Key("in second")), 8u);
  EXPECT_TRUE(aggregator.IsGroupObject(Key("in second")));
  EXPECT_EQ(aggregator.GetObjPropValue(Key("in second"), c_productName), Text(L"in second"));
}

TEST_F(SeveralProductData, AnswerFromTheFirstThatHoldsAKey) {
  second.Find(Key("both"))->billet = BilletKind::manual;
  second.Find(Key("both"))->groupObject = Key("line");
  second.Find(Key("both"))->part = AttributedPart{c_excluded};
  EXPECT_EQ(aggregator.GetMetaObjectType(Key("both")), 1u);
  EXPECT_EQ(aggregator.GetObjPropValue(Key("both"), c_productName), Text(L"first"));
  EXPECT_EQ(*aggregator.GetPropValueRef(Key("both"), c_productName).Value(), Text(L"first"));
  EXPECT_FALSE(aggregator.IsManualBillet(Key("both")));
  EXPECT_EQ(aggregator.GetGroupObjectKey(Key("both")), UniqueMetaObjectKey::null);
  EXPECT_FALSE(aggregator.MakeGroupPartHandler(Key("both")).IsValid());
}

TEST_F(SeveralProductData, AreEachFoundByTheirObjects) {
  EXPECT_EQ(&aggregator.GetMetaProductData(Key("in first")), &first);
  EXPECT_EQ(&aggregator.GetMetaProductData(Key("in second")), &second);
  EXPECT_EQ(&aggregator.GetMetaProductData(Key("both")), &first);
}

TEST_F(SeveralProductData, HaveTheirGroupsWhereTheirObjectsAre) {
  second.SetGroupValue(Key("group"), Key("in second"), c_position, SimplePropVal(5));
  first.SetGroupValue(Key("group"), Key("in second"), c_position, SimplePropVal(6));
  EXPECT_EQ(aggregator.GetGroupObjPropValue(Key("group"), Key("in second"), c_position), SimplePropVal(5));
}

TEST_F(SeveralProductData, AnswerDifferentlyInAnotherOrder) {
  const Aggregator reversed({&second, &first});
  EXPECT_EQ(reversed.GetMetaObjectType(Key("both")), 6u);
}

}  // namespace
