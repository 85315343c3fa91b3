// The links section: which sets a version has, and what stands in for the set that it lacks.

#include "persistence/LinkStream.h"

#include <cstdint>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <qSys/MemoryStreams.h>

#include "link_store/ProductGeometryObjects3D.h"
#include "tests/support/StreamBytes.h"
#include "tests/support/StreamLink.h"
#include "tests/support/StreamRecorders.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const StreamLink c_unique{"u", 1, {1, 2}, {}, "unique"};
const StreamLink c_validated{"v", 2, {3, 4}, {}, "validated"};
const std::vector<std::pair<std::uint32_t, int>> c_setCounts{
    {0, 0},          {0x11FFFFFF, 0}, {0x12000004, 0}, {0x12000005, 1}, {0x12000006, 1},
    {0x12000010, 1}, {0x12000024, 1}, {0x12000025, 1}, {0x12000026, 2}, {0x12000027, 2},
    {0x13000000, 2}, {0x80000000, 2}, {0xFFFFFFFF, 2}};

StreamForm FormOf(std::uint32_t version, int setCount) {
  return {.setCount = setCount, .hasSecondPath = version > 0x17000001, .isOutermostFirst = version < 0x17000002};
}

struct Sections {
  StreamLinks first;
  StreamLinks second;
  std::size_t bytesRead;
  std::uint32_t state;
};

Sections Read(const std::vector<std::byte>& bytes, const StreamVersions& versions) {
  MemoryReader in(bytes, versions);
  ValidatedLinks first;
  ValidatedLinks second;
  ReadLinkSections(in, first, second);
  return {LinksOf(first), LinksOf(second), in.Position(), in.State()};
}

TEST(LinksSection, IsWrittenWithNoSetBelow12000005OneUpTo12000025AndTwoFrom12000026On) {
  ProductGeometryObjects3D store;
  store.SetLinkValidater(AcceptAll);
  AddLinksTo(store, {c_unique}, LinkSet::Unique);
  AddLinksTo(store, {c_validated}, LinkSet::Validated);
  for (const auto& [version, setCount] : c_setCounts) {
    MemoryWriter out({version, c_currentMathVersion});
    store.WriteMetaObjectsLinks(out);
    EXPECT_EQ(out.Bytes(), StreamBytes(FormOf(version, setCount)).Section({c_unique}, {c_validated}).Bytes())
        << std::hex << version;
    EXPECT_TRUE(out.good());
  }
}

TEST(LinksSection, IsReadWithNoSetBelow12000005OneUpTo12000025AndTwoFrom12000026On) {
  for (const auto& [version, setCount] : c_setCounts) {
    // Both sets stand on the stream in every case; what a version does not have stays unread.
    const StreamForm form = FormOf(version, 2);
    const std::vector<std::byte> one = StreamBytes(form).Links({c_unique}).Bytes();
    const std::vector<std::byte> both = StreamBytes(form).Section({c_unique}, {c_validated}).Bytes();
    const Sections read = Read(both, {version, c_currentMathVersion});
    EXPECT_EQ(read.first, setCount == 0 ? StreamLinks{} : StreamLinks{c_unique}) << std::hex << version;
    EXPECT_EQ(read.second, setCount == 0   ? StreamLinks{}
                           : setCount == 1 ? StreamLinks{c_unique}
                                           : StreamLinks{c_validated})
        << std::hex << version;
    EXPECT_EQ(read.bytesRead, setCount == 0 ? 0 : setCount == 1 ? one.size() : both.size()) << std::hex << version;
    EXPECT_EQ(read.state, 0u);
  }
}

