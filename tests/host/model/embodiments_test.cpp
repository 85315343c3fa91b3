// Adding and removing embodiments of the root.

#include "host/model/Embodiments.h"

#include <set>
#include <string>
#include <variant>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qProdData3D/CheckValidProductGeometryLink.h>
#include <qProdData3D/meta_3d.h>

#include "host/HostError.h"
#include "host/model/Aggregator.h"
#include "host/model/ModelDocument.h"
#include "tests/host/model/TestModel.h"
#include "tests/support/StreamLink.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

namespace {

using host::MetaObjectType;

class AnEmbodiment : public testing::Test {
 protected:
  UniqueMetaObjectKey Add(const std::string& name, const std::string& number,
                          const std::vector<std::string>& without = {}) {
    std::vector<UniqueMetaObjectKey> keys;
    for (const std::string& path : without) {
      keys.push_back(model.OccurrenceAt(path));
    }
    return host::AddEmbodiment(model.document, name, number, keys);
  }

  std::string RefusalOf(const std::string& name, const std::string& number) {
    try {
      Add(name, number);
    } catch (const host::DocumentError& error) {
      return error.what();
    }
    return {};
  }

  const PartAttributes* AttributesAt(const std::string& path) {
    const auto* part = std::get_if<AttributedPart>(&model.ObjectAt(path).part);
    return part == nullptr ? nullptr : &part->attributes;
  }

  std::optional<std::int32_t> Number(const UniqueMetaObjectKey& embodiment, const std::string& product) {
    return host::StoredPosition(model.Data(), embodiment, model.Line("M", product));
  }

