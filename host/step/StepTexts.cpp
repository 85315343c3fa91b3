#include "host/step/StepTexts.h"

namespace host {

namespace {

// What may follow a first byte: how many bytes, and the range of the first of them, which excludes overlong forms,
// surrogates and what lies beyond U+10FFFF. No bytes to come and `valid` false: no first byte at all.
struct Sequence {
  int missing;
  unsigned char lowest;
  unsigned char highest;
  bool valid;
};

constexpr Sequence Begin(unsigned char byte) {
  if (byte < 0x80) {
    return {0, 0x80, 0xBF, true};
  }
  if (byte >= 0xC2 && byte <= 0xDF) {
    return {1, 0x80, 0xBF, true};
  }
  if (byte >= 0xE0 && byte <= 0xEF) {
    return {2, static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
            static_cast<unsigned char>(byte == 0xED ? 0x9F : 0xBF), true};
  }
  if (byte >= 0xF0 && byte <= 0xF4) {
    return {3, static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
            static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF), true};
  }
  return {0, 0x80, 0xBF, false};
}

// Gives the length of the character at the beginning of `text`, which is not empty, or that of the ill-formed part
// there, at least 1.
struct Character {
  std::size_t length;
  bool valid;
};

Character First(std::string_view text) {
  const Sequence sequence = Begin(static_cast<unsigned char>(text.front()));
  if (!sequence.valid) {
    return {1, false};
  }
  std::size_t length = 1;
  for (int i = 0; i < sequence.missing; ++i, ++length) {
    if (length >= text.size()) {
      return {length, false};
    }
    const auto byte = static_cast<unsigned char>(text[length]);
    if (byte < (i == 0 ? sequence.lowest : 0x80) || byte > (i == 0 ? sequence.highest : 0xBF)) {
      return {length, false};
    }
  }
  return {length, true};
}

// C0 with DEL, C1, and the two separators U+2028 and U+2029.
bool IsControl(std::string_view character) {
  const auto first = static_cast<unsigned char>(character[0]);
  if (character.size() == 1) {
    return first < 0x20 || first == 0x7F;
  }
  if (character.size() == 2) {
    return first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0;
  }
  return character == "\xE2\x80\xA8" || character == "\xE2\x80\xA9";
}

}  // namespace

std::string CleanStepText(std::string_view text) {
  std::string clean;
  bool spaceIsDue = false;
  while (!text.empty()) {
    const Character next = First(text);
    const std::string_view character = text.substr(0, next.length);
    text.remove_prefix(next.length);
    if (next.valid && IsControl(character)) {
      spaceIsDue = !clean.empty();
      continue;
    }
    if (spaceIsDue) {
      clean += ' ';
    }
    spaceIsDue = false;
    if (next.valid) {
      clean += character;
    } else {
      clean += "\xEF\xBF\xBD";
    }
  }
  return clean;
}

void Utf8Check::Take(std::string_view piece) {
  for (const char c : piece) {
    TakeByte(static_cast<unsigned char>(c));
  }
}

void Utf8Check::TakeByte(unsigned char byte) {
  if (missing > 0) {
    if (byte >= lowest && byte <= highest) {
      --missing;
      lowest = 0x80;
      highest = 0xBF;
      inPlace = inPlace && missing > 0;
      return;
    }
    missing = 0;
    Report();
  }
  if (byte == '\n') {
    ++line;
  }
  const Sequence sequence = Begin(byte);
  if (!sequence.valid) {
    Report();
    return;
  }
  missing = sequence.missing;
  lowest = sequence.lowest;
  highest = sequence.highest;
  if (missing == 0) {
    inPlace = false;
  }
}

void Utf8Check::Finish() {
  if (missing > 0) {
    Report();
  }
  missing = 0;
}

void Utf8Check::Report() {
  if (!inPlace && places++ == 0) {
    firstLine = line;
  }
  inPlace = true;
}

}  // namespace host
