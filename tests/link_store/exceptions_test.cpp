#include <cstddef>
#include <new>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/AllocationCounter.h"
#include "tests/support/GeneratedKeys.h"
#include "tests/support/Links.h"

namespace {

const GeometryObject3D c_solid1 = Solid({1}, "n");
const GeometryObject3D c_solid2 = Solid({2}, "n");
const GeometryObject3D c_solid3 = Solid({3}, "n");
const GeometryObject3D c_longNamed = Solid({4}, "a name of more than fifteen bytes");
const GeometryObject3D c_deep = Solid({9, 8, 7, 6, 5, 4, 3, 2, 1}, "n");

/// Calls `change` and expects it to run out of memory at its allocation number `nth`.
template <class Change>
void ExpectNoMemoryAt(std::size_t nth, const Change& change) {
  bool hasThrown = false;
  {
    const FailingAllocations failing(nth);
    try {
      change();
    } catch (const std::bad_alloc&) {
      hasThrown = true;
    }
  }
  EXPECT_TRUE(hasThrown);
}

Store StoreOfLongLinks() {
  Store store =
      MakeStore({{LongKey("a"), c_solid1}, {LongKey("a"), c_deep}, {LongKey("b"), c_deep}, {LongKey("c"), c_solid1}});
  store->AddLink(LongKey("a"), c_longNamed, LinkSet::Both);
  return store;
}

}  // namespace

TEST(AddLink, ThatGetsNoMemoryLeavesDoneWhatItHadDone) {
  const Links before{{Key("x"), c_solid1}};
  const Links erased{};
  const Links added{{LongKey("a"), c_solid1}};
  std::size_t stage = 0;
  std::vector<std::size_t> visits(3);
  for (std::size_t nth = 1;; ++nth) {
    SCOPED_TRACE(nth);
    ASSERT_LT(nth, 100U);
    std::size_t asked = 0;
    const Store store =
        CreateProductGeometryObjects3D([&asked](const ProductGeometryObject3D&) { return ++asked != 0; });
    store->AddLink(Key("x"), c_solid1, LinkSet::Unique);
    bool hasFailed = true;
    {
      const FailingAllocations failing(nth);
      try {
        store->AddLink(LongKey("a"), c_solid1, LinkSet::Both);
        hasFailed = false;
      } catch (const std::bad_alloc&) {
      }
    }
    const Links unique = UniqueContents(store);
    if (!hasFailed) {
      EXPECT_EQ(unique, added);
      EXPECT_EQ(ValidatedContents(store), added);
      break;
    }
    // First nothing is done, then the geometry object's old link is gone, then the new one is there.
    const std::size_t reached = unique == before ? 0 : unique == erased ? 1 : 2;
    EXPECT_EQ(unique, reached == 0 ? before : reached == 1 ? erased : added);
    EXPECT_GE(reached, stage);
    EXPECT_EQ(asked, reached == 2 ? 1U : 0U);
    EXPECT_EQ(ValidatedContents(store), Links());
    stage = reached;
    ++visits[reached];
  }
  EXPECT_GT(visits[0], 0U);
  EXPECT_GT(visits[1], 0U);
  EXPECT_GT(visits[2], 0U);
}

TEST(SetLinkValidater, RemovesNothingWhereTheListOfRejectedLinksGetsNoMemory) {
  const Links links{{LongKey("a"), c_solid1}, {LongKey("b"), c_solid2}, {LongKey("c"), c_solid3}};
  // The list grows with the first, the second and the third.
  for (std::size_t nth = 1; nth <= 3; ++nth) {
    SCOPED_TRACE(nth);
    const Store store = MakeStore(links);
    ExpectNoMemoryAt(nth, [&store] { store->SetLinkValidater(RejectsAll); });
    EXPECT_EQ(ValidatedContents(store), links);
    store->AddLink(Key("d"), c_solid1, LinkSet::Validated);
    EXPECT_EQ(ValidatedContents(store), links) << "the new validator is stored by then";
  }
}

