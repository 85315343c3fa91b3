// Bills of materials.

#include "host/model/Bill.h"

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/model/Embodiments.h"
#include "tests/host/model/TestModel.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using host::Bill;
using host::BilletKind;
using host::BillLine;
using host::MetaObject;

class BillOfTheMachine : public testing::Test {
 protected:
  std::vector<Bill> Bills() { return BillsIn(model.Base("M")); }
  std::vector<Bill> BillsIn(const UniqueMetaObjectKey& embodiment) {
    return host::MakeBills(model.document, embodiment);
  }

  // Position, marking and count of each line.
  using Row = std::tuple<std::string, std::string, std::size_t>;
  static std::vector<Row> Rows(const Bill& bill) {
    std::vector<Row> rows;
    for (const BillLine& line : bill.lines) {
      rows.emplace_back(host::ValueText(line.position), line.marking, line.count);
    }
    return rows;
  }

  static std::vector<std::string> Texts(const std::vector<host::BodyPlace>& places) {
    std::vector<std::string> texts;
    for (const host::BodyPlace& place : places) {
      texts.push_back(host::PathText(place.component) + " " + std::string(place.name.Bytes()));
    }
    return texts;
  }

  static const BillLine& LineOf(const std::vector<Bill>& bills, std::size_t bill, const std::string& marking) {
    for (const BillLine& line : bills.at(bill).lines) {
      if (line.marking == marking) {
        return line;
      }
    }
    throw std::out_of_range(marking);
  }

  TestModel model;
};

// ---- what counts

TEST(CountsInBill, UnlessSomebodyHasTakenItOut) {
  MetaObject object;
  EXPECT_TRUE(host::CountsInBill(object));
  object.part = AttributedPart{c_included};
  EXPECT_TRUE(host::CountsInBill(object));
  object.part = AttributedPart{c_bound};
  EXPECT_TRUE(host::CountsInBill(object));
  object.part = AttributedPart{c_excluded};
  EXPECT_FALSE(host::CountsInBill(object));
  object.part = AttributedPart{c_notIncluded};
  EXPECT_FALSE(host::CountsInBill(object));
  object.part = ForeignPart();
  EXPECT_TRUE(host::CountsInBill(object));
}

// ---- bills

TEST_F(BillOfTheMachine, IsOneForTheRootAndOneForEveryAssemblyInTheOrderOfTheTree) {
  const std::vector<Bill> bills = Bills();
  ASSERT_THAT(bills, SizeIs(2));
  EXPECT_EQ(bills[0].assembly, model.Product("M"));
  EXPECT_EQ(bills[0].embodiment, model.Base("M"));
  EXPECT_EQ(bills[0].depth, 0u);
  EXPECT_EQ(bills[1].assembly, model.Product("F"));
  EXPECT_EQ(bills[1].embodiment, model.Base("F"));
  EXPECT_EQ(bills[1].depth, 1u);
}

TEST(BillsOfNestedAssemblies, KnowTheDepthAtWhichEachOccursFirst) {
  TestModel model({{"M", "", {"S", "B", "T"}}, {"S", "", {"T", "B"}}, {"T", "", {"B"}}, {"B", "", {}, 1}});
  std::vector<std::pair<std::string, std::size_t>> depths;
  for (const Bill& bill : host::MakeBills(model.document, model.Base("M"))) {
    depths.emplace_back(model.Data().DisplayName(bill.assembly), bill.depth);
  }
  EXPECT_THAT(depths, ElementsAre(std::pair("M", 0), std::pair("S", 1), std::pair("T", 2)));
}

TEST_F(BillOfTheMachine, CountsWhatOneAssemblyHasThoughItIsUsedTwice) {
  const std::vector<Bill> bills = Bills();
  EXPECT_THAT(Rows(bills[0]), ElementsAre(Row("1", "F", 2), Row("2", "P", 1), Row("3", "B", 1)));
  EXPECT_THAT(Rows(bills[1]), ElementsAre(Row("1", "P", 1), Row("2", "B", 3)));
}

TEST_F(BillOfTheMachine, NamesItsLinesByTheProductUsed) {
  const BillLine& line = LineOf(Bills(), 1, "B");
  EXPECT_EQ(line.groupObject, model.Line("F", "B"));
  EXPECT_EQ(line.name, "Bolt");
}

TEST_F(BillOfTheMachine, ListsTheBodiesOfAllOccurrencesWhereverTheAssemblyIsUsed) {
  const std::vector<Bill> bills = Bills();
  EXPECT_THAT(Texts(LineOf(bills, 1, "B").bodies),
              ElementsAre("1/2 body-1", "1/3 body-1", "1/4 body-1", "4/2 body-1", "4/3 body-1", "4/4 body-1"));
  EXPECT_THAT(Texts(LineOf(bills, 1, "P").bodies), ElementsAre("1/1 body-1", "1/1 body-2", "4/1 body-1", "4/1 body-2"));
  EXPECT_THAT(Texts(LineOf(bills, 0, "F").bodies), ElementsAre("1 body-1", "4 body-1"));
}

