#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/LinksCodec.h"

/// Every damage of a kind to the bytes of a section. Each damaged copy is handed to `check` with the words that tell
/// what was done to it, made only where somebody asks.

/// What was done; Text() is for the message of a failure.
struct Damage {
  const char* kind;
  std::size_t place;
  std::uint64_t value;

  std::string Text() const { return std::string(kind) + " " + std::to_string(place) + ", " + std::to_string(value); }
};

template <class Check>
void CutAtEveryByte(const codec::Bytes& bytes, const Check& check) {
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    // Of exactly this length, so that a read beyond its end is a fault of memory, too.
    check(codec::Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)), Damage{"cut", length, 0});
  }
}

template <class Check>
void FlipEveryBit(codec::Bytes bytes, const Check& check) {
  for (std::size_t place = 0; place < bytes.size(); ++place) {
    for (unsigned int bit = 0; bit < 8; ++bit) {
      const std::byte mask{static_cast<unsigned char>(1u << bit)};
      bytes[place] ^= mask;
      check(bytes, Damage{"flip", place, bit});
      bytes[place] ^= mask;
    }
  }
}

/// The values of a count that some reading could trip over: the neighbours of the true one, the few, what lives inside
/// a path and one more, and those at which something overflows.
inline std::vector<std::uint64_t> ExtremesOf(std::uint64_t count, std::size_t width) {
  std::vector<std::uint64_t> extremes{count - 1, count + 1, 0, 1, 6, 7, ~std::uint64_t{0}, ~std::uint64_t{0} - 1};
  for (const int bit : {8, 16, 20, 30, 31, 32, 61, 62, 63}) {
    const std::uint64_t power = std::uint64_t{1} << bit;
    extremes.insert(extremes.end(), {power - 2, power - 1, power, power + 1});
  }
  if (width == 4) {
    std::erase_if(extremes, [](std::uint64_t value) { return value > 0xFFFFFFFF; });
  }
  return extremes;
}

template <class Check>
void ReplaceEveryCount(const codec::Bytes& bytes, const codec::Versions& versions, const Check& check) {
  for (const codec::CountField& field : codec::CountFieldsOf(bytes, versions)) {
    for (const std::uint64_t extreme : ExtremesOf(field.value, field.width)) {
      codec::Bytes damaged = bytes;
      for (std::size_t i = 0; i < field.width; ++i) {
        damaged[field.offset + i] = static_cast<std::byte>(extreme >> 8 * i);
      }
      check(damaged, Damage{"count", field.offset, extreme});
    }
  }
}