  TestModel model;
};

TEST_F(AnEmbodiment, IsOneOfTheRoot) {
  const UniqueMetaObjectKey added = Add("small", "01");
  EXPECT_EQ(model.Data().Find(added)->type, MetaObjectType::embodiment);
  EXPECT_EQ(model.Data().Find(added)->product, model.Product("M"));
  EXPECT_THAT(model.Data().EmbodimentsOf(model.Product("M")), ElementsAre(model.Base("M"), added));
}

TEST_F(AnEmbodiment, LeavesTheBaseEmbodimentAsItIs) {
  const host::MetaObject before = *model.Data().Find(model.Base("M"));
  const host::ProductData::Group group = model.Data().FindGroup(model.Base("M"));
  const UniqueMetaObjectKey base = model.Data().RootEmbodiment();
  Add("small", "01", {"3"});
  EXPECT_EQ(model.Data().RootEmbodiment(), base);
  EXPECT_EQ(*model.Data().Find(base), before);
  EXPECT_EQ(model.Data().FindGroup(base), group);
}

TEST_F(AnEmbodiment, HoldsAllThatTheRootHoldsDirectlyButForWhatIsLeftOut) {
  EXPECT_EQ(model.Data().FindGroup(Add("all", "01")).members, model.Data().FindGroup(model.Base("M")).members);
  EXPECT_THAT(model.Data().FindGroup(Add("small", "02", {"1", "3"})).members,
              UnorderedElementsAre(model.OccurrenceAt("2"), model.OccurrenceAt("4")));
}

TEST_F(AnEmbodiment, BindsWhatItLeavesOutAndNothingElse) {
  Add("small", "01", {"3"});
  ASSERT_NE(AttributesAt("3"), nullptr);
  EXPECT_EQ(*AttributesAt("3"), c_bound);
  for (const char* path : {"1", "2", "4", "1/2"}) {
    EXPECT_EQ(AttributesAt(path), nullptr) << path;
  }
}

TEST_F(AnEmbodiment, BindsWithoutChangingOtherAttributes) {
  model.SetAttributes(model.OccurrenceAt("3"), c_excluded);
  Add("small", "01", {"3"});
  EXPECT_EQ(*AttributesAt("3"), (PartAttributes{.includeFlag = true, .excludeFlag = true, .embodimentBoundFlag = 1}));
}

TEST_F(AnEmbodiment, MakesWhatItLeavesOutInvalidInItselfAlone) {
  const UniqueMetaObjectKey small = Add("small", "01", {"3"});
  const UniqueMetaObjectKey all = Add("all", "02");
  const host::Aggregator aggregator({&model.Data()});
  const auto isValidIn = [&](const UniqueMetaObjectKey& embodiment) {
    const host::ModelEmbodiments embodiments(model.document, embodiment);
    return CheckValidProductGeometryLink({model.OccurrenceAt("3"), model.BodyAt("3")}, aggregator, embodiments.Tree());
  };
  EXPECT_TRUE(isValidIn(model.Base("M")));
  EXPECT_TRUE(isValidIn(all));
  EXPECT_FALSE(isValidIn(small));
}

TEST_F(AnEmbodiment, KeepsTheNumbersOfTheBaseEmbodiment) {
  host::SetPosition(model.Data(), model.Base("M"), model.Line("M", "B"), 40, true);
  const UniqueMetaObjectKey small = Add("small", "01", {"2"});
  EXPECT_EQ(Number(small, "F"), 1);
  EXPECT_EQ(Number(small, "B"), 40);
  EXPECT_TRUE(host::IsSetByHand(model.Data(), small, model.Line("M", "B")));
  EXPECT_FALSE(host::IsSetByHand(model.Data(), small, model.Line("M", "F")));
}

TEST_F(AnEmbodiment, HasNoNumberForALineThatItLeavesOutAndNeverGivesItToAnother) {
  const UniqueMetaObjectKey small = Add("small", "01", {"3"});
  EXPECT_EQ(Number(small, "B"), std::nullopt);
  EXPECT_EQ(model.Data().Find(small)->lastPosition, 3);
  std::vector<TestProduct> products = MachineProducts();
  products.front().uses.push_back("N");
  products.push_back({"N", "Nut", {}, 1});
  model.Update(products);
  EXPECT_EQ(Number(small, "N"), 4);
}

TEST_F(AnEmbodiment, HasALineOfWhichItLeavesOutSomeOccurrencesOnly) {
  const UniqueMetaObjectKey small = Add("small", "01", {"1"});
  EXPECT_EQ(Number(small, "F"), 1);
  EXPECT_EQ(model.Data().FindGroup(small).lines.at(model.Line("M", "F")), 1u);
}

TEST_F(AnEmbodiment, HasNumbersOfItsOwn) {
  const UniqueMetaObjectKey added = Add("small", "01");
  host::SetPosition(model.Data(), added, model.Line("M", "B"), 9, true);
  EXPECT_EQ(Number(model.Base("M"), "B"), 3);
}

TEST_F(AnEmbodiment, HasTheMarkingOfTheBaseWithItsNumber) {
  const UniqueMetaObjectKey added = Add("small", "01");
  const auto markingIn = [&](const UniqueMetaObjectKey& embodiment) {
    const host::ModelEmbodiments embodiments(model.document, embodiment);
    return meta_3d::GetMarkingFromProdData(model.Data(), embodiments.Tree(), MbPath()).Text();
  };
  EXPECT_EQ(markingIn(added), L"M-01");
  EXPECT_EQ(markingIn(model.Base("M")), L"M");
}

TEST_F(AnEmbodiment, HasItsNameInWhateverLetters) {
  const UniqueMetaObjectKey added = Add("größer", "01");
  EXPECT_EQ(model.Data().ProductText(added, c_variantName), "größer");
  EXPECT_EQ(model.Data().ProductText(added, c_markingEmbodimentNumber), "01");
}

TEST_F(AnEmbodiment, IsRefusedWhereItsNameIsTaken) {
  Add("small", "01");
  EXPECT_THAT(RefusalOf("small", "02"), AllOf(HasSubstr("'small'"), HasSubstr("choose others")));
  EXPECT_EQ(model.Data().EmbodimentsOf(model.Product("M")).size(), 2u);
}

TEST_F(AnEmbodiment, IsRefusedWhereItsNumberIsTaken) {
  Add("small", "01");
  EXPECT_THAT(RefusalOf("other", "01"), AllOf(HasSubstr("'01'"), HasSubstr("choose others")));
  EXPECT_EQ(model.Data().EmbodimentsOf(model.Product("M")).size(), 2u);
}

TEST_F(AnEmbodiment, IsRefusedWithoutANameOrNumberWhichAreThoseOfTheBase) {
  EXPECT_NE(RefusalOf("", "01"), "");
  EXPECT_NE(RefusalOf("small", ""), "");
}

TEST_F(AnEmbodiment, OfAPartIsRefused) {
  TestModel part({{"B", "Bolt", {}, 1}});
  const std::size_t before = part.Data().All().size();
  EXPECT_THROW(host::AddEmbodiment(part.document, "small", "01", {}), host::DocumentError);
  EXPECT_EQ(part.Data().All().size(), before);
}

TEST_F(AnEmbodiment, LeavesOutNothingThatTheRootDoesNotHoldDirectly) {
  const UniqueMetaObjectKey added = Add("small", "01", {"1/2"});
  EXPECT_EQ(model.Data().FindGroup(added).members.size(), 4u);
  EXPECT_EQ(AttributesAt("1/2"), nullptr);
}

TEST_F(AnEmbodiment, LeavesOutAMemberWhoseObjectIsGone) {
  const UniqueMetaObjectKey nobody("nobody");
  model.Data().AddToGroup(model.Base("M"), nobody);
  EXPECT_EQ(model.Data().FindGroup(host::AddEmbodiment(model.document, "small", "01", {nobody})).members.size(), 4u);
}

TEST_F(AnEmbodiment, IsRemovedWithItsGroup) {
  const UniqueMetaObjectKey added = Add("small", "01", {"3"});
  host::RemoveEmbodiment(model.document, added);
  EXPECT_FALSE(model.Data().HasMetaObject(added));
  EXPECT_FALSE(model.Data().AllGroups().contains(added));
  EXPECT_THAT(model.Data().EmbodimentsOf(model.Product("M")), ElementsAre(model.Base("M")));
  EXPECT_EQ(model.Data().FindGroup(model.Base("M")).members.size(), 4u);
}

TEST_F(AnEmbodiment, FreesItsNameAndNumberWhenItIsRemoved) {
  host::RemoveEmbodiment(model.document, Add("small", "01"));
  EXPECT_NO_THROW(Add("small", "01"));
}

TEST_F(AnEmbodiment, IsNotRemovedWhereItIsTheBase) {
  try {
    host::RemoveEmbodiment(model.document, model.Base("M"));
    FAIL() << "no error";
  } catch (const host::DocumentError& error) {
    EXPECT_THAT(error.what(), HasSubstr("base embodiment"));
  }
  EXPECT_TRUE(model.Data().HasMetaObject(model.Base("M")));
  EXPECT_EQ(model.Data().FindGroup(model.Base("M")).members.size(), 4u);
}

}  // namespace
