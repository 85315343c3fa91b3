// What is wrong with a document, and its repair.

#include "host/model/Findings.h"

#include <set>
#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/model/Embodiments.h"
#include "tests/host/model/TestModel.h"
#include "tests/support/StreamLink.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

using host::BilletKind;
using host::Finding;

class Findings : public testing::Test {
 protected:
  std::vector<Finding> Find() { return host::FindFaults(model.document, model.Base("M")); }

  // Kind, object and body of each finding.
  using Row = std::tuple<std::string, std::string, std::string>;
  std::vector<Row> Rows() { return RowsIn(model.Base("M")); }
  std::vector<Row> RowsIn(const UniqueMetaObjectKey& embodiment) {
    std::vector<Row> rows;
    for (const Finding& finding : host::FindFaults(model.document, embodiment)) {
      rows.emplace_back(finding.kind, finding.object, finding.body);
    }
    return rows;
  }

  void Link(const UniqueMetaObjectKey& key, const GeometryObject3D& geometry, LinkSet set) {
    model.document.links->AddLink(key, geometry, set);
  }

  TestModel model;
  const GeometryObject3D goneBody{1, ComponentPath{9, 1}, MbPath(), MbName("body-1")};
};

TEST_F(Findings, AreNoneInACleanDocument) {
  EXPECT_THAT(Rows(), IsEmpty());
}

TEST(FindingsOfAPart, AreNone) {
  TestModel part({{"B", "Bolt", {}, 1}});
  EXPECT_THAT(host::FindFaults(part.document, part.Data().RootEmbodiment()), IsEmpty());
}

// ---- links

TEST_F(Findings, HoldALinkOfAMetaObjectThatIsGone) {
  Link(Key("no\nbody"), model.BodyAt("3"), LinkSet::Validated);
  EXPECT_THAT(Rows(), ElementsAre(Row("gone-object", "no\\x0Abody", "solid 3 body-1")));
  EXPECT_EQ(Find().front().text, "validated link of a meta object that is gone");
}

TEST_F(Findings, HoldALinkOfABodyThatIsGone) {
  Link(model.OccurrenceAt("3"), goneBody, LinkSet::Validated);
  EXPECT_THAT(Rows(), ElementsAre(Row("gone-body", "B Bolt", "solid 1/9 body-1")));
  EXPECT_EQ(Find().front().text, "validated link to a 3D object that is gone");
}

TEST_F(Findings, HoldALinkOfAComponentThatIsGone) {
  model.document.links->RemoveMetaObjectLinks(model.OccurrenceAt("3"), LinkSet::Unique);
  Link(model.OccurrenceAt("3"), GeometryObject3D(104, ComponentPath{9}, MbPath(), MbName()), LinkSet::Unique);
  EXPECT_THAT(Rows(), ElementsAre(Row("gone-body", "B Bolt", "part 9")));
  EXPECT_EQ(Find().front().text, "unique link to a 3D object that is gone");
}

TEST_F(Findings, HoldALinkOfWhichBothEndsAreGoneOnce) {
  Link(Key("nobody"), goneBody, LinkSet::Validated);
  EXPECT_THAT(Rows(), ElementsAre(Row("gone-object", "nobody", "solid 1/9 body-1")));
}

TEST_F(Findings, HoldALinkOfEachSetForItself) {
  Link(Key("nobody"), goneBody, LinkSet::Both);
  std::vector<std::string> texts;
  for (const Finding& finding : Find()) {
    texts.push_back(finding.text);
  }
  EXPECT_THAT(texts,
              ElementsAre("unique link of a meta object that is gone", "validated link of a meta object that is gone"));
}

TEST_F(Findings, HoldALinkThatIsNotValid) {
  Link(model.Product("B"), model.BodyAt("3"), LinkSet::Validated);
  EXPECT_THAT(Rows(), ElementsAre(Row("invalid-link", "B Bolt", "solid 3 body-1")));
  EXPECT_EQ(Find().front().text, "validated link that is not valid in this embodiment");
}

