// A revised file in a document: what stays, what comes, what moves, what goes, and what happens to the links.

#include "host/step/MergeAssembly.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <sys/time.h>

#include "host/HostError.h"
#include "host/model/Embodiments.h"
#include "host/model/Findings.h"
#include "host/model/Positions.h"
#include "tests/host/step/RevisedDocument.h"
#include "tests/host/step/StepFile.h"

using host::BilletKind;
using host::MetaObject;
using host::MetaObjectType;
using testing::AllOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::UnorderedElementsAre;
using tests::ContentOf;
using tests::DocumentContent;
using tests::Moved;
using tests::OpenShell;
using tests::RevisedDocument;
using tests::Solid;
using tests::StepFile;
using tests::UseOf;

namespace {

const UniqueMetaObjectKey c_none = UniqueMetaObjectKey::null;

StepFile Root(const std::vector<UseOf>& uses) {
  return StepFile().Assembly("Root", uses);
}

// A machine of two frames, a bolt and a cover; a frame, which has a body of its own, of two bolts and a plate.
StepFile Machine() {
  return Root({{"Frame", "f1", Moved(10)}, {"Bolt", "b", Moved(20)}, {"Frame", "f2", Moved(30)}, {"Cover", "c"}})
      .Assembly("Frame", {{"Bolt", "b1", Moved(1)}, {"Plate", "p"}, {"Bolt", "b2", Moved(2)}})
      .Part("Frame", {Solid("weld")})
      .Part("Bolt")
      .Part("Plate", {Solid("left"), Solid("right"), OpenShell("skin")})
      .Part("Cover");
}

// Two boxes in the root, for what moves from one to the other; each keeps a nut, so that it is not lost itself.
StepFile Boxes(std::vector<UseOf> left, std::vector<UseOf> right) {
  left.insert(left.begin(), {"Nut", "n"});
  right.insert(right.begin(), {"Nut", "n"});
  return Root({{"Left", "l"}, {"Right", "r"}})
      .Assembly("Left", left)
      .Assembly("Right", right)
      .Assembly("Unit", {{"Bolt", "ub"}, {"Plate", "up"}})
      .Part("Nut")
      .Part("Bolt")
      .Part("Plate", {Solid("s"), OpenShell("t")});
}

// What must hold of every document after a merge.
void ExpectSound(const host::Document& document) {
  const host::ProductData& data = document.productData;
  std::set<UniqueMetaObjectKey> occurrences;
  std::set<UniqueMetaObjectKey> usedLines;
  for (const auto& [path, component] : document.components) {
    const std::string where = host::PathText(path);
    EXPECT_TRUE(occurrences.insert(component.occurrence).second) << where;
    const MetaObject* occurrence = data.Find(component.occurrence);
    ASSERT_NE(occurrence, nullptr) << where;
    EXPECT_TRUE(occurrence->IsOccurrence()) << where;
    ComponentPath holder;
    for (std::size_t i = 1; i < path.Count(); ++i) {
      holder.Append(path[i]);
    }
    EXPECT_EQ(occurrence->holder, holder.IsEmpty() ? c_none : document.components.at(holder).occurrence) << where;
    const std::uint32_t next = holder.IsEmpty() ? document.nextRootElement : document.components.at(holder).nextElement;
    EXPECT_LT(path[0], next) << where;
    const MetaObject* line = data.Find(occurrence->groupObject);
    ASSERT_NE(line, nullptr) << where;
    EXPECT_EQ(line->product, occurrence->product) << where;
    EXPECT_EQ(line->holder, data.HoldingProduct(*occurrence)) << where;
    usedLines.insert(occurrence->groupObject);
    const UniqueMetaObjectKey& base = data.Find(line->holder)->embodiment;
    EXPECT_TRUE(data.FindGroup(base).members.contains(component.occurrence)) << where;
    // The unique set has its one link.
    const auto linked = document.links->GetGeometryObjects(component.occurrence, LinkSet::Unique);
    EXPECT_EQ(linked, std::vector{host::ComponentGeometry(path, component)}) << where;
  }
  std::set<UniqueMetaObjectKey> products{data.RootProduct()};
  for (const auto& [key, object] : data.All()) {
    EXPECT_EQ(object.IsOccurrence(), occurrences.contains(key)) << host::KeyText(key);
    EXPECT_EQ(object.type == MetaObjectType::groupObject, usedLines.contains(key)) << host::KeyText(key);
    if (object.IsOccurrence()) {
      products.insert(object.product);
    }
  }
  for (const auto& [key, object] : data.All()) {
    const bool isProduct = object.type == MetaObjectType::partProduct || object.type == MetaObjectType::assemblyProduct;
    EXPECT_EQ(isProduct, products.contains(key)) << host::KeyText(key);
  }
  for (const auto& [embodiment, group] : data.AllGroups()) {
    ASSERT_NE(data.Find(embodiment), nullptr);
    std::map<UniqueMetaObjectKey, std::size_t> lines;
    for (const UniqueMetaObjectKey& member : group.members) {
      ASSERT_NE(data.Find(member), nullptr) << "a member that is gone";
      ++lines[data.Find(member)->groupObject];
    }
    EXPECT_EQ(lines, group.lines);
    std::set<std::int32_t> numbers;
    for (const auto& [line, count] : group.lines) {
      const auto number = host::StoredPosition(data, embodiment, line);
      ASSERT_TRUE(number.has_value());
      EXPECT_TRUE(numbers.insert(*number).second) << "position " << *number << " twice";
    }
    for (const auto& [line, values] : group.values) {
      EXPECT_NE(data.Find(line), nullptr) << "a number of a line that is gone";
    }
  }
  for (const auto& [path, bodies] : document.bodies) {
    std::set<MbName> names;
    for (const host::Body& body : bodies) {
      EXPECT_TRUE(names.insert(body.objectName).second) << host::PathText(path);
    }
  }
  for (const host::Finding& finding : host::FindFaults(document, data.RootEmbodiment())) {
    // Links by hand stand for objects that have no place of their own.
    if (finding.text.starts_with("unique link that is not valid")) {
      continue;
    }
    ADD_FAILURE() << finding.kind << ": " << finding.object << ", " << finding.body << ": " << finding.text;
  }
}

std::vector<std::size_t> Figures(const host::MergeReport& report) {
  return {report.kept, report.added, report.moved, report.removed};
}

// ---- nothing changed

TEST(ARevisionThatChangedNothing, LeavesTheDocumentAsItWas) {
  RevisedDocument revised(Machine());
  const DocumentContent before = ContentOf(revised.document);
  revised.Take(Machine());
  ExpectSame(before, ContentOf(revised.document));
  EXPECT_THAT(Figures(revised.report), ElementsAre(10, 0, 0, 0));
  EXPECT_THAT(revised.report.changes, IsEmpty());
  ExpectSound(revised.document);
}

TEST(ARevisionThatChangedNothing, LeavesAPartAsItWas) {
  RevisedDocument revised(StepFile().Part("Part", {Solid("a"), OpenShell()}));
  const DocumentContent before = ContentOf(revised.document);
  revised.Take(StepFile().Part("Part", {Solid("a"), OpenShell()}));
  ExpectSame(before, ContentOf(revised.document));
}

TEST(ARevisionThatChangedNothing, LeavesSeveralRootsAsTheyWere) {
  const StepFile file = Machine().Roots({"Frame", "Cover"});
  RevisedDocument revised(file);
  const DocumentContent before = ContentOf(revised.document);
  revised.Take(file);
  ExpectSame(before, ContentOf(revised.document));
}

TEST(ARevisionThatChangedNothing, LeavesWhatAPersonSet) {
  RevisedDocument revised(Machine());
  host::ProductData& data = revised.document.productData;
  revised.LinkByHand(revised.LineKey("Frame", "Bolt"), revised.BodyAt("1/1"));
  revised.LinkByHand(revised.ProductKey("Frame"), revised.BodyAt("1"));
  host::SetPosition(data, data.RootEmbodiment(), revised.LineKey("Root", "Bolt"), 40, true);
  host::AddEmbodiment(revised.document, "light", "01", {revised.KeyAt("4")});
  revised.OccurrenceAt("1/2").part = AttributedPart{{.includeFlag = true, .excludeFlag = true}};
  revised.OccurrenceAt("2").properties[L"note"] = SimplePropVal(std::wstring(L"mine"));
  host::RebuildPositionLinks(revised.document);
  const DocumentContent before = ContentOf(revised.document);
  revised.Take(Machine());
  ExpectSame(before, ContentOf(revised.document));
}

TEST(ARevisionThatChangedNothing, LeavesProductsThatBearOneMarkingAndNameWhereTheyAre) {
  StepFile file = Root({{"Left"}, {"B"}, {"Right"}})
                      .Assembly("Left", {{"A"}})
                      .Assembly("Right", {{"C"}})
                      .Part("A", {Solid("a")})
                      .Part("B", {Solid("b")})
                      .Part("C", {Solid("c")});
  for (const char* name : {"A", "B", "C"}) {
    file.Called(name, "", "SOLID");
  }
  RevisedDocument revised(file);
  const DocumentContent before = ContentOf(revised.document);
  revised.Take(file);
  ExpectSame(before, ContentOf(revised.document));
}

TEST(ARevisionThatChangedNothing, LeavesProductsWithoutMarkingAndNameWhereTheyAre) {
  const StepFile file = Root({{"A", "a"}, {"B", "b"}}).Part("A").Part("B").Called("A", "", "").Called("B", "", "");
  RevisedDocument revised(file);
  const DocumentContent before = ContentOf(revised.document);
  revised.Take(file);
  ExpectSame(before, ContentOf(revised.document));
}

TEST(ARevisionThatIsTakenBack, RestoresTheStructureAndGivesWhatReturnsNewNumbers) {
  RevisedDocument revised(Machine());
  const std::map<std::string, std::int32_t> before = revised.Numbers("Root");
  EXPECT_THAT(before, UnorderedElementsAre(Pair("Frame", 1), Pair("Bolt", 2), Pair("Cover", 3)));
  const UniqueMetaObjectKey cover = revised.KeyAt("4");
  StepFile other = Machine();
  other.Assembly("Root", {{"Frame", "f1", Moved(10)}, {"Frame", "f2", Moved(30)}, {"Seal", "s"}}).Part("Seal");
  revised.Take(other);
  EXPECT_THAT(revised.Numbers("Root"), UnorderedElementsAre(Pair("Frame", 1), Pair("Seal", 4)));
  revised.Take(Machine());
  EXPECT_THAT(revised.Numbers("Root"), UnorderedElementsAre(Pair("Frame", 1), Pair("Bolt", 5), Pair("Cover", 6)));
  EXPECT_THAT(revised.Tree(), ElementsAre("1 Frame", "1/1 Bolt", "1/2 Plate", "1/3 Bolt", "3 Frame", "3/1 Bolt",
                                          "3/2 Plate", "3/3 Bolt", "6 Bolt", "7 Cover"));
  EXPECT_FALSE(revised.KeyAt("7") == cover);
  EXPECT_EQ(revised.ProductKey("Seal"), c_none);
  ExpectSound(revised.document);
}

// ---- what the file says anew

TEST(AKeptOccurrence, TakesNameIdentifierAndPlaceFromTheNewFile) {
  RevisedDocument revised(Root({{"A", "x", Moved(1)}}).Part("A"));
  const UniqueMetaObjectKey key = revised.KeyAt("1");
  revised.Take(Root({{"A", "y", Moved(1)}}).Part("A").Called("A", "m-A", "Renamed"));
  EXPECT_EQ(revised.KeyAt("1"), key);
  EXPECT_EQ(revised.At("1").fileId, "y");
  EXPECT_EQ(revised.At("1").displayName, "A");
  revised.Take(Root({{"A", "y", Moved(5)}}).Part("A"));
  EXPECT_EQ(revised.KeyAt("1"), key);
  EXPECT_EQ(revised.At("1").placement, Moved(5));
  EXPECT_THAT(revised.Tree(), ElementsAre("1 A"));
}

TEST(AKeptOccurrence, KeepsItsPathWhateverTheOrderOfTheUses) {
  RevisedDocument revised(Root({{"A", "x"}, {"B", "y"}, {"A", "z"}}).Part("A").Part("B"));
  const UniqueMetaObjectKey third = revised.KeyAt("3");
  const auto numbers = revised.Numbers("Root");
  revised.Take(Root({{"A", "z"}, {"B", "y"}, {"A", "x"}}).Part("A").Part("B"));
  EXPECT_THAT(revised.Tree(), ElementsAre("1 A", "2 B", "3 A"));
  EXPECT_EQ(revised.KeyAt("3"), third);
  EXPECT_EQ(revised.At("3").fileId, "z");
  EXPECT_EQ(revised.Numbers("Root"), numbers);
  EXPECT_THAT(Figures(revised.report), ElementsAre(3, 0, 0, 0));
}

TEST(AKeptProduct, LosesAMarkingThatTheFileNoLongerHas) {
  RevisedDocument revised(Machine());
  const UniqueMetaObjectKey bolt = revised.ProductKey("Bolt");
  revised.Take(Machine().Called("Bolt", "", "Bolt"));
  EXPECT_EQ(revised.ProductKey("Bolt"), bolt);
  EXPECT_FALSE(revised.document.productData.Find(bolt)->properties.contains(c_marking));
}

TEST(ARootThatIsRenamed, IsTheSameProductWithAllItsLines) {
  RevisedDocument revised(Machine());
  const UniqueMetaObjectKey root = revised.document.productData.RootProduct();
  const auto numbers = revised.Numbers("Root");
  revised.Take(Machine().Called("Root", "new", "Renamed"));
  EXPECT_EQ(revised.document.productData.RootProduct(), root);
  EXPECT_EQ(revised.Numbers("Renamed"), numbers);
  EXPECT_EQ(revised.document.productData.ProductText(revised.document.productData.RootEmbodiment(), c_markingBase),
            "new");
  EXPECT_THAT(Figures(revised.report), ElementsAre(10, 0, 0, 0));
  ExpectSound(revised.document);
}

// ---- added

TEST(AnAddedOccurrence, GetsAPathThatNoneHadAndItsLinks) {
  RevisedDocument revised(Root({{"A", "x"}, {"A", "y"}}).Part("A"));
  revised.Take(Root({{"A", "x"}}).Part("A"));
  revised.Take(Root({{"A", "x"}, {"A", "z"}}).Part("A"));
  EXPECT_THAT(revised.Tree(), ElementsAre("1 A", "3 A"));
  EXPECT_EQ(revised.document.nextRootElement, 4u);
  EXPECT_THAT(revised.document.links->GetMetaObjectKeys(revised.BodyAt("3")),
              UnorderedElementsAre(revised.KeyAt("3"), revised.LineKey("Root", "A")));
  EXPECT_EQ(revised.LinkedTo(revised.KeyAt("3")), "3 ");
  ExpectSound(revised.document);
}

TEST(AnAddedOccurrence, BelongsToEveryEmbodimentAndItsNewLineHasANumberInEach) {
  RevisedDocument revised(Machine());
  const UniqueMetaObjectKey light = host::AddEmbodiment(revised.document, "light", "01", {revised.KeyAt("4")});
  StepFile file = Machine();
  file.UsesOf("Root").push_back({"Seal", "s"});
  file.Part("Seal");
  revised.Take(file);
  for (const auto& embodiment : {light, revised.document.productData.RootEmbodiment()}) {
    EXPECT_TRUE(revised.document.productData.FindGroup(embodiment).members.contains(revised.KeyAt("5")));
    EXPECT_EQ(revised.NumbersIn(embodiment).at("Seal"), 4);
  }
  EXPECT_FALSE(revised.document.productData.FindGroup(light).members.contains(revised.KeyAt("4")));
  EXPECT_FALSE(revised.NumbersIn(light).contains("Cover"));
  ExpectSound(revised.document);
}

TEST(AnAddedLine, GetsTheNumberAfterTheLastThatWasEverGiven) {
  RevisedDocument revised(Machine());
  host::ProductData& data = revised.document.productData;
  host::SetPosition(data, data.RootEmbodiment(), revised.LineKey("Root", "Bolt"), 40, true);
  StepFile file = Machine();
  file.UsesOf("Root").insert(file.UsesOf("Root").begin(), {"Seal", "s"});
  file.Part("Seal");
  revised.Take(file);
  EXPECT_THAT(revised.Numbers("Root"),
              UnorderedElementsAre(Pair("Frame", 1), Pair("Bolt", 40), Pair("Cover", 3), Pair("Seal", 41)));
  EXPECT_TRUE(host::IsSetByHand(data, data.RootEmbodiment(), revised.LineKey("Root", "Bolt")));
}

TEST(AnAddedOccurrence, InALineThatIsThereChangesNoNumber) {
  RevisedDocument revised(Machine());
  const auto numbers = revised.Numbers("Frame");
  StepFile file = Machine();
  file.UsesOf("Frame").push_back({"Bolt", "b3"});
  revised.Take(file);
  EXPECT_EQ(revised.Numbers("Frame"), numbers);
  EXPECT_EQ(revised.OccurrenceAt("3/4").groupObject, revised.LineKey("Frame", "Bolt"));
  EXPECT_THAT(Figures(revised.report), ElementsAre(10, 2, 0, 0));
}

// ---- gone

TEST(AGoneOccurrence, TakesItsLinksAlongAndLeavesTheLineToTheOthers) {
  RevisedDocument revised(Root({{"A", "x"}, {"A", "y"}}).Part("A"));
  const UniqueMetaObjectKey gone = revised.KeyAt("1");
  const GeometryObject3D body = revised.BodyAt("1");
  const GeometryObject3D component = revised.ComponentAt("1");
  const UniqueMetaObjectKey line = revised.LineKey("Root", "A");
  revised.LinkByHand(revised.ProductKey("A"), body);
  revised.Take(Root({{"A", "y"}}).Part("A"));
  for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
    EXPECT_THAT(revised.document.links->GetGeometryObjects(gone, set), IsEmpty());
    EXPECT_EQ(revised.document.links->GetMetaObjectKey(body, set), c_none);
    EXPECT_EQ(revised.document.links->GetMetaObjectKey(component, set), c_none);
  }
  EXPECT_EQ(revised.document.productData.Find(gone), nullptr);
  EXPECT_EQ(revised.LineKey("Root", "A"), line);
  EXPECT_THAT(revised.Numbers("Root"), UnorderedElementsAre(Pair("A", 1)));
  ExpectSound(revised.document);
}

