#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qSys/FileStreams.h>

#include "tests/support/ScratchFolder.h"

namespace {

constexpr auto c_deviceFailed = static_cast<std::uint32_t>(io::state::deviceFailed);
constexpr auto c_endOfStream = static_cast<std::uint32_t>(io::state::endOfStream);

// A device that takes nothing, as a disk that is full.
const std::filesystem::path c_fullDevice = "/dev/full";

std::string Contents(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::filesystem::path FileWith(const ScratchFolder& folder, const std::string& bytes) {
  std::ofstream(folder / "file", std::ios::binary) << bytes;
  return folder / "file";
}

}  // namespace

TEST(AFileWriter, WritesItsBlocksAndClosesTheFile) {
  const ScratchFolder folder;
  FileWriter out(folder / "file");
  out.writeBlock("ab\0", 3);
  out.writeBlock("", 0);
  out.writeUInt64(0x41);
  out.Close();
  EXPECT_TRUE(out.good());
  EXPECT_EQ(Contents(folder / "file"), std::string("ab\0A\0\0\0\0\0\0\0", 11));
}

TEST(AFileWriter, ClosesTheFileWhenItIsDestroyed) {
  const ScratchFolder folder;
  FileWriter(folder / "file").writeBlock("abc", 3);
  EXPECT_EQ(Contents(folder / "file"), "abc");
}

TEST(AFileWriter, ReplacesAnExistingFile) {
  const ScratchFolder folder;
  const auto path = FileWith(folder, "something longer than what follows");
  FileWriter(path).writeBlock("new", 3);
  EXPECT_EQ(Contents(path), "new");
}

TEST(AFileWriter, ThatCannotOpenItsFileRecordsItAndTakesBlocksWithoutThrowing) {
  const ScratchFolder folder;
  for (const auto& path : {folder / "missing folder/file", folder / "."}) {
    FileWriter out(path);
    EXPECT_EQ(out.State(), c_deviceFailed);
    EXPECT_NO_THROW(out.writeBlock("abc", 3));
    EXPECT_NO_THROW(out.Close());
    EXPECT_EQ(out.State(), c_deviceFailed);
  }
}

TEST(AFileWriter, RecordsAtCloseThatBufferedBytesDidNotArrive) {
  FileWriter out(c_fullDevice);
  out.writeBlock("abc", 3);
  EXPECT_TRUE(out.good()) << "three bytes wait in the buffer";
  out.Close();
  EXPECT_EQ(out.State(), c_deviceFailed);
}

TEST(AFileWriter, RecordsAtOnceThatMoreThanItBuffersDidNotArrive) {
  FileWriter out(c_fullDevice);
  const std::vector<char> block(1 << 20);
  out.writeBlock(block.data(), block.size());
  EXPECT_EQ(out.State(), c_deviceFailed);
}

TEST(AFileWriter, RecordsWritingAfterCloseButNotClosingTwice) {
  const ScratchFolder folder;
  FileWriter out(folder / "file");
  out.Close();
  out.Close();
  EXPECT_TRUE(out.good());
  out.writeBlock("", 0);
  EXPECT_TRUE(out.good()) << "nothing was to be written";
  out.writeBlock("abc", 3);
  EXPECT_EQ(out.State(), c_deviceFailed);
}

TEST(AFileReader, ReadsBlocksInOrder) {
  const ScratchFolder folder;
  FileReader in(FileWith(folder, std::string("ab\0c", 4)));
  char block[3]{};
  EXPECT_TRUE(in.readBlock(block, 1));
  EXPECT_EQ(block[0], 'a');
  EXPECT_TRUE(in.readBlock(block, 0));
  EXPECT_TRUE(in.readBlock(block, 3));
  EXPECT_EQ(std::string(block, 3), std::string("b\0c", 3));
  EXPECT_TRUE(in.good());
}

TEST(AFileReader, ReadsWhatAFileWriterWroteUnderTheVersionsItIsGiven) {
  const ScratchFolder folder;
  const StreamVersions versions{0x12000010, 0x0E000000};
  FileWriter out(folder / "file", versions);
  out.writeUInt64(0x0102030405060708);
  out.Close();
  FileReader in(folder / "file", versions);
  EXPECT_EQ(in.readUInt64(), 0x0102030405060708U);
  EXPECT_EQ(in.AppVersion(tape::c_mainVersion), versions.appVersion);
  EXPECT_EQ(out.MathVersion(), in.MathVersion());
}

TEST(AFileReader, ThatRunsShortLeavesTheTargetRecordsItAndTakesTheRestAsRead) {
  const ScratchFolder folder;
  FileReader in(FileWith(folder, "abc"));
  std::uint32_t target = 0xAAAAAAAA;
  EXPECT_FALSE(in.readBlock(&target, 4));
  EXPECT_EQ(target, 0xAAAAAAAAU);
  EXPECT_EQ(in.State(), c_endOfStream);
  EXPECT_FALSE(in.readBlock(&target, 1));
  EXPECT_EQ(target, 0xAAAAAAAAU);
  EXPECT_EQ(in.State(), c_endOfStream);
}

TEST(AFileReader, LeavesTheTargetOfABlockUpToTheStagedLengthThatRunsShort) {
  const ScratchFolder folder;
  FileReader in(FileWith(folder, std::string(FileReader::c_stagedLength - 1, 'x')));
  std::vector<char> target(FileReader::c_stagedLength, 'o');
  EXPECT_FALSE(in.readBlock(target.data(), target.size()));
  EXPECT_EQ(target, std::vector<char>(FileReader::c_stagedLength, 'o'));
}

TEST(AFileReader, ReadsBlocksLongerThanTheStagedLength) {
  const ScratchFolder folder;
  const std::string bytes = std::string(10000, 'x') + "end";
  FileReader in(FileWith(folder, bytes));
  std::string target(bytes.size(), '\0');
  EXPECT_TRUE(in.readBlock(target.data(), target.size()));
  EXPECT_EQ(target, bytes);
  EXPECT_TRUE(in.good());
  EXPECT_FALSE(in.readBlock(target.data(), target.size()));
  EXPECT_EQ(in.State(), c_endOfStream);
}

TEST(AFileReader, TakesAnEmptyFileAsAStreamWithoutBytes) {
  const ScratchFolder folder;
  FileReader in(FileWith(folder, ""));
  EXPECT_TRUE(in.good());
  EXPECT_EQ(in.readUInt64(), 0U);
  EXPECT_EQ(in.State(), c_endOfStream);
}

TEST(AFileReader, OfAMissingFileRecordsItAndRunsShort) {
  const ScratchFolder folder;
  FileReader in(folder / "missing");
  EXPECT_EQ(in.State(), c_deviceFailed);
  std::byte target{0x55};
  EXPECT_FALSE(in.readBlock(&target, 1));
  EXPECT_EQ(target, std::byte{0x55});
  EXPECT_EQ(in.State(), c_deviceFailed | c_endOfStream);
}

TEST(AFileReader, OfAFolderRecordsAFailedDevice) {
  const ScratchFolder folder;
  FileReader in(folder / ".");
  EXPECT_EQ(in.readUInt64(), 0U);
  EXPECT_EQ(in.State(), c_deviceFailed | c_endOfStream);
}
