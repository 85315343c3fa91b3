#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Links.h"

// A component path stores the outermost component last: {1, 2} is component 1 inside component 2.

namespace {

/// One link for each path, under keys "0", "1" and so on, in one set.
Store StoreOfPaths(const std::vector<ComponentPath>& paths, LinkSet set = LinkSet::Both) {
  Store store = MakeStore();
  for (std::size_t i = 0; i < paths.size(); ++i) {
    store->AddLink(Key(std::to_string(i)), Solid(paths[i], "n"), set);
  }
  return store;
}

/// The paths of the links of a set, in key order.
std::vector<ComponentPath> Paths(const Store& store, LinkSet set) {
  std::vector<ComponentPath> paths;
  for (const Link& link : Contents(*store, set)) {
    paths.push_back(link.geometry.componentPath);
  }
  return paths;
}

using ComponentPaths = std::vector<ComponentPath>;

void ExpectMoved(const ComponentPaths& before, const MbPath& from, const MbPath& to, const ComponentPaths& after) {
  const Store store = StoreOfPaths(before);
  store->ReplaceComponentPath(from, to);
  EXPECT_EQ(Paths(store, LinkSet::Unique), after);
  EXPECT_EQ(Paths(store, LinkSet::Validated), after);
}

}  // namespace

TEST(ReplaceComponentPath, MovesEveryLinkOfTheBranchInBothSets) {
  ExpectMoved({{2, 1}, {7, 2, 1}, {8, 7, 2, 1}, {2, 2}}, {2, 1}, {5, 4}, {{5, 4}, {7, 5, 4}, {8, 7, 5, 4}, {2, 2}});
}

TEST(ReplaceComponentPath, TellsABranchByTheOutermostComponentsWhichStandLast) {
  ExpectMoved({{1, 2, 3}, {3, 2, 1}, {3}, {1}}, {3}, {9}, {{1, 2, 9}, {3, 2, 1}, {9}, {1}});
}

TEST(ReplaceComponentPath, LeavesPathsThatAreShorterThanTheBranch) {
  ExpectMoved({{1}, {}, {2, 1}}, {2, 1}, {4, 3}, {{1}, {}, {4, 3}});
}

TEST(ReplaceComponentPath, LeavesPathsThatHoldTheBranchElsewhere) {
  ExpectMoved({{2, 1, 5}, {2, 5, 1}, {1, 2}}, {2, 1}, {4, 3}, {{2, 1, 5}, {2, 5, 1}, {1, 2}});
}

TEST(ReplaceComponentPath, ByAShorterPathChangesTheLastElementsOnlyAndKeepsTheLength) {
  ExpectMoved({{7, 2, 1}, {2, 1}}, {2, 1}, {9}, {{7, 2, 9}, {2, 9}});
}

TEST(ReplaceComponentPath, ByTheEmptyPathChangesNothing) {
  ExpectMoved({{7, 2, 1}, {2, 1}, {3}}, {2, 1}, {}, {{7, 2, 1}, {2, 1}, {3}});
}

TEST(ReplaceComponentPath, ByALongerPathThatStillFitsOverwritesInnerElementsToo) {
  ExpectMoved({{8, 7, 1}, {7, 1}}, {1}, {5, 4}, {{8, 5, 4}, {5, 4}});
}

TEST(ReplaceComponentPath, OfTheEmptyPathMovesEveryLink) {
  ExpectMoved({{1, 2}, {3}, {4, 5, 6}}, {}, {9}, {{1, 9}, {9}, {4, 5, 9}});
}

TEST(ReplaceComponentPath, ByAnEqualPathChangesNothing) {
  ExpectMoved({{2, 1}, {7, 2, 1}}, {2, 1}, {2, 1}, {{2, 1}, {7, 2, 1}});
  ExpectMoved({{2, 1}, {}}, {}, {}, {{2, 1}, {}});
}

TEST(ReplaceComponentPath, ByAnEqualPathLeavesEquivalentObjectsTheirOwnSecondPaths) {
  const Links links{{Key("a"), Solid({1}, "n", {10})}, {Key("b"), Solid({1}, "n", {20})}};
  const Store store = MakeStore(links, LinkSet::Validated);
  store->ReplaceComponentPath({1}, {1});
  EXPECT_EQ(ValidatedContents(store), links);
}

TEST(ReplaceComponentPath, WhereNoLinkLiesInTheBranchChangesNothing) {
  ExpectMoved({{2, 1}, {3}}, {8}, {9}, {{2, 1}, {3}});
  EXPECT_NO_THROW(MakeStore()->ReplaceComponentPath({1}, {2}));
}

TEST(ReplaceComponentPath, KeepsTypeNameAndSecondPath) {
  const Store store = MakeStore();
  const GeometryObject3D part = PartComponent({2, 1}, {6, 1, 2});
  const GeometryObject3D solid = Solid({2, 1}, "a name of more than fifteen bytes", {2, 1});
  for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
    store->AddLink(Key("p"), part, set);
    store->AddLink(Key("s"), solid, set);
  }
  store->ReplaceComponentPath({1}, {9});
  const Links expected{{Key("p"), PartComponent({2, 9}, {6, 1, 2})},
                       {Key("s"), Solid({2, 9}, "a name of more than fifteen bytes", {2, 1})}};
  EXPECT_EQ(UniqueContents(store), expected);
  EXPECT_EQ(ValidatedContents(store), expected);
}

