#pragma once

#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <qSys/Versions.h>

#include "tests/support/StreamLink.h"

/// What the section fixtures hold, apart from what their versions cannot carry. The bytes come from
/// tests/fixtures/make_fixtures.py, which states the same links on its own.
///
/// Keys of 0, 1, 15 and 36 bytes, with zero bytes and bytes over 0x7F; paths of 0, 1, 3 and 7 elements with the
/// extremes of 32 bits; names that are empty, short and of several bytes a letter. The validated set gives one key
/// several geometry objects, against the order of geometry objects, and one geometry object several keys.
inline StreamLinks FixtureUniqueLinks() {
  return {{"", 2, {}, {}, ""},
          {std::string("\0", 1), 1, {7}, {1, 0xFFFFFFFF}, "Bolt"},
          {"3f2504e0-4f89-11d3-9a0c-0305e82c3301",
           104,
           {0, 0xFFFFFFFF, 0x80000000, 258, 5, 6, 7},
           {5},
           "\xD0\x93\xD0\xB0\xD0\xB9\xD0\xBA\xD0\xB0 \xD0\x9C"
           "8"},
          {"occurrence-0001", 200, {3, 2, 1}, {}, ""},
          {std::string("\xFF\0\x80", 3), 1, {7}, {4, 5, 6}, "K\xC3\xB6rper"}};
}

inline StreamLinks FixtureValidatedLinks() {
  const std::string line("bill-line\0\xFF", 11);
  return {{"", 200, {}, {}, ""},
          {std::string("\0", 1), 1, {7}, {1, 0xFFFFFFFF}, "Bolt"},
          {line, 200, {3, 2, 1}, {}, ""},
          {line, 1, {7}, {1, 0xFFFFFFFF}, "Bolt"},
          {"occurrence-0001", 1, {7}, {1, 0xFFFFFFFF}, "Bolt"},
          {"occurrence-0002", 2, {9, 8, 1}, {2}, "\xD0\x9E\xD0\xB1\xD0\xBE\xD0\xBB\xD0\xBE\xD1\x87\xD0\xBA\xD0\xB0"}};
}

inline StreamLinks WithoutSecondPaths(StreamLinks links) {
  for (StreamLink& link : links) {
    link.secondPath.clear();
  }
  return links;
}

/// A section fixture and what its versions carry: the first set, the second (with one set on the stream every link
/// counts as both), and the faults recorded in writing and in reading.
struct SectionFixture {
  StreamVersions versions;
  int setCount;
  bool hasSecondPath;
  std::uint32_t state;

  std::string FileName() const {
    char name[64];
    std::snprintf(name, sizeof(name), "section_app%08X_math%08X.hex", versions.appVersion, versions.mathVersion);
    return name;
  }

  StreamLinks First() const { return setCount == 0 ? StreamLinks{} : Carried(FixtureUniqueLinks()); }
  StreamLinks Second() const { return setCount == 2 ? Carried(FixtureValidatedLinks()) : First(); }

  friend void PrintTo(const SectionFixture& fixture, std::ostream* out) { *out << fixture.FileName(); }

 private:
  StreamLinks Carried(const StreamLinks& links) const {
    return state != 0 ? StreamLinks{} : hasSecondPath ? links : WithoutSecondPaths(links);
  }
};

inline std::vector<SectionFixture> SectionFixtures() {
  constexpr std::uint32_t c_narrow = 8;
  return {{{0x12000004, 0x0F001001}, 0, false, 0},       {{0x12000005, 0x0F001001}, 1, false, 0},
          {{0x12000025, 0x0F001001}, 1, false, 0},       {{0x12000026, 0x0F001001}, 2, false, 0},
          {{0x1400001B, 0x0F001001}, 2, false, 0},       {{0x1400001C, 0x0F001001}, 2, true, 0},
          {{0x14FFFFFF, 0x0F001001}, 2, true, 0},        {{0x15000000, 0x0F001001}, 2, false, 0},
          {{0x15000002, 0x0F001001}, 2, false, 0},       {{0x15000003, 0x0F001001}, 2, true, 0},
          {{0x17000001, 0x0F001001}, 2, true, 0},        {{0x17000002, 0x0F001001}, 2, true, 0},
          {{0x17000002, 0x0F001000}, 2, true, 0},        {{0x17000002, 0x0F000000}, 2, true, 0},
          {{0x17000002, 0x0EFFFFFF}, 2, true, 0},        {{0x17000002, 0x04000000}, 2, true, 0},
          {{0x17000002, 0x03FFFFFF}, 2, true, c_narrow}, {{0x12000025, 0x0EFFFFFF}, 1, false, 0},
          {{0x12000026, 0x04000000}, 2, false, 0},       {{0x17000001, 0x0EFFFFFF}, 2, true, 0},
          {{0x12000005, 0x03FFFFFF}, 1, false, c_narrow}};
}

/// The name of a parameterised test: the fixture's file name without its ending.
inline std::string SectionFixtureName(const testing::TestParamInfo<SectionFixture>& instance) {
  const std::string name = instance.param.FileName();
  return name.substr(0, name.size() - 4);
}
