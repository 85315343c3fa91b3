#include "host/step/ReadStepFile.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/host/step/StepText.h"
#include "tests/host/step/TemporaryFolder.h"

// Everything here goes without Open CASCADE: the file is refused before the helper starts, or the helper is a script.

namespace {

using host::ReadStepFile;
using host::StepAssembly;
using host::StepError;
using host::StepReadOptions;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* c_answer =
    R"(echo '{"t":"product","name":"Part","id":"P1"}' >&3
echo '{"t":"root","product":0}' >&3
)";
constexpr const char* c_done = R"(echo '{"t":"done"}' >&3
)";

/// How many descriptors this process has open.
std::size_t OpenDescriptors() {
  std::size_t count = 0;
  DIR* folder = opendir("/proc/self/fd");
  while (readdir(folder) != nullptr) {
    ++count;
  }
  closedir(folder);
  return count;
}

class ReadStepFileTest : public testing::Test {
 protected:
  /// The text of the error that reading `file` ends in. Checks what holds for every error.
  std::string Refusal(const std::filesystem::path& file, const StepReadOptions& options = {}) {
    const std::size_t descriptors = OpenDescriptors();
    std::string text;
    try {
      ReadStepFile(file, options);
      ADD_FAILURE() << "accepted";
    } catch (const StepError& error) {
      text = error.what();
    }
    EXPECT_EQ(text.find('\n'), std::string::npos) << text;
    EXPECT_EQ(OpenDescriptors(), descriptors) << "a descriptor is left open";
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left behind";
    return text;
  }

  /// The file is in order; the helper does what `commands` say.
  std::string RefusalWithHelper(const std::string& commands, StepReadOptions options = {}) {
    options.helperProgram = folder.WriteScript("helper", commands);
    return Refusal(GoodFile(), options);
  }

  std::filesystem::path GoodFile() const {
    return folder.Write("good.step", "ISO-10303-21;\nDATA;\nENDSEC;\nEND-ISO-10303-21;\n");
  }

  tests::TemporaryFolder folder;
};

// ------ Before the helper starts

TEST_F(ReadStepFileTest, NoSuchFile) {
  const auto file = folder.Path() / "none.step";
  EXPECT_EQ(Refusal(file), file.string() + ": no such file; check the path");
}

TEST_F(ReadStepFileTest, AFileBelowAFile) {
  EXPECT_THAT(Refusal(GoodFile() / "none.step"), HasSubstr("none.step: "));
}

TEST_F(ReadStepFileTest, ADirectory) {
  EXPECT_THAT(Refusal(folder.Path()), HasSubstr(": is a directory; "));
}

TEST_F(ReadStepFileTest, APipeIsRefusedWithoutWaitingForItsWriter) {
  const auto pipe = folder.Path() / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_THAT(Refusal(pipe), HasSubstr(": is not a regular file; "));
}

/// The superuser may read everything, so that it goes without its rights for a while.
class WithoutRights {
 public:
  WithoutRights() : before(geteuid()) {
    if (before == 0) {
      EXPECT_EQ(seteuid(c_nobody), 0);
    }
  }
  WithoutRights(const WithoutRights&) = delete;
  WithoutRights& operator=(const WithoutRights&) = delete;
  ~WithoutRights() { EXPECT_EQ(seteuid(before), 0); }

 private:
  static constexpr uid_t c_nobody = 65'534;

  uid_t before;
};

TEST_F(ReadStepFileTest, AFileThatMayNotBeRead) {
  const auto file = GoodFile();
  std::filesystem::permissions(folder.Path(), std::filesystem::perms(0755));
  std::filesystem::permissions(file, std::filesystem::perms::none);
  const WithoutRights withoutRights;
  EXPECT_THAT(Refusal(file), HasSubstr(": cannot be read: Permission denied"));
}

TEST_F(ReadStepFileTest, AFileInAFolderThatMayNotBeEntered) {
  const auto file = GoodFile();
  std::filesystem::permissions(folder.Path(), std::filesystem::perms::none);
  std::string refusal;
  {
    const WithoutRights withoutRights;
    refusal = Refusal(file);
  }
  std::filesystem::permissions(folder.Path(), std::filesystem::perms::owner_all);
  EXPECT_THAT(refusal, HasSubstr(": cannot be read: Permission denied"));
}

