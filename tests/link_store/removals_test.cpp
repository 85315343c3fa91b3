#include <set>

#include <gtest/gtest.h>

#include "tests/support/Links.h"

namespace {

const GeometryObject3D c_solid1 = Solid({1}, "n");
const GeometryObject3D c_solid2 = Solid({2}, "n");
const GeometryObject3D c_solid3 = Solid({3}, "n");

const Links c_unique{{Key("a"), c_solid1}, {Key("b"), c_solid2}, {Key("c"), c_solid3}};
const Links c_validated{
    {Key("a"), c_solid1}, {Key("a"), c_solid2}, {Key("b"), c_solid1}, {Key("b"), c_solid2}, {Key("c"), c_solid3}};

Store FilledStore() {
  Store store = MakeStore(c_validated, LinkSet::Validated);
  for (const auto& [key, geometry] : c_unique) {
    store->AddLink(key, geometry, LinkSet::Unique);
  }
  return store;
}

/// Calls `remove` on a filled store with each LinkSet value and expects the sets that it chooses to become
/// `uniqueLeft` and `validatedLeft`, and the others to stay.
template <class Remove>
void ExpectLeft(const Links& uniqueLeft, const Links& validatedLeft, const Remove& remove) {
  for (const LinkSetChoice& choice : LinkSetChoices()) {
    SCOPED_TRACE(Named(choice));
    const Store store = FilledStore();
    remove(*store, choice.set);
    EXPECT_EQ(UniqueContents(store), choice.changesUnique ? uniqueLeft : c_unique);
    EXPECT_EQ(ValidatedContents(store), choice.changesValidated ? validatedLeft : c_validated);
  }
}

}  // namespace

TEST(RemoveGeometryObjectLinks, RemovesEveryLinkOfTheGeometryObjectFromTheChosenSets) {
  ExpectLeft({{Key("b"), c_solid2}, {Key("c"), c_solid3}},
             {{Key("a"), c_solid2}, {Key("b"), c_solid2}, {Key("c"), c_solid3}},
             [](IProductGeometryObjects3D& store, LinkSet set) { store.RemoveGeometryObjectLinks(c_solid1, set); });
}

TEST(RemoveGeometryObjectLinks, FindsTheGeometryObjectByItsOrderNotByEquality) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("b"), EquivalentTo(c_solid1)}}, LinkSet::Validated);
  store->AddLink(Key("a"), EquivalentTo(c_solid1), LinkSet::Unique);
  store->RemoveGeometryObjectLinks(c_solid1, LinkSet::Both);
  EXPECT_EQ(UniqueContents(store), Links());
  EXPECT_EQ(ValidatedContents(store), Links());
}

TEST(RemoveGeometryObjectLinks, OfAGeometryObjectThatIsNotLinkedChangesNothing) {
  ExpectLeft(c_unique, c_validated, [](IProductGeometryObjects3D& store, LinkSet set) {
    store.RemoveGeometryObjectLinks(Solid({1}, "other"), set);
    store.RemoveGeometryObjectLinks(PartComponent({1}), set);
    store.RemoveGeometryObjectLinks(GeometryObject3D(), set);
  });
}

TEST(RemoveGeometryObjectLinks, RemovesValidatedLinksThatTheUniqueSetDoesNotHave) {
  const Store store = MakeStore({{Key("a"), c_solid1}}, LinkSet::Validated);
  store->RemoveGeometryObjectLinks(c_solid1, LinkSet::Both);
  EXPECT_EQ(ValidatedContents(store), Links());
}

TEST(RemoveLink, RemovesTheOneLinkFromTheChosenSets) {
  ExpectLeft({{Key("a"), c_solid1}, {Key("c"), c_solid3}},
             {{Key("a"), c_solid1}, {Key("a"), c_solid2}, {Key("b"), c_solid1}, {Key("c"), c_solid3}},
             [](IProductGeometryObjects3D& store, LinkSet set) { store.RemoveLink(c_solid2, Key("b"), set); });
}

TEST(RemoveLink, RemovesFromOneSetWhereTheOtherDoesNotHaveTheLink) {
  const Store store = FilledStore();
  store->RemoveLink(c_solid1, Key("b"), LinkSet::Both);
  EXPECT_EQ(UniqueContents(store), c_unique);
  EXPECT_EQ(ValidatedContents(store),
            (Links{{Key("a"), c_solid1}, {Key("a"), c_solid2}, {Key("b"), c_solid2}, {Key("c"), c_solid3}}));
  store->AddLink(Key("x"), Solid({9}, "n"), LinkSet::Unique);
  store->RemoveLink(Solid({9}, "n"), Key("x"), LinkSet::Both);
  EXPECT_EQ(UniqueContents(store), c_unique);
}

TEST(RemoveLink, NeedsBothTheKeyAndTheGeometryObjectToMatch) {
  ExpectLeft(c_unique, c_validated, [](IProductGeometryObjects3D& store, LinkSet set) {
    store.RemoveLink(c_solid3, Key("a"), set);
    store.RemoveLink(c_solid3, Key("b"), set);
    store.RemoveLink(c_solid1, Key("c"), set);
    store.RemoveLink(c_solid1, Key("unknown"), set);
    store.RemoveLink(Solid({4}, "n"), Key("a"), set);
    store.RemoveLink(GeometryObject3D(), UniqueMetaObjectKey::null, set);
  });
}