TEST(AGoneLine, LosesItsLinksAndItsNumberInEveryEmbodiment) {
  RevisedDocument revised(Machine());
  const UniqueMetaObjectKey light = host::AddEmbodiment(revised.document, "light", "01", {});
  const UniqueMetaObjectKey line = revised.LineKey("Root", "Cover");
  revised.LinkByHand(line, revised.BodyAt("2"));
  StepFile file = Machine();
  file.UsesOf("Root").pop_back();
  revised.Take(file);
  EXPECT_EQ(revised.document.productData.Find(line), nullptr);
  EXPECT_EQ(revised.LinkedTo(line), "");
  for (const auto& embodiment : {light, revised.document.productData.RootEmbodiment()}) {
    EXPECT_FALSE(revised.document.productData.FindGroup(embodiment).values.contains(line));
    EXPECT_EQ(revised.document.productData.Find(embodiment)->lastPosition, 3);
  }
  ExpectSound(revised.document);
}

TEST(AGoneProduct, LosesTheLinksOfItsEmbodiment) {
  RevisedDocument revised(Machine());
  const UniqueMetaObjectKey embodiment = revised.OccurrenceAt("1").embodiment;
  revised.LinkByHand(embodiment, revised.BodyAt("2"));
  revised.LinkByHand(revised.ProductKey("Plate"), revised.BodyAt("4"));
  StepFile file = Machine();
  file.Assembly("Root", {{"Bolt", "b", Moved(20)}, {"Cover", "c"}});
  revised.Take(file);
  EXPECT_EQ(revised.document.productData.Find(embodiment), nullptr);
  EXPECT_EQ(revised.LinkedTo(embodiment), "");
  EXPECT_EQ(revised.document.productData.All().size(), 3u + 1 + 2 + 2);
  ExpectSound(revised.document);
}