TEST_F(BillOfTheMachine, IsInTheOrderOfPositions) {
  host::SetPosition(model.Data(), model.Base("M"), model.Line("M", "F"), 20, true);
  host::SetPosition(model.Data(), model.Base("M"), model.Line("M", "B"), 10, true);
  EXPECT_THAT(Rows(Bills()[0]), ElementsAre(Row("2", "P", 1), Row("10", "B", 1), Row("20", "F", 2)));
}

TEST_F(BillOfTheMachine, HasLinesOfOnePositionInTheOrderOfTheirFirstOccurrence) {
  for (const char* product : {"B", "F", "P"}) {
    host::SetPosition(model.Data(), model.Base("M"), model.Line("M", product), 5, true);
  }
  EXPECT_THAT(Rows(Bills()[0]), ElementsAre(Row("5", "F", 2), Row("5", "P", 1), Row("5", "B", 1)));
}

TEST_F(BillOfTheMachine, HasLinesWithoutAPositionLast) {
  for (const char* product : {"F", "P"}) {
    model.Data().SetGroupValue(model.Base("M"), model.Line("M", product), c_position, SimplePropVal());
  }
  EXPECT_THAT(Rows(Bills()[0]), ElementsAre(Row("3", "B", 1), Row("", "F", 2), Row("", "P", 1)));
}

TEST_F(BillOfTheMachine, HasStockWithoutAPosition) {
  for (const BilletKind kind : {BilletKind::manual, BilletKind::associative}) {
    model.MakeStock(model.Line("M", "P"), kind);
    const std::vector<Bill> bills = Bills();
    EXPECT_THAT(Rows(bills[0]), ElementsAre(Row("1", "F", 2), Row("3", "B", 1), Row("", "P", 1)));
    EXPECT_THAT(LineOf(bills, 0, "P").disagreeing, IsEmpty());
  }
}

TEST_F(BillOfTheMachine, HasStockWithoutAPositionAlsoAfterTheFileWasRevised) {
  model.MakeStock(model.Line("M", "P"), BilletKind::manual);
  model.Update(MachineProducts());
  const std::vector<Bill> bills = Bills();
  EXPECT_THAT(Rows(bills[0]), ElementsAre(Row("1", "F", 2), Row("3", "B", 1), Row("", "P", 1)));
  EXPECT_THAT(LineOf(bills, 0, "P").disagreeing, IsEmpty());
}

// ---- what is taken out

TEST_F(BillOfTheMachine, LeavesOutOccurrencesThatAreExcludedOrNotIncluded) {
  model.SetAttributes(model.OccurrenceAt("1/2"), c_excluded);
  model.SetAttributes(model.OccurrenceAt("1/4"), c_notIncluded);
  const std::vector<Bill> bills = Bills();
  EXPECT_THAT(Rows(bills[1]), ElementsAre(Row("1", "P", 1), Row("2", "B", 1)));
  EXPECT_THAT(Texts(LineOf(bills, 1, "B").bodies), ElementsAre("1/3 body-1", "4/2 body-1", "4/3 body-1", "4/4 body-1"));
}

TEST_F(BillOfTheMachine, CountsInTheFirstUseThatHasOccurrencesLeft) {
  for (const char* path : {"1/2", "1/3", "1/4", "4/2"}) {
    model.SetAttributes(model.OccurrenceAt(path), c_excluded);
  }
  EXPECT_THAT(Rows(Bills()[1]), ElementsAre(Row("1", "P", 1), Row("2", "B", 2)));
}

TEST_F(BillOfTheMachine, LeavesOutALineWhoseOccurrencesAreAllTakenOut) {
  model.SetAttributes(model.OccurrenceAt("2"), c_excluded);
  EXPECT_THAT(Rows(Bills()[0]), ElementsAre(Row("1", "F", 2), Row("3", "B", 1)));
}

TEST_F(BillOfTheMachine, LeavesOutLinesThatAreExcludedOrNotIncluded) {
  model.SetAttributes(model.Line("M", "P"), c_excluded);
  model.SetAttributes(model.Line("M", "B"), c_notIncluded);
  EXPECT_THAT(Rows(Bills()[0]), ElementsAre(Row("1", "F", 2)));
  EXPECT_THAT(Rows(Bills()[1]), ElementsAre(Row("1", "P", 1), Row("2", "B", 3)));
}

