#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <qKernel/ComponentPath.h>
#include <qSys/ExceptionMode.h>

#include "tests/support/AllocationCounter.h"
#include "tests/support/ExceptionModeOff.h"
#include "tests/support/PlatformPrinting.h"

namespace {

static_assert(std::is_nothrow_move_constructible_v<MbPath> && std::is_nothrow_move_assignable_v<MbPath>);
static_assert(std::is_nothrow_move_constructible_v<ComponentPath> && std::is_nothrow_move_assignable_v<ComponentPath>);
static_assert(MbPath::c_inlineCount == 6);
static_assert(sizeof(MbPath) == 28 && sizeof(ComponentPath) == 28);

const MbPath c_short{1, 2, 3};
const MbPath c_inline{1, 2, 3, 4, 5, 6};
const MbPath c_long{1, 2, 3, 4, 5, 6, 7, 8};

MbPath Numbered(std::size_t count) {
  MbPath path;
  for (std::size_t i = 0; i < count; ++i) {
    path.Append(static_cast<MbPath::Element>(i));
  }
  return path;
}

}  // namespace

TEST(MbPath, OfDefaultIsEmpty) {
  const MbPath path;
  EXPECT_EQ(path.Count(), 0U);
  EXPECT_TRUE(path.IsEmpty());
  EXPECT_EQ(path.begin(), path.end());
}

TEST(MbPath, HoldsItsElementsInOrder) {
  MbPath path{7, 0, 0xFFFFFFFF};
  EXPECT_EQ(path.Count(), 3U);
  EXPECT_FALSE(path.IsEmpty());
  EXPECT_EQ(path[0], 7U);
  EXPECT_EQ(path[2], 0xFFFFFFFFU);
  path[1] = 5;
  EXPECT_EQ(std::vector<MbPath::Element>(path.begin(), path.end()), (std::vector<MbPath::Element>{7, 5, 0xFFFFFFFF}));
  *path.begin() = 8;
  EXPECT_EQ(std::as_const(path)[0], 8U);
}

TEST(MbPath, IsCopiedWithItsElements) {
  for (const MbPath& original : {MbPath(), c_short, c_inline, c_long}) {
    MbPath source = original;
    const MbPath copy = source;
    for (MbPath target : {MbPath(), c_short, c_inline, c_long}) {
      target = source;
      EXPECT_EQ(target, original);
    }
    source.Append(99);
    source[0] = 98;
    EXPECT_EQ(copy, original);
  }
}

TEST(MbPath, IsMovedWithItsElementsAndLeavesTheOtherEmpty) {
  for (const MbPath& original : {MbPath(), c_short, c_inline, c_long}) {
    MbPath source = original;
    const MbPath moved = std::move(source);
    EXPECT_EQ(moved, original);
    EXPECT_TRUE(source.IsEmpty());
    for (MbPath target : {MbPath(), c_short, c_inline, c_long}) {
      source = original;
      target = std::move(source);
      EXPECT_EQ(target, original);
      EXPECT_TRUE(source.IsEmpty());
    }
  }
}

TEST(MbPath, SurvivesBeingAssignedToItself) {
  for (MbPath path : {MbPath(), c_short, c_long}) {
    const MbPath before = path;
    MbPath& same = path;
    path = same;
    EXPECT_EQ(path, before);
    path = std::move(same);
    EXPECT_EQ(path, before);
  }
}

TEST(MbPath, IsReversedInPlace) {
  const std::vector<std::pair<MbPath, MbPath>> reversals{
      {{}, {}}, {{1}, {1}}, {{1, 2}, {2, 1}}, {{1, 2, 3}, {3, 2, 1}}, {c_long, {8, 7, 6, 5, 4, 3, 2, 1}}};
  for (const auto& [before, after] : reversals) {
    MbPath path = before;
    path.Reverse();
    EXPECT_EQ(path, after);
  }
}

TEST(MbPath, LosesItsElementsWhenCleared) {
  for (MbPath path : {MbPath(), c_short, c_long}) {
    path.Clear();
    EXPECT_TRUE(path.IsEmpty());
  }
}