TEST_F(ReadStepFileTest, AnEmptyFile) {
  EXPECT_THAT(Refusal(folder.Write("empty.step", "")), HasSubstr(": empty file; "));
}

TEST_F(ReadStepFileTest, WhatIsNoStepFile) {
  EXPECT_THAT(Refusal(folder.Write("a.step", "solid cube\n")), HasSubstr(": not a STEP file, "));
  EXPECT_THAT(Refusal(folder.Write("b.step", "/* no end ISO-10303-21;")), HasSubstr(": not a STEP file, "));
  EXPECT_THAT(Refusal(folder.Write("c.step", "\n \n")), HasSubstr(": not a STEP file, "));
  EXPECT_THAT(Refusal(folder.Write("d.step", "PK\x03\x04...")), HasSubstr("an archive; unpack it first"));
}

TEST_F(ReadStepFileTest, AFileCutOffInTheMiddleNamesTheLine) {
  EXPECT_THAT(Refusal(folder.Write("a.step", "ISO-10303-21;\nHEADER;\nFILE_DESC")),
              HasSubstr(": STEP file cut off in line 3, END-ISO-10303-21 is missing; get a complete copy"));
  EXPECT_THAT(Refusal(folder.Write("b.step", "ISO-10303-21;\nHEADER;\n")), HasSubstr("cut off in line 2,"));
  EXPECT_THAT(Refusal(folder.Write("c.step", "ISO-10303-21;\nEND-ISO-10303-2")), HasSubstr("cut off in line 2,"));
}

TEST_F(ReadStepFileTest, TheEndIsFoundWhereverThePiecesOfTheFileMeet) {
  StepReadOptions options;
  options.helperProgram = folder.WriteScript("helper", std::string(c_answer) + c_done);
  const std::string end = "END-ISO-10303-21;";
  for (std::size_t before = 65'536 - end.size() - 1; before <= 65'537; ++before) {
    std::string content = "ISO-10303-21;";
    content.append(before - content.size(), ' ');
    EXPECT_NO_THROW(ReadStepFile(folder.Write("a.step", content + end), options)) << before;
  }
}

TEST_F(ReadStepFileTest, AByteOrderMarkBlanksAndCommentsMayComeBeforeTheFirstWord) {
  StepReadOptions options;
  options.helperProgram = folder.WriteScript("helper", std::string(c_answer) + c_done);
  const auto file = folder.Write("a.step", "\xEF\xBB\xBF\n /* made by * hand */\nISO-10303-21;\nEND-ISO-10303-21;");
  EXPECT_NO_THROW(ReadStepFile(file, options));
}

TEST_F(ReadStepFileTest, ANameWithALineBreakStaysOnOneLine) {
  EXPECT_THAT(Refusal(folder.Path() / "a\nb.step"), HasSubstr("a?b.step: no such file"));
}

// ------ The helper in good order

TEST_F(ReadStepFileTest, TheAnswerIsGivenBack) {
  StepReadOptions options;
  options.helperProgram = folder.WriteScript("helper", std::string(c_answer) + c_done);
  const StepAssembly assembly = ReadStepFile(GoodFile(), options);
  ASSERT_EQ(assembly.products.size(), 1u);
  EXPECT_EQ(assembly.products[0].id, "P1");
}

TEST_F(ReadStepFileTest, TheHelperIsToldTheDescriptorTheCodePageAndTheFile) {
  StepReadOptions options;
  options.codePage = "CP1251";
  options.helperProgram =
      folder.WriteScript("helper", "echo '{\"t\":\"product\",\"name\":\"'$1 $2 $3'\",\"id\":\"\"}' >&3\n" +
                                       std::string(c_answer) + c_done);
  const auto file = GoodFile();
  EXPECT_EQ(ReadStepFile(file, options).products[0].name, "3 CP1251 " + file.string());
}