TEST(ReplaceMetaObjectKey, ErasesTheLinkWhoseNewKeyGetsNoMemoryAndKeepsTheEarlierChanges) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("a"), c_solid2}, {Key("a"), c_solid3}}, LinkSet::Validated);
  const UniqueMetaObjectKey to = LongKey("z");
  ExpectNoMemoryAt(2, [&] { store->ReplaceMetaObjectKey(Key("a"), to, LinkSet::Validated); });
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), c_solid3}, {to, c_solid1}}));
}

TEST(ReplaceMetaObjectKey, ThatGetsNoMemoryForTheUniqueSetErasesTheLinkThereAndLeavesTheValidatedSet) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("b"), c_solid2}});
  const UniqueMetaObjectKey to = LongKey("z");
  ExpectNoMemoryAt(1, [&] { store->ReplaceMetaObjectKey(Key("a"), to, LinkSet::Both); });
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), c_solid2}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), c_solid1}, {Key("b"), c_solid2}}));
}

TEST(ReplaceMetaObjectKey, ThatGetsNoMemoryForTheValidatedSetLeavesTheUniqueSetChanged) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("b"), c_solid2}});
  const UniqueMetaObjectKey to = LongKey("z");
  ExpectNoMemoryAt(2, [&] { store->ReplaceMetaObjectKey(Key("a"), to, LinkSet::Both); });
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), c_solid2}, {to, c_solid1}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("b"), c_solid2}}));
}

TEST(ReplaceGeometryObject, ErasesTheLinkWhoseNewObjectGetsNoMemoryAndKeepsTheEarlierChanges) {
  for (const GeometryObject3D& to : {c_longNamed, c_deep}) {
    const Store store = MakeStore(
        {{Key("a"), c_solid1}, {Key("b"), c_solid1}, {Key("c"), c_solid1}, {Key("d"), c_solid2}}, LinkSet::Validated);
    ExpectNoMemoryAt(2, [&] { store->ReplaceGeometryObject(c_solid1, to); });
    EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), to}, {Key("c"), c_solid1}, {Key("d"), c_solid2}}));
  }
}

TEST(ReplaceGeometryObject, ThatGetsNoMemoryForOneSetLeavesTheOtherAsItIsByThen) {
  const Store failsAtOnce = MakeStore({{Key("a"), c_solid1}});
  ExpectNoMemoryAt(1, [&] { failsAtOnce->ReplaceGeometryObject(c_solid1, c_deep); });
  EXPECT_EQ(UniqueContents(failsAtOnce), Links());
  EXPECT_EQ(ValidatedContents(failsAtOnce), (Links{{Key("a"), c_solid1}}));

  const Store failsLater = MakeStore({{Key("a"), c_solid1}});
  ExpectNoMemoryAt(2, [&] { failsLater->ReplaceGeometryObject(c_solid1, c_deep); });
  EXPECT_EQ(UniqueContents(failsLater), (Links{{Key("a"), c_deep}}));
  EXPECT_EQ(ValidatedContents(failsLater), Links());
}

TEST(ReplaceComponentPath, ThatGetsNoMemoryForItsListOfOneSetLeavesThatSetAsItWas) {
  const Links before{{Key("a"), c_solid1}, {Key("b"), Solid({5, 1}, "n")}};
  const Links after{{Key("a"), Solid({9}, "n")}, {Key("b"), Solid({5, 9}, "n")}};
  const std::size_t allocationsOfBoth =
      AllocationsOf([store = MakeStore(before)] { store->ReplaceComponentPath({1}, {9}); });
  ASSERT_GT(allocationsOfBoth, 1U);

  const Store failsAtOnce = MakeStore(before);
  ExpectNoMemoryAt(1, [&] { failsAtOnce->ReplaceComponentPath({1}, {9}); });
  EXPECT_EQ(UniqueContents(failsAtOnce), before);
  EXPECT_EQ(ValidatedContents(failsAtOnce), before);

  const Store failsAtTheEnd = MakeStore(before);
  ExpectNoMemoryAt(allocationsOfBoth, [&] { failsAtTheEnd->ReplaceComponentPath({1}, {9}); });
  EXPECT_EQ(UniqueContents(failsAtTheEnd), after);
  EXPECT_EQ(ValidatedContents(failsAtTheEnd), before);
}

