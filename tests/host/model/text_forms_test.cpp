// How paths, keys, versions and values are written for people, and read back from them.

#include "host/model/TextForms.h"

#include <chrono>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "host/HostError.h"
#include "tests/support/PlatformPrinting.h"

using testing::HasSubstr;
using testing::Not;

namespace {

using host::BytesOfText;
using host::BytesText;
using host::HostError;
using host::ParsePath;
using host::ParseVersion;
using host::PathText;
using host::ToUtf8;
using host::ToWide;
using host::ValueText;

// The text of the error that a call ends with; empty where it does not.
template <class Call>
std::string ErrorOf(Call call) {
  try {
    call();
  } catch (const HostError& error) {
    return error.what();
  }
  return {};
}

bool HasControlCharacters(const std::string& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const bool isC1 = byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
    if (byte < 0x20 || byte == 0x7F || isC1) {
      return true;
    }
  }
  return false;
}

// ---- paths

TEST(PathText, WritesTheOutermostComponentFirst) {
  EXPECT_EQ(PathText(MbPath{2, 1, 3}), "3/1/2");
  EXPECT_EQ(PathText(MbPath{7}), "7");
}

TEST(PathText, OfTheDocumentItselfIsASlash) {
  EXPECT_EQ(PathText(MbPath()), "/");
}

TEST(PathText, WritesTheExtremesOfAnElement) {
  EXPECT_EQ(PathText(MbPath{0, 4294967295}), "4294967295/0");
}

TEST(ParsePath, StoresTheOutermostComponentLast) {
  EXPECT_EQ(ParsePath("3/1/2"), (MbPath{2, 1, 3}));
  EXPECT_EQ(ParsePath("4294967295/0"), (MbPath{0, 4294967295}));
}

TEST(ParsePath, TakesASlashForTheDocumentItself) {
  EXPECT_TRUE(ParsePath("/").IsEmpty());
}

TEST(ParsePath, RefusesEverythingElseAndSaysHowToWriteOne) {
  for (const std::string text : {"", " ", "//", "3/", "/3", "3//1", "3/1 ", " 3", "-1", "+1", "0x1", "a", "3.0", "3,1",
                                 "4294967296", "18446744073709551617", "1/x/2", "\xEF\xBC\x93"}) {
    const std::string error = ErrorOf([&] { ParsePath(text); });
    EXPECT_THAT(error, HasSubstr("'" + text + "' is no component path")) << "for '" << text << "'";
    EXPECT_THAT(error, HasSubstr("3/1/2"));
  }
  EXPECT_THAT(ErrorOf([] { ParsePath(std::string("3\0001", 3)); }), HasSubstr("'3\\x001' is no component path"));
  EXPECT_THAT(ErrorOf([] { ParsePath("3\n1"); }), Not(HasSubstr("\n")));
}

RC_GTEST_PROP(ParsePath, ReadsWhatPathTextWrites, (const std::vector<std::uint32_t>& elements)) {
  MbPath path;
  for (const std::uint32_t element : elements) {
    path.Append(element);
  }
  RC_ASSERT(ParsePath(PathText(path)) == path);
}

// ---- bytes

TEST(BytesText, LeavesTextAsItIs) {
  EXPECT_EQ(BytesText("Bolt M8 / 'x' \"y\""), "Bolt M8 / 'x' \"y\"");
  EXPECT_EQ(BytesText("\xD0\x93\xE2\x82\xAC\xF0\x9F\x94\xA9"), "\xD0\x93\xE2\x82\xAC\xF0\x9F\x94\xA9");
  EXPECT_EQ(BytesText(""), "");
}

