// The reader for bytes that nobody vouches for: it stops at the first fault and says where.

#include "host/storage/StrictReader.h"

#include <array>
#include <cstdint>

#include <gtest/gtest.h>
#include <qProdData/UniqueMetaObjectKey.h>

namespace {

using host::StrictReader;
using host::StrictReadFailed;

constexpr std::array<std::byte, 6> c_bytes{std::byte{1}, std::byte{2}, std::byte{3},
                                           std::byte{4}, std::byte{5}, std::byte{6}};

template <class Call>
host::SectionFault FaultOf(Call call) {
  try {
    call();
  } catch (const StrictReadFailed& failed) {
    return failed.fault;
  }
  ADD_FAILURE() << "nothing was thrown";
  return {};
}

TEST(StrictReader, ReadsWhatIsThere) {
  StrictReader in(c_bytes, {});
  std::array<std::uint8_t, 4> target{};
  EXPECT_TRUE(in.readBlock(target.data(), 4));
  EXPECT_EQ(target, (std::array<std::uint8_t, 4>{1, 2, 3, 4}));
  EXPECT_EQ(in.Position(), 4u);
  EXPECT_TRUE(in.readBlock(target.data(), 2));
  EXPECT_EQ(in.Position(), 6u);
  EXPECT_TRUE(in.good());
}

TEST(StrictReader, HasTheVersionsThatItIsGiven) {
  const StrictReader in(c_bytes, {0x12000010, 0x0EFFFFFF});
  EXPECT_EQ(in.AppVersion(tape::c_mainVersion), 0x12000010u);
  EXPECT_EQ(in.MathVersion(), 0x0EFFFFFFu);
}

TEST(StrictReader, ThrowsAtTheFirstShortReadWithTheOffset) {
  StrictReader in(c_bytes, {});
  std::array<std::uint8_t, 8> target{};
  in.readBlock(target.data(), 3);
  const host::SectionFault fault = FaultOf([&] { in.readBlock(target.data(), 4); });
  EXPECT_EQ(fault.offset, 3u);
  EXPECT_EQ(fault.text, "4 bytes expected, 3 remain");
}

TEST(StrictReader, LeavesTheTargetAsItWasAtAShortRead) {
  StrictReader in(c_bytes, {});
  std::array<std::uint8_t, 8> target{9, 9, 9, 9, 9, 9, 9, 9};
  FaultOf([&] { in.readBlock(target.data(), 7); });
  EXPECT_EQ(target, (std::array<std::uint8_t, 8>{9, 9, 9, 9, 9, 9, 9, 9}));
  EXPECT_EQ(in.Position(), 0u);
}

TEST(StrictReader, ThrowsForALengthThatWouldWrapAround) {
  StrictReader in(c_bytes, {});
  std::uint8_t target = 0;
  in.readBlock(&target, 1);
  EXPECT_EQ(FaultOf([&] { in.readBlock(&target, SIZE_MAX); }).offset, 1u);
}

TEST(StrictReader, ReadsNothingAtTheEndWithoutAFault) {
  StrictReader in(c_bytes, {});
  std::array<std::uint8_t, 6> target{};
  in.readBlock(target.data(), 6);
  EXPECT_TRUE(in.readBlock(nullptr, 0));
  EXPECT_EQ(FaultOf([&] { in.readBlock(target.data(), 1); }).offset, 6u);
}

TEST(StrictReader, ReadsAnEmptySpan) {
  StrictReader in({}, {});
  EXPECT_TRUE(in.readBlock(nullptr, 0));
  std::uint8_t target = 0;
  EXPECT_EQ(FaultOf([&] { in.readBlock(&target, 1); }).text, "1 bytes expected, 0 remain");
}

TEST(StrictReader, ThrowsAtANumberThatIsCutOff) {
  StrictReader in(c_bytes, {});
  EXPECT_EQ(FaultOf([&] { in.readUInt64(); }).offset, 0u);
}

TEST(StrictReader, ThrowsAtAnyStateWithTheOffset) {
  for (const io::state state : {io::state::endOfStream, io::state::deviceFailed, io::state::noMemory,
                                io::state::narrowStream, io::state::countOverflow}) {
    StrictReader in(c_bytes, {});
    std::uint8_t target = 0;
    in.readBlock(&target, 1);
    const host::SectionFault fault = FaultOf([&] { in.setState(state); });
    EXPECT_EQ(fault.offset, 1u);
    EXPECT_NE(fault.text.find("stream fault 0x"), std::string::npos);
  }
}

TEST(StrictReader, StopsInsideAKeyThatIsCutOff) {
  constexpr std::array<std::byte, 6> c_cutKey{std::byte{3}, std::byte{0},   std::byte{0},
                                              std::byte{0}, std::byte{'a'}, std::byte{'b'}};
  StrictReader in(c_cutKey, {});
  UniqueMetaObjectKey key("before");
  EXPECT_EQ(FaultOf([&] { in >> key; }).offset, 4u);
  EXPECT_EQ(key.Bytes(), "before");
}

}  // namespace
