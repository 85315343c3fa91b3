// Texts as STEP files hold them.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace host {

/// Gives `text` as one line of valid UTF-8: a run of control characters and line separators becomes one space, none
/// at either end; what is not UTF-8 becomes U+FFFD, one per maximal ill-formed part.
std::string CleanStepText(std::string_view text);

/// Looks for bytes that are not UTF-8, in pieces of any size. A run of such bytes counts as one place.
class Utf8Check {
 public:
  void Take(std::string_view piece);
  /// Call after the last piece: a sequence cut off by the end is a place as well.
  void Finish();

  std::uint64_t Places() const { return places; }
  /// Counted from 1; of meaning only when there are places.
  std::uint64_t FirstLine() const { return firstLine; }

 private:
  void TakeByte(unsigned char byte);
  void Report();

  std::uint64_t places = 0;
  std::uint64_t firstLine = 0;
  std::uint64_t line = 1;
  // Of the sequence that is being read: how many bytes are still to come, and the range of the next one.
  int missing = 0;
  unsigned char lowest = 0x80;
  unsigned char highest = 0xBF;
  bool inPlace = false;
};

}  // namespace host
