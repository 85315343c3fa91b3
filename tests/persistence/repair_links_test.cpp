// ReadMetaObjectsLinks with product data: of all unique links to one geometry object one is added. Which one, and what
// is asked of product data and store to find it, in which order.

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/StreamBytes.h"
#include "tests/support/StreamLink.h"
#include "tests/support/StreamMocks.h"

namespace {

using testing::_;
using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using testing::Return;
using testing::StrictMock;
using testing::Throw;

using Keys = std::set<UniqueMetaObjectKey>;
using Geometries = std::vector<GeometryObject3D>;

Keys KeysOf(std::initializer_list<const char*> texts) {
  Keys keys;
  for (const char* text : texts) {
    keys.insert(UniqueMetaObjectKey(text));
  }
  return keys;
}

StreamLink Body(const std::string& key, std::uint32_t component, std::vector<std::uint32_t> secondPath = {}) {
  return {key, 1, {component}, std::move(secondPath), "body"};
}

StreamLink Assembly(const std::string& key, std::uint32_t component) {
  return {key, 200, {component}, {}, ""};
}

// Strict mocks in one sequence: every question and every link added is expected, in this order, and no other.
class RepairLinks : public testing::Test {
 protected:
  void Has(const std::string& key, bool answer) {
    EXPECT_CALL(metaData, HasMetaObject(UniqueMetaObjectKey(key))).WillOnce(Return(answer));
  }
  void Related(const std::string& key, const Keys& answer) {
    EXPECT_CALL(metaData, GetRelatedMetaObjects(UniqueMetaObjectKey(key))).WillOnce(Return(answer));
  }
  void Qualifies(const std::string& key) {
    Has(key, true);
    Related(key, {});
  }
  void GeometryObjects(const std::string& key, const Geometries& answer) {
    EXPECT_CALL(store, GetGeometryObjects(UniqueMetaObjectKey(key), LinkSet::Unique)).WillOnce(Return(answer));
  }
  void Add(const StreamLink& link, LinkSet set = LinkSet::Unique) {
    EXPECT_CALL(store, AddLink(UniqueMetaObjectKey(link.key), GeometryOf(link), set));
  }

  void Read(const StreamLinks& uniqueLinks, const StreamLinks& validatedLinks = {}) {
    const StreamBytes bytes = StreamBytes().Section(uniqueLinks, validatedLinks);
    MemoryReader in(bytes.Bytes(), {0x17000002, c_currentMathVersion});
    ReadMetaObjectsLinks(in, store, &metaData);
    EXPECT_TRUE(in.good());
  }