TEST_F(Findings, HoldALinkOfTheUniqueSetThatIsNotValid) {
  Link(model.Product("B"), model.BodyAt("3"), LinkSet::Unique);
  EXPECT_THAT(Rows(), ElementsAre(Row("invalid-link", "B Bolt", "solid 3 body-1")));
  EXPECT_EQ(Find().front().text, "unique link that is not valid in this embodiment");
}

TEST_F(Findings, HoldTheLinksOfWhatAnEmbodimentDoesNotHoldWhenItIsLookedAt) {
  const UniqueMetaObjectKey variant = host::AddEmbodiment(model.document, "small", "01", {model.OccurrenceAt("3")});
  EXPECT_THAT(Rows(), IsEmpty());
  EXPECT_THAT(RowsIn(variant),
              ElementsAre(Row("invalid-link", "B Bolt", "part 3"), Row("invalid-link", "B Bolt", "solid 3 body-1")));
}

TEST_F(Findings, AreOnlyLookedForAndNeverPurgedInAnotherEmbodiment) {
  const UniqueMetaObjectKey variant = host::AddEmbodiment(model.document, "small", "01", {model.OccurrenceAt("3")});
  const StreamLinks before = LinksOf(*model.document.links, LinkSet::Validated);
  RowsIn(variant);
  EXPECT_EQ(LinksOf(*model.document.links, LinkSet::Validated), before);
}

TEST_F(Findings, NameAnOpenShellAndTheDocumentItself) {
  Link(Key("nobody"), GeometryObject3D(2, ComponentPath(), MbPath(), MbName("skin")), LinkSet::Validated);
  EXPECT_THAT(Rows(), ElementsAre(Row("gone-object", "nobody", "open shell / skin")));
}

// ---- positions

TEST_F(Findings, HoldAPositionThatTwoLinesShare) {
  const UniqueMetaObjectKey first = std::min(model.Line("M", "P"), model.Line("M", "B"));
  const UniqueMetaObjectKey second = std::max(model.Line("M", "P"), model.Line("M", "B"));
  host::SetPosition(model.Data(), model.Base("M"), first, 7, true);
  host::SetPosition(model.Data(), model.Base("M"), second, 7, true);
  ASSERT_THAT(Rows(), ElementsAre(Row("double-position", model.Data().DisplayName(second), "")));
  EXPECT_EQ(Find().front().text, "position 7 in M Machine is also that of " + model.Data().DisplayName(first));
}

TEST_F(Findings, HoldAPositionThatThreeLinesShareForEveryLineButOne) {
  for (const char* product : {"F", "P", "B"}) {
    host::SetPosition(model.Data(), model.Base("M"), model.Line("M", product), 7, true);
  }
  EXPECT_EQ(Rows().size(), 2u);
}

TEST_F(Findings, HoldAPositionThatTwoLinesOfASubAssemblyShare) {
  host::SetPosition(model.Data(), model.Base("F"), model.Line("F", "B"), 1, true);
  ASSERT_EQ(Rows().size(), 1u);
  EXPECT_THAT(Find().front().text, HasSubstr("position 1 in F Frame is also that of"));
}

TEST_F(Findings, HoldASharedPositionOnceHoweverManyEmbodimentsHaveIt) {
  host::SetPosition(model.Data(), model.Base("M"), model.Line("M", "B"), 1, true);
  const UniqueMetaObjectKey variant = host::AddEmbodiment(model.document, "other", "01", {});
  EXPECT_EQ(Rows().size(), 1u);
  EXPECT_EQ(RowsIn(variant).size(), 1u);
}

TEST_F(Findings, HoldASharedPositionOfAVariantWhereItOrTheBaseIsLookedAt) {
  const UniqueMetaObjectKey variant = host::AddEmbodiment(model.document, "other", "01", {});
  const UniqueMetaObjectKey third = host::AddEmbodiment(model.document, "third", "02", {});
  host::SetPosition(model.Data(), variant, model.Line("M", "B"), 1, true);
  ASSERT_EQ(Rows().size(), 1u);
  EXPECT_THAT(Find().front().text, HasSubstr("position 1 in M Machine (other) is also that of"));
  EXPECT_EQ(RowsIn(variant).size(), 1u);
  EXPECT_THAT(RowsIn(third), IsEmpty());
}