TEST(BytesText, EscapesControlCharactersAndBackslashes) {
  EXPECT_EQ(BytesText(std::string_view("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(BytesText("\n\t\x1B[2J\x7F"), "\\x0A\\x09\\x1B[2J\\x7F");
  EXPECT_EQ(BytesText("\xC2\x85"), "\\xC2\\x85");
  EXPECT_EQ(BytesText("\xC2\xA0"), "\xC2\xA0");
  EXPECT_EQ(BytesText("C:\\x41"), "C:\\x5Cx41");
}

TEST(BytesText, EscapesWhatIsNoUtf8) {
  EXPECT_EQ(BytesText("\xFF"), "\\xFF");
  EXPECT_EQ(BytesText("\x80"), "\\x80");
  // Cut off, overlong, a surrogate, beyond the last code point.
  EXPECT_EQ(BytesText("a\xD0"), "a\\xD0");
  EXPECT_EQ(BytesText("\xC0\xAF"), "\\xC0\\xAF");
  EXPECT_EQ(BytesText("\xED\xA0\x80"), "\\xED\\xA0\\x80");
  EXPECT_EQ(BytesText("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80");
}

TEST(BytesText, ReadsBackForEveryPairOfBytes) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      const std::string bytes{static_cast<char>(first), static_cast<char>(second)};
      const std::string text = BytesText(bytes);
      ASSERT_EQ(BytesOfText(text), bytes) << first << ", " << second;
      ASSERT_TRUE(host::IsUtf8(text)) << first << ", " << second;
      ASSERT_FALSE(HasControlCharacters(text)) << first << ", " << second;
    }
  }
}

RC_GTEST_PROP(BytesText, IsOneLineOfUtf8AndReadsBack, (const std::string& bytes)) {
  const std::string text = BytesText(bytes);
  RC_ASSERT(BytesOfText(text) == bytes);
  RC_ASSERT(host::IsUtf8(text));
  RC_ASSERT(!HasControlCharacters(text));
}

TEST(BytesOfText, TakesHexadecimalDigitsOfBothCases) {
  EXPECT_EQ(BytesOfText("\\xAb\\xaB"), "\xAB\xAB");
}

TEST(BytesOfText, RefusesABackslashWithoutTwoDigits) {
  for (const char* text :
       {"\\", "a\\", "\\x", "\\x1", "\\xG0", "\\x0G", "\\X00", "\\n", "\\\\", "\\x+1", "\\x-1", "\\x 1"}) {
    EXPECT_THAT(ErrorOf([&] { BytesOfText(text); }), HasSubstr("a backslash is followed by x")) << text;
  }
}

TEST(KeyText, ShowsAKeyOfAnyBytes) {
  EXPECT_EQ(host::KeyText(UniqueMetaObjectKey(std::string("k\0\xFF", 3))), "k\\x00\\xFF");
}

// ---- wide text

TEST(WideText, RoundTripsEveryPlane) {
  const std::string utf8 = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x94\xA9\xF4\x8F\xBF\xBF";
  const std::wstring wide = ToWide(utf8);
  EXPECT_EQ(wide, L"aé€\U0001F529\U0010FFFF");
  EXPECT_EQ(ToUtf8(wide), utf8);
}

TEST(WideText, KeepsZeroCharacters) {
  const std::string utf8("a\0b", 3);
  EXPECT_EQ(ToWide(utf8), std::wstring(L"a\0b", 3));
  EXPECT_EQ(ToUtf8(ToWide(utf8)), utf8);
}

TEST(WideText, LeavesOutWhatIsNoText) {
  EXPECT_EQ(ToWide("a\xFF"
                   "b\xED\xA0\x80"
                   "c"),
            L"abc");
  EXPECT_EQ(ToUtf8(std::wstring{L'a', wchar_t{0xD800}, L'b', wchar_t{0x110000}, L'c'}), "abc");
}

TEST(IsUtf8, TellsTextFromOtherBytes) {
  EXPECT_TRUE(host::IsUtf8(""));
  EXPECT_TRUE(host::IsUtf8("a\xD0\x93\xF0\x9F\x94\xA9"));
  EXPECT_FALSE(host::IsUtf8("a\xFFz"));
  EXPECT_FALSE(host::IsUtf8("\xD0"));
  EXPECT_FALSE(host::IsUtf8("\xED\xA0\x80"));
}

// ---- versions

TEST(VersionText, HasEightHexadecimalDigits) {
  EXPECT_EQ(host::VersionText(0x17000002), "0x17000002");
  EXPECT_EQ(host::VersionText(0), "0x00000000");
  EXPECT_EQ(host::VersionText(0xFFFFFFFF), "0xFFFFFFFF");
}

TEST(ParseVersion, TakesHexadecimalWithAPrefixAndDecimal) {
  EXPECT_EQ(ParseVersion("0x17000002", "-v"), 0x17000002u);
  EXPECT_EQ(ParseVersion("0XfFfFfFfF", "-v"), 0xFFFFFFFFu);
  EXPECT_EQ(ParseVersion("385875970", "-v"), 0x17000002u);
  EXPECT_EQ(ParseVersion("0", "-v"), 0u);
  EXPECT_EQ(ParseVersion("10", "-v"), 10u);
}

TEST(ParseVersion, RefusesEverythingElseAndNamesTheOption) {
  for (const std::string text :
       {"", "0x", "0x100000000", "4294967296", "-1", "+1", "17 ", " 17", "1e3", "0x0x1", "0xG", "17000002h", "v1"}) {
    EXPECT_EQ(ErrorOf([&] { ParseVersion(text, "--app-version"); }),
              "--app-version '" + text + "' is no version; write a 32-bit number such as 0x17000002");
  }
}

// ---- object types and values

TEST(ObjectTypeText, NamesTheTypesAndGivesOthersAsNumbers) {
  EXPECT_EQ(host::ObjectTypeText(1), "solid");
  EXPECT_EQ(host::ObjectTypeText(2), "open shell");
  EXPECT_EQ(host::ObjectTypeText(104), "part");
  EXPECT_EQ(host::ObjectTypeText(200), "assembly");
  EXPECT_EQ(host::ObjectTypeText(0), "0");
  EXPECT_EQ(host::ObjectTypeText(4294967295), "4294967295");
}

TEST(ValueText, ShowsEveryKindOfValue) {
  EXPECT_EQ(ValueText(SimplePropVal()), "");
  EXPECT_EQ(ValueText(SimplePropVal(std::wstring(L"Größe"))),
            "Gr\xC3\xB6\xC3\x9F"
            "e");
  EXPECT_EQ(ValueText(SimplePropVal(true)), "true");
  EXPECT_EQ(ValueText(SimplePropVal(false)), "false");
  EXPECT_EQ(ValueText(SimplePropVal(-7)), "-7");
  EXPECT_EQ(ValueText(SimplePropVal(0.1)), "0.1");
}

TEST(ValueText, ShowsTimesInUtc) {
  using std::chrono::seconds;
  EXPECT_EQ(ValueText(SimplePropVal(SimplePropVal::DateTime(seconds(0)))), "1970-01-01T00:00:00Z");
  EXPECT_EQ(ValueText(SimplePropVal(SimplePropVal::DateTime(seconds(1582979696)))), "2020-02-29T12:34:56Z");
  EXPECT_EQ(ValueText(SimplePropVal(SimplePropVal::DateTime(seconds(-1)))), "1969-12-31T23:59:59Z");
}

TEST(ValueText, ShowsTimesThatNoCalendarReachesAsSomethingElse) {
  for (const std::int64_t extreme :
       {std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min()}) {
    EXPECT_NO_THROW(ValueText(SimplePropVal(SimplePropVal::DateTime(std::chrono::seconds(extreme)))));
  }
}

}  // namespace
