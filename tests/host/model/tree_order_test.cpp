// The order in which components are kept: that of the tree, read from the top.

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "host/model/Document.h"
#include "tests/support/PlatformPrinting.h"

namespace {

using Elements = std::vector<std::uint32_t>;

// A stored path from elements given with the outermost component first.
ComponentPath Stored(const Elements& outermostFirst) {
  ComponentPath path;
  for (auto element = outermostFirst.rbegin(); element != outermostFirst.rend(); ++element) {
    path.Append(*element);
  }
  return path;
}

bool Before(const Elements& left, const Elements& right) {
  return host::TreeOrder()(Stored(left), Stored(right));
}

TEST(TreeOrder, PutsAComponentBeforeWhatItHolds) {
  EXPECT_TRUE(Before({}, {1}));
  EXPECT_TRUE(Before({3}, {3, 1}));
  EXPECT_TRUE(Before({3, 1}, {3, 1, 1}));
  EXPECT_FALSE(Before({3, 1}, {3}));
}

TEST(TreeOrder, PutsWhatAComponentHoldsBeforeItsNextSibling) {
  EXPECT_TRUE(Before({3, 9, 9}, {4}));
  EXPECT_FALSE(Before({4}, {3, 9, 9}));
}

TEST(TreeOrder, OrdersSiblingsByTheirNumbers) {
  EXPECT_TRUE(Before({3, 2}, {3, 10}));
  EXPECT_TRUE(Before({1}, {4294967295}));
}

TEST(TreeOrder, ComparesTheOutermostComponentFirstThoughItIsStoredLast) {
  EXPECT_TRUE(host::TreeOrder()(MbPath{9, 1}, MbPath{1, 2}));
  EXPECT_FALSE(host::TreeOrder()(MbPath{1, 2}, MbPath{9, 1}));
}

TEST(TreeOrder, HasNoPathBeforeItself) {
  EXPECT_FALSE(Before({}, {}));
  EXPECT_FALSE(Before({3, 1}, {3, 1}));
}

RC_GTEST_PROP(TreeOrder, IsThatOfTheElementsFromTheOutermostOn, ()) {
  const auto anyPath = rc::gen::container<Elements>(rc::gen::element<std::uint32_t>(0, 1, 2, 4294967295));
  const Elements left = *anyPath;
  const Elements right = *anyPath;
  RC_ASSERT(Before(left, right) == (left < right));
}

}  // namespace
