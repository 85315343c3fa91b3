#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include <gtest/gtest.h>

#include "tests/support/Links.h"

namespace {

const GeometryObject3D c_solid1 = Solid({1}, "n");
const GeometryObject3D c_solid2 = Solid({2}, "n");
const GeometryObject3D c_solid3 = Solid({3}, "n");
const GeometryObject3D c_solid4 = Solid({4}, "n");

// Does the call in a process of its own, and ends that after 50 ms.
template <class Call>
void ExpectNoEnd(const Call& call) {
  const auto doInTime = [&call] {
    ualarm(50000, 0);
    call();
    std::exit(0);
  };
  EXPECT_EXIT(doInTime(), testing::KilledBySignal(SIGALRM), "");
}

}  // namespace

TEST(ReplaceGeometryObject, GivesEveryLinkOfTheOldObjectTheNewOneInBothSets) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("b"), c_solid1}, {Key("c"), c_solid2}}, LinkSet::Validated);
  store->AddLink(Key("d"), c_solid1, LinkSet::Unique);
  store->AddLink(Key("e"), c_solid2, LinkSet::Unique);
  store->ReplaceGeometryObject(c_solid1, c_solid3);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("d"), c_solid3}, {Key("e"), c_solid2}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), c_solid3}, {Key("b"), c_solid3}, {Key("c"), c_solid2}}));
}

TEST(ReplaceGeometryObject, WhereNoLinkHoldsTheOldObjectChangesNothing) {
  const Links links{{Key("a"), c_solid1}, {Key("b"), c_solid2}};
  const Store store = MakeStore(links);
  store->ReplaceGeometryObject(c_solid3, c_solid1);
  EXPECT_EQ(UniqueContents(store), links);
  EXPECT_EQ(ValidatedContents(store), links);
  EXPECT_NO_THROW(MakeStore()->ReplaceGeometryObject(c_solid1, c_solid2));
}

TEST(ReplaceGeometryObject, ByAnEquivalentOneEndsWhereNoLinkHoldsIt) {
  const Links links{{Key("a"), c_solid1}};
  const Store store = MakeStore(links);
  store->ReplaceGeometryObject(c_solid2, EquivalentTo(c_solid2));
  EXPECT_EQ(UniqueContents(store), links);
  EXPECT_EQ(ValidatedContents(store), links);
}

TEST(ReplaceGeometryObjectDeathTest, ByAnEquivalentOneDoesNotEndWhereALinkHoldsIt) {
  for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
    const Store store = MakeStore({{Key("a"), c_solid1}}, set);
    ExpectNoEnd([&store] { store->ReplaceGeometryObject(c_solid1, EquivalentTo(c_solid1)); });
  }
}

TEST(ReplaceGeometryObject, FindsTheOldObjectByItsOrderAndStoresTheNewOneWhole) {
  const Store store = MakeStore({{Key("a"), EquivalentTo(c_solid1)}});
  store->ReplaceGeometryObject(c_solid1, EquivalentTo(c_solid2));
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), EquivalentTo(c_solid2)}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), EquivalentTo(c_solid2)}}));
}

TEST(ReplaceGeometryObject, ByOneThatTheUniqueSetLinksDropsTheChangedLinkAndKeepsTheOther) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("b"), c_solid2}, {Key("c"), c_solid3}}, LinkSet::Unique);
  store->ReplaceGeometryObject(c_solid1, EquivalentTo(c_solid2));
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), c_solid2}, {Key("c"), c_solid3}}));
  EXPECT_EQ(store->GetGeometryObject(Key("a")), GeometryObject3D());
}

TEST(ReplaceGeometryObject, IntoAPairThatTheValidatedSetHoldsDropsTheChangedLinkAndKeepsTheOther) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("a"), c_solid2}, {Key("b"), c_solid1}}, LinkSet::Validated);
  store->ReplaceGeometryObject(c_solid1, EquivalentTo(c_solid2));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), c_solid2}, {Key("b"), EquivalentTo(c_solid2)}}));
}

