#include <functional>
#include <stdexcept>

#include <gtest/gtest.h>

#include "tests/support/Links.h"

namespace {

const GeometryObject3D c_solid1 = Solid({1}, "n");
const GeometryObject3D c_solid2 = Solid({2}, "n");
const GeometryObject3D c_solid3 = Solid({3}, "n");

/// Different answers in the two sets: the unique set links a to c_solid1 and b to c_solid2; the validated set
/// links a to c_solid2 and c_solid3, and c to c_solid2.
Store StoreOfDifferentSets() {
  Store store = MakeStore({{Key("a"), c_solid2}, {Key("a"), c_solid3}, {Key("c"), c_solid2}}, LinkSet::Validated);
  store->AddLink(Key("a"), c_solid1, LinkSet::Unique);
  store->AddLink(Key("b"), c_solid2, LinkSet::Unique);
  return store;
}

}  // namespace

TEST(GetGeometryObjects, ReadsTheSetThatTheLinkSetValueChooses) {
  const Store store = StoreOfDifferentSets();
  for (const LinkSetChoice& choice : LinkSetChoices()) {
    SCOPED_TRACE(Named(choice));
    EXPECT_EQ(store->GetGeometryObjects(Key("a"), choice.set),
              choice.readsUnique ? (Geometries{c_solid1}) : (Geometries{c_solid2, c_solid3}));
    EXPECT_EQ(store->GetGeometryObjects(Key("b"), choice.set),
              choice.readsUnique ? (Geometries{c_solid2}) : Geometries());
    EXPECT_EQ(store->GetGeometryObjects(Key("c"), choice.set),
              choice.readsUnique ? Geometries() : (Geometries{c_solid2}));
  }
}

TEST(GetGeometryObjects, GivesThoseOfTheValidatedSetInOrderOfEntryAndNoneOfTheUniqueSet) {
  const Store store = MakeStore({{Key("k"), c_solid1}, {Key("k"), c_solid2}}, LinkSet::Validated);
  EXPECT_EQ(store->GetGeometryObjects(Key("k"), LinkSet::Both), (Geometries{c_solid1, c_solid2}));
  EXPECT_EQ(store->GetGeometryObjects(Key("k"), LinkSet::Unique), Geometries());
  const Store reversed = MakeStore({{Key("k"), c_solid2}, {Key("k"), c_solid1}}, LinkSet::Validated);
  EXPECT_EQ(reversed->GetGeometryObjects(Key("k"), LinkSet::Both), (Geometries{c_solid2, c_solid1}));
}

TEST(GetGeometryObjects, GivesCopiesWhole) {
  const GeometryObject3D geometry = EquivalentTo(Solid({1, 2, 3, 4, 5, 6, 7}, "a name of more than fifteen bytes"));
  const Store store = MakeStore({{Key("k"), geometry}});
  EXPECT_EQ(store->GetGeometryObjects(Key("k"), LinkSet::Unique), (Geometries{geometry}));
  EXPECT_EQ(store->GetGeometryObjects(Key("k"), LinkSet::Validated), (Geometries{geometry}));
  EXPECT_EQ(store->GetGeometryObject(Key("k")), geometry);
}

TEST(GetGeometryObjects, TellsKeysApartByEveryByteAndByTheirLength) {
  const Store store = MakeStore({{Key("k"), c_solid1}, {Key({"k\0", 2}), c_solid2}, {Key("k\x80"), c_solid3}});
  for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
    EXPECT_EQ(store->GetGeometryObjects(Key("k"), set), (Geometries{c_solid1}));
    EXPECT_EQ(store->GetGeometryObjects(Key({"k\0", 2}), set), (Geometries{c_solid2}));
    EXPECT_EQ(store->GetGeometryObjects(Key("k\x80"), set), (Geometries{c_solid3}));
    EXPECT_EQ(store->GetGeometryObjects(Key(""), set), Geometries());
  }
}

TEST(HasLink, ReadsTheSetThatTheLinkSetValueChooses) {
  const Store store = StoreOfDifferentSets();
  for (const LinkSetChoice& choice : LinkSetChoices()) {
    SCOPED_TRACE(Named(choice));
    EXPECT_EQ(store->HasLink(Key("a"), c_solid1, choice.set), choice.readsUnique);
    EXPECT_EQ(store->HasLink(Key("a"), c_solid2, choice.set), !choice.readsUnique);
    EXPECT_EQ(store->HasLink(Key("a"), c_solid3, choice.set), !choice.readsUnique);
    EXPECT_FALSE(store->HasLink(Key("b"), c_solid1, choice.set));
    EXPECT_FALSE(store->HasLink(Key("unknown"), c_solid1, choice.set));
    EXPECT_FALSE(store->HasLink(Key("a"), Solid({9}, "n"), choice.set));
  }
}

