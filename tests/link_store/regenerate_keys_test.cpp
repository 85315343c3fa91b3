#include <map>
#include <system_error>

#include <gtest/gtest.h>

#include "tests/support/GeneratedKeys.h"
#include "tests/support/Links.h"

namespace {

const GeometryObject3D c_solid1 = Solid({1}, "n");
const GeometryObject3D c_solid2 = Solid({2}, "n");
const GeometryObject3D c_solid3 = Solid({3}, "n");

using KeyMap = std::map<UniqueMetaObjectKey, UniqueMetaObjectKey>;

}  // namespace

TEST(RegenerateMetaObjectKeys, OfAnEmptyStoreMakesNoKeyAndReturnsAnEmptyMap) {
  const GeneratedKeys generated({});
  EXPECT_EQ(MakeStore()->RegenerateMetaObjectKeys(), KeyMap());
  EXPECT_EQ(generated.Calls(), 0U);
}

TEST(RegenerateMetaObjectKeys, GivesEveryUniqueLinkAFreshKeyMadeInKeyOrder) {
  const Store store = MakeStore({{Key("c"), c_solid1}, {Key("a"), c_solid2}, {Key("b"), c_solid3}}, LinkSet::Unique);
  const GeneratedKeys generated({Key("n1"), Key("n2"), Key("n3")});
  const KeyMap expected{{Key("a"), Key("n1")}, {Key("b"), Key("n2")}, {Key("c"), Key("n3")}};
  EXPECT_EQ(store->RegenerateMetaObjectKeys(), expected);
  EXPECT_EQ(generated.Calls(), 3U);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("n1"), c_solid2}, {Key("n2"), c_solid3}, {Key("n3"), c_solid1}}));
}

TEST(RegenerateMetaObjectKeys, GivesAKeyOfBothSetsOneNewKeyTheSameInBoth) {
  const Store store = MakeStore({{Key("a"), c_solid1}});
  const GeneratedKeys generated({Key("n1")});
  EXPECT_EQ(store->RegenerateMetaObjectKeys(), (KeyMap{{Key("a"), Key("n1")}}));
  EXPECT_EQ(generated.Calls(), 1U);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("n1"), c_solid1}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("n1"), c_solid1}}));
}

TEST(RegenerateMetaObjectKeys, MakesTheKeysOfTheUniqueSetBeforeThoseThatOnlyTheValidatedSetHas) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("c"), c_solid2}}, LinkSet::Validated);
  store->AddLink(Key("b"), c_solid3, LinkSet::Unique);
  store->AddLink(Key("c"), c_solid2, LinkSet::Unique);
  const GeneratedKeys generated({Key("n1"), Key("n2"), Key("n3")});
  const KeyMap expected{{Key("a"), Key("n3")}, {Key("b"), Key("n1")}, {Key("c"), Key("n2")}};
  EXPECT_EQ(store->RegenerateMetaObjectKeys(), expected);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("n1"), c_solid3}, {Key("n2"), c_solid2}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("n2"), c_solid2}, {Key("n3"), c_solid1}}));
}

TEST(RegenerateMetaObjectKeys, ChangesOnlyTheFirstOfSeveralValidatedLinksOfOneKey) {
  const Store store = MakeStore({{Key("k"), c_solid2}, {Key("k"), c_solid1}, {Key("k"), c_solid3}}, LinkSet::Validated);
  const GeneratedKeys generated({Key("new")});
  EXPECT_EQ(store->RegenerateMetaObjectKeys(), (KeyMap{{Key("k"), Key("new")}}));
  EXPECT_EQ(generated.Calls(), 1U);
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("k"), c_solid1}, {Key("k"), c_solid3}, {Key("new"), c_solid2}}));
}

TEST(RegenerateMetaObjectKeys, LeavesTheOtherLinksOfAKeyToReplaceMetaObjectKeyWithTheMap) {
  const Store store = MakeStore({{Key("k"), c_solid2}, {Key("k"), c_solid1}, {Key("k"), c_solid3}}, LinkSet::Validated);
  const GeneratedKeys generated({Key("new")});
  for (const auto& [oldKey, newKey] : store->RegenerateMetaObjectKeys()) {
    store->ReplaceMetaObjectKey(oldKey, newKey, LinkSet::Validated);
  }
  EXPECT_EQ(store->GetGeometryObjects(Key("k"), LinkSet::Validated), Geometries());
  EXPECT_EQ(store->GetGeometryObjects(Key("new"), LinkSet::Validated).size(), 3U);
}