TEST(ReplaceGeometryObject, ThatDropsALinkOfOneSetLeavesTheOtherSetsLink) {
  const Store droppedFromUnique = MakeStore({{Key("a"), c_solid1}});
  droppedFromUnique->AddLink(Key("b"), c_solid2, LinkSet::Unique);
  droppedFromUnique->ReplaceGeometryObject(c_solid1, c_solid2);
  EXPECT_EQ(UniqueContents(droppedFromUnique), (Links{{Key("b"), c_solid2}}));
  EXPECT_EQ(ValidatedContents(droppedFromUnique), (Links{{Key("a"), c_solid2}}));

  const Store droppedFromValidated = MakeStore({{Key("a"), c_solid1}});
  droppedFromValidated->AddLink(Key("a"), c_solid2, LinkSet::Validated);
  droppedFromValidated->ReplaceGeometryObject(c_solid1, c_solid2);
  EXPECT_EQ(UniqueContents(droppedFromValidated), (Links{{Key("a"), c_solid2}}));
  EXPECT_EQ(ValidatedContents(droppedFromValidated), (Links{{Key("a"), c_solid2}}));
}

TEST(ReplaceGeometryObject, AddsNothingToTheSetThatDidNotHoldTheOldObject) {
  const Store store = MakeStore({{Key("a"), c_solid1}}, LinkSet::Unique);
  store->ReplaceGeometryObject(c_solid1, c_solid2);
  EXPECT_EQ(ValidatedContents(store), Links());
}

TEST(ReplaceGeometryObject, KeepsThePlaceOfALinkAmongTheLinksOfItsKey) {
  const Store store = MakeStore({{Key("k"), c_solid2}, {Key("k"), c_solid1}, {Key("k"), c_solid3}}, LinkSet::Validated);
  store->ReplaceGeometryObject(c_solid1, c_solid4);
  EXPECT_EQ(store->GetGeometryObjects(Key("k"), LinkSet::Validated), (Geometries{c_solid2, c_solid4, c_solid3}));
}

TEST(ReplaceGeometryObject, PutsAMovedLinkBehindTheOldLinksOfTheNewObject) {
  // c_solid2 lies between c_solid1 and c_solid3, so the link moves.
  const Store store = MakeStore({{Key("z"), c_solid3}, {Key("m"), c_solid2}, {Key("a"), c_solid1}}, LinkSet::Validated);
  store->ReplaceGeometryObject(c_solid1, c_solid3);
  EXPECT_EQ(store->GetMetaObjectKeys(c_solid3), (Keys{Key("z"), Key("a")}));
}

TEST(ReplaceGeometryObject, LeavesALinkInItsPlaceWhereItsNeighboursAllowIt) {
  // The link to c_solid1 stands directly before those to c_solid3: it stays there and comes first.
  const Store store = MakeStore({{Key("z"), c_solid3}, {Key("m"), c_solid3}, {Key("x"), c_solid1}}, LinkSet::Validated);
  store->ReplaceGeometryObject(c_solid1, c_solid3);
  EXPECT_EQ(store->GetMetaObjectKeys(c_solid3), (Keys{Key("x"), Key("z"), Key("m")}));
}

TEST(ReplaceGeometryObject, MovesTheLinksOfTheOldObjectOneAfterTheOtherTheLastOfThemStaying) {
  // First p moves behind z; then q, whose next neighbour is z by now, stays.
  const Store store = MakeStore({{Key("p"), c_solid1}, {Key("q"), c_solid1}, {Key("z"), c_solid2}}, LinkSet::Validated);
  store->ReplaceGeometryObject(c_solid1, c_solid2);
  EXPECT_EQ(store->GetMetaObjectKeys(c_solid2), (Keys{Key("q"), Key("z"), Key("p")}));
}

TEST(ReplaceMetaObjectKey, ByTheSameKeyEndsWhereNoLinkHoldsIt) {
  const Links links{{Key("a"), c_solid1}};
  const Store store = MakeStore(links);
  store->ReplaceMetaObjectKey(Key("b"), Key("b"), LinkSet::Both);
  EXPECT_EQ(UniqueContents(store), links);
  EXPECT_EQ(ValidatedContents(store), links);
}

TEST(ReplaceMetaObjectKeyDeathTest, ByTheSameKeyDoesNotEndWhereALinkHoldsIt) {
  for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
    const Store store = MakeStore({{Key("a"), c_solid1}}, set);
    ExpectNoEnd([&store, set] { store->ReplaceMetaObjectKey(Key("a"), Key("a"), set); });
  }
}

TEST(ReplaceMetaObjectKey, WorksOnTheSetsThatTheLinkSetValueChooses) {
  for (const LinkSetChoice& choice : LinkSetChoices()) {
    SCOPED_TRACE(Named(choice));
    const Links before{{Key("a"), c_solid1}, {Key("b"), c_solid2}};
    const Links after{{Key("b"), c_solid2}, {Key("c"), c_solid1}};
    const Store store = MakeStore(before);
    store->ReplaceMetaObjectKey(Key("a"), Key("c"), choice.set);
    EXPECT_EQ(UniqueContents(store), choice.changesUnique ? after : before);
    EXPECT_EQ(ValidatedContents(store), choice.changesValidated ? after : before);
  }
}

