#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <qSys/MemoryStreams.h>

namespace {

// One set of versions and one state, whatever a stream does.
static_assert(std::is_base_of_v<tape, reader> && std::is_base_of_v<tape, writer>);
static_assert(!std::is_copy_constructible_v<MemoryReader> && !std::is_copy_constructible_v<MemoryWriter>);

std::vector<std::byte> Bytes(std::initializer_list<int> values) {
  std::vector<std::byte> bytes;
  for (const int value : values) {
    bytes.push_back(static_cast<std::byte>(value));
  }
  return bytes;
}

std::uint32_t Bits(io::state state) {
  return static_cast<std::uint32_t>(state);
}

/// A stream that does both, over one byte.
class Loop final : public reader, public writer {
 public:
  Loop() : tape({0x12345678, 0x0E000000}) {}

  bool readBlock(void* bytes, std::size_t) override {
    *static_cast<std::byte*>(bytes) = held;
    return true;
  }
  void writeBlock(const void* bytes, std::size_t) override { held = *static_cast<const std::byte*>(bytes); }

 private:
  std::byte held{};
};

/// A reader that does not go on after a fault.
class StrictReader final : public reader {
 public:
  bool readBlock(void*, std::size_t) override {
    setState(io::state::endOfStream);
    return false;
  }
  void setState(io::state fault) override {
    tape::setState(fault);
    throw std::runtime_error("damaged");
  }
};

}  // namespace

TEST(StreamStates, HaveFixedValues) {
  EXPECT_EQ(Bits(io::state::noMemory), 4U);
  EXPECT_EQ(Bits(io::state::narrowStream), 8U);
  EXPECT_EQ(Bits(io::state::countOverflow), 0x800000U);
}

TEST(ATape, IsGoodUntilAFaultIsRecorded) {
  MemoryWriter out;
  EXPECT_TRUE(out.good());
  EXPECT_EQ(out.State(), 0U);
  out.setState(io::state::noMemory);
  EXPECT_FALSE(out.good());
}

TEST(ATape, AddsUpItsFaults) {
  MemoryWriter out;
  out.setState(io::state::narrowStream);
  out.setState(io::state::countOverflow);
  out.setState(io::state::narrowStream);
  EXPECT_EQ(out.State(), 0x800008U);
}

TEST(ATape, GivesItsVersionsWhateverTheModule) {
  const StreamVersions versions{0x12000010, 0x0E000000};
  const MemoryWriter out(versions);
  const MemoryReader in({}, versions);
  for (const unsigned long module : {tape::c_mainVersion, 0UL, 1UL, static_cast<unsigned long>(-1)}) {
    EXPECT_EQ(out.AppVersion(module), 0x12000010U);
    EXPECT_EQ(in.AppVersion(module), 0x12000010U);
  }
  EXPECT_EQ(out.MathVersion(), 0x0E000000U);
  EXPECT_EQ(in.MathVersion(), 0x0E000000U);
}

TEST(ATape, HasTheCurrentVersionsUnlessToldOtherwise) {
  EXPECT_EQ(MemoryWriter().AppVersion(tape::c_mainVersion), c_currentAppVersion);
  EXPECT_EQ(MemoryWriter().MathVersion(), c_currentMathVersion);
  EXPECT_EQ(MemoryReader({}).AppVersion(tape::c_mainVersion), c_currentAppVersion);
}

TEST(ATape, IsOneForAStreamThatReadsAndWrites) {
  Loop loop;
  static_cast<reader&>(loop).setState(io::state::noMemory);
  EXPECT_FALSE(static_cast<writer&>(loop).good());
  EXPECT_EQ(static_cast<writer&>(loop).AppVersion(tape::c_mainVersion), 0x12345678U);
  EXPECT_EQ(static_cast<reader&>(loop).MathVersion(), 0x0E000000U);
}

TEST(ATape, LetsADerivedStreamThrowAtAFault) {
  StrictReader in;
  EXPECT_THROW(in.readUInt64(), std::runtime_error);
  EXPECT_EQ(in.State(), Bits(io::state::endOfStream));
}

