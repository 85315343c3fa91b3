// The helper's end of the protocol.

#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "host/step/StepAssembly.h"

namespace host {

/// Writes lines to a descriptor that it does not own. When nobody listens any more the program ends: there is
/// nothing left to do for it.
class AnswerWriter {
 public:
  explicit AnswerWriter(int answerDescriptor) : descriptor(answerDescriptor) {}

  /// Written at once, but at most ten times a second in each stage: a caller may report as often as it likes.
  void Progress(std::string_view stage, double fraction);
  /// Written at once: should the program die, its warnings may say why.
  void Warning(std::string_view text);
  /// Writes up to twenty warnings, `before` name `after` for each of the names, and one that counts the others, each
  /// of which is a `many`.
  void WarningOfEach(const std::vector<std::string>& names, std::string_view before, std::string_view after,
                     std::string_view many);
  /// The last line of a reading that failed.
  void Error(std::string_view text);
  /// All lines of a reading that succeeded, the last one included.
  void Assembly(const StepAssembly& assembly);

 private:
  void Write(std::string_view text);
  void Flush();

  int descriptor;
  std::string pending;
  std::string lastStage;
  std::chrono::steady_clock::time_point nextProgress;
};

}  // namespace host
