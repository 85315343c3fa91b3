#include <type_traits>

#include <gtest/gtest.h>

#include "tests/support/PlatformPrinting.h"

// A path with the outermost component first.

static_assert(std::is_base_of_v<MbPath, ComponentPath>);

TEST(ComponentPath, HasThePathsThatBeginWithItInItsBranch) {
  EXPECT_TRUE((ComponentPath{1, 2}).IsSubDirectory({1, 2, 3}));
  EXPECT_TRUE((ComponentPath{1, 2}).IsSubDirectory({1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_TRUE((ComponentPath{1}).IsSubDirectory({1, 1}));
}

TEST(ComponentPath, LiesInItsOwnBranch) {
  EXPECT_TRUE((ComponentPath{1, 2}).IsSubDirectory({1, 2}));
  EXPECT_TRUE(ComponentPath().IsSubDirectory({}));
}

TEST(ComponentPath, ThatIsEmptyHasEveryPathInItsBranch) {
  EXPECT_TRUE(ComponentPath().IsSubDirectory({1}));
  EXPECT_TRUE(ComponentPath().IsSubDirectory({7, 8, 9}));
}

TEST(ComponentPath, DoesNotHaveShorterPathsInItsBranch) {
  EXPECT_FALSE((ComponentPath{1, 2}).IsSubDirectory({1}));
  EXPECT_FALSE((ComponentPath{1, 2}).IsSubDirectory({}));
  EXPECT_FALSE((ComponentPath{0}).IsSubDirectory({}));
}

TEST(ComponentPath, DoesNotHavePathsInItsBranchThatDifferInAnyOfItsElements) {
  EXPECT_FALSE((ComponentPath{1, 2}).IsSubDirectory({2, 2, 3}));
  EXPECT_FALSE((ComponentPath{1, 2}).IsSubDirectory({1, 3, 3}));
  EXPECT_FALSE((ComponentPath{1, 2}).IsSubDirectory({3, 1, 2}));
  EXPECT_FALSE((ComponentPath{1, 2}).IsSubDirectory({2, 1}));
}

TEST(ComponentPath, IsMadeFromAPlainPath) {
  const MbPath path{1, 2, 3};
  EXPECT_EQ(ComponentPath(path), path);
}