TEST(LinksSection, OfAVersionBelow12000005TouchesNeitherStreamNorSets) {
  RecordingReader in(StreamBytes().Links({c_unique}).Bytes(), {0x12000004, c_currentMathVersion});
  ValidatedLinks first;
  ValidatedLinks second;
  ReadLinkSections(in, first, second);
  EXPECT_THAT(in.events, IsEmpty());
  EXPECT_TRUE(first.empty() && second.empty());

  RecordingWriter out({0x12000004, 0x03FFFFFF});
  ProductGeometryObjects3D store;
  AddLinksTo(store, {c_unique}, LinkSet::Unique);
  store.WriteMetaObjectsLinks(out);
  EXPECT_THAT(out.events, IsEmpty());
  EXPECT_TRUE(out.good());
}

TEST(LinksSection, CopiesEveryRecordOfTheOnlySetIntoTheSecondOne) {
  const StreamLinks links{{"a", 1, {1}, {}, ""}, {"a", 2, {1}, {}, ""}, {"b", 1, {1}, {}, ""}};
  const std::vector<std::byte> bytes = StreamBytes(FormOf(0x12000010, 1)).Links(links).Bytes();
  const Sections read = Read(bytes, {0x12000010, c_currentMathVersion});
  EXPECT_EQ(read.first, links);
  EXPECT_EQ(read.second, links);
}

// Equal geometry objects then stand in the order of their keys, where the first set has them in stream order.
TEST(LinksSection, CopiesTheOnlySetInTheOrderOfItsKeys) {
  const StreamLink late{"b", 1, {1}, {}, ""};
  const StreamLink early{"a", 1, {1}, {}, ""};
  const std::vector<std::byte> bytes = StreamBytes(FormOf(0x12000010, 1)).Links({late, early}).Bytes();
  MemoryReader in(bytes, {0x12000010, c_currentMathVersion});
  ValidatedLinks first;
  ValidatedLinks second;
  ReadLinkSections(in, first, second);
  EXPECT_THAT(LinksOf(first.get<byGeometry>()), ElementsAre(late, early));
  EXPECT_THAT(LinksOf(second.get<byGeometry>()), ElementsAre(early, late));
}

TEST(LinksSection, DropsACopyThatTheSecondSetRefuses) {
  const StreamLink held{"a", 1, {1}, {9}, ""};
  const StreamLink read{"a", 1, {1}, {}, ""};
  const std::vector<std::byte> bytes = StreamBytes(FormOf(0x12000010, 1)).Links({read}).Bytes();
  MemoryReader in(bytes, {0x12000010, c_currentMathVersion});
  ValidatedLinks first;
  ValidatedLinks second;
  second.insert(RecordOf(held));
  ReadLinkSections(in, first, second);
  EXPECT_THAT(LinksOf(second), ElementsAre(held));
  EXPECT_TRUE(in.good());
}

TEST(LinksSection, CopiesWhatCameOfTheOnlySetAfterAFaultToo) {
  const StreamLink whole{"a", 1, {}, {}, ""};
  const std::vector<std::byte> bytes = StreamBytes(FormOf(0x12000010, 1)).Count(2).Link(whole).Bytes();
  const Sections read = Read(bytes, {0x12000010, c_currentMathVersion});
  EXPECT_THAT(read.second, ElementsAre(StreamLink(), whole));
  EXPECT_EQ(read.state, static_cast<std::uint32_t>(io::state::endOfStream));
}

TEST(LinksSection, AttemptsTheSecondSetWhateverBecameOfTheFirst) {
  RecordingReader in({}, {0x17000002, c_currentMathVersion});
  ValidatedLinks first;
  ValidatedLinks second;
  ReadLinkSections(in, first, second);
  EXPECT_THAT(in.events, ElementsAre("uint64", "state 0x1", "uint64", "state 0x1"));
}

TEST(LinksSection, HasNoMarkOfItsOwnSoThatWhatFollowsItStandsRightBehind) {
  const std::vector<std::byte> bytes = StreamBytes().Section({c_unique}, {}).Text("behind").Bytes();
  EXPECT_EQ(Read(bytes, {0x17000002, c_currentMathVersion}).bytesRead, bytes.size() - 10);
}

}  // namespace
