// What the model costs: no copy beyond what an answer holds, and no work in the square of what a document has. At these
// sizes such work takes minutes without optimisation; the system ends the program after one.

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sys/time.h>

#include "host/model/Aggregator.h"
#include "host/model/Bill.h"
#include "host/model/Embodiments.h"
#include "host/model/Findings.h"
#include "host/model/ModelDocument.h"
#include "host/model/RenewKeys.h"
#include "tests/host/model/TestModel.h"
#include "tests/support/AllocationCounter.h"

namespace {

using host::MetaObject;
using host::MetaObjectType;

constexpr time_t c_limitInSeconds = 60;

// The time that the program itself uses is limited, so that other programs cannot make a test fail.
class Cost : public testing::Test {
 protected:
  void SetUp() override { Limit(c_limitInSeconds); }
  void TearDown() override { Limit(0); }

 private:
  static void Limit(time_t seconds) {
    const itimerval timer{{0, 0}, {seconds, 0}};
    ASSERT_EQ(setitimer(ITIMER_VIRTUAL, &timer, nullptr), 0);
  }
};

// A machine of so many parts in one assembly, half of them bolts and half of a product of their own, with a body each.
class WideModel {
 public:
  explicit WideModel(std::uint32_t uses) {
    host::ProductData& data = document.productData;
    const UniqueMetaObjectKey machine = data.Add({MetaObjectType::assemblyProduct, {}, {}, {}});
    data.SetRootProduct(machine);
    base = data.Add({MetaObjectType::embodiment, machine, {}, {}});
    data.Find(machine)->embodiment = base;
    const UniqueMetaObjectKey bolt = data.Add({MetaObjectType::partProduct, {}, {}, {}});
    const UniqueMetaObjectKey lineOfBolts = data.Add({MetaObjectType::groupObject, bolt, machine, {}});
    for (std::uint32_t element = 1; element <= uses; ++element) {
      const bool isBolt = element % 2 == 0;
      const UniqueMetaObjectKey part = isBolt ? bolt : data.Add({MetaObjectType::partProduct, {}, {}, {}});
      const UniqueMetaObjectKey line =
          isBolt ? lineOfBolts : data.Add({MetaObjectType::groupObject, part, machine, {}});
      AddUse(element, data.Add({MetaObjectType::partOccurrence, part, {}, {}, line}));
    }
    host::NumberNewLines(document);
    host::RebuildPositionLinks(document);
  }

  host::Document document;
  UniqueMetaObjectKey base;

