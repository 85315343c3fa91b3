#include "host/step/StepAssembly.h"

#include <limits>

#include <gmock/gmock.h>

namespace {

using host::CountStepOccurrences;
using host::OrderHoldersFirst;
using host::StepAssembly;
using host::StepProduct;
using host::StepUse;
using testing::ElementsAre;

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

TEST(OrderHoldersFirst, PutsEveryHolderBeforeWhatItUses) {
  EXPECT_THAT(OrderHoldersFirst({Holding({}), Holding({0, 2}), Holding({0})}), ElementsAre(1, 2, 0));
}

TEST(OrderHoldersFirst, LeavesOutACycleAndWhatHangsOnIt) {
  EXPECT_THAT(OrderHoldersFirst({Holding({1}), Holding({2}), Holding({1, 3}), Holding({})}), ElementsAre(0));
}

}  // namespace
