// The walk over a links section: every field shown, nothing believed, the first fault named.

#include "host/storage/SectionWalker.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/storage/SectionBytes.h"
#include "tests/support/FixtureFile.h"
#include "tests/support/FixtureLinks.h"
#include "tests/support/StreamBytes.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// As bytes of a section under today's versions.
constexpr StreamVersions c_today{0x17000002, 0x0F001001};
constexpr StreamVersions c_narrow{0x17000002, 0x0EFFFFFF};

StreamLink Bolt() {
  return {"bolt-1", 1, {2, 5}, {9}, "Bolt"};
}

std::string FaultOf(std::span<const std::byte> section, const StreamVersions& versions) {
  const auto fault = host::WalkSection(section, versions, {});
  return fault ? host::FaultText(*fault) : "none";
}

// ---- what is shown

TEST(SectionWalk, ShowsEveryFieldWithItsOffsetBytesDepthAndValue) {
  const auto section = StreamBytes().Links({Bolt()}).Links({}).Bytes();
  const SeenWalk walk = WalkAll(section, c_today);
  EXPECT_FALSE(walk.fault);
  const auto bytes = [&](std::size_t offset, std::size_t length) {
    return Bytes(section.begin() + static_cast<std::ptrdiff_t>(offset),
                 section.begin() + static_cast<std::ptrdiff_t>(offset + length));
  };
  EXPECT_THAT(walk.fields, ElementsAre(SeenField{0, bytes(0, 8), 0, "uniqueLinks", "1 records"},
                                       SeenField{8, {}, 1, "uniqueLinks[0]", ""},
                                       SeenField{8, bytes(8, 4), 2, "metaKey length", "6"},
                                       SeenField{12, bytes(12, 6), 2, "metaKey", "bolt-1"},
                                       SeenField{18, bytes(18, 4), 2, "objectType", "1 (solid)"},
                                       SeenField{22, bytes(22, 8), 2, "componentPath count", "2 elements"},
                                       SeenField{30, bytes(30, 8), 2, "componentPath", "5/2"},
                                       SeenField{38, bytes(38, 4), 2, "objectName length", "4"},
                                       SeenField{42, bytes(42, 4), 2, "objectName", "Bolt"},
                                       SeenField{46, bytes(46, 8), 2, "secondPath count", "1 elements"},
                                       SeenField{54, bytes(54, 4), 2, "secondPath", "9"},
                                       SeenField{58, bytes(58, 8), 0, "validatedLinks", "0 records"}));
}

TEST(SectionWalk, NumbersTheRecordsOfEachSetFromZero) {
  const auto section = StreamBytes().Links({Bolt(), Bolt()}).Links({Bolt()}).Bytes();
  std::vector<std::string> headings;
  for (const SeenField& field : WalkAll(section, c_today).fields) {
    if (field.depth == 1) {
      headings.push_back(field.name);
    }
  }
  EXPECT_THAT(headings, ElementsAre("uniqueLinks[0]", "uniqueLinks[1]", "validatedLinks[0]"));
}

TEST(SectionWalk, ShowsPathsTheSameWayRoundInEveryVersion) {
  for (const std::uint32_t appVersion : {0x17000001u, 0x17000002u}) {
    const StreamVersions versions{appVersion, 0x0F001001};
    const auto section = StreamBytes(StreamFormOf(versions)).Section({{"k", 1, {2, 1, 3}, {4, 5}, ""}}, {}).Bytes();
    std::vector<std::string> paths;
    for (const SeenField& field : WalkAll(section, versions).fields) {
      if (field.name == "componentPath" || field.name == "secondPath") {
        paths.push_back(field.value);
      }
    }
    EXPECT_THAT(paths, ElementsAre("3/1/2", "5/4")) << std::hex << appVersion;
  }
}

TEST(SectionWalk, ShowsBytesThatAreNoTextEscaped) {
  const auto section = StreamBytes().Links({{std::string("k\0\n", 3), 1, {}, {}, "\xFF\\"}}).Links({}).Bytes();
  std::vector<std::string> values;
  for (const SeenField& field : WalkAll(section, c_today).fields) {
    if (field.name == "metaKey" || field.name == "objectName") {
      values.push_back(field.value);
    }
  }
  EXPECT_THAT(values, ElementsAre("k\\x00\\x0A", "\\xFF\\x5C"));
}

TEST(SectionWalk, CountsTheRecordsOfAllSets) {
  std::uint64_t records = 77;
  const Bytes section = StreamBytes().Links({Bolt(), Bolt()}).Links({Bolt()}).Bytes();
  EXPECT_FALSE(host::WalkSection(section, c_today, {}, &records));
  EXPECT_EQ(records, 3u);
  EXPECT_FALSE(host::WalkSection({}, {0x12000004, 0x0F001001}, {}, &records));
  EXPECT_EQ(records, 0u);
}