TEST_F(Findings, HoldNoPositionThatLinesOfTwoBillsShare) {
  host::SetPosition(model.Data(), model.Base("F"), model.Line("F", "B"), 3, true);
  EXPECT_THAT(Rows(), IsEmpty());
}

TEST_F(Findings, HoldABodyWithoutAPosition) {
  model.document.links->RemoveGeometryObjectLinks(model.BodyAt("4/1", 2), LinkSet::Validated);
  EXPECT_THAT(Rows(), ElementsAre(Row("no-position", "P Plate", "solid 4/1 body-2")));
  EXPECT_EQ(Find().front().text, "body without a position");
}

TEST_F(Findings, HoldTheBodiesOfALineWithoutANumber) {
  model.Data().SetGroupValue(model.Base("F"), model.Line("F", "P"), c_position, SimplePropVal());
  EXPECT_THAT(Rows(), ElementsAre(Row("no-position", "P Plate", "solid 1/1 body-1"),
                                  Row("no-position", "P Plate", "solid 1/1 body-2"),
                                  Row("no-position", "P Plate", "solid 4/1 body-1"),
                                  Row("no-position", "P Plate", "solid 4/1 body-2")));
}

TEST_F(Findings, HoldABodyWhoseOccurrenceHasNoLine) {
  model.ObjectAt("3").groupObject = UniqueMetaObjectKey();
  model.document.links->RemoveMetaObjectLinks(model.Line("M", "B"), LinkSet::Validated);
  EXPECT_THAT(Rows(), ElementsAre(Row("no-position", "B Bolt", "solid 3 body-1")));
}

TEST_F(Findings, HoldNoBodyOfWhatIsTakenOutOfTheBill) {
  model.SetAttributes(model.OccurrenceAt("3"), c_excluded);
  model.SetAttributes(model.Line("F", "B"), c_notIncluded);
  host::RebuildPositionLinks(model.document);
  EXPECT_THAT(Rows(), IsEmpty());
}

TEST_F(Findings, HoldNoBodyOfStock) {
  model.MakeStock(model.Line("M", "P"), BilletKind::manual);
  model.MakeStock(model.Line("F", "P"), BilletKind::associative);
  EXPECT_THAT(Rows(), IsEmpty());
}

TEST_F(Findings, HoldNoBodyOfAnOccurrenceOrALineThatAloneIsStock) {
  model.ObjectAt("2").billet = BilletKind::manual;
  model.Data().Find(model.Line("M", "B"))->billet = BilletKind::manual;
  for (const GeometryObject3D& body : {model.BodyAt("2", 1), model.BodyAt("2", 2), model.BodyAt("3")}) {
    model.document.links->RemoveGeometryObjectLinks(body, LinkSet::Validated);
  }
  EXPECT_THAT(Rows(), IsEmpty());
}

TEST_F(Findings, HoldNoBodyOfWhatTheEmbodimentDoesNotHold) {
  const UniqueMetaObjectKey variant = host::AddEmbodiment(model.document, "small", "01", {model.OccurrenceAt("1")});
  model.document.links->RemoveGeometryObjectLinks(model.BodyAt("1/2"), LinkSet::Validated);
  EXPECT_THAT(RowsIn(variant), IsEmpty());
  EXPECT_THAT(Rows(), ElementsAre(Row("no-position", "B Bolt", "solid 1/2 body-1")));
}

// ---- all of them

TEST_F(Findings, ComeByKindInTheirOrderWhateverTheirKeys) {
  model.document.links->RemoveGeometryObjectLinks(model.BodyAt("2", 2), LinkSet::Validated);
  host::SetPosition(model.Data(), model.Base("F"), model.Line("F", "B"), 1, true);
  Link(model.Product("B"), model.BodyAt("3"), LinkSet::Both);
  Link(model.OccurrenceAt("3"), goneBody, LinkSet::Validated);
  Link(model.Line("M", "B"), goneBody, LinkSet::Unique);
  Link(Key("zzz"), model.BodyAt("1/2"), LinkSet::Both);
  Link(Key("!"), model.BodyAt("1/3"), LinkSet::Both);
  std::vector<std::string> kinds;
  for (const Finding& finding : Find()) {
    kinds.push_back(finding.kind);
  }
  EXPECT_THAT(kinds, ElementsAre("gone-object", "gone-object", "gone-object", "gone-object", "gone-body", "gone-body",
                                 "invalid-link", "invalid-link", "double-position", "no-position"));
}

