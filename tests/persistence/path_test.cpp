// Paths: the count and the elements, where writing and reading stop, and what a path holds afterwards.

#include "persistence/LinkStream.h"

#include <cstdint>
#include <new>
#include <vector>

#include <gmock/gmock.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/ExceptionModeOff.h"
#include "tests/support/StreamBytes.h"
#include "tests/support/StreamRecorders.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr StreamVersions c_bits64{c_currentAppVersion, c_currentMathVersion};
constexpr StreamVersions c_bits32{c_currentAppVersion, 0x0EFFFFFF};
constexpr StreamVersions c_bits16{c_currentAppVersion, 0x03FFFFFF};
constexpr StreamForm c_form64{.countBytes = 8};
constexpr StreamForm c_form32{.countBytes = 4};

TEST(WritePath, WritesTheCountAndEachElementAsABlockOfFourBytes) {
  RecordingWriter out(c_bits64);
  WritePath(out, MbPath{1, 0x0A0B0C0D, 0xFFFFFFFF});
  EXPECT_THAT(out.events, ElementsAre("uint64 3", "block 01 00 00 00", "block 0D 0C 0B 0A", "block FF FF FF FF"));
}

TEST(WritePath, WritesTheCountOfA32BitStreamInABlockOfItsOwn) {
  RecordingWriter out(c_bits32);
  WritePath(out, MbPath{7, 8});
  EXPECT_THAT(out.events, ElementsAre("block 02 00 00 00", "block 07 00 00 00", "block 08 00 00 00"));
}

TEST(WritePath, WritesAnEmptyPathAsItsCountAlone) {
  RecordingWriter out(c_bits64);
  WritePath(out, MbPath());
  EXPECT_THAT(out.events, ElementsAre("uint64 0"));
}

TEST(WritePath, StopsBeforeTheFirstElementAtWhichTheStreamIsNotGood) {
  RecordingWriter out(c_bits64);
  out.faultAfterBlock = 2;
  WritePath(out, MbPath{1, 2, 3, 4});
  EXPECT_THAT(out.events, ElementsAre("uint64 4", "block 01 00 00 00", "block 02 00 00 00"));
}

TEST(WritePath, WritesTheCountAndNoElementToAStreamThatIsNotGood) {
  RecordingWriter out(c_bits64);
  out.setState(io::state::deviceFailed);
  WritePath(out, MbPath{1, 2});
  EXPECT_THAT(out.events, ElementsAre("state 0x2", "uint64 2"));
}

TEST(WritePath, StopsInA16BitStreamAfterTheCountBecauseThatIsAlreadyAFault) {
  RecordingWriter out(c_bits16);
  WritePath(out, MbPath{1, 2});
  EXPECT_THAT(out.events, ElementsAre("state 0x8"));
}

TEST(WritePath, RecordsEachElementThatA16BitStreamDoesNotCarryAndWritesNothing) {
  RecordingWriter out(c_bits16);
  out.keepsFaults = false;
  WritePath(out, MbPath{1, 2});
  EXPECT_THAT(out.events, ElementsAre("state 0x8", "state 0x8", "state 0x8"));
}

TEST(ReadPath, ReadsTheCountAndEachElementAsABlockOfFourBytes) {
  RecordingReader in(StreamBytes(c_form64).Path({1, 0x0A0B0C0D, 0xFFFFFFFF}).Byte(0).Bytes(), c_bits64);
  MbPath path;
  ReadPath(in, path);
  EXPECT_THAT(ElementsOf(path), ElementsAre(1, 0x0A0B0C0D, 0xFFFFFFFF));
  EXPECT_THAT(in.events, ElementsAre("uint64", "block 4", "block 4", "block 4"));
  EXPECT_EQ(in.BytesLeft(), 1u);
}

TEST(ReadPath, ReadsMoreElementsThanLiveInsideAPath) {
  std::vector<std::uint32_t> elements;
  for (std::uint32_t i = 0; i < 100; ++i) {
    elements.push_back(i * 0x01010101);
  }
  const StreamBytes bytes = StreamBytes(c_form32).Path(elements);
  MemoryReader in(bytes.Bytes(), c_bits32);
  MbPath path;
  ReadPath(in, path);
  EXPECT_EQ(ElementsOf(path), elements);
  EXPECT_TRUE(in.good());
}

TEST(ReadPath, DropsWhatThePathHeldBefore) {
  const StreamBytes bytes = StreamBytes(c_form64).Path({5});
  MemoryReader in(bytes.Bytes(), c_bits64);
  MbPath path{1, 2, 3};
  ReadPath(in, path);
  EXPECT_THAT(ElementsOf(path), ElementsAre(5));
}

TEST(ReadPath, LeavesThePathUntouchedForACountOfZero) {
  const StreamBytes bytes = StreamBytes(c_form64).Path({});
  MemoryReader in(bytes.Bytes(), c_bits64);
  MbPath path{1, 2, 3};
  ReadPath(in, path);
  EXPECT_THAT(ElementsOf(path), ElementsAre(1, 2, 3));
  EXPECT_TRUE(in.good());
}