// Keys are random, so one run alone shows little.
TEST(AGoneAssembly, LeavesNoMemberInTheGroupThatItsTwinStillHas) {
  for (int run = 0; run < 20; ++run) {
    RevisedDocument revised(Machine());
    StepFile file = Machine();
    file.UsesOf("Root").erase(file.UsesOf("Root").begin());
    revised.Take(file);
    EXPECT_THAT(revised.Tree(), ElementsAre("2 Bolt", "3 Frame", "3/1 Bolt", "3/2 Plate", "3/3 Bolt", "4 Cover"));
    ExpectSound(revised.document);
    file.Assembly("Frame", {{"Plate", "p"}});
    revised.Take(file);
    EXPECT_EQ(revised.LineKey("Frame", "Bolt"), c_none);
    ExpectSound(revised.document);
  }
}

// ---- moved

TEST(AMovedPart, GetsAFreshPathAndKeepsKeyAttributesAndLinks) {
  RevisedDocument revised(Boxes({{"Plate", "x"}}, {}));
  const UniqueMetaObjectKey key = revised.KeyAt("1/2");
  revised.OccurrenceAt("1/2").part = AttributedPart{{.includeFlag = true, .excludeFlag = true}};
  revised.LinkByHand(revised.ProductKey("Nut"), revised.BodyAt("1/2", 1));
  revised.Take(Boxes({}, {{"Plate", "x"}}));
  EXPECT_THAT(revised.Tree(), ElementsAre("1 Left", "1/1 Nut", "2 Right", "2/1 Nut", "2/2 Plate"));
  EXPECT_EQ(revised.KeyAt("2/2"), key);
  EXPECT_TRUE(std::get<AttributedPart>(revised.OccurrenceAt("2/2").part).attributes.excludeFlag);
  EXPECT_EQ(revised.LinkedTo(key), "2/2 ");
  EXPECT_EQ(revised.LinkedTo(revised.ProductKey("Nut")), "2/2 body-2");
  EXPECT_EQ(revised.LineKey("Left", "Plate"), c_none);
  EXPECT_THAT(Figures(revised.report), ElementsAre(4, 0, 1, 0));
  ExpectSound(revised.document);
}

TEST(AMovedPart, LeavesTheGroupsOfItsOldHolderForAllOfTheNew) {
  RevisedDocument revised(Boxes({{"Plate", "x"}}, {}));
  const UniqueMetaObjectKey light = host::AddEmbodiment(revised.document, "light", "01", {});
  const UniqueMetaObjectKey left = revised.OccurrenceAt("1").embodiment;
  StepFile file = Boxes({}, {});
  file.UsesOf("Root").push_back({"Plate", "x"});
  revised.Take(file);
  const UniqueMetaObjectKey key = revised.KeyAt("3");
  EXPECT_FALSE(revised.document.productData.FindGroup(left).members.contains(key));
  EXPECT_TRUE(revised.document.productData.FindGroup(light).members.contains(key));
  EXPECT_TRUE(
      revised.document.productData.FindGroup(revised.document.productData.RootEmbodiment()).members.contains(key));
  EXPECT_THAT(revised.NumbersIn(light), UnorderedElementsAre(Pair("Left", 1), Pair("Right", 2), Pair("Plate", 3)));
  ExpectSound(revised.document);
}

TEST(AMovedPart, BetweenUsesOfOneAssemblyStaysInItsLine) {
  const auto file = [](bool isInFirst) {
    return isInFirst ? Root({{"Box", "a"}, {"Box", "b"}}).Assembly("Box", {{"Nut", "n"}}).Part("Nut")
                     : Root({{"Box", "b"}}).Assembly("Box", {{"Nut", "n"}}).Part("Nut");
  };
  RevisedDocument revised(file(true));
  const UniqueMetaObjectKey line = revised.LineKey("Box", "Nut");
  revised.Take(file(false));
  EXPECT_EQ(revised.OccurrenceAt("2/1").groupObject, line);
  EXPECT_EQ(revised.Numbers("Box").at("Nut"), 1);
  ExpectSound(revised.document);
}

TEST(AMovedSubAssembly, TakesAllItsLinksToTheSameDepth) {
  RevisedDocument revised(Boxes({{"Unit", "u"}}, {}));
  std::vector<UniqueMetaObjectKey> keys;
  for (const char* path : {"1/2", "1/2/1", "1/2/2"}) {
    keys.push_back(revised.KeyAt(path));
  }
  revised.LinkByHand(revised.ProductKey("Unit"), revised.BodyAt("1/2/2", 1));
  revised.LinkByHand(revised.ProductKey("Bolt"), revised.BodyAt("1/2/1"));
  revised.Take(Boxes({}, {{"Unit", "u"}}));
  EXPECT_THAT(revised.Tree(),
              ElementsAre("1 Left", "1/1 Nut", "2 Right", "2/1 Nut", "2/2 Unit", "2/2/1 Bolt", "2/2/2 Plate"));
  EXPECT_EQ(revised.KeyAt("2/2"), keys[0]);
  EXPECT_EQ(revised.KeyAt("2/2/2"), keys[2]);
  EXPECT_EQ(revised.LinkedTo(keys[0]), "2/2 ");
  EXPECT_EQ(revised.LinkedTo(keys[1]), "2/2/1 ");
  EXPECT_EQ(revised.LinkedTo(revised.ProductKey("Unit")), "2/2/2 body-2");
  EXPECT_EQ(revised.LinkedTo(revised.ProductKey("Bolt")), "2/2/1 body-1");
  EXPECT_THAT(Figures(revised.report), ElementsAre(6, 0, 1, 0));
  ExpectSound(revised.document);
}

TEST(AMovedSubAssembly, TakesAllItsLinksToAnotherDepth) {
  RevisedDocument revised(Boxes({{"Unit", "u"}}, {}));
  const UniqueMetaObjectKey bolt = revised.KeyAt("1/2/1");
  revised.LinkByHand(revised.ProductKey("Unit"), revised.BodyAt("1/2/2", 1));
  revised.LinkByHand(revised.ProductKey("Bolt"), revised.BodyAt("1/2/1"));
  StepFile file = Boxes({}, {});
  file.UsesOf("Root").push_back({"Unit", "u"});
  revised.Take(file);
  EXPECT_THAT(revised.Tree(),
              ElementsAre("1 Left", "1/1 Nut", "2 Right", "2/1 Nut", "3 Unit", "3/1 Bolt", "3/2 Plate"));
  EXPECT_EQ(revised.KeyAt("3/1"), bolt);
  EXPECT_EQ(revised.LinkedTo(bolt), "3/1 ");
  EXPECT_EQ(revised.LinkedTo(revised.ProductKey("Unit")), "3/2 body-2");
  EXPECT_EQ(revised.LinkedTo(revised.ProductKey("Bolt")), "3/1 body-1");
  ExpectSound(revised.document);
  revised.Take(Boxes({{"Unit", "u"}}, {}));
  EXPECT_EQ(revised.LinkedTo(revised.ProductKey("Unit")), "1/3/2 body-2");
  ExpectSound(revised.document);
}