TEST(HasLink, IsFalseForAGeometryObjectThatIsEquivalentButNotEqual) {
  const Store store = MakeStore({{Key("a"), c_solid1}});
  for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
    EXPECT_TRUE(store->HasLink(Key("a"), c_solid1, set));
    EXPECT_FALSE(store->HasLink(Key("a"), EquivalentTo(c_solid1), set));
  }
}

TEST(HasLink, FindsEachOfManyGeometryObjectsOfAKey) {
  const Store store = MakeStore();
  for (std::uint32_t i = 0; i < 100; ++i) {
    store->AddLink(Key("a"), Solid({i * 37 % 100}, "n"), LinkSet::Validated);
  }
  for (std::uint32_t i = 0; i < 100; ++i) {
    EXPECT_TRUE(store->HasLink(Key("a"), Solid({i}, "n"), LinkSet::Validated));
  }
  EXPECT_FALSE(store->HasLink(Key("a"), Solid({100}, "n"), LinkSet::Validated));
}

TEST(GetMetaObjectKey, ReadsTheSetThatTheLinkSetValueChooses) {
  const Store store = StoreOfDifferentSets();
  for (const LinkSetChoice& choice : LinkSetChoices()) {
    SCOPED_TRACE(Named(choice));
    EXPECT_EQ(store->GetMetaObjectKey(c_solid1, choice.set), choice.readsUnique ? Key("a") : Key(""));
    EXPECT_EQ(store->GetMetaObjectKey(c_solid2, choice.set), choice.readsUnique ? Key("b") : Key("a"));
    EXPECT_EQ(store->GetMetaObjectKey(c_solid3, choice.set), choice.readsUnique ? Key("") : Key("a"));
  }
}

TEST(GetMetaObjectKey, OfAGeometryObjectThatIsNotLinkedIsTheNullKeyItself) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("c"), c_solid3}});
  for (const LinkSetChoice& choice : LinkSetChoices()) {
    SCOPED_TRACE(Named(choice));
    // Below, between and above the linked ones.
    EXPECT_EQ(&store->GetMetaObjectKey(GeometryObject3D(), choice.set), &UniqueMetaObjectKey::null);
    EXPECT_EQ(&store->GetMetaObjectKey(c_solid2, choice.set), &UniqueMetaObjectKey::null);
    EXPECT_EQ(&store->GetMetaObjectKey(PartComponent({1}), choice.set), &UniqueMetaObjectKey::null);
  }
}

TEST(GetMetaObjectKey, RefersToTheKeyOfTheStoredLink) {
  const Store store = MakeStore({{Key("a"), c_solid1}});
  for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
    const UniqueMetaObjectKey* stored = nullptr;
    store->ForEachLink([&stored](const ProductGeometryObject3D& record) { stored = &record.metaKey; }, set);
    EXPECT_EQ(&store->GetMetaObjectKey(c_solid1, set), stored);
  }
}

TEST(GetMetaObjectKey, OfTheValidatedSetIsTheFirstToHaveEnteredNotTheSmallest) {
  const Store store = MakeStore({{Key("z"), c_solid1}, {Key("a"), c_solid1}}, LinkSet::Validated);
  EXPECT_EQ(store->GetMetaObjectKey(c_solid1, LinkSet::Validated), Key("z"));
  EXPECT_EQ(store->GetMetaObjectKeys(c_solid1), (Keys{Key("z"), Key("a")}));
}

TEST(GetMetaObjectKey, FindsTheGeometryObjectByItsOrderNotByEquality) {
  const Store store = MakeStore({{Key("a"), c_solid1}});
  EXPECT_EQ(store->GetMetaObjectKey(EquivalentTo(c_solid1), LinkSet::Unique), Key("a"));
  EXPECT_EQ(store->GetMetaObjectKey(EquivalentTo(c_solid1), LinkSet::Validated), Key("a"));
}

