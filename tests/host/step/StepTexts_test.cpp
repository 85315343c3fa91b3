#include "host/step/StepTexts.h"

#include <gtest/gtest.h>

namespace {

using host::CleanStepText;
using host::Utf8Check;

Utf8Check Checked(std::string_view text, std::size_t pieceSize) {
  Utf8Check check;
  for (std::size_t i = 0; i < text.size(); i += pieceSize) {
    check.Take(text.substr(i, pieceSize));
  }
  check.Finish();
  return check;
}

TEST(CleanStepText, LeavesOrdinaryTextAsItIs) {
  EXPECT_EQ(CleanStepText(""), "");
  EXPECT_EQ(CleanStepText(" Болт М8х30 "), " Болт М8х30 ");
  EXPECT_EQ(CleanStepText("日本 😀"), "日本 😀");
}

TEST(CleanStepText, ARunOfControlCharactersBecomesOneSpace) {
  EXPECT_EQ(CleanStepText("a\r\nb"), "a b");
  EXPECT_EQ(CleanStepText("a\t\x7F\x01z"), "a z");
}

TEST(CleanStepText, NoSpaceStandsForControlCharactersAtEitherEnd) {
  EXPECT_EQ(CleanStepText("\n\na\n"), "a");
  EXPECT_EQ(CleanStepText("\n"), "");
}

TEST(CleanStepText, ControlCharactersBeyondAsciiAndLineSeparatorsAreReplacedToo) {
  EXPECT_EQ(CleanStepText("a\xC2\x85z"), "a z");
  EXPECT_EQ(CleanStepText("a\xE2\x80\xA8z"), "a z");
  EXPECT_EQ(CleanStepText("a\xC2\xA0z"), "a\xC2\xA0z");
}

TEST(CleanStepText, EachIllFormedPartBecomesOneReplacementCharacter) {
  EXPECT_EQ(CleanStepText("\xC1"), "\xEF\xBF\xBD");
  EXPECT_EQ(CleanStepText("a\xE2\x80z"), "a\xEF\xBF\xBDz");
  EXPECT_EQ(CleanStepText("\xE2\x80"), "\xEF\xBF\xBD");
  EXPECT_EQ(CleanStepText("\xED\xA0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD") << "a surrogate";
  EXPECT_EQ(CleanStepText("\xC0\xAF"), "\xEF\xBF\xBD\xEF\xBF\xBD") << "an overlong form";
  EXPECT_EQ(CleanStepText("\xF4\x90\x80\x80").substr(0, 3), "\xEF\xBF\xBD") << "beyond the last character";
}

TEST(Utf8Check, FindsNothingInUtf8HoweverItIsCut) {
  for (std::size_t pieceSize = 1; pieceSize < 8; ++pieceSize) {
    EXPECT_EQ(Checked("a\nБолт\n日本 😀", pieceSize).Places(), 0u) << pieceSize;
  }
}

TEST(Utf8Check, ARunOfBadBytesIsOnePlaceAndTheFirstLineIsKept) {
  for (std::size_t pieceSize = 1; pieceSize < 8; ++pieceSize) {
    const Utf8Check check = Checked("one\ntwo \xC1\xEE\xEB\xF2 x\n\xCC\xE8\n", pieceSize);
    EXPECT_EQ(check.Places(), 2u) << pieceSize;
    EXPECT_EQ(check.FirstLine(), 2u) << pieceSize;
  }
}

TEST(Utf8Check, ACharacterCutOffByTheEndIsAPlace) {
  const Utf8Check check = Checked("\n\n\xD0", 2);
  EXPECT_EQ(check.Places(), 1u);
  EXPECT_EQ(check.FirstLine(), 3u);
}

TEST(Utf8Check, ALineBreakInsideACharacterStillCounts) {
  const Utf8Check check = Checked("\xD0\n\xD0\n", 1);
  EXPECT_EQ(check.Places(), 2u);
  EXPECT_EQ(check.FirstLine(), 1u);
}

}  // namespace
