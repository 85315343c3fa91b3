// Product data in memory: look-ups, related meta objects, names.

#include "host/model/ProductData.h"

#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/model/TestModel.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using host::MetaObject;
using host::MetaObjectType;
using host::ProductData;

MetaObject Object(MetaObjectType type, const std::string& holder = {}, const std::string& product = {}) {
  MetaObject object;
  object.type = type;
  object.holder = Key(holder);
  object.product = Key(product);
  return object;
}

MetaObject Named(MetaObject object, const std::wstring& marking, const std::wstring& name) {
  if (!marking.empty()) {
    object.properties[c_marking] = SimplePropVal(marking);
  }
  if (!name.empty()) {
    object.properties[c_productName] = SimplePropVal(name);
  }
  return object;
}

TEST(MetaObjectType, HasTheNumbersThatDocumentsStore) {
  EXPECT_EQ(static_cast<int>(MetaObjectType::unknown), 0);
  EXPECT_EQ(static_cast<int>(MetaObjectType::partProduct), 1);
  EXPECT_EQ(static_cast<int>(MetaObjectType::assemblyProduct), 2);
  EXPECT_EQ(static_cast<int>(MetaObjectType::embodiment), 3);
  EXPECT_EQ(static_cast<int>(MetaObjectType::partOccurrence), 4);
  EXPECT_EQ(static_cast<int>(MetaObjectType::assemblyOccurrence), 5);
  EXPECT_EQ(static_cast<int>(MetaObjectType::billet), 6);
  EXPECT_EQ(static_cast<int>(MetaObjectType::groupObject), 8);
}

TEST(ProductData, IsEmptyAtFirst) {
  const ProductData data;
  EXPECT_TRUE(data.All().empty());
  EXPECT_TRUE(data.AllGroups().empty());
  EXPECT_EQ(data.RootProduct(), UniqueMetaObjectKey::null);
  EXPECT_FALSE(data.HasMetaObject(UniqueMetaObjectKey::null));
}

TEST(ProductData, AddsUnderAFreshKey) {
  ProductData data;
  const UniqueMetaObjectKey first = data.Add(Object(MetaObjectType::partProduct));
  const UniqueMetaObjectKey second = data.Add(Object(MetaObjectType::billet));
  EXPECT_FALSE(first == second);
  EXPECT_TRUE(data.HasMetaObject(first));
  ASSERT_NE(data.Find(second), nullptr);
  EXPECT_EQ(data.Find(second)->type, MetaObjectType::billet);
  EXPECT_EQ(data.All().size(), 2u);
}

TEST(ProductData, InsertsUnderAGivenKeyInWhateverOrder) {
  ProductData data;
  for (const char* key : {"b", "a", "c", ""}) {
    EXPECT_TRUE(data.Insert(Key(key), Object(MetaObjectType::partProduct))) << key;
  }
  std::vector<UniqueMetaObjectKey> keys;
  for (const auto& [key, object] : data.All()) {
    keys.push_back(key);
  }
  EXPECT_THAT(keys, ElementsAre(Key(""), Key("a"), Key("b"), Key("c")));
}

TEST(ProductData, InsertLeavesATakenKeyAsItIs) {
  ProductData data;
  EXPECT_TRUE(data.Insert(Key("a"), Object(MetaObjectType::partProduct)));
  EXPECT_TRUE(data.Insert(Key("z"), Object(MetaObjectType::partProduct)));
  EXPECT_FALSE(data.Insert(Key("a"), Object(MetaObjectType::billet)));
  EXPECT_EQ(data.Find(Key("a"))->type, MetaObjectType::partProduct);
  EXPECT_EQ(data.All().size(), 2u);
}

TEST(ProductData, FindsNothingUnderAnUnknownKey) {
  ProductData data;
  data.Insert(Key("a"), {});
  EXPECT_EQ(data.Find(Key("b")), nullptr);
  EXPECT_EQ(std::as_const(data).Find(Key("")), nullptr);
}

TEST(ProductData, WhatIsFoundCanBeChanged) {
  ProductData data;
  data.Insert(Key("a"), {});
  data.Find(Key("a"))->type = MetaObjectType::billet;
  EXPECT_EQ(std::as_const(data).Find(Key("a"))->type, MetaObjectType::billet);
}