TEST(SectionWalk, NeedsNoVisitor) {
  const auto section = StreamBytes().Links({Bolt()}).Links({Bolt()}).Bytes();
  EXPECT_FALSE(host::WalkSection(section, c_today, {}));
}

TEST(FaultText, NamesTheByteAndWhatIsWrong) {
  EXPECT_EQ(host::FaultText({12, "nothing is right"}), "at byte 12: nothing is right");
}

// ---- every form

class FrozenSections : public testing::TestWithParam<SectionFixture> {
 protected:
  FixtureFile file = FixtureFile::Load(GetParam().FileName());
  bool IsReadable() const { return GetParam().state == 0; }
};

TEST_P(FrozenSections, AreCoveredByTheirFieldsWithoutGapOrOverlap) {
  const SeenWalk walk = WalkAll(file.bytes, file.versions);
  ASSERT_EQ(!walk.fault, IsReadable());
  std::uint64_t end = 0;
  for (const SeenField& field : walk.fields) {
    ASSERT_EQ(field.offset, end) << field.name;
    ASSERT_LE(end + field.bytes.size(), file.bytes.size()) << field.name;
    const auto first = file.bytes.begin() + static_cast<std::ptrdiff_t>(end);
    ASSERT_TRUE(std::equal(field.bytes.begin(), field.bytes.end(), first)) << field.name;
    end += field.bytes.size();
  }
  EXPECT_EQ(end, IsReadable() ? file.bytes.size() : 0u);
}

TEST_P(FrozenSections, ShowAsManySetsAndRecordsAsTheyHold) {
  int sets = 0;
  std::size_t records = 0;
  std::size_t secondPaths = 0;
  for (const SeenField& field : WalkAll(file.bytes, file.versions).fields) {
    sets += field.depth == 0 ? 1 : 0;
    records += field.depth == 1 ? 1u : 0u;
    secondPaths += field.name == "secondPath count" ? 1u : 0u;
  }
  const std::size_t expected = GetParam().First().size() + (GetParam().setCount == 2 ? GetParam().Second().size() : 0);
  EXPECT_EQ(sets, IsReadable() ? GetParam().setCount : 0);
  EXPECT_EQ(records, expected);
  EXPECT_EQ(secondPaths, GetParam().hasSecondPath ? expected : 0);
}

TEST_P(FrozenSections, CutAnywhereShowWhatStandsBeforeTheFault) {
  const SeenWalk whole = WalkAll(file.bytes, file.versions);
  for (std::size_t length = 0; length < file.bytes.size(); ++length) {
    // Of exactly this length, so that a read beyond its end is a fault of memory, too.
    const Bytes section(file.bytes.begin(), file.bytes.begin() + static_cast<std::ptrdiff_t>(length));
    const SeenWalk walk = WalkAll(section, file.versions);
    ASSERT_TRUE(walk.fault) << "cut to " << length;
    ASSERT_LE(walk.fault->offset, length);
    ASSERT_FALSE(walk.fault->text.empty());
    ASSERT_LE(walk.fields.size(), whole.fields.size());
    ASSERT_TRUE(std::equal(walk.fields.begin(), walk.fields.end(), whole.fields.begin())) << "cut to " << length;
    ASSERT_FALSE(LibraryReadsAll(section, file.versions)) << "cut to " << length;
  }
}

TEST_P(FrozenSections, WithBytesLeftOverAreFaultyAtTheFirstOfThem) {
  for (const std::size_t surplus : {std::size_t{1}, std::size_t{8}, std::size_t{100}}) {
    Bytes section = file.bytes;
    section.resize(section.size() + surplus);
    const auto fault = host::WalkSection(section, file.versions, {});
    ASSERT_TRUE(fault);
    if (IsReadable()) {
      EXPECT_EQ(fault->offset, file.bytes.size());
      EXPECT_EQ(fault->text, std::to_string(surplus) + " bytes after the end of the section");
    }
  }
}

bool IsCountField(const SeenField& field) {
  return field.depth == 0 || field.name.ends_with(" count") || field.name.ends_with(" length");
}

