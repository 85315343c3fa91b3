#include <cstdint>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <variant>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "meta_3d/PartFlags.h"
#include "tests/support/Links.h"
#include "tests/support/ProductDataMocks.h"

namespace {

using testing::InSequence;
using testing::Return;
using testing::ReturnRef;
using testing::StrictMock;
using testing::Test;
using testing::Throw;
using testing::WithParamInterface;

/// A reader of one attribute flag.
struct FlagReader {
  const char* name;
  std::uint32_t (*read)(const GroupPartHandler&);
  std::uint32_t defaultOfGroupParts;
  std::uint32_t defaultOfParts;
  /// A record in which only this flag is set, and one in which only this flag is not.
  PartAttributes set;
  PartAttributes notSet;
};

const FlagReader c_include = {"Include",
                              [](const GroupPartHandler& handler) { return std::uint32_t{ReadIncludeFlag(handler)}; },
                              1,
                              0,
                              {true, false, 0},
                              {false, true, 1}};
const FlagReader c_exclude = {"Exclude",
                              [](const GroupPartHandler& handler) { return std::uint32_t{ReadExcludeFlag(handler)}; },
                              0,
                              1,
                              {false, true, 0},
                              {true, false, 1}};
const FlagReader c_embodimentBound = {"EmbodimentBound", &ReadEmbodimentBoundFlag, 0, 1,
                                      {false, false, 1}, {true, true, 0}};

void PrintTo(const FlagReader& reader, std::ostream* out) {
  *out << reader.name;
}

const UniqueMetaObjectKey c_object = Key("object");
const UniqueMetaObjectKey c_group = Key("group");
/// The key of the part that the handler chooses: not the handler's own, so that a test sees which of them is asked for.
const UniqueMetaObjectKey c_part = Key("part");

struct Sources {
  StrictMock<MockGroupPartSource> groupParts;
  StrictMock<MockPartSource> parts;
  StrictMock<MockPropertyCalculator> calculator;

  GroupPartHandler RawHandler() const { return {groupParts, c_object, UniqueMetaObjectKey::null}; }

  /// The questions up to a valid part of a handler with the null group key.
  void ExpectValidPart() {
    EXPECT_CALL(groupParts, IsValidGroupPart(c_object, UniqueMetaObjectKey::null)).WillOnce(Return(true));
    EXPECT_CALL(groupParts, GetRawPart(c_object)).WillOnce(Return(PartHandler(parts, c_part)));
    EXPECT_CALL(parts, IsValidPart(c_part)).WillOnce(Return(true));
  }

  void ExpectCalculator() {
    ExpectValidPart();
    EXPECT_CALL(parts, IsCalcAvailable(c_part)).WillOnce(Return(true));
    EXPECT_CALL(parts, GetPropertyCalculator(c_part)).WillOnce(ReturnRef(calculator));
  }
};

class AFlagReader : public Test, public WithParamInterface<FlagReader>, public Sources {
 protected:
  std::uint32_t Read(const GroupPartHandler& handler) const { return GetParam().read(handler); }
};

class TheIncludeFlag : public Test, public Sources {};
class TheExcludeFlag : public Test, public Sources {};
class TheEmbodimentBoundFlag : public Test, public Sources {};

ProductPart Attributed(const PartAttributes& attributes) {
  return AttributedPart{attributes};
}

INSTANTIATE_TEST_SUITE_P(Of, AFlagReader, testing::Values(c_include, c_exclude, c_embodimentBound),
                         [](const auto& flag) { return flag.param.name; });

}  // namespace

TEST_P(AFlagReader, GivesTheDefaultOfGroupPartsForAHandlerWithoutASource) {
  EXPECT_EQ(Read(GroupPartHandler()), GetParam().defaultOfGroupParts);
}

TEST_P(AFlagReader, GivesTheDefaultOfGroupPartsForAnInvalidHandlerAndAsksNothingMore) {
  EXPECT_CALL(groupParts, IsValidGroupPart(c_object, c_group)).WillOnce(Return(false));
  EXPECT_EQ(Read(GroupPartHandler(groupParts, c_object, c_group)), GetParam().defaultOfGroupParts);
}

TEST_P(AFlagReader, AsksForTheRawPartOfTheObjectWhereTheGroupKeyIsNull) {
  const ProductPart stored = Attributed(GetParam().set);
  const InSequence order;
  EXPECT_CALL(groupParts, IsValidGroupPart(c_object, UniqueMetaObjectKey::null)).WillOnce(Return(true));
  EXPECT_CALL(groupParts, GetRawPart(c_object)).WillOnce(Return(PartHandler(parts, c_part)));
  EXPECT_CALL(parts, IsValidPart(c_part)).WillOnce(Return(true));
  EXPECT_CALL(parts, IsCalcAvailable(c_part)).WillOnce(Return(false));
  EXPECT_CALL(parts, GetProductPart(c_part)).WillOnce(ReturnRef(stored));
  EXPECT_EQ(Read(RawHandler()), 1U);
}