TEST(RegenerateMetaObjectKeys, ErasesTheLinkWhoseNewKeyGetsNoMemoryAndKeepsTheEarlierChanges) {
  const Links links{{Key("a"), c_solid1}, {Key("b"), c_solid2}, {Key("c"), c_solid3}};
  const std::vector<UniqueMetaObjectKey> newKeys{LongKey("n1"), LongKey("n2"), LongKey("n3")};
  std::size_t allocations = 0;
  {
    const Store store = MakeStore(links, LinkSet::Unique);
    const GeneratedKeys generated(newKeys);
    allocations = AllocationsOf([&] { store->RegenerateMetaObjectKeys(); });
  }
  // The last three allocations are the assignments: all keys are made before the first link changes.
  const Store store = MakeStore(links, LinkSet::Unique);
  const GeneratedKeys generated(newKeys);
  ExpectNoMemoryAt(allocations - 1, [&] { store->RegenerateMetaObjectKeys(); });
  EXPECT_EQ(generated.Calls(), 3U);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("c"), c_solid3}, {LongKey("n1"), c_solid1}}));
}

TEST(Queries, ThatGetNoMemoryLeaveTheStoreAsItWas) {
  const Store store = StoreOfLongLinks();
  const Links unique = UniqueContents(store);
  const Links validated = ValidatedContents(store);
  ExpectNoMemoryAt(1, [&] { store->GetMetaObjectKeys(c_solid1); });
  ExpectNoMemoryAt(2, [&] { store->GetMetaObjectKeys(c_solid1); });
  const UniqueMetaObjectKey key = LongKey("a");
  ExpectNoMemoryAt(1, [&] { store->GetGeometryObjects(key, LinkSet::Validated); });
  ExpectNoMemoryAt(2, [&] { store->GetGeometryObjects(key, LinkSet::Validated); });
  bool sharedFound = true;
  ExpectNoMemoryAt(1, [&] { store->GetValidatedOnlyGeometryObjects(key, &sharedFound, nullptr); });
  EXPECT_TRUE(sharedFound) << "the list is taken before the flags are reset";
  EXPECT_EQ(UniqueContents(store), unique);
  EXPECT_EQ(ValidatedContents(store), validated);
}

TEST(ReplaceMetaObjectKey, ByTheSameKeyFindsTheSameLinkAgainSoThatThisIsTheOneThatAFailureDrops) {
  const UniqueMetaObjectKey key = Key("a key of more than fifteen bytes");
  const Store store = MakeStore({{key, Solid({1}, "n")}, {key, Solid({2}, "n")}}, LinkSet::Validated);
  ExpectNoMemoryAt(2, [&] { store->ReplaceMetaObjectKey(key, key, LinkSet::Validated); });
  EXPECT_EQ(ValidatedContents(store), (Links{{key, Solid({2}, "n")}}));
}

TEST(ReplaceGeometryObject, ByAnEquivalentOneFindsTheSameLinkAgainSoThatThisIsTheOneThatAFailureDrops) {
  const GeometryObject3D geometry = Solid({1}, "a name of more than fifteen bytes");
  const Store store = MakeStore({{Key("a"), geometry}, {Key("b"), geometry}}, LinkSet::Validated);
  const GeometryObject3D equivalent = EquivalentTo(geometry);
  ExpectNoMemoryAt(2, [&] { store->ReplaceGeometryObject(geometry, equivalent); });
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("b"), geometry}}));
}
