// An output file appears whole or not at all.

#include "host/storage/OutputFile.h"

#include <csignal>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/HostError.h"
#include "tests/host/storage/ChildProcess.h"
#include "tests/host/storage/Folder.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

using host::OutputFile;

template <class Call>
std::string ErrorOf(Call call) {
  try {
    call();
  } catch (const host::HostError& error) {
    return error.what();
  }
  return {};
}

class OutputFileTest : public testing::Test {
 protected:
  Folder folder;
};

TEST_F(OutputFileTest, IsAnEmptyFileBesideItsPlaceAtFirst) {
  const OutputFile output(folder / "out");
  EXPECT_EQ(output.TemporaryPath().parent_path(), folder.Path());
  EXPECT_TRUE(std::filesystem::is_empty(output.TemporaryPath()));
  EXPECT_FALSE(std::filesystem::exists(folder / "out"));
  EXPECT_EQ(folder.Names().size(), 1u);
}

TEST_F(OutputFileTest, TakesItsPlaceWhenItIsCommitted) {
  OutputFile output(folder / "out");
  WriteFile(output.TemporaryPath(), "content");
  output.Commit();
  EXPECT_EQ(BytesOfFile(folder / "out"), "content");
  EXPECT_THAT(folder.Names(), ElementsAre("out"));
}

TEST_F(OutputFileTest, ReplacesWhatStoodThere) {
  WriteFile(folder / "out", "before, and longer");
  {
    OutputFile output(folder / "out");
    WriteFile(output.TemporaryPath(), "after");
    EXPECT_EQ(BytesOfFile(folder / "out"), "before, and longer");
    output.Commit();
  }
  EXPECT_EQ(BytesOfFile(folder / "out"), "after");
  EXPECT_THAT(folder.Names(), ElementsAre("out"));
}

TEST_F(OutputFileTest, FollowsSymbolicLinks) {
  WriteFile(folder / "file", "before");
  std::filesystem::create_symlink("file", folder / "inner");
  std::filesystem::create_symlink(folder / "inner", folder / "outer");
  OutputFile output(folder / "outer");
  WriteFile(output.TemporaryPath(), "after");
  output.Commit();
  EXPECT_EQ(BytesOfFile(folder / "file"), "after");
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "outer"));
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "inner"));
}

TEST_F(OutputFileTest, FollowsASymbolicLinkToAFileThatIsNotThereYet) {
  std::filesystem::create_symlink("file", folder / "link");
  OutputFile output(folder / "link");
  WriteFile(output.TemporaryPath(), "content");
  output.Commit();
  EXPECT_EQ(BytesOfFile(folder / "file"), "content");
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
}

TEST_F(OutputFileTest, TakesNamesAsLongAsTheFileSystemDoes) {
  const std::string name(255, 'n');
  OutputFile output(folder / name);
  output.Commit();
  EXPECT_THAT(folder.Names(), ElementsAre(name));
}

TEST_F(OutputFileTest, LeavesNothingWhenItIsNotCommitted) {
  {
    const OutputFile output(folder / "new");
    WriteFile(output.TemporaryPath(), "half");
  }
  EXPECT_THAT(folder.Names(), IsEmpty());
}

TEST_F(OutputFileTest, LeavesWhatStoodThereWhenItIsNotCommitted) {
  WriteFile(folder / "out", "before");
  {
    const OutputFile output(folder / "out");
    WriteFile(output.TemporaryPath(), "half");
  }
  EXPECT_EQ(BytesOfFile(folder / "out"), "before");
  EXPECT_THAT(folder.Names(), ElementsAre("out"));
}

TEST_F(OutputFileTest, HasTheRightsOfAnyNewFile) {
  const auto rightsUnder = [&](mode_t mask) {
    const mode_t before = ::umask(mask);
    OutputFile output(folder / "out");
    output.Commit();
    const mode_t after = ::umask(before);
    EXPECT_EQ(after, mask) << "the mask was not put back";
    struct stat status = {};
    ::stat((folder / "out").c_str(), &status);
    return status.st_mode & 0777;
  };
  EXPECT_EQ(rightsUnder(022), 0644u);
  EXPECT_EQ(rightsUnder(077), 0600u);
}

