// The language between the helper program and the import: one JSON object per line, UTF-8, in this order:
//
//   {"t":"progress","stage":"reading","part":0.25}            any number, anywhere before the last line
//   {"t":"warning","text":"..."}                              likewise
//   {"t":"schema","text":"AUTOMOTIVE_DESIGN ..."}             at most one
//   {"t":"product","name":"Bolt","id":"QD.01.002"}            the products, numbered from 0 in this order ...
//   {"t":"body","kind":"solid","name":"","id":""}             ... each followed by its own bodies
//   {"t":"use","product":3,"name":"","id":"12","at":[12 numbers],"generated":false}     ... and its own uses
//   {"t":"root","product":0}
//   {"t":"done"}                                              the last line of a reading that succeeded
//   {"t":"error","text":"line 12: ..."}                       the last line of one that failed
//
// A use may name a product that comes later. What a reader gives is complete only with "done": a helper that died
// half-way is told apart by its absence.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/step/StepAssembly.h"

namespace host {

/// The longest line that a reader accepts, in bytes; a longer one is damage, not data.
inline constexpr std::size_t c_stepMaxLine = std::size_t{16} << 20;

/// Each gives one line, its line feed included. Bytes that are not UTF-8 become U+FFFD; a number has to be finite.
std::string EncodeStepProgress(std::string_view stage, double fraction);
std::string EncodeStepWarning(std::string_view text);
std::string EncodeStepError(std::string_view text);
std::string EncodeStepSchema(std::string_view text);
std::string EncodeStepProduct(const StepProduct& product);
std::string EncodeStepBody(const StepBody& body);
std::string EncodeStepUse(const StepUse& use);
std::string EncodeStepRoot(std::size_t product);
std::string EncodeStepDone();
/// The lines of a whole assembly, from schema to done, each handed to `write` in turn.
template <class Write>
void EncodeStepAssembly(const StepAssembly& assembly, Write&& write) {
  write(EncodeStepSchema(assembly.schema));
  for (const StepProduct& product : assembly.products) {
    write(EncodeStepProduct(product));
    for (const StepBody& body : product.bodies) {
      write(EncodeStepBody(body));
    }
    for (const StepUse& use : product.uses) {
      write(EncodeStepUse(use));
    }
  }
  for (const std::size_t root : assembly.roots) {
    write(EncodeStepRoot(root));
  }
  for (const std::string& warning : assembly.warnings) {
    write(EncodeStepWarning(warning));
  }
  write(EncodeStepDone());
}

/// Builds an assembly from lines, one at a time, and trusts none of them.
class StepDecoder {
 public:
  /// What a line was, as far as a caller has to act on it. The views live until the next call.
  struct Line {
    enum class Kind { data, progress, error, done };

    Kind kind = Kind::data;
    /// The stage of a progress line, the text of an error line.
    std::string_view text;
    /// Of a progress line, within 0 and 1.
    double fraction = 0;
  };

  /// Takes one line without its line feed. Throws StepError, which names the line's number, for anything that the
  /// protocol does not allow, lines after the last one among them.
  Line Decode(std::string_view line);

  /// The warnings that have come so far.
  const std::vector<std::string>& Warnings() const { return assembly.warnings; }

  /// Whether the done line has come.
  bool IsDone() const { return last == Line::Kind::done; }

  /// Gives the assembly away, after the done line. Throws StepError where an index is out of range, where no root
  /// was named, or where a product holds itself, directly or through others.
  StepAssembly Take();

 private:
  StepAssembly assembly;
  std::string text;
  std::size_t lineNumber = 0;
  Line::Kind last = Line::Kind::data;
};

}  // namespace host
