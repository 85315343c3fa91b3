// One link: the order of its fields, which of them a version has, and what is left of it where the stream is faulty.

#include "persistence/LinkStream.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/ExceptionModeOff.h"
#include "tests/support/StreamBytes.h"
#include "tests/support/StreamLink.h"
#include "tests/support/StreamRecorders.h"

namespace {

using testing::ElementsAre;

const StreamLink c_link{"k\xFF", 104, {1, 2, 3}, {8, 9}, "name"};
constexpr std::uint32_t c_math32 = 0x0EFFFFFF;
constexpr std::uint32_t c_math16 = 0x03FFFFFF;

std::vector<std::byte> Written(const StreamLink& link, const StreamVersions& versions) {
  MemoryWriter out(versions);
  WriteLinkRecord(out, RecordOf(link));
  return out.TakeBytes();
}

StreamLink Read(reader& in) {
  ProductGeometryObject3D record;
  ReadLinkRecord(in, record);
  return LinkOf(record);
}

TEST(WriteLinkRecord, WritesKeyTypeComponentPathNameAndSecondPathInThisOrder) {
  RecordingWriter out({0x17000002, c_currentMathVersion});
  WriteLinkRecord(out, RecordOf(c_link));
  EXPECT_THAT(out.events,
              ElementsAre("block 02 00 00 00", "block 6B FF", "block 68 00 00 00", "uint64 3", "block 01 00 00 00",
                          "block 02 00 00 00", "block 03 00 00 00", "block 04 00 00 00", "block 6E 61 6D 65",
                          "uint64 2", "block 08 00 00 00", "block 09 00 00 00"));
}

TEST(ReadLinkRecord, ReadsKeyTypeComponentPathNameAndSecondPathInThisOrder) {
  RecordingReader in(StreamBytes().Link(c_link).Bytes(), {0x17000002, c_currentMathVersion});
  EXPECT_EQ(Read(in), c_link);
  EXPECT_THAT(in.events, ElementsAre("block 4", "block 2", "block 4", "uint64", "block 4", "block 4", "block 4",
                                     "block 4", "block 4", "uint64", "block 4", "block 4"));
}

TEST(LinkRecord, HasItsComponentPathBackToFrontBelowVersion17000002) {
  const auto pathBytes = [](std::uint32_t version) {
    StreamLink link = c_link;
    link.key.clear();
    link.type = 0;
    const std::vector<std::byte> bytes = Written(link, {version, c_math32});
    return std::vector<int>{static_cast<int>(bytes[12]), static_cast<int>(bytes[16]), static_cast<int>(bytes[20])};
  };
  EXPECT_THAT(pathBytes(0x12000005), ElementsAre(3, 2, 1));
  EXPECT_THAT(pathBytes(0x17000001), ElementsAre(3, 2, 1));
  EXPECT_THAT(pathBytes(0x17000002), ElementsAre(1, 2, 3));
  EXPECT_THAT(pathBytes(0xFFFFFFFF), ElementsAre(1, 2, 3));
}

TEST(LinkRecord, ReadsItsComponentPathAsInMemoryOnBothSidesOfVersion17000002) {
  for (const bool isOutermostFirst : {true, false}) {
    const StreamBytes bytes = StreamBytes({.isOutermostFirst = isOutermostFirst}).Link(c_link);
    MemoryReader in(bytes.Bytes(), {isOutermostFirst ? 0x17000001u : 0x17000002u, c_currentMathVersion});
    EXPECT_EQ(Read(in), c_link);
  }
}

TEST(LinkRecord, NeverHasItsSecondPathBackToFront) {
  const std::vector<std::byte> old = Written(c_link, {0x17000001, c_currentMathVersion});
  const std::vector<std::byte> current = Written(c_link, {0x17000002, c_currentMathVersion});
  ASSERT_EQ(old.size(), current.size());
  EXPECT_TRUE(std::equal(old.end() - 16, old.end(), current.end() - 16));
  EXPECT_EQ(old[old.size() - 4], std::byte{9});
}

TEST(LinkRecord, HasItsSecondPathFromBuild28OfVersion20AndFromBuild3OfVersion21On) {
  StreamLink without = c_link;
  without.secondPath.clear();
  for (const auto& [version, hasSecondPath] : std::vector<std::pair<std::uint32_t, bool>>{{0, false},
                                                                                          {0x12000005, false},
                                                                                          {0x13FFFFFF, false},
                                                                                          {0x14000000, false},
                                                                                          {0x1400001B, false},
                                                                                          {0x1400001C, true},
                                                                                          {0x1400001D, true},
                                                                                          {0x14FFFFFE, true},
                                                                                          {0x14FFFFFF, true},
                                                                                          {0x15000000, false},
                                                                                          {0x15000001, false},
                                                                                          {0x15000002, false},
                                                                                          {0x15000003, true},
                                                                                          {0x15000004, true},
                                                                                          {0x17000001, true},
                                                                                          {0x17000002, true},
                                                                                          {0x80000000, true},
                                                                                          {0xFFFFFFFF, true}}) {
    const StreamForm form{.hasSecondPath = hasSecondPath, .isOutermostFirst = version < 0x17000002};
    const std::vector<std::byte> expected = StreamBytes(form).Link(c_link).Bytes();
    EXPECT_EQ(Written(c_link, {version, c_currentMathVersion}), expected) << std::hex << version;

    MemoryReader in(expected, {version, c_currentMathVersion});
    EXPECT_EQ(Read(in), hasSecondPath ? c_link : without) << std::hex << version;
    EXPECT_EQ(in.Position(), expected.size()) << std::hex << version;
    EXPECT_TRUE(in.good());
  }
}

TEST(WriteLinkRecord, LeavesTheRecordAsItIs) {
  const ProductGeometryObject3D record = RecordOf(c_link);
  MemoryWriter out({0x17000001, c_currentMathVersion});
  WriteLinkRecord(out, record);
  EXPECT_EQ(LinkOf(record), c_link);
}

TEST(WriteLinkRecord, WritesOnlyKeyAndNameToA16BitStreamAndRecordsTypeAndCounts) {
  RecordingWriter out({0x17000002, c_math16});
  WriteLinkRecord(out, RecordOf(c_link));
  EXPECT_THAT(out.events, ElementsAre("block 02 00 00 00", "block 6B FF", "state 0x8", "state 0x8", "block 04 00 00 00",
                                      "block 6E 61 6D 65", "state 0x8"));
}

TEST(WriteLinkRecord, RecordsEachElementTooWhereA16BitStreamStaysGood) {
  RecordingWriter out({0x17000002, c_math16});
  out.keepsFaults = false;
  WriteLinkRecord(out, RecordOf({"", 1, {1, 2, 3}, {8, 9}, ""}));
  EXPECT_THAT(out.events, ElementsAre("block 00 00 00 00", "state 0x8",                           // key, type
                                      "state 0x8", "state 0x8", "state 0x8", "state 0x8",         // component path
                                      "block 00 00 00 00", "state 0x8", "state 0x8", "state 0x8"  // name, second path
                                      ));
}

TEST(ReadLinkRecord, ReadsOnlyKeyAndNameFromA16BitStreamAndRecordsTypeAndCounts) {
  RecordingReader in(StreamBytes({.countBytes = 0}).Link(c_link).Bytes(), {0x17000002, c_math16});
  EXPECT_EQ(Read(in), (StreamLink{"k\xFF", 0, {}, {}, "name"}));
  EXPECT_THAT(in.events,
              ElementsAre("block 4", "block 2", "state 0x8", "state 0x8", "block 4", "block 4", "state 0x8"));
}

TEST(ReadLinkRecord, ReadsTypeZeroFromA16BitStreamWhateverTheRecordHeld) {
  MemoryReader in({}, {0x17000002, c_math16});
  ProductGeometryObject3D record = RecordOf(c_link);
  ReadLinkRecord(in, record);
  EXPECT_EQ(record.geometry.objectType, 0u);
}

TEST(WriteLinkRecord, GoesOnAfterAFaultAndLeavesOutTheElementsOfPathsOnly) {
  RecordingWriter out({0x17000002, c_currentMathVersion});
  out.setState(io::state::deviceFailed);
  WriteLinkRecord(out, RecordOf(c_link));
  EXPECT_THAT(out.events, ElementsAre("state 0x2", "block 02 00 00 00", "block 6B FF", "block 68 00 00 00", "uint64 3",
                                      "block 04 00 00 00", "block 6E 61 6D 65", "uint64 2"));
}

TEST(ReadLinkRecord, GoesOnAfterAFaultAndLeavesOutTheElementsOfPathsOnly) {
  RecordingReader in(StreamBytes().Text("k").UInt32(1).Count(3).Text("name").Count(2).Bytes(),
                     {0x17000002, c_currentMathVersion});
  in.setState(io::state::deviceFailed);
  EXPECT_EQ(Read(in), (StreamLink{"k", 1, {}, {}, "name"}));
  EXPECT_EQ(in.BytesLeft(), 0u);
}

// After a path whose count was refused, the name is read from where the elements would have begun.
TEST(ReadLinkRecord, ReadsTheNameRightAfterACountForWhichThereWasNoStorage) {
  const ExceptionModeOff mode;
  for (const std::uint32_t math : {0x0F001000u, 0x0F001001u}) {
    const StreamBytes bytes = StreamBytes().Text("k").UInt32(1).Count(0xFFFFFFFF).Text("name").Count(0);
    MemoryReader in(bytes.Bytes(), {0x17000002, math});
    EXPECT_EQ(Read(in), (StreamLink{"k", 1, {}, {}, "name"}));
    EXPECT_EQ(in.State(), 4u);
    EXPECT_EQ(in.Position(), bytes.Bytes().size());
  }
}

TEST(ReadLinkRecord, KeepsTheDefaultsOfAllFieldsOnAnEmptyStream) {
  MemoryReader in({}, {0x17000002, c_currentMathVersion});
  EXPECT_EQ(Read(in), StreamLink());
  EXPECT_EQ(in.State(), static_cast<std::uint32_t>(io::state::endOfStream));
}

// A record cut short at every byte. A field that runs short keeps its default; the element of a path that runs short
// is appended as 0, since the stream was still good when it was begun.
TEST(ReadLinkRecord, KeepsWhatCameInWholeWhereverTheStreamEnds) {
  const StreamLink link{"key", 104, {0x11, 0x22}, {0x33}, "ab"};
  struct Stretch {
    std::size_t end;  // the first length at which the field is whole
    StreamLink before;
  };
  const std::vector<Stretch> stretches{
      {7, {}},                                   // key
      {11, {"key", 0, {}, {}, ""}},              // type
      {19, {"key", 104, {}, {}, ""}},            // count of the component path
      {23, {"key", 104, {0}, {}, ""}},           // its first element
      {27, {"key", 104, {0x11, 0}, {}, ""}},     // its second one
      {33, {"key", 104, {0x11, 0x22}, {}, ""}},  // name
      {41, {"key", 104, {0x11, 0x22}, {}, "ab"}},
      {45, {"key", 104, {0x11, 0x22}, {0}, "ab"}},
  };
  const std::vector<std::byte> whole = StreamBytes().Link(link).Bytes();
  ASSERT_EQ(whole.size(), 45u);
  std::size_t length = 0;
  for (const Stretch& stretch : stretches) {
    for (; length < stretch.end; ++length) {
      const std::span<const std::byte> part(whole.data(), length);
      MemoryReader in(part, {0x17000002, c_currentMathVersion});
      EXPECT_EQ(Read(in), stretch.before) << length << " bytes";
      EXPECT_EQ(in.State(), static_cast<std::uint32_t>(io::state::endOfStream));
    }
  }
}

// Reversed after reading, so that a path cut short begins with its 0.
TEST(ReadLinkRecord, TurnsAPathThatWasCutShortRoundLikeAnyOther) {
  const StreamBytes bytes = StreamBytes().Text("k").UInt32(1).Count(3).UInt32(7).UInt32(8).Byte(9);
  MemoryReader in(bytes.Bytes(), {0x17000001, c_currentMathVersion});
  EXPECT_EQ(Read(in).componentPath, (std::vector<std::uint32_t>{0, 8, 7}));
}

}  // namespace
