// ReadMetaObjectsLinks: what reaches the store, in which order, and what stays where something goes wrong.

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <span>
#include <vector>

#include <gmock/gmock.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/StreamBytes.h"
#include "tests/support/StreamLink.h"
#include "tests/support/StreamMocks.h"
#include "tests/support/StreamRecorders.h"

namespace {

using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using testing::StrictMock;
using testing::Throw;

constexpr StreamVersions c_current{0x17000002, c_currentMathVersion};
const StreamForm c_oneSet{.setCount = 1, .hasSecondPath = false, .isOutermostFirst = true};
constexpr StreamVersions c_oneSetVersion{0x12000010, c_currentMathVersion};

void ExpectAdd(MockLinkStore& store, const StreamLink& link, LinkSet set) {
  EXPECT_CALL(store, AddLink(UniqueMetaObjectKey(link.key), GeometryOf(link), set));
}

void Read(const StreamBytes& bytes, IProductGeometryObjects3D& store, const IfMetaProductData* metaData = nullptr,
          const StreamVersions& versions = c_current) {
  MemoryReader in(bytes.Bytes(), versions);
  ReadMetaObjectsLinks(in, store, metaData);
  EXPECT_TRUE(in.good());
}

std::unique_ptr<IProductGeometryObjects3D> Store() {
  return CreateProductGeometryObjects3D(AcceptAll);
}

TEST(ReadLinks, WithoutProductDataAddsTheUniqueLinksInKeyOrderAndThenTheValidatedOnes) {
  const StreamLink b{"b", 1, {1}, {5}, "x"};
  const StreamLink a{"a", 2, {1}, {}, ""};
  const StreamLink z{"z", 200, {}, {}, ""};
  const StreamLink v1{"w", 9, {}, {}, ""};
  const StreamLink v2{"w", 3, {}, {7}, ""};
  const StreamLink v3{"v", 5, {}, {}, ""};
  StrictMock<MockLinkStore> store;
  const InSequence sequence;
  ExpectAdd(store, a, LinkSet::Unique);
  ExpectAdd(store, b, LinkSet::Unique);
  ExpectAdd(store, z, LinkSet::Unique);
  ExpectAdd(store, v3, LinkSet::Validated);
  ExpectAdd(store, v1, LinkSet::Validated);  // one key: stream order
  ExpectAdd(store, v2, LinkSet::Validated);
  Read(StreamBytes().Section({b, z, a}, {v1, v2, v3}), store);
}

TEST(ReadLinks, WithoutProductDataAddEveryLinkOfAGeometryObjectSoThatTheGreatestKeyKeepsIt) {
  const StreamLink a{"a", 1, {1}, {}, ""};
  const StreamLink b{"b", 1, {1}, {}, ""};
  StrictMock<MockLinkStore> mock;
  {
    const InSequence sequence;
    ExpectAdd(mock, a, LinkSet::Unique);
    ExpectAdd(mock, b, LinkSet::Unique);
  }
  Read(StreamBytes().Section({b, a}, {}), mock);

  const auto store = Store();
  Read(StreamBytes().Section({b, a}, {}), *store);
  EXPECT_THAT(LinksOf(*store, LinkSet::Unique), ElementsAre(b));
}

TEST(ReadLinks, WithoutProductDataAddsALinkWithTheEmptyKeyAsWell) {
  const StreamLink link{"", 1, {1}, {}, ""};
  StrictMock<MockLinkStore> store;
  ExpectAdd(store, link, LinkSet::Unique);
  Read(StreamBytes().Section({link}, {}), store);
}

TEST(ReadLinks, OfAVersionWithoutLinksAsksNothingOfStoreAndProductData) {
  StrictMock<MockLinkStore> store;
  StrictMock<MockMetaProductData> metaData;
  const StreamBytes bytes = StreamBytes(c_oneSet).Links({{"a", 1, {1}, {}, ""}});
  Read(bytes, store, nullptr, {0x12000004, c_currentMathVersion});
  Read(bytes, store, &metaData, {0x12000004, c_currentMathVersion});
}

TEST(ReadLinks, OfAVersionWithoutLinksLeavesTheStoreAsItIs) {
  const StreamLink held{"held", 1, {1}, {}, ""};
  const auto store = Store();
  AddLinksTo(*store, {held}, LinkSet::Both);
  Read(StreamBytes(c_oneSet).Links({{"a", 1, {1}, {}, ""}}), *store, nullptr, {0x12000004, c_currentMathVersion});
  EXPECT_THAT(LinksOf(*store, LinkSet::Unique), ElementsAre(held));
  EXPECT_THAT(LinksOf(*store, LinkSet::Validated), ElementsAre(held));
}

TEST(ReadLinks, OfAVersionWithOneSetAddsEveryLinkToBoth) {
  const StreamLink b{"b", 1, {1, 2}, {}, ""};
  const StreamLink a{"a", 1, {3}, {}, ""};
  StrictMock<MockLinkStore> store;
  const InSequence sequence;
  ExpectAdd(store, a, LinkSet::Unique);
  ExpectAdd(store, b, LinkSet::Unique);
  ExpectAdd(store, a, LinkSet::Validated);
  ExpectAdd(store, b, LinkSet::Validated);
  Read(StreamBytes(c_oneSet).Links({b, a}), store, nullptr, c_oneSetVersion);
}

TEST(ReadLinks, AreMergedIntoWhatTheStoreHolds) {
  const StreamLink kept{"kept", 1, {1}, {}, ""};
  const StreamLink replaced{"replaced", 1, {2}, {}, ""};
  const StreamLink taken{"taken", 1, {3}, {}, ""};
  const auto store = Store();
  AddLinksTo(*store, {kept, replaced, taken}, LinkSet::Both);

  const StreamLink sameObject{"new", 1, {2}, {}, ""};
  const StreamLink sameKey{"taken", 1, {4}, {}, ""};
  Read(StreamBytes().Section({sameObject, sameKey}, {sameObject, sameKey}), *store);
  // The geometry object of a link that is read loses its unique link; a key that has one keeps it.
  EXPECT_THAT(LinksOf(*store, LinkSet::Unique), ElementsAre(kept, sameObject, taken));
  EXPECT_THAT(LinksOf(*store, LinkSet::Validated), ElementsAre(kept, sameObject, replaced, taken, sameKey));
}

TEST(ReadLinks, OfTheValidatedSetPassTheStoresValidator) {
  std::vector<StreamLink> asked;
  const auto store = CreateProductGeometryObjects3D([&asked](const ProductGeometryObject3D& record) {
    asked.push_back(LinkOf(record));
    return record.metaKey.Bytes() != "b";
  });
  const StreamLink a{"a", 1, {1}, {3}, "x"};
  const StreamLink b{"b", 1, {1}, {3}, "x"};
  const StreamLink c{"c", 1, {1}, {3}, "x"};
  const StreamLink unique{"b", 2, {2}, {}, ""};
  Read(StreamBytes().Section({unique}, {c, b, a}), *store);
  EXPECT_THAT(asked, ElementsAre(a, b, c));
  EXPECT_THAT(LinksOf(*store, LinkSet::Validated), ElementsAre(a, c));
  EXPECT_THAT(LinksOf(*store, LinkSet::Unique), ElementsAre(unique));
}

TEST(ReadLinks, OfAVersionWithOneSetAreUniqueOnlyWhereTheValidatorRejectsThem) {
  const auto store = CreateProductGeometryObjects3D([](const ProductGeometryObject3D&) { return false; });
  const StreamLink link{"a", 1, {1}, {}, ""};
  Read(StreamBytes(c_oneSet).Links({link}), *store, nullptr, c_oneSetVersion);
  EXPECT_THAT(LinksOf(*store, LinkSet::Unique), ElementsAre(link));
  EXPECT_THAT(LinksOf(*store, LinkSet::Validated), IsEmpty());
}

TEST(ReadLinks, ThatRanShortAreMergedAsTheyCame) {
  const StreamLink whole{"a", 1, {1}, {}, "x"};
  const StreamBytes bytes = StreamBytes().Count(2).Link(whole).Text("b").UInt32(7);
  const auto store = Store();
  MemoryReader in(bytes.Bytes(), c_current);
  ReadMetaObjectsLinks(in, *store, nullptr);
  EXPECT_EQ(in.State(), static_cast<std::uint32_t>(io::state::endOfStream));
  EXPECT_THAT(LinksOf(*store, LinkSet::Unique), ElementsAre(whole, StreamLink{"b", 7, {}, {}, ""}));
}

TEST(ReadLinks, AreReadFromAStreamThatWasNotGoodBefore) {
  const StreamLink link{"a", 1, {}, {}, "x"};
  const StreamBytes bytes = StreamBytes().Section({link}, {link});
  const auto store = Store();
  MemoryReader in(bytes.Bytes(), c_current);
  in.setState(io::state::deviceFailed);
  ReadMetaObjectsLinks(in, *store, nullptr);
  EXPECT_THAT(LinksOf(*store, LinkSet::Unique), ElementsAre(link));
  EXPECT_THAT(LinksOf(*store, LinkSet::Validated), ElementsAre(link));
}

// Links reach the store only after the whole section was read.
TEST(ReadLinks, LeaveTheStoreAsItIsWhereTheReaderThrowsAtAnyByte) {
  const StreamLinks links{{"a", 1, {1}, {2}, "x"}, {"b", 200, {}, {}, "y"}};
  const StreamBytes bytes = StreamBytes().Section(links, links);
  StrictMock<MockLinkStore> store;
  StrictMock<MockMetaProductData> metaData;
  for (std::size_t length = 0; length < bytes.Bytes().size(); ++length) {
    ThrowingReader in(std::span(bytes.Bytes()).first(length), c_current);
    EXPECT_THROW(ReadMetaObjectsLinks(in, store, nullptr), std::runtime_error) << length;
    ThrowingReader again(std::span(bytes.Bytes()).first(length), c_current);
    EXPECT_THROW(ReadMetaObjectsLinks(again, store, &metaData), std::runtime_error) << length;
  }
}

TEST(ReadLinks, PassTheExceptionOfAValidatorAndLeaveTheLinksAddedSoFar) {
  const auto store = CreateProductGeometryObjects3D([](const ProductGeometryObject3D& record) {
    if (record.metaKey.Bytes() == "b") {
      throw std::runtime_error("validator");
    }
    return true;
  });
  const StreamLink a{"a", 1, {1}, {}, ""};
  const StreamLink b{"b", 1, {2}, {}, ""};
  const StreamLink c{"c", 1, {3}, {}, ""};
  EXPECT_THROW(Read(StreamBytes().Section({a, b, c}, {a, b, c}), *store), std::runtime_error);
  EXPECT_THAT(LinksOf(*store, LinkSet::Unique), ElementsAre(a, b, c));
  EXPECT_THAT(LinksOf(*store, LinkSet::Validated), ElementsAre(a));
}

TEST(ReadLinks, PassBadFunctionCallOfAnEmptyValidatorAtTheFirstValidatedLink) {
  const auto store = CreateProductGeometryObjects3D({});
  const StreamLink a{"a", 1, {1}, {}, ""};
  EXPECT_THROW(Read(StreamBytes().Section({a}, {a}), *store), std::bad_function_call);
  EXPECT_THAT(LinksOf(*store, LinkSet::Unique), ElementsAre(a));
}

TEST(ReadLinks, StopAtAnExceptionOfTheStore) {
  const StreamLink a{"a", 1, {1}, {}, ""};
  const StreamLink b{"b", 1, {2}, {}, ""};
  StrictMock<MockLinkStore> store;
  EXPECT_CALL(store, AddLink(UniqueMetaObjectKey("a"), GeometryOf(a), LinkSet::Unique))
      .WillOnce(Throw(std::runtime_error("store")));
  EXPECT_THROW(Read(StreamBytes().Section({a, b}, {a}), store), std::runtime_error);
}

}  // namespace