TEST(MbPath, EqualsOneWithTheSameElementsInTheSameOrderOnly) {
  EXPECT_TRUE(c_long == MbPath(c_long));
  EXPECT_TRUE(MbPath() == MbPath());
  EXPECT_FALSE(c_short == (MbPath{1, 2}));
  EXPECT_FALSE((MbPath{1, 2}) == c_short);
  EXPECT_FALSE(c_short == (MbPath{3, 2, 1}));
  EXPECT_FALSE(MbPath() == MbPath{0});
}

TEST(MbPath, ComparesElementByElementAsUnsignedThenTheShorterFirst) {
  const std::vector<MbPath> ascending{{},     {0},       {0, 0}, {0, 5},       {1},
                                      {1, 2}, {1, 2, 3}, {2, 1}, {0x7FFFFFFF}, {0x80000000}};
  for (std::size_t left = 0; left < ascending.size(); ++left) {
    for (std::size_t right = 0; right < ascending.size(); ++right) {
      const int order = MbPath::Compare(ascending[left], ascending[right]);
      EXPECT_EQ(order < 0, left < right);
      EXPECT_EQ(order > 0, left > right);
    }
  }
}

TEST(MbPath, OfUpToSixElementsAsksForNoMemory) {
  const AllocationCounter counter;
  MbPath path{1, 2, 3, 4, 5, 6};
  MbPath copy = path;
  copy = path;
  MbPath moved = std::move(copy);
  moved.Reserve(6);
  for (MbPath::Element element = 0; element < 6; ++element) {
    moved.Append(element);
  }
  moved.Reverse();
  path.Clear();
  const std::size_t allocations = counter.Allocations();
  EXPECT_EQ(allocations, 0U);
  EXPECT_EQ(moved.Count(), 6U);
}

TEST(MbPath, OfMoreElementsAsksForMemoryOncePerCopy) {
  EXPECT_EQ(AllocationsOf([] { MbPath copy = c_long; }), 1U);
  MbPath target;
  EXPECT_EQ(AllocationsOf([&] { target = c_long; }), 1U);
  EXPECT_EQ(AllocationsOf([&] { target = c_long; }), 0U) << "the room is there";
}

TEST(MbPath, AsksForNoMemoryWhenItIsMoved) {
  MbPath source = c_long;
  MbPath target = c_long;
  EXPECT_EQ(AllocationsOf([&] {
              MbPath moved = std::move(source);
              target = std::move(moved);
            }),
            0U);
  EXPECT_EQ(target, c_long);
}

TEST(Reserve, DropsTheElementsAndMakesRoomForExactlySoMany) {
  for (const std::size_t count : {0U, 1U, 6U, 7U, 20U, 1000U}) {
    SCOPED_TRACE(count);
    MbPath path = c_short;
    EXPECT_EQ(AllocationsOf([&] { EXPECT_TRUE(path.Reserve(count)); }), count > 6 ? 1U : 0U);
    EXPECT_TRUE(path.IsEmpty());
    const std::size_t room = std::max<std::size_t>(count, 6);
    EXPECT_EQ(AllocationsOf([&] {
                for (std::size_t i = 0; i < room; ++i) {
                  path.Append(1);
                }
              }),
              0U);
    EXPECT_EQ(AllocationsOf([&] { path.Append(1); }), 1U);
  }
}

TEST(Append, AddsElementsAtTheEnd) {
  MbPath path;
  for (MbPath::Element element = 0; element < 1000; ++element) {
    EXPECT_TRUE(path.Append(element));
  }
  ASSERT_EQ(path.Count(), 1000U);
  for (MbPath::Element element = 0; element < 1000; ++element) {
    ASSERT_EQ(path[element], element);
  }
}

TEST(Append, GrowsAFullPathByHalfOfItsRoom) {
  MbPath path;
  std::vector<std::size_t> countsAtGrowth;
  for (std::size_t count = 0; count < 70; ++count) {
    if (AllocationsOf([&] { path.Append(1); }) != 0) {
      countsAtGrowth.push_back(count);
    }
  }
  EXPECT_EQ(countsAtGrowth, (std::vector<std::size_t>{6, 9, 13, 19, 28, 42, 63}));
}