TEST(AMovedSubAssembly, LosesWhatIsGoneFromItAndTakesWhatIsNew) {
  RevisedDocument revised(Boxes({{"Unit", "u"}}, {}));
  const UniqueMetaObjectKey gone = revised.KeyAt("1/2/1");
  StepFile file = Boxes({}, {{"Unit", "u"}});
  file.Assembly("Unit", {{"Plate", "up"}, {"Seal", "s"}}).Part("Seal");
  revised.Take(file);
  EXPECT_THAT(revised.Tree(),
              ElementsAre("1 Left", "1/1 Nut", "2 Right", "2/1 Nut", "2/2 Unit", "2/2/2 Plate", "2/2/3 Seal"));
  EXPECT_EQ(revised.LinkedTo(gone), "");
  EXPECT_THAT(revised.Numbers("Unit"), UnorderedElementsAre(Pair("Plate", 2), Pair("Seal", 3)));
  EXPECT_THAT(Figures(revised.report), ElementsAre(5, 1, 1, 1));
  ExpectSound(revised.document);
}

TEST(SwappedNesting, TakesAllLinksAlong) {
  const auto file = [](bool isSwapped) {
    StepFile made = Root({{isSwapped ? "Inner" : "Outer"}})
                        .Assembly("Outer", {{"Bolt", "o"}})
                        .Assembly("Inner", {{"Plate", "i"}})
                        .Part("Bolt")
                        .Part("Plate");
    made.UsesOf(isSwapped ? "Inner" : "Outer").push_back({isSwapped ? "Outer" : "Inner"});
    return made;
  };
  RevisedDocument revised(file(false));
  const UniqueMetaObjectKey outer = revised.KeyAt("1");
  const UniqueMetaObjectKey inner = revised.KeyAt("1/2");
  revised.LinkByHand(revised.ProductKey("Bolt"), revised.BodyAt("1/1"));
  revised.LinkByHand(revised.ProductKey("Plate"), revised.BodyAt("1/2/1"));
  revised.Take(file(true));
  EXPECT_THAT(revised.Tree(), ElementsAre("2 Inner", "2/1 Plate", "2/2 Outer", "2/2/1 Bolt"));
  EXPECT_EQ(revised.KeyAt("2"), inner);
  EXPECT_EQ(revised.KeyAt("2/2"), outer);
  EXPECT_EQ(revised.LinkedTo(revised.ProductKey("Bolt")), "2/2/1 body-1");
  EXPECT_EQ(revised.LinkedTo(revised.ProductKey("Plate")), "2/1 body-1");
  EXPECT_THAT(Figures(revised.report), ElementsAre(2, 0, 2, 0));
  ExpectSound(revised.document);
}

TEST(WhatMovesOutOfAMovedSubAssembly, TakesItsOwnLinksAlong) {
  // The holder moves first, then what it held goes on from there; and the other way round.
  for (const bool isHolderFirst : {true, false}) {
    const auto file = [isHolderFirst](bool isAfter) {
      StepFile made = Root({{"Left", "l"}, {"Right", "r"}})
                          .Assembly("Left", {{"Nut", "n"}})
                          .Assembly("Right", {{"Nut", "n"}})
                          .Assembly("Deep", {{"Nut", "d"}})
                          .Assembly("Unit", {{"Bolt", "ub"}})
                          .Part("Nut")
                          .Part("Bolt")
                          .Part("Plate");
      made.UsesOf("Right").push_back({"Deep", "e"});
      if (!isAfter) {
        made.UsesOf("Left").push_back({"Unit", "u"});
        made.UsesOf("Unit").push_back({"Plate", "x"});
      } else {
        made.UsesOf(isHolderFirst ? "Right" : "Deep").push_back({"Unit", "u"});
        made.UsesOf(isHolderFirst ? "Deep" : "Root").push_back({"Plate", "x"});
      }
      return made;
    };
    RevisedDocument revised(file(false));
    const UniqueMetaObjectKey plate = revised.KeyAt("1/2/2");
    revised.LinkByHand(revised.ProductKey("Plate"), revised.BodyAt("1/2/2"));
    revised.LinkByHand(revised.ProductKey("Bolt"), revised.BodyAt("1/2/1"));
    revised.Take(file(true));
    EXPECT_THAT(Figures(revised.report), ElementsAre(7, 0, 2, 0));
    EXPECT_EQ(revised.LinkedTo(plate), isHolderFirst ? "2/2/2 " : "3 ");
    EXPECT_EQ(revised.LinkedTo(revised.ProductKey("Plate")), isHolderFirst ? "2/2/2 body-1" : "3 body-1");
    EXPECT_EQ(revised.LinkedTo(revised.ProductKey("Bolt")), isHolderFirst ? "2/3/1 body-1" : "2/2/2/1 body-1");
    ExpectSound(revised.document);
  }
}

TEST(APartThatIsWrappedIntoANewAssembly, KeepsItsKeyAndLinks) {
  RevisedDocument revised(Root({{"A", "a"}, {"B", "b"}}).Part("A").Part("B"));
  const UniqueMetaObjectKey key = revised.KeyAt("1");
  revised.Take(Root({{"New", "n"}, {"B", "b"}}).Assembly("New", {{"A", "a"}}).Part("A").Part("B"));
  EXPECT_THAT(revised.Tree(), ElementsAre("2 B", "3 New", "3/1 A"));
  EXPECT_EQ(revised.KeyAt("3/1"), key);
  EXPECT_EQ(revised.LinkedTo(key), "3/1 ");
  EXPECT_THAT(Figures(revised.report), ElementsAre(1, 1, 1, 0));
  ExpectSound(revised.document);
}

TEST(APartOfADissolvedAssembly, KeepsItsKeyAndLinks) {
  RevisedDocument revised(Root({{"Old", "o"}, {"B", "b"}}).Assembly("Old", {{"A", "a"}}).Part("A").Part("B"));
  const UniqueMetaObjectKey key = revised.KeyAt("1/1");
  const UniqueMetaObjectKey old = revised.KeyAt("1");
  revised.Take(Root({{"A", "a"}, {"B", "b"}}).Part("A").Part("B"));
  EXPECT_THAT(revised.Tree(), ElementsAre("2 B", "3 A"));
  EXPECT_EQ(revised.KeyAt("3"), key);
  EXPECT_EQ(revised.LinkedTo(key), "3 ");
  EXPECT_EQ(revised.LinkedTo(old), "");
  EXPECT_THAT(Figures(revised.report), ElementsAre(1, 0, 1, 1));
  ExpectSound(revised.document);
}

TEST(TwoSubAssembliesThatChangePlaces, KeepTheirKeysAndLinks) {
  const auto file = [](const std::string& inLeft, const std::string& inRight) {
    return Boxes({{inLeft, inLeft}}, {{inRight, inRight}}).Assembly("Other", {{"Plate", "op"}});
  };
  RevisedDocument revised(file("Unit", "Other"));
  const UniqueMetaObjectKey unit = revised.KeyAt("1/2");
  const UniqueMetaObjectKey other = revised.KeyAt("2/2");
  revised.LinkByHand(revised.ProductKey("Unit"), revised.BodyAt("1/2/1"));
  revised.LinkByHand(revised.ProductKey("Other"), revised.BodyAt("2/2/1"));
  revised.Take(file("Other", "Unit"));
  EXPECT_THAT(revised.Tree(), ElementsAre("1 Left", "1/1 Nut", "1/3 Other", "1/3/1 Plate", "2 Right", "2/1 Nut",
                                          "2/3 Unit", "2/3/1 Bolt", "2/3/2 Plate"));
  EXPECT_EQ(revised.KeyAt("2/3"), unit);
  EXPECT_EQ(revised.KeyAt("1/3"), other);
  EXPECT_EQ(revised.LinkedTo(revised.ProductKey("Unit")), "2/3/1 body-1");
  EXPECT_EQ(revised.LinkedTo(revised.ProductKey("Other")), "1/3/1 body-1");
  EXPECT_THAT(Figures(revised.report), ElementsAre(7, 0, 2, 0));
  ExpectSound(revised.document);
}

// ---- bodies

std::vector<std::string> BodiesAfter(const std::vector<host::StepBody>& before,
                                     const std::vector<host::StepBody>& after) {
  RevisedDocument revised(Root({{"A"}}).Part("A", before));
  revised.Take(Root({{"A"}}).Part("A", after));
  ExpectSound(revised.document);
  return revised.BodyNames("1");
}

TEST(Bodies, AreRecognisedByTheirIdentifiers) {
  EXPECT_THAT(BodiesAfter({Solid("a"), Solid("b"), Solid("c")}, {Solid("c"), Solid("a"), Solid("b")}),
              ElementsAre("body-3", "body-1", "body-2"));
}

TEST(Bodies, AreRecognisedByKindAndOrderWhereTheyHaveNoIdentifier) {
  EXPECT_THAT(BodiesAfter({Solid(), OpenShell(), Solid()}, {OpenShell(), Solid(), Solid()}),
              ElementsAre("body-2", "body-1", "body-3"));
  EXPECT_THAT(BodiesAfter({Solid("a"), Solid()}, {Solid(), Solid()}), ElementsAre("body-1", "body-2"));
  EXPECT_THAT(BodiesAfter({Solid("a"), Solid("b")}, {Solid("c"), Solid("a")}), ElementsAre("body-2", "body-1"));
}

