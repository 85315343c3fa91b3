// WriteMetaObjectsLinks and SetWriteComponentPath of a store.

#include <cstdint>
#include <memory>
#include <vector>

#include <gmock/gmock.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/StreamBytes.h"
#include "tests/support/StreamLink.h"
#include "tests/support/StreamRecorders.h"

namespace {

using testing::ElementsAre;

constexpr StreamVersions c_current{0x17000002, c_currentMathVersion};

const StreamLinks c_unique{{"a", 1, {4}, {8}, "in"}, {"b", 1, {4, 1}, {}, "below"}, {"c", 1, {}, {}, "root"}};
const StreamLinks c_validated{{"b", 2, {4}, {}, "in"}, {"b", 2, {}, {}, "root"}, {"d", 2, {4}, {9}, "in"}};
const StreamLinks c_uniqueIn4{{"a", 1, {}, {8}, "in"}};
const StreamLinks c_validatedIn4{{"b", 2, {}, {}, "in"}, {"d", 2, {}, {9}, "in"}};

class WriteLinks : public testing::Test {
 protected:
  WriteLinks() {
    AddLinksTo(*store, c_unique, LinkSet::Unique);
    AddLinksTo(*store, c_validated, LinkSet::Validated);
  }
  // A store does not release its path, so the holder does.
  ~WriteLinks() override { store->SetWriteComponentPath(nullptr); }

  std::vector<std::byte> Written(const StreamVersions& versions = c_current) const {
    MemoryWriter out(versions);
    store->WriteMetaObjectsLinks(out);
    EXPECT_TRUE(out.good());
    return out.TakeBytes();
  }

  const std::unique_ptr<IProductGeometryObjects3D> store = CreateProductGeometryObjects3D(AcceptAll);
  const std::vector<std::byte> everything = StreamBytes().Section(c_unique, c_validated).Bytes();
  const std::vector<std::byte> in4 = StreamBytes().Section(c_uniqueIn4, c_validatedIn4).Bytes();
};

TEST_F(WriteLinks, WritesTheUniqueSetFirstAndThenTheValidatedOne) {
  EXPECT_EQ(Written(), everything);
}

TEST_F(WriteLinks, OfAnEmptyStoreWritesTwoCountsOfZero) {
  RecordingWriter out(c_current);
  CreateProductGeometryObjects3D(AcceptAll)->WriteMetaObjectsLinks(out);
  EXPECT_THAT(out.events, ElementsAre("uint64 0", "uint64 0"));
}

TEST_F(WriteLinks, OfAnEmptyStoreRecordsBothCountsThatA16BitStreamDoesNotCarry) {
  RecordingWriter out({0x17000002, 0x03FFFFFF});
  CreateProductGeometryObjects3D(AcceptAll)->WriteMetaObjectsLinks(out);
  EXPECT_THAT(out.events, ElementsAre("state 0x8", "state 0x8"));
}

TEST_F(WriteLinks, DoesNotChangeTheStore) {
  const MbPath path{4};
  store->SetWriteComponentPath(&path);
  for (const std::uint32_t version : {0x12000004u, 0x12000010u, 0x17000001u, 0x17000002u}) {
    Written({version, c_currentMathVersion});
    EXPECT_EQ(LinksOf(*store, LinkSet::Unique), c_unique);
    EXPECT_EQ(LinksOf(*store, LinkSet::Validated), c_validated);
  }
}

TEST_F(WriteLinks, WritesTheSameTwice) {
  Written();
  EXPECT_EQ(Written(), everything);
}

// Only the elements of paths are left out.
TEST_F(WriteLinks, IsNotStoppedByAFaultOfTheStream) {
  MemoryWriter out(c_current);
  out.setState(io::state::deviceFailed);
  store->WriteMetaObjectsLinks(out);
  StreamBytes expected;
  for (const StreamLinks& links : {c_unique, c_validated}) {
    expected.Count(links.size());
    for (const StreamLink& link : links) {
      expected.Text(link.key).UInt32(link.type).Count(link.componentPath.size());
      expected.Text(link.name).Count(link.secondPath.size());
    }
  }
  EXPECT_EQ(out.Bytes(), expected.Bytes());
}

TEST_F(WriteLinks, WithAPathWritesOnlyItsLinksOfBothSetsWithEmptyComponentPaths) {
  const MbPath path{4};
  store->SetWriteComponentPath(&path);
  EXPECT_EQ(Written(), in4);
}

TEST_F(WriteLinks, WithAPathWritesOnlyItsUniqueLinksInAVersionWithOneSet) {
  const MbPath path{4};
  store->SetWriteComponentPath(&path);
  const StreamForm form{.setCount = 1, .hasSecondPath = false, .isOutermostFirst = true};
  EXPECT_EQ(Written({0x12000010, c_currentMathVersion}), StreamBytes(form).Links(c_uniqueIn4).Bytes());
}

TEST_F(WriteLinks, WithAPathWritesNothingInAVersionWithoutLinks) {
  const MbPath path{4};
  store->SetWriteComponentPath(&path);
  EXPECT_TRUE(Written({0x12000004, c_currentMathVersion}).empty());
}

TEST_F(WriteLinks, WithAPathOfNoLinkWritesTwoCountsOfZero) {
  const MbPath path{4, 4};
  store->SetWriteComponentPath(&path);
  EXPECT_EQ(Written(), StreamBytes().Section({}, {}).Bytes());
}

TEST_F(WriteLinks, WithTheEmptyPathWritesTheLinksOfTheDocumentsOwnComponent) {
  const MbPath path;
  store->SetWriteComponentPath(&path);
  EXPECT_EQ(Written(), StreamBytes().Section({c_unique[2]}, {c_validated[1]}).Bytes());
}

TEST_F(WriteLinks, WritesEverythingAgainAfterThePathWasLifted) {
  const MbPath path{4};
  store->SetWriteComponentPath(&path);
  store->SetWriteComponentPath(nullptr);
  EXPECT_EQ(Written(), everything);
}

TEST_F(WriteLinks, GoesByThePathSetLast) {
  const MbPath first{9};
  const MbPath last{4};
  store->SetWriteComponentPath(&first);
  store->SetWriteComponentPath(&last);
  EXPECT_EQ(Written(), in4);
}

TEST_F(WriteLinks, KeepsThePathForEveryLaterWriting) {
  const MbPath path{4};
  store->SetWriteComponentPath(&path);
  Written();
  EXPECT_EQ(Written(), in4);
}

TEST_F(WriteLinks, LiftingNoPathIsNoFault) {
  store->SetWriteComponentPath(nullptr);
  EXPECT_EQ(Written(), everything);
}

TEST_F(WriteLinks, ThePathDoesNotRestrictReading) {
  const MbPath path{4};
  store->SetWriteComponentPath(&path);
  store->ClearLinks();
  MemoryReader in(everything, c_current);
  ReadMetaObjectsLinks(in, *store, nullptr);
  EXPECT_EQ(LinksOf(*store, LinkSet::Unique), c_unique);
  EXPECT_EQ(LinksOf(*store, LinkSet::Validated), c_validated);
}

}  // namespace