TEST_F(BillOfTheMachine, HasTheBillOfAnAssemblyWhoseOwnLineIsTakenOut) {
  model.SetAttributes(model.Line("M", "F"), c_excluded);
  const std::vector<Bill> bills = Bills();
  EXPECT_THAT(Rows(bills[0]), ElementsAre(Row("2", "P", 1), Row("3", "B", 1)));
  EXPECT_THAT(Rows(bills.at(1)), ElementsAre(Row("1", "P", 1), Row("2", "B", 3)));
}

TEST_F(BillOfTheMachine, LeavesOutOccurrencesThatHaveNoLineOrAreGone) {
  model.ObjectAt("2").groupObject = UniqueMetaObjectKey();
  model.Data().Remove(model.OccurrenceAt("3"));
  EXPECT_THAT(Rows(Bills()[0]), ElementsAre(Row("1", "F", 2)));
}

TEST_F(BillOfTheMachine, HasALineThatOccurrencesOfSeveralAssembliesClaimInEachOfThem) {
  model.ObjectAt("1/1").groupObject = model.Line("M", "F");
  model.ObjectAt("1/2").groupObject = model.Line("M", "F");
  const std::vector<Bill> bills = Bills();
  EXPECT_EQ(LineOf(bills, 0, "F").count, 2u);
  EXPECT_EQ(LineOf(bills, 1, "F").count, 2u);
}

// ---- embodiments

TEST_F(BillOfTheMachine, LeavesOutWhatItsEmbodimentDoesNotHold) {
  const UniqueMetaObjectKey variant =
      host::AddEmbodiment(model.document, "small", "01", {model.OccurrenceAt("1"), model.OccurrenceAt("3")});
  const std::vector<Bill> bills = BillsIn(variant);
  ASSERT_THAT(bills, SizeIs(2));
  EXPECT_EQ(bills[0].embodiment, variant);
  EXPECT_THAT(Rows(bills[0]), ElementsAre(Row("1", "F", 1), Row("2", "P", 1)));
  EXPECT_THAT(Texts(LineOf(bills, 1, "B").bodies), ElementsAre("4/2 body-1", "4/3 body-1", "4/4 body-1"));
  EXPECT_THAT(Rows(bills[1]), ElementsAre(Row("1", "P", 1), Row("2", "B", 3)));
  EXPECT_THAT(Bills()[0].lines, SizeIs(3));
}

TEST_F(BillOfTheMachine, LeavesOutAnAssemblyThatItsEmbodimentDoesNotHoldWithAllBelow) {
  const UniqueMetaObjectKey variant =
      host::AddEmbodiment(model.document, "small", "01", {model.OccurrenceAt("1"), model.OccurrenceAt("4")});
  EXPECT_THAT(BillsIn(variant), SizeIs(1));
}

TEST_F(BillOfTheMachine, HasThePositionsOfItsEmbodiment) {
  const UniqueMetaObjectKey variant = host::AddEmbodiment(model.document, "other", "01", {});
  host::SetPosition(model.Data(), variant, model.Line("M", "P"), 12, true);
  EXPECT_THAT(Rows(BillsIn(variant)[0]), ElementsAre(Row("1", "F", 2), Row("3", "B", 1), Row("12", "P", 1)));
  EXPECT_THAT(LineOf(BillsIn(variant), 0, "P").disagreeing, IsEmpty());
  EXPECT_THAT(Rows(Bills()[0]), ElementsAre(Row("1", "F", 2), Row("2", "P", 1), Row("3", "B", 1)));
}

TEST(BillOfAPart, HasNoLines) {
  TestModel part({{"B", "Bolt", {}, 1}});
  const std::vector<Bill> bills = host::MakeBills(part.document, part.Data().RootEmbodiment());
  ASSERT_THAT(bills, SizeIs(1));
  EXPECT_EQ(bills[0].assembly, part.Product("B"));
  EXPECT_THAT(bills[0].lines, IsEmpty());
}

// ---- lines and bodies

TEST_F(BillOfTheMachine, AgreesWithAllBodiesInACleanDocument) {
  for (const Bill& bill : Bills()) {
    for (const BillLine& line : bill.lines) {
      EXPECT_THAT(line.disagreeing, IsEmpty()) << line.marking;
    }
  }
}

TEST_F(BillOfTheMachine, FindsABodyWithoutAPosition) {
  model.document.links->RemoveGeometryObjectLinks(model.BodyAt("4/1", 2), LinkSet::Validated);
  const std::vector<Bill> bills = Bills();
  EXPECT_THAT(Texts(LineOf(bills, 1, "P").disagreeing), ElementsAre("4/1 body-2"));
  EXPECT_THAT(LineOf(bills, 1, "P").bodies, SizeIs(4));
  EXPECT_THAT(LineOf(bills, 1, "B").disagreeing, IsEmpty());
}

