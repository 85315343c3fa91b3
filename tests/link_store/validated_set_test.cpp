#include <functional>
#include <stdexcept>

#include <gtest/gtest.h>

#include "tests/support/Links.h"

namespace {

const GeometryObject3D c_solid1 = Solid({1}, "n");
const GeometryObject3D c_solid2 = Solid({2}, "n");
const GeometryObject3D c_solid3 = Solid({3}, "n");

/// Accepts or rejects everything and notes what it was asked.
struct RecordingValidator {
  Links& asked;
  bool answer;

  bool operator()(const ProductGeometryObject3D& record) const {
    asked.push_back({record.metaKey, record.geometry});
    return answer;
  }
};

}  // namespace

TEST(AddLink, AsksTheValidatorOnceForTheValidatedSetAndNeverOtherwise) {
  for (const LinkSetChoice& choice : LinkSetChoices()) {
    SCOPED_TRACE(Named(choice));
    Links asked;
    const Store store = CreateProductGeometryObjects3D(RecordingValidator{asked, true});
    store->AddLink(Key("a"), EquivalentTo(c_solid1), choice.set);
    EXPECT_EQ(asked, choice.changesValidated ? (Links{{Key("a"), EquivalentTo(c_solid1)}}) : Links());
  }
}

TEST(AddLink, ToBothSetsAddsALinkThatTheValidatorRejectsToTheUniqueSetOnly) {
  const Store store = CreateProductGeometryObjects3D(RejectsAll);
  store->AddLink(Key("a"), c_solid1, LinkSet::Both);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), c_solid1}}));
  EXPECT_EQ(ValidatedContents(store), Links());
}

TEST(AddLink, ToBothSetsAddsALinkThatTheUniqueSetRefusesToTheValidatedSetAllTheSame) {
  const Store store = MakeStore({{Key("a"), c_solid1}});
  store->AddLink(Key("a"), c_solid2, LinkSet::Both);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), c_solid1}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), c_solid1}, {Key("a"), c_solid2}}));
}

TEST(AddLink, ToBothSetsKeepsTheOldLinksOfAGeometryObjectInTheValidatedSet) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("b"), c_solid1}}, LinkSet::Both);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), c_solid1}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), c_solid1}, {Key("b"), c_solid1}}));
}

TEST(AddLink, WithAnEmptyValidatorThrowsOnlyAfterTheUniqueSetWasChanged) {
  const Store store = CreateProductGeometryObjects3D(nullptr);
  store->AddLink(Key("x"), c_solid1, LinkSet::Unique);
  EXPECT_THROW(store->AddLink(Key("a"), c_solid1, LinkSet::Both), std::bad_function_call);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), c_solid1}}));
  EXPECT_EQ(ValidatedContents(store), Links());
}

TEST(AddLink, WithAnEmptyValidatorThrowsExactlyForTheValidatedSet) {
  for (const LinkSetChoice& choice : LinkSetChoices()) {
    SCOPED_TRACE(Named(choice));
    const Store store = CreateProductGeometryObjects3D(nullptr);
    if (choice.changesValidated) {
      EXPECT_THROW(store->AddLink(Key("a"), c_solid1, choice.set), std::bad_function_call);
    } else {
      EXPECT_NO_THROW(store->AddLink(Key("a"), c_solid1, choice.set));
    }
  }
}

TEST(AddLink, ToTheValidatedSetOfAPairThatIsThereAsksAgainAndChangesNothing) {
  Links asked;
  const Store store = CreateProductGeometryObjects3D(RecordingValidator{asked, true});
  store->AddLink(Key("a"), c_solid1, LinkSet::Validated);
  store->AddLink(Key("a"), c_solid2, LinkSet::Validated);
  store->AddLink(Key("a"), c_solid1, LinkSet::Validated);
  EXPECT_EQ(asked.size(), 3U);
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), c_solid1}, {Key("a"), c_solid2}}));
}

TEST(AddLink, ToTheValidatedSetKeepsTheFirstOfTwoEquivalentGeometryObjects) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("a"), EquivalentTo(c_solid1)}}, LinkSet::Validated);
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), c_solid1}}));
}

TEST(AddLink, ToTheValidatedSetTakesEquivalentGeometryObjectsUnderDifferentKeys) {
  const Links links{{Key("a"), c_solid1}, {Key("b"), EquivalentTo(c_solid1)}};
  EXPECT_EQ(ValidatedContents(MakeStore(links, LinkSet::Validated)), links);
}

TEST(AddLink, ToTheValidatedSetLeavesTheUniqueSetAsItWas) {
  const Store store = MakeStore({{Key("a"), c_solid1}}, LinkSet::Unique);
  store->AddLink(Key("b"), c_solid1, LinkSet::Validated);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), c_solid1}}));
}

TEST(TheValidatedSet, WalksLinksOfOneKeyInOrderOfEntry) {
  // Entered neither in the order of the geometry objects nor in its reverse, and between other keys.
  const Store store = MakeStore({{Key("k"), c_solid2},
                                 {Key("z"), c_solid1},
                                 {Key("k"), c_solid3},
                                 {Key("a"), c_solid3},
                                 {Key("k"), c_solid1},
                                 {Key("k"), Solid({2}, "m")}},
                                LinkSet::Validated);
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), c_solid3},
                                             {Key("k"), c_solid2},
                                             {Key("k"), c_solid3},
                                             {Key("k"), c_solid1},
                                             {Key("k"), Solid({2}, "m")},
                                             {Key("z"), c_solid1}}));
  EXPECT_EQ(store->GetGeometryObjects(Key("k"), LinkSet::Validated),
            (Geometries{c_solid2, c_solid3, c_solid1, Solid({2}, "m")}));
}

