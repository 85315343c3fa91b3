#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <set>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qSys/ByteStrings.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/PlatformPrinting.h"

// Keys and names are byte strings with the same order and the same form on a stream; what holds for one is
// tested for both.

namespace {

template <class Value>
class ByteStringValue : public testing::Test {
 public:
  static Value Of(const std::string& bytes) { return Value(bytes); }

  static std::vector<std::byte> Written(const std::string& bytes) {
    MemoryWriter out;
    out << Of(bytes);
    EXPECT_TRUE(out.good());
    return out.TakeBytes();
  }
};

using Values = testing::Types<UniqueMetaObjectKey, MbName>;
TYPED_TEST_SUITE(ByteStringValue, Values);

std::vector<std::byte> Bytes(const std::string& text) {
  std::vector<std::byte> bytes(text.size());
  std::transform(text.begin(), text.end(), bytes.begin(), [](char c) { return static_cast<std::byte>(c); });
  return bytes;
}

/// Byte strings of all kinds, ascending by unsigned bytes, the shorter first.
const std::vector<std::string> c_ascending{"",
                                           std::string(1, '\0'),
                                           "a",
                                           std::string("a\0", 2),
                                           std::string("a\0b", 3),
                                           "ab",
                                           "abc",
                                           "b",
                                           "\x7F",
                                           "\x80",
                                           "\x80\x01",
                                           "\xFE",
                                           "\xFF"};

}  // namespace

TYPED_TEST(ByteStringValue, OfDefaultIsEmpty) {
  EXPECT_TRUE(TypeParam().IsEmpty());
  EXPECT_EQ(TypeParam().Bytes(), "");
}

TYPED_TEST(ByteStringValue, KeepsItsBytesZerosIncluded) {
  const std::string bytes("a\0\xFF\n", 4);
  EXPECT_EQ(TestFixture::Of(bytes).Bytes(), bytes);
  EXPECT_FALSE(TestFixture::Of(bytes).IsEmpty());
  EXPECT_FALSE(TestFixture::Of(std::string(1, '\0')).IsEmpty());
}

TYPED_TEST(ByteStringValue, IsOrderedByUnsignedBytesTheShorterFirstOnACommonBeginning) {
  for (std::size_t left = 0; left < c_ascending.size(); ++left) {
    for (std::size_t right = 0; right < c_ascending.size(); ++right) {
      SCOPED_TRACE(testing::Message() << "number " << left << " and number " << right);
      EXPECT_EQ(TestFixture::Of(c_ascending[left]) < TestFixture::Of(c_ascending[right]), left < right);
    }
  }
}

TYPED_TEST(ByteStringValue, EqualsOneOfTheSameLengthAndBytesOnly) {
  for (std::size_t left = 0; left < c_ascending.size(); ++left) {
    for (std::size_t right = 0; right < c_ascending.size(); ++right) {
      EXPECT_EQ(TestFixture::Of(c_ascending[left]) == TestFixture::Of(c_ascending[right]), left == right);
    }
  }
}

TYPED_TEST(ByteStringValue, StandsOnAStreamAsItsLengthInFourBytesAndItsBytes) {
  EXPECT_EQ(TestFixture::Written(""), Bytes(std::string("\0\0\0\0", 4)));
  EXPECT_EQ(TestFixture::Written(std::string("a\0\xFF", 3)), Bytes(std::string("\3\0\0\0a\0\xFF", 7)));
  EXPECT_EQ(TestFixture::Written(std::string(0x0102, 'x')),
            Bytes(std::string("\x02\x01\0\0", 4) + std::string(0x0102, 'x')));
}

TYPED_TEST(ByteStringValue, StandsOnStreamsOfAllVersionsInTheSameForm) {
  for (const std::uint32_t mathVersion : {0x03FFFFFFU, 0x04000000U, 0x0F001001U}) {
    MemoryWriter out({0x12000004, mathVersion});
    out << TestFixture::Of("key");
    EXPECT_TRUE(out.good());
    EXPECT_EQ(out.Bytes(), TestFixture::Written("key"));
    MemoryReader in(out.Bytes(), {0x12000004, mathVersion});
    TypeParam value;
    in >> value;
    EXPECT_TRUE(in.good());
    EXPECT_EQ(value, TestFixture::Of("key"));
  }
}

