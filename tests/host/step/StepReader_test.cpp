// The helper program itself, on files made here.

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "host/step/FoldWrappers.h"
#include "host/step/ReadStepFile.h"
#include "tests/host/step/StepText.h"
#include "tests/host/step/TemporaryFolder.h"

namespace {

using host::FoldWrappers;
using host::StepAssembly;
using host::StepBody;
using host::StepError;
using host::StepPlacement;
using host::StepProduct;
using host::StepUse;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using tests::StepText;

constexpr double c_tolerance = 1e-9;

std::vector<std::string> UseIds(const StepProduct& product) {
  std::vector<std::string> ids;
  for (const StepUse& use : product.uses) {
    ids.push_back(use.generated ? "generated" : use.id);
  }
  return ids;
}

std::array<double, 3> Origin(const StepUse& use) {
  return {use.placement[3], use.placement[7], use.placement[11]};
}

MATCHER_P(IsPlacement, expected, "") {
  return std::equal(arg.begin(), arg.end(), expected.begin(),
                    [](double a, double b) { return std::abs(a - b) < c_tolerance; });
}

std::string Number(int entity) {
  return fmt::format("#{}", entity);
}

class StepReaderTest : public testing::Test {
 protected:
  StepAssembly ReadFile(const std::filesystem::path& file, const std::string& codePage = {}) {
    host::StepReadOptions options;
    options.helperProgram = QPD_STEP_READER;
    options.codePage = codePage;
    return host::ReadStepFile(file, options);
  }

  StepAssembly Read(const std::string& content, const std::string& codePage = {}) {
    return ReadFile(folder.Write("test.step", content), codePage);
  }

  StepAssembly Read(const StepText& text, const std::string& codePage = {}) { return Read(text.Text(), codePage); }

  std::string Refusal(const std::string& content, const std::string& codePage = {}) {
    try {
      Read(content, codePage);
    } catch (const StepError& error) {
      return error.what();
    }
    return "accepted";
  }

  /// A file with one part, whose name is written as it is.
  StepAssembly ReadName(const std::string& name, const std::string& codePage = {}) {
    StepText text;
    const int part = text.Product("P1", name);
    text.Shape(part, {text.Solid("")});
    return Read(text, codePage);
  }