TEST(ReplaceMetaObjectKey, GivesEveryLinkOfTheOldKeyTheNewOne) {
  const Store store = MakeStore(
      {{Key("a"), c_solid1}, {Key("b"), c_solid1}, {Key("a"), c_solid2}, {Key("a"), c_solid3}}, LinkSet::Validated);
  store->ReplaceMetaObjectKey(Key("a"), Key("x"), LinkSet::Validated);
  EXPECT_EQ(store->GetGeometryObjects(Key("a"), LinkSet::Validated), Geometries());
  EXPECT_EQ(ValidatedContents(store).size(), 4U);
  for (const GeometryObject3D& geometry : {c_solid1, c_solid2, c_solid3}) {
    EXPECT_TRUE(store->HasLink(Key("x"), geometry, LinkSet::Validated));
  }
}

TEST(ReplaceMetaObjectKey, OfAKeyThatIsNotLinkedChangesNothing) {
  const Links links{{Key("a"), c_solid1}, {Key("ab"), c_solid2}};
  const Store store = MakeStore(links);
  store->ReplaceMetaObjectKey(Key({"a\0", 2}), Key("a"), LinkSet::Both);
  store->ReplaceMetaObjectKey(Key(""), Key("a"), LinkSet::Both);
  store->ReplaceMetaObjectKey(Key("abc"), Key("a"), LinkSet::Both);
  EXPECT_EQ(UniqueContents(store), links);
  EXPECT_EQ(ValidatedContents(store), links);
}

TEST(ReplaceMetaObjectKey, TakesTheEmptyKeyLikeAnyOther) {
  const Store store = MakeStore({{Key("a"), c_solid1}});
  store->ReplaceMetaObjectKey(Key("a"), Key(""), LinkSet::Both);
  EXPECT_EQ(UniqueContents(store), (Links{{Key(""), c_solid1}}));
  store->ReplaceMetaObjectKey(Key(""), Key("b"), LinkSet::Both);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), c_solid1}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("b"), c_solid1}}));
}

TEST(ReplaceMetaObjectKey, ByOneThatTheUniqueSetLinksDropsTheChangedLinkAndKeepsTheOther) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("b"), c_solid2}, {Key("c"), c_solid3}}, LinkSet::Unique);
  store->ReplaceMetaObjectKey(Key("a"), Key("c"), LinkSet::Unique);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), c_solid2}, {Key("c"), c_solid3}}));
  EXPECT_EQ(store->GetMetaObjectKey(c_solid1, LinkSet::Unique), UniqueMetaObjectKey::null);
}

TEST(ReplaceMetaObjectKey, IntoAPairThatTheValidatedSetHoldsDropsTheChangedLinkAndKeepsTheOther) {
  const Store store =
      MakeStore({{Key("a"), c_solid1}, {Key("b"), c_solid3}, {Key("b"), EquivalentTo(c_solid1)}, {Key("a"), c_solid2}},
                LinkSet::Validated);
  store->ReplaceMetaObjectKey(Key("a"), Key("b"), LinkSet::Validated);
  EXPECT_EQ(store->GetMetaObjectKeys(c_solid1), (Keys{Key("b")}));
  EXPECT_TRUE(store->HasLink(Key("b"), EquivalentTo(c_solid1), LinkSet::Validated));
  EXPECT_TRUE(store->HasLink(Key("b"), c_solid2, LinkSet::Validated));
  EXPECT_TRUE(store->HasLink(Key("b"), c_solid3, LinkSet::Validated));
  EXPECT_EQ(ValidatedContents(store).size(), 3U);
}

TEST(ReplaceMetaObjectKey, ThatDropsALinkOfOneSetLeavesTheOtherSetsLink) {
  const Store store = MakeStore({{Key("a"), c_solid1}});
  store->AddLink(Key("b"), c_solid2, LinkSet::Unique);
  store->ReplaceMetaObjectKey(Key("a"), Key("b"), LinkSet::Both);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), c_solid2}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("b"), c_solid1}}));
}

