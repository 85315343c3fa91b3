// A set of links: its count, the order of its records, the restriction to one component, and what reading keeps.

#include "persistence/LinkStream.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/StreamBytes.h"
#include "tests/support/StreamLink.h"
#include "tests/support/StreamRecorders.h"

namespace {

using testing::ElementsAre;
using testing::SizeIs;

constexpr StreamVersions c_current{0x17000002, c_currentMathVersion};
constexpr std::uint32_t c_math16 = 0x03FFFFFF;

template <class Links>
Links SetOf(const StreamLinks& links) {
  Links set;
  for (const StreamLink& link : links) {
    set.insert(RecordOf(link));
  }
  return set;
}

template <class Links>
std::vector<std::byte> Written(const Links& links, const MbPath* onlyPath = nullptr,
                               const StreamVersions& versions = c_current) {
  MemoryWriter out(versions);
  WriteLinkSet(out, links, onlyPath);
  EXPECT_TRUE(out.good());
  return out.TakeBytes();
}

std::vector<std::byte> BytesOf(const StreamLinks& links, const StreamForm& form = {}) {
  return StreamBytes(form).Links(links).Bytes();
}

ValidatedLinks Read(const std::vector<std::byte>& bytes, const StreamVersions& versions = c_current) {
  MemoryReader in(bytes, versions);
  ValidatedLinks links;
  ReadLinkSet(in, links);
  EXPECT_TRUE(in.good());
  EXPECT_EQ(in.Position(), bytes.size());
  return links;
}

TEST(WriteLinkSet, WritesAnEmptySetAsTheCountZeroAlone) {
  RecordingWriter out(c_current);
  WriteLinkSet(out, UniqueLinks(), nullptr);
  WriteLinkSet(out, ValidatedLinks(), nullptr);
  EXPECT_THAT(out.events, ElementsAre("uint64 0", "uint64 0"));
}

TEST(WriteLinkSet, WritesTheRecordsInAscendingOrderOfTheirKeys) {
  const StreamLink empty{"", 5, {}, {}, ""};
  const StreamLink zero{std::string(1, '\0'), 4, {}, {}, ""};
  const StreamLink low{"ab\x7F", 3, {}, {}, ""};
  const StreamLink high{"ab\x80", 2, {}, {}, ""};
  const StreamLink shorter{"ab", 1, {}, {}, ""};
  const StreamLinks mixed{high, empty, low, shorter, zero};
  const std::vector<std::byte> ordered = BytesOf({empty, zero, shorter, low, high});
  EXPECT_EQ(Written(SetOf<UniqueLinks>(mixed)), ordered);
  EXPECT_EQ(Written(SetOf<ValidatedLinks>(mixed)), ordered);
}

TEST(WriteLinkSet, WritesLinksOfTheValidatedSetWithOneKeyInOrderOfEntry) {
  const StreamLink big{"k", 9, {}, {}, "z"};
  const StreamLink small{"k", 1, {}, {}, "a"};
  const StreamLink middle{"k", 5, {}, {}, "m"};
  EXPECT_EQ(Written(SetOf<ValidatedLinks>({big, small, middle})), BytesOf({big, small, middle}));
}

TEST(WriteLinkSet, ConsultsNoStateBetweenTheRecords) {
  RecordingWriter out(c_current);
  out.setState(io::state::deviceFailed);
  WriteLinkSet(out, SetOf<ValidatedLinks>({{"a", 1, {}, {}, ""}, {"b", 2, {}, {}, ""}}), nullptr);
  EXPECT_THAT(
      out.events,
      ElementsAre("state 0x2", "uint64 2",  //
                  "block 01 00 00 00", "block 61", "block 01 00 00 00", "uint64 0", "block 00 00 00 00",
                  "uint64 0",  //
                  "block 01 00 00 00", "block 62", "block 02 00 00 00", "uint64 0", "block 00 00 00 00", "uint64 0"));
}

TEST(WriteLinkSet, WithAPathWritesTheRecordsOfExactlyThisComponentWithAnEmptyPath) {
  const StreamLinks links{{"a", 1, {4}, {8, 9}, "in"},   {"b", 1, {4, 1}, {}, "below"}, {"c", 1, {}, {}, "root"},
                          {"d", 1, {1, 4}, {}, "other"}, {"e", 1, {5}, {}, "next"},     {"f", 2, {4}, {7}, "in too"}};
  const std::vector<std::byte> expected = BytesOf({{"a", 1, {}, {8, 9}, "in"}, {"f", 2, {}, {7}, "in too"}});
  const MbPath only{4};
  EXPECT_EQ(Written(SetOf<UniqueLinks>(links), &only), expected);
  EXPECT_EQ(Written(SetOf<ValidatedLinks>(links), &only), expected);
}

TEST(WriteLinkSet, WithAPathComparesElementByElementInOrder) {
  const UniqueLinks links = SetOf<UniqueLinks>(
      {{"a", 1, {1, 2}, {}, ""}, {"b", 1, {2, 1}, {}, ""}, {"c", 1, {1, 3}, {}, ""}, {"d", 1, {1, 2, 3}, {}, ""}});
  const MbPath only{1, 2};
  EXPECT_EQ(Written(links, &only), BytesOf({{"a", 1, {}, {}, ""}}));
}

TEST(WriteLinkSet, WithTheEmptyPathWritesTheRecordsOfTheDocumentsOwnComponent) {
  const UniqueLinks links = SetOf<UniqueLinks>({{"a", 1, {4}, {}, ""}, {"b", 1, {}, {3}, "own"}});
  const MbPath only;
  EXPECT_EQ(Written(links, &only), BytesOf({{"b", 1, {}, {3}, "own"}}));
}

TEST(WriteLinkSet, WithAPathThatNoRecordHasWritesTheCountZeroAlone) {
  const MbPath only{9};
  RecordingWriter out(c_current);
  WriteLinkSet(out, SetOf<ValidatedLinks>({{"a", 1, {4}, {}, ""}}), &only);
  EXPECT_THAT(out.events, ElementsAre("uint64 0"));
}

TEST(WriteLinkSet, WithAPathMatchesThePathAsItIsInMemoryInVersionsThatTurnItRound) {
  const StreamForm old{.isOutermostFirst = true};
  const UniqueLinks links = SetOf<UniqueLinks>({{"a", 1, {1, 2}, {}, ""}, {"b", 1, {2, 1}, {}, ""}});
  const MbPath only{1, 2};
  EXPECT_EQ(Written(links, &only, {0x17000001, c_currentMathVersion}), BytesOf({{"a", 1, {}, {}, ""}}, old));
}

TEST(WriteLinkSet, WithAPathWritesTheSecondPathInFull) {
  const UniqueLinks links = SetOf<UniqueLinks>({{"a", 1, {4}, {4}, ""}});
  const MbPath only{4};
  EXPECT_EQ(Written(links, &only), BytesOf({{"a", 1, {}, {4}, ""}}));
}

TEST(WriteLinkSet, WithAPathLeavesTheSetAsItIs) {
  const StreamLinks links{{"a", 1, {4}, {5}, "x"}};
  const UniqueLinks set = SetOf<UniqueLinks>(links);
  const MbPath only{4};
  Written(set, &only);
  EXPECT_EQ(LinksOf(set), links);
}

TEST(ReadLinkSet, ReadsAsManyRecordsAsTheCountSaysAndNothingBehindThem) {
  const std::vector<std::byte> bytes =
      StreamBytes().Links({{"a", 1, {2}, {3}, "x"}, {"b", 2, {}, {}, ""}}).Text("behind").Bytes();
  MemoryReader in(bytes, c_current);
  ValidatedLinks links;
  ReadLinkSet(in, links);
  EXPECT_THAT(LinksOf(links), ElementsAre(StreamLink{"a", 1, {2}, {3}, "x"}, StreamLink{"b", 2, {}, {}, ""}));
  EXPECT_EQ(in.Position(), bytes.size() - 10);
}

TEST(ReadLinkSet, ReadsNothingButTheCountZero) {
  RecordingReader in(StreamBytes().Count(0).Text("behind").Bytes(), c_current);
  ValidatedLinks links;
  ReadLinkSet(in, links);
  EXPECT_THAT(links, SizeIs(0));
  EXPECT_THAT(in.events, ElementsAre("uint64"));
}

// One record after the other in the same variable would let a record inherit what the one before it had.
TEST(ReadLinkSet, StartsEachRecordFromDefaults) {
  const StreamLinks links{{"a", 7, {1, 2}, {3}, "name"}, {"b", 0, {}, {}, ""}};
  EXPECT_EQ(LinksOf(Read(BytesOf(links))), links);
}

TEST(ReadLinkSet, KeepsStreamOrderAmongEqualKeysAndAmongEqualGeometryObjects) {
  const StreamLink last{"b", 9, {}, {}, "z"};
  const StreamLink first{"b", 1, {}, {}, "a"};
  const StreamLink other{"a", 9, {}, {}, "z"};
  const ValidatedLinks links = Read(BytesOf({last, first, other}));
  EXPECT_THAT(LinksOf(links), ElementsAre(other, last, first));
  EXPECT_THAT(LinksOf(links.get<byGeometry>()), ElementsAre(first, last, other));
}

TEST(ReadLinkSet, DropsARecordWhosePairWasReadAlreadyWithoutAFault) {
  const StreamLink link{"a", 1, {2}, {}, "x"};
  const StreamLink otherKey{"b", 1, {2}, {}, "x"};
  const StreamLink otherObject{"a", 1, {3}, {}, "x"};
  EXPECT_THAT(LinksOf(Read(BytesOf({link, link, otherKey, otherObject, link}))),
              ElementsAre(link, otherObject, otherKey));
}

// Pairs meet by the order of geometry objects, which leaves the second path out.
TEST(ReadLinkSet, DropsARecordThatDiffersFromAnEarlierOneInItsSecondPathOnly) {
  const StreamLink earlier{"a", 1, {2}, {}, "x"};
  const StreamLink later{"a", 1, {2}, {7}, "x"};
  EXPECT_THAT(LinksOf(Read(BytesOf({earlier, later}))), ElementsAre(earlier));
}

TEST(ReadLinkSet, AddsToWhatTheSetHolds) {
  const StreamLink held{"m", 1, {}, {}, "held"};
  const StreamLink read{"a", 1, {}, {}, "read"};
  ValidatedLinks links = SetOf<ValidatedLinks>({held});
  const std::vector<std::byte> bytes = BytesOf({read, held});
  MemoryReader in(bytes, c_current);
  ReadLinkSet(in, links);
  EXPECT_THAT(LinksOf(links), ElementsAre(read, held));
}

TEST(ReadLinkSet, AttemptsEveryRecordThatTheCountClaimsWhateverTheStreamsState) {
  RecordingReader in(StreamBytes().Count(1000).Bytes(), c_current);
  ValidatedLinks links;
  ReadLinkSet(in, links);
  EXPECT_THAT(LinksOf(links), ElementsAre(StreamLink()));
  // Of each record: the lengths of key and name, the type and the counts of both paths, all of them short.
  const StreamEvents& events = in.events;
  EXPECT_EQ(std::count(events.begin(), events.end(), "block 4"), 3000);
  EXPECT_EQ(std::count(events.begin(), events.end(), "uint64"), 1 + 2000);
  EXPECT_EQ(std::count(events.begin(), events.end(), "state 0x1"), 5000);
}

TEST(ReadLinkSet, GoesOnWithWholeRecordsAfterAFault) {
  RecordingReader in(BytesOf({{"a", 1, {}, {}, "x"}, {"b", 2, {7}, {}, ""}}), c_current);
  in.faultAfterBlock = 1;
  ValidatedLinks links;
  ReadLinkSet(in, links);
  // The element of the second record's path stays on the stream and is taken for the length of the name.
  EXPECT_THAT(LinksOf(links),
              ElementsAre(StreamLink{"a", 1, {}, {}, "x"}, StreamLink{"b", 2, {}, {}, std::string(7, '\0')}));
}

TEST(ReadLinkSet, KeepsTheRecordInWhichTheStreamRanShort) {
  const StreamLink whole{"a", 1, {2}, {}, "x"};
  const std::vector<std::byte> bytes = StreamBytes().Count(2).Link(whole).Text("b").UInt32(5).Bytes();
  MemoryReader in(bytes, c_current);
  ValidatedLinks links;
  ReadLinkSet(in, links);
  EXPECT_THAT(LinksOf(links), ElementsAre(whole, StreamLink{"b", 5, {}, {}, ""}));
}

TEST(LinkSet, IsNothingButKeysAndNamesInA16BitStreamAndReadsAsEmpty) {
  const ValidatedLinks links = SetOf<ValidatedLinks>({{"a", 1, {2}, {3}, "x"}, {"b", 2, {}, {}, ""}});
  RecordingWriter out({0x17000002, c_math16});
  WriteLinkSet(out, links, nullptr);
  EXPECT_THAT(out.events, ElementsAre("state 0x8",                                                //
                                      "block 01 00 00 00", "block 61", "state 0x8", "state 0x8",  //
                                      "block 01 00 00 00", "block 78", "state 0x8",               //
                                      "block 01 00 00 00", "block 62", "state 0x8", "state 0x8",  //
                                      "block 00 00 00 00", "state 0x8"));

  RecordingReader in(BytesOf(LinksOf(links), {.countBytes = 0}), {0x17000002, c_math16});
  ValidatedLinks read;
  ReadLinkSet(in, read);
  EXPECT_THAT(read, SizeIs(0));
  EXPECT_THAT(in.events, ElementsAre("state 0x8"));
}

}  // namespace