  tests::TemporaryFolder folder;
};

// ------ Products and uses

TEST_F(StepReaderTest, APartAloneIsARootWithoutUses) {
  StepText text;
  text.Shape(text.Product("QD.01", "Bolt"), {text.Solid("Body")});
  const StepAssembly assembly = Read(text);
  EXPECT_THAT(assembly.roots, ElementsAre(0));
  ASSERT_THAT(assembly.products, SizeIs(1));
  EXPECT_EQ(assembly.products[0].name, "Bolt");
  EXPECT_EQ(assembly.products[0].id, "QD.01");
  EXPECT_THAT(assembly.products[0].uses, IsEmpty());
  EXPECT_THAT(assembly.products[0].bodies, ElementsAre(StepBody{StepBody::Kind::solid, "Body", "Body"}));
  EXPECT_THAT(assembly.warnings, IsEmpty());
  EXPECT_THAT(assembly.schema, StartsWith("AUTOMOTIVE_DESIGN"));
}

TEST_F(StepReaderTest, UsesStandInTheOrderOfTheFileWithTheirOwnNamesAndIdentifiers) {
  StepText text;
  const int top = text.Product("T", "Top");
  const int bolt = text.Product("B", "Bolt");
  const int nut = text.Product("N", "Nut");
  text.Shape(top, {});
  text.Shape(bolt, {text.Solid("")});
  text.Shape(nut, {text.Solid("")});
  text.Use("7", "first", top, nut, {{1, 0, 0}});
  text.Use("3", "", top, bolt, {{2, 0, 0}});
  text.Use("5", "third", top, nut, {{3, 0, 0}});
  const StepAssembly assembly = Read(text);
  const std::vector<StepUse>& uses = assembly.products[assembly.roots[0]].uses;
  ASSERT_THAT(uses, SizeIs(3));
  EXPECT_EQ(uses[0].id, "7");
  EXPECT_EQ(uses[0].name, "first");
  EXPECT_EQ(uses[1].id, "3");
  EXPECT_EQ(uses[1].name, "");
  EXPECT_EQ(assembly.products[uses[0].product].name, "Nut");
  EXPECT_EQ(assembly.products[uses[1].product].name, "Bolt");
  EXPECT_EQ(uses[0].product, uses[2].product);
  EXPECT_EQ(assembly.products.size(), 3u);
}

TEST_F(StepReaderTest, UsesAtTheSamePlaceKeepTheirIdentifiersApart) {
  StepText text;
  const int top = text.Product("T", "Top");
  const int bolt = text.Product("B", "Bolt");
  text.Shape(top, {});
  text.Shape(bolt, {text.Solid("")});
  text.Use("1", "", top, bolt, {{1, 2, 3}});
  text.Use("2", "", top, bolt, {{1, 2, 3}});
  text.Use("3", "", top, bolt, {{1, 2, 3}});
  EXPECT_THAT(UseIds(Read(text).products[0]), ElementsAre("1", "2", "3"));
}

TEST_F(StepReaderTest, ASubAssemblyUsedTwiceIsOneProduct) {
  StepText text;
  const int top = text.Product("T", "Top");
  const int sub = text.Product("S", "Sub");
  const int bolt = text.Product("B", "Bolt");
  text.Shape(top, {});
  text.Shape(sub, {});
  text.Shape(bolt, {text.Solid("")});
  text.Use("1", "", sub, bolt, {{1, 0, 0}});
  text.Use("2", "", sub, bolt, {{2, 0, 0}});
  text.Use("3", "", top, sub, {{0, 10, 0}});
  text.Use("4", "", top, sub, {{0, 20, 0}});
  const StepAssembly assembly = Read(text);
  EXPECT_THAT(assembly.products, SizeIs(3));
  EXPECT_EQ(host::CountStepOccurrences(assembly), 6u);
}

TEST_F(StepReaderTest, SeveralRootsStandSideBySide) {
  StepText text;
  text.Shape(text.Product("A", "One"), {text.Solid("")});
  text.Shape(text.Product("B", "Two"), {text.Solid("")});
  const StepAssembly assembly = Read(text);
  ASSERT_THAT(assembly.roots, ElementsAre(0, 1));
  EXPECT_EQ(assembly.products[0].name, "One");
  EXPECT_EQ(assembly.products[1].name, "Two");
}

TEST_F(StepReaderTest, ProductsThatShareOneShapeStayApart) {
  StepText text;
  const int top = text.Product("T", "Top");
  const int one = text.Product("A", "One");
  const int two = text.Product("B", "Two");
  const int alone = text.Product("C", "Alone");
  text.Shape(top, {});
  const int shape = text.Shape(one, {text.Solid("s")});
  text.ShareShape(two, shape);
  text.ShareShape(alone, shape);
  text.Use("1", "", top, one, {{1, 0, 0}});
  text.Use("2", "", top, two, {{2, 0, 0}});
  const StepAssembly assembly = Read(text);
  const std::vector<StepUse>& uses = assembly.products[assembly.roots[0]].uses;
  ASSERT_THAT(uses, SizeIs(2));
  EXPECT_EQ(assembly.products[uses[0].product].name, "One");
  EXPECT_EQ(assembly.products[uses[1].product].name, "Two");
  EXPECT_THAT(assembly.products[uses[1].product].bodies, SizeIs(1));
  ASSERT_THAT(assembly.roots, SizeIs(2));
  EXPECT_EQ(assembly.products[assembly.roots[1]].name, "Alone");
  EXPECT_THAT(assembly.warnings, IsEmpty());
}

TEST_F(StepReaderTest, UsesPlacedByMappedItemsAreFound) {
  StepText text;
  const int top = text.Product("T", "Top");
  const int bolt = text.Product("B", "Bolt");
  const int shape = text.Shape(bolt, {text.Solid("s")});
  text.Shape(top, {text.MappedItem(shape, {7, 0, 0}), text.MappedItem(shape, {8, 0, 0})});
  text.Add(fmt::format("NEXT_ASSEMBLY_USAGE_OCCURRENCE('1','one','',{},{},$)", Number(top), Number(bolt)));
  text.Add(fmt::format("NEXT_ASSEMBLY_USAGE_OCCURRENCE('2','two','',{},{},$)", Number(top), Number(bolt)));
  const StepAssembly assembly = Read(text);
  const StepProduct& root = assembly.products[assembly.roots[0]];
  ASSERT_THAT(UseIds(root), ElementsAre("1", "2"));
  EXPECT_THAT(Origin(root.uses[0]), ElementsAre(7, 0, 0));
  EXPECT_THAT(Origin(root.uses[1]), ElementsAre(8, 0, 0));
  EXPECT_THAT(assembly.products[root.uses[0].product].bodies, SizeIs(1));
  EXPECT_THAT(assembly.warnings, IsEmpty());
}

TEST_F(StepReaderTest, ProductsPlacedByMappedItemsAloneAreUsesWithoutIdentifier) {
  StepText text;
  const int top = text.Product("T", "Top");
  const int bolt = text.Product("B", "Bolt");
  const int shape = text.Shape(bolt, {text.Solid("s")});
  text.Shape(top, {text.MappedItem(shape, {7, 0, 0}), text.MappedItem(shape, {8, 0, 0})});
  const StepAssembly assembly = Read(text);
  ASSERT_THAT(assembly.roots, SizeIs(1));
  const StepProduct& root = assembly.products[assembly.roots[0]];
  EXPECT_EQ(root.name, "Top");
  EXPECT_THAT(UseIds(root), ElementsAre("", ""));
  EXPECT_EQ(assembly.products[root.uses[0].product].name, "Bolt");
}

TEST_F(StepReaderTest, AnAssemblyThatConsistsOfOneMappedItemHasAUseAndNoBodies) {
  StepText text;
  const int top = text.Product("T", "Top");
  const int bolt = text.Product("B", "Bolt");
  const int shape = text.Shape(bolt, {text.Solid("s")});
  text.Shape(top, {text.MappedItem(shape, {7, 0, 0})});
  text.Add(fmt::format("NEXT_ASSEMBLY_USAGE_OCCURRENCE('1','one','',{},{},$)", Number(top), Number(bolt)));
  const StepAssembly assembly = Read(text);
  const StepProduct& root = assembly.products[assembly.roots[0]];
  EXPECT_THAT(UseIds(root), ElementsAre("1"));
  EXPECT_THAT(root.bodies, IsEmpty());
  EXPECT_THAT(Origin(root.uses[0]), ElementsAre(7, 0, 0));
  EXPECT_EQ(assembly.products[root.uses[0].product].name, "Bolt");
  EXPECT_THAT(assembly.products[root.uses[0].product].bodies, SizeIs(1));
  EXPECT_THAT(assembly.warnings, IsEmpty());
}

TEST_F(StepReaderTest, OwnBodiesOfAnAssemblyHangInAGeneratedUse) {
  StepText text;
  const int top = text.Product("T", "Top");
  const int bolt = text.Product("B", "Bolt");
  text.Shape(top, {text.Solid("own"), text.Shell("skin", false)});
  text.Shape(bolt, {text.Solid("")});
  text.Use("1", "", top, bolt, {{1, 0, 0}});
  StepAssembly assembly = Read(text);
  EXPECT_THAT(UseIds(assembly.products[0]), ElementsAre("1", "generated"));
  EXPECT_THAT(assembly.products[0].bodies, IsEmpty());

  FoldWrappers(assembly);
  EXPECT_THAT(UseIds(assembly.products[0]), ElementsAre("1"));
  ASSERT_THAT(assembly.products[0].bodies, SizeIs(2));
  EXPECT_EQ(assembly.products[0].bodies[0].name, "own");
  EXPECT_EQ(assembly.products[0].bodies[1].kind, StepBody::Kind::openShell);
  EXPECT_THAT(assembly.warnings, SizeIs(1));
}

// ------ Places

TEST_F(StepReaderTest, PlacesAreInMillimetresWhateverTheFileMeasuresIn) {
  StepText text("inch");
  const int top = text.Product("T", "Top");
  const int bolt = text.Product("B", "Bolt");
  text.Shape(top, {});
  text.Shape(bolt, {text.Solid("")});
  text.Use("1", "", top, bolt, {{1, 2, -3}, {1, 0, 0}, {0, 1, 0}});
  EXPECT_THAT(Read(text).products[0].uses[0].placement,
              IsPlacement(StepPlacement{0, 0, 1, 25.4, 1, 0, 0, 50.8, 0, 1, 0, -76.2}));
}

TEST_F(StepReaderTest, AMirroredPlaceStaysMirrored) {
  StepText text;
  const int top = text.Product("T", "Top");
  const int bolt = text.Product("B", "Bolt");
  text.Shape(top, {});
  text.Shape(bolt, {text.Solid("")});
  const int origin = text.Add("CARTESIAN_POINT('',(4.,5.,6.))");
  const int x = text.Add("DIRECTION('',(-1.,0.,0.))");
  const int y = text.Add("DIRECTION('',(0.,1.,0.))");
  const int z = text.Add("DIRECTION('',(0.,0.,1.))");
  const int mirror = text.Add(fmt::format("CARTESIAN_TRANSFORMATION_OPERATOR_3D('','','',{},{},{},1.,{})", Number(x),
                                          Number(y), Number(origin), Number(z)));
  text.UseThrough("1", top, bolt, mirror);
  EXPECT_THAT(Read(text).products[0].uses[0].placement,
              IsPlacement(StepPlacement{-1, 0, 0, 4, 0, 1, 0, 5, 0, 0, 1, 6}));
}

TEST_F(StepReaderTest, APartMadeOfAnothersMovedShapeIsPlacedWhereTheFileSays) {
  StepText text;
  const int top = text.Product("T", "Top");
  const int bolt = text.Product("B", "Bolt");
  const int moved = text.Product("M", "Moved");
  text.Shape(top, {});
  const int shape = text.Shape(bolt, {text.Solid("s")});
  text.Shape(moved, {text.MappedItem(shape, {7, 0, 0})});
  text.Use("1", "", top, bolt, {{0, 0, 1}});
  text.Use("2", "", top, moved, {{0, 0, 2}});
  const StepAssembly assembly = Read(text);
  const std::vector<StepUse>& uses = assembly.products[assembly.roots[0]].uses;
  ASSERT_THAT(uses, SizeIs(2));
  EXPECT_THAT(Origin(uses[0]), ElementsAre(0, 0, 1));
  EXPECT_THAT(Origin(uses[1]), ElementsAre(0, 0, 2));
  EXPECT_EQ(assembly.products[uses[1].product].name, "Moved");
}

// ------ Bodies

TEST_F(StepReaderTest, SolidsComeBeforeShellsAndEveryShellOutsideASolidIsAnOpenOne) {
  StepText text;
  text.Shape(text.Product("P", "Part"),
             {text.Shell("open", false), text.Solid("one"), text.Shell("closed", true), text.Solid("two")});
  EXPECT_THAT(Read(text).products[0].bodies,
              ElementsAre(StepBody{StepBody::Kind::solid, "one", "one"}, StepBody{StepBody::Kind::solid, "two", "two"},
                          StepBody{StepBody::Kind::openShell, "open", "open"},
                          StepBody{StepBody::Kind::openShell, "closed", "closed"}));
}

TEST_F(StepReaderTest, ANameThatTwoBodiesShareIsNoIdentifier) {
  StepText text;
  text.Shape(text.Product("P", "Part"), {text.Solid("same"), text.Solid("same"), text.Solid("other"), text.Solid("")});
  const StepAssembly assembly = Read(text);
  const std::vector<StepBody>& bodies = assembly.products[0].bodies;
  ASSERT_THAT(bodies, SizeIs(4));
  EXPECT_EQ(bodies[0].name, "same");
  EXPECT_EQ(bodies[0].id, "");
  EXPECT_EQ(bodies[1].id, "");
  EXPECT_EQ(bodies[2].id, "other");
  EXPECT_EQ(bodies[3].id, "");
}

TEST_F(StepReaderTest, PartsWithoutGeometryAreReportedByName) {
  StepText text;
  const int top = text.Product("T", "Top");
  const int empty = text.Product("E", "Empty part");
  const int shapeless = text.Product("S", "");
  const int bolt = text.Product("B", "Bolt");
  text.Shape(top, {});
  text.Shape(empty, {});
  text.Shape(bolt, {text.Solid("")});
  text.Use("1", "", top, empty, {{1, 0, 0}});
  text.Use("2", "", top, bolt, {{2, 0, 0}});
  text.Add(fmt::format("NEXT_ASSEMBLY_USAGE_OCCURRENCE('3','','',{},{},$)", Number(top), Number(shapeless)));
  const StepAssembly assembly = Read(text);
  EXPECT_THAT(UseIds(assembly.products[0]), ElementsAre("1", "2", "3"));
  EXPECT_THAT(assembly.warnings,
              ElementsAre("use \"3\" of \"S\" in \"Top\" has no place in the file; it is put at the origin",
                          "part \"Empty part\" is without geometry: it has neither a solid nor a shell",
                          "part \"S\" is without geometry: it has neither a solid nor a shell"));
}

TEST_F(StepReaderTest, AFloodOfPartsWithoutGeometryIsSummedUp) {
  StepText text;
  for (int i = 0; i < 120; ++i) {
    text.Shape(text.Product(fmt::format("P{}", i), "Empty"), {});
  }
  const StepAssembly assembly = Read(text);
  EXPECT_THAT(assembly.roots, SizeIs(120));
  ASSERT_THAT(assembly.warnings, SizeIs(21));
  EXPECT_EQ(assembly.warnings.back(), "100 more parts are without geometry");
}

TEST_F(StepReaderTest, AProductThatIsInNoTreeIsReported) {
  StepText text;
  text.Shape(text.Product("P", "Part"), {text.Solid("")});
  text.Product("X", "Lost");
  EXPECT_THAT(Read(text).warnings, ElementsAre("product \"Lost\" is left out: nothing uses it and it has no shape"));
}

// ------ Names

TEST_F(StepReaderTest, NamesInUtf8AreTakenAsTheyAre) {
  const StepAssembly assembly = ReadName("Болт М8х30");
  EXPECT_EQ(assembly.products[0].name, "Болт М8х30");
  EXPECT_THAT(assembly.warnings, IsEmpty());
}

TEST_F(StepReaderTest, ControlDirectivesAreDecoded) {
  EXPECT_EQ(ReadName("\\X2\\0411043E043B0442\\X0\\ 8").products[0].name, "Болт 8");
  EXPECT_EQ(ReadName("caf\\X\\E9 \\S\\d").products[0].name, "café ä");
  EXPECT_EQ(ReadName("it''s a \\\\").products[0].name, "it's a \\");
}

TEST_F(StepReaderTest, LineBreaksInNamesBecomeSpaces) {
  EXPECT_EQ(ReadName("one\\N\\two").products[0].name, "one two");
  EXPECT_EQ(ReadName("one\\X\\0D\\X\\0Atwo").products[0].name, "one two");
}

TEST_F(StepReaderTest, EmptyNamesStayEmpty) {
  EXPECT_EQ(ReadName("").products[0].name, "");
}

TEST_F(StepReaderTest, NamesInACodePageAreReadWithItsName) {
  const StepAssembly assembly = ReadName("\xC1\xEE\xEB\xF2", "CP1251");
  EXPECT_EQ(assembly.products[0].name, "Болт");
  EXPECT_THAT(assembly.warnings, IsEmpty());
  EXPECT_EQ(ReadName("\xB1\xDE\xDB\xE2", "iso8859-5").products[0].name, "Болт");
}

TEST_F(StepReaderTest, BytesThatAreNotUtf8AreReportedWithLineAndMend) {
  const StepAssembly assembly = ReadName("\xC1\xEE\xEB\xF2 \xCC\x38");
  EXPECT_THAT(assembly.warnings, ElementsAre("bytes that are not UTF-8 in 2 places, the first in line 14; name the "
                                             "code page of the names with --codepage NAME"));
}

TEST_F(StepReaderTest, AnUnknownCodePageIsRefusedWithTheKnownOnes) {
  StepText text;
  text.Shape(text.Product("P", "Part"), {text.Solid("")});
  EXPECT_THAT(Refusal(text.Text(), "cp1251"), AllOf(HasSubstr("unknown code page \"cp1251\"; name one of "),
                                                    HasSubstr("CP1251"), HasSubstr("iso8859-5")));
}

// ------ Files that the file refers to

class ExternalFileTest : public StepReaderTest {
 protected:
  /// A file whose part "Bolt" is described in bolt.stp.
  StepText Master() {
    StepText text;
    const int top = text.Product("T", "Top");
    const int bolt = text.Product("B", "Bolt");
    text.Shape(top, {});
    text.Shape(bolt, {});
    text.Use("1", "", top, bolt, {{1, 0, 0}});
    text.DescribeIn(bolt, "bolt.stp");
    return text;
  }
};

TEST_F(ExternalFileTest, IsFollowedFromBesideTheFile) {
  StepText external;
  external.Shape(external.Product("X", "External bolt"), {external.Solid("outside")});
  folder.Write("bolt.stp", external.Text());
  const StepAssembly assembly = Read(Master());
  const StepProduct& root = assembly.products[assembly.roots[0]];
  ASSERT_THAT(UseIds(root), ElementsAre("1"));
  const StepProduct& bolt = assembly.products[root.uses[0].product];
  EXPECT_EQ(bolt.name, "Bolt");
  ASSERT_THAT(bolt.bodies, SizeIs(1));
  EXPECT_EQ(bolt.bodies[0].name, "outside");
  EXPECT_THAT(assembly.warnings, IsEmpty());
}

TEST_F(ExternalFileTest, ThatIsAnAssemblyBringsItsUses) {
  StepText external;
  const int sub = external.Product("X", "External");
  const int pin = external.Product("PIN", "Pin");
  external.Shape(sub, {});
  external.Shape(pin, {external.Solid("")});
  external.Use("inner", "", sub, pin, {{5, 0, 0}});
  folder.Write("bolt.stp", external.Text());
  const StepAssembly assembly = Read(Master());
  const StepProduct& root = assembly.products[assembly.roots[0]];
  ASSERT_THAT(root.uses, SizeIs(1));
  const StepProduct& bolt = assembly.products[root.uses[0].product];
  EXPECT_EQ(bolt.name, "Bolt");
  ASSERT_THAT(UseIds(bolt), ElementsAre("inner"));
  EXPECT_THAT(Origin(bolt.uses[0]), ElementsAre(5, 0, 0));
  EXPECT_EQ(assembly.products[bolt.uses[0].product].id, "PIN");
}

TEST_F(ExternalFileTest, ThatIsMissingIsReportedByName) {
  const StepAssembly assembly = Read(Master());
  EXPECT_THAT(assembly.warnings, ElementsAre("external file \"bolt.stp\" is missing; put it beside this one",
                                             "part \"Bolt\" is without geometry: it has neither a solid nor a shell"));
  EXPECT_THAT(UseIds(assembly.products[assembly.roots[0]]), ElementsAre("1"));
}

TEST_F(ExternalFileTest, ThatCannotBeReadIsReportedByName) {
  folder.Write("bolt.stp", "nonsense");
  EXPECT_THAT(Read(Master()).warnings, testing::Contains(HasSubstr("external file \"bolt.stp\" cannot be read")));
}

TEST_F(ExternalFileTest, OfAProductWithoutShapeIsReportedByName) {
  StepText text = Master();
  text.DescribeIn(text.Product("X", "Shapeless"), "other.stp");
  EXPECT_THAT(
      Read(text).warnings,
      testing::Contains("external file \"other.stp\" is not followed: it is not said which shape it describes"));
}

TEST_F(ExternalFileTest, IsCheckedForItsCodePageToo) {
  StepText external;
  external.Shape(external.Product("X", "\xC1\xEE"), {external.Solid("")});
  folder.Write("bolt.stp", external.Text());
  EXPECT_THAT(Read(Master()).warnings,
              ElementsAre(StartsWith("external file \"bolt.stp\": bytes that are not UTF-8 in 1 place")));
}

// ------ Damage

class DamageTest : public StepReaderTest {
 protected:
  static std::string GoodText() {
    StepText text;
    const int top = text.Product("T", "Top");
    const int bolt = text.Product("B", "Bolt");
    text.Shape(top, {});
    text.Shape(bolt, {text.Solid("s")});
    text.Use("1", "", top, bolt, {{1, 0, 0}});
    return text.Text();
  }

