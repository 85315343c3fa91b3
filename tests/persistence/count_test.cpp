// Counts: what each width hands to the stream, what it takes from it, and what does not fit.

#include "persistence/LinkStream.h"

#include <cstdint>
#include <filesystem>
#include <limits>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/FixtureFile.h"
#include "tests/support/StreamBytes.h"
#include "tests/support/StreamRecorders.h"

namespace {

using testing::ElementsAre;

constexpr std::uint64_t c_allOnes = std::numeric_limits<std::uint64_t>::max();
const std::vector<std::uint64_t> c_counts{0, 1, 0xFFFFFFFE, 0xFFFFFFFF, 0x100000000, c_allOnes};

StreamVersions WithMath(std::uint32_t mathVersion) {
  return {c_currentAppVersion, mathVersion};
}

// A reader that fills nothing in: what comes out is what the caller had put there.
class SilentReader final : public reader {
 public:
  explicit SilentReader(const StreamVersions& streamVersions) : tape(streamVersions) {}
  bool readBlock(void*, std::size_t) override { return true; }
};

TEST(WriteCount, HandsTheCountOfA64BitStreamUnchangedToWriteUInt64) {
  for (const std::uint32_t math : {0x0F000000u, 0x0F001000u, 0x0F001001u, 0xFFFFFFFFu}) {
    for (const std::uint64_t count : c_counts) {
      RecordingWriter out(WithMath(math));
      WriteCount(out, count);
      EXPECT_THAT(out.events, ElementsAre("uint64 " + std::to_string(count))) << std::hex << math;
    }
  }
}

TEST(WriteCount, WritesTheCountOfA32BitStreamAsOneBlockOfFourBytesLeastSignificantFirst) {
  for (const std::uint32_t math : {0x04000000u, 0x0EFFFFFFu}) {
    RecordingWriter out(WithMath(math));
    WriteCount(out, 0x01020304);
    EXPECT_THAT(out.events, ElementsAre("block 04 03 02 01")) << std::hex << math;
  }
}

TEST(WriteCount, TakesACountOf32OnesIntoA32BitStreamWithoutAFault) {
  RecordingWriter out(WithMath(0x0EFFFFFF));
  WriteCount(out, 0xFFFFFFFF);
  EXPECT_THAT(out.events, ElementsAre("block FF FF FF FF"));
}

TEST(WriteCount, RecordsTheOverflowOfA32BitStreamFirstAndThenWritesTheLow32Bits) {
  RecordingWriter out(WithMath(0x0EFFFFFF));
  WriteCount(out, 0x100000000);
  WriteCount(out, 0x1A0B0C0D0E);
  EXPECT_THAT(out.events, ElementsAre("state 0x800000", "block 00 00 00 00", "state 0x800000", "block 0E 0D 0C 0B"));
}

TEST(WriteCount, CountsAllOnesAsAnOverflowOfA32BitStreamAndWrites32Ones) {
  RecordingWriter out(WithMath(0x04000000));
  WriteCount(out, c_allOnes);
  EXPECT_THAT(out.events, ElementsAre("state 0x800000", "block FF FF FF FF"));
}

TEST(WriteCount, WritesNothingToA16BitStreamAndRecordsThat) {
  for (const std::uint32_t math : {0u, 0x03FFFFFFu}) {
    RecordingWriter out(WithMath(math));
    WriteCount(out, 0);
    WriteCount(out, 0xFFFFFFFF);
    EXPECT_THAT(out.events, ElementsAre("state 0x8", "state 0x8")) << std::hex << math;
  }
}

TEST(WriteCount, RecordsBothFaultsWhereA16BitStreamIsGivenMoreThan32Bits) {
  RecordingWriter out(WithMath(0x03FFFFFF));
  WriteCount(out, 0x100000000);
  EXPECT_THAT(out.events, ElementsAre("state 0x800000", "state 0x8"));
  EXPECT_EQ(out.State(), 0x800008u);
}

TEST(WriteCount, IsNotStoppedByAFaultRecordedEarlier) {
  for (const std::uint32_t math : {0x0EFFFFFFu, 0x0F001001u}) {
    MemoryWriter out(WithMath(math));
    out.setState(io::state::deviceFailed);
    WriteCount(out, 1);
    EXPECT_FALSE(out.Bytes().empty());
  }
}

TEST(ReadCount, TakesTheCountOfA64BitStreamFromReadUInt64) {
  RecordingReader in(StreamBytes().Number(0x0102030405060708, 8).Bytes(), WithMath(0x0F001001));
  EXPECT_EQ(ReadCount(in), 0x0102030405060708u);
  EXPECT_THAT(in.events, ElementsAre("uint64"));
}

TEST(ReadCount, Reads32OnesOfA64BitStreamAsAllOnesUpToMathVersion0F001000Only) {
  const std::vector<std::pair<std::uint32_t, std::uint64_t>> expected{
      {0x0F000000, c_allOnes},  {0x0F000FFF, c_allOnes},  {0x0F001000, c_allOnes},
      {0x0F001001, 0xFFFFFFFF}, {0x10000000, 0xFFFFFFFF}, {0xFFFFFFFF, 0xFFFFFFFF}};
  const StreamBytes bytes = StreamBytes().Number(0xFFFFFFFF, 8);
  for (const auto& [math, count] : expected) {
    MemoryReader in(bytes.Bytes(), WithMath(math));
    EXPECT_EQ(ReadCount(in), count) << std::hex << math;
    EXPECT_TRUE(in.good());
  }
}

TEST(ReadCount, ReadsAllOnesOfA64BitStreamAsAllOnesInEveryVersion) {
  const StreamBytes bytes = StreamBytes().Number(c_allOnes, 8);
  for (const std::uint32_t math : {0x0F000000u, 0x0F001000u, 0x0F001001u}) {
    MemoryReader in(bytes.Bytes(), WithMath(math));
    EXPECT_EQ(ReadCount(in), c_allOnes) << std::hex << math;
  }
}

TEST(ReadCount, ReadsTheCountOfA32BitStreamFromOneBlockOfFourBytes) {
  for (const std::uint32_t math : {0x04000000u, 0x0EFFFFFFu}) {
    RecordingReader in(StreamBytes().Number(0x01020304, 4).Number(0, 4).Bytes(), WithMath(math));
    EXPECT_EQ(ReadCount(in), 0x01020304u);
    EXPECT_THAT(in.events, ElementsAre("block 4")) << std::hex << math;
  }
}

TEST(ReadCount, Reads32OnesOfA32BitStreamAsAllOnesAndNothingElse) {
  const StreamBytes bytes = StreamBytes().Number(0xFFFFFFFF, 4).Number(0xFFFFFFFE, 4);
  MemoryReader in(bytes.Bytes(), WithMath(0x0EFFFFFF));
  EXPECT_EQ(ReadCount(in), c_allOnes);
  EXPECT_EQ(ReadCount(in), 0xFFFFFFFEu);
  EXPECT_TRUE(in.good());
}

TEST(ReadCount, ReadsNothingFromA16BitStreamAndRecordsThat) {
  RecordingReader in(StreamBytes().Number(c_allOnes, 8).Bytes(), WithMath(0x03FFFFFF));
  EXPECT_EQ(ReadCount(in), 0u);
  EXPECT_THAT(in.events, ElementsAre("state 0x8"));
}

TEST(ReadCount, StartsFromZeroSoThatA32BitReaderThatFillsNothingInYieldsZero) {
  SilentReader in(WithMath(0x0EFFFFFF));
  EXPECT_EQ(ReadCount(in), 0u);
}

TEST(ReadCount, YieldsZeroWhereTheStreamRunsShort) {
  const StreamBytes bytes = StreamBytes().Number(0xFFFFFF, 3);
  for (const std::uint32_t math : {0x0EFFFFFFu, 0x0F001000u, 0x0F001001u}) {
    MemoryReader in(bytes.Bytes(), WithMath(math));
    EXPECT_EQ(ReadCount(in), 0u) << std::hex << math;
    EXPECT_EQ(in.State(), static_cast<std::uint32_t>(io::state::endOfStream));
  }
}

// The frozen counts hold c_counts one after the other.
struct CountFixture {
  const char* name;
  std::vector<std::uint64_t> read;
  std::uint32_t writeState;
  std::uint32_t readState;
};

class CountFixtures : public testing::TestWithParam<CountFixture> {};

TEST_P(CountFixtures, ReadToTheirCounts) {
  const FixtureFile fixture = FixtureFile::Load(GetParam().name);
  MemoryReader in(fixture.bytes, fixture.versions);
  std::vector<std::uint64_t> read;
  for (std::size_t i = 0; i < c_counts.size(); ++i) {
    read.push_back(ReadCount(in));
  }
  EXPECT_EQ(read, GetParam().read);
  EXPECT_EQ(in.State(), GetParam().readState);
  EXPECT_EQ(in.Position(), fixture.bytes.size());
}

TEST_P(CountFixtures, AreWhatTheCountsAreWrittenAs) {
  const FixtureFile fixture = FixtureFile::Load(GetParam().name);
  MemoryWriter out(fixture.versions);
  for (const std::uint64_t count : c_counts) {
    WriteCount(out, count);
  }
  EXPECT_EQ(out.Bytes(), fixture.bytes);
  EXPECT_EQ(out.State(), GetParam().writeState);
}

const CountFixture c_fixtures[] = {
    {"counts_math0F001001.hex", {0, 1, 0xFFFFFFFE, 0xFFFFFFFF, 0x100000000, c_allOnes}, 0, 0},
    {"counts_math0F001000.hex", {0, 1, 0xFFFFFFFE, c_allOnes, 0x100000000, c_allOnes}, 0, 0},
    {"counts_math0EFFFFFF.hex", {0, 1, 0xFFFFFFFE, c_allOnes, 0, c_allOnes}, 0x800000, 0},
    {"counts_math03FFFFFF.hex", {0, 0, 0, 0, 0, 0}, 0x800008, 8}};

INSTANTIATE_TEST_SUITE_P(Frozen, CountFixtures, testing::ValuesIn(c_fixtures),
                         [](const auto& instance) { return std::string(instance.param.name).substr(7, 12); });

// Those of whole sections have a test of their own; a file of any other name belongs here.
TEST(CountFixtureFiles, AreAllTested) {
  std::set<std::string> tested;
  for (const CountFixture& fixture : c_fixtures) {
    tested.insert(fixture.name);
  }
  std::set<std::string> found;
  for (const auto& entry : std::filesystem::directory_iterator(QPD_FIXTURE_DIR)) {
    const std::string name = entry.path().filename();
    if (name.ends_with(".hex") && !name.starts_with("section_")) {
      found.insert(name);
    }
  }
  EXPECT_EQ(found, tested);
}

}  // namespace
