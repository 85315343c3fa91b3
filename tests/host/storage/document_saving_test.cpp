// Saving replaces a document in one step or leaves it byte for byte as it was, with nothing beside it.

#include <csignal>
#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "host/HostError.h"
#include "host/storage/DocumentFile.h"
#include "host/storage/Sqlite.h"
#include "tests/host/ProgressRecord.h"
#include "tests/host/storage/ChildProcess.h"
#include "tests/host/storage/Folder.h"
#include "tests/host/storage/SampleDocument.h"
#include "tests/host/storage/SqliteFile.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// The error that a call ends with; empty where it does not.
std::string ErrorOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const host::HostError& error) {
    return error.what();
  }
  return {};
}

class DocumentSaving : public testing::Test {
 protected:
  std::string SavingError(const host::Document& document = SampleDocument()) const {
    return ErrorOf([&] { host::SaveDocument(document, file); });
  }
  std::string LoadingError() const {
    return ErrorOf([&] { host::LoadDocument(file); });
  }

  Folder folder;
  std::filesystem::path file = folder / "a.qdoc";
};

TEST_F(DocumentSaving, MakesTheDocumentAndNothingElse) {
  host::SaveDocument(SampleDocument(), file);
  EXPECT_THAT(folder.Names(), ElementsAre("a.qdoc"));
}

TEST_F(DocumentSaving, ReplacesADocument) {
  host::SaveDocument(SampleDocument(), file);
  host::SaveDocument(host::Document(), file);
  ExpectSame(host::Document(), *host::LoadDocument(file));
  EXPECT_THAT(folder.Names(), ElementsAre("a.qdoc"));
}

TEST_F(DocumentSaving, GivesTheFileItsMarks) {
  host::SaveDocument(host::Document(), file);
  const std::string bytes = BytesOfFile(file);
  // Of the header of an SQLite file: the user version at 60, the application id at 68, most significant byte first.
  EXPECT_EQ(bytes.substr(60, 4), std::string("\0\0\0\1", 4));
  EXPECT_EQ(bytes.substr(68, 4), "QPD3");
}

// ---- progress

TEST_F(DocumentSaving, ReportsItsProgressAndNothingOnceItIsToldThatAllIsWritten) {
  ProgressRecord record;
  std::size_t reportsBefore = 0;
  const SampleDocument sample;
  host::SaveDocument(
      sample, file, [&] { reportsBefore = record.reports; }, record.Callback());
  EXPECT_THAT(record.stages, ElementsAre("saving"));
  EXPECT_THAT(record.ends, ElementsAre(1));
  // The begin, then each object, member, component and body: it is a small document.
  EXPECT_EQ(record.reports, 1 + sample.productData.All().size() + 4 + sample.components.size() + sample.BodyCount());
  EXPECT_EQ(record.reports, reportsBefore);
  ExpectSame(sample, *host::LoadDocument(file));
}

TEST_F(DocumentSaving, InItsPlaceReportsTheProgressOfOpeningAndSaving) {
  host::SaveDocument(SampleDocument(), file);
  ProgressRecord record;
  std::size_t reportsBefore = 0;
  host::DocumentEdit edit(file, record.Callback());
  edit.Save([&] { reportsBefore = record.reports; }, record.Callback());
  EXPECT_THAT(record.stages, ElementsAre("opening", "saving"));
  EXPECT_EQ(record.ends.back(), 1);
  EXPECT_EQ(record.reports, reportsBefore);
}

TEST_F(DocumentSaving, ElsewhereReportsTheProgressOfOpeningAndSaving) {
  host::SaveDocument(SampleDocument(), file);
  ProgressRecord record;
  host::DocumentEdit edit(file, folder / "b.qdoc", record.Callback());
  edit.Save([] {}, record.Callback());
  EXPECT_THAT(record.stages, ElementsAre("opening", "saving"));
}