TEST(ReadPath, LeavesThePathUntouchedWhereTheStreamIsNotGoodAfterTheCount) {
  RecordingReader in(StreamBytes(c_form64).Path({5, 6}).Bytes(), c_bits64);
  in.setState(io::state::deviceFailed);
  MbPath path{1, 2, 3};
  ReadPath(in, path);
  EXPECT_THAT(ElementsOf(path), ElementsAre(1, 2, 3));
  EXPECT_THAT(in.events, ElementsAre("state 0x2", "uint64"));
}

TEST(ReadPath, LeavesThePathUntouchedWhereTheCountRunsShort) {
  const StreamBytes bytes = StreamBytes(c_form64).Number(1, 7);
  MemoryReader in(bytes.Bytes(), c_bits64);
  MbPath path{1, 2, 3};
  ReadPath(in, path);
  EXPECT_THAT(ElementsOf(path), ElementsAre(1, 2, 3));
  EXPECT_EQ(in.State(), static_cast<std::uint32_t>(io::state::endOfStream));
}

TEST(ReadPath, LeavesThePathUntouchedInA16BitStreamAndReadsNothing) {
  RecordingReader in(StreamBytes(c_form64).Path({5, 6}).Bytes(), c_bits16);
  MbPath path{1, 2, 3};
  ReadPath(in, path);
  EXPECT_THAT(ElementsOf(path), ElementsAre(1, 2, 3));
  EXPECT_THAT(in.events, ElementsAre("state 0x8"));
}

TEST(ReadPath, AppendsTheElementThatRunsShortAsZeroAndStopsThere) {
  RecordingReader in(StreamBytes(c_form64).Count(4).UInt32(7).UInt32(8).Number(9, 3).Bytes(), c_bits64);
  MbPath path;
  ReadPath(in, path);
  EXPECT_THAT(ElementsOf(path), ElementsAre(7, 8, 0));
  EXPECT_THAT(in.events, ElementsAre("uint64", "block 4", "block 4", "block 4", "state 0x1"));
}

TEST(ReadPath, StopsAfterTheElementDuringWhichTheStreamBecameBad) {
  RecordingReader in(StreamBytes(c_form64).Path({7, 8, 9}).Bytes(), c_bits64);
  in.faultAfterBlock = 2;
  MbPath path;
  ReadPath(in, path);
  EXPECT_THAT(ElementsOf(path), ElementsAre(7, 8));
  EXPECT_EQ(in.BytesLeft(), 4u);
}

TEST(ReadPath, RaisesBadAllocForACountWithoutMemoryWhereExceptionsAreOn) {
  for (const std::uint64_t count : {0x40000000ull, 0xFFFFFFFFull, 0x100000000ull, ~0ull}) {
    const StreamBytes bytes = StreamBytes(c_form64).Count(count).UInt32(1);
    MemoryReader in(bytes.Bytes(), c_bits64);
    MbPath path{1, 2, 3};
    EXPECT_THROW(ReadPath(in, path), std::bad_alloc) << count;
    EXPECT_TRUE(in.good());
    EXPECT_EQ(in.Position(), 8u);
  }
}

TEST(ReadPath, RecordsState4AndConsumesNoElementFromACountOf32OnesOnWhereExceptionsAreOff) {
  const ExceptionModeOff mode;
  for (const std::uint64_t count : {0xFFFFFFFFull, 0x100000000ull, ~0ull}) {
    RecordingReader in(StreamBytes(c_form64).Count(count).UInt32(1).UInt32(2).Bytes(), c_bits64);
    MbPath path{1, 2, 3};
    ReadPath(in, path);
    EXPECT_THAT(ElementsOf(path), IsEmpty()) << count;
    EXPECT_THAT(in.events, ElementsAre("uint64", "state 0x4")) << count;
  }
}

TEST(ReadPath, ConsumesNoElementWithoutStorageEvenWhereTheStreamStaysGood) {
  const ExceptionModeOff mode;
  RecordingReader in(StreamBytes(c_form64).Count(0xFFFFFFFF).UInt32(1).UInt32(2).Bytes(), c_bits64);
  in.unkeptFault = io::state::noMemory;
  MbPath path;
  ReadPath(in, path);
  EXPECT_THAT(in.events, ElementsAre("uint64", "state 0x4"));
}

TEST(ReadPath, RecordsState4For32OnesInA32BitStreamAsWell) {
  const ExceptionModeOff mode;
  RecordingReader in(StreamBytes(c_form32).Count(0xFFFFFFFF).UInt32(1).Bytes(), c_bits32);
  MbPath path{1, 2, 3};
  ReadPath(in, path);
  EXPECT_THAT(ElementsOf(path), IsEmpty());
  EXPECT_THAT(in.events, ElementsAre("block 4", "state 0x4"));
}

// Below 32 ones a refused reservation is no fault: the path grows with the elements that come.
TEST(ReadPath, ReadsTheElementsOfASmallerCountWithoutMemoryWhereExceptionsAreOff) {
  const ExceptionModeOff mode;
  for (const std::uint64_t count : {0x40000000u, 0xFFFFFFFEu}) {
    const StreamBytes bytes = StreamBytes(c_form64).Count(count).UInt32(7).UInt32(8);
    MemoryReader in(bytes.Bytes(), c_bits64);
    MbPath path{1, 2, 3};
    ReadPath(in, path);
    EXPECT_THAT(ElementsOf(path), ElementsAre(7, 8, 0)) << count;
    EXPECT_EQ(in.State(), static_cast<std::uint32_t>(io::state::endOfStream));
  }
}

}  // namespace