TEST_P(AFlagReader, AsksForThePartInTheGroupWhereThereIsAGroupKey) {
  const ProductPart stored = Attributed(GetParam().set);
  const InSequence order;
  EXPECT_CALL(groupParts, IsValidGroupPart(c_object, c_group)).WillOnce(Return(true));
  EXPECT_CALL(groupParts, GetGroupPart(c_object, c_group)).WillOnce(Return(PartHandler(parts, c_part)));
  EXPECT_CALL(parts, IsValidPart(c_part)).WillOnce(Return(true));
  EXPECT_CALL(parts, IsCalcAvailable(c_part)).WillOnce(Return(false));
  EXPECT_CALL(parts, GetProductPart(c_part)).WillOnce(ReturnRef(stored));
  EXPECT_EQ(Read(GroupPartHandler(groupParts, c_object, c_group)), 1U);
}

TEST_P(AFlagReader, TakesAGroupKeyOfOneZeroByteForAGroupKey) {
  const UniqueMetaObjectKey zero = Key({"\0", 1});
  const InSequence order;
  EXPECT_CALL(groupParts, IsValidGroupPart(c_object, zero)).WillOnce(Return(true));
  EXPECT_CALL(groupParts, GetGroupPart(c_object, zero)).WillOnce(Return(PartHandler()));
  EXPECT_EQ(Read(GroupPartHandler(groupParts, c_object, zero)), GetParam().defaultOfParts);
}

TEST_P(AFlagReader, GivesTheDefaultOfPartsForAnInvalidPartAndAsksNothingMore) {
  const InSequence order;
  EXPECT_CALL(groupParts, IsValidGroupPart(c_object, UniqueMetaObjectKey::null)).WillOnce(Return(true));
  EXPECT_CALL(groupParts, GetRawPart(c_object)).WillOnce(Return(PartHandler(parts, c_part)));
  EXPECT_CALL(parts, IsValidPart(c_part)).WillOnce(Return(false));
  EXPECT_EQ(Read(RawHandler()), GetParam().defaultOfParts);
}

TEST_P(AFlagReader, GivesTheDefaultOfPartsForAPartWithoutASource) {
  const InSequence order;
  EXPECT_CALL(groupParts, IsValidGroupPart(c_object, c_group)).WillOnce(Return(true));
  EXPECT_CALL(groupParts, GetGroupPart(c_object, c_group)).WillOnce(Return(PartHandler()));
  EXPECT_EQ(Read(GroupPartHandler(groupParts, c_object, c_group)), GetParam().defaultOfParts);
}

TEST_P(AFlagReader, GivesTheStoredFlagWithoutFetchingACalculatorWhereNoneIsAvailable) {
  for (const bool isSet : {true, false}) {
    const ProductPart stored = Attributed(isSet ? GetParam().set : GetParam().notSet);
    const InSequence order;
    ExpectValidPart();
    EXPECT_CALL(parts, IsCalcAvailable(c_part)).WillOnce(Return(false));
    EXPECT_CALL(parts, GetProductPart(c_part)).WillOnce(ReturnRef(stored));
    EXPECT_EQ(Read(RawHandler()), isSet ? 1U : 0U);
  }
}

TEST_P(AFlagReader, RefusesAPartOfTheFirstOrTheThirdKind) {
  for (const ProductPart& part : {ProductPart(UnloadedPart{}), ProductPart(ForeignPart{})}) {
    const InSequence order;
    ExpectValidPart();
    EXPECT_CALL(parts, IsCalcAvailable(c_part)).WillOnce(Return(false));
    EXPECT_CALL(parts, GetProductPart(c_part)).WillOnce(ReturnRef(part));
    EXPECT_THROW(Read(RawHandler()), std::bad_variant_access);
  }
}

TEST_P(AFlagReader, PassesTheExceptionOfTheHandler) {
  EXPECT_CALL(groupParts, IsValidGroupPart).WillOnce(Throw(std::runtime_error("gone")));
  EXPECT_THROW(Read(RawHandler()), std::runtime_error);
}

TEST_P(AFlagReader, PassesTheExceptionOfThePart) {
  ExpectValidPart();
  EXPECT_CALL(parts, IsCalcAvailable(c_part)).WillOnce(Throw(std::runtime_error("gone")));
  EXPECT_THROW(Read(RawHandler()), std::runtime_error);
}

TEST_F(TheIncludeFlag, IsWhatTheCalculatorAnswersForThePartAndThePartIsNotLookedAt) {
  for (const bool answer : {true, false}) {
    const InSequence order;
    ExpectCalculator();
    EXPECT_CALL(calculator, CalcIncludeFlag(c_part)).WillOnce(Return(answer));
    EXPECT_EQ(ReadIncludeFlag(RawHandler()), answer);
  }
}

TEST_F(TheIncludeFlag, IsTheStoredOneWhereTheCalculatorHasNoAnswer) {
  for (const bool isSet : {true, false}) {
    const ProductPart stored = Attributed(isSet ? c_include.set : c_include.notSet);
    const InSequence order;
    ExpectCalculator();
    EXPECT_CALL(calculator, CalcIncludeFlag(c_part)).WillOnce(Return(std::nullopt));
    EXPECT_CALL(parts, GetProductPart(c_part)).WillOnce(ReturnRef(stored));
    EXPECT_EQ(ReadIncludeFlag(RawHandler()), isSet);
  }
}