TEST(ReplaceMetaObjectKey, KeepsThePlaceOfALinkAmongTheLinksOfItsGeometryObject) {
  const Store store = MakeStore({{Key("m"), c_solid1}, {Key("a"), c_solid1}, {Key("z"), c_solid1}}, LinkSet::Validated);
  store->ReplaceMetaObjectKey(Key("a"), Key("zz"), LinkSet::Validated);
  EXPECT_EQ(store->GetMetaObjectKeys(c_solid1), (Keys{Key("m"), Key("zz"), Key("z")}));
}

TEST(ReplaceMetaObjectKey, PutsAMovedLinkBehindTheOldLinksOfTheNewKey) {
  // b lies between a and c, so the link moves.
  const Store store = MakeStore(
      {{Key("c"), c_solid2}, {Key("c"), c_solid3}, {Key("b"), c_solid4}, {Key("a"), c_solid1}}, LinkSet::Validated);
  store->ReplaceMetaObjectKey(Key("a"), Key("c"), LinkSet::Validated);
  EXPECT_EQ(ValidatedContents(store),
            (Links{{Key("b"), c_solid4}, {Key("c"), c_solid2}, {Key("c"), c_solid3}, {Key("c"), c_solid1}}));
}

TEST(ReplaceMetaObjectKey, LeavesALinkInItsPlaceWhereItsNeighboursAllowIt) {
  const Store upwards =
      MakeStore({{Key("b"), c_solid2}, {Key("b"), c_solid3}, {Key("a"), c_solid1}}, LinkSet::Validated);
  upwards->ReplaceMetaObjectKey(Key("a"), Key("b"), LinkSet::Validated);
  EXPECT_EQ(ValidatedContents(upwards), (Links{{Key("b"), c_solid1}, {Key("b"), c_solid2}, {Key("b"), c_solid3}}));

  const Store downwards =
      MakeStore({{Key("b"), c_solid2}, {Key("a"), c_solid3}, {Key("a"), c_solid1}}, LinkSet::Validated);
  downwards->ReplaceMetaObjectKey(Key("b"), Key("a"), LinkSet::Validated);
  EXPECT_EQ(ValidatedContents(downwards), (Links{{Key("a"), c_solid3}, {Key("a"), c_solid1}, {Key("a"), c_solid2}}));
}

TEST(ReplaceMetaObjectKey, MovesTheLinksOfTheOldKeyOneAfterTheOtherTheLastOfThemStaying) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("a"), c_solid2}, {Key("b"), c_solid3}}, LinkSet::Validated);
  store->ReplaceMetaObjectKey(Key("a"), Key("b"), LinkSet::Validated);
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("b"), c_solid2}, {Key("b"), c_solid3}, {Key("b"), c_solid1}}));
}

TEST(Replacements, KeepTheStoredLinkWhereItIsInMemory) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("m"), c_solid2}});
  for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
    const UniqueMetaObjectKey* stored = &store->GetMetaObjectKey(c_solid1, set);
    store->ReplaceMetaObjectKey(Key("a"), Key("z"), set);
    EXPECT_EQ(&store->GetMetaObjectKey(c_solid1, set), stored);
  }
  const UniqueMetaObjectKey* stored = &store->GetMetaObjectKey(c_solid1, LinkSet::Validated);
  store->ReplaceGeometryObject(c_solid1, c_solid4);
  EXPECT_EQ(&store->GetMetaObjectKey(c_solid4, LinkSet::Validated), stored);
  store->ReplaceComponentPath({4}, {5});
  EXPECT_EQ(&store->GetMetaObjectKey(Solid({5}, "n"), LinkSet::Validated), stored);
}

TEST(Replacements, DoNotAskTheValidator) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("b"), c_solid2}});
  std::size_t calls = 0;
  store->SetLinkValidater([&calls](const ProductGeometryObject3D&) { return ++calls <= 2; });
  calls = 0;
  store->ReplaceGeometryObject(c_solid1, c_solid3);
  store->ReplaceMetaObjectKey(Key("a"), Key("z"), LinkSet::Both);
  store->ReplaceComponentPath({3}, {9});
  store->RegenerateMetaObjectKeys();
  EXPECT_EQ(calls, 0U);
  EXPECT_EQ(ValidatedContents(store).size(), 2U);
}

TEST(Replacements, WorkWithoutAValidator) {
  const Store store = CreateProductGeometryObjects3D(nullptr);
  store->AddLink(Key("a"), c_solid1, LinkSet::Unique);
  store->ReplaceGeometryObject(c_solid1, c_solid2);
  store->ReplaceMetaObjectKey(Key("a"), Key("b"), LinkSet::Both);
  store->ReplaceComponentPath({2}, {3});
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), c_solid3}}));
}
