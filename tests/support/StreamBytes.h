#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <qSys/Versions.h>

#include "tests/support/StreamLink.h"

/// What a stream can carry under some versions. Tests state it; nothing here asks the library.
struct StreamForm {
  std::size_t countBytes = 8;  ///< 8, 4 or 0; with 0 the stream is a 16-bit one
  int setCount = 2;
  bool hasSecondPath = true;
  bool isOutermostFirst = false;
};

/// Both sides of every application version at which the form of the links section changed.
struct StreamAppForm {
  std::uint32_t appVersion;
  int setCount;
  bool hasSecondPath;
  bool isOutermostFirst;
};
inline constexpr std::array<StreamAppForm, 12> c_streamAppForms{{{0x12000004, 0, false, true},
                                                                 {0x12000005, 1, false, true},
                                                                 {0x12000025, 1, false, true},
                                                                 {0x12000026, 2, false, true},
                                                                 {0x1400001B, 2, false, true},
                                                                 {0x1400001C, 2, true, true},
                                                                 {0x14FFFFFF, 2, true, true},
                                                                 {0x15000000, 2, false, true},
                                                                 {0x15000002, 2, false, true},
                                                                 {0x15000003, 2, true, true},
                                                                 {0x17000001, 2, true, true},
                                                                 {0x17000002, 2, true, false}}};

/// The same for math versions.
struct StreamMathForm {
  std::uint32_t mathVersion;
  std::size_t countBytes;
};
inline constexpr std::array<StreamMathForm, 6> c_streamMathForms{
    {{0x03FFFFFF, 0}, {0x04000000, 4}, {0x0EFFFFFF, 4}, {0x0F000000, 8}, {0x0F001000, 8}, {0x0F001001, 8}}};

/// What a stream of these versions can carry; both must be listed above.
inline StreamForm StreamFormOf(const StreamVersions& versions) {
  const auto app = std::find_if(c_streamAppForms.begin(), c_streamAppForms.end(),
                                [&](const StreamAppForm& form) { return form.appVersion == versions.appVersion; });
  const auto math = std::find_if(c_streamMathForms.begin(), c_streamMathForms.end(),
                                 [&](const StreamMathForm& form) { return form.mathVersion == versions.mathVersion; });
  return {math->countBytes, app->setCount, app->hasSecondPath, app->isOutermostFirst};
}

/// Makes the bytes of a stream by hand, a field at a time.
class StreamBytes {
 public:
  explicit StreamBytes(const StreamForm& streamForm = {}) : form(streamForm) {}

  StreamBytes& Byte(unsigned int value) {
    bytes.push_back(static_cast<std::byte>(value));
    return *this;
  }

  /// Least significant byte first.
  StreamBytes& Number(std::uint64_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
      Byte(static_cast<unsigned int>(value >> (8 * i) & 0xFF));
    }
    return *this;
  }

  StreamBytes& Count(std::uint64_t count) { return Number(count, form.countBytes); }

  /// An object type or a path element, which a 16-bit stream does not carry.
  StreamBytes& UInt32(std::uint32_t value) { return Number(value, form.countBytes == 0 ? 0 : 4); }

  /// A key or a name.
  StreamBytes& Text(const std::string& text) {
    Number(text.size(), 4);
    for (const char character : text) {
      Byte(static_cast<unsigned char>(character));
    }
    return *this;
  }

  StreamBytes& Path(const std::vector<std::uint32_t>& path) {
    Count(path.size());
    for (const std::uint32_t element : path) {
      UInt32(element);
    }
    return *this;
  }

  StreamBytes& Link(const StreamLink& link) {
    Text(link.key).UInt32(link.type);
    std::vector<std::uint32_t> path = link.componentPath;
    if (form.isOutermostFirst) {
      std::reverse(path.begin(), path.end());
    }
    Path(path).Text(link.name);
    return form.hasSecondPath ? Path(link.secondPath) : *this;
  }

  StreamBytes& Links(const StreamLinks& links) {
    Count(links.size());
    for (const StreamLink& link : links) {
      Link(link);
    }
    return *this;
  }

  /// As much of both sets as the form has room for.
  StreamBytes& Section(const StreamLinks& uniqueLinks, const StreamLinks& validatedLinks) {
    if (form.setCount >= 1) {
      Links(uniqueLinks);
    }
    return form.setCount == 2 ? Links(validatedLinks) : *this;
  }

  const std::vector<std::byte>& Bytes() const { return bytes; }

 private:
  StreamForm form;
  std::vector<std::byte> bytes;
};