 private:
  void AddUse(std::uint32_t element, const UniqueMetaObjectKey& occurrence) {
    const ComponentPath path{element};
    host::Component component;
    component.objectType = GeometryObject3D::c_partComponent;
    component.occurrence = occurrence;
    document.productData.AddToGroup(base, occurrence);
    document.links->AddLink(occurrence, host::ComponentGeometry(path, component), LinkSet::Unique);
    document.components.emplace(path, component);
    document.bodies[path].push_back({GeometryObject3D::c_solid, MbName("body-1"), "", ""});
  }
};

UniqueMetaObjectKey AddVariant(TestModel& model) {
  MetaObject variant;
  variant.type = MetaObjectType::embodiment;
  variant.product = model.Product("M");
  return model.Data().Add(variant);
}

// ---- no copy beyond what is returned

// All keys here are short enough to live inside the objects.
TEST(Answers, WithoutAnObjectOfTheirOwnAllocateNothing) {
  TestModel model;
  model.SetAttributes(model.OccurrenceAt("3"), c_included);
  const host::Aggregator aggregator({&model.Data()});
  const UniqueMetaObjectKey bolt = model.OccurrenceAt("3");
  const UniqueMetaObjectKey line = model.Line("M", "B");
  const UniqueMetaObjectKey base = model.Base("M");
  EXPECT_EQ(AllocationsOf([&] {
              aggregator.HasObject(bolt);
              aggregator.GetMetaObjectType(bolt);
              aggregator.IsGroupObject(line);
              aggregator.GetGroupObjectKey(bolt);
              aggregator.GetGroupObjPropValue(base, line, c_position);
              aggregator.GetGroupObjPropValue(base, bolt, c_position);
              aggregator.GetObjPropValue(bolt, c_position);
              aggregator.GetMetaProductData(bolt);
              aggregator.IsManualBillet(bolt);
              const GroupPartHandler handler = aggregator.MakeGroupPartHandler(bolt);
              handler.IsValid();
              handler.GetRawPartHandler(bolt).GetProductPart();
            }),
            0u);
}

TEST(Answers, HoldOneNodeForEachGroupHoweverManyEmbodimentsThereAre) {
  TestModel model;
  for (int i = 0; i < 500; ++i) {
    AddVariant(model);
  }
  const UniqueMetaObjectKey last = AddVariant(model);
  model.Data().AddToGroup(last, model.OccurrenceAt("3"));
  const host::Aggregator aggregator({&model.Data()});
  const UniqueMetaObjectKey bolt = model.OccurrenceAt("3");
  const UniqueMetaObjectKey line = model.Line("M", "B");
  EXPECT_EQ(AllocationsOf([&] { aggregator.GetObjectGroups(bolt); }), 2u);
  EXPECT_EQ(AllocationsOf([&] { aggregator.GetObjectGroups(line); }), 2u);
}

TEST(Answers, AboutEmbodimentsOfShortPathsAllocateNothing) {
  TestModel model;
  const host::ModelEmbodiments embodiments(model.document, model.Base("M"));
  const ComponentPath path = host::ParsePath("1/2");
  EXPECT_EQ(AllocationsOf([&] { embodiments.Tree().GetEmbodimenKey(path); }), 0u);
}

TEST(Answers, AboutObjectsOfTheDocumentAllocateNothing) {
  TestModel model;
  const host::ModelDocument view(model.document, model.Base("M"));
  const GeometryObject3D body = model.BodyAt("4/3");
  EXPECT_EQ(AllocationsOf([&] { view.FindWrapper(body, nullptr); }), 0u);
}

// ---- nothing linear that is asked for each object, nothing quadratic at all

TEST_F(Cost, OfAskingTheAggregatorForEveryObjectIsNotQuadratic) {
  constexpr std::size_t c_many = 60'000;
  host::ProductData data;
  data.SetRootProduct(data.Add({MetaObjectType::assemblyProduct, {}, {}, {}, {}}));
  const UniqueMetaObjectKey base = data.Add({MetaObjectType::embodiment, data.RootProduct(), {}, {}, {}});
  const UniqueMetaObjectKey line = data.Add({MetaObjectType::groupObject, {}, data.RootProduct(), {}, {}});
  std::vector<UniqueMetaObjectKey> occurrences;
  for (std::size_t i = 0; i < c_many; ++i) {
    occurrences.push_back(data.Add({MetaObjectType::partOccurrence, {}, {}, {}, line}));
    data.AddToGroup(base, occurrences.back());
  }
  const host::Aggregator aggregator({&data});
  for (const UniqueMetaObjectKey& key : occurrences) {
    ASSERT_EQ(aggregator.GetMetaObjectType(key), 4u);
    ASSERT_EQ(aggregator.GetObjectGroups(key).size(), 1u);
    ASSERT_EQ(aggregator.GetObjectGroups(line).size(), 1u);
    ASSERT_TRUE(aggregator.GetGroupObjPropValue(base, key, c_position).IsEmpty());
  }
  for (const UniqueMetaObjectKey& key : occurrences) {
    data.Remove(key);
  }
  EXPECT_TRUE(data.FindGroup(base).lines.empty());
}

TEST_F(Cost, OfAnEmbodimentThatLeavesOutNearlyEverythingIsNotQuadratic) {
  constexpr std::size_t c_many = 150'000;
  host::Document document;
  host::ProductData& data = document.productData;
  data.SetRootProduct(data.Add({MetaObjectType::assemblyProduct, {}, {}, {}, {}}));
  const UniqueMetaObjectKey base = data.Add({MetaObjectType::embodiment, data.RootProduct(), {}, {}, {}});
  data.Find(data.RootProduct())->embodiment = base;
  std::vector<UniqueMetaObjectKey> without;
  for (std::size_t i = 0; i < c_many; ++i) {
    without.push_back(data.Add({MetaObjectType::partOccurrence, {}, {}, {}, {}}));
    data.AddToGroup(base, without.back());
  }
  without.pop_back();
  const UniqueMetaObjectKey added = host::AddEmbodiment(document, "small", "01", without);
  EXPECT_EQ(data.FindGroup(added).members.size(), 1u);
}

class WideCost : public Cost {
 protected:
  static constexpr std::uint32_t c_uses = 30'000;

  WideModel model{c_uses};
};

TEST_F(WideCost, OfBillsIsNotQuadratic) {
  EXPECT_EQ(host::MakeBills(model.document, model.base).front().lines.size(), c_uses / 2 + 1);
  EXPECT_EQ(host::MakeFlatBill(model.document, model.base).lines.size(), c_uses / 2 + 1);
}

TEST_F(WideCost, OfFindingsIsNotQuadratic) {
  EXPECT_TRUE(host::FindFaults(model.document, model.base).empty());
}

TEST_F(WideCost, OfARepairIsNotQuadratic) {
  host::ProductData& data = model.document.productData;
  const std::set<UniqueMetaObjectKey> members = data.FindGroup(model.base).members;
  for (const UniqueMetaObjectKey& occurrence : members) {
    data.Remove(occurrence);
  }
  host::RepairLinks(model.document);
  model.document.links->ForEachLink([](const ProductGeometryObject3D&) { ADD_FAILURE() << "a link"; }, LinkSet::Unique);
}

TEST_F(WideCost, OfFreshKeysIsNotQuadratic) {
  const std::size_t before = model.document.productData.All().size();
  host::RenewKeys(model.document);
  EXPECT_EQ(model.document.productData.All().size(), before);
}

}  // namespace