TEST_F(OutputFileTest, TakesANameWithoutAFolder) {
  const ChildEnd end = InChild([&] {
    std::filesystem::current_path(folder.Path());
    OutputFile output("here");
    output.Commit();
    return 0;
  });
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(folder.Names(), ElementsAre("here"));
}

TEST_F(OutputFileTest, RefusesAFolder) {
  EXPECT_EQ(ErrorOf([&] { OutputFile output(folder.Path()); }), folder.Path().string() + ": is a folder; name a file");
  EXPECT_THAT(folder.Names(), IsEmpty());
}

TEST_F(OutputFileTest, RefusesAFolderThatIsNotThere) {
  EXPECT_THAT(ErrorOf([&] { OutputFile output(folder / "no" / "out"); }), HasSubstr("no such folder"));
  WriteFile(folder / "file", "");
  EXPECT_THAT(ErrorOf([&] { OutputFile output(folder / "file" / "out"); }), HasSubstr("no such folder"));
  EXPECT_THAT(folder.Names(), ElementsAre("file"));
}

TEST_F(OutputFileTest, RefusesAFolderThatTakesNoFiles) {
  ::chmod(folder.Path().c_str(), 0555);
  const ChildEnd end = InChild([&] {
    BecomeAnybody();
    const std::string error = ErrorOf([&] { OutputFile output(folder / "out"); });
    return error.find("cannot be written (Permission denied)") != std::string::npos ? 0 : 1;
  });
  EXPECT_EQ(end.status, 0);
}

TEST_F(OutputFileTest, FailsToCommitWhereAFolderTookThePlaceAndLeavesNothing) {
  {
    OutputFile output(folder / "out");
    std::filesystem::create_directory(folder / "out");
    EXPECT_THAT(ErrorOf([&] { output.Commit(); }), HasSubstr("cannot be written"));
  }
  EXPECT_THAT(folder.Names(), ElementsAre("out"));
}

// ---- signals

class EndingSignal : public testing::TestWithParam<int> {
 protected:
  Folder folder;
};

TEST_P(EndingSignal, RemovesTheUnfinishedFileAndEndsTheProcess) {
  WriteFile(folder / "out", "before");
  const ChildEnd end = InChild([&] {
    std::signal(GetParam(), SIG_DFL);
    const OutputFile output(folder / "out");
    WriteFile(output.TemporaryPath(), "half");
    std::raise(GetParam());
    return 0;
  });
  EXPECT_EQ(end.signal, GetParam());
  EXPECT_EQ(BytesOfFile(folder / "out"), "before");
  EXPECT_THAT(folder.Names(), ElementsAre("out"));
}

TEST_P(EndingSignal, LeavesAFinishedFile) {
  const ChildEnd end = InChild([&] {
    std::signal(GetParam(), SIG_DFL);
    OutputFile output(folder / "out");
    WriteFile(output.TemporaryPath(), "whole");
    output.Commit();
    std::raise(GetParam());
    return 0;
  });
  EXPECT_EQ(end.signal, GetParam());
  EXPECT_EQ(BytesOfFile(folder / "out"), "whole");
}

TEST_P(EndingSignal, AfterAnAbandonedFileEndsTheProcess) {
  const ChildEnd end = InChild([&] {
    std::signal(GetParam(), SIG_DFL);
    { const OutputFile output(folder / "out"); }
    std::raise(GetParam());
    return 0;
  });
  EXPECT_EQ(end.signal, GetParam());
  EXPECT_THAT(folder.Names(), IsEmpty());
}

TEST_P(EndingSignal, ThatWasIgnoredBeforeStaysIgnored) {
  // nohup starts its program so.
  const ChildEnd end = InChild([&] {
    std::signal(GetParam(), SIG_IGN);
    OutputFile output(folder / "out");
    std::raise(GetParam());
    output.Commit();
    return 0;
  });
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(folder.Names(), ElementsAre("out"));
}

INSTANTIATE_TEST_SUITE_P(Caught, EndingSignal, testing::Values(SIGINT, SIGTERM, SIGHUP));

}  // namespace
