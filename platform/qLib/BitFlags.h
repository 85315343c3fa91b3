#pragma once

#include <type_traits>

/// A set of flags out of an enumeration whose values are bits. A value.
template <class Flag>
class BitFlags {
 public:
  using Bits = std::underlying_type_t<Flag>;

  constexpr BitFlags() noexcept = default;
  constexpr BitFlags(Flag flag) noexcept : bits(static_cast<Bits>(flag)) {}
  constexpr explicit BitFlags(Bits raw) noexcept : bits(raw) {}

  constexpr Bits Raw() const noexcept { return bits; }
  /// True when at least one flag is in both.
  constexpr bool Intersects(BitFlags other) const noexcept { return (bits & other.bits) != 0; }

  friend constexpr BitFlags operator|(BitFlags left, BitFlags right) noexcept {
    return BitFlags(static_cast<Bits>(left.bits | right.bits));
  }
  friend constexpr bool operator==(BitFlags, BitFlags) noexcept = default;

 private:
  Bits bits = 0;
};
