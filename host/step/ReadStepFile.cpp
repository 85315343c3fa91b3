#include "host/step/ReadStepFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#include <fmt/format.h>

#include "host/step/CheckStepFile.h"
#include "host/step/StepProtocol.h"

namespace host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* c_helperName = "qlinks-step-reader";

// Where the helper finds its end of the answer.
constexpr int c_answerInChild = 3;

// How long a helper that has closed its answer may take to end, before it is killed.
constexpr std::chrono::milliseconds c_exitGrace{2'000};

// How often the helper's memory is looked at.
constexpr std::chrono::milliseconds c_lookInterval{100};

// Of what the helper says on standard error, only the first line can become part of an error text.
constexpr std::size_t c_keptErrorOutput = 2'048;

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int opened) : value(opened) {}
  Descriptor(Descriptor&& other) noexcept : value(std::exchange(other.value, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(value, other.value);
    return *this;
  }
  ~Descriptor() { Close(); }

  int Get() const { return value; }
  void Close() {
    if (value >= 0) {
      close(std::exchange(value, -1));
    }
  }

 private:
  int value = -1;
};

struct Pipe {
  Descriptor readEnd;
  Descriptor writeEnd;
};

[[noreturn]] void ThrowSystemError(const std::string& subject, const char* what, int error) {
  throw StepError(fmt::format("{}: {}: {}", subject, what, std::generic_category().message(error)));
}

// Both ends lie above the descriptors that the helper gets, so that setting these up overwrites neither.
Pipe MakePipe(const std::string& shownFile) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    ThrowSystemError(shownFile, "no pipe to the STEP reader", errno);
  }
  const Descriptor lowRead(ends[0]);
  const Descriptor lowWrite(ends[1]);
  Pipe result{Descriptor(fcntl(ends[0], F_DUPFD_CLOEXEC, c_answerInChild + 1)),
              Descriptor(fcntl(ends[1], F_DUPFD_CLOEXEC, c_answerInChild + 1))};
  if (result.readEnd.Get() < 0 || result.writeEnd.Get() < 0) {
    ThrowSystemError(shownFile, "no pipe to the STEP reader", errno);
  }
  return result;
}