  static std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
  }

  /// Without the first line that holds `word`.
  static std::string Without(std::string text, const std::string& word) {
    const std::size_t at = text.find(word);
    const std::size_t begin = text.rfind('\n', at) + 1;
    return text.erase(begin, text.find('\n', at) + 1 - begin);
  }
};

TEST_F(DamageTest, ASyntaxErrorNamesItsLine) {
  EXPECT_THAT(Refusal(Replaced(GoodText(), "POLY_LOOP(", "POLY_LOOP((")),
              AllOf(HasSubstr("test.step: syntax error in line "), HasSubstr("unexpected"),
                    EndsWith("; the file is damaged, export it again")));
  EXPECT_THAT(Refusal(Replaced(GoodText(), "ENDSEC;\nEND-", "END-")), HasSubstr("syntax error in line "));
}

TEST_F(DamageTest, AFileWithoutShapeIsRefused) {
  EXPECT_THAT(Refusal(StepText().Text()), HasSubstr("there is no shape in it; export it with its geometry"));
  EXPECT_THAT(Refusal(GoodText().substr(0, GoodText().find("DATA;")) + "DATA;\nENDSEC;\nEND-ISO-10303-21;\n"),
              HasSubstr("there is no shape in it"));
}

TEST_F(DamageTest, AReferenceToNothingIsReported) {
  StepText text;
  text.Shape(text.Product("P", "Part"), {text.Solid("")});
  const int lost = text.Add("CARTESIAN_POINT('',(0.,0.,0.))");
  text.Add(fmt::format("AXIS2_PLACEMENT_3D('',{},$,$)", Number(lost)));
  const std::string damaged = Without(text.Text(), Number(lost) + "=");
  EXPECT_THAT(Read(damaged).warnings, testing::Contains(HasSubstr("a reference to " + Number(lost))));
}

