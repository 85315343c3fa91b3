#include "host/step/reader/AnswerWriter.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <unistd.h>

#include <fmt/format.h>

#include "host/step/StepProtocol.h"

namespace host {

namespace {

constexpr std::chrono::milliseconds c_progressInterval{100};
// Of findings of one kind, so many are named one by one.
constexpr std::size_t c_namedOneByOne = 20;
constexpr std::size_t c_bufferSize = std::size_t{1} << 16;

}  // namespace

void AnswerWriter::Progress(std::string_view stage, double fraction) {
  const auto now = std::chrono::steady_clock::now();
  if (now < nextProgress && stage == lastStage) {
    return;
  }
  lastStage = stage;
  nextProgress = now + c_progressInterval;
  Write(EncodeStepProgress(stage, fraction));
  Flush();
}

void AnswerWriter::Warning(std::string_view text) {
  Write(EncodeStepWarning(text));
  Flush();
}

void AnswerWriter::WarningOfEach(const std::vector<std::string>& names, std::string_view before, std::string_view after,
                                 std::string_view many) {
  const std::size_t named = std::min(names.size(), c_namedOneByOne);
  for (std::size_t i = 0; i < named; ++i) {
    Warning(fmt::format("{}{}{}", before, names[i], after));
  }
  if (named < names.size()) {
    Warning(fmt::format("{} more {}", names.size() - named, many));
  }
}

void AnswerWriter::Error(std::string_view text) {
  Write(EncodeStepError(text));
  Flush();
}

void AnswerWriter::Assembly(const StepAssembly& assembly) {
  EncodeStepAssembly(assembly, [this](std::string_view line) { Write(line); });
  Flush();
}

void AnswerWriter::Write(std::string_view text) {
  pending += text;
  if (pending.size() >= c_bufferSize) {
    Flush();
  }
}

void AnswerWriter::Flush() {
  std::string_view left = pending;
  while (!left.empty()) {
    const ssize_t written = write(descriptor, left.data(), left.size());
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written < 0) {
      _exit(EXIT_FAILURE);
    }
    left.remove_prefix(static_cast<std::size_t>(written));
  }
  pending.clear();
}

}  // namespace host