TEST(Bodies, ThatAreNewGetNamesThatNoneOfTheOldHad) {
  EXPECT_THAT(BodiesAfter({Solid("a"), OpenShell("b")}, {Solid("a"), Solid("c"), Solid("d")}),
              ElementsAre("body-1", "body-3", "body-4"));
  EXPECT_THAT(BodiesAfter({}, {Solid("a")}), ElementsAre("body-1"));
  EXPECT_THAT(BodiesAfter({Solid("a")}, {}), IsEmpty());
}

TEST(Bodies, GetNewNamesBesideNamesThatOthersGave) {
  for (const char* odd :
       {"body-2", "body-", "body-2x", "other", "body-999999999", "body-1000000000", "body-99999999999999999999999"}) {
    RevisedDocument revised(Root({{"A"}}).Part("A", {Solid("a"), Solid("b")}));
    auto& bodies = revised.document.bodies.at(host::ParsePath("1"));
    bodies[0].objectName = MbName(odd);
    bodies[1].objectName = MbName("body-999999999");
    revised.document.links->ClearLinks();
    revised.Take(Root({{"A"}}).Part("A", {Solid("a"), Solid("b"), Solid("c")}));
    const std::vector<std::string> names = revised.BodyNames("1");
    EXPECT_EQ(names[0], odd);
    EXPECT_THAT(names[2], AllOf(Not(names[0]), Not(names[1])));
  }
}

TEST(Bodies, TakeWhatTheNewFileCallsThem) {
  RevisedDocument revised(Root({{"A"}}).Part("A", {Solid("a")}));
  revised.Take(Root({{"A"}}).Part("A", {Solid("z")}));
  const host::Body& body = revised.document.bodies.at(host::ParsePath("1")).front();
  EXPECT_EQ(body.displayName, "z");
  EXPECT_EQ(body.fileId, "z");
  EXPECT_EQ(body.objectName.Bytes(), "body-1");
}

TEST(ABodyThatIsGone, LosesItsLinks) {
  RevisedDocument revised(Root({{"A"}}).Part("A", {Solid("a"), Solid("b")}));
  const GeometryObject3D gone = revised.BodyAt("1", 0);
  revised.LinkByHand(revised.ProductKey("A"), gone);
  revised.Take(Root({{"A"}}).Part("A", {Solid("b")}));
  EXPECT_EQ(revised.document.links->GetMetaObjectKey(gone, LinkSet::Unique), c_none);
  EXPECT_THAT(revised.document.links->GetMetaObjectKeys(gone), IsEmpty());
  EXPECT_THAT(revised.BodyNames("1"), ElementsAre("body-2"));
  ExpectSound(revised.document);
}

TEST(ABodyThatIsExchangedForOneOfAnotherKind, HandsItsLinksOver) {
  RevisedDocument revised(Root({{"A"}}).Part("A", {Solid(), Solid("b")}));
  revised.LinkByHand(revised.ProductKey("A"), revised.BodyAt("1", 0));
  revised.Take(Root({{"A"}}).Part("A", {Solid("b"), OpenShell("new")}));
  EXPECT_THAT(revised.BodyNames("1"), ElementsAre("body-2", "body-3"));
  EXPECT_EQ(revised.LinkedTo(revised.ProductKey("A")), "1 body-3");
  ExpectSound(revised.document);
}

TEST(ABodyThatIsExchangedForOneOfAnotherKind, IsFoundByItsIdentifierFirst) {
  RevisedDocument revised(Root({{"A"}}).Part("A", {Solid("a"), Solid("b")}));
  revised.LinkByHand(revised.ProductKey("A"), revised.BodyAt("1", 0));
  revised.LinkByHand(revised.ProductKey("Root"), revised.BodyAt("1", 1));
  revised.Take(Root({{"A"}}).Part("A", {OpenShell("b"), OpenShell("a")}));
  EXPECT_EQ(revised.LinkedTo(revised.ProductKey("A")), "1 " + revised.BodyNames("1")[1]);
  EXPECT_EQ(revised.LinkedTo(revised.ProductKey("Root")), "1 " + revised.BodyNames("1")[0]);
  ExpectSound(revised.document);
}

TEST(BodiesOfTheRoot, AreRecognisedAsWell) {
  StepFile file = Root({{"A"}}).Part("A").Part("Root", {Solid("a"), Solid("b")});
  RevisedDocument revised(file);
  revised.LinkByHand(revised.ProductKey("A"), host::BodyGeometry({}, revised.document.bodies.at({})[1]));
  revised.Take(file.Part("Root", {OpenShell("c"), Solid("b")}));
  EXPECT_THAT(revised.BodyNames("/"), ElementsAre("body-3", "body-2"));
  EXPECT_EQ(revised.LinkedTo(revised.ProductKey("A")), "/ body-2");
  ExpectSound(revised.document);
}

TEST(BodiesOfAMovedPart, AreExchangedAtItsNewPath) {
  RevisedDocument revised(Boxes({{"Bolt", "x"}}, {}));
  revised.LinkByHand(revised.ProductKey("Nut"), revised.BodyAt("1/2"));
  revised.Take(Boxes({}, {{"Bolt", "x"}}).Part("Bolt", {OpenShell()}));
  EXPECT_EQ(revised.LinkedTo(revised.ProductKey("Nut")), "2/2 body-2");
  ExpectSound(revised.document);
}

// ---- parts and assemblies

TEST(APartThatBecomesAnAssembly, KeepsKeyPathLinksAndNumber) {
  RevisedDocument revised(Machine());
  const UniqueMetaObjectKey key = revised.KeyAt("4");
  revised.LinkByHand(revised.ProductKey("Cover"), revised.BodyAt("4"));
  StepFile file = Machine();
  file.Assembly("Cover", {{"Bolt", "cb"}});
  revised.Take(file);
  EXPECT_EQ(revised.KeyAt("4"), key);
  EXPECT_EQ(revised.OccurrenceAt("4").type, MetaObjectType::assemblyOccurrence);
  EXPECT_EQ(revised.At("4").objectType, GeometryObject3D::c_assemblyComponent);
  EXPECT_EQ(revised.OccurrenceAt("4").embodiment,
            revised.document.productData.Find(revised.ProductKey("Cover"))->embodiment);
  EXPECT_EQ(revised.LinkedTo(key), "4 ");
  EXPECT_EQ(revised.LinkedTo(revised.ProductKey("Cover")), "4 body-1");
  EXPECT_EQ(revised.Numbers("Root").at("Cover"), 3);
  EXPECT_THAT(revised.Numbers("Cover"), ElementsAre(Pair("Bolt", 1)));
  ExpectSound(revised.document);
}

TEST(AnAssemblyThatBecomesAPart, KeepsKeyPathLinksAndNumberAndLosesItsBill) {
  RevisedDocument revised(Machine());
  const UniqueMetaObjectKey key = revised.KeyAt("3");
  const UniqueMetaObjectKey embodiment = revised.OccurrenceAt("3").embodiment;
  revised.LinkByHand(embodiment, revised.BodyAt("3"));
  revised.LinkByHand(revised.ProductKey("Bolt"), revised.BodyAt("1"));
  StepFile file = Machine();
  file.Assembly("Frame", {});
  revised.Take(file);
  EXPECT_THAT(revised.Tree(), ElementsAre("1 Frame", "2 Bolt", "3 Frame", "4 Cover"));
  EXPECT_EQ(revised.KeyAt("3"), key);
  EXPECT_EQ(revised.OccurrenceAt("3").type, MetaObjectType::partOccurrence);
  EXPECT_EQ(revised.OccurrenceAt("3").embodiment, c_none);
  EXPECT_EQ(revised.document.productData.Find(embodiment), nullptr);
  EXPECT_EQ(revised.LinkedTo(embodiment), "");
  EXPECT_EQ(revised.LinkedTo(revised.ProductKey("Bolt")), "1 body-1");
  EXPECT_EQ(revised.Numbers("Root").at("Frame"), 1);
  ExpectSound(revised.document);
}

TEST(ARootThatBecomesAPart, LosesEverythingButItsProduct) {
  RevisedDocument revised(Machine());
  const UniqueMetaObjectKey root = revised.document.productData.RootProduct();
  revised.Take(StepFile().Part("Root", {Solid()}));
  EXPECT_THAT(revised.Tree(), IsEmpty());
  EXPECT_EQ(revised.document.productData.All().size(), 1u);
  EXPECT_EQ(revised.document.productData.RootProduct(), root);
  EXPECT_THAT(ContentOf(revised.document).unique, IsEmpty());
  EXPECT_EQ(revised.document.nextRootElement, 5u);
  revised.Take(Machine());
  EXPECT_EQ(revised.Tree().front(), "5 Frame");
  ExpectSound(revised.document);
}

// ---- stock

void MakeStock(RevisedDocument& revised, const UniqueMetaObjectKey& line, const std::string& path) {
  revised.document.productData.Find(line)->billet = BilletKind::manual;
  revised.OccurrenceAt(path).billet = BilletKind::manual;
  revised.OccurrenceAt(path).type = MetaObjectType::billet;
}