TEST_F(ReadStepFileTest, NothingOfThisProgramIsOpenInTheHelper) {
  // Far above 10, where a shell keeps the script that it reads.
  const int open = fcntl(0, F_DUPFD, 200);
  ASSERT_GE(open, 200);
  StepReadOptions options;
  options.helperProgram = folder.WriteScript(
      "helper", std::string(c_answer) + "[ ! -e /proc/self/fd/" + std::to_string(open) + " ] || exit 9\n" + c_done);
  EXPECT_NO_THROW(ReadStepFile(GoodFile(), options));
  close(open);
}

TEST_F(ReadStepFileTest, StandardOutputOfTheHelperIsNotHeard) {
  StepReadOptions options;
  options.helperProgram = folder.WriteScript("helper", "echo chatter\n" + std::string(c_answer) + c_done);
  testing::internal::CaptureStdout();
  EXPECT_NO_THROW(ReadStepFile(GoodFile(), options));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(ReadStepFileTest, AHelperThatChattersOnStandardErrorIsNotHeldUp) {
  StepReadOptions options;
  options.helperProgram =
      folder.WriteScript("helper", "head -c 1000000 /dev/zero >&2\n" + std::string(c_answer) + c_done);
  EXPECT_NO_THROW(ReadStepFile(GoodFile(), options));
}

TEST_F(ReadStepFileTest, ProgressIsPassedOn) {
  std::vector<std::pair<std::string, double>> heard;
  StepReadOptions options;
  options.progress = [&heard](std::string_view stage, double fraction) { heard.emplace_back(stage, fraction); };
  options.helperProgram =
      folder.WriteScript("helper", "echo '{\"t\":\"progress\",\"stage\":\"reading\",\"part\":0.5}' >&3\n" +
                                       std::string(c_answer) + c_done);
  ReadStepFile(GoodFile(), options);
  EXPECT_THAT(heard, testing::ElementsAre(testing::Pair("reading", 0.5)));
}

TEST_F(ReadStepFileTest, WhatTheProgressFunctionThrowsPassesOnAndTheHelperEnds) {
  StepReadOptions options;
  options.progress = [](std::string_view, double) { throw std::logic_error("enough"); };
  options.helperProgram = folder.WriteScript(
      "helper", "echo '{\"t\":\"progress\",\"stage\":\"reading\",\"part\":0.5}' >&3\nexec sleep 60\n");
  const std::size_t descriptors = OpenDescriptors();
  EXPECT_THROW(ReadStepFile(GoodFile(), options), std::logic_error);
  EXPECT_EQ(OpenDescriptors(), descriptors);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(ReadStepFileTest, AHelperThatDoesNotEndAfterItsLastLineIsEnded) {
  StepReadOptions options;
  options.helperProgram = folder.WriteScript("helper", std::string(c_answer) + c_done + "exec sleep 60\n");
  EXPECT_NO_THROW(ReadStepFile(GoodFile(), options));
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(ReadStepFileTest, SeveralThreadsReadAtTheSameTime) {
  StepReadOptions options;
  options.helperProgram = folder.WriteScript("helper", "sleep 0.1\n" + std::string(c_answer) + c_done);
  const auto file = GoodFile();
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] { EXPECT_NO_THROW(ReadStepFile(file, options)); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

// ------ The helper in trouble

TEST_F(ReadStepFileTest, ItsErrorLineBecomesTheErrorOfTheFile) {
  EXPECT_THAT(RefusalWithHelper("echo '{\"t\":\"error\",\"text\":\"syntax error in line 7; mend it\"}' >&3\nexit 1\n"),
              EndsWith("good.step: syntax error in line 7; mend it"));
}

TEST_F(ReadStepFileTest, AMissingHelperIsNamed) {
  StepReadOptions options;
  options.helperProgram = folder.Path() / "nothing-there";
  EXPECT_THAT(Refusal(GoodFile(), options), AllOf(HasSubstr("nothing-there does not start: No such file or directory"),
                                                  EndsWith("; install it there")));
}

TEST_F(ReadStepFileTest, AHelperThatMayNotBeStartedIsNamed) {
  StepReadOptions options;
  options.helperProgram = folder.Write("plain", "");
  EXPECT_THAT(Refusal(GoodFile(), options), HasSubstr("plain does not start: Permission denied"));
}

TEST_F(ReadStepFileTest, DeathByASignalNamesTheSignalAndTheStage) {
  EXPECT_THAT(RefusalWithHelper("echo '{\"t\":\"progress\",\"stage\":\"transferring\",\"part\":0}' >&3\n"
                                "ulimit -c 0\nkill -SEGV $$\n"),
              HasSubstr("the STEP reader was ended by signal 11 (Segmentation fault) while transferring; the file is "
                        "damaged, export it again"));
}

TEST_F(ReadStepFileTest, DeathByASignalTellsWhatTheHelperFoundLast) {
  EXPECT_THAT(RefusalWithHelper("echo '{\"t\":\"warning\",\"text\":\"a reference to #7\"}' >&3\nkill -ABRT $$\n"),
              HasSubstr("signal 6 (Aborted) while starting, after it found a reference to #7; "));
}

TEST_F(ReadStepFileTest, AHelperKilledByTheSystemPointsAtTheMemory) {
  EXPECT_THAT(RefusalWithHelper("kill -KILL $$\n"),
              HasSubstr("was killed while starting, probably for want of memory"));
}

TEST_F(ReadStepFileTest, AFailingHelperIsQuotedByItsFirstLine) {
  EXPECT_THAT(RefusalWithHelper("echo 'libTKernel.so: cannot open shared object file' >&2\necho more >&2\nexit 127\n"),
              AllOf(HasSubstr("ended with status 127 while starting: libTKernel.so: cannot open shared object file; "),
                    Not(HasSubstr("more"))));
}

TEST_F(ReadStepFileTest, AnAnswerThatBreaksOffIsRefusedHoweverWellTheHelperEnds) {
  EXPECT_THAT(RefusalWithHelper(c_answer), HasSubstr("broke off its answer while starting"));
  EXPECT_THAT(RefusalWithHelper("exec 3>&-\nexec 2>&-\nsleep 60 & wait\n"), HasSubstr("broke off its answer"));
}

TEST_F(ReadStepFileTest, GarbageIsRefusedAtItsFirstLine) {
  EXPECT_THAT(RefusalWithHelper("yes garbage >&3\n"), HasSubstr("is not understood in its line 1"));
}

TEST_F(ReadStepFileTest, ALineWithoutEndIsRefused) {
  EXPECT_THAT(RefusalWithHelper("exec cat /dev/zero >&3\n"), HasSubstr("is not understood in its line 1"));
}

TEST_F(ReadStepFileTest, AnAnswerThatMakesNoSenseIsRefused) {
  EXPECT_THAT(RefusalWithHelper("echo '{\"t\":\"done\"}' >&3\n"), HasSubstr("no root"));
}

TEST_F(ReadStepFileTest, AHangingHelperIsKilledAfterTheLimit) {
  StepReadOptions options;
  options.inactivityLimit = std::chrono::milliseconds(200);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_THAT(RefusalWithHelper("exec sleep 60\n", options),
              HasSubstr("gave no sign of life for 0.2 s while starting and was stopped; "));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST_F(ReadStepFileTest, AHelperThatSpeaksNowAndThenIsLeftAtWork) {
  StepReadOptions options;
  options.inactivityLimit = std::chrono::milliseconds(1'000);
  options.helperProgram = folder.WriteScript(
      "helper",
      "for i in 1 2 3 4 5 6; do sleep 0.3; echo '{\"t\":\"progress\",\"stage\":\"reading\",\"part\":0}' >&3; done\n" +
          std::string(c_answer) + c_done);
  EXPECT_NO_THROW(ReadStepFile(GoodFile(), options));
}

TEST_F(ReadStepFileTest, AHelperThatTakesTooMuchMemoryIsKilled) {
  StepReadOptions options;
  options.memoryLimit = 60'000'000;
  EXPECT_THAT(RefusalWithHelper("exec tail /dev/zero\n", options),
              HasSubstr("took more than 57 MB of memory while starting and was stopped; "));
}

}  // namespace
