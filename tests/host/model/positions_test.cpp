// Position numbers and position links.

#include "host/model/Positions.h"

#include <limits>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/HostError.h"
#include "host/model/Embodiments.h"
#include "tests/host/model/TestModel.h"
#include "tests/support/StreamLink.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

namespace {

using host::BilletKind;

class Positions : public testing::Test {
 protected:
  std::optional<std::int32_t> Number(const std::string& assembly, const std::string& product) {
    return host::StoredPosition(model.Data(), model.Base(assembly), model.Line(assembly, product));
  }
  bool IsByHand(const std::string& assembly, const std::string& product) {
    return host::IsSetByHand(model.Data(), model.Base(assembly), model.Line(assembly, product));
  }
  void Set(const std::string& assembly, const std::string& product, std::int32_t number, bool byHand = true) {
    host::SetPosition(model.Data(), model.Base(assembly), model.Line(assembly, product), number, byHand);
  }
  std::int32_t& LastOf(const std::string& assembly) { return model.Data().Find(model.Base(assembly))->lastPosition; }

  TestModel model;
};

// The machine with other uses in its root.
std::vector<TestProduct> MachineWith(std::vector<std::string> uses) {
  std::vector<TestProduct> products = MachineProducts();
  products.front().uses = std::move(uses);
  products.push_back({"N", "Nut", {}, 1});
  products.push_back({"W", "Washer", {}, 1});
  return products;
}

// ---- lines

TEST_F(Positions, KnowTheLinesOfEachAssemblyInTheOrderOfTheirFirstOccurrence) {
  EXPECT_THAT(host::LinesByAssembly(model.document),
              UnorderedElementsAre(Pair(model.Product("M"),
                                        ElementsAre(model.Line("M", "F"), model.Line("M", "P"), model.Line("M", "B"))),
                                   Pair(model.Product("F"), ElementsAre(model.Line("F", "P"), model.Line("F", "B")))));
}

TEST_F(Positions, KnowNoLineOfAnOccurrenceThatHasNoneOrIsGone) {
  model.ObjectAt("2").groupObject = UniqueMetaObjectKey();
  model.Data().Remove(model.OccurrenceAt("3"));
  EXPECT_THAT(host::LinesByAssembly(model.document).at(model.Product("M")), ElementsAre(model.Line("M", "F")));
}

TEST(PositionsOfAPart, HaveNoLines) {
  TestModel part({{"B", "Bolt", {}, 1}});
  EXPECT_THAT(host::LinesByAssembly(part.document), IsEmpty());
}

// ---- numbers

TEST_F(Positions, BeginWithOneInTheOrderOfTheFirstOccurrenceWithinTheAssembly) {
  EXPECT_EQ(Number("M", "F"), 1);
  EXPECT_EQ(Number("M", "P"), 2);
  EXPECT_EQ(Number("M", "B"), 3);
  EXPECT_EQ(Number("F", "P"), 1);
  EXPECT_EQ(Number("F", "B"), 2);
}

TEST_F(Positions, AreNotSetByHandAtFirst) {
  EXPECT_FALSE(IsByHand("M", "F"));
}

TEST_F(Positions, AreHeldPerGroup) {
  EXPECT_EQ(host::StoredPosition(model.Data(), model.Base("F"), model.Line("M", "B")), std::nullopt);
  EXPECT_EQ(host::StoredPosition(model.Data(), UniqueMetaObjectKey("nobody"), model.Line("M", "B")), std::nullopt);
}

TEST_F(Positions, AreWholeNumbersAndNoOtherValues) {
  model.Data().SetGroupValue(model.Base("M"), model.Line("M", "B"), c_position, SimplePropVal(std::wstring(L"3")));
  EXPECT_EQ(Number("M", "B"), std::nullopt);
  model.Data().SetGroupValue(model.Base("M"), model.Line("M", "B"), c_position, SimplePropVal(3.0));
  EXPECT_EQ(Number("M", "B"), std::nullopt);
}

TEST_F(Positions, CanBeSetByHand) {
  Set("M", "B", 40);
  EXPECT_EQ(Number("M", "B"), 40);
  EXPECT_TRUE(IsByHand("M", "B"));
  EXPECT_FALSE(IsByHand("M", "P"));
  EXPECT_EQ(Number("F", "B"), 2);
}

TEST_F(Positions, ThatAreSetOtherwiseAreNoLongerSetByHand) {
  Set("M", "B", 40, true);
  Set("M", "B", 41, false);
  EXPECT_EQ(Number("M", "B"), 41);
  EXPECT_FALSE(IsByHand("M", "B"));
}

TEST_F(Positions, RememberTheGreatestNumberThatWasEverGiven) {
  EXPECT_EQ(LastOf("M"), 3);
  Set("M", "B", 40);
  EXPECT_EQ(LastOf("M"), 40);
  Set("M", "B", 4);
  EXPECT_EQ(LastOf("M"), 40);
  EXPECT_EQ(LastOf("F"), 2);
}

TEST_F(Positions, StayAsTheyAreWhereLinesHaveOne) {
  Set("M", "P", 7);
  host::NumberNewLines(model.document);
  EXPECT_EQ(Number("M", "F"), 1);
  EXPECT_EQ(Number("M", "P"), 7);
  EXPECT_TRUE(IsByHand("M", "P"));
  EXPECT_EQ(Number("M", "B"), 3);
}

TEST_F(Positions, OfNewLinesAreTheNextOnesInTheOrderOfFirstOccurrence) {
  model.Update(MachineWith({"W", "F", "P", "B", "F", "N"}));
  EXPECT_EQ(Number("M", "F"), 1);
  EXPECT_EQ(Number("M", "P"), 2);
  EXPECT_EQ(Number("M", "B"), 3);
  EXPECT_EQ(Number("M", "W"), 4);
  EXPECT_EQ(Number("M", "N"), 5);
}

TEST_F(Positions, OfNewLinesComeAfterOneThatAPersonHasSet) {
  Set("M", "B", 40);
  model.Update(MachineWith({"F", "P", "B", "F", "N"}));
  EXPECT_EQ(Number("M", "B"), 40);
  EXPECT_TRUE(IsByHand("M", "B"));
  EXPECT_EQ(Number("M", "N"), 41);
}

TEST_F(Positions, OfLinesThatAreGoneAreNeverGivenAgain) {
  model.Update(MachineWith({"F", "P", "F"}));
  model.Update(MachineWith({"F", "P", "F", "N"}));
  EXPECT_EQ(Number("M", "N"), 4);
  model.Update(MachineWith({"F", "P", "F", "N", "B"}));
  EXPECT_EQ(Number("M", "B"), 5);
}

TEST_F(Positions, AreNotGivenToStock) {
  model.MakeStock(model.Line("M", "P"), BilletKind::associative);
  ASSERT_EQ(Number("M", "P"), std::nullopt);
  host::NumberNewLines(model.document);
  EXPECT_EQ(Number("M", "P"), std::nullopt);
  EXPECT_EQ(LastOf("M"), 3);
}

TEST_F(Positions, StayAwayFromStockWhenTheFileIsRevised) {
  model.MakeStock(model.Line("M", "P"), BilletKind::manual);
  model.Update(MachineWith({"F", "P", "B", "F", "N"}));
  EXPECT_EQ(Number("M", "P"), std::nullopt);
  EXPECT_EQ(Number("M", "N"), 4);
}

TEST_F(Positions, AreNotGivenToLinesThatDoNotOccurInAnEmbodiment) {
  const UniqueMetaObjectKey variant =
      host::AddEmbodiment(model.document, "without bolt", "01", {model.OccurrenceAt("3")});
  host::NumberNewLines(model.document);
  EXPECT_EQ(host::StoredPosition(model.Data(), variant, model.Line("M", "B")), std::nullopt);
  EXPECT_EQ(host::StoredPosition(model.Data(), variant, model.Line("M", "P")), 2);
}

TEST_F(Positions, AreGivenInAllEmbodimentsOfAnAssembly) {
  const UniqueMetaObjectKey variant = host::AddEmbodiment(model.document, "other", "01", {});
  Set("M", "B", 40);
  model.Update(MachineWith({"F", "P", "B", "F", "N"}));
  EXPECT_EQ(Number("M", "N"), 41);
  EXPECT_EQ(host::StoredPosition(model.Data(), variant, model.Line("M", "N")), 4);
}

TEST_F(Positions, GoOnBeyondTheGreatestThatMayBeSetByHand) {
  Set("M", "B", host::c_maxPosition);
  model.Update(MachineWith({"F", "P", "B", "F", "N"}));
  EXPECT_EQ(Number("M", "N"), 1'000'000);
}

TEST_F(Positions, RunOutWithAnErrorThatNamesTheAssembly) {
  LastOf("M") = std::numeric_limits<std::int32_t>::max();
  try {
    model.Update(MachineWith({"F", "P", "B", "F", "N"}));
    FAIL() << "no error";
  } catch (const host::DocumentError& error) {
    EXPECT_THAT(error.what(), AllOf(HasSubstr("M Machine: "), HasSubstr("2147483647"), HasSubstr("import")));
  }
}

TEST_F(Positions, ThatHaveRunOutDoNoHarmWhereNoLineIsNew) {
  LastOf("M") = std::numeric_limits<std::int32_t>::max();
  EXPECT_NO_THROW(model.Update(MachineProducts()));
}

TEST_F(Positions, ThatWereSetForAnEmbodimentThatIsGoneAreHeldAllTheSame) {
  const UniqueMetaObjectKey gone("gone");
  host::SetPosition(model.Data(), gone, model.Line("M", "B"), 5, false);
  EXPECT_EQ(host::StoredPosition(model.Data(), gone, model.Line("M", "B")), 5);
}

// ---- links

StreamLinks ValidatedLinks(const host::Document& document) {
  return LinksOf(*document.links, LinkSet::Validated);
}

TEST_F(Positions, HaveLinksThatAreTheSameWhenTheyAreMadeAnew) {
  const StreamLinks before = ValidatedLinks(model.document);
  // In each frame the weld, two bodies of the plate and three bolts; beside them a plate and a bolt; two keys each.
  EXPECT_EQ(before.size(), 2u * (2 * (1 + 2 + 3) + 2 + 1));
  host::RebuildPositionLinks(model.document);
  EXPECT_EQ(ValidatedLinks(model.document), before);
}

TEST_F(Positions, HaveLinksThatAreMadeWhereTheyAreMissing) {
  const StreamLinks before = ValidatedLinks(model.document);
  model.document.links->RemoveGeometryObjectLinks(model.BodyAt("1/2"), LinkSet::Validated);
  host::RebuildPositionLinks(model.document);
  EXPECT_EQ(ValidatedLinks(model.document), before);
}

TEST_F(Positions, HaveLinksThatTakeThePlaceOfAllOthersOfABodyOrComponent) {
  const StreamLinks before = ValidatedLinks(model.document);
  model.document.links->AddLink(model.OccurrenceAt("2"), model.BodyAt("3"), LinkSet::Validated);
  model.document.links->AddLink(model.OccurrenceAt("2"), model.GeometryAt("3"), LinkSet::Validated);
  host::RebuildPositionLinks(model.document);
  EXPECT_EQ(ValidatedLinks(model.document), before);
}

TEST_F(Positions, HaveLinksThatAreRebuiltWithoutAnyHarmToTheUniqueOnes) {
  const StreamLinks before = LinksOf(*model.document.links, LinkSet::Unique);
  ASSERT_EQ(before.size(), 12u);
  host::RebuildPositionLinks(model.document);
  EXPECT_EQ(LinksOf(*model.document.links, LinkSet::Unique), before);
}

TEST_F(Positions, HaveLinksThatTheRebuildLeavesWhereTheirBodyIsGone) {
  const GeometryObject3D gone(1, ComponentPath{99}, MbPath(), MbName("body-1"));
  model.document.links->AddLink(model.OccurrenceAt("2"), gone, LinkSet::Validated);
  host::RebuildPositionLinks(model.document);
  EXPECT_TRUE(model.document.links->HasLink(model.OccurrenceAt("2"), gone, LinkSet::Validated));
}

// ---- purge

TEST_F(Positions, HaveLinksOfWhichNoneIsPurgedInACleanDocument) {
  const StreamLinks before = ValidatedLinks(model.document);
  EXPECT_EQ(host::PurgeInvalidLinks(model.document), 0u);
  EXPECT_EQ(ValidatedLinks(model.document), before);
}

TEST_F(Positions, HaveLinksOfWhichTheInvalidOnesArePurgedAndCounted) {
  const StreamLinks before = ValidatedLinks(model.document);
  model.document.links->AddLink(model.Product("B"), model.BodyAt("3"), LinkSet::Validated);
  model.document.links->AddLink(UniqueMetaObjectKey("nobody"), model.BodyAt("3"), LinkSet::Both);
  EXPECT_EQ(host::PurgeInvalidLinks(model.document), 2u);
  EXPECT_EQ(ValidatedLinks(model.document), before);
  EXPECT_TRUE(model.document.links->HasLink(UniqueMetaObjectKey("nobody"), model.BodyAt("3"), LinkSet::Unique));
}

TEST_F(Positions, HaveLinksThatArePurgedByTheBaseEmbodimentAlone) {
  host::AddEmbodiment(model.document, "without bolt", "01", {model.OccurrenceAt("3")});
  EXPECT_EQ(host::PurgeInvalidLinks(model.document), 0u);
}

TEST_F(Positions, HaveAStoreThatAcceptsAnyLinkAfterAPurge) {
  host::PurgeInvalidLinks(model.document);
  model.document.links->AddLink(model.Product("B"), model.BodyAt("3"), LinkSet::Validated);
  EXPECT_TRUE(model.document.links->HasLink(model.Product("B"), model.BodyAt("3"), LinkSet::Validated));
}

}  // namespace