TEST(TheValidatedSet, GivesTheKeysOfOneGeometryObjectInOrderOfEntry) {
  const Store store = MakeStore({{Key("m"), c_solid2},
                                 {Key("a"), c_solid1},
                                 {Key("z"), c_solid2},
                                 {Key("a"), c_solid2},
                                 {Key("b"), c_solid3},
                                 {Key("c"), EquivalentTo(c_solid2)}},
                                LinkSet::Validated);
  EXPECT_EQ(store->GetMetaObjectKeys(c_solid2), (Keys{Key("m"), Key("z"), Key("a"), Key("c")}));
}

TEST(TheValidatedSet, PutsALinkThatWasRemovedAndAddedAgainBehindItsEquals) {
  const Store store = MakeStore(
      {{Key("k"), c_solid1}, {Key("k"), c_solid2}, {Key("a"), c_solid1}, {Key("b"), c_solid1}}, LinkSet::Validated);
  store->RemoveLink(c_solid1, Key("k"), LinkSet::Validated);
  store->AddLink(Key("k"), c_solid1, LinkSet::Validated);
  EXPECT_EQ(store->GetGeometryObjects(Key("k"), LinkSet::Validated), (Geometries{c_solid2, c_solid1}));
  EXPECT_EQ(store->GetMetaObjectKeys(c_solid1), (Keys{Key("a"), Key("b"), Key("k")}));
}

TEST(TheValidatedSet, WalksKeysInAscendingOrderOfUnsignedBytes) {
  const Links ascending{{Key(""), c_solid1},         {Key({"\0", 1}), c_solid1}, {Key("a"), c_solid1},
                        {Key({"a\0", 2}), c_solid1}, {Key("a\x01"), c_solid1},   {Key("ab"), c_solid1},
                        {Key("\x7F"), c_solid1},     {Key("\x80"), c_solid1}};
  EXPECT_EQ(ValidatedContents(MakeStore({ascending.rbegin(), ascending.rend()}, LinkSet::Validated)), ascending);
}

TEST(AddLinks, WorksOnTheSetsThatTheLinkSetValueChooses) {
  for (const LinkSetChoice& choice : LinkSetChoices()) {
    SCOPED_TRACE(Named(choice));
    const Store store = MakeStore();
    store->AddLinks(Key("a"), {c_solid1, c_solid2}, choice.set);
    EXPECT_EQ(UniqueContents(store), choice.changesUnique ? (Links{{Key("a"), c_solid1}}) : Links());
    EXPECT_EQ(ValidatedContents(store),
              choice.changesValidated ? (Links{{Key("a"), c_solid1}, {Key("a"), c_solid2}}) : Links());
  }
}

TEST(AddLinks, AsksTheValidatorForEachGeometryObjectInTheOrderOfTheList) {
  Links asked;
  const Store store = CreateProductGeometryObjects3D(RecordingValidator{asked, false});
  store->AddLinks(Key("a"), {c_solid3, c_solid1, c_solid1, c_solid2}, LinkSet::Both);
  EXPECT_EQ(asked, (Links{{Key("a"), c_solid3}, {Key("a"), c_solid1}, {Key("a"), c_solid1}, {Key("a"), c_solid2}}));
  EXPECT_EQ(ValidatedContents(store), Links());
}

TEST(AddLinks, OfNoGeometryObjectsChangesNothingAndAsksNothing) {
  const Store store = CreateProductGeometryObjects3D(nullptr);
  store->AddLink(Key("x"), c_solid1, LinkSet::Unique);
  EXPECT_NO_THROW(store->AddLinks(Key("a"), {}, LinkSet::Both));
  EXPECT_EQ(UniqueContents(store), (Links{{Key("x"), c_solid1}}));
}

TEST(AddLinks, DoesBothSetsForOneGeometryObjectBeforeTheNext) {
  // The validator gives out at the second object, so the unique set has seen two objects and not the third.
  std::size_t calls = 0;
  const Store store = CreateProductGeometryObjects3D([&calls](const ProductGeometryObject3D&) {
    if (++calls == 2) {
      throw std::runtime_error("no more");
    }
    return true;
  });
  for (const auto& [key, geometry] : Links{{Key("x"), c_solid1}, {Key("y"), c_solid2}, {Key("z"), c_solid3}}) {
    store->AddLink(key, geometry, LinkSet::Unique);
  }
  EXPECT_THROW(store->AddLinks(Key("a"), {c_solid1, c_solid2, c_solid3}, LinkSet::Both), std::runtime_error);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), c_solid1}, {Key("z"), c_solid3}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), c_solid1}}));
}

TEST(AddLinks, WithAnEmptyValidatorThrowsAfterTheFirstUniqueLink) {
  const Store store = CreateProductGeometryObjects3D(nullptr);
  store->AddLink(Key("y"), c_solid2, LinkSet::Unique);
  EXPECT_THROW(store->AddLinks(Key("a"), {c_solid1, c_solid2}, LinkSet::Both), std::bad_function_call);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), c_solid1}, {Key("y"), c_solid2}}));
}