TEST_F(DamageTest, UnitsAndNamesThatExportersLeaveOutAreNoDamage) {
  EXPECT_THAT(
      Read(Replaced(GoodText(), "ITEM_DEFINED_TRANSFORMATION('',''", "ITEM_DEFINED_TRANSFORMATION($,$")).warnings,
      IsEmpty());
}

TEST_F(DamageTest, TheDeathOfTheReaderIsAnErrorOfTheFile) {
  // A sanitizer in the reader would catch the signal and end it with a status.
  setenv("ASAN_OPTIONS", "handle_segv=0:handle_sigbus=0:handle_abort=0", 1);
  EXPECT_THAT(Refusal(Without(GoodText(), "POLY_LOOP")),
              AllOf(HasSubstr("test.step: the STEP reader was ended by signal "), HasSubstr("while transferring"),
                    HasSubstr("after it found"), EndsWith("; the file is damaged, export it again")));
}

TEST_F(DamageTest, AProductThatHoldsItselfIsRefused) {
  StepText text;
  const int top = text.Product("T", "Top");
  const int sub = text.Product("S", "Sub");
  const int sub2 = text.Product("S2", "Sub2");
  text.Shape(top, {text.Solid("")});
  text.Add(fmt::format("NEXT_ASSEMBLY_USAGE_OCCURRENCE('1','','',{},{},$)", Number(top), Number(sub)));
  text.Add(fmt::format("NEXT_ASSEMBLY_USAGE_OCCURRENCE('2','','',{},{},$)", Number(sub), Number(sub2)));
  text.Add(fmt::format("NEXT_ASSEMBLY_USAGE_OCCURRENCE('3','','',{},{},$)", Number(sub2), Number(sub)));
  EXPECT_THAT(Refusal(text.Text()), HasSubstr("a product holds itself"));
}