TEST_F(DocumentSaving, LeavesEverythingAsItWasWhereItsProgressThrows) {
  host::SaveDocument(SampleDocument(), file);
  const std::string before = BytesOfFile(file);
  const auto fail = [](std::string_view, double fraction) {
    if (fraction > 0.5) {
      throw host::HostError("enough");
    }
  };
  EXPECT_EQ(ErrorOf([&] {
              host::SaveDocument(
                  SampleDocument(), file, [] {}, fail);
            }),
            "enough");
  EXPECT_EQ(BytesOfFile(file), before);
  EXPECT_THAT(folder.Names(), ElementsAre("a.qdoc"));
}

TEST_F(DocumentSaving, IsFollowedByAnOpeningThatReportsTheLinksAsWell) {
  host::Document document;
  for (std::uint32_t i = 0; i < 2'000; ++i) {
    document.links->AddLink(KeyOf("line"), {1, ComponentPath{i}, {}, MbName("body-1")}, LinkSet::Validated);
  }
  host::SaveDocument(document, file);
  ProgressRecord record;
  ExpectSame(document, *host::LoadDocument(file, record.Callback()));
  EXPECT_THAT(record.stages, ElementsAre("opening"));
  // Next to nothing else is in the file.
  EXPECT_GT(record.ends.back(), 0.5);
  EXPECT_THAT(record.reports, testing::AllOf(testing::Ge(20u), testing::Le(220u)));
}

// ---- what is not overwritten

TEST_F(DocumentSaving, LeavesAFileThatIsNoDocument) {
  for (const std::string bytes : {"", "my notes", "SQLite format 3"}) {
    WriteFile(file, bytes);
    EXPECT_THAT(SavingError(), HasSubstr("exists and is not a qlinks document"));
    EXPECT_EQ(BytesOfFile(file), bytes);
    EXPECT_THAT(folder.Names(), ElementsAre("a.qdoc"));
  }
}

TEST_F(DocumentSaving, LeavesADatabaseOfAnotherProgram) {
  SqliteFile(file).Run("CREATE TABLE addresses (name)");
  const std::string before = BytesOfFile(file);
  EXPECT_THAT(SavingError(), HasSubstr("a database of another program; choose another name with -o"));
  EXPECT_EQ(BytesOfFile(file), before);
  EXPECT_THAT(folder.Names(), ElementsAre("a.qdoc"));
}

TEST_F(DocumentSaving, LeavesAFolderAndAPipe) {
  std::filesystem::create_directory(file);
  EXPECT_THAT(SavingError(), HasSubstr("is a folder"));
  std::filesystem::remove(file);
  ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
  EXPECT_THAT(SavingError(), HasSubstr("exists and is not a qlinks document"));
  EXPECT_TRUE(std::filesystem::is_fifo(file));
  EXPECT_THAT(folder.Names(), ElementsAre("a.qdoc"));
}

TEST_F(DocumentSaving, IsRefusedBeforeTheWorkWhereItWouldBeAfterIt) {
  WriteFile(folder / "text", "no document");
  for (const std::filesystem::path& place : {folder / "text", folder / "none" / "a.qdoc", folder.Path()}) {
    const std::string early = ErrorOf([&] { host::RequireOutputPlace(place); });
    EXPECT_NE(early, "");
    EXPECT_EQ(early, ErrorOf([&] { host::SaveDocument(SampleDocument(), place); }));
  }
  EXPECT_EQ(ErrorOf([&] { host::RequireOutputPlace(file); }), "");
  EXPECT_THAT(folder.Names(), ElementsAre("text"));
}

TEST_F(DocumentSaving, NeedsAFolderThatIsThere) {
  file = folder / "no" / "a.qdoc";
  EXPECT_THAT(SavingError(), HasSubstr("no such folder"));
}