TEST(GetMetaObjectKeys, ReadsTheValidatedSetOnly) {
  const Store store = StoreOfDifferentSets();
  EXPECT_EQ(store->GetMetaObjectKeys(c_solid1), Keys());
  EXPECT_EQ(store->GetMetaObjectKeys(c_solid2), (Keys{Key("a"), Key("c")}));
  EXPECT_EQ(store->GetMetaObjectKeys(EquivalentTo(c_solid2)), (Keys{Key("a"), Key("c")}));
}

TEST(GetGeometryObject, ReadsTheUniqueSetOnly) {
  const Store store = StoreOfDifferentSets();
  EXPECT_EQ(store->GetGeometryObject(Key("a")), c_solid1);
  EXPECT_EQ(store->GetGeometryObject(Key("b")), c_solid2);
}

TEST(GetGeometryObject, OfAKeyThatOnlyTheValidatedSetLinksIsADefaultOne) {
  const Store store = StoreOfDifferentSets();
  EXPECT_EQ(store->GetGeometryObject(Key("c")), GeometryObject3D());
  EXPECT_EQ(store->GetGeometryObject(Key("unknown")), GeometryObject3D());
}

TEST(ForEachLink, WalksTheSetThatTheLinkSetValueChooses) {
  const Store store = StoreOfDifferentSets();
  for (const LinkSetChoice& choice : LinkSetChoices()) {
    SCOPED_TRACE(Named(choice));
    EXPECT_EQ(Contents(*store, choice.set),
              choice.readsUnique ? (Links{{Key("a"), c_solid1}, {Key("b"), c_solid2}})
                                 : (Links{{Key("a"), c_solid2}, {Key("a"), c_solid3}, {Key("c"), c_solid2}}));
  }
}

TEST(ForEachLink, CallsTheVisitorItselfNotACopy) {
  struct CountingVisitor {
    int calls = 0;
    int* total;
    void operator()(const ProductGeometryObject3D&) { *total = ++calls; }
  };
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("b"), c_solid2}});
  for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
    int total = 0;
    const std::function<void(const ProductGeometryObject3D&)> visitor = CountingVisitor{0, &total};
    store->ForEachLink(visitor, set);
    store->ForEachLink(visitor, set);
    EXPECT_EQ(total, 4);
  }
}

TEST(ForEachLink, WithAnEmptyVisitorThrowsAtTheFirstLink) {
  const Store store = StoreOfDifferentSets();
  EXPECT_THROW(store->ForEachLink(nullptr, LinkSet::Unique), std::bad_function_call);
  EXPECT_THROW(store->ForEachLink(nullptr, LinkSet::Validated), std::bad_function_call);
}

TEST(ForEachLink, WithAnEmptyVisitorOverAnEmptySetReturns) {
  const Store store = MakeStore({{Key("a"), c_solid1}}, LinkSet::Unique);
  EXPECT_NO_THROW(store->ForEachLink(nullptr, LinkSet::Validated));
  EXPECT_NO_THROW(MakeStore()->ForEachLink(nullptr, LinkSet::Unique));
}

TEST(ForEachLink, EndsWithTheExceptionOfTheVisitor) {
  const Store store = StoreOfDifferentSets();
  int calls = 0;
  const auto throwsAtTheSecond = [&calls](const ProductGeometryObject3D&) {
    if (++calls == 2) {
      throw std::runtime_error("enough");
    }
  };
  EXPECT_THROW(store->ForEachLink(throwsAtTheSecond, LinkSet::Validated), std::runtime_error);
  EXPECT_EQ(calls, 2);
}

TEST(GetValidatedOnlyGeometryObjects, GivesThoseOfTheValidatedSetThatTheUniqueSetDoesNotLinkInOrderOfEntry) {
  const Store store = MakeStore(
      {{Key("a"), c_solid3}, {Key("a"), c_solid1}, {Key("a"), c_solid2}, {Key("b"), c_solid1}}, LinkSet::Validated);
  store->AddLink(Key("a"), c_solid1, LinkSet::Unique);
  EXPECT_EQ(store->GetValidatedOnlyGeometryObjects(Key("a"), nullptr, nullptr), (Geometries{c_solid3, c_solid2}));
  EXPECT_EQ(store->GetValidatedOnlyGeometryObjects(Key("b"), nullptr, nullptr), (Geometries{c_solid1}));
  EXPECT_EQ(store->GetValidatedOnlyGeometryObjects(Key("unknown"), nullptr, nullptr), Geometries());
}