TYPED_TEST(ByteStringValue, IsReadAsItWasWrittenAndNoFurther) {
  // Around the size of the blocks in which it is read, too.
  for (const std::size_t length : {0U, 1U, 15U, 16U, 1023U, 1024U, 1025U, 2048U, 5000U}) {
    SCOPED_TRACE(length);
    std::string bytes(length, '\0');
    for (std::size_t i = 0; i < length; ++i) {
      bytes[i] = static_cast<char>(i % 251);
    }
    std::vector<std::byte> stream = TestFixture::Written(bytes);
    const std::size_t end = stream.size();
    stream.push_back(std::byte{0x55});
    MemoryReader in(stream);
    TypeParam value = TestFixture::Of("old");
    EXPECT_EQ(&(in >> value), static_cast<reader*>(&in));
    EXPECT_TRUE(in.good());
    EXPECT_EQ(value.Bytes(), bytes);
    EXPECT_EQ(in.Position(), end);
  }
}

TYPED_TEST(ByteStringValue, StaysAsItWasWhereTheStreamRunsShortAtAnyByte) {
  const std::vector<std::byte> whole = TestFixture::Written(std::string(2000, 'x'));
  for (const std::size_t length : {0U, 1U, 3U, 4U, 5U, 1027U, 1028U, 1029U, 2002U, 2003U}) {
    SCOPED_TRACE(length);
    const std::span<const std::byte> cut = std::span<const std::byte>(whole).first(length);
    MemoryReader in(cut);
    TypeParam value = TestFixture::Of("old");
    in >> value;
    EXPECT_EQ(value, TestFixture::Of("old"));
    EXPECT_EQ(in.State(), static_cast<std::uint32_t>(io::state::endOfStream));
    std::byte next{};
    EXPECT_FALSE(in.readBlock(&next, 1)) << "what was left is taken as read";
  }
}

TYPED_TEST(ByteStringValue, StaysAsItWasWhereTheLengthFieldClaimsMoreThanThereIs) {
  const std::vector<std::byte> hostile =
      Bytes(std::string("\xFF\xFF\xFF\xFF"
                        "abc",
                        7));
  MemoryReader in(hostile);
  TypeParam value = TestFixture::Of("old");
  in >> value;
  EXPECT_EQ(value, TestFixture::Of("old"));
  EXPECT_EQ(in.State(), static_cast<std::uint32_t>(io::state::endOfStream));
}

TYPED_TEST(ByteStringValue, IsReadFromAStreamThatHasAFaultAlready) {
  const std::vector<std::byte> stream = TestFixture::Written("key");
  MemoryReader in(stream);
  in.setState(io::state::narrowStream);
  TypeParam value;
  in >> value;
  EXPECT_EQ(value, TestFixture::Of("key"));
  EXPECT_EQ(in.State(), static_cast<std::uint32_t>(io::state::narrowStream));
}

TEST(UniqueMetaObjectKey, HasANullValueThatIsTheEmptyKey) {
  EXPECT_TRUE(UniqueMetaObjectKey::null.IsEmpty());
  EXPECT_EQ(UniqueMetaObjectKey::null, UniqueMetaObjectKey());
}

TEST(GeneratedKeys, HaveFifteenCharactersOutOfSixtyFourAreDistinctAndUseEveryCharacterInEveryPlace) {
  constexpr std::size_t c_many = 100000;
  std::set<UniqueMetaObjectKey> keys;
  std::array<std::set<char>, UniqueMetaObjectKey::c_generatedLength> charactersInPlace;
  for (std::size_t i = 0; i < c_many; ++i) {
    const UniqueMetaObjectKey key = UniqueMetaObjectKey::Generate();
    ASSERT_EQ(key.Bytes().size(), 15U);
    for (std::size_t place = 0; place < key.Bytes().size(); ++place) {
      charactersInPlace[place].insert(key.Bytes()[place]);
    }
    keys.insert(key);
  }
  EXPECT_EQ(keys.size(), c_many);
  for (const std::set<char>& characters : charactersInPlace) {
    // 64 characters in each of 15 places: 90 bits.
    EXPECT_EQ(characters.size(), 64U);
    EXPECT_TRUE(std::all_of(characters.begin(), characters.end(), [](char c) {
      return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '_';
    }));
  }
}

TEST(GeneratedKeys, HaveNoCharacterThatIsMarkedlyMoreFrequentThanAnother) {
  constexpr std::size_t c_many = 20000;
  std::array<std::size_t, 256> counts{};
  for (std::size_t i = 0; i < c_many; ++i) {
    const UniqueMetaObjectKey key = UniqueMetaObjectKey::Generate();
    for (const char c : key.Bytes()) {
      ++counts[static_cast<unsigned char>(c)];
    }
  }
  // About 4,700 of each; the bounds are fifteen standard deviations away.
  for (const std::size_t count : counts) {
    EXPECT_TRUE(count == 0 || (count > 3650 && count < 5750)) << count;
  }
}
