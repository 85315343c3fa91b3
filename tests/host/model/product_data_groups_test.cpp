// Groups and embodiments of product data, and what leaves them with an object.

#include "host/model/ProductData.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/model/TestModel.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

namespace {

using host::MetaObject;
using host::MetaObjectType;

class Groups : public testing::Test {
 protected:
  const host::ProductData::Group& GroupOf(const std::string& assembly) {
    return model.Data().FindGroup(model.Base(assembly));
  }

  UniqueMetaObjectKey AddVariantOf(const std::string& assembly) {
    MetaObject variant;
    variant.type = MetaObjectType::embodiment;
    variant.product = model.Product(assembly);
    return model.Data().Add(variant);
  }

  TestModel model;
};

TEST_F(Groups, CountTheMembersOfEachLine) {
  EXPECT_THAT(GroupOf("M").lines, UnorderedElementsAre(Pair(model.Line("M", "F"), 2), Pair(model.Line("M", "P"), 1),
                                                       Pair(model.Line("M", "B"), 1)));
  EXPECT_THAT(GroupOf("F").lines, UnorderedElementsAre(Pair(model.Line("F", "P"), 2), Pair(model.Line("F", "B"), 6)));
}

TEST_F(Groups, CountAMemberOnceHoweverOftenItIsAdded) {
  model.Data().AddToGroup(model.Base("M"), model.OccurrenceAt("3"));
  EXPECT_EQ(GroupOf("M").lines.at(model.Line("M", "B")), 1u);
}

TEST_F(Groups, LoseALineWithItsLastMember) {
  model.Data().RemoveFromGroup(model.Base("M"), model.OccurrenceAt("1"));
  EXPECT_EQ(GroupOf("M").lines.at(model.Line("M", "F")), 1u);
  model.Data().RemoveFromGroup(model.Base("M"), model.OccurrenceAt("1"));
  EXPECT_EQ(GroupOf("M").lines.at(model.Line("M", "F")), 1u);
  model.Data().RemoveFromGroup(model.Base("M"), model.OccurrenceAt("4"));
  EXPECT_FALSE(GroupOf("M").lines.contains(model.Line("M", "F")));
}

TEST_F(Groups, LoseAnOccurrenceThatIsRemoved) {
  const UniqueMetaObjectKey bolt = model.OccurrenceAt("3");
  const UniqueMetaObjectKey line = model.Line("M", "B");
  model.Data().SetGroupValue(model.Base("M"), bolt, L"own", SimplePropVal(1));
  model.Data().Remove(bolt);
  EXPECT_FALSE(GroupOf("M").members.contains(bolt));
  EXPECT_FALSE(GroupOf("M").lines.contains(line));
  EXPECT_FALSE(GroupOf("M").values.contains(bolt));
}

TEST_F(Groups, LoseAnOccurrenceThatIsRemovedAfterTheOneThatHeldIt) {
  for (const char* path : {"1", "1/1", "1/2", "1/3", "1/4"}) {
    model.Data().Remove(model.OccurrenceAt(path));
  }
  EXPECT_THAT(GroupOf("F").members, UnorderedElementsAre(model.OccurrenceAt("4/1"), model.OccurrenceAt("4/2"),
                                                         model.OccurrenceAt("4/3"), model.OccurrenceAt("4/4")));
  EXPECT_EQ(GroupOf("F").lines.at(model.Line("F", "B")), 3u);
}

TEST_F(Groups, LoseAnOccurrenceThatHasNoLine) {
  const UniqueMetaObjectKey bolt = model.OccurrenceAt("1/2");
  model.Data().RemoveFromGroup(model.Base("F"), bolt);
  model.ObjectAt("1/2").groupObject = UniqueMetaObjectKey();
  model.Data().AddToGroup(model.Base("F"), bolt);
  model.Data().Remove(bolt);
  EXPECT_FALSE(GroupOf("F").members.contains(bolt));
}

TEST_F(Groups, LoseTheValuesOfALineThatIsRemoved) {
  const UniqueMetaObjectKey line = model.Line("M", "B");
  ASSERT_TRUE(GroupOf("M").values.contains(line));
  model.Data().Remove(line);
  EXPECT_FALSE(GroupOf("M").values.contains(line));
}

TEST_F(Groups, GoWithTheirEmbodiment) {
  const UniqueMetaObjectKey variant = AddVariantOf("M");
  model.Data().AddToGroup(variant, model.OccurrenceAt("3"));
  model.Data().Remove(variant);
  EXPECT_FALSE(model.Data().AllGroups().contains(variant));
  EXPECT_THAT(model.Data().EmbodimentsOf(model.Product("M")), ElementsAre(model.Base("M")));
  EXPECT_THAT(model.Data().FindEmbodiments(model.Product("M")), ElementsAre(model.Base("M")));
}

TEST_F(Groups, StayWhenAnUnknownObjectIsRemoved) {
  const host::ProductData::Groups before = model.Data().AllGroups();
  model.Data().Remove(UniqueMetaObjectKey("nobody"));
  EXPECT_TRUE(model.Data().AllGroups() == before);
}

TEST_F(Groups, AreEmptyForWhatIsNoEmbodiment) {
  const host::ProductData::Group& none = model.Data().FindGroup(UniqueMetaObjectKey("nobody"));
  EXPECT_THAT(none.members, IsEmpty());
  EXPECT_THAT(none.values, IsEmpty());
}

TEST_F(Groups, TakeAValueAwayWhereItBecomesEmpty) {
  const UniqueMetaObjectKey line = model.Line("M", "B");
  model.Data().SetGroupValue(model.Base("M"), line, c_position, SimplePropVal());
  EXPECT_FALSE(GroupOf("M").values.contains(line));
  EXPECT_TRUE(GroupOf("M").values.contains(model.Line("M", "P")));
}

TEST_F(Groups, BelongToEmbodimentsOfWhichTheBaseComesFirst) {
  std::set<UniqueMetaObjectKey> all{model.Base("M")};
  for (int i = 0; i < 10; ++i) {
    all.insert(AddVariantOf("M"));
  }
  const std::vector<UniqueMetaObjectKey> ordered = model.Data().EmbodimentsOf(model.Product("M"));
  ASSERT_EQ(ordered.size(), 11u);
  EXPECT_EQ(ordered.front(), model.Base("M"));
  EXPECT_TRUE(std::is_sorted(ordered.begin() + 1, ordered.end()));
  EXPECT_EQ(model.Data().FindEmbodiments(model.Product("M")), all);
}

TEST_F(Groups, BelongToNoEmbodimentOfWhatIsNoAssembly) {
  EXPECT_THAT(model.Data().EmbodimentsOf(model.Product("B")), IsEmpty());
  EXPECT_THAT(model.Data().FindEmbodiments(UniqueMetaObjectKey("nobody")), IsEmpty());
}

TEST_F(Groups, BelongToTheAssemblyThatHoldsAnOccurrence) {
  EXPECT_EQ(model.Data().HoldingProduct(model.ObjectAt("3")), model.Product("M"));
  EXPECT_EQ(model.Data().HoldingProduct(model.ObjectAt("1/3")), model.Product("F"));
  EXPECT_EQ(model.Data().HoldingProduct(*model.Data().Find(model.Line("M", "B"))), UniqueMetaObjectKey::null);
  model.ObjectAt("3").holder = UniqueMetaObjectKey("nobody");
  EXPECT_EQ(model.Data().HoldingProduct(model.ObjectAt("3")), UniqueMetaObjectKey::null);
}

}  // namespace