TEST(ExceptionMode, IsOnAtTheStart) {
  EXPECT_TRUE(ExceptionMode::IsEnabled());
}

TEST(ExceptionMode, IsSwitchedOffAndOn) {
  {
    const ExceptionModeOff off;
    EXPECT_FALSE(ExceptionMode::IsEnabled());
  }
  EXPECT_TRUE(ExceptionMode::IsEnabled());
}

TEST(Reserve, BeyondTheMaximumIsMemoryNotObtained) {
  for (const std::size_t count :
       {MbPath::c_maxCount + 1, std::size_t{0xFFFFFFFF}, std::numeric_limits<std::size_t>::max()}) {
    MbPath path = c_short;
    const AllocationCounter counter;
    EXPECT_THROW(path.Reserve(count), std::bad_alloc);
    EXPECT_TRUE(path.IsEmpty());
    const ExceptionModeOff off;
    path = c_short;
    EXPECT_FALSE(path.Reserve(count));
    EXPECT_TRUE(path.IsEmpty());
    EXPECT_EQ(counter.Allocations(), 0U);
  }
}

TEST(Reserve, WithoutMemoryThrowsOrAnswersFalseAsExceptionModeSays) {
  MbPath path = c_short;
  {
    const FailingAllocations failing(1);
    EXPECT_THROW(path.Reserve(7), std::bad_alloc);
  }
  EXPECT_TRUE(path.IsEmpty());
  const ExceptionModeOff off;
  path = c_short;
  {
    const FailingAllocations failing(1);
    EXPECT_FALSE(path.Reserve(7));
  }
  EXPECT_TRUE(path.IsEmpty());
  EXPECT_TRUE(path.Append(1)) << "a path is usable after that";
  EXPECT_EQ(path, MbPath{1});
}

TEST(Append, WithoutMemoryThrowsAndKeepsTheElementsWhereExceptionModeIsOn) {
  MbPath path = c_inline;
  {
    const FailingAllocations failing(1);
    EXPECT_THROW(path.Append(7), std::bad_alloc);
  }
  EXPECT_EQ(path, c_inline);
}

TEST(Append, WithoutMemoryDropsTheElementAndKeepsTheOthersWhereExceptionModeIsOff) {
  const ExceptionModeOff off;
  MbPath path = c_inline;
  {
    const FailingAllocations failing(1);
    EXPECT_FALSE(path.Append(7));
    EXPECT_FALSE(path.Append(8));
  }
  EXPECT_EQ(path, c_inline);
  EXPECT_TRUE(path.Append(9));
  EXPECT_EQ(path, (MbPath{1, 2, 3, 4, 5, 6, 9}));
}

TEST(CopyingAPath, WithoutMemoryThrowsWhereExceptionModeIsOn) {
  MbPath target = c_short;
  const FailingAllocations failing(1);
  EXPECT_THROW(MbPath copy(c_long), std::bad_alloc);
  EXPECT_THROW(target = c_long, std::bad_alloc);
  EXPECT_THROW(ComponentPath copy(c_long), std::bad_alloc);
}

TEST(CopyingAPath, WithoutMemoryLeavesItEmptyWhereExceptionModeIsOff) {
  const ExceptionModeOff off;
  MbPath target = c_short;
  std::size_t copied = 0;
  {
    const FailingAllocations failing(1);
    const MbPath copy(c_long);
    const ComponentPath converted(c_long);
    target = c_long;
    copied = copy.Count() + converted.Count();
  }
  EXPECT_EQ(copied, 0U);
  EXPECT_TRUE(target.IsEmpty());
}

TEST(CopyingAPath, ThatFitsTheObjectNeverNeedsMemory) {
  MbPath target;
  {
    const FailingAllocations failing(1);
    target = c_inline;
  }
  EXPECT_EQ(target, c_inline);
}

TEST(APath, GivesItsMemoryBack) {
  const AllocationCounter counter;
  {
    MbPath path = Numbered(100);
    MbPath copy = path;
    path = MbPath();
    copy.Clear();
    MbPath moved = std::move(copy);
  }
  const std::size_t left = counter.Allocations() - counter.Releases();
  EXPECT_EQ(left, 0U);
}