TEST(Stock, StaysStockWithAllThatIsAddedToItsLine) {
  RevisedDocument revised(Machine());
  MakeStock(revised, revised.LineKey("Root", "Cover"), "4");
  StepFile file = Machine();
  file.UsesOf("Root").push_back({"Cover", "c2"});
  revised.Take(file);
  for (const char* path : {"4", "5"}) {
    EXPECT_EQ(revised.OccurrenceAt(path).type, MetaObjectType::billet);
    EXPECT_EQ(revised.OccurrenceAt(path).billet, BilletKind::manual);
  }
}

TEST(Stock, StaysStockInTheNewLineThatItMovesTo) {
  RevisedDocument revised(Boxes({{"Plate", "x"}}, {}));
  MakeStock(revised, revised.LineKey("Left", "Plate"), "1/2");
  revised.Take(Boxes({}, {{"Plate", "x"}}));
  EXPECT_EQ(revised.OccurrenceAt("2/2").type, MetaObjectType::billet);
  EXPECT_EQ(revised.document.productData.Find(revised.LineKey("Right", "Plate"))->billet, BilletKind::manual);
}

TEST(Stock, CountsAsTheOthersOfTheLineThatItMovesTo) {
  RevisedDocument revised(Boxes({{"Plate", "x"}}, {{"Plate", "y"}}));
  MakeStock(revised, revised.LineKey("Left", "Plate"), "1/2");
  revised.Take(Boxes({}, {{"Plate", "y"}, {"Plate", "x"}}));
  EXPECT_EQ(revised.OccurrenceAt("2/3").type, MetaObjectType::partOccurrence);
  EXPECT_EQ(revised.OccurrenceAt("2/3").billet, BilletKind::none);
}

TEST(Stock, ThatBecomesAnAssemblyIsStockNoLonger) {
  RevisedDocument revised(Machine());
  MakeStock(revised, revised.LineKey("Root", "Cover"), "4");
  StepFile file = Machine();
  file.Assembly("Cover", {{"Bolt", "cb"}});
  revised.Take(file);
  EXPECT_EQ(revised.OccurrenceAt("4").type, MetaObjectType::assemblyOccurrence);
  EXPECT_EQ(revised.OccurrenceAt("4").billet, BilletKind::none);
  EXPECT_EQ(revised.document.productData.Find(revised.LineKey("Root", "Cover"))->billet, BilletKind::none);
  ExpectSound(revised.document);
}

// ---- the report

TEST(TheReport, NamesWhatWasAddedMovedOrRemovedAsAWhole) {
  RevisedDocument revised(Boxes({{"Unit", "u"}, {"Bolt", "x"}}, {}));
  StepFile file = Boxes({}, {{"Bolt", "x"}});
  file.UsesOf("Root").push_back({"Kit", "k"});
  file.Assembly("Kit", {{"Seal", "s"}}).Part("Seal");
  revised.Take(file);
  EXPECT_THAT(revised.report.changes,
              UnorderedElementsAre("removed: 1/2 m-Unit Unit", "added: 3 m-Kit Kit", "moved: 1/3 to 2/2 m-Bolt Bolt"));
  EXPECT_THAT(Figures(revised.report), ElementsAre(4, 2, 1, 3));
  EXPECT_EQ(revised.report.occurrences, 7u);
  EXPECT_EQ(revised.report.products, 7u);
  EXPECT_EQ(revised.report.bodies, 4u);
}

TEST(TheReport, CountsProductsThatAreUsedOnly) {
  StepFile file = Root({{"A"}, {"A"}}).Part("A").Part("Unused");
  EXPECT_EQ(RevisedDocument(file).report.products, 2u);
  EXPECT_EQ(RevisedDocument(Root({{"A"}}).Part("A")).report.products, 2u);
}

TEST(TheReport, TellsWhereAThingWasBeforeItsHolderMoved) {
  RevisedDocument revised(Boxes({{"Unit", "u"}}, {}));
  StepFile file = Boxes({}, {{"Unit", "u"}});
  file.Assembly("Unit", {{"Bolt", "ub"}});
  file.UsesOf("Root").push_back({"Plate", "up"});
  revised.Take(file);
  EXPECT_THAT(revised.report.changes,
              UnorderedElementsAre("moved: 1/2 to 2/2 m-Unit Unit", "moved: 1/2/2 to 3 m-Plate Plate"));
}

// ---- how the links are changed

// Passes everything on and notes the changes of geometry objects.
class RecordedLinks final : public IProductGeometryObjects3D {
 public:
  explicit RecordedLinks(std::unique_ptr<IProductGeometryObjects3D> recorded) : links(std::move(recorded)) {}

  void SetLinkValidater(LinkValidator validator) override { links->SetLinkValidater(std::move(validator)); }
  void AddLink(const UniqueMetaObjectKey& key, const GeometryObject3D& geometry, LinkSet set) override {
    links->AddLink(key, geometry, set);
  }
  void AddLinks(const UniqueMetaObjectKey& key, const std::vector<GeometryObject3D>& list, LinkSet set) override {
    links->AddLinks(key, list, set);
  }
  void RemoveGeometryObjectLinks(const GeometryObject3D& geometry, LinkSet set) override {
    links->RemoveGeometryObjectLinks(geometry, set);
  }
  void RemoveLink(const GeometryObject3D& geometry, const UniqueMetaObjectKey& key, LinkSet set) override {
    links->RemoveLink(geometry, key, set);
  }
  void RemoveMetaObjectLinks(const UniqueMetaObjectKey& key, LinkSet set) override {
    links->RemoveMetaObjectLinks(key, set);
  }
  void RemoveMetaObjectsLinks(const std::set<UniqueMetaObjectKey>& keys, LinkSet set) override {
    links->RemoveMetaObjectsLinks(keys, set);
  }
  void ClearLinks() noexcept override { links->ClearLinks(); }
  bool HasLink(const UniqueMetaObjectKey& key, const GeometryObject3D& geometry, LinkSet set) const override {
    return links->HasLink(key, geometry, set);
  }
  const UniqueMetaObjectKey& GetMetaObjectKey(const GeometryObject3D& geometry, LinkSet set) const override {
    return links->GetMetaObjectKey(geometry, set);
  }
  std::vector<UniqueMetaObjectKey> GetMetaObjectKeys(const GeometryObject3D& geometry) const override {
    return links->GetMetaObjectKeys(geometry);
  }
  std::vector<GeometryObject3D> GetGeometryObjects(const UniqueMetaObjectKey& key, LinkSet set) const override {
    return links->GetGeometryObjects(key, set);
  }
  GeometryObject3D GetGeometryObject(const UniqueMetaObjectKey& key) const override {
    return links->GetGeometryObject(key);
  }
  IfSomething* MetaObjectToSomething(const UniqueMetaObjectKey& key, const IfDocObject& document) const override {
    return links->MetaObjectToSomething(key, document);
  }
  CompTrObject<IfSomething> MetaObjectToWrapper(const UniqueMetaObjectKey& key, const IfDocObject& document,
                                                IfComponent* component) const override {
    return links->MetaObjectToWrapper(key, document, component);
  }
  void WriteMetaObjectsLinks(writer& out) const override { links->WriteMetaObjectsLinks(out); }
  void SetWriteComponentPath(const MbPath* path) override { links->SetWriteComponentPath(path); }
  std::map<UniqueMetaObjectKey, UniqueMetaObjectKey> RegenerateMetaObjectKeys() override {
    return links->RegenerateMetaObjectKeys();
  }
  void ReplaceGeometryObject(const GeometryObject3D& from, const GeometryObject3D& to) override {
    // The store would not end.
    ASSERT_TRUE(from < to || to < from);
    replaced.push_back(host::PathText(from.componentPath) + " " + std::string(from.objectName.Bytes()) + " to " +
                       host::PathText(to.componentPath) + " " + std::string(to.objectName.Bytes()));
    links->ReplaceGeometryObject(from, to);
  }
  void ReplaceMetaObjectKey(const UniqueMetaObjectKey& from, const UniqueMetaObjectKey& to, LinkSet set) override {
    links->ReplaceMetaObjectKey(from, to, set);
  }
  void ReplaceComponentPath(const MbPath& from, const MbPath& to) override {
    branches.push_back(host::PathText(from) + " to " + host::PathText(to));
    links->ReplaceComponentPath(from, to);
  }
  void ForEachLink(const LinkVisitor& visitor, LinkSet set) const override { links->ForEachLink(visitor, set); }
  std::vector<GeometryObject3D> GetValidatedOnlyGeometryObjects(const UniqueMetaObjectKey& key, bool* sharedFound,
                                                                bool* sharedPartFound) const override {
    return links->GetValidatedOnlyGeometryObjects(key, sharedFound, sharedPartFound);
  }

  std::vector<std::string> replaced;
  std::vector<std::string> branches;

 private:
  std::unique_ptr<IProductGeometryObjects3D> links;
};

RecordedLinks& Record(RevisedDocument& revised) {
  auto recorded = std::make_unique<RecordedLinks>(std::move(revised.document.links));
  RecordedLinks& result = *recorded;
  revised.document.links = std::move(recorded);
  return result;
}

TEST(Links, StayUntouchedWhereNothingMoved) {
  RevisedDocument revised(Machine());
  const RecordedLinks& links = Record(revised);
  revised.Take(Machine());
  EXPECT_THAT(links.replaced, IsEmpty());
  EXPECT_THAT(links.branches, IsEmpty());
}