TEST_F(TheIncludeFlag, OfAPartWithoutAttributesIsRefusedWhereTheCalculatorHasNoAnswer) {
  const ProductPart part = ForeignPart{};
  const InSequence order;
  ExpectCalculator();
  EXPECT_CALL(calculator, CalcIncludeFlag(c_part)).WillOnce(Return(std::nullopt));
  EXPECT_CALL(parts, GetProductPart(c_part)).WillOnce(ReturnRef(part));
  EXPECT_THROW(ReadIncludeFlag(RawHandler()), std::bad_variant_access);
}

TEST_F(TheIncludeFlag, PassesTheExceptionOfTheCalculator) {
  ExpectCalculator();
  EXPECT_CALL(calculator, CalcIncludeFlag).WillOnce(Throw(std::runtime_error("gone")));
  EXPECT_THROW(ReadIncludeFlag(RawHandler()), std::runtime_error);
}

TEST_F(TheExcludeFlag, IsTheStoredOneAlthoughACalculatorIsAvailableWhichIsNotFetched) {
  for (const bool isSet : {true, false}) {
    const ProductPart stored = Attributed(isSet ? c_exclude.set : c_exclude.notSet);
    const InSequence order;
    ExpectValidPart();
    EXPECT_CALL(parts, IsCalcAvailable(c_part)).WillOnce(Return(true));
    EXPECT_CALL(parts, GetProductPart(c_part)).WillOnce(ReturnRef(stored));
    EXPECT_EQ(ReadExcludeFlag(RawHandler()), isSet);
  }
}

TEST_F(TheExcludeFlag, OfAPartWithoutAttributesIsRefusedAlthoughACalculatorIsAvailable) {
  const ProductPart part = UnloadedPart{};
  const InSequence order;
  ExpectValidPart();
  EXPECT_CALL(parts, IsCalcAvailable(c_part)).WillOnce(Return(true));
  EXPECT_CALL(parts, GetProductPart(c_part)).WillOnce(ReturnRef(part));
  EXPECT_THROW(ReadExcludeFlag(RawHandler()), std::bad_variant_access);
}

TEST_F(TheEmbodimentBoundFlag, IsWhatTheCalculatorAnswersForThePartZeroIncludedAndThePartIsNotLookedAt) {
  for (const std::uint32_t answer : {0U, 1U, 2U, 0x100U, 0x10000U, 0x80000000U, 0xFFFFFFFFU}) {
    const InSequence order;
    ExpectCalculator();
    EXPECT_CALL(calculator, CalcEmbodimentBoundFlag(c_part)).WillOnce(Return(answer));
    EXPECT_EQ(ReadEmbodimentBoundFlag(RawHandler()), answer);
  }
}

TEST_F(TheEmbodimentBoundFlag, IsTheStoredOneWithAllItsBitsWhereTheCalculatorHasNoAnswer) {
  for (const std::uint32_t flag : {0U, 1U, 2U, 0x100U, 0x10000U, 0x80000000U, 0xFFFFFFFFU}) {
    const ProductPart stored = Attributed({true, true, flag});
    const InSequence order;
    ExpectCalculator();
    EXPECT_CALL(calculator, CalcEmbodimentBoundFlag(c_part)).WillOnce(Return(std::nullopt));
    EXPECT_CALL(parts, GetProductPart(c_part)).WillOnce(ReturnRef(stored));
    EXPECT_EQ(ReadEmbodimentBoundFlag(RawHandler()), flag);
  }
}

TEST_F(TheEmbodimentBoundFlag, OfAPartWithoutAttributesIsRefusedWhereTheCalculatorHasNoAnswer) {
  const ProductPart part = UnloadedPart{};
  const InSequence order;
  ExpectCalculator();
  EXPECT_CALL(calculator, CalcEmbodimentBoundFlag(c_part)).WillOnce(Return(std::nullopt));
  EXPECT_CALL(parts, GetProductPart(c_part)).WillOnce(ReturnRef(part));
  EXPECT_THROW(ReadEmbodimentBoundFlag(RawHandler()), std::bad_variant_access);
}

TEST_F(TheEmbodimentBoundFlag, PassesTheExceptionOfTheCalculator) {
  ExpectCalculator();
  EXPECT_CALL(calculator, CalcEmbodimentBoundFlag).WillOnce(Throw(std::runtime_error("gone")));
  EXPECT_THROW(ReadEmbodimentBoundFlag(RawHandler()), std::runtime_error);
}

TEST(APropertyCalculator, AnswersForTheEmbodimentBoundFlagAsItsSixthOperation) {
  // A pointer to a virtual member holds the offset of its slot, on x86 plus one. Two slots belong to the destructor.
  const auto operation = &IfPropertyCalculator::CalcEmbodimentBoundFlag;
  std::size_t offset = 0;
  std::memcpy(&offset, &operation, sizeof(offset));
  EXPECT_EQ(offset / sizeof(void*) - 2, 5U);
}
