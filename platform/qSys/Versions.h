#pragma once

#include <cstdint>

/// The first math version whose streams carry 32-bit values; the streams before it are 16-bit.
inline constexpr std::uint32_t c_firstMathVersion32bit = 0x04000000;
/// The first math version whose streams carry 64-bit counts.
inline constexpr std::uint32_t c_firstMathVersion64bit = 0x0F000000;

/// The versions under which new streams are written.
inline constexpr std::uint32_t c_currentAppVersion = 0x17000002;
inline constexpr std::uint32_t c_currentMathVersion = 0x0F001001;

/// The two version numbers of a stream. The high byte of an application version is its major version, the other
/// three its build.
struct StreamVersions {
  std::uint32_t appVersion = c_currentAppVersion;
  std::uint32_t mathVersion = c_currentMathVersion;

  friend bool operator==(const StreamVersions&, const StreamVersions&) = default;
};

/// True when a stream of this math version carries nothing wider than 16 bits.
constexpr bool IsVersion16bit(unsigned int mathVersion) noexcept {
  return mathVersion < c_firstMathVersion32bit;
}

/// True when a stream of this math version carries its counts in 64 bits. Never true together with
/// IsVersion16bit; where both are false the counts have 32 bits.
constexpr bool IsVersion64bit(unsigned int mathVersion) noexcept {
  return mathVersion >= c_firstMathVersion64bit;
}