TEST(Links, MoveAsABranchWhereTheDepthStays) {
  RevisedDocument revised(Boxes({{"Unit", "u"}}, {}));
  const RecordedLinks& links = Record(revised);
  revised.Take(Boxes({}, {{"Unit", "u"}}));
  EXPECT_THAT(links.replaced, IsEmpty());
  EXPECT_THAT(links.branches, ElementsAre("1/2 to 2/2"));
}

TEST(Links, MoveObjectByObjectToAnotherDepth) {
  RevisedDocument revised(Boxes({{"Unit", "u"}}, {}));
  const RecordedLinks& links = Record(revised);
  StepFile file = Boxes({}, {});
  file.UsesOf("Root").push_back({"Unit", "u"});
  revised.Take(file);
  EXPECT_THAT(links.branches, IsEmpty());
  EXPECT_THAT(links.replaced,
              UnorderedElementsAre("1/2  to 3 ", "1/2/1  to 3/1 ", "1/2/1 body-1 to 3/1 body-1", "1/2/2  to 3/2 ",
                                   "1/2/2 body-1 to 3/2 body-1", "1/2/2 body-2 to 3/2 body-2"));
}

TEST(Links, OfAPartMoveObjectByObject) {
  RevisedDocument revised(Boxes({{"Bolt", "x"}}, {}));
  const RecordedLinks& links = Record(revised);
  revised.Take(Boxes({}, {{"Bolt", "x"}}));
  EXPECT_THAT(links.branches, IsEmpty());
  EXPECT_THAT(links.replaced, UnorderedElementsAre("1/2  to 2/2 ", "1/2 body-1 to 2/2 body-1"));
}

TEST(Links, OfAPartThatBecomesAnAssemblyChangeTheKindOfTheirComponent) {
  RevisedDocument revised(Machine());
  const RecordedLinks& links = Record(revised);
  StepFile file = Machine();
  file.Assembly("Cover", {{"Bolt", "cb"}});
  revised.Take(file);
  EXPECT_THAT(links.replaced, ElementsAre("4  to 4 "));
}

// ---- limits and damaged documents

TEST(AHolderWithoutNumbersLeft, RefusesNewComponents) {
  RevisedDocument revised(Boxes({}, {}));
  revised.document.components.at(host::ParsePath("1")).nextElement = std::numeric_limits<std::uint32_t>::max();
  try {
    revised.Take(Boxes({{"Bolt", "x"}}, {}));
    FAIL() << "not refused";
  } catch (const host::DocumentError& error) {
    EXPECT_THAT(error.what(), testing::HasSubstr("component 1 has no more numbers"));
  }
}

TEST(AHolderWhoseLastNumberIsTaken, RefusesNewComponents) {
  RevisedDocument revised(Root({{"A", "x"}}).Part("A"));
  auto component = revised.document.components.extract(host::ParsePath("1"));
  component.key() = host::ParsePath("4294967295");
  revised.document.components.insert(std::move(component));
  EXPECT_THROW(revised.Take(Root({{"A", "x"}, {"A", "y"}}).Part("A")), host::DocumentError);
}

TEST(AHolderWithTheLastNumberGiven, KeepsWhatItHolds) {
  RevisedDocument revised(Root({{"A", "x"}}).Part("A"));
  revised.document.nextRootElement = std::numeric_limits<std::uint32_t>::max();
  const DocumentContent before = ContentOf(revised.document);
  revised.Take(Root({{"A", "x"}}).Part("A"));
  ExpectSame(before, ContentOf(revised.document));
}

TEST(ADamagedDocument, WhoseNextNumberIsTooLowLosesNothing) {
  RevisedDocument revised(Boxes({}, {}));
  revised.document.nextRootElement = 1;
  revised.document.components.at(host::ParsePath("1")).nextElement = 0;
  StepFile file = Boxes({{"Bolt", "x"}}, {});
  file.UsesOf("Root").push_back({"Bolt", "y"});
  revised.Take(file);
  EXPECT_THAT(revised.Tree(), ElementsAre("1 Left", "1/1 Nut", "1/2 Bolt", "2 Right", "2/1 Nut", "3 Bolt"));
  ExpectSound(revised.document);
}

TEST(ADamagedDocument, WithoutARootGetsOne) {
  RevisedDocument revised(Machine());
  revised.document.productData.Remove(revised.document.productData.RootProduct());
  revised.Take(Machine());
  EXPECT_EQ(revised.document.productData.RootProduct(), revised.ProductKey("Root"));
  EXPECT_EQ(revised.report.kept, 10u);
}

TEST(ADamagedDocument, WhoseOccurrencesAreNoneTakesTheirComponentsForGone) {
  // Nothing; an embodiment; the occurrence of another component; a line.
  for (const int damage : {0, 1, 2, 3}) {
    RevisedDocument revised(Machine());
    const UniqueMetaObjectKey strange = damage == 0   ? UniqueMetaObjectKey("nothing")
                                        : damage == 1 ? revised.document.productData.RootEmbodiment()
                                        : damage == 2 ? revised.KeyAt("1")
                                                      : revised.LineKey("Root", "Frame");
    revised.document.components.at(host::ParsePath("3")).occurrence = strange;
    const UniqueMetaObjectKey base = revised.document.productData.RootEmbodiment();
    revised.Take(Machine());
    EXPECT_EQ(revised.document.productData.RootEmbodiment(), base);
    EXPECT_EQ(revised.document.components.size(), 10u);
    EXPECT_EQ(revised.report.kept + revised.report.moved, 9u);
    for (const auto& [path, component] : revised.document.components) {
      ASSERT_NE(revised.document.productData.Find(component.occurrence), nullptr);
      EXPECT_TRUE(revised.document.productData.Find(component.occurrence)->IsOccurrence());
    }
    EXPECT_THAT(host::FindFaults(revised.document, revised.document.productData.RootEmbodiment()), IsEmpty());
  }
}

TEST(ADamagedDocument, WhoseOccurrenceHasNoLineOrProductIsStillTaken) {
  RevisedDocument revised(Machine());
  revised.OccurrenceAt("2").groupObject = UniqueMetaObjectKey("nothing");
  revised.OccurrenceAt("4").product = UniqueMetaObjectKey("nothing");
  // A product without texts is like one that is not there, as far as its texts go.
  revised.Take(Machine().Called("Cover", "", ""));
  EXPECT_EQ(revised.OccurrenceAt("2").groupObject, revised.LineKey("Root", "Bolt"));
  EXPECT_THAT(revised.Tree(), testing::Contains("5 "));
}

TEST(ADamagedDocument, WhoseBaseEmbodimentIsNoneGetsOne) {
  RevisedDocument revised(Machine());
  const UniqueMetaObjectKey bolt = revised.ProductKey("Bolt");
  revised.document.productData.Find(revised.ProductKey("Root"))->embodiment = bolt;
  revised.Take(Machine());
  const MetaObject* base = revised.document.productData.Find(revised.document.productData.RootEmbodiment());
  ASSERT_NE(base, nullptr);
  EXPECT_EQ(base->type, MetaObjectType::embodiment);
  EXPECT_EQ(base->product, revised.document.productData.RootProduct());
}

// ---- any edits

// A tree of products by levels: a product uses products of deeper levels only, so there are no cycles.
struct RandomFile {
  static constexpr int c_products = 9;

  std::vector<std::vector<UseOf>> uses = std::vector<std::vector<UseOf>>(c_products);
  std::vector<std::vector<host::StepBody>> bodies = std::vector<std::vector<host::StepBody>>(c_products);
  std::vector<std::string> markings = std::vector<std::string>(c_products);

  StepFile File() const {
    StepFile file;
    for (int i = 0; i < c_products; ++i) {
      const auto index = static_cast<std::size_t>(i);
      const std::string name = NameOf(i);
      file.Part(name, bodies[index]).Assembly(name, uses[index]).Called(name, markings[index], "name of " + name);
    }
    return file;
  }

  static std::string NameOf(int product) { return "p" + std::to_string(product); }
};

UseOf AnyUseBelow(int holder) {
  const int product = *rc::gen::inRange(holder + 1, RandomFile::c_products);
  const int id = *rc::gen::inRange(0, 12);
  // Identifiers are missing, shared and unique ones.
  return {RandomFile::NameOf(product), id < 4 ? std::string() : "u" + std::to_string(id),
          Moved(*rc::gen::inRange(0, 3))};
}

host::StepBody AnyBody() {
  const std::string id = *rc::gen::element<std::string>("", "a", "b");
  return *rc::gen::arbitrary<bool>() ? Solid(id) : OpenShell(id);
}

RandomFile AnyFile() {
  RandomFile file;
  for (int holder = 0; holder < RandomFile::c_products; ++holder) {
    const auto index = static_cast<std::size_t>(holder);
    file.markings[index] = "m" + std::to_string(holder);
    file.bodies[index].resize(static_cast<std::size_t>(*rc::gen::inRange(0, 3)));
    for (host::StepBody& body : file.bodies[index]) {
      body = AnyBody();
    }
    const int uses = holder + 1 == RandomFile::c_products ? 0 : *rc::gen::inRange(holder == 0 ? 1 : 0, 4);
    for (int use = 0; use < uses; ++use) {
      file.uses[index].push_back(AnyUseBelow(holder));
    }
  }
  return file;
}

