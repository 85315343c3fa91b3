#pragma once

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include <rapidcheck.h>

#include "tests/support/LinksCodec.h"

/// Random links, versions and product data for the codec. Values are few, so that nearly everything meets.

/// Both sides of every version at which something changes, the neighbours of those, and the extremes.
inline constexpr std::array<std::uint32_t, 20> c_codecAppVersions{
    0x00000000, 0x12000004, 0x12000005, 0x12000006, 0x12000024, 0x12000025, 0x12000026,
    0x12000027, 0x1400001B, 0x1400001C, 0x1400001D, 0x14FFFFFF, 0x15000000, 0x15000001,
    0x15000002, 0x15000003, 0x17000001, 0x17000002, 0x17000003, 0xFFFFFFFF};
inline constexpr std::array<std::uint32_t, 8> c_codecMathVersions{0x00000000, 0x03FFFFFF, 0x04000000, 0x0EFFFFFF,
                                                                  0x0F000000, 0x0F001000, 0x0F001001, 0xFFFFFFFF};

template <class Check>
void ForEveryCodecVersion(const Check& check) {
  for (const std::uint32_t app : c_codecAppVersions) {
    for (const std::uint32_t math : c_codecMathVersions) {
      check(codec::Versions{app, math});
    }
  }
}

/// Common beginnings, zero bytes, bytes over 0x7F, and one that does not live inside a key.
inline const std::vector<std::string>& CodecKeys() {
  static const std::vector<std::string> keys{"",     "a",        std::string("a\0", 2), "ab", "\x7F",
                                             "\x80", "\xFF\xFF", std::string(1500, 'k')};
  return keys;
}

inline rc::Gen<codec::Link> AnyCodecLink() {
  // Up to eight elements, more than live inside a path.
  const auto anyPath = rc::gen::mapcat(
      rc::gen::weightedElement<std::size_t>({{3, 0}, {4, 1}, {4, 2}, {1, 6}, {1, 8}}), [](std::size_t count) {
        return rc::gen::container<codec::Path>(count, rc::gen::element<std::uint32_t>(0, 1, 2, 0x01020304, 0xFFFFFFFF));
      });
  return rc::gen::build<codec::Link>(
      rc::gen::set(&codec::Link::key, rc::gen::elementOf(CodecKeys())),
      rc::gen::set(&codec::Link::type, rc::gen::element(1u, 1u, 2u, 104u, 199u, 200u, 200u, 201u, 0xFFFFFFFFu)),
      rc::gen::set(&codec::Link::componentPath, anyPath), rc::gen::set(&codec::Link::secondPath, anyPath),
      rc::gen::set(&codec::Link::name,
                   rc::gen::element(std::string(), std::string("n"), std::string("\0", 1), std::string(1025, 'n'))));
}

inline rc::Gen<codec::Links> AnyCodecLinks() {
  return rc::gen::scale(0.2, rc::gen::container<codec::Links>(AnyCodecLink()));
}

/// Like AnyCodecLinks, but of two geometry objects, each with two second paths: groups for the repair.
inline rc::Gen<codec::Links> AnyCrowdedCodecLinks() {
  return rc::gen::scale(
      0.3,
      rc::gen::container<codec::Links>(rc::gen::build<codec::Link>(
          rc::gen::set(&codec::Link::key, rc::gen::elementOf(CodecKeys())),
          rc::gen::set(&codec::Link::type, rc::gen::element(1u, 1u, 1u, 200u)),
          rc::gen::set(&codec::Link::componentPath, rc::gen::element(codec::Path{1}, codec::Path{1}, codec::Path{2})),
          rc::gen::set(&codec::Link::secondPath, rc::gen::element(codec::Path{}, codec::Path{}, codec::Path{5})))));
}

/// Answers that follow from three numbers: bits that choose among CodecKeys.
struct AnyCodecProductData {
  std::uint32_t known = 0;
  std::uint32_t dependent = 0;
  std::uint32_t related = 0;

  static std::uint32_t NumberOf(const std::string& key) {
    std::uint32_t number = 0;
    while (number < CodecKeys().size() && CodecKeys()[number] != key) {
      ++number;
    }
    return number;
  }

  bool Has(const std::string& key) const { return (known >> NumberOf(key) & 1) != 0; }
  std::set<std::string> Related(const std::string& key) const {
    std::set<std::string> keys;
    if ((dependent >> NumberOf(key) & 1) != 0) {
      for (std::size_t i = 0; i < CodecKeys().size(); ++i) {
        if ((related >> (i + NumberOf(key)) % CodecKeys().size() & 1) != 0) {
          keys.insert(CodecKeys()[i]);
        }
      }
    }
    return keys;
  }
};

inline rc::Gen<AnyCodecProductData> AnyCodecAnswers() {
  const auto anyBits = rc::gen::inRange<std::uint32_t>(0, 1u << 8);
  return rc::gen::construct<AnyCodecProductData>(anyBits, anyBits, anyBits);
}