TEST(RelatedMetaObjects, OfAnOccurrenceAreTheOccurrenceThatHoldsIt) {
  ProductData data;
  data.Insert(Key("part"), Object(MetaObjectType::partOccurrence, "sub"));
  data.Insert(Key("sub"), Object(MetaObjectType::assemblyOccurrence, "top"));
  data.Insert(Key("stock"), Object(MetaObjectType::billet, "sub"));
  EXPECT_THAT(data.GetRelatedMetaObjects(Key("part")), ElementsAre(Key("sub")));
  EXPECT_THAT(data.GetRelatedMetaObjects(Key("sub")), ElementsAre(Key("top")));
  EXPECT_THAT(data.GetRelatedMetaObjects(Key("stock")), ElementsAre(Key("sub")));
}

TEST(RelatedMetaObjects, DirectlyBelowTheRootThereAreNone) {
  ProductData data;
  data.Insert(Key("part"), Object(MetaObjectType::partOccurrence));
  data.Insert(Key("sub"), Object(MetaObjectType::assemblyOccurrence));
  EXPECT_THAT(data.GetRelatedMetaObjects(Key("part")), IsEmpty());
  EXPECT_THAT(data.GetRelatedMetaObjects(Key("sub")), IsEmpty());
}

TEST(RelatedMetaObjects, OfAnythingThatIsNoOccurrenceThereAreNone) {
  ProductData data;
  for (const MetaObjectType type :
       {MetaObjectType::unknown, MetaObjectType::partProduct, MetaObjectType::assemblyProduct,
        MetaObjectType::embodiment, MetaObjectType::groupObject}) {
    const UniqueMetaObjectKey key = data.Add(Object(type, "holder", "product"));
    EXPECT_THAT(data.GetRelatedMetaObjects(key), IsEmpty()) << static_cast<int>(type);
  }
}

TEST(RelatedMetaObjects, OfAnUnknownKeyThereAreNone) {
  const ProductData data;
  EXPECT_THAT(data.GetRelatedMetaObjects(Key("nobody")), IsEmpty());
  EXPECT_THAT(data.GetRelatedMetaObjects(UniqueMetaObjectKey::null), IsEmpty());
}

TEST(DisplayName, OfAProductIsItsMarkingAndName) {
  ProductData data;
  data.Insert(Key("both"), Named(Object(MetaObjectType::partProduct), L"QD.01", L"Bolt"));
  data.Insert(Key("marking"), Named(Object(MetaObjectType::partProduct), L"QD.01", L""));
  data.Insert(Key("name"), Named(Object(MetaObjectType::partProduct), L"", L"Bolt"));
  data.Insert(Key("same"), Named(Object(MetaObjectType::partProduct), L"Bolt", L"Bolt"));
  EXPECT_EQ(data.DisplayName(Key("both")), "QD.01 Bolt");
  EXPECT_EQ(data.DisplayName(Key("marking")), "QD.01");
  EXPECT_EQ(data.DisplayName(Key("name")), "Bolt");
  EXPECT_EQ(data.DisplayName(Key("same")), "Bolt");
}

TEST(DisplayName, OfAnOccurrenceAndAGroupObjectIsThatOfTheProductUsed) {
  ProductData data;
  data.Insert(Key("bolt"), Named(Object(MetaObjectType::partProduct), L"QD.01", L"Bolt"));
  for (const MetaObjectType type :
       {MetaObjectType::partOccurrence, MetaObjectType::assemblyOccurrence, MetaObjectType::groupObject}) {
    const UniqueMetaObjectKey key = data.Add(Named(Object(type, "", "bolt"), L"own", L"own"));
    EXPECT_EQ(data.DisplayName(key), "QD.01 Bolt") << static_cast<int>(type);
  }
}

TEST(DisplayName, OfAnEmbodimentIsItsOwn) {
  ProductData data;
  data.Insert(Key("machine"), Named(Object(MetaObjectType::assemblyProduct), L"QD.00", L"Machine"));
  data.Insert(Key("variant"), Named(Object(MetaObjectType::embodiment, "", "machine"), L"QD.00-01", L""));
  EXPECT_EQ(data.DisplayName(Key("variant")), "QD.00-01");
}

TEST(DisplayName, IsTheKeyWhereThereIsNeitherMarkingNorName) {
  ProductData data;
  data.Insert(Key("part\n"), Object(MetaObjectType::partProduct));
  data.Insert(Key("lost"), Object(MetaObjectType::partOccurrence, "", "gone"));
  EXPECT_EQ(data.DisplayName(Key("part\n")), "part\\x0A");
  EXPECT_EQ(data.DisplayName(Key("lost")), "lost");
  EXPECT_EQ(data.DisplayName(Key("nobody")), "nobody");
  EXPECT_EQ(data.DisplayName(UniqueMetaObjectKey::null), "");
}

}  // namespace