TEST(GetValidatedOnlyGeometryObjects, ComparesWithTheUniqueSetByEquality) {
  const Store store = MakeStore({{Key("a"), c_solid1}}, LinkSet::Validated);
  store->AddLink(Key("a"), EquivalentTo(c_solid1), LinkSet::Unique);
  bool sharedFound = true;
  EXPECT_EQ(store->GetValidatedOnlyGeometryObjects(Key("a"), &sharedFound, nullptr), (Geometries{c_solid1}));
  EXPECT_FALSE(sharedFound);
}

TEST(GetValidatedOnlyGeometryObjects, TakesALinkOfAnotherKeyToTheSameGeometryObjectAsNotShared) {
  const Store store = MakeStore({{Key("a"), c_solid1}}, LinkSet::Validated);
  store->AddLink(Key("b"), c_solid1, LinkSet::Unique);
  bool sharedFound = true;
  EXPECT_EQ(store->GetValidatedOnlyGeometryObjects(Key("a"), &sharedFound, nullptr), (Geometries{c_solid1}));
  EXPECT_FALSE(sharedFound);
}

TEST(GetValidatedOnlyGeometryObjects, SetsBothFlagsToFalseWhereNoLinkIsShared) {
  const Store store = MakeStore({{Key("a"), PartComponent({1})}}, LinkSet::Validated);
  for (const UniqueMetaObjectKey& key : {Key("a"), Key("unknown")}) {
    bool sharedFound = true;
    bool sharedPartFound = true;
    store->GetValidatedOnlyGeometryObjects(key, &sharedFound, &sharedPartFound);
    EXPECT_FALSE(sharedFound);
    EXPECT_FALSE(sharedPartFound);
  }
}

TEST(GetValidatedOnlyGeometryObjects, SetsTheSecondFlagOnlyForASharedComponentOfAPart) {
  for (const std::uint32_t type : {0U, 1U, 103U, 104U, 105U, 200U}) {
    SCOPED_TRACE(type);
    const Store store =
        MakeStore({{Key("a"), GeometryObject3D(type, {1}, {}, {})}, {Key("a"), PartComponent({2})}}, LinkSet::Both);
    bool sharedFound = false;
    bool sharedPartFound = false;
    EXPECT_EQ(store->GetValidatedOnlyGeometryObjects(Key("a"), &sharedFound, &sharedPartFound),
              (Geometries{PartComponent({2})}));
    EXPECT_TRUE(sharedFound);
    EXPECT_EQ(sharedPartFound, type == 104);
  }
}

TEST(GetValidatedOnlyGeometryObjects, SetsTheFirstFlagWithoutTheSecond) {
  const Store store = MakeStore({{Key("a"), PartComponent({1})}});
  bool sharedFound = false;
  EXPECT_EQ(store->GetValidatedOnlyGeometryObjects(Key("a"), &sharedFound, nullptr), Geometries());
  EXPECT_TRUE(sharedFound);
}

TEST(GetValidatedOnlyGeometryObjects, NeverSetsTheSecondFlagWithoutTheFirstButResetsIt) {
  const Store store = MakeStore({{Key("a"), PartComponent({1})}});
  bool sharedPartFound = true;
  EXPECT_EQ(store->GetValidatedOnlyGeometryObjects(Key("a"), nullptr, &sharedPartFound), Geometries());
  EXPECT_FALSE(sharedPartFound);
}

TEST(GetValidatedOnlyGeometryObjects, TakesOneFlagForBoth) {
  const Store store = MakeStore({{Key("a"), c_solid1}});
  bool flag = false;
  store->GetValidatedOnlyGeometryObjects(Key("a"), &flag, &flag);
  EXPECT_TRUE(flag);
}

TEST(Queries, ChangeNothing) {
  const Store store = StoreOfDifferentSets();
  const Links uniqueBefore = UniqueContents(store);
  const Links validatedBefore = ValidatedContents(store);
  bool flag = false;
  for (const LinkSetChoice& choice : LinkSetChoices()) {
    store->HasLink(Key("a"), c_solid2, choice.set);
    store->GetMetaObjectKey(c_solid2, choice.set);
    store->GetGeometryObjects(Key("a"), choice.set);
  }
  store->GetMetaObjectKeys(c_solid2);
  store->GetGeometryObject(Key("a"));
  store->GetValidatedOnlyGeometryObjects(Key("a"), &flag, &flag);
  EXPECT_EQ(UniqueContents(store), uniqueBefore);
  EXPECT_EQ(ValidatedContents(store), validatedBefore);
}
