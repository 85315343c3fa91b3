// Which node of a revised file is which node of the document.

#include "host/step/MatchTrees.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/step/RevisedDocument.h"
#include "tests/host/step/StepFile.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;
using tests::Moved;
using tests::RevisedDocument;
using tests::StepFile;
using tests::TurnedAndMoved;
using tests::UseOf;

namespace {

// By the file's way to a use, made of their places among their siblings ("1/2"), the document's path to its
// counterpart; uses without one are left out.
using Matches = std::map<std::string, std::string>;

std::vector<std::string> FilePaths(const std::vector<host::FileNode>& tree) {
  std::vector<std::string> paths(tree.size());
  for (std::size_t node = 0; node < tree.size(); ++node) {
    for (std::size_t i = 0; i < tree[node].children.size(); ++i) {
      paths[tree[node].children[i]] = (node == 0 ? "" : paths[node] + "/") + std::to_string(i + 1);
    }
  }
  return paths;
}

Matches MatchesOf(const RevisedDocument& revised, const StepFile& file) {
  const host::StepAssembly assembly = file.Value();
  const auto before = host::DocumentTree(revised.document);
  const auto after = host::FileTree(assembly, assembly.roots.front());
  const auto products = host::MatchProducts(revised.document.productData, before, assembly, after);
  const host::TreeMatch match = host::MatchTrees(before, after, products);
  const std::vector<std::string> paths = FilePaths(after);
  Matches result;
  EXPECT_EQ(match.documentNodeOf.size(), after.size());
  EXPECT_EQ(match.fileNodeOf.size(), before.size());
  EXPECT_EQ(match.documentNodeOf[0], 0u);
  for (std::size_t node = 0; node < after.size(); ++node) {
    const std::size_t old = match.documentNodeOf[node];
    if (old != host::c_noNode) {
      EXPECT_EQ(match.fileNodeOf[old], node);
      EXPECT_EQ(before[old].product, products[after[node].product]);
    }
    if (node != 0 && old != host::c_noNode) {
      result[paths[node]] = host::PathText(before[old].path);
    }
  }
  const auto unmatched = std::count(match.fileNodeOf.begin(), match.fileNodeOf.end(), host::c_noNode);
  EXPECT_EQ(before.size(), result.size() + 1 + static_cast<std::size_t>(unmatched)) << "each is one other at most";
  return result;
}

Matches MatchesOf(const StepFile& before, const StepFile& after) {
  return MatchesOf(RevisedDocument(before), after);
}

// Which products of the document those of the file are, each as "marking|name", without the root's; new ones are left
// out.
Matches ProductMatchesOf(const StepFile& before, const StepFile& after) {
  const RevisedDocument revised(before);
  const host::StepAssembly assembly = after.Value();
  const auto tree = host::DocumentTree(revised.document);
  const auto fileTree = host::FileTree(assembly, assembly.roots.front());
  const auto products = host::MatchProducts(revised.document.productData, tree, assembly, fileTree);
  Matches result;
  for (std::size_t i = 0; i < products.size(); ++i) {
    if (!products[i].IsEmpty() && i != assembly.roots.front()) {
      result[assembly.products[i].id + "|" + assembly.products[i].name] =
          revised.document.productData.ProductText(products[i], c_marking) + "|" +
          revised.document.productData.ProductText(products[i], c_productName);
    }
  }
  return result;
}

StepFile Root(const std::vector<UseOf>& uses) {
  return StepFile().Assembly("Root", uses);
}

// ---- the trees

TEST(DocumentTree, HasTheRootFirstAndEveryHolderBeforeWhatItHolds) {
  const RevisedDocument revised(
      Root({{"Frame"}, {"Bolt"}, {"Frame"}}).Assembly("Frame", {{"Bolt"}, {"Plate"}}).Part("Bolt").Part("Plate"));
  const auto tree = host::DocumentTree(revised.document);
  std::vector<std::string> paths;
  for (std::size_t node = 0; node < tree.size(); ++node) {
    paths.push_back(host::PathText(tree[node].path));
    EXPECT_EQ(tree[node].component == nullptr, node == 0);
    for (const std::size_t child : tree[node].children) {
      EXPECT_EQ(tree[child].parent, node);
      EXPECT_GT(child, node);
    }
  }
  EXPECT_THAT(paths, ElementsAre("/", "1", "1/1", "1/2", "2", "3", "3/1", "3/2"));
  EXPECT_THAT(tree[0].children, ElementsAre(1u, 4u, 5u));
  EXPECT_THAT(tree[5].children, ElementsAre(6u, 7u));
  EXPECT_EQ(tree[0].parent, host::c_noNode);
  EXPECT_EQ(tree[0].product, revised.ProductKey("Root"));
  EXPECT_EQ(tree[7].product, revised.ProductKey("Plate"));
}

TEST(FileTree, CountsEveryUseAlongEveryWayDown) {
  const host::StepAssembly assembly =
      Root({{"Frame"}, {"Frame"}}).Assembly("Frame", {{"Bolt"}, {"Bolt"}}).Part("Bolt").Value();
  const auto tree = host::FileTree(assembly, 0);
  ASSERT_EQ(tree.size(), 7u);
  EXPECT_EQ(tree[0].use, nullptr);
  EXPECT_THAT(FilePaths(tree), ElementsAre("", "1", "2", "1/1", "1/2", "2/1", "2/2"));
  EXPECT_EQ(tree[3].parent, 1u);
  EXPECT_EQ(tree[5].parent, 2u);
}

// ---- products

StepFile TwoParts(const std::string& marking, const std::string& name, const std::string& otherMarking,
                  const std::string& otherName) {
  return Root({{"A"}, {"B"}}).Part("A").Part("B").Called("A", marking, name).Called("B", otherMarking, otherName);
}

TEST(Products, AreRecognisedByMarkingAndNameTogetherFirst) {
  EXPECT_THAT(ProductMatchesOf(TwoParts("1", "Bolt", "1", "Nut"), TwoParts("1", "Nut", "1", "Bolt")),
              UnorderedElementsAre(Pair("1|Bolt", "1|Bolt"), Pair("1|Nut", "1|Nut")));
}

TEST(Products, AreRecognisedByMarkingWhereTheNameChanged) {
  EXPECT_THAT(ProductMatchesOf(TwoParts("1", "Bolt", "2", "Nut"), TwoParts("2", "Lock nut", "1", "Screw")),
              UnorderedElementsAre(Pair("1|Screw", "1|Bolt"), Pair("2|Lock nut", "2|Nut")));
}

TEST(Products, AreRecognisedByNameWhereTheMarkingChanged) {
  EXPECT_THAT(ProductMatchesOf(TwoParts("1", "Bolt", "2", "Nut"), TwoParts("7", "Nut", "8", "Bolt")),
              UnorderedElementsAre(Pair("7|Nut", "2|Nut"), Pair("8|Bolt", "1|Bolt")));
}

TEST(Products, AreRecognisedByMarkingBeforeName) {
  EXPECT_THAT(ProductMatchesOf(TwoParts("1", "Bolt", "2", "Nut"), TwoParts("1", "Nut", "2", "Bolt")),
              UnorderedElementsAre(Pair("1|Nut", "1|Bolt"), Pair("2|Bolt", "2|Nut")));
}

TEST(Products, OfOneMarkingAreNotRecognisedByItAlone) {
  EXPECT_THAT(ProductMatchesOf(TwoParts("1", "Bolt", "1", "Nut"), TwoParts("1", "Screw", "5", "Washer")), IsEmpty());
  EXPECT_THAT(ProductMatchesOf(TwoParts("1", "Bolt", "5", "Washer"), TwoParts("1", "Screw", "1", "Nut")), IsEmpty());
}

TEST(Products, OfOneNameAreNotRecognisedByItAlone) {
  EXPECT_THAT(ProductMatchesOf(TwoParts("1", "Bolt", "2", "Bolt"), TwoParts("8", "Bolt", "9", "Washer")), IsEmpty());
}

TEST(Products, WithoutAMarkingAreNotTheSameForThat) {
  EXPECT_THAT(ProductMatchesOf(Root({{"A"}}).Part("A").Called("A", "", "Bolt"),
                               Root({{"A"}}).Part("A").Called("A", "", "Washer")),
              IsEmpty());
  EXPECT_THAT(
      ProductMatchesOf(Root({{"A"}}).Part("A").Called("A", "1", ""), Root({{"A"}}).Part("A").Called("A", "2", "")),
      IsEmpty());
}

TEST(Products, WithoutAnyTextAreNotThoseThatHaveOne) {
  EXPECT_THAT(MatchesOf(Root({{"A"}, {"B"}}).Part("A").Part("B").Called("A", "", "Bolt").Called("B", "2", ""),
                        Root({{"A"}}).Part("A").Called("A", "", "")),
              IsEmpty());
}

TEST(Products, WithNeitherMarkingNorNameAreStillRecognised) {
  EXPECT_THAT(MatchesOf(TwoParts("", "", "1", "Bolt"), TwoParts("", "", "1", "Bolt")),
              UnorderedElementsAre(Pair("1", "1"), Pair("2", "2")));
}

TEST(Products, ThatBearOneMarkingAndNameAreToldApartByWhereTheyAreUsed) {
  // Along the branches A comes first, level by level B does.
  const StepFile file = Root({{"Frame"}, {"B"}})
                            .Assembly("Frame", {{"A"}})
                            .Part("A", {tests::Solid("a")})
                            .Part("B", {tests::Solid("b")})
                            .Called("A", "", "SOLID")
                            .Called("B", "", "SOLID");
  EXPECT_THAT(MatchesOf(file, file), UnorderedElementsAre(Pair("1", "1"), Pair("1/1", "1/1"), Pair("2", "2")));
}

TEST(Products, ThatBearOneMarkingAndNameFollowTheirHolders) {
  StepFile file = Root({{"Left"}, {"Right"}})
                      .Assembly("Left", {{"A"}})
                      .Assembly("Right", {{"B"}})
                      .Part("A")
                      .Part("B")
                      .Called("A", "", "SOLID")
                      .Called("B", "", "SOLID");
  const StepFile before = file;
  file.Assembly("Root", {{"Right"}, {"Left"}});
  EXPECT_THAT(MatchesOf(before, file),
              UnorderedElementsAre(Pair("1", "2"), Pair("1/1", "2/1"), Pair("2", "1"), Pair("2/1", "1/1")));
}

TEST(Products, ThatBearOneMarkingAndNameFollowTheIdentifiersOfTheirUses) {
  StepFile file =
      Root({{"A", "u1"}, {"B", "u2"}}).Part("A").Part("B").Called("A", "", "SOLID").Called("B", "", "SOLID");
  const StepFile before = file;
  file.Assembly("Root", {{"B", "u2"}, {"A", "u1"}});
  EXPECT_THAT(MatchesOf(before, file), UnorderedElementsAre(Pair("1", "2"), Pair("2", "1")));
}

TEST(Products, ThatBearOneMarkingAndNameFollowThePlacesOfTheirUses) {
  StepFile file = Root({{"A", "", Moved(1)}, {"B", "", Moved(2)}})
                      .Part("A")
                      .Part("B")
                      .Called("A", "", "SOLID")
                      .Called("B", "", "SOLID");
  const StepFile before = file;
  file.Assembly("Root", {{"B", "", Moved(2)}, {"A", "", Moved(1)}});
  EXPECT_THAT(MatchesOf(before, file), UnorderedElementsAre(Pair("1", "2"), Pair("2", "1")));
}

TEST(Products, ThatBearOneMarkingAndNameAreTakenInOrderWhereNothingTellsTheirUsesApart) {
  const StepFile file =
      Root({{"A"}, {"A"}, {"B"}}).Part("A").Part("B").Called("A", "", "SOLID").Called("B", "", "SOLID");
  EXPECT_THAT(MatchesOf(file, file), UnorderedElementsAre(Pair("1", "1"), Pair("2", "2"), Pair("3", "3")));
}

TEST(Products, ThatBearOneMarkingAndNameAreTakenInOrderWhereTheirUsesMoved) {
  const auto file = [](const std::vector<UseOf>& left, const std::vector<UseOf>& right) {
    return Root({{"Left"}, {"Right"}})
        .Assembly("Left", left)
        .Assembly("Right", right)
        .Part("A")
        .Part("B")
        .Part("Nut")
        .Called("A", "", "SOLID")
        .Called("B", "", "SOLID");
  };
  EXPECT_THAT(MatchesOf(file({{"A"}, {"B"}, {"Nut"}}, {{"Nut"}}), file({{"Nut"}}, {{"Nut"}, {"A"}, {"B"}})),
              UnorderedElementsAre(Pair("1", "1"), Pair("1/1", "1/3"), Pair("2", "2"), Pair("2/1", "2/1"),
                                   Pair("2/2", "1/1"), Pair("2/3", "1/2")));
}

TEST(Products, OfTheRootsAreTheSameWhateverTheyAreCalled) {
  const RevisedDocument revised(Root({{"A"}}).Part("A"));
  const host::StepAssembly assembly = Root({{"A"}}).Part("A").Called("Root", "other", "Other").Value();
  const auto products = host::MatchProducts(revised.document.productData, host::DocumentTree(revised.document),
                                            assembly, host::FileTree(assembly, 0));
  EXPECT_THAT(products, ElementsAre(revised.ProductKey("Root"), revised.ProductKey("A")));
}

TEST(Products, ThatNothingUsesAreNotLookedFor) {
  StepFile after = Root({{"A"}}).Part("A").Part("B");
  EXPECT_THAT(ProductMatchesOf(Root({{"B"}}).Part("B"), after), IsEmpty());
}

TEST(Products, OfADocumentThatIsEmptyAreAllNew) {
  const host::Document empty;
  const host::StepAssembly assembly = Root({{"A"}}).Part("A").Value();
  const auto products =
      host::MatchProducts(empty.productData, host::DocumentTree(empty), assembly, host::FileTree(assembly, 0));
  EXPECT_THAT(products, ElementsAre(UniqueMetaObjectKey::null, UniqueMetaObjectKey::null));
}

// ---- within a holder

TEST(UsesInOneHolder, AreRecognisedByTheFilesIdentifierWhateverTheirOrderAndPlace) {
  EXPECT_THAT(MatchesOf(Root({{"A", "x", Moved(1)}, {"A", "y", Moved(2)}}).Part("A"),
                        Root({{"A", "y", Moved(1)}, {"A", "x", Moved(2)}}).Part("A")),
              UnorderedElementsAre(Pair("1", "2"), Pair("2", "1")));
}

TEST(UsesInOneHolder, AreRecognisedByPlaceWhereTheIdentifiersChanged) {
  EXPECT_THAT(MatchesOf(Root({{"A", "x", Moved(1)}, {"A", "y", Moved(2)}}).Part("A"),
                        Root({{"A", "v", Moved(2)}, {"A", "w", Moved(1)}}).Part("A")),
              UnorderedElementsAre(Pair("1", "2"), Pair("2", "1")));
}

TEST(UsesInOneHolder, AreRecognisedByPlaceWhereThereAreNoIdentifiers) {
  EXPECT_THAT(MatchesOf(Root({{"A", "", Moved(1)}, {"A", "", Moved(2)}}).Part("A"),
                        Root({{"A", "", Moved(2)}, {"A", "", Moved(1)}}).Part("A")),
              UnorderedElementsAre(Pair("1", "2"), Pair("2", "1")));
}

TEST(UsesInOneHolder, AreRecognisedByOrderLast) {
  EXPECT_THAT(MatchesOf(Root({{"A", "", Moved(1)}, {"A", "", Moved(2)}}).Part("A"),
                        Root({{"A", "", Moved(3)}, {"A", "", Moved(4)}, {"A", "", Moved(5)}}).Part("A")),
              UnorderedElementsAre(Pair("1", "1"), Pair("2", "2")));
}

TEST(UsesInOneHolder, AreInTheSamePlaceUpToAMillionthOfAMillimetre) {
  EXPECT_THAT(MatchesOf(Root({{"A", "", Moved(1)}, {"A", "", Moved(2)}}).Part("A"),
                        Root({{"A", "", Moved(2.0000000001)}, {"A", "", Moved(0.9999999999)}}).Part("A")),
              UnorderedElementsAre(Pair("1", "2"), Pair("2", "1")));
  EXPECT_THAT(MatchesOf(Root({{"A", "", Moved(1)}, {"A", "", Moved(2)}}).Part("A"),
                        Root({{"A", "", Moved(2.00001)}, {"A", "", Moved(1.00001)}}).Part("A")),
              UnorderedElementsAre(Pair("1", "1"), Pair("2", "2")));
}

TEST(UsesInOneHolder, AreInTheSamePlaceOnlyWhenTurnedTheSameWay) {
  EXPECT_THAT(MatchesOf(Root({{"A", "", Moved(1)}, {"A", "", TurnedAndMoved(1)}}).Part("A"),
                        Root({{"A", "", TurnedAndMoved(1)}, {"A", "", Moved(1)}}).Part("A")),
              UnorderedElementsAre(Pair("1", "2"), Pair("2", "1")));
}

TEST(UsesInOneHolder, AreAlwaysOfOneProduct) {
  EXPECT_THAT(
      MatchesOf(Root({{"A", "x"}, {"B", "y"}}).Part("A").Part("B"), Root({{"B", "x"}, {"A", "y"}}).Part("A").Part("B")),
      UnorderedElementsAre(Pair("1", "2"), Pair("2", "1")));
}

TEST(UsesInOneHolder, ThatShareAnIdentifierAreTakenInOrder) {
  EXPECT_THAT(MatchesOf(Root({{"A", "x"}, {"A", "x"}, {"A", "x"}}).Part("A"), Root({{"A", "x"}, {"A", "x"}}).Part("A")),
              UnorderedElementsAre(Pair("1", "1"), Pair("2", "2")));
}

TEST(UsesOfANewProduct, HaveNoCounterpart) {
  EXPECT_THAT(MatchesOf(Root({{"A", "x"}}).Part("A"), Root({{"B", "x"}}).Part("B")), IsEmpty());
}

TEST(UsesInEqualHolders, StayWithTheirOwn) {
  const StepFile file = Root({{"Frame", "l"}, {"Frame", "r"}}).Assembly("Frame", {{"A", "x"}, {"A", "y"}}).Part("A");
  StepFile after = file;
  after.Assembly("Root", {{"Frame", "r"}, {"Frame", "l"}});
  EXPECT_THAT(MatchesOf(file, after), UnorderedElementsAre(Pair("1", "2"), Pair("1/1", "2/1"), Pair("1/2", "2/2"),
                                                           Pair("2", "1"), Pair("2/1", "1/1"), Pair("2/2", "1/2")));
}

// ---- anywhere

StepFile TwoBoxes(const std::vector<UseOf>& left, const std::vector<UseOf>& right) {
  return Root({{"Left", "", Moved(100)}, {"Right", "", Moved(200)}})
      .Assembly("Left", left)
      .Assembly("Right", right)
      .Part("A")
      .Part("B");
}

TEST(UsesThatMoved, AreRecognisedByTheFilesIdentifier) {
  EXPECT_THAT(
      MatchesOf(TwoBoxes({{"A", "x"}, {"A", "y"}, {"B"}}, {{"B"}}), TwoBoxes({{"B"}}, {{"B"}, {"A", "y"}})),
      UnorderedElementsAre(Pair("1", "1"), Pair("1/1", "1/3"), Pair("2", "2"), Pair("2/1", "2/1"), Pair("2/2", "1/2")));
}

TEST(UsesThatMoved, AreRecognisedByThePlaceInTheWholeProduct) {
  // What stands at 105 and 106 stands there before and after, in another box.
  EXPECT_THAT(
      MatchesOf(TwoBoxes({{"A", "", Moved(5)}, {"A", "", Moved(6)}, {"B"}}, {{"B"}}),
                TwoBoxes({{"B"}}, {{"B"}, {"A", "", Moved(-94)}})),
      UnorderedElementsAre(Pair("1", "1"), Pair("1/1", "1/3"), Pair("2", "2"), Pair("2/1", "2/1"), Pair("2/2", "1/2")));
}

TEST(UsesThatMoved, AreRecognisedByPlaceThroughHoldersThatAreTurned) {
  StepFile before = TwoBoxes({{"A", "", Moved(5)}, {"A", "", Moved(6)}, {"B"}}, {{"B"}});
  before.UsesOf("Root")[0].placement = TurnedAndMoved(100);
  StepFile after = TwoBoxes({{"B"}}, {{"B"}, {"A", "", {0, -1, 0, -100, 1, 0, 0, 6, 0, 0, 1, 0}}});
  after.UsesOf("Root")[0].placement = TurnedAndMoved(100);
  EXPECT_EQ(MatchesOf(before, after)["2/2"], "1/2");
}

TEST(UsesThatMoved, AreRecognisedByTheirProductWhereAsManyAreLeftAsAreNew) {
  const Matches found =
      MatchesOf(TwoBoxes({{"A", "x", Moved(5)}, {"B"}}, {{"B"}}), TwoBoxes({{"B"}}, {{"B"}, {"A", "z", Moved(7)}}));
  EXPECT_EQ(found.at("2/2"), "1/1");
}

TEST(UsesThatMoved, AreNotRecognisedByTheirProductWhereMoreOrFewerAreNew) {
  EXPECT_FALSE(MatchesOf(TwoBoxes({{"A", "x", Moved(5)}, {"A", "y", Moved(6)}, {"B"}}, {{"B"}}),
                         TwoBoxes({{"B"}}, {{"B"}, {"A", "z", Moved(7)}}))
                   .contains("2/2"));
  EXPECT_FALSE(MatchesOf(TwoBoxes({{"A", "x", Moved(5)}, {"B"}}, {{"B"}}),
                         TwoBoxes({{"B"}}, {{"B"}, {"A", "y", Moved(7)}, {"A", "z", Moved(8)}}))
                   .contains("2/2"));
}

TEST(UsesThatMoved, AreCountedWithoutThoseThatAreRecognisedOtherwise) {
  const Matches found = MatchesOf(TwoBoxes({{"A", "x", Moved(5)}, {"A", "y", Moved(6)}, {"B"}}, {{"B"}}),
                                  TwoBoxes({{"B"}}, {{"B"}, {"A", "z", Moved(7)}, {"A", "x", Moved(8)}}));
  EXPECT_EQ(found.at("2/2"), "1/2");
  EXPECT_EQ(found.at("2/3"), "1/1");
}

TEST(UsesThatMoved, AreRecognisedByIdentifierBeforePlace) {
  const Matches found = MatchesOf(TwoBoxes({{"A", "x", Moved(5)}, {"A", "y", Moved(6)}, {"B"}}, {{"B"}}),
                                  TwoBoxes({{"B"}}, {{"B"}, {"A", "x", Moved(-94)}, {"A", "y", Moved(-95)}}));
  EXPECT_EQ(found.at("2/2"), "1/1");
  EXPECT_EQ(found.at("2/3"), "1/2");
}

TEST(AMovedAssembly, BringsAlongWhatItHolds) {
  const auto machine = [](const std::vector<UseOf>& left, const std::vector<UseOf>& right) {
    return TwoBoxes(left, right).Assembly("Frame", {{"A", "", Moved(1)}, {"A", "", Moved(2)}});
  };
  // All four A's are left over, but each stays with the frame that is recognised.
  EXPECT_THAT(MatchesOf(machine({{"Frame", "f"}, {"Frame", "g"}, {"B"}}, {{"B"}}),
                        machine({{"B"}}, {{"B"}, {"Frame", "g"}, {"Frame", "f"}})),
              UnorderedElementsAre(Pair("1", "1"), Pair("1/1", "1/3"), Pair("2", "2"), Pair("2/1", "2/1"),
                                   Pair("2/2", "1/2"), Pair("2/2/1", "1/2/1"), Pair("2/2/2", "1/2/2"),
                                   Pair("2/3", "1/1"), Pair("2/3/1", "1/1/1"), Pair("2/3/2", "1/1/2")));
}

// What a frame holds stands in the place of what the other frame held, but it is the frame that has moved.
TEST(AMovedAssembly, ThatIsRecognisedByPlaceBringsAlongWhatItHolds) {
  const auto machine = [](const std::vector<UseOf>& left, const std::vector<UseOf>& right, const host::StepPlacement& a,
                          const host::StepPlacement& b) {
    return TwoBoxes(left, right).Assembly("Frame", {{"A", "", a}, {"A", "", b}});
  };
  EXPECT_THAT(MatchesOf(machine({{"Frame", "", Moved(5)}, {"Frame", "", Moved(6)}, {"B"}}, {{"B"}}, Moved(1), Moved(7)),
                        machine({{"B"}}, {{"B"}, {"Frame", "", Moved(-94)}}, Moved(0), Moved(7))),
              UnorderedElementsAre(Pair("1", "1"), Pair("1/1", "1/3"), Pair("2", "2"), Pair("2/1", "2/1"),
                                   Pair("2/2", "1/2"), Pair("2/2/1", "1/2/1"), Pair("2/2/2", "1/2/2")));
}

TEST(SwappedNesting, IsRecognised) {
  const auto file = [](const std::string& outermost, const std::vector<UseOf>& inOuter,
                       const std::vector<UseOf>& inInner) {
    return Root({{outermost}}).Assembly("Outer", inOuter).Assembly("Inner", inInner).Part("A").Part("B");
  };
  EXPECT_THAT(MatchesOf(file("Outer", {{"Inner"}, {"A"}}, {{"B"}}), file("Inner", {{"A"}}, {{"B"}, {"Outer"}})),
              UnorderedElementsAre(Pair("1", "1/1"), Pair("1/1", "1/1/1"), Pair("1/2", "1"), Pair("1/2/1", "1/2")));
}

}  // namespace
