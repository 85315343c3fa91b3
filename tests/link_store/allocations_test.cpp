#include <array>
#include <functional>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/AllocationCounter.h"
#include "tests/support/Links.h"

namespace {

const GeometryObject3D c_deep = EquivalentTo(Solid({9, 8, 7, 6, 5, 4, 3, 2, 1}, "a name of more than fifteen bytes"));
const GeometryObject3D c_deepToo =
    EquivalentTo(Solid({8, 8, 7, 6, 5, 4, 3, 2, 1}, "a name of more than fifteen bytes"));

/// The largest link that lives inside its record: the lengths of generated keys and of ordinary names, six
/// levels.
Link LargestOrdinaryLink(char last) {
  return {Key(std::string(14, 'k') + last),
          Solid({1, 2, 3, 4, 5, static_cast<std::uint8_t>(last)}, "fifteen letters", {6, 5, 4, 3, 2, 1})};
}

Store StoreOfLongLinks() {
  return MakeStore(
      {{LongKey("a"), c_deep}, {LongKey("a"), c_deepToo}, {LongKey("b"), c_deep}, {LongKey("c"), c_deepToo}});
}

Store StoreOfOrdinaryLinks() {
  return MakeStore({LargestOrdinaryLink('a'), LargestOrdinaryLink('b'), LargestOrdinaryLink('c')});
}

}  // namespace

TEST(AStoredLink, OfOrdinarySizeCostsOneAllocationForEachSet) {
  const Store store = StoreOfOrdinaryLinks();
  const Link first = LargestOrdinaryLink('d');
  EXPECT_EQ(AllocationsOf([&] { store->AddLink(first.key, first.geometry, LinkSet::Unique); }), 1U);
  EXPECT_EQ(AllocationsOf([&] { store->AddLink(first.key, first.geometry, LinkSet::Validated); }), 1U);
  const Link second = LargestOrdinaryLink('e');
  EXPECT_EQ(AllocationsOf([&] { store->AddLink(second.key, second.geometry, LinkSet::Both); }), 2U);
}

TEST(AddLink, CopiesALongKeyOnceForTheRecordAndMovesItIntoTheLastSet) {
  const Store store = MakeStore();
  const GeometryObject3D geometry = Solid({1}, "n");
  const UniqueMetaObjectKey a = LongKey("a");
  EXPECT_EQ(AllocationsOf([&] { store->AddLink(a, geometry, LinkSet::Unique); }), 2U);
  EXPECT_EQ(AllocationsOf([&] { store->AddLink(a, geometry, LinkSet::Validated); }), 2U);
  const UniqueMetaObjectKey b = LongKey("b");
  EXPECT_EQ(AllocationsOf([&] { store->AddLink(b, geometry, LinkSet::Both); }), 4U);
}

TEST(AddLink, OfAnOrdinaryLinkThatIsRejectedOrThereAllocatesNothing) {
  const Store store = StoreOfOrdinaryLinks();
  const Link link = LargestOrdinaryLink('a');
  EXPECT_EQ(AllocationsOf([&] { store->AddLink(link.key, link.geometry, LinkSet::Validated); }), 0U);
  store->SetLinkValidater(RejectsAll);
  EXPECT_EQ(AllocationsOf([&] { store->AddLink(link.key, link.geometry, LinkSet::Validated); }), 0U);
}

TEST(HasLink, AllocatesNothing) {
  const Store store = StoreOfLongLinks();
  for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated, LinkSet::Both}) {
    for (const UniqueMetaObjectKey& key : {LongKey("a"), LongKey("b"), LongKey("unknown")}) {
      EXPECT_EQ(AllocationsOf([&] { store->HasLink(key, c_deep, set); }), 0U);
    }
  }
}

TEST(GetMetaObjectKey, AllocatesNothing) {
  const Store store = StoreOfLongLinks();
  const GeometryObject3D unknown = EquivalentTo(Solid({9, 9, 9, 9, 9, 9, 9, 9}, "another name of that length"));
  for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated, LinkSet::Both}) {
    EXPECT_EQ(AllocationsOf([&] { store->GetMetaObjectKey(c_deep, set); }), 0U);
    EXPECT_EQ(AllocationsOf([&] { store->GetMetaObjectKey(unknown, set); }), 0U);
  }
}

TEST(ForEachLink, AllocatesNothingWhateverTheVisitorHolds) {
  const Store store = StoreOfLongLinks();
  std::size_t visited = 0;
  const std::array<double, 32> ballast{};
  const std::function<void(const ProductGeometryObject3D&)> visitor = [&visited, ballast](const auto&) {
    visited += ballast.size() / 32;
  };
  for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated, LinkSet::Both}) {
    EXPECT_EQ(AllocationsOf([&] { store->ForEachLink(visitor, set); }), 0U);
  }
  EXPECT_EQ(visited, UniqueContents(store).size() + 2 * ValidatedContents(store).size());
}