TEST_F(DocumentSaving, WhoseReportFailsLeavesEverythingAsItWas) {
  const auto fail = [] { throw host::HostError("standard output: cannot be written"); };
  EXPECT_EQ(ErrorOf([&] { host::SaveDocument(SampleDocument(), file, fail); }), "standard output: cannot be written");
  EXPECT_THAT(folder.Names(), testing::IsEmpty());
  host::SaveDocument(host::Document(), file);
  const std::string before = BytesOfFile(file);
  EXPECT_NE(ErrorOf([&] { host::SaveDocument(SampleDocument(), file, fail); }), "");
  EXPECT_EQ(BytesOfFile(file), before);
  EXPECT_THAT(folder.Names(), ElementsAre("a.qdoc"));
}

TEST_F(DocumentSaving, UnderVersionsThatCannotCarryLinksLeavesTheOldDocument) {
  host::SaveDocument(SampleDocument(), file);
  const std::string before = BytesOfFile(file);
  SampleDocument narrow;
  narrow.linksVersions.mathVersion = 0x03FFFFFF;
  EXPECT_THAT(SavingError(narrow), HasSubstr("cannot be written under"));
  EXPECT_EQ(BytesOfFile(file), before);
  EXPECT_THAT(folder.Names(), ElementsAre("a.qdoc"));
}

// ---- rights

TEST_F(DocumentSaving, LeavesAReadOnlyDocumentWhichCanStillBeRead) {
  host::SaveDocument(SampleDocument(), file);
  ::chmod(file.c_str(), 0444);
  const std::string before = BytesOfFile(file);
  const ChildEnd end = InChild([&] {
    BecomeAnybody();
    if (!LoadingError().empty()) {
      return 1;
    }
    const std::string error = SavingError();
    return error.starts_with(file.string()) && error.find("read-only") != std::string::npos ? 0 : 2;
  });
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(BytesOfFile(file), before);
  EXPECT_THAT(folder.Names(), ElementsAre("a.qdoc"));
}

TEST_F(DocumentSaving, LeavesADocumentInAReadOnlyFolderWhichCanStillBeRead) {
  host::SaveDocument(SampleDocument(), file);
  ::chmod(file.c_str(), 0666);
  ::chmod(folder.Path().c_str(), 0555);
  const std::string before = BytesOfFile(file);
  const ChildEnd end = InChild([&] {
    BecomeAnybody();
    if (!LoadingError().empty()) {
      return 1;
    }
    return SavingError().find("Permission denied") != std::string::npos ? 0 : 2;
  });
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(BytesOfFile(file), before);
}

// ---- other programs

TEST_F(DocumentSaving, LeavesADocumentThatAnotherProgramWritesAndSoDoesLoading) {
  host::SaveDocument(SampleDocument(), file);
  const std::string before = BytesOfFile(file);
  SqliteFile other(file);
  other.Run("BEGIN EXCLUSIVE");
  EXPECT_THAT(LoadingError(), HasSubstr("locked by another program"));
  EXPECT_THAT(SavingError(), HasSubstr("locked by another program"));
  EXPECT_EQ(BytesOfFile(file), before);
  EXPECT_THAT(folder.Names(), ElementsAre("a.qdoc"));
}

TEST_F(DocumentSaving, LeavesADocumentThatAnotherProgramIsAboutToWriteWhichCanStillBeRead) {
  host::SaveDocument(SampleDocument(), file);
  const std::string before = BytesOfFile(file);
  SqliteFile other(file);
  other.Run("BEGIN IMMEDIATE");
  ExpectSame(SampleDocument(), *host::LoadDocument(file));
  EXPECT_THAT(SavingError(), HasSubstr("locked by another program"));
  EXPECT_EQ(BytesOfFile(file), before);
}

TEST_F(DocumentSaving, GoesOnWhileAnotherProgramOnlyReads) {
  host::SaveDocument(SampleDocument(), file);
  SqliteFile other(file);
  other.Run("BEGIN; SELECT * FROM setting");
  ExpectSame(SampleDocument(), *host::LoadDocument(file));
  host::SaveDocument(host::Document(), file);
  ExpectSame(host::Document(), *host::LoadDocument(file));
}