TEST(RemoveLink, LeavesKeysOfAnotherLength) {
  const Links links{{Key(""), Solid({1}, "0")},
                    {Key("k"), Solid({1}, "1")},
                    {Key({"k\0", 2}), Solid({1}, "2")},
                    {Key("kk"), Solid({1}, "3")}};
  for (const UniqueMetaObjectKey& key : {Key("kkk"), Key({"k\0\0", 3}), Key({"kk\0", 3})}) {
    const Store store = MakeStore(links);
    for (const Link& link : links) {
      store->RemoveLink(link.geometry, key, LinkSet::Both);
    }
    EXPECT_EQ(UniqueContents(store), links);
    EXPECT_EQ(ValidatedContents(store), links);
  }
}

TEST(RemoveLink, LeavesTheLinksOfOtherKeysToTheSameGeometryObject) {
  const Store store =
      MakeStore({{Key("k"), c_solid1}, {Key({"k\0", 2}), c_solid1}, {Key(""), c_solid1}, {Key("\x80"), c_solid1}},
                LinkSet::Validated);
  store->RemoveLink(c_solid1, Key("k"), LinkSet::Validated);
  EXPECT_EQ(ValidatedContents(store),
            (Links{{Key(""), c_solid1}, {Key({"k\0", 2}), c_solid1}, {Key("\x80"), c_solid1}}));
}

TEST(RemoveLink, FindsTheGeometryObjectByItsOrderNotByEquality) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("b"), c_solid2}});
  store->RemoveLink(EquivalentTo(c_solid1), Key("a"), LinkSet::Both);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), c_solid2}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("b"), c_solid2}}));
}

TEST(RemoveMetaObjectLinks, RemovesEveryLinkOfTheKeyFromTheChosenSets) {
  ExpectLeft({{Key("a"), c_solid1}, {Key("c"), c_solid3}},
             {{Key("a"), c_solid1}, {Key("a"), c_solid2}, {Key("c"), c_solid3}},
             [](IProductGeometryObjects3D& store, LinkSet set) { store.RemoveMetaObjectLinks(Key("b"), set); });
}

TEST(RemoveMetaObjectLinks, OfAKeyThatIsNotLinkedChangesNothing) {
  ExpectLeft(c_unique, c_validated, [](IProductGeometryObjects3D& store, LinkSet set) {
    store.RemoveMetaObjectLinks(Key("bb"), set);
    store.RemoveMetaObjectLinks(Key({"b\0", 2}), set);
    store.RemoveMetaObjectLinks(UniqueMetaObjectKey::null, set);
  });
}

TEST(RemoveMetaObjectLinks, TakesTheEmptyKeyLikeAnyOther) {
  const Store store = MakeStore({{Key(""), c_solid1}, {Key("a"), c_solid2}});
  store->RemoveMetaObjectLinks(Key(""), LinkSet::Both);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), c_solid2}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), c_solid2}}));
}

TEST(RemoveMetaObjectsLinks, RemovesTheLinksOfEveryKeyFromTheChosenSets) {
  ExpectLeft({{Key("b"), c_solid2}}, {{Key("b"), c_solid1}, {Key("b"), c_solid2}},
             [](IProductGeometryObjects3D& store, LinkSet set) {
               store.RemoveMetaObjectsLinks({Key("c"), Key("unknown"), Key("a")}, set);
             });
}

TEST(RemoveMetaObjectsLinks, OfNoKeysChangesNothing) {
  ExpectLeft(c_unique, c_validated,
             [](IProductGeometryObjects3D& store, LinkSet set) { store.RemoveMetaObjectsLinks({}, set); });
}

TEST(Removals, DoNotAskTheValidator) {
  const Store store = FilledStore();
  std::size_t calls = 0;
  store->SetLinkValidater([&calls](const ProductGeometryObject3D&) {
    ++calls;
    return true;
  });
  calls = 0;
  store->RemoveLink(c_solid1, Key("a"), LinkSet::Both);
  store->RemoveGeometryObjectLinks(c_solid1, LinkSet::Both);
  store->RemoveMetaObjectLinks(Key("b"), LinkSet::Both);
  store->RemoveMetaObjectsLinks({Key("c")}, LinkSet::Both);
  store->ClearLinks();
  EXPECT_EQ(calls, 0U);
}

TEST(Removals, OnAnEmptyStoreChangeNothing) {
  for (const LinkSetChoice& choice : LinkSetChoices()) {
    const Store store = MakeStore();
    store->RemoveLink(c_solid1, Key("a"), choice.set);
    store->RemoveGeometryObjectLinks(c_solid1, choice.set);
    store->RemoveMetaObjectLinks(Key("a"), choice.set);
    store->RemoveMetaObjectsLinks({Key("a"), Key("b")}, choice.set);
    store->ClearLinks();
    EXPECT_EQ(UniqueContents(store), Links());
    EXPECT_EQ(ValidatedContents(store), Links());
  }
}

TEST(Removals, TakeALinkOutOfEveryIndex) {
  const Store store = FilledStore();
  store->RemoveLink(c_solid1, Key("a"), LinkSet::Both);
  EXPECT_FALSE(store->HasLink(Key("a"), c_solid1, LinkSet::Unique));
  EXPECT_FALSE(store->HasLink(Key("a"), c_solid1, LinkSet::Validated));
  EXPECT_EQ(store->GetMetaObjectKey(c_solid1, LinkSet::Unique), UniqueMetaObjectKey::null);
  EXPECT_EQ(store->GetMetaObjectKeys(c_solid1), (Keys{Key("b")}));
  EXPECT_EQ(store->GetGeometryObject(Key("a")), GeometryObject3D());
  EXPECT_EQ(store->GetGeometryObjects(Key("a"), LinkSet::Validated), (Geometries{c_solid2}));
}
