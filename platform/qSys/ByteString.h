#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include <qSys/Export.h>

/// A byte string of any length, zero bytes included, in 16 bytes: up to c_inlineCount bytes live inside the object,
/// longer strings in memory of their own. A value; assigning throws std::bad_alloc where a longer string gets no
/// memory, and then changes nothing. Moving never asks for memory and leaves the empty string.
///
/// Made for being compared: two strings that live inside their objects are compared as two pairs of 64-bit numbers.
class QSYS_API ByteString {
 public:
  static constexpr std::size_t c_inlineCount = 15;

  ByteString() noexcept = default;
  explicit ByteString(std::string_view bytes) {
    if (bytes.size() <= c_inlineCount) {
      // Nothing may be copied from where an empty view points.
      if (!bytes.empty()) {
        std::memcpy(words, bytes.data(), bytes.size());
      }
      words[1] |= std::uint64_t{bytes.size()} << c_lengthShift;
    } else {
      TakeOutside(bytes);
    }
  }
  ByteString(const ByteString& other) : words{other.words[0], other.words[1]} {
    if (IsOutside()) {
      TakeOutside(other.View());
    }
  }
  ByteString(ByteString&& other) noexcept : words{std::exchange(other.words[0], 0), std::exchange(other.words[1], 0)} {}
  ByteString& operator=(const ByteString& other) {
    if (IsOutside() || other.IsOutside()) {
      return *this = ByteString(other);
    }
    words[0] = other.words[0];
    words[1] = other.words[1];
    return *this;
  }
  ByteString& operator=(ByteString&& other) noexcept {
    if (this != &other) {
      if (IsOutside()) {
        ReleaseOutside();
      }
      words[0] = std::exchange(other.words[0], 0);
      words[1] = std::exchange(other.words[1], 0);
    }
    return *this;
  }
  ~ByteString() {
    if (IsOutside()) {
      ReleaseOutside();
    }
  }

  /// Good until the string changes, moves or ends.
  std::string_view View() const noexcept {
    return IsOutside() ? std::string_view(Outside(), words[1] & c_outsideLength)
                       : std::string_view(reinterpret_cast<const char*>(words), words[1] >> c_lengthShift);
  }
  bool IsEmpty() const noexcept { return words[1] == 0; }

  friend bool operator==(const ByteString& left, const ByteString& right) noexcept {
    return AreInside(left, right) ? left.words[0] == right.words[0] && left.words[1] == right.words[1]
                                  : CompareViews(left, right) == 0;
  }

  /// Negative, 0 or positive as `left` is before, the same as or after `right`: by unsigned bytes, the shorter first on
  /// a common beginning.
  static int Compare(const ByteString& left, const ByteString& right) noexcept {
    if (!AreInside(left, right)) {
      return CompareViews(left, right);
    }
    // The bytes that a string does not use are 0, and its length comes last: it decides where one string is another
    // with zero bytes behind.
    const std::size_t word = left.words[0] == right.words[0] ? 1 : 0;
    const std::uint64_t first = __builtin_bswap64(left.words[word]);
    const std::uint64_t second = __builtin_bswap64(right.words[word]);
    return first == second ? 0 : first < second ? -1 : 1;
  }

 private:
  static_assert(std::endian::native == std::endian::little, "the last byte of an object is the highest of words[1]");

  static constexpr int c_lengthShift = 56;
  static constexpr std::uint64_t c_outsideMark = std::uint64_t{0xFF} << c_lengthShift;
  static constexpr std::uint64_t c_outsideLength = (std::uint64_t{1} << c_lengthShift) - 1;

  bool IsOutside() const noexcept { return words[1] >= c_outsideMark; }
  // One test for both: the marks of strings inside have no bit of the upper half.
  static bool AreInside(const ByteString& left, const ByteString& right) noexcept {
    return (left.words[1] | right.words[1]) < c_outsideMark;
  }
  // Apart, so that the comparison of short strings is short enough to be inlined everywhere.
  static int CompareViews(const ByteString& left, const ByteString& right) noexcept;
  const char* Outside() const noexcept { return std::bit_cast<const char*>(words[0]); }
  void TakeOutside(std::string_view bytes);
  void ReleaseOutside() noexcept;

  // Inside: the bytes, zeros, and the length in the last byte. Outside: where the bytes are, then their number below
  // c_outsideMark.
  std::uint64_t words[2] = {0, 0};
};
