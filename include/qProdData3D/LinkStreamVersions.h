#pragma once

#include <cstdint>

/// Which version of the application's streams carries what of the links section. Writer and reader ask these
/// functions, and of the math version how wide a count is. A change of the form gets a row of its own here, with the
/// first version that writes it; rows are never edited, since documents of every version are about.
namespace link_stream {

/// Application versions.
inline constexpr std::uint32_t c_firstWithLinks = 0x12000005;
inline constexpr std::uint32_t c_firstWithValidatedLinks = 0x12000026;
inline constexpr std::uint32_t c_firstOfMajor20WithSecondPath = 0x1400001C;
inline constexpr std::uint32_t c_lastOfMajor20 = 0x14FFFFFF;
inline constexpr std::uint32_t c_firstOfMajor21WithSecondPath = 0x15000003;
inline constexpr std::uint32_t c_firstWithInnermostFirst = 0x17000002;

/// Math versions.
inline constexpr std::uint32_t c_lastWithNarrowAllOnes = 0x0F001000;

/// The section holds the unique links.
constexpr bool HasLinks(std::uint32_t appVersion) {
  return appVersion >= c_firstWithLinks;
}

/// The section holds the validated links as well. Before, every link counted as both.
constexpr bool HasValidatedLinks(std::uint32_t appVersion) {
  return appVersion >= c_firstWithValidatedLinks;
}

/// A record ends with its second path. Two ranges on purpose: the field came into build 28 of major version 20 and,
/// separately, into build 3 of major version 21, so builds 0 to 2 of version 21 do not have it.
constexpr bool HasSecondPath(std::uint32_t appVersion) {
  return appVersion >= c_firstOfMajor21WithSecondPath ||
         (appVersion >= c_firstOfMajor20WithSecondPath && appVersion <= c_lastOfMajor20);
}

/// A component path stands on the stream with its outermost component first, the reverse of its order in memory.
constexpr bool HasOutermostFirst(std::uint32_t appVersion) {
  return appVersion < c_firstWithInnermostFirst;
}

/// In a 64-bit count 0xFFFFFFFF stands for all ones: these versions copied 32-bit counts as they were.
constexpr bool HasNarrowAllOnes(std::uint32_t mathVersion) {
  return mathVersion <= c_lastWithNarrowAllOnes;
}

}  // namespace link_stream
