#include <cstddef>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <qSys/ByteString.h>

#include "tests/support/AllocationCounter.h"

namespace {

static_assert(sizeof(ByteString) == 16);
static_assert(std::is_nothrow_move_constructible_v<ByteString> && std::is_nothrow_move_assignable_v<ByteString>);

/// Strings that differ in one byte or in their length, around the lengths at which a string fills a word or its object.
std::vector<std::string> SimilarStrings() {
  std::vector<std::string> strings;
  for (const std::size_t length : {0U, 1U, 7U, 8U, 9U, 14U, 15U, 16U, 17U, 40U}) {
    for (const char filling : {'\0', 'a', '\xFF'}) {
      const std::string filled(length, filling);
      strings.push_back(filled);
      for (const std::size_t place : {std::size_t{0}, length / 2, length - 1}) {
        for (const char other : {'\0', 'b', '\x7F', '\x80'}) {
          if (place < length) {
            strings.push_back(filled);
            strings.back()[place] = other;
          }
        }
      }
    }
  }
  return strings;
}

int Sign(int number) {
  return number < 0 ? -1 : number > 0 ? 1 : 0;
}

}  // namespace

TEST(AByteString, ComparesAsAStandardStringDoes) {
  const std::vector<std::string> strings = SimilarStrings();
  for (const std::string& left : strings) {
    for (const std::string& right : strings) {
      const ByteString first(left);
      const ByteString second(right);
      ASSERT_EQ(Sign(ByteString::Compare(first, second)), Sign(left.compare(right)))
          << testing::PrintToString(left) << " and " << testing::PrintToString(right);
      ASSERT_EQ(first == second, left == right);
    }
  }
}

TEST(AByteString, HoldsItsBytesWhateverItWasBefore) {
  const std::vector<std::string> strings = SimilarStrings();
  for (const std::string& before : strings) {
    for (const std::string& after : strings) {
      const ByteString source(after);
      ByteString copied(before);
      copied = source;
      ASSERT_EQ(copied.View(), after);
      ByteString moved(before);
      moved = std::move(copied);
      ASSERT_EQ(moved.View(), after);
      ASSERT_EQ(moved.IsEmpty(), after.empty());
      ASSERT_TRUE(copied.IsEmpty());
      ASSERT_EQ(copied.View(), "");
    }
    const ByteString copy = ByteString(before);
    ASSERT_EQ(ByteString(copy).View(), before);
  }
}

TEST(AByteString, SurvivesBeingAssignedToItself) {
  for (const std::size_t length : {3U, 30U}) {
    ByteString string(std::string(length, 'x'));
    const ByteString& same = string;
    string = same;
    EXPECT_EQ(string.View(), std::string(length, 'x'));
    ByteString& itself = string;
    string = std::move(itself);
    EXPECT_EQ(string.View(), std::string(length, 'x'));
  }
}

TEST(AByteString, OfMoreThanFifteenBytesAsksForMemoryOncePerCopyAndNeverWhenMoved) {
  const ByteString longest(std::string(15, 'x'));
  const ByteString outside(std::string(16, 'x'));
  EXPECT_EQ(AllocationsOf([&] { ByteString copy(longest); }), 0U);
  EXPECT_EQ(AllocationsOf([&] {
              ByteString copy(outside);
              const ByteString moved(std::move(copy));
            }),
            1U);
}