  StrictMock<MockLinkStore> store;
  StrictMock<MockMetaProductData> metaData;
  const InSequence sequence;
};

TEST_F(RepairLinks, AddsTheLastLinkThatQualifiesAndAsksAboutEveryOne) {
  Qualifies("a");
  Qualifies("b");
  Qualifies("c");
  Add(Body("c", 1));
  Read({Body("a", 1), Body("b", 1), Body("c", 1)});
}

TEST_F(RepairLinks, PassesOverLinksThatDoNotQualifyWhereverTheyStand) {
  Has("a", false);
  Qualifies("b");
  Has("c", false);
  Add(Body("b", 1));
  Read({Body("a", 1), Body("b", 1), Body("c", 1)});
}

TEST_F(RepairLinks, AddsTheFirstLinkWhereNoneQualifies) {
  Has("a", false);
  Has("b", false);
  Add(Body("a", 1));
  Read({Body("a", 1), Body("b", 1)});
}

TEST_F(RepairLinks, AddsALinkThatStandsAloneWhetherItQualifiesOrNot) {
  Has("a", false);
  Add(Body("a", 1));
  Qualifies("b");
  Add(Body("b", 2));
  Read({Body("a", 1), Body("b", 2)});
}

TEST_F(RepairLinks, TakesTheOrderOfAGroupFromTheStreamNotFromTheKeys) {
  Has("c", false);
  Has("a", false);
  Has("b", false);
  Add(Body("c", 1));
  Qualifies("y");
  Qualifies("z");
  Qualifies("x");
  Add(Body("x", 2));
  Read({Body("c", 1), Body("y", 2), Body("a", 1), Body("b", 1), Body("z", 2), Body("x", 2)});
}

TEST_F(RepairLinks, DoesNotAskForTheRelationsOfAnUnknownMetaObject) {
  Has("a", false);
  Add(Body("a", 1));
  Read({Body("a", 1)});
}

TEST_F(RepairLinks, DoesNotAskTheStoreWhereNothingIsRelated) {
  Has("a", true);
  Related("a", {});
  Add(Body("a", 1));
  Read({Body("a", 1)});
}

TEST_F(RepairLinks, AsksTheStoreForTheUniqueLinksOfTheSmallestRelatedKeyOnly) {
  Has("a", true);
  Related("a", KeysOf({"r2", "r1", "r3"}));
  GeometryObjects("r1", Geometries(1));
  Add(Body("a", 1));
  Read({Body("a", 1)});
}

TEST_F(RepairLinks, TakesALinkAsUnqualifiedWhereTheSmallestRelatedKeyHasNoGeometryObject) {
  Has("a", false);
  Qualifies("b");
  Has("c", true);
  Related("c", KeysOf({"r1", "r2"}));
  GeometryObjects("r1", {});
  Add(Body("b", 1));
  Read({Body("a", 1), Body("b", 1), Body("c", 1)});
}

TEST_F(RepairLinks, TakesSeveralGeometryObjectsOfARelatedKeyAsGoodAsOne) {
  Qualifies("a");
  Has("b", true);
  Related("b", KeysOf({"r"}));
  GeometryObjects("r", Geometries(2));
  Add(Body("b", 1));
  Read({Body("a", 1), Body("b", 1)});
}

TEST_F(RepairLinks, AsksTheStoreForTheEmptyKeyWhereThatIsTheSmallestRelatedOne) {
  Has("a", true);
  Related("a", KeysOf({"r", ""}));
  GeometryObjects("", {});
  Add(Body("a", 1));
  Read({Body("a", 1)});
}

TEST_F(RepairLinks, AddsLinksToAssemblyComponentsFirstInOrderOfGeometryObjectsAndAsksNothingAboutThem) {
  Add(Assembly("z", 1));
  Add(Assembly("a", 1));  // also where several link to one geometry object
  Add(Assembly("m", 2));
  Qualifies("b");
  Add(Body("b", 1));
  Qualifies("c");
  Add(Body("c", 2));
  Read({Body("b", 1), Body("c", 2), Assembly("m", 2), Assembly("z", 1), Assembly("a", 1)});
}

TEST_F(RepairLinks, TreatsNoOtherTypeAsAssemblyComponentsAre) {
  for (const std::uint32_t type : {0u, 104u, 199u, 201u, 0xC8000000u}) {
    Qualifies("a");
    Qualifies("b");
    Add({"b", type, {1}, {}, ""});
  }
  Read({{"a", 0, {1}, {}, ""},
        {"b", 0, {1}, {}, ""},
        {"a", 104, {1}, {}, ""},
        {"b", 104, {1}, {}, ""},
        {"a", 199, {1}, {}, ""},
        {"b", 199, {1}, {}, ""},
        {"a", 201, {1}, {}, ""},
        {"b", 201, {1}, {}, ""},
        {"a", 0xC8000000, {1}, {}, ""},
        {"b", 0xC8000000, {1}, {}, ""}});
}

TEST_F(RepairLinks, AddsALinkToAnAssemblyComponentWithTheEmptyKeyToo) {
  Add(Assembly("", 1));
  Read({Assembly("", 1)});
}

// The type is part of the order of geometry objects, so the two never share a group.
TEST_F(RepairLinks, ResolvesALinkAlikeOneToAnAssemblyComponentButForItsTypeOnItsOwn) {
  const StreamLink assembly{"a", 200, {1}, {}, "alike"};
  const StreamLink smallerType{"b", 199, {1}, {}, "alike"};
  const StreamLink greaterType{"c", 201, {1}, {}, "alike"};
  Add(assembly);
  Has("b", false);
  Add(smallerType);
  Has("c", false);
  Add(greaterType);
  Read({assembly, smallerType, greaterType});
}

TEST_F(RepairLinks, ResolvesGroupsInOrderOfGeometryObjectsEachBeforeTheNextIsAskedAbout) {
  Qualifies("z");
  Add(Body("z", 1));
  Has("a", true);
  Related("a", KeysOf({"z"}));
  GeometryObjects("z", Geometries(1));
  Has("b", false);
  Add(Body("a", 2));
  Qualifies("m");
  Add(Body("m", 3));
  Read({Body("m", 3), Body("a", 2), Body("b", 2), Body("z", 1)});
}

// Geometry objects that differ in their second path only have one place in the order, but are not equal.
TEST_F(RepairLinks, ResolvesLinksToEquivalentButUnequalGeometryObjectsApart) {
  Qualifies("a");
  Add(Body("a", 1, {5}));
  Qualifies("b");
  Add(Body("b", 1, {6}));
  Read({Body("a", 1, {5}), Body("b", 1, {6})});
}

TEST_F(RepairLinks, MakesRunsOfEqualGeometryObjectsSoThatAnUnequalOneBetweenThemParts) {
  Qualifies("a");
  Qualifies("b");
  Add(Body("b", 1));
  Qualifies("c");
  Add(Body("c", 1, {9}));
  Has("d", false);
  Has("e", false);
  Add(Body("d", 1));
  Read({Body("a", 1), Body("b", 1), Body("c", 1, {9}), Body("d", 1), Body("e", 1)});
}

TEST_F(RepairLinks, AddsNothingForAGroupWhoseOnlyLinkHasTheEmptyKey) {
  Has("", false);
  Qualifies("b");
  Add(Body("b", 2));
  Read({Body("", 1), Body("b", 2)});
}

TEST_F(RepairLinks, AddsNothingForALastGroupWhoseOnlyLinkHasTheEmptyKey) {
  Qualifies("a");
  Add(Body("a", 1));
  Qualifies("");
  Read({Body("a", 1), Body("", 2)});
}

TEST_F(RepairLinks, TakesAQualifiedEmptyKeyAsNoneAndAddsTheFirstLink) {
  Has("b", false);
  Has("a", false);
  Qualifies("");
  Add(Body("b", 1));
  Read({Body("b", 1), Body("a", 1), Body("", 1)});
}

TEST_F(RepairLinks, TakesAQualifiedEmptyKeyAsNoneEvenAfterAnotherThatQualified) {
  Has("a", false);
  Qualifies("b");
  Qualifies("");
  Add(Body("a", 1));
  Read({Body("a", 1), Body("b", 1), Body("", 1)});
}

TEST_F(RepairLinks, AddsTheLinkThatQualifiesAfterOneWithTheEmptyKey) {
  Qualifies("");
  Qualifies("b");
  Add(Body("b", 1));
  Read({Body("", 1), Body("b", 1)});
}

TEST_F(RepairLinks, AddsNothingWhereTheFirstLinkOfAGroupHasTheEmptyKeyAndNoneQualifies) {
  Has("", false);
  Has("b", false);
  Read({Body("", 1), Body("b", 1)});
}

TEST_F(RepairLinks, ResolvesTheLastGroupAfterTheWalkAndBeforeTheValidatedLinks) {
  Qualifies("a");
  Add(Body("a", 1));
  Qualifies("b");
  Add(Body("b", 2));
  Add(Body("v", 1), LinkSet::Validated);
  Read({Body("a", 1), Body("b", 2)}, {Body("v", 1)});
}

TEST_F(RepairLinks, AddsTheValidatedLinksInKeyOrderUnrepairedAndAsksNothingAboutThem) {
  Add(Body("a", 2), LinkSet::Validated);
  Add(Assembly("b", 1), LinkSet::Validated);
  Add(Body("b", 1), LinkSet::Validated);
  Add(Body("c", 1), LinkSet::Validated);
  Read({}, {Body("c", 1), Assembly("b", 1), Body("b", 1), Body("a", 2)});
}

TEST_F(RepairLinks, OfAVersionWithOneSetRepairsTheUniqueLinksAloneAndValidatesThemAll) {
  Qualifies("a");
  Has("b", false);
  Add(Body("a", 1));
  Add(Body("a", 1), LinkSet::Validated);
  Add(Body("b", 1), LinkSet::Validated);
  const StreamForm form{.setCount = 1, .hasSecondPath = false, .isOutermostFirst = true};
  const StreamBytes bytes = StreamBytes(form).Links({Body("a", 1), Body("b", 1)});
  MemoryReader in(bytes.Bytes(), {0x12000010, c_currentMathVersion});
  ReadMetaObjectsLinks(in, store, &metaData);
}

TEST_F(RepairLinks, OfAnEmptySectionAsksNothing) {
  Read({});
}

TEST_F(RepairLinks, PassesAnExceptionOfHasMetaObjectAtOnce) {
  Qualifies("a");
  Add(Body("a", 1));
  EXPECT_CALL(metaData, HasMetaObject(UniqueMetaObjectKey("b"))).WillOnce(Throw(std::runtime_error("product data")));
  EXPECT_THROW(Read({Body("a", 1), Body("b", 2), Body("c", 3)}, {Body("v", 1)}), std::runtime_error);
}

TEST_F(RepairLinks, PassesAnExceptionOfGetRelatedMetaObjectsAtOnce) {
  Has("a", true);
  EXPECT_CALL(metaData, GetRelatedMetaObjects(_)).WillOnce(Throw(std::runtime_error("product data")));
  EXPECT_THROW(Read({Body("a", 1), Body("b", 1)}), std::runtime_error);
}

TEST_F(RepairLinks, PassesAnExceptionOfTheStoresAnswerAtOnce) {
  Has("a", true);
  Related("a", KeysOf({"r"}));
  EXPECT_CALL(store, GetGeometryObjects(_, _)).WillOnce(Throw(std::runtime_error("store")));
  EXPECT_THROW(Read({Body("a", 1), Body("b", 1)}), std::runtime_error);
}

TEST_F(RepairLinks, PassesAnExceptionOfAddLinkAtOnce) {
  EXPECT_CALL(store, AddLink(_, _, LinkSet::Unique)).WillOnce(Throw(std::runtime_error("store")));
  EXPECT_THROW(Read({Assembly("a", 1), Assembly("b", 1), Body("c", 1)}), std::runtime_error);
}

// The same with a store as it is.
class RepairLinksInAStore : public testing::Test {
 protected:
  void Read(const StreamLinks& uniqueLinks, const StreamLinks& validatedLinks = {}) {
    const StreamBytes bytes = StreamBytes().Section(uniqueLinks, validatedLinks);
    MemoryReader in(bytes.Bytes(), {0x17000002, c_currentMathVersion});
    ReadMetaObjectsLinks(in, *store, &metaData);
  }

