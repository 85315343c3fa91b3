#include <gtest/gtest.h>

#include "tests/support/Links.h"

namespace {

const GeometryObject3D c_solid1 = Solid({1}, "n");
const GeometryObject3D c_solid2 = Solid({2}, "n");
const GeometryObject3D c_solid3 = Solid({3}, "n");

}  // namespace

TEST(AddLink, WorksOnTheSetsThatTheLinkSetValueChooses) {
  for (const LinkSetChoice& choice : LinkSetChoices()) {
    SCOPED_TRACE(Named(choice));
    const Store store = MakeStore();
    store->AddLink(Key("a"), c_solid1, choice.set);
    const Links added{{Key("a"), c_solid1}};
    EXPECT_EQ(UniqueContents(store), choice.changesUnique ? added : Links());
    EXPECT_EQ(ValidatedContents(store), choice.changesValidated ? added : Links());
  }
}

TEST(AddLink, ToTheUniqueSetRemovesTheGeometryObjectsOldLinkWhateverItsKey) {
  const Store store = MakeStore({{Key("a"), c_solid1}}, LinkSet::Unique);
  store->AddLink(Key("b"), c_solid1, LinkSet::Unique);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), c_solid1}}));
}

TEST(AddLink, ToTheUniqueSetLeavesAKeyWithTheLinkThatItHas) {
  const Store store = MakeStore({{Key("a"), c_solid1}}, LinkSet::Unique);
  store->AddLink(Key("a"), c_solid2, LinkSet::Unique);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), c_solid1}}));
}

TEST(AddLink, ToTheUniqueSetRemovesTheGeometryObjectsOldLinkEvenWhereTheKeyKeepsItsOwn) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("c"), c_solid2}, {Key("d"), c_solid3}}, LinkSet::Unique);
  store->AddLink(Key("a"), c_solid2, LinkSet::Unique);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), c_solid1}, {Key("d"), c_solid3}}));
}

TEST(AddLink, ToTheUniqueSetOfAPairThatIsThereLeavesOneLink) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("a"), c_solid1}}, LinkSet::Unique);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), c_solid1}}));
}

TEST(AddLink, ToTheUniqueSetPutsAnEquivalentGeometryObjectInThePlaceOfTheOldOne) {
  const Store store = MakeStore({{Key("a"), c_solid1}}, LinkSet::Unique);
  store->AddLink(Key("a"), EquivalentTo(c_solid1), LinkSet::Unique);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), EquivalentTo(c_solid1)}}));
  store->AddLink(Key("b"), c_solid1, LinkSet::Unique);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), c_solid1}}));
}

TEST(AddLink, ToTheUniqueSetNeverAsksTheValidator) {
  const Store store = CreateProductGeometryObjects3D(nullptr);
  store->AddLink(Key("a"), c_solid1, LinkSet::Unique);
  store->AddLink(Key("b"), c_solid1, LinkSet::Unique);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), c_solid1}}));
}

TEST(AddLink, ToTheUniqueSetAloneLeavesTheValidatedSetAsItWas) {
  const Store store = MakeStore({{Key("a"), c_solid1}}, LinkSet::Both);
  store->AddLink(Key("b"), c_solid1, LinkSet::Unique);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), c_solid1}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), c_solid1}}));
}

TEST(AddLink, CopiesItsArgumentsWhole) {
  UniqueMetaObjectKey key = LongKey("a");
  GeometryObject3D geometry = EquivalentTo(Solid({1, 2, 3, 4, 5, 6, 7, 8}, "a name of more than fifteen bytes"));
  const Links expected{{key, geometry}};
  const Store store = MakeStore();
  store->AddLink(key, geometry, LinkSet::Both);
  key = Key("changed");
  geometry = GeometryObject3D();
  EXPECT_EQ(UniqueContents(store), expected);
  EXPECT_EQ(ValidatedContents(store), expected);
}