TEST_F(BillOfTheMachine, FindsABodyWithAnotherPosition) {
  model.document.links->RemoveGeometryObjectLinks(model.BodyAt("1/2"), LinkSet::Validated);
  model.document.links->AddLink(model.Line("F", "P"), model.BodyAt("1/2"), LinkSet::Validated);
  EXPECT_THAT(Texts(LineOf(Bills(), 1, "B").disagreeing), ElementsAre("1/2 body-1"));
}

TEST_F(BillOfTheMachine, FindsABodyWithTwoPositions) {
  model.document.links->AddLink(model.Line("F", "P"), model.BodyAt("1/2"), LinkSet::Validated);
  EXPECT_THAT(Texts(LineOf(Bills(), 1, "B").disagreeing), ElementsAre("1/2 body-1"));
}

TEST_F(BillOfTheMachine, FindsABodyWithTwoPositionsOfWhichTheFirstIsItsOwn) {
  model.document.links->AddLink(model.Line("F", "B"), model.BodyAt("1/1"), LinkSet::Validated);
  EXPECT_THAT(Texts(LineOf(Bills(), 1, "P").disagreeing), ElementsAre("1/1 body-1"));
}

TEST_F(BillOfTheMachine, FindsABodyOfStockThatHasAPosition) {
  model.MakeStock(model.Line("M", "P"), BilletKind::manual);
  model.document.links->AddLink(model.Line("M", "B"), model.BodyAt("2"), LinkSet::Validated);
  EXPECT_THAT(Texts(LineOf(Bills(), 0, "P").disagreeing), ElementsAre("2 body-1"));
}

// ---- flat

TEST_F(BillOfTheMachine, SumsAllPartsOfTheProductWhenFlat) {
  const Bill bill = host::MakeFlatBill(model.document, model.Base("M"));
  EXPECT_EQ(bill.assembly, model.Product("M"));
  EXPECT_EQ(bill.embodiment, model.Base("M"));
  EXPECT_EQ(bill.depth, 0u);
  EXPECT_THAT(Rows(bill), ElementsAre(Row("", "B", 7), Row("", "P", 3)));
  EXPECT_EQ(bill.lines[0].name, "Bolt");
  EXPECT_THAT(Texts(bill.lines[0].bodies), ElementsAre("1/2 body-1", "1/3 body-1", "1/4 body-1", "3 body-1",
                                                       "4/2 body-1", "4/3 body-1", "4/4 body-1"));
  EXPECT_THAT(bill.lines[1].bodies, SizeIs(6));
}

TEST(FlatBill, IsInTheOrderOfMarkingsThenOfNames) {
  TestModel model({{"M", "", {"C", "A", "B", "D", "E", "F"}},
                   {"A", "6", {}},
                   {"B", "2", {}},
                   {"C", "5", {}},
                   {"D", "3", {}},
                   {"E", "4", {}},
                   {"F", "1", {}}});
  // Four with the same marking; keys are in no order, so nothing else sorts them.
  for (const char* product : {"C", "D", "E", "F"}) {
    model.Data().Find(model.Product(product))->properties[c_marking] = SimplePropVal(std::wstring(L"X"));
  }
  std::vector<std::string> texts;
  for (const BillLine& line : host::MakeFlatBill(model.document, model.Base("M")).lines) {
    texts.push_back(line.marking + line.name);
  }
  EXPECT_THAT(texts, ElementsAre("A6", "B2", "X1", "X3", "X4", "X5"));
}

TEST_F(BillOfTheMachine, IsFlatWithoutWhatIsTakenOut) {
  model.SetAttributes(model.OccurrenceAt("1/2"), c_excluded);
  model.SetAttributes(model.Line("F", "P"), c_notIncluded);
  EXPECT_THAT(Rows(host::MakeFlatBill(model.document, model.Base("M"))), ElementsAre(Row("", "B", 6), Row("", "P", 1)));
}

TEST_F(BillOfTheMachine, IsFlatWithStockAndWithPartsThatHaveNoLine) {
  model.MakeStock(model.Line("M", "P"), BilletKind::associative);
  model.ObjectAt("3").groupObject = UniqueMetaObjectKey();
  EXPECT_THAT(Rows(host::MakeFlatBill(model.document, model.Base("M"))), ElementsAre(Row("", "B", 7), Row("", "P", 3)));
}

TEST_F(BillOfTheMachine, IsFlatWithoutWhatItsEmbodimentDoesNotHold) {
  const UniqueMetaObjectKey variant =
      host::AddEmbodiment(model.document, "small", "01", {model.OccurrenceAt("1"), model.OccurrenceAt("3")});
  const Bill bill = host::MakeFlatBill(model.document, variant);
  EXPECT_EQ(bill.embodiment, variant);
  EXPECT_THAT(Rows(bill), ElementsAre(Row("", "B", 3), Row("", "P", 2)));
}

}  // namespace