TEST_P(FrozenSections, WithACountBeyondTheirBytesAreFaultyAtThatCountAtOnce) {
  const auto start = std::chrono::steady_clock::now();
  for (const SeenField& field : WalkAll(file.bytes, file.versions).fields) {
    if (!IsCountField(field)) {
      continue;
    }
    const std::uint64_t left = file.bytes.size() - field.offset - field.bytes.size();
    for (const std::uint64_t count :
         {~std::uint64_t{0}, ~std::uint64_t{0} - 1, std::uint64_t{1} << 63, std::uint64_t{1} << 62,
          std::uint64_t{1} << 61, std::uint64_t{1} << 32, (std::uint64_t{1} << 32) + 1, std::uint64_t{0xFFFFFFFF},
          std::uint64_t{0x80000000}, std::uint64_t{0x40000000}, left + 1}) {
      if (field.bytes.size() == 4 && count > 0xFFFFFFFF) {
        continue;
      }
      Bytes section = file.bytes;
      std::memcpy(section.data() + field.offset, &count, field.bytes.size());
      const auto fault = host::WalkSection(section, file.versions, {});
      ASSERT_TRUE(fault) << field.name << " " << count;
      EXPECT_EQ(fault->offset, field.offset) << field.name << " " << count;
      EXPECT_THAT(fault->text, HasSubstr(std::to_string(count)));
      EXPECT_FALSE(LibraryReadsAll(section, file.versions));
    }
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

INSTANTIATE_TEST_SUITE_P(Frozen, FrozenSections, testing::ValuesIn(SectionFixtures()), SectionFixtureName);

// ---- single faults

TEST(SectionFault, OfASectionThatShouldBeThereAndIsNot) {
  EXPECT_EQ(FaultOf({}, c_today), "at byte 0: uniqueLinks: 8 bytes expected, 0 remain");
  EXPECT_EQ(FaultOf({}, c_narrow), "at byte 0: uniqueLinks: 4 bytes expected, 0 remain");
}

TEST(SectionFault, OfVersionsWithoutLinksIsAnyByte) {
  EXPECT_EQ(FaultOf({}, {0x12000004, 0x0F001001}), "none");
  EXPECT_EQ(FaultOf(Bytes(3), {0x12000004, 0x0F001001}), "at byte 0: 3 bytes after the end of the section");
}

TEST(SectionFault, OfA16BitStreamIsThatItCarriesNoLinks) {
  EXPECT_THAT(FaultOf(Bytes(64), {0x17000002, 0x03FFFFFF}),
              HasSubstr("at byte 0: uniqueLinks: a 16-bit stream (math version 0x03FFFFFF) carries no links"));
  EXPECT_EQ(FaultOf({}, {0x12000004, 0x03FFFFFF}), "none");
}

TEST(SectionFault, OfASetIsACountThatItsSmallestRecordsWouldNotFitInto) {
  struct Form {
    StreamVersions versions;
    std::size_t smallestRecord;
  };
  for (const Form& form : {Form{c_today, 28}, Form{c_narrow, 20}, Form{{0x15000002, 0x0F001001}, 20},
                           Form{{0x15000002, 0x0EFFFFFF}, 16}}) {
    const StreamForm stream = StreamFormOf(form.versions);
    const StreamLinks three(3);
    const auto section = StreamBytes(stream).Section(three, {}).Bytes();
    ASSERT_EQ(FaultOf(section, form.versions), "none");
    ASSERT_EQ(section.size(), 2 * stream.countBytes + 3 * form.smallestRecord);

    // The second set's count is all that is left for a fourth record.
    Bytes four = section;
    four[0] = std::byte{4};
    const std::size_t left = four.size() - stream.countBytes;
    EXPECT_EQ(FaultOf(four, form.versions), "at byte 0: uniqueLinks: 4 records need at least " +
                                                std::to_string(form.smallestRecord) + " bytes each, " +
                                                std::to_string(left) + " bytes remain");
  }
}

TEST(SectionFault, OfAStringIsALengthBeyondTheBytes) {
  const Bytes section = StreamBytes().Number(1, 8).Number(25, 4).Number(0, 8).Number(0, 8).Number(0, 8).Bytes();
  ASSERT_EQ(section.size(), 36u);
  EXPECT_EQ(FaultOf(section, c_today), "at byte 8: metaKey: 25 bytes announced, 24 remain");
}

TEST(SectionFault, OfAPathIsACountBeyondTheBytes) {
  Bytes section = StreamBytes().Number(1, 8).Text("").UInt32(1).Number(4, 8).Text("").Number(0, 7).Bytes();
  ASSERT_EQ(section.size(), 35u);
  section.push_back(std::byte{0});
  EXPECT_EQ(FaultOf(section, c_today), "at byte 16: componentPath: 4 elements of 4 bytes, 12 bytes remain");
}

TEST(SectionWalk, OfALargeSectionTakesTimeLinearInItsBytes) {
  std::vector<std::uint32_t> path(1'000'000, 7);
  const auto longPath = StreamBytes().Links({{"k", 1, path, path, std::string(4'000'000, 'n')}}).Links({}).Bytes();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(host::WalkSection(longPath, c_today, {}));
  EXPECT_FALSE(WalkAll(longPath, c_today).fault);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

}  // namespace