  const std::unique_ptr<IProductGeometryObjects3D> store = CreateProductGeometryObjects3D(AcceptAll);
  testing::NiceMock<MockMetaProductData> metaData;
};

TEST_F(RepairLinksInAStore, KeepsTheGreatestOfThreeKeysThatAllQualify) {
  ON_CALL(metaData, HasMetaObject).WillByDefault(Return(true));
  Read({Body("a", 1), Body("b", 1), Body("c", 1)});
  EXPECT_THAT(LinksOf(*store, LinkSet::Unique), ElementsAre(Body("c", 1)));
}

TEST_F(RepairLinksInAStore, KeepsTheSmallestKeyWhereNoneQualifies) {
  Read({Body("a", 1), Body("b", 1), Body("c", 1)});
  EXPECT_THAT(LinksOf(*store, LinkSet::Unique), ElementsAre(Body("a", 1)));
}

TEST_F(RepairLinksInAStore, SeesLinksToAssemblyComponentsOfTheSameSection) {
  ON_CALL(metaData, HasMetaObject).WillByDefault(Return(true));
  ON_CALL(metaData, GetRelatedMetaObjects(UniqueMetaObjectKey("a"))).WillByDefault(Return(KeysOf({"top"})));
  ON_CALL(metaData, GetRelatedMetaObjects(UniqueMetaObjectKey("b"))).WillByDefault(Return(KeysOf({"gone"})));
  Read({Body("a", 1), Body("b", 1), Body("c", 2), Assembly("top", 9)});
  EXPECT_THAT(LinksOf(*store, LinkSet::Unique), ElementsAre(Body("a", 1), Body("c", 2), Assembly("top", 9)));
}

TEST_F(RepairLinksInAStore, SeesGroupsResolvedEarlierButNoneStillToCome) {
  ON_CALL(metaData, HasMetaObject).WillByDefault(Return(true));
  ON_CALL(metaData, GetRelatedMetaObjects(UniqueMetaObjectKey("a2"))).WillByDefault(Return(KeysOf({"c2"})));
  ON_CALL(metaData, GetRelatedMetaObjects(UniqueMetaObjectKey("c2"))).WillByDefault(Return(KeysOf({"b"})));
  // a2 depends on a geometry object that comes behind it, c2 on one before it.
  Read({Body("a1", 1), Body("a2", 1), Body("b", 2), Body("c1", 3), Body("c2", 3)});
  EXPECT_THAT(LinksOf(*store, LinkSet::Unique), ElementsAre(Body("a1", 1), Body("b", 2), Body("c2", 3)));
}

TEST_F(RepairLinksInAStore, SeesWhatTheStoreHeldBefore) {
  AddLinksTo(*store, {Assembly("top", 9)}, LinkSet::Unique);
  AddLinksTo(*store, {Assembly("validated only", 8)}, LinkSet::Validated);
  ON_CALL(metaData, HasMetaObject).WillByDefault(Return(true));
  ON_CALL(metaData, GetRelatedMetaObjects(UniqueMetaObjectKey("b"))).WillByDefault(Return(KeysOf({"top"})));
  ON_CALL(metaData, GetRelatedMetaObjects(UniqueMetaObjectKey("c"))).WillByDefault(Return(KeysOf({"validated only"})));
  Read({Body("a", 1), Body("b", 1), Body("c", 1)});
  EXPECT_THAT(LinksOf(*store, LinkSet::Unique), ElementsAre(Body("b", 1), Assembly("top", 9)));
}

TEST_F(RepairLinksInAStore, LeavesTheLinksAddedBeforeAnException) {
  ON_CALL(metaData, HasMetaObject(UniqueMetaObjectKey("c"))).WillByDefault(Throw(std::runtime_error("product data")));
  EXPECT_THROW(Read({Body("a", 1), Body("b", 2), Body("c", 3), Assembly("top", 9)}, {Body("v", 1)}),
               std::runtime_error);
  EXPECT_THAT(LinksOf(*store, LinkSet::Unique), ElementsAre(Body("a", 1), Body("b", 2), Assembly("top", 9)));
  EXPECT_THAT(LinksOf(*store, LinkSet::Validated), IsEmpty());
}

}  // namespace