TEST(Removals, AllocateNothing) {
  const UniqueMetaObjectKey key = LongKey("a");
  const std::set<UniqueMetaObjectKey> keys{LongKey("a"), LongKey("b"), LongKey("unknown")};
  for (const LinkSet set : {LinkSet::Both, LinkSet::Unique, LinkSet::Validated, static_cast<LinkSet>(3)}) {
    EXPECT_EQ(AllocationsOf([&, store = StoreOfLongLinks()] { store->RemoveLink(c_deep, key, set); }), 0U);
    EXPECT_EQ(AllocationsOf([&, store = StoreOfLongLinks()] { store->RemoveGeometryObjectLinks(c_deep, set); }), 0U);
    EXPECT_EQ(AllocationsOf([&, store = StoreOfLongLinks()] { store->RemoveMetaObjectLinks(key, set); }), 0U);
    EXPECT_EQ(AllocationsOf([&, store = StoreOfLongLinks()] { store->RemoveMetaObjectsLinks(keys, set); }), 0U);
    EXPECT_EQ(AllocationsOf([store = StoreOfLongLinks()] { store->ClearLinks(); }), 0U);
  }
}

TEST(Removals, GiveBackTheMemoryOfTheLink) {
  const Store store = MakeStore();
  const AllocationCounter counter;
  store->AddLink(LongKey("a"), c_deep, LinkSet::Both);
  store->RemoveLink(c_deep, LongKey("a"), LinkSet::Both);
  EXPECT_EQ(counter.Allocations(), counter.Releases());
}

TEST(LookUps, AllocateTheirResultOnly) {
  const Store store = MakeStore();
  for (char last = 'a'; last < 'k'; ++last) {
    store->AddLink(LargestOrdinaryLink('a').key, LargestOrdinaryLink(last).geometry, LinkSet::Both);
    store->AddLink(LargestOrdinaryLink(last).key, LargestOrdinaryLink('a').geometry, LinkSet::Both);
  }
  const Link link = LargestOrdinaryLink('a');
  EXPECT_EQ(AllocationsOf([&] { EXPECT_EQ(store->GetMetaObjectKeys(link.geometry).size(), 10U); }), 1U);
  for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
    const UniqueMetaObjectKey& linked = store->GetMetaObjectKey(link.geometry, set);
    EXPECT_EQ(AllocationsOf([&] { EXPECT_FALSE(store->GetGeometryObjects(linked, set).empty()); }), 1U);
  }
  EXPECT_EQ(AllocationsOf([&] { store->GetValidatedOnlyGeometryObjects(link.key, nullptr, nullptr); }), 1U);
  EXPECT_EQ(AllocationsOf([&] { store->GetGeometryObject(link.key); }), 0U);
}

TEST(LookUps, OfWhatIsNotLinkedAllocateNothing) {
  const Store store = StoreOfLongLinks();
  const UniqueMetaObjectKey key = LongKey("unknown");
  const GeometryObject3D geometry = Solid({9, 9, 9, 9, 9, 9, 9, 9}, "another name of that length");
  EXPECT_EQ(AllocationsOf([&] { store->GetMetaObjectKeys(geometry); }), 0U);
  EXPECT_EQ(AllocationsOf([&] { store->GetGeometryObjects(key, LinkSet::Unique); }), 0U);
  EXPECT_EQ(AllocationsOf([&] { store->GetGeometryObjects(key, LinkSet::Validated); }), 0U);
  EXPECT_EQ(AllocationsOf([&] { store->GetGeometryObject(key); }), 0U);
  EXPECT_EQ(AllocationsOf([&] { store->GetValidatedOnlyGeometryObjects(key, nullptr, nullptr); }), 0U);
}

TEST(Replacements, OfOrdinaryLinksChangeThemInPlaceAndAllocateNothing) {
  const Store store = StoreOfOrdinaryLinks();
  const Link from = LargestOrdinaryLink('a');
  const Link to = LargestOrdinaryLink('z');
  EXPECT_EQ(AllocationsOf([&] { store->ReplaceMetaObjectKey(from.key, to.key, LinkSet::Both); }), 0U);
  EXPECT_EQ(AllocationsOf([&] { store->ReplaceGeometryObject(from.geometry, to.geometry); }), 0U);
  EXPECT_TRUE(store->HasLink(to.key, to.geometry, LinkSet::Unique));
  EXPECT_TRUE(store->HasLink(to.key, to.geometry, LinkSet::Validated));
}

TEST(ReplaceComponentPath, AllocatesNothingWhereNoOrdinaryLinkLiesInTheBranchOrThePathsAreEqual) {
  const Store store = StoreOfOrdinaryLinks();
  EXPECT_EQ(AllocationsOf([&] { store->ReplaceComponentPath({}, {}); }), 0U);
  EXPECT_EQ(AllocationsOf([&] { store->ReplaceComponentPath({77}, {78}); }), 0U);
}

TEST(SetLinkValidater, AllocatesNothingWhereEveryLinkIsAccepted) {
  const Store store = StoreOfLongLinks();
  // A plain function lives inside std::function; the visitor around it is allowed its one allocation.
  EXPECT_LE(AllocationsOf([&] { store->SetLinkValidater(AcceptsAll); }), 1U);
}
