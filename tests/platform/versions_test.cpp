#include <gtest/gtest.h>

#include <qSys/Versions.h>

TEST(IsVersion16bit, IsTrueBelowItsThresholdOnly) {
  EXPECT_TRUE(IsVersion16bit(0));
  EXPECT_TRUE(IsVersion16bit(0x03FFFFFF));
  EXPECT_FALSE(IsVersion16bit(0x04000000));
  EXPECT_FALSE(IsVersion16bit(0xFFFFFFFF));
}

TEST(IsVersion64bit, IsTrueFromItsThresholdOn) {
  EXPECT_FALSE(IsVersion64bit(0));
  EXPECT_FALSE(IsVersion64bit(0x0EFFFFFF));
  EXPECT_TRUE(IsVersion64bit(0x0F000000));
  EXPECT_TRUE(IsVersion64bit(0xFFFFFFFF));
}

TEST(MathVersions, ReachAllThreeFormsOfCounts) {
  EXPECT_TRUE(IsVersion16bit(0x03000000) && !IsVersion64bit(0x03000000));
  EXPECT_TRUE(!IsVersion16bit(0x0E000000) && !IsVersion64bit(0x0E000000));
  // The one version that is compared by its number lies among the 64-bit ones, on both sides.
  EXPECT_TRUE(IsVersion64bit(0x0F001000) && IsVersion64bit(0x0F001001));
}

TEST(MathVersions, AreNeverBoth16bitAnd64bit) {
  for (std::uint32_t high = 0; high < 0x10000; ++high) {
    EXPECT_FALSE(IsVersion16bit(high << 16) && IsVersion64bit(high << 16));
  }
}

TEST(StreamVersions, OfDefaultAreTheCurrentOnes) {
  EXPECT_EQ(StreamVersions(), (StreamVersions{c_currentAppVersion, c_currentMathVersion}));
  EXPECT_FALSE(StreamVersions() == (StreamVersions{c_currentAppVersion, 0}));
  EXPECT_FALSE(StreamVersions() == (StreamVersions{0, c_currentMathVersion}));
}