TEST_F(Findings, AreEachThereOnce) {
  Link(model.Product("B"), model.BodyAt("3"), LinkSet::Both);
  Link(Key("nobody"), model.BodyAt("1/2"), LinkSet::Both);
  Link(model.OccurrenceAt("3"), goneBody, LinkSet::Validated);
  std::set<std::tuple<std::string, std::string, std::string, std::string>> different;
  const std::vector<Finding> findings = Find();
  for (const Finding& finding : findings) {
    different.emplace(finding.kind, finding.object, finding.body, finding.text);
  }
  EXPECT_EQ(findings.size(), 5u);
  EXPECT_EQ(different.size(), findings.size());
}

// ---- repair

class Repair : public Findings {
 protected:
  StreamLinks Unique() { return LinksOf(*model.document.links, LinkSet::Unique); }
  StreamLinks Validated() { return LinksOf(*model.document.links, LinkSet::Validated); }
};

TEST_F(Repair, LeavesACleanDocumentAsItIs) {
  const StreamLinks unique = Unique();
  const StreamLinks validated = Validated();
  host::RepairLinks(model.document);
  EXPECT_EQ(Unique(), unique);
  EXPECT_EQ(Validated(), validated);
}

TEST_F(Repair, RemovesLinksOfWhichAnEndIsGoneAndThoseThatAreNotValidAndKeepsTheOthers) {
  const StreamLinks unique = Unique();
  const StreamLinks validated = Validated();
  Link(Key("nobody"), model.BodyAt("3"), LinkSet::Both);
  Link(Key("nobody"), model.GeometryAt("2"), LinkSet::Validated);
  Link(model.Line("M", "B"), goneBody, LinkSet::Both);
  Link(model.Product("B"), model.BodyAt("1/2"), LinkSet::Both);
  Link(model.Base("M"), GeometryObject3D(200, ComponentPath(), MbPath(), MbName()), LinkSet::Both);
  EXPECT_EQ(Rows().size(), 9u);
  host::RepairLinks(model.document);
  EXPECT_THAT(Rows(), IsEmpty());
  EXPECT_EQ(Unique(), unique);
  EXPECT_EQ(Validated(), validated);
}

TEST_F(Repair, RebuildsPositionLinksThatAreMissing) {
  const StreamLinks validated = Validated();
  model.document.links->RemoveMetaObjectLinks(model.Line("F", "B"), LinkSet::Validated);
  host::RepairLinks(model.document);
  EXPECT_EQ(Validated(), validated);
}

TEST_F(Repair, RemovesTheLinksOfALineThatIsGone) {
  model.Data().Remove(model.Line("M", "B"));
  host::RepairLinks(model.document);
  EXPECT_THAT(Rows(), ElementsAre(Row("no-position", "B Bolt", "solid 3 body-1")));
}

TEST_F(Repair, KeepsWhatOtherEmbodimentsDoNotHold) {
  host::AddEmbodiment(model.document, "small", "01", {model.OccurrenceAt("3"), model.OccurrenceAt("1")});
  const StreamLinks unique = Unique();
  const StreamLinks validated = Validated();
  host::RepairLinks(model.document);
  EXPECT_EQ(Unique(), unique);
  EXPECT_EQ(Validated(), validated);
}

TEST_F(Repair, LeavesPositionsToThePersonWhoSetThem) {
  host::SetPosition(model.Data(), model.Base("F"), model.Line("F", "B"), 1, true);
  host::RepairLinks(model.document);
  EXPECT_EQ(host::StoredPosition(model.Data(), model.Base("F"), model.Line("F", "B")), 1);
  EXPECT_EQ(Rows().size(), 1u);
}

}  // namespace