class SpawnSettings {
 public:
  SpawnSettings() {
    if (posix_spawn_file_actions_init(&actions) != 0) {
      throw std::bad_alloc();
    }
    if (posix_spawnattr_init(&attributes) != 0) {
      posix_spawn_file_actions_destroy(&actions);
      throw std::bad_alloc();
    }
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;
  ~SpawnSettings() {
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
  }

  // The helper starts with nothing of this program's: no descriptor, no blocked signal, no ignored SIGPIPE, so that
  // it ends when nobody listens any more.
  void Set(int answer, int errorOutput) {
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, errorOutput, STDERR_FILENO);
    posix_spawn_file_actions_adddup2(&actions, answer, c_answerInChild);
    posix_spawn_file_actions_addclosefrom_np(&actions, c_answerInChild + 1);

    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    sigset_t usual;
    sigemptyset(&usual);
    sigaddset(&usual, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
};

// The helper program while it runs. It never outlives this object.
class Helper {
 public:
  Helper(const std::filesystem::path& program, std::vector<std::string> arguments, const std::string& shownFile) {
    Pipe answerPipe = MakePipe(shownFile);
    Pipe errorPipe = MakePipe(shownFile);
    SpawnSettings settings;
    settings.Set(answerPipe.writeEnd.Get(), errorPipe.writeEnd.Get());

    std::string name = program.string();
    std::vector<char*> argv{name.data()};
    for (std::string& argument : arguments) {
      argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    const int error = posix_spawn(&pid, name.c_str(), &settings.actions, &settings.attributes, argv.data(), environ);
    if (error != 0) {
      pid = -1;
      ThrowNotStarted(program, shownFile, error);
    }
    answer = std::move(answerPipe.readEnd);
    errorOutput = std::move(errorPipe.readEnd);
  }
  Helper(const Helper&) = delete;
  Helper& operator=(const Helper&) = delete;
  ~Helper() { Kill(); }

  int Answer() const { return answer.Get(); }
  int ErrorOutput() const { return errorOutput.Get(); }
  void CloseErrorOutput() { errorOutput.Close(); }

  // The status of waitpid, or nothing when the helper still runs at `deadline`.
  std::optional<int> Wait(Clock::time_point deadline) {
    for (;;) {
      int status = 0;
      const pid_t ended = waitpid(pid, &status, WNOHANG);
      if (ended == pid || (ended < 0 && errno == ECHILD)) {
        pid = -1;
        return status;
      }
      if (Clock::now() >= deadline) {
        return std::nullopt;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }

  // Resident, in bytes; 0 where the system does not tell.
  std::uint64_t Memory() const {
    std::ifstream counts(fmt::format("/proc/{}/statm", pid));
    std::uint64_t total = 0;
    std::uint64_t resident = 0;
    if (!(counts >> total >> resident)) {
      return 0;
    }
    return resident * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  }

  void Kill() {
    if (pid < 0) {
      return;
    }
    kill(pid, SIGKILL);
    while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    pid = -1;
  }

 private:
  [[noreturn]] static void ThrowNotStarted(const std::filesystem::path& program, const std::string& shownFile,
                                           int error) {
    throw StepError(fmt::format("{}: cannot be read, the STEP reader {} does not start: {}; install it there",
                                shownFile, ShownName(program), std::generic_category().message(error)));
  }

  pid_t pid = -1;
  Descriptor answer;
  Descriptor errorOutput;
};

// One reading: the talk with the helper from its start to its end.
class Reading {
 public:
  Reading(const std::filesystem::path& file, const StepReadOptions& given, std::uint64_t fileSize)
      : shownFile(ShownName(file)),
        options(given),
        program(given.helperProgram.empty() ? FindStepReader() : given.helperProgram),
        memoryLimit(given.memoryLimit != 0 ? given.memoryLimit : c_stepMemoryBase + c_stepMemoryPerByte * fileSize),
        helper(program, {std::to_string(c_answerInChild), given.codePage, file.string()}, shownFile),
        deadline(Clock::now() + given.inactivityLimit) {}

  StepAssembly Run() {
    while (!decoder.IsDone() && WaitForBytes()) {
    }
    if (!decoder.IsDone()) {
      ThrowEnded();
    }
    return Decoded([this] { return decoder.Take(); });
  }

 private:
  // Waits for something from the helper and takes it in; false when its answer is closed.
  bool WaitForBytes() {
    std::array<pollfd, 2> ready{pollfd{helper.Answer(), POLLIN, 0}, pollfd{helper.ErrorOutput(), POLLIN, 0}};
    const Clock::time_point now = Clock::now();
    if (now >= deadline) {
      ThrowSilent();
    }
    if (now >= nextLook) {
      if (helper.Memory() > memoryLimit) {
        ThrowTooLarge();
      }
      nextLook = now + c_lookInterval;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(std::min<Clock::duration>(deadline - now, c_lookInterval));
    const int count = poll(ready.data(), ready.size(), static_cast<int>(left.count()));
    if (count < 0 && errno != EINTR) {
      ThrowSystemError(shownFile, "the STEP reader cannot be heard", errno);
    }
    if (count <= 0) {
      return true;
    }
    if (ready[1].revents != 0) {
      TakeErrorOutput();
    }
    return ready[0].revents == 0 || TakeAnswer();
  }

  bool TakeAnswer() {
    const ssize_t size = read(helper.Answer(), buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR) {
      return true;
    }
    if (size < 0) {
      ThrowSystemError(shownFile, "the STEP reader cannot be heard", errno);
    }
    if (size == 0) {
      return false;
    }
    deadline = Clock::now() + options.inactivityLimit;
    TakeLines(std::string_view(buffer.data(), static_cast<std::size_t>(size)));
    return true;
  }

  void TakeLines(std::string_view bytes) {
    for (std::size_t end = bytes.find('\n'); end != std::string_view::npos; end = bytes.find('\n')) {
      pending += bytes.substr(0, end);
      bytes.remove_prefix(end + 1);
      TakeLine();
      pending.clear();
    }
    pending += bytes;
    if (pending.size() > c_stepMaxLine) {
      TakeLine();
    }
  }

  void TakeLine() {
    const StepDecoder::Line line = Decoded([this] { return decoder.Decode(pending); });
    if (line.kind == StepDecoder::Line::Kind::error) {
      throw StepError(fmt::format("{}: {}", shownFile, line.text));
    }
    if (line.kind != StepDecoder::Line::Kind::progress) {
      return;
    }
    stage = line.text;
    if (options.progress) {
      options.progress(line.text, line.fraction);
    }
  }

  void TakeErrorOutput() {
    const ssize_t size = read(helper.ErrorOutput(), buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR) {
      return;
    }
    if (size <= 0) {
      helper.CloseErrorOutput();
      return;
    }
    const std::size_t room = c_keptErrorOutput - errorText.size();
    errorText.append(buffer.data(), std::min(room, static_cast<std::size_t>(size)));
  }

  template <class Call>
  auto Decoded(Call call) -> decltype(call()) {
    try {
      return call();
    } catch (const StepError& error) {
      throw StepError(fmt::format("{}: {}; install the reader that belongs to this program at {}", shownFile,
                                  error.what(), ShownName(program)));
    }
  }

  [[noreturn]] void ThrowSilent() {
    helper.Kill();
    const double seconds = std::chrono::duration<double>(options.inactivityLimit).count();
    throw StepError(
        fmt::format("{}: the STEP reader gave no sign of life for {:.3g} s while {} and was stopped; the "
                    "file is damaged or has a body too large, export it again",
                    shownFile, seconds, stage));
  }

  [[noreturn]] void ThrowTooLarge() {
    helper.Kill();
    throw StepError(
        fmt::format("{}: the STEP reader took more than {} MB of memory while {} and was stopped; the file "
                    "is damaged or too large, export it with less in it",
                    shownFile, memoryLimit >> 20, stage));
  }

  // The answer ended before its last line: says how the helper did.
  [[noreturn]] void ThrowEnded() {
    const std::optional<int> status = helper.Wait(Clock::now() + c_exitGrace);
    helper.Kill();
    TakeRestOfErrorOutput();
    const std::string said = errorText.empty() ? std::string() : ": " + FirstErrorLine();
    if (!status || (WIFEXITED(*status) && WEXITSTATUS(*status) == 0)) {
      throw StepError(
          fmt::format("{}: the STEP reader {} broke off its answer while {}{}; install the reader that "
                      "belongs to this program",
                      shownFile, ShownName(program), stage, said));
    }
    if (WIFSIGNALED(*status) && WTERMSIG(*status) == SIGKILL) {
      throw StepError(
          fmt::format("{}: the STEP reader was killed while {}, probably for want of memory; end other "
                      "programs or export the file with less in it",
                      shownFile, stage));
    }
    if (WIFSIGNALED(*status)) {
      const int signal = WTERMSIG(*status);
      const char* name = sigdescr_np(signal);
      throw StepError(
          fmt::format("{}: the STEP reader was ended by signal {} ({}) while {}{}; the file is damaged, "
                      "export it again",
                      shownFile, signal, name == nullptr ? "unknown" : name, stage, LastWarning()));
    }
    throw StepError(fmt::format("{}: the STEP reader {} ended with status {} while {}{}; check its installation",
                                shownFile, ShownName(program), WEXITSTATUS(*status), stage, said));
  }

  // What has been written so far; a program that the helper started may hold the other end open for longer.
  void TakeRestOfErrorOutput() {
    pollfd ready{helper.ErrorOutput(), POLLIN, 0};
    while (helper.ErrorOutput() >= 0 && errorText.size() < c_keptErrorOutput && poll(&ready, 1, 0) > 0) {
      TakeErrorOutput();
      ready.fd = helper.ErrorOutput();
    }
  }

  // The last thing that struck the reader is often what it died of.
  std::string LastWarning() const {
    return decoder.Warnings().empty() ? std::string() : fmt::format(", after it found {}", decoder.Warnings().back());
  }

  std::string FirstErrorLine() const {
    std::string line = errorText.substr(0, errorText.find('\n'));
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c < 0x20 || c > 0x7E; }, '?');
    return line;
  }

  std::string shownFile;
  const StepReadOptions& options;
  std::filesystem::path program;
  std::uint64_t memoryLimit;
  Helper helper;
  Clock::time_point deadline;
  Clock::time_point nextLook;
  StepDecoder decoder;
  std::array<char, 65'536> buffer;
  std::string pending;
  std::string errorText;
  std::string stage = "starting";
};

}  // namespace

std::filesystem::path FindStepReader() {
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
  std::filesystem::path beside = folder / c_helperName;
  std::filesystem::path installed = folder.parent_path() / "libexec" / "qProdData3D" / c_helperName;
  if (!std::filesystem::exists(beside, error) && std::filesystem::exists(installed, error)) {
    return installed;
  }
  return beside;
}

StepAssembly ReadStepFile(const std::filesystem::path& file, const StepReadOptions& options) {
  const std::uint64_t size = CheckStepFile(file);
  return Reading(file, options, size).Run();
}

}  // namespace host