TEST(ReplaceComponentPath, MovesPathsOfMoreLevelsThanLiveInsideTheObject) {
  ExpectMoved({{9, 8, 7, 6, 5, 4, 3, 2, 1}}, {4, 3, 2, 1}, {14, 13, 12, 11}, {{9, 8, 7, 6, 5, 14, 13, 12, 11}});
}

TEST(ReplaceComponentPath, MovesEveryLinkOfOneGeometryObjectInTheValidatedSet) {
  const Store store = MakeStore({{Key("c"), Solid({1}, "n")}, {Key("a"), Solid({1}, "n")}, {Key("b"), Solid({1}, "n")}},
                                LinkSet::Validated);
  store->ReplaceComponentPath({1}, {2});
  EXPECT_EQ(Paths(store, LinkSet::Validated), (ComponentPaths{{2}, {2}, {2}}));
  EXPECT_EQ(store->GetMetaObjectKeys(Solid({2}, "n")).size(), 3U);
  EXPECT_EQ(store->GetMetaObjectKeys(Solid({1}, "n")), Keys());
}

TEST(ReplaceComponentPath, GivesEachOfSeveralEquivalentObjectsItsOwnSecondPath) {
  const Store store =
      MakeStore({{Key("b"), Solid({1}, "n", {10})}, {Key("a"), Solid({1}, "n", {20})}}, LinkSet::Validated);
  store->ReplaceComponentPath({1}, {2});
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), Solid({2}, "n", {20})}, {Key("b"), Solid({2}, "n", {10})}}));
}

TEST(ReplaceComponentPath, OntoALinkOfTheUniqueSetDropsTheChangedLinkAndKeepsTheOther) {
  const Store store = MakeStore();
  store->AddLink(Key("a"), Solid({3, 1}, "n", {10}), LinkSet::Unique);
  store->AddLink(Key("b"), Solid({3, 2}, "n", {20}), LinkSet::Unique);
  store->AddLink(Key("c"), Solid({4, 1}, "n"), LinkSet::Unique);
  store->ReplaceComponentPath({1}, {2});
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), Solid({3, 2}, "n", {20})}, {Key("c"), Solid({4, 2}, "n")}}));
}

TEST(ReplaceComponentPath, OntoAPairOfTheValidatedSetDropsTheChangedLinkAndKeepsTheOther) {
  const Store store = MakeStore(
      {{Key("a"), Solid({1}, "n", {10})}, {Key("a"), Solid({2}, "n", {20})}, {Key("b"), Solid({1}, "n", {30})}},
      LinkSet::Validated);
  store->ReplaceComponentPath({1}, {2});
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), Solid({2}, "n", {20})}, {Key("b"), Solid({2}, "n", {30})}}));
}

TEST(ReplaceComponentPath, ThatDropsALinkOfTheUniqueSetMovesThatOfTheValidatedSet) {
  const Store store = MakeStore({{Key("a"), Solid({1}, "n")}});
  store->AddLink(Key("b"), Solid({2}, "n"), LinkSet::Unique);
  store->ReplaceComponentPath({1}, {2});
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), Solid({2}, "n")}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), Solid({2}, "n")}}));
}

TEST(ReplaceComponentPath, ChangesALinkOnceEvenWhereItsNewPathLiesInTheBranchAgain) {
  // Everything in {1} stays in {1}; each link is changed once all the same.
  ExpectMoved({{3, 5, 1}, {4, 1}}, {1}, {1, 1}, {{3, 1, 1}, {1, 1}});
}

TEST(ReplaceComponentPath, TakesTheLinksInTheOrderOfGeometryObjectsSoThatAnEarlierMoveCanDropALaterOne) {
  // Both become {9}. The first in geometry order is {1}; the second to arrive collides and is dropped.
  const Store store = MakeStore({{Key("b"), Solid({1}, "n")}, {Key("a"), Solid({2}, "n")}}, LinkSet::Unique);
  store->ReplaceComponentPath({}, {9});
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), Solid({9}, "n")}}));
}

TEST(ReplaceComponentPath, FindsALinkAgainThatAnEarlierMovePutBeforeALaterOneOfTheSameObject) {
  // The link to {1} becomes one to {2} and stays before the other, so that the search for {2} finds it first:
  // it takes that object's second path, and the other link keeps its own.
  const Store store =
      MakeStore({{Key("a"), Solid({1}, "n", {10})}, {Key("b"), Solid({2}, "n", {20})}}, LinkSet::Validated);
  store->ReplaceComponentPath({}, {2});
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), Solid({2}, "n", {20})}, {Key("b"), Solid({2}, "n", {20})}}));
}

TEST(ReplaceComponentPath, KeepsThePlaceOfALinkAmongTheLinksOfItsKey) {
  const Store store = MakeStore({{Key("k"), Solid({5}, "n")}, {Key("k"), Solid({1}, "n")}, {Key("k"), Solid({3}, "n")}},
                                LinkSet::Validated);
  store->ReplaceComponentPath({1}, {9});
  EXPECT_EQ(Paths(store, LinkSet::Validated), (ComponentPaths{{5}, {9}, {3}}));
}

#ifndef NDEBUG
TEST(ReplaceComponentPathDeathTest, StopsInDebugBuildsWhereTheNewPathIsLongerThanAPathInTheBranch) {
  const Store store = StoreOfPaths({{1}});
  EXPECT_DEATH(store->ReplaceComponentPath({1}, {2, 3}), "");
}
#endif