void Edit(RandomFile& file) {
  const int holder = *rc::gen::inRange(0, RandomFile::c_products - 1);
  auto& uses = file.uses[static_cast<std::size_t>(holder)];
  switch (*rc::gen::inRange(0, 6)) {
    case 0:
      uses.insert(uses.begin(), AnyUseBelow(holder));
      break;
    case 1:
      if (!uses.empty()) {
        uses.pop_back();
      }
      break;
    case 2:
      std::reverse(uses.begin(), uses.end());
      break;
    case 3: {
      // Further up, where it may be used as well.
      auto& others = file.uses[static_cast<std::size_t>(*rc::gen::inRange(0, holder + 1))];
      if (!uses.empty() && &others != &uses) {
        others.push_back(uses.front());
        uses.erase(uses.begin());
      }
      break;
    }
    case 4:
      file.bodies[static_cast<std::size_t>(holder) + 1].push_back(AnyBody());
      std::reverse(file.bodies[static_cast<std::size_t>(holder)].begin(),
                   file.bodies[static_cast<std::size_t>(holder)].end());
      break;
    default:
      file.markings[static_cast<std::size_t>(holder)] = *rc::gen::element<std::string>("", "new", "newer");
      break;
  }
}

// The number of every line in every embodiment.
using LineNumbers = std::map<std::pair<UniqueMetaObjectKey, UniqueMetaObjectKey>, std::int32_t>;

LineNumbers NumbersOfAll(const host::ProductData& data) {
  LineNumbers numbers;
  for (const auto& [embodiment, group] : data.AllGroups()) {
    for (const auto& [line, count] : group.lines) {
      numbers[{embodiment, line}] = host::StoredPosition(data, embodiment, line).value_or(-1);
    }
  }
  return numbers;
}

// The file's structure without what a document adds, a use in the form "path of product names".
std::vector<std::string> Structure(const StepFile& file) {
  const host::StepAssembly assembly = file.Value();
  std::vector<std::string> found;
  std::vector<std::pair<std::string, std::size_t>> open{{"", 0}};
  while (!open.empty()) {
    const auto [path, product] = open.back();
    open.pop_back();
    for (const host::StepUse& use : assembly.products[product].uses) {
      found.push_back(path + "/" + assembly.products[use.product].name + " " + use.id + " " +
                      std::to_string(use.placement[3]) + " " +
                      std::to_string(assembly.products[use.product].bodies.size()));
      open.emplace_back(path + "/" + assembly.products[use.product].name, use.product);
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

std::vector<std::string> Structure(const RevisedDocument& revised) {
  std::vector<std::string> found;
  for (const auto& [path, component] : revised.document.components) {
    std::string names;
    ComponentPath holder = path;
    for (std::size_t left = path.Count(); left > 0; --left) {
      names =
          "/" +
          revised.document.productData.ProductText(revised.document.components.at(holder).occurrence, c_productName) +
          names;
      ComponentPath outer;
      for (std::size_t i = 1; i < holder.Count(); ++i) {
        outer.Append(holder[i]);
      }
      holder = outer;
    }
    found.push_back(names + " " + component.fileId + " " + std::to_string(component.placement[3]) + " " +
                    std::to_string(revised.BodyNames(host::PathText(path)).size()));
  }
  std::sort(found.begin(), found.end());
  return found;
}

std::vector<UniqueMetaObjectKey> KeysOf(const host::Document& document) {
  std::vector<UniqueMetaObjectKey> keys;
  for (const auto& [key, object] : document.productData.All()) {
    keys.push_back(key);
  }
  return keys;
}

RC_GTEST_PROP(AnyRevisions, LeaveASoundDocumentThatSaysWhatTheFileSays, ()) {
  RandomFile file = AnyFile();
  RevisedDocument revised(file.File());
  for (int revision = *rc::gen::inRange(1, 4); revision > 0; --revision) {
    // A person's links on some bodies.
    for (const auto& [path, bodies] : revised.document.bodies) {
      for (const host::Body& body : bodies) {
        revised.LinkByHand(revised.document.productData.RootProduct(), host::BodyGeometry(path, body));
      }
    }
    const LineNumbers numbersBefore = NumbersOfAll(revised.document.productData);
    std::map<UniqueMetaObjectKey, std::int32_t> lastBefore;
    for (const auto& [pair, number] : numbersBefore) {
      lastBefore[pair.first] = std::max(lastBefore[pair.first], number);
    }
    const std::size_t occurrencesBefore = revised.document.components.size();
    for (int edits = *rc::gen::inRange(1, 6); edits > 0; --edits) {
      Edit(file);
    }
    revised.Take(file.File());
    ExpectSound(revised.document);
    RC_ASSERT(Structure(revised) == Structure(file.File()));
    RC_ASSERT(revised.report.kept + revised.report.moved + revised.report.removed == occurrencesBefore);
    RC_ASSERT(revised.report.kept + revised.report.moved + revised.report.added == revised.report.occurrences);
    for (const auto& [line, number] : NumbersOfAll(revised.document.productData)) {
      const auto before = numbersBefore.find(line);
      if (before != numbersBefore.end()) {
        RC_ASSERT(number == before->second);
      } else {
        RC_ASSERT(number > lastBefore[line.first]);
      }
    }
    RC_ASSERT(!testing::Test::HasFailure());

    const std::vector<UniqueMetaObjectKey> keys = KeysOf(revised.document);
    const std::vector<std::string> tree = revised.Tree();
    const LineNumbers numbers = NumbersOfAll(revised.document.productData);
    revised.Take(file.File());
    ExpectSound(revised.document);
    RC_ASSERT(KeysOf(revised.document) == keys);
    RC_ASSERT(revised.Tree() == tree);
    RC_ASSERT(NumbersOfAll(revised.document.productData) == numbers);
    RC_ASSERT(revised.report.kept == revised.report.occurrences);
    RC_ASSERT(revised.report.changes.empty());
    // From then on nothing moves at all.
    const DocumentContent content = ContentOf(revised.document);
    revised.Take(file.File());
    ExpectSame(content, ContentOf(revised.document));
    RC_ASSERT(!testing::Test::HasFailure());
  }
}

// ---- cost

// No clock and no count: without optimisation, work that grows with the square of the number of occurrences takes
// many minutes at these sizes, while work that grows as it should takes a few seconds. The system ends the program,
// and with it the test, when it has used up its time.
class CostOfARevision : public testing::Test {
 protected:
  void SetUp() override { LimitProcessorTime(100); }
  void TearDown() override { LimitProcessorTime(0); }

 private:
  // 0 lifts the limit. Time that other programs use does not count.
  static void LimitProcessorTime(time_t seconds) {
    const itimerval limit{{0, 0}, {seconds, 0}};
    ASSERT_EQ(setitimer(ITIMER_PROF, &limit, nullptr), 0);
  }
};

TEST_F(CostOfARevision, WithManyOccurrencesInOneHolderIsNotQuadratic) {
  constexpr int c_many = 20'000;
  const auto file = [](int first) {
    std::vector<UseOf> uses;
    for (int i = first; i < first + c_many; ++i) {
      uses.push_back({i % 2 == 0 ? "A" : "B", "u" + std::to_string(i), Moved(i)});
    }
    return Root(uses).Part("A").Part("B");
  };
  RevisedDocument revised(file(0));
  revised.Take(file(c_many / 2));
  EXPECT_EQ(revised.report.kept, 20'000u);
}

TEST_F(CostOfARevision, InWhichEveryPartMovesIsNotQuadratic) {
  constexpr int c_many = 20'000;
  std::vector<UseOf> uses;
  for (int i = 0; i < c_many; ++i) {
    uses.push_back({"Bolt", "u" + std::to_string(i), Moved(i)});
  }
  RevisedDocument revised(Boxes(uses, {}));
  revised.Take(Boxes({}, uses));
  EXPECT_EQ(revised.report.moved, 20'000u);
}

// `levels` assemblies, each of which holds the next one and `parts` parts.
StepFile Tower(int levels, int parts) {
  StepFile file;
  std::vector<UseOf> uses;
  for (int i = 0; i < parts; ++i) {
    uses.push_back({"Part", "u" + std::to_string(i), Moved(i)});
  }
  for (int level = 0; level < levels; ++level) {
    const std::string name = "Level" + std::to_string(level);
    file.Assembly(name, uses);
    if (level + 1 < levels) {
      file.UsesOf(name).push_back({"Level" + std::to_string(level + 1), "next"});
    }
  }
  return file.Part("Part");
}

TEST_F(CostOfARevision, OfADeepTreeThatLosesItsTopIsNotQuadratic) {
  RevisedDocument revised(Tower(200, 50));
  StepFile lower = Tower(200, 50);
  lower.Assembly("Level0", {{"Level2", "next"}});
  revised.Take(lower);
  EXPECT_EQ(revised.report.kept, 197u * 51 + 50);
  EXPECT_EQ(revised.report.moved, 1u);
  EXPECT_EQ(revised.report.removed, 101u);
}

}  // namespace