TEST(AddLink, TakesTheEmptyKeyAndADefaultGeometryObjectLikeAnyOther) {
  const Store store = MakeStore({{UniqueMetaObjectKey::null, GeometryObject3D()}});
  EXPECT_EQ(UniqueContents(store), (Links{{Key(""), GeometryObject3D()}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key(""), GeometryObject3D()}}));
}

TEST(TheUniqueSet, IsWalkedInAscendingOrderOfKeysWhateverTheOrderOfEntry) {
  const Keys ascending{Key(""),    Key({"\0", 1}), Key("a"),    Key({"a\0", 2}), Key({"a\0b", 3}), Key("ab"),
                       Key("abc"), Key("b"),       Key("\x7F"), Key("\x80"),     Key("\x80z"),     Key("\xFF")};
  const Store store = MakeStore();
  // Steps of 5 through 12 keys visit each of them once, in no order of theirs.
  for (std::uint32_t i = 0; i < ascending.size(); ++i) {
    store->AddLink(ascending[i * 5 % ascending.size()], Solid({i}, "n"), LinkSet::Unique);
  }
  Keys walked;
  for (const Link& link : UniqueContents(store)) {
    walked.push_back(link.key);
  }
  EXPECT_EQ(walked, ascending);
}

TEST(TheUniqueSet, TellsKeysApartByEveryByteAndByTheirLength) {
  const Store store =
      MakeStore({{Key("k"), c_solid1}, {Key({"k\0", 2}), c_solid2}, {Key("kk"), c_solid3}}, LinkSet::Unique);
  EXPECT_EQ(store->GetGeometryObject(Key("k")), c_solid1);
  EXPECT_EQ(store->GetGeometryObject(Key({"k\0", 2})), c_solid2);
  EXPECT_EQ(store->GetGeometryObject(Key("kk")), c_solid3);
  EXPECT_EQ(store->GetGeometryObject(Key({"k\0\0", 3})), GeometryObject3D());
}

TEST(TheUniqueSet, TellsGeometryObjectsApartByTypePathAndName) {
  const Links links{{Key("a"), Solid({1}, "n")},
                    {Key("b"), Solid({1}, "m")},
                    {Key("c"), Solid({1, 1}, "n")},
                    {Key("d"), GeometryObject3D(GeometryObject3D::c_openShell, {1}, {}, MbName("n"))}};
  EXPECT_EQ(UniqueContents(MakeStore(links, LinkSet::Unique)), links);
}

TEST(AddLinks, ToTheUniqueSetKeepsTheFirstGeometryObjectForAKeyThatHasNone) {
  const Store store = MakeStore();
  store->AddLinks(Key("a"), {c_solid2, c_solid1, c_solid3}, LinkSet::Unique);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), c_solid2}}));
}

TEST(AddLinks, ToTheUniqueSetRemovesTheLinksOfOtherKeysToEveryListedGeometryObject) {
  const Store store = MakeStore(
      {{Key("x"), c_solid1}, {Key("y"), c_solid2}, {Key("z"), c_solid3}, {Key("w"), Solid({4}, "n")}}, LinkSet::Unique);
  store->AddLinks(Key("a"), {c_solid1, c_solid2, c_solid3}, LinkSet::Unique);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), c_solid1}, {Key("w"), Solid({4}, "n")}}));
}

TEST(AddLinks, ToTheUniqueSetAddsNothingForAKeyThatIsLinkedElsewhere) {
  const Store store = MakeStore({{Key("a"), c_solid3}, {Key("x"), c_solid1}}, LinkSet::Unique);
  store->AddLinks(Key("a"), {c_solid1, c_solid2}, LinkSet::Unique);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), c_solid3}}));
}

TEST(AddLinks, ToTheUniqueSetTakesTheSameGeometryObjectTwice) {
  const Store store = MakeStore();
  store->AddLinks(Key("a"), {c_solid1, EquivalentTo(c_solid1)}, LinkSet::Unique);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), EquivalentTo(c_solid1)}}));
}