TEST(AMemoryWriter, AppendsBlocksInOrder) {
  MemoryWriter out;
  const auto first = Bytes({1, 2});
  const auto second = Bytes({3});
  out.writeBlock(first.data(), 2);
  out.writeBlock(nullptr, 0);
  out.writeBlock(second.data(), 1);
  EXPECT_EQ(out.Bytes(), Bytes({1, 2, 3}));
  EXPECT_TRUE(out.good());
}

TEST(AMemoryWriter, GoesOnEmptyWhenItsBytesWereTaken) {
  MemoryWriter out;
  out.writeUInt64(1);
  EXPECT_EQ(out.TakeBytes().size(), 8U);
  EXPECT_TRUE(out.Bytes().empty());
  out.writeUInt64(2);
  EXPECT_EQ(out.Bytes(), Bytes({2, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(AStream, HoldsALongNumberInEightBytesTheLeastSignificantFirst) {
  MemoryWriter out;
  out.writeUInt64(0x0102030405060708);
  EXPECT_EQ(out.Bytes(), Bytes({8, 7, 6, 5, 4, 3, 2, 1}));
  MemoryReader in(out.Bytes());
  EXPECT_EQ(in.readUInt64(), 0x0102030405060708U);
  EXPECT_TRUE(in.good());
  EXPECT_EQ(in.Position(), 8U);
}

TEST(AMemoryReader, ReadsBlocksInOrder) {
  const auto bytes = Bytes({1, 2, 3});
  MemoryReader in(bytes);
  std::array<std::byte, 2> two{};
  std::byte one{};
  EXPECT_TRUE(in.readBlock(two.data(), 2));
  EXPECT_EQ(in.Position(), 2U);
  EXPECT_TRUE(in.readBlock(&one, 1));
  EXPECT_EQ(two[0], std::byte{1});
  EXPECT_EQ(two[1], std::byte{2});
  EXPECT_EQ(one, std::byte{3});
  EXPECT_TRUE(in.good());
}

TEST(AMemoryReader, ThatRunsShortLeavesTheTargetRecordsItAndTakesTheRestAsRead) {
  const auto bytes = Bytes({1, 2, 3});
  MemoryReader in(bytes);
  std::uint32_t target = 0xAAAAAAAA;
  EXPECT_FALSE(in.readBlock(&target, 4));
  EXPECT_EQ(target, 0xAAAAAAAAU);
  EXPECT_EQ(in.State(), Bits(io::state::endOfStream));
  EXPECT_FALSE(in.readBlock(&target, 1));
  EXPECT_EQ(target, 0xAAAAAAAAU);
  EXPECT_EQ(in.Position(), 3U);
}

TEST(AMemoryReader, GivesZeroForALongNumberThatRunsShort) {
  const auto bytes = Bytes({1, 2, 3, 4, 5, 6, 7});
  MemoryReader in(bytes);
  EXPECT_EQ(in.readUInt64(), 0U);
  EXPECT_EQ(in.State(), Bits(io::state::endOfStream));
}

TEST(AMemoryReader, IsNotStoppedByAFaultRecordedEarlier) {
  const auto bytes = Bytes({1, 0, 0, 0, 0, 0, 0, 0});
  MemoryReader in(bytes);
  in.setState(io::state::narrowStream);
  EXPECT_EQ(in.readUInt64(), 1U);
  EXPECT_EQ(in.State(), Bits(io::state::narrowStream));
}

TEST(AMemoryReader, ReadsNothingFromAnEmptyStreamWithoutAFault) {
  MemoryReader in({});
  EXPECT_TRUE(in.readBlock(nullptr, 0));
  EXPECT_TRUE(in.good());
  std::byte target{};
  EXPECT_FALSE(in.readBlock(&target, 1));
}

TEST(AMemoryReader, IsNotMisledByAnEnormousLength) {
  const auto bytes = Bytes({1, 2, 3});
  MemoryReader in(bytes);
  std::byte target[4]{};
  EXPECT_TRUE(in.readBlock(target, 1));
  EXPECT_FALSE(in.readBlock(target, static_cast<std::size_t>(-1)));
  EXPECT_EQ(in.State(), Bits(io::state::endOfStream));
}
