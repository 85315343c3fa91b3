#include <cstdint>
#include <optional>
#include <set>
#include <stdexcept>
#include <variant>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qProdData3D/CheckValidProductGeometryLink.h>

#include "tests/support/Links.h"
#include "tests/support/ProductDataMocks.h"

namespace {

using testing::_;
using testing::InSequence;
using testing::Return;
using testing::ReturnRef;
using testing::StrictMock;
using testing::Test;
using testing::Throw;

const UniqueMetaObjectKey c_object = Key("object");
const UniqueMetaObjectKey c_embodiment = Key("embodiment");
const UniqueMetaObjectKey c_part = Key("part");
/// With a second path that is not its path, so that a test sees which of them is used.
const ProductGeometryObject3D c_link = {c_object, Solid({3, 2, 1}, "body", {9})};
const MbPath c_path{3, 2, 1};

class CheckLink : public Test {
 protected:
  StrictMock<MockAggregator> aggregator;
  StrictMock<MockEmbodimentsSource> embodiments;
  StrictMock<MockGroupPartSource> groupParts;
  StrictMock<MockPartSource> parts;
  StrictMock<MockPropertyCalculator> calculator;
  ProductPart part;

  bool Check() { return CheckValidProductGeometryLink(c_link, aggregator, EmbodimentsTree(embodiments)); }

  void ExpectType(std::uint32_t type) { EXPECT_CALL(aggregator, GetMetaObjectType(c_object)).WillOnce(Return(type)); }

  GroupPartHandler Handler() const { return {groupParts, c_object, UniqueMetaObjectKey::null}; }

  /// The questions about an object of a type and a flag that is stored.
  void ExpectStoredFlag(std::uint32_t type, std::uint32_t flag) {
    part = AttributedPart{{.embodimentBoundFlag = flag}};
    ExpectType(type);
    EXPECT_CALL(aggregator, MakeGroupPartHandler(c_object)).WillOnce(Return(Handler()));
    EXPECT_CALL(groupParts, IsValidGroupPart(c_object, UniqueMetaObjectKey::null)).WillOnce(Return(true));
    EXPECT_CALL(groupParts, GetRawPart(c_object)).WillOnce(Return(PartHandler(parts, c_part)));
    EXPECT_CALL(parts, IsValidPart(c_part)).WillOnce(Return(true));
    EXPECT_CALL(parts, IsCalcAvailable(c_part)).WillOnce(Return(false));
    EXPECT_CALL(parts, GetProductPart(c_part)).WillOnce(ReturnRef(part));
  }

  /// The questions that decide on an object that is bound.
  void ExpectGroups(const std::set<UniqueMetaObjectKey>& groups) {
    EXPECT_CALL(embodiments, FindEmbodiment(c_path)).WillOnce(Return(c_embodiment));
    EXPECT_CALL(aggregator, GetObjectGroups(c_object)).WillOnce(Return(groups));
  }
};

constexpr std::uint32_t c_placedTypes[] = {4, 5, 6, 7};

}  // namespace

TEST_F(CheckLink, AcceptsAGroupObjectWithoutAnyFurtherQuestion) {
  ExpectType(8);
  EXPECT_TRUE(Check());
}

TEST_F(CheckLink, RefusesEveryTypeBelowFourAndAboveEightWithoutAnyFurtherQuestion) {
  for (const std::uint32_t type :
       {0U,  1U,  2U,  3U,  9U,   10U,  11U,      12U,         13U,         14U,         15U,         16U,
        20U, 24U, 36U, 72U, 260U, 264U, 0x10004U, 0x80000004U, 0x80000008U, 0xFFFFFFF8U, 0xFFFFFFFCU, 0xFFFFFFFFU}) {
    SCOPED_TRACE(type);
    ExpectType(type);
    EXPECT_FALSE(Check());
  }
}

TEST_F(CheckLink, AcceptsWhatIsNotBoundWithoutAskingForEmbodimentOrGroups) {
  for (const std::uint32_t type : c_placedTypes) {
    SCOPED_TRACE(type);
    const InSequence order;
    ExpectStoredFlag(type, 0);
    EXPECT_TRUE(Check());
  }
}