TEST_F(DocumentSaving, WaitsForAnotherProgramThatSoonFinishesAndSoDoesLoading) {
  host::SaveDocument(SampleDocument(), file);
  const std::filesystem::path locked = folder / "locked";
  // Locks belong to a process, hence another one.
  const pid_t child = ::fork();
  if (child == 0) {
    SqliteFile other(file);
    other.Run("BEGIN EXCLUSIVE");
    WriteFile(locked, "");
    ::usleep(300'000);
    other.Run("COMMIT");
    ::_exit(0);
  }
  while (!std::filesystem::exists(locked)) {
    ::usleep(1'000);
  }
  EXPECT_EQ(LoadingError(), "");
  EXPECT_EQ(SavingError(), "");
  ::waitpid(child, nullptr, 0);
}

TEST_F(DocumentSaving, OverADocumentThatWasPutThereAfterTheOpeningIsRefused) {
  host::SaveDocument(SampleDocument(), file);
  host::Database opened(file, SQLITE_OPEN_READWRITE);
  opened.Execute("BEGIN; SELECT * FROM setting; COMMIT");
  host::SaveDocument(host::Document(), file);
  EXPECT_EQ(ErrorOf([&] { opened.BeginWriting(); }),
            file.string() + ": replaced by another program meanwhile; try again");
}

// ---- changing in its place and saving elsewhere

TEST_F(DocumentSaving, OfAnEditLocksTheDocumentWhereItIsTheOutput) {
  host::SaveDocument(SampleDocument(), file);
  std::filesystem::create_symlink(file, folder / "link.qdoc");
  for (const auto& output : {file, folder / "." / "a.qdoc", folder / "link.qdoc"}) {
    const host::DocumentEdit edit(file, output);
    EXPECT_THAT(SavingError(), HasSubstr("locked by another program")) << output;
  }
  EXPECT_EQ(SavingError(), "") << "an edit that ends gives the lock up";
}

TEST_F(DocumentSaving, OfAnEditToAnotherPlaceLeavesTheDocumentFreeAndAsItWas) {
  host::SaveDocument(SampleDocument(), file);
  host::DocumentEdit edit(file, folder / "out.qdoc");
  EXPECT_EQ(SavingError(), "");
  const std::string before = BytesOfFile(file);
  edit.Get().otherStreams["drawing"].bytes.assign(9, std::byte{7});
  edit.Save();
  EXPECT_EQ(host::LoadDocument(folder / "out.qdoc")->otherStreams.at("drawing").bytes.size(), 9u);
  EXPECT_EQ(BytesOfFile(file), before);
}

TEST_F(DocumentSaving, InItsPlaceMeetsAReaderBeforeItReports) {
  host::SaveDocument(SampleDocument(), file);
  host::DocumentEdit edit(file);
  host::Database reader(file, SQLITE_OPEN_READWRITE);
  auto rows = reader.Prepare("SELECT * FROM setting");
  ASSERT_TRUE(rows.Step());
  bool hasReported = false;
  EXPECT_THAT(ErrorOf([&] { edit.Save([&] { hasReported = true; }); }), HasSubstr("locked by another program"));
  EXPECT_FALSE(hasReported);
}

// ---- an interrupted save of another program

class InterruptedSave : public DocumentSaving {
 protected:
  // Leaves a half-written document with the journal that undoes it.
  void SetUp() override {
    SampleDocument large;
    large.otherStreams["large"] = {{}, std::vector<std::byte>(300'000, std::byte{1})};
    host::SaveDocument(large, file);
    const std::string before = BytesOfFile(file);
    const ChildEnd end = InChild([&] {
      SqliteFile other(file);
      other.Run(
          "PRAGMA cache_size = 1; BEGIN IMMEDIATE; DELETE FROM meta_object; DELETE FROM component; "
          "UPDATE stream SET bytes = zeroblob(300000) WHERE name = 'large'; DELETE FROM body");
      ::_exit(0);
      return 0;
    });
    ASSERT_EQ(end.status, 0);
    ASSERT_THAT(folder.Names(), ElementsAre("a.qdoc", "a.qdoc-journal"));
    ASSERT_NE(BytesOfFile(file), before);
  }
};

TEST_F(InterruptedSave, IsUndoneBeforeLoading) {
  const auto loaded = host::LoadDocument(file);
  EXPECT_EQ(loaded->productData.All().size(), SampleDocument().productData.All().size());
  EXPECT_EQ(loaded->components.size(), SampleDocument().components.size());
  EXPECT_EQ(loaded->otherStreams.at("large").bytes.back(), std::byte{1});
  EXPECT_THAT(folder.Names(), ElementsAre("a.qdoc"));
}

TEST_F(InterruptedSave, CannotMeetTheDocumentThatIsSavedOverIt) {
  host::SaveDocument(host::Document(), file);
  EXPECT_THAT(folder.Names(), ElementsAre("a.qdoc"));
  ExpectSame(host::Document(), *host::LoadDocument(file));
}

TEST_F(InterruptedSave, IsReportedWhereItCannotBeUndone) {
  ::chmod(file.c_str(), 0444);
  ::chmod(folder.Path().c_str(), 0555);
  const ChildEnd end = InChild([&] {
    BecomeAnybody();
    const std::string error = LoadingError();
    return error.find("interrupted save") != std::string::npos ? 0 : 1;
  });
  EXPECT_EQ(end.status, 0);
}

// ---- a full disk

TEST_F(DocumentSaving, ThatMeetsTheLimitOfAFileLeavesNothingBehind) {
  host::SaveDocument(host::Document(), file);
  const std::string before = BytesOfFile(file);
  host::SaveDocument(SampleDocument(), folder / "size");
  const std::uintmax_t size = std::filesystem::file_size(folder / "size");
  std::filesystem::remove(folder / "size");
  for (const std::uintmax_t limit :
       {std::uintmax_t{0}, std::uintmax_t{100}, std::uintmax_t{4096}, std::uintmax_t{40000}, size / 2, size - 1}) {
    for (const char* name : {"a.qdoc", "new.qdoc"}) {
      const ChildEnd end = InChild([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit most{limit, limit};
        ::setrlimit(RLIMIT_FSIZE, &most);
        const std::string error = ErrorOf([&] { host::SaveDocument(SampleDocument(), folder / name); });
        return error.find("disk") != std::string::npos ? 0 : 1;
      });
      EXPECT_EQ(end.status, 0) << limit;
      EXPECT_EQ(BytesOfFile(file), before) << limit;
      EXPECT_THAT(folder.Names(), ElementsAre("a.qdoc")) << limit;
    }
  }
}

TEST_F(DocumentSaving, OnAFullDiskLeavesTheOldDocument) {
  // In a file system of its own, which only root may set up.
  const ChildEnd end = InChild([&] {
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("none", folder.Path().c_str(), "tmpfs", 0, "size=128k") != 0) {
      return 77;
    }
    host::SaveDocument(host::Document(), file);
    const std::string before = BytesOfFile(file);
    host::Document large;
    large.otherStreams["large"] = {{}, std::vector<std::byte>(300'000)};
    const std::string error = SavingError(large);
    if (error.find("the disk is full; make room and try again") == std::string::npos) {
      std::fprintf(stderr, "%s\n", error.c_str());
      return 1;
    }
    return BytesOfFile(file) == before && folder.Names().size() == 1 ? 0 : 2;
  });
  if (end.status == 77) {
    GTEST_SKIP() << "no right to mount";
  }
  EXPECT_EQ(end.status, 0);
}

}  // namespace
