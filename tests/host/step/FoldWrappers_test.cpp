#include "host/step/FoldWrappers.h"

#include <gmock/gmock.h>

namespace {

using host::FoldWrappers;
using host::StepAssembly;
using host::StepBody;
using host::StepProduct;
using host::StepUse;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

StepBody Solid(const std::string& name) {
  return {StepBody::Kind::solid, name, name};
}

StepUse Use(std::size_t product) {
  StepUse use;
  use.product = product;
  use.id = "id";
  return use;
}

StepUse Generated(std::size_t product) {
  StepUse use;
  use.product = product;
  use.generated = true;
  return use;
}

StepUse Exported(std::size_t product, const std::string& name = "=>[0:1:1:3]") {
  StepUse use = Use(product);
  use.name = name;
  return use;
}

StepProduct Part(const std::string& name, const std::vector<StepBody>& bodies) {
  StepProduct part;
  part.name = name;
  part.bodies = bodies;
  return part;
}

StepProduct Holder(const std::string& name, const std::vector<StepUse>& uses) {
  StepProduct holder;
  holder.name = name;
  holder.uses = uses;
  return holder;
}

StepAssembly Whole(const std::vector<StepProduct>& products, const std::vector<std::size_t>& roots = {0}) {
  StepAssembly assembly;
  assembly.products = products;
  assembly.roots = roots;
  return assembly;
}

std::vector<std::string> BodyNames(const StepProduct& product) {
  std::vector<std::string> names;
  for (const StepBody& body : product.bodies) {
    names.push_back(body.name);
  }
  return names;
}

std::vector<std::string> ProductNames(const StepAssembly& assembly) {
  std::vector<std::string> names;
  for (const StepProduct& product : assembly.products) {
    names.push_back(product.name);
  }
  return names;
}

TEST(FoldWrappers, AnAssemblyWithoutWrappersStaysAsItIsAndNothingIsSaid) {
  StepAssembly assembly = Whole({Holder("Top", {Use(1), Use(1)}), Part("Bolt", {Solid("b")})});
  const StepAssembly before = assembly;
  FoldWrappers(assembly);
  EXPECT_EQ(assembly, before);
}

TEST(FoldWrappers, AWrapperOfABodyAndAnEmptyCompoundBecomesThePart) {
  StepAssembly assembly = Whole({Holder("Top", {Use(1)}), Holder("Bolt", {Generated(2), Generated(3)}),
                                 Part("SOLID", {Solid("b")}), Part("COMPOUND", {})});
  FoldWrappers(assembly);
  EXPECT_THAT(ProductNames(assembly), ElementsAre("Top", "Bolt"));
  EXPECT_THAT(BodyNames(assembly.products[1]), ElementsAre("b"));
  EXPECT_THAT(assembly.products[1].uses, IsEmpty());
}

TEST(FoldWrappers, OneLineSaysHowManyWereFoldedAndNamesTheInnermostFirst) {
  StepAssembly assembly = Whole({Holder("Top", {Use(1), Use(2)}), Holder("Bolt", {Generated(3)}),
                                 Holder("Nut", {Generated(3)}), Part("SOLID", {Solid("b")})});
  FoldWrappers(assembly);
  ASSERT_THAT(assembly.warnings, SizeIs(1));
  EXPECT_EQ(
      assembly.warnings[0],
      "folded 2 wrapper assemblies into the parts that they wrap, \"Nut\" the first; --keep-wrappers leaves them");
}

TEST(FoldWrappers, WrappersInWrappersAreFoldedToo) {
  StepAssembly assembly = Whole(
      {Holder("Bolt", {Generated(1), Generated(2)}), Holder("COMPOUND", {Generated(2)}), Part("SOLID", {Solid("b")})});
  FoldWrappers(assembly);
  ASSERT_THAT(assembly.products, SizeIs(1));
  EXPECT_THAT(BodyNames(assembly.products[0]), ElementsAre("b", "b"));
}

TEST(FoldWrappers, BodiesStandBehindTheHoldersOwnInTheOrderOfTheUses) {
  StepAssembly assembly = Whole({Holder("Bolt", {Generated(2), Generated(1)}), Part("SOLID", {Solid("b"), Solid("c")}),
                                 Part("SOLID", {{StepBody::Kind::openShell, "a", ""}})});
  assembly.products[0].bodies = {Solid("own")};
  FoldWrappers(assembly);
  EXPECT_THAT(BodyNames(assembly.products[0]), ElementsAre("own", "a", "b", "c"));
  EXPECT_EQ(assembly.products[0].bodies[1].kind, StepBody::Kind::openShell);
}

TEST(FoldWrappers, AnIdentifierThatIsNoLongerUniqueBecomesEmpty) {
  StepAssembly assembly = Whole({Holder("Bolt", {Generated(1), Generated(1), Generated(2)}),
                                 Part("SOLID", {Solid("b")}), Part("SOLID", {Solid("c")})});
  FoldWrappers(assembly);
  ASSERT_THAT(assembly.products[0].bodies, SizeIs(3));
  EXPECT_EQ(assembly.products[0].bodies[0].id, "");
  EXPECT_EQ(assembly.products[0].bodies[1].id, "");
  EXPECT_EQ(assembly.products[0].bodies[2].id, "c");
}

TEST(FoldWrappers, OwnBodiesOfAnAssemblyLeaveItsOtherUsesAlone) {
  StepAssembly assembly =
      Whole({Holder("Top", {Use(1), Generated(2), Use(1)}), Part("Bolt", {Solid("b")}), Part("SOLID", {Solid("own")})});
  FoldWrappers(assembly);
  EXPECT_THAT(ProductNames(assembly), ElementsAre("Top", "Bolt"));
  EXPECT_THAT(assembly.products[0].uses, ElementsAre(Use(1), Use(1)));
  EXPECT_THAT(BodyNames(assembly.products[0]), ElementsAre("own"));
  EXPECT_THAT(assembly.warnings, ElementsAre(HasSubstr("generated components of 1 assembly")));
}

TEST(FoldWrappers, AGeneratedUseOfAnAssemblyStays) {
  StepAssembly assembly = Whole({Holder("Top", {Generated(1)}), Holder("Sub", {Use(2)}), Part("Bolt", {Solid("b")})});
  const StepAssembly before = assembly;
  FoldWrappers(assembly);
  EXPECT_EQ(assembly, before);
}

TEST(FoldWrappers, WrappersThatWentThroughAnExportAreKnownByTheirLabelNames) {
  StepAssembly assembly =
      Whole({Holder("Top", {Use(1)}), Holder("Bolt", {Exported(2, "=>[0:1:1:3]"), Exported(3, "=>[0:1:1:4]")}),
             Part("SOLID", {Solid("b")}), Part("COMPOUND", {})});
  FoldWrappers(assembly);
  EXPECT_THAT(ProductNames(assembly), ElementsAre("Top", "Bolt"));
  EXPECT_THAT(BodyNames(assembly.products[1]), ElementsAre("b"));
}

TEST(FoldWrappers, ALabelNameAloneIsNoWrapperWhereTheUsedProductHasANameOfItsOwn) {
  StepAssembly assembly = Whole({Holder("Top", {Exported(1), Exported(1)}), Part("Bolt", {Solid("b")})});
  const StepAssembly before = assembly;
  FoldWrappers(assembly);
  EXPECT_EQ(assembly, before);
}

TEST(FoldWrappers, ALabelNameIsNoWrapperWhereAnotherUseStandsBesideIt) {
  StepAssembly assembly =
      Whole({Holder("Top", {Exported(1), Use(2)}), Part("SOLID", {Solid("b")}), Part("Bolt", {Solid("b")})});
  const StepAssembly before = assembly;
  FoldWrappers(assembly);
  EXPECT_EQ(assembly, before);
}

TEST(FoldWrappers, WhatOnlyLooksLikeALabelNameIsNone) {
  for (const std::string name : {"=>[]", "=>[0:1", "=>0:1]", "=>[a]", "=>[", "SOLID", ""}) {
    StepAssembly assembly = Whole({Holder("Top", {Exported(1, name)}), Part("SOLID", {Solid("b")})});
    FoldWrappers(assembly);
    EXPECT_THAT(assembly.products, SizeIs(2)) << name;
  }
}

TEST(FoldWrappers, AProductThatIsStillUsedElsewhereStays) {
  StepAssembly assembly =
      Whole({Holder("Top", {Use(1), Use(2)}), Holder("Bolt", {Generated(2)}), Part("SOLID", {Solid("b")})});
  FoldWrappers(assembly);
  EXPECT_THAT(ProductNames(assembly), ElementsAre("Top", "Bolt", "SOLID"));
}

TEST(FoldWrappers, IndexesFollowTheProductsThatMoveUp) {
  StepAssembly assembly = Whole({Part("unused", {}), Part("SOLID", {Solid("b")}), Holder("Bolt", {Generated(1)}),
                                 Holder("Top", {Use(2), Use(4)}), Part("Nut", {Solid("n")})},
                                {3, 4});
  FoldWrappers(assembly);
  EXPECT_THAT(ProductNames(assembly), ElementsAre("Bolt", "Top", "Nut"));
  EXPECT_THAT(assembly.roots, ElementsAre(1, 2));
  EXPECT_EQ(assembly.products[1].uses[0].product, 0u);
  EXPECT_EQ(assembly.products[1].uses[1].product, 2u);
}

TEST(FoldWrappers, WrappersThatStandForMoreBodiesThanMemoryHoldsStayAndAWarningSaysSo) {
  StepAssembly assembly;
  for (std::size_t level = 1; level <= 60; ++level) {
    assembly.products.push_back(Holder("COMPOUND", {Generated(level), Generated(level)}));
  }
  assembly.products.push_back(Part("SOLID", {Solid("b")}));
  assembly.roots = {0};
  FoldWrappers(assembly);
  std::size_t bodies = 0;
  for (const StepProduct& product : assembly.products) {
    bodies += product.bodies.size();
  }
  EXPECT_LE(bodies, host::c_stepMaxFoldedBodies + 1);
  ASSERT_THAT(assembly.warnings, SizeIs(2));
  EXPECT_THAT(assembly.warnings[1], HasSubstr("more than 1000000 bodies"));
}

}  // namespace
