// What long jobs report of their progress. Each of them does the same with and without a listener.

#include "host/ProgressCallback.h"

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/model/Bill.h"
#include "host/model/Findings.h"
#include "tests/host/ProgressRecord.h"
#include "tests/host/model/TestModel.h"

using host::ProgressCallback;
using host::ProgressStage;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;

namespace {

// ---- a stage

TEST(ProgressStage, ReportsItsBeginEveryStepAndItsEnd) {
  std::vector<double> heard;
  ProgressStage stage(
      [&heard](std::string_view name, double fraction) {
        EXPECT_EQ(name, "working");
        heard.push_back(fraction);
      },
      "working", 4);
  EXPECT_THAT(heard, ElementsAre(0));
  stage.Advance();
  stage.Advance(2);
  stage.Advance();
  EXPECT_THAT(heard, ElementsAre(0, 0.25, 0.75, 1));
}

TEST(ProgressStage, ReportsAboutAHundredTimesOfManyItems) {
  for (const std::uint64_t items : {199u, 1'000u, 12'345u, 1'000'000u}) {
    ProgressRecord record;
    ProgressStage stage(record.Callback(), "working", items);
    for (std::uint64_t item = 0; item < items; ++item) {
      stage.Advance();
    }
    EXPECT_THAT(record.reports, AllOf(Ge(100u), Le(200u))) << items;
    EXPECT_THAT(record.ends, ElementsAre(1)) << items;
  }
}

TEST(ProgressStage, ReportsOneForWhatGoesBeyondTheEstimate) {
  for (const std::uint64_t items : {0u, 1u, 3u}) {
    ProgressRecord record;
    ProgressStage stage(record.Callback(), "working", items);
    for (int item = 0; item < 10; ++item) {
      stage.Advance();
    }
    EXPECT_THAT(record.ends, ElementsAre(1)) << items;
  }
}

TEST(ProgressStage, NeedsNobodyToListen) {
  ProgressStage unheard(ProgressCallback(), "working", 2);
  unheard.Advance(3);
  ProgressStage none;
  none.Advance();
}

TEST(ProgressStage, PassesOnWhatTheListenerThrows) {
  const ProgressCallback angry = [](std::string_view, double) { throw std::logic_error("enough"); };
  EXPECT_THROW(ProgressStage(angry, "working", 1), std::logic_error);
}

// ---- the jobs

// 300 plates, 300 bolts and 4 frames, so that not every one of them is worth a report.
std::vector<TestProduct> ManyProducts() {
  std::vector<std::string> uses(300, "P");
  uses.insert(uses.end(), 300, "B");
  uses.insert(uses.end(), 4, "F");
  std::vector<TestProduct> products = MachineProducts();
  products[0].uses = uses;
  return products;
}

class ProgressOf : public testing::Test {
 protected:
  // One stage, to its end, in far fewer reports than there are occurrences.
  void ExpectStage(const std::string& stage) {
    EXPECT_THAT(record.stages, ElementsAre(stage));
    EXPECT_THAT(record.ends, ElementsAre(1));
    EXPECT_THAT(record.reports, AllOf(Ge(20u), Le(220u)));
  }

  TestModel model{ManyProducts()};
  ProgressRecord record;
};

TEST_F(ProgressOf, Bills) {
  const std::vector<host::Bill> bills = host::MakeBills(model.document, model.Base("M"), record.Callback());
  ExpectStage("counting");
  const std::vector<host::Bill> unheard = host::MakeBills(model.document, model.Base("M"));
  ASSERT_EQ(bills.size(), unheard.size());
  EXPECT_EQ(bills.front().lines.size(), unheard.front().lines.size());
}

TEST_F(ProgressOf, TheFlatBill) {
  host::MakeFlatBill(model.document, model.Base("M"), record.Callback());
  ExpectStage("counting");
}

TEST_F(ProgressOf, TheSearchForFaults) {
  EXPECT_THAT(host::FindFaults(model.document, model.Base("M"), record.Callback()), IsEmpty());
  ExpectStage("checking");
}

TEST_F(ProgressOf, TheSearchForFaultsAmongMoreLinksThanAreExpected) {
  for (std::uint32_t element = 1'000; element < 5'000; ++element) {
    model.document.links->AddLink(model.Line("M", "B"), {1, ComponentPath{element}, MbPath(), MbName("body-1")},
                                  LinkSet::Validated);
  }
  host::FindFaults(model.document, model.Base("M"), record.Callback());
  EXPECT_THAT(record.stages, ElementsAre("checking"));
  EXPECT_THAT(record.ends, ElementsAre(1));
}

TEST_F(ProgressOf, ARepair) {
  host::RepairLinks(model.document, record.Callback());
  EXPECT_THAT(record.stages, ElementsAre("repairing"));
  EXPECT_THAT(record.ends, ElementsAre(1));
}

TEST_F(ProgressOf, AMergeIntoANewDocument) {
  host::Document document;
  host::MergeAssembly(document, StructureOf(ManyProducts()), "file", record.Callback());
  ExpectStage("merging");
}

TEST_F(ProgressOf, AMergeIntoAnEarlierRevision) {
  std::vector<TestProduct> revised = ManyProducts();
  revised[0].uses.resize(250);
  host::MergeAssembly(model.document, StructureOf(revised), "file", record.Callback());
  ExpectStage("merging");
}

TEST_F(ProgressOf, AMergeOfAPartWithoutAnyAssembly) {
  host::Document document;
  host::MergeAssembly(document, StructureOf({{"B", "Bolt", {}, 1}}), "file", record.Callback());
  EXPECT_THAT(record.stages, ElementsAre("merging"));
  EXPECT_THAT(record.ends, ElementsAre(1));
}

}  // namespace
