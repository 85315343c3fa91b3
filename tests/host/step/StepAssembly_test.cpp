#include "host/step/StepAssembly.h"

#include <limits>

#include <gmock/gmock.h>

namespace {

using host::CountStepOccurrences;
using host::ExcessOf;
using host::OrderHoldersFirst;
using host::StepAssembly;
using host::StepProduct;
using host::StepUse;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

StepProduct Holding(const std::vector<std::size_t>& products) {
  StepProduct holder;
  for (const std::size_t product : products) {
    StepUse use;
    use.product = product;
    holder.uses.push_back(use);
  }
  return holder;
}

TEST(CountStepOccurrences, APartAloneHasNone) {
  StepAssembly assembly;
  assembly.products = {Holding({})};
  assembly.roots = {0};
  EXPECT_EQ(CountStepOccurrences(assembly), 0u);
}

TEST(CountStepOccurrences, EveryUseOfAnAssemblyCountsItsContentsAnew) {
  StepAssembly assembly;
  assembly.products = {Holding({1, 1, 2}), Holding({2, 2}), Holding({})};
  assembly.roots = {0};
  EXPECT_EQ(CountStepOccurrences(assembly), 2u + 2u * 2u + 1u);
}

TEST(CountStepOccurrences, ARootThatIsUsedAsWellCountsTwice) {
  StepAssembly assembly;
  assembly.products = {Holding({1}), Holding({2}), Holding({})};
  assembly.roots = {0, 1};
  EXPECT_EQ(CountStepOccurrences(assembly), 2u + 1u);
}

TEST(CountStepOccurrences, ProductsThatNoRootReachesDoNotCount) {
  StepAssembly assembly;
  assembly.products = {Holding({}), Holding({0, 0})};
  assembly.roots = {0};
  EXPECT_EQ(CountStepOccurrences(assembly), 0u);
}

TEST(CountStepOccurrences, StopsAtTheGreatestValue) {
  StepAssembly assembly;
  for (std::size_t level = 1; level <= 100; ++level) {
    assembly.products.push_back(Holding({level, level}));
  }
  assembly.products.push_back(Holding({}));
  assembly.roots = {0};
  EXPECT_EQ(CountStepOccurrences(assembly), std::numeric_limits<std::uint64_t>::max());
}

// A chain of so many levels, each holding the next one `width` times; the innermost has so many bodies.
StepAssembly Tower(std::size_t levels, std::size_t width, std::size_t bodies) {
  StepAssembly assembly;
  for (std::size_t level = 1; level <= levels; ++level) {
    assembly.products.push_back(Holding(std::vector<std::size_t>(width, level)));
  }
  assembly.products.emplace_back().bodies.resize(bodies);
  assembly.roots = {0};
  return assembly;
}

TEST(ExcessOf, IsNoneForWhatAnEngineerWouldBuild) {
  EXPECT_EQ(ExcessOf(Tower(0, 0, 1)), std::nullopt);
  EXPECT_EQ(ExcessOf(Tower(6, 10, 10)), std::nullopt);
}

TEST(ExcessOf, NamesTheOccurrences) {
  EXPECT_EQ(ExcessOf(Tower(2, 4471, 0)), std::nullopt);
  EXPECT_THAT(ExcessOf(Tower(2, 4472, 0)).value_or(""), StartsWith("more than 20000000 occurrences"));
  EXPECT_THAT(ExcessOf(Tower(100, 2, 0)).value_or(""), StartsWith("more than 20000000 occurrences"));
}

TEST(ExcessOf, NamesTheBodiesAsOftenAsTheyOccur) {
  EXPECT_EQ(ExcessOf(Tower(1, 20'000, 1'000)), std::nullopt);
  EXPECT_THAT(ExcessOf(Tower(1, 20'000, 1'001)).value_or(""), StartsWith("more than 20000000 bodies"));
}

TEST(ExcessOf, NamesTheLevels) {
  EXPECT_EQ(ExcessOf(Tower(host::c_maxLevels, 1, 0)), std::nullopt);
  EXPECT_THAT(ExcessOf(Tower(host::c_maxLevels + 1, 1, 0)).value_or(""), HasSubstr("1001 levels deep"));
}

TEST(ExcessOf, NamesTheLevelsWherePathsTakeMoreThanObjects) {
  EXPECT_EQ(ExcessOf(Tower(500, 1, 999'000)), std::nullopt);
  EXPECT_THAT(ExcessOf(Tower(500, 1, 1'000'000)).value_or(""), HasSubstr("500 levels deep"));
}

TEST(ExcessOf, LeavesOutWhatNoRootReaches) {
  StepAssembly assembly = Tower(host::c_maxLevels + 1, 1, 0);
  assembly.roots = {assembly.products.size() - 1};
  EXPECT_EQ(ExcessOf(assembly), std::nullopt);
}

TEST(OrderHoldersFirst, PutsEveryHolderBeforeWhatItUses) {
  EXPECT_THAT(OrderHoldersFirst({Holding({}), Holding({0, 2}), Holding({0})}), ElementsAre(1, 2, 0));
}

TEST(OrderHoldersFirst, LeavesOutACycleAndWhatHangsOnIt) {
  EXPECT_THAT(OrderHoldersFirst({Holding({1}), Holding({2}), Holding({1, 3}), Holding({})}), ElementsAre(0));
}

}  // namespace