TEST_F(DamageTest, WithoutAnyLineTheFileIsReadOrRefusedInOneLine) {
  const std::string good = GoodText();
  std::size_t refused = 0;
  std::size_t begin = good.find("DATA;") + 6;
  for (std::size_t end = good.find('\n', begin); end != std::string::npos; end = good.find('\n', begin)) {
    std::string text = good;
    const std::string refusal = Refusal(text.erase(begin, end + 1 - begin));
    EXPECT_EQ(refusal.find('\n'), std::string::npos);
    if (refusal != "accepted") {
      ++refused;
    }
    begin = end + 1;
  }
  EXPECT_GT(refused, 0u);
}

// ------ The samples

TEST_F(StepReaderTest, TheSampleOfRevisionAHasWhatItsReadmeSays) {
  const StepAssembly assembly = ReadFile(QPD_SAMPLES "/conveyor_drive_rev_a.step");
  EXPECT_THAT(assembly.roots, SizeIs(1));
  EXPECT_THAT(assembly.products, SizeIs(50));
  EXPECT_EQ(host::CountStepOccurrences(assembly), 279u);
  EXPECT_EQ(assembly.products[assembly.roots[0]].id, "QD.01.00.000");
  EXPECT_EQ(assembly.products[assembly.roots[0]].name, "Привод ленточного конвейера");
  EXPECT_THAT(assembly.warnings, IsEmpty());
}

TEST_F(StepReaderTest, TheSampleOfRevisionBKeepsTheIdentifiersOfWhatIsStillThere) {
  const StepAssembly a = ReadFile(QPD_SAMPLES "/conveyor_drive_rev_a.step");
  const StepAssembly b = ReadFile(QPD_SAMPLES "/conveyor_drive_rev_b.step");
  EXPECT_EQ(host::CountStepOccurrences(b), 284u);
  const auto ids = [](const StepAssembly& assembly) {
    std::vector<std::string> all;
    for (const StepProduct& product : assembly.products) {
      for (const StepUse& use : product.uses) {
        all.push_back(product.id + " " + use.id);
      }
    }
    std::sort(all.begin(), all.end());
    return all;
  };
  const std::vector<std::string> inA = ids(a);
  const std::vector<std::string> inB = ids(b);
  std::vector<std::string> gone;
  std::set_difference(inA.begin(), inA.end(), inB.begin(), inB.end(), std::back_inserter(gone));
  EXPECT_THAT(gone, ElementsAre("QD.01.00.000 TOP-coupling2", "QD.01.01.000 FR-anchorR2", "QD.01.01.000 FR-anchorR3",
                                "QD.01.02.000 GB-gasket"));
}

}  // namespace