TEST_F(CheckLink, AcceptsWhatIsBoundToTheEmbodimentOfThePathOfTheLink) {
  for (const std::uint32_t type : c_placedTypes) {
    SCOPED_TRACE(type);
    const InSequence order;
    ExpectStoredFlag(type, 1);
    ExpectGroups({Key("another"), c_embodiment, Key("third")});
    EXPECT_TRUE(Check());
  }
}

TEST_F(CheckLink, RefusesWhatIsBoundToOtherEmbodimentsOnly) {
  for (const std::uint32_t type : c_placedTypes) {
    SCOPED_TRACE(type);
    const InSequence order;
    ExpectStoredFlag(type, 1);
    ExpectGroups({Key("another"), Key("embodimen"), Key("embodiment2")});
    EXPECT_FALSE(Check());
  }
}

TEST_F(CheckLink, RefusesWhatIsBoundAndInNoGroup) {
  const InSequence order;
  ExpectStoredFlag(6, 1);
  ExpectGroups({});
  EXPECT_FALSE(Check());
}

TEST_F(CheckLink, TakesEveryFlagButZeroForBound) {
  for (const std::uint32_t flag : {2U, 0x100U, 0x10000U, 0x80000000U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(flag);
    const InSequence order;
    ExpectStoredFlag(4, flag);
    ExpectGroups({});
    EXPECT_FALSE(Check());
  }
}

TEST_F(CheckLink, LetsTheNullKeyOfAPathWithoutAnEmbodimentCountAsAnyOther) {
  for (const bool isInGroups : {true, false}) {
    const InSequence order;
    ExpectStoredFlag(4, 1);
    EXPECT_CALL(embodiments, FindEmbodiment(c_path)).WillOnce(Return(UniqueMetaObjectKey::null));
    EXPECT_CALL(aggregator, GetObjectGroups(c_object))
        .WillOnce(Return(isInGroups ? MockAggregator::Keys{UniqueMetaObjectKey::null} : MockAggregator::Keys{}));
    EXPECT_EQ(Check(), isInGroups);
  }
}

TEST_F(CheckLink, AcceptsAnObjectWithoutAValidHandlerSinceGroupPartsAreNotBound) {
  const InSequence order;
  ExpectType(5);
  EXPECT_CALL(aggregator, MakeGroupPartHandler(c_object)).WillOnce(Return(GroupPartHandler()));
  EXPECT_TRUE(Check());

  ExpectType(5);
  EXPECT_CALL(aggregator, MakeGroupPartHandler(c_object)).WillOnce(Return(Handler()));
  EXPECT_CALL(groupParts, IsValidGroupPart(c_object, UniqueMetaObjectKey::null)).WillOnce(Return(false));
  EXPECT_TRUE(Check());
}

TEST_F(CheckLink, TakesAnObjectForBoundWhosePartInTheGroupOfItsHandlerIs) {
  const UniqueMetaObjectKey group = Key("group");
  part = AttributedPart{{true, false, 1}};
  const InSequence order;
  ExpectType(6);
  EXPECT_CALL(aggregator, MakeGroupPartHandler(c_object))
      .WillOnce(Return(GroupPartHandler(groupParts, c_object, group)));
  EXPECT_CALL(groupParts, IsValidGroupPart(c_object, group)).WillOnce(Return(true));
  EXPECT_CALL(groupParts, GetGroupPart(c_object, group)).WillOnce(Return(PartHandler(parts, c_part)));
  EXPECT_CALL(parts, IsValidPart(c_part)).WillOnce(Return(true));
  EXPECT_CALL(parts, IsCalcAvailable(c_part)).WillOnce(Return(false));
  EXPECT_CALL(parts, GetProductPart(c_part)).WillOnce(ReturnRef(part));
  ExpectGroups({group});
  EXPECT_FALSE(Check());
}

TEST_F(CheckLink, TakesAnObjectWithoutAValidPartForBound) {
  const InSequence order;
  ExpectType(5);
  EXPECT_CALL(aggregator, MakeGroupPartHandler(c_object)).WillOnce(Return(Handler()));
  EXPECT_CALL(groupParts, IsValidGroupPart(_, _)).WillOnce(Return(true));
  EXPECT_CALL(groupParts, GetRawPart(c_object)).WillOnce(Return(PartHandler()));
  ExpectGroups({});
  EXPECT_FALSE(Check());
}

TEST_F(CheckLink, LetsTheCalculatorDecideWhatIsBound) {
  for (const std::uint32_t answer : {0U, 1U}) {
    SCOPED_TRACE(answer);
    const InSequence order;
    ExpectType(7);
    EXPECT_CALL(aggregator, MakeGroupPartHandler(c_object)).WillOnce(Return(Handler()));
    EXPECT_CALL(groupParts, IsValidGroupPart(_, _)).WillOnce(Return(true));
    EXPECT_CALL(groupParts, GetRawPart(c_object)).WillOnce(Return(PartHandler(parts, c_part)));
    EXPECT_CALL(parts, IsValidPart(c_part)).WillOnce(Return(true));
    EXPECT_CALL(parts, IsCalcAvailable(c_part)).WillOnce(Return(true));
    EXPECT_CALL(parts, GetPropertyCalculator(c_part)).WillOnce(ReturnRef(calculator));
    EXPECT_CALL(calculator, CalcEmbodimentBoundFlag(c_part)).WillOnce(Return(answer));
    if (answer != 0) {
      ExpectGroups({});
    }
    EXPECT_EQ(Check(), answer == 0);
  }
}

TEST_F(CheckLink, TakesTheStoredFlagWhereTheCalculatorHasNoAnswer) {
  for (const std::uint32_t stored : {0U, 1U}) {
    SCOPED_TRACE(stored);
    part = AttributedPart{{true, false, stored}};
    const InSequence order;
    ExpectType(4);
    EXPECT_CALL(aggregator, MakeGroupPartHandler(c_object)).WillOnce(Return(Handler()));
    EXPECT_CALL(groupParts, IsValidGroupPart(_, _)).WillOnce(Return(true));
    EXPECT_CALL(groupParts, GetRawPart(c_object)).WillOnce(Return(PartHandler(parts, c_part)));
    EXPECT_CALL(parts, IsValidPart(c_part)).WillOnce(Return(true));
    EXPECT_CALL(parts, IsCalcAvailable(c_part)).WillOnce(Return(true));
    EXPECT_CALL(parts, GetPropertyCalculator(c_part)).WillOnce(ReturnRef(calculator));
    EXPECT_CALL(calculator, CalcEmbodimentBoundFlag(c_part)).WillOnce(Return(std::nullopt));
    EXPECT_CALL(parts, GetProductPart(c_part)).WillOnce(ReturnRef(part));
    if (stored != 0) {
      ExpectGroups({c_embodiment});
    }
    EXPECT_TRUE(Check());
  }
}

TEST_F(CheckLink, RefusesAPartWithoutAttributesByAnException) {
  for (const ProductPart& other : {ProductPart(UnloadedPart{}), ProductPart(ForeignPart{})}) {
    const InSequence order;
    ExpectStoredFlag(4, 0);
    part = other;
    EXPECT_THROW(Check(), std::bad_variant_access);
  }
}

TEST_F(CheckLink, PassesTheExceptionOfEveryQuestion) {
  const auto gone = Throw(std::runtime_error("gone"));
  EXPECT_CALL(aggregator, GetMetaObjectType).WillOnce(gone);
  EXPECT_THROW(Check(), std::runtime_error);

  ExpectType(4);
  EXPECT_CALL(aggregator, MakeGroupPartHandler).WillOnce(gone);
  EXPECT_THROW(Check(), std::runtime_error);

  ExpectStoredFlag(4, 1);
  EXPECT_CALL(embodiments, FindEmbodiment).WillOnce(gone);
  EXPECT_THROW(Check(), std::runtime_error);

  ExpectStoredFlag(4, 1);
  EXPECT_CALL(embodiments, FindEmbodiment).WillOnce(Return(c_embodiment));
  EXPECT_CALL(aggregator, GetObjectGroups).WillOnce(gone);
  EXPECT_THROW(Check(), std::runtime_error);
}