TEST(RegenerateMetaObjectKeys, TakesTheEmptyKeyLikeAnyOther) {
  const Store store = MakeStore({{Key(""), c_solid1}});
  const GeneratedKeys generated({Key("n1")});
  EXPECT_EQ(store->RegenerateMetaObjectKeys(), (KeyMap{{Key(""), Key("n1")}}));
  EXPECT_EQ(UniqueContents(store), (Links{{Key("n1"), c_solid1}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("n1"), c_solid1}}));
}

TEST(RegenerateMetaObjectKeys, KeepsTheGeometryObjectsAndAddsAndRemovesNoLink) {
  const Store store = MakeStore({{Key("a"), EquivalentTo(c_solid1)}, {Key("b"), c_solid2}});
  const GeneratedKeys generated({Key("n1"), Key("n2")});
  store->RegenerateMetaObjectKeys();
  EXPECT_EQ(store->GetMetaObjectKey(c_solid1, LinkSet::Unique), Key("n1"));
  EXPECT_TRUE(store->HasLink(Key("n1"), EquivalentTo(c_solid1), LinkSet::Validated));
  EXPECT_EQ(UniqueContents(store).size(), 2U);
  EXPECT_EQ(ValidatedContents(store).size(), 2U);
}

TEST(RegenerateMetaObjectKeys, DropsALinkOfTheUniqueSetWhoseNewKeyIsTakenThere) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("b"), c_solid2}}, LinkSet::Unique);
  const GeneratedKeys generated({Key("b"), Key("x")});
  EXPECT_EQ(store->RegenerateMetaObjectKeys(), (KeyMap{{Key("a"), Key("b")}, {Key("b"), Key("x")}}));
  EXPECT_EQ(UniqueContents(store), (Links{{Key("x"), c_solid2}}));
}

TEST(RegenerateMetaObjectKeys, DropsALinkOfTheValidatedSetWhoseNewPairIsTakenThere) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("b"), c_solid1}, {Key("b"), c_solid2}}, LinkSet::Validated);
  store->AddLink(Key("a"), c_solid3, LinkSet::Unique);
  const GeneratedKeys generated({Key("b"), Key("x")});
  store->RegenerateMetaObjectKeys();
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), c_solid3}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("b"), c_solid2}, {Key("x"), c_solid1}}));
}

TEST(RegenerateMetaObjectKeys, ChangesNothingWhereTheFirstKeyCannotBeMade) {
  const Links links{{Key("a"), c_solid1}, {Key("b"), c_solid2}};
  const Store store = MakeStore(links);
  const GeneratedKeys generated({});
  EXPECT_THROW(store->RegenerateMetaObjectKeys(), std::system_error);
  EXPECT_EQ(generated.Calls(), 1U);
  EXPECT_EQ(UniqueContents(store), links);
  EXPECT_EQ(ValidatedContents(store), links);
}

TEST(RegenerateMetaObjectKeys, MakesAllKeysOfTheUniqueSetBeforeItChangesTheFirstLink) {
  const Links links{{Key("a"), c_solid1}, {Key("b"), c_solid2}};
  const Store store = MakeStore(links);
  const GeneratedKeys generated({Key("n1")});
  EXPECT_THROW(store->RegenerateMetaObjectKeys(), std::system_error);
  EXPECT_EQ(generated.Calls(), 2U);
  EXPECT_EQ(UniqueContents(store), links);
  EXPECT_EQ(ValidatedContents(store), links);
}

TEST(RegenerateMetaObjectKeys, LeavesTheUniqueLinksChangedWhereAKeyForTheValidatedSetCannotBeMade) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("v"), c_solid2}}, LinkSet::Validated);
  store->AddLink(Key("a"), c_solid1, LinkSet::Unique);
  const GeneratedKeys generated({Key("n1")});
  EXPECT_THROW(store->RegenerateMetaObjectKeys(), std::system_error);
  EXPECT_EQ(generated.Calls(), 2U);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("n1"), c_solid1}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), c_solid1}, {Key("v"), c_solid2}}));
}
