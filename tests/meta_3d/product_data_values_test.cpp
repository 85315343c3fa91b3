#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <q3DCore/PartObject.h>
#include <qLib/BitFlags.h>
#include <qLib/WeakReference.h>
#include <qProdData/PositionValue.h>
#include <qProdData/PropValue.h>
#include <qProdData/VariantMarking.h>

#include "tests/support/Links.h"
#include "tests/support/ProductDataMocks.h"
#include "tests/support/StreamMocks.h"

namespace {

using meta_data::positions::PositionValue;
using testing::Return;
using testing::StrictMock;
using UnitId = meta_data::properties::UnitId;

SimplePropVal Text(const wchar_t* text) {
  return SimplePropVal(std::wstring(text));
}

SimplePropVal Time(int seconds) {
  return SimplePropVal(SimplePropVal::DateTime(std::chrono::seconds(seconds)));
}

PropertyTree MarkingTree(const std::vector<std::pair<std::wstring, SimplePropVal>>& parts,
                         const SimplePropVal& own = SimplePropVal()) {
  PropertyTree tree(own);
  for (const auto& [name, value] : parts) {
    tree.push_back({name, PropertyTree(value)});
  }
  return tree;
}

VariantMarking MarkingOf(const PropertyTree& tree) {
  VariantMarking marking;
  marking.FromPropertyTree(tree);
  return marking;
}

}  // namespace

TEST(ASimplePropVal, OfDefaultIsEmptyAndHasNoUnit) {
  const SimplePropVal value;
  EXPECT_TRUE(value.IsEmpty());
  EXPECT_EQ(value.GetUnit(), UnitId::none);
  EXPECT_TRUE(std::holds_alternative<std::monostate>(value.GetValue()));
}

TEST(ASimplePropVal, IsNotEmptyWithAnyKindOfValue) {
  EXPECT_FALSE(Text(L"").IsEmpty());
  EXPECT_FALSE(SimplePropVal(false).IsEmpty());
  EXPECT_FALSE(SimplePropVal(0).IsEmpty());
  EXPECT_FALSE(SimplePropVal(0.0).IsEmpty());
  EXPECT_FALSE(Time(0).IsEmpty());
}

TEST(ASimplePropVal, IsEmptyWithAUnitAlone) {
  EXPECT_TRUE(SimplePropVal(SimplePropVal::Value(), UnitId::degree).IsEmpty());
}

TEST(ASimplePropVal, KeepsItsUnitWhenItsValueIsReplaced) {
  SimplePropVal value(1, UnitId::millimetre);
  value.SetValue(Text(L"x").GetValue());
  EXPECT_EQ(value, SimplePropVal(std::wstring(L"x"), UnitId::millimetre));
  value.SetValue(SimplePropVal().GetValue());
  EXPECT_TRUE(value.IsEmpty());
}

TEST(ASimplePropVal, EqualsOneWithTheSameKindValueAndUnitOnly) {
  EXPECT_EQ(SimplePropVal(1, UnitId::degree), SimplePropVal(1, UnitId::degree));
  EXPECT_NE(SimplePropVal(1, UnitId::degree), SimplePropVal(1));
  EXPECT_NE(SimplePropVal(1), SimplePropVal(2));
  EXPECT_NE(SimplePropVal(1), SimplePropVal(1.0));
  EXPECT_NE(SimplePropVal(1), SimplePropVal(true));
  EXPECT_NE(SimplePropVal(0), SimplePropVal());
}

TEST(Units, HaveTheNumbersThatDocumentsStore) {
  EXPECT_EQ(static_cast<std::uint32_t>(UnitId::none), 0U);
  EXPECT_EQ(static_cast<std::uint32_t>(UnitId::millimetre), 1U);
  EXPECT_EQ(static_cast<std::uint32_t>(UnitId::kilogram), 2U);
  EXPECT_EQ(static_cast<std::uint32_t>(UnitId::kilogramPerCubicMetre), 3U);
  EXPECT_EQ(static_cast<std::uint32_t>(UnitId::degree), 4U);
}

TEST(APositionValue, HoldsItsKeyAndItsValueWithTheUnit) {
  const SimplePropVal seven(7, UnitId::degree);
  const PositionValue value(Key("a"), seven);
  EXPECT_EQ(value.GetKey(), Key("a"));
  EXPECT_EQ(value.GetValue(), seven);
}

TEST(APositionValue, IsOrderedByTheKindOfItsValueAndThenByTheValue) {
  const std::vector<SimplePropVal> ascending = {
      SimplePropVal(),      Text(L""),           Text(L"10"),         Text(L"2"),       Text(L"\u0441"),
      SimplePropVal(false), SimplePropVal(true), SimplePropVal(-1),   SimplePropVal(2), SimplePropVal(10),
      SimplePropVal(-0.5),  SimplePropVal(0.25), SimplePropVal(1e10), Time(-1),         Time(5)};
  for (std::size_t left = 0; left < ascending.size(); ++left) {
    for (std::size_t right = 0; right < ascending.size(); ++right) {
      SCOPED_TRACE(testing::Message() << "number " << left << " and number " << right);
      // Keys in the opposite order, which does not count.
      const PositionValue first(Key(std::string(1, static_cast<char>('z' - left))), ascending[left]);
      const PositionValue second(Key(std::string(1, static_cast<char>('z' - right))), ascending[right]);
      EXPECT_EQ(first < second, left < right);
    }
  }
}

TEST(APositionValue, IsEquivalentToOneOfAnotherObjectOrInAnotherUnit) {
  const PositionValue value(Key("a"), SimplePropVal(7));
  for (const PositionValue& other :
       {PositionValue(Key("b"), SimplePropVal(7)), PositionValue(Key("a"), SimplePropVal(7, UnitId::degree))}) {
    EXPECT_FALSE(value < other);
    EXPECT_FALSE(other < value);
  }
}

TEST(APropValueRef, RefersToNothingByDefault) {
  EXPECT_EQ(PropValueRef().Value(), nullptr);
  EXPECT_EQ(PropValueRef().Tree(), nullptr);
}

TEST(APropValueRef, RefersToAPlainValueWithoutCopyingIt) {
  const SimplePropVal value(7);
  EXPECT_EQ(PropValueRef(value).Value(), &value);
  EXPECT_EQ(PropValueRef(value).Tree(), nullptr);
}

TEST(APropValueRef, KeepsTheTreeThatItRefersTo) {
  auto tree = std::make_shared<const PropertyTree>(SimplePropVal(7));
  const PropValueRef reference(tree);
  const PropertyTree* address = tree.get();
  tree.reset();
  EXPECT_EQ(reference.Tree(), address);
  EXPECT_EQ(reference.Tree()->data(), SimplePropVal(7));
  EXPECT_EQ(reference.Value(), nullptr);
}

TEST(APropValue, IsEmptyByDefaultAndOfAReferenceToNothingAndOfAnEmptyValue) {
  EXPECT_TRUE(PropValue().IsEmpty());
  EXPECT_TRUE(PropValue(PropValueRef()).IsEmpty());
  EXPECT_TRUE(PropValue(SimplePropVal()).IsEmpty());
  EXPECT_TRUE(PropValue(PropValueRef(std::make_shared<const PropertyTree>())).IsEmpty());
  EXPECT_EQ(PropValue().GetSimpleValue(), SimplePropVal());
}

TEST(APropValue, OfAPlainValueHoldsItWithItsUnitAndNoParts) {
  const SimplePropVal plain(7, UnitId::degree);
  for (const PropValue& value : {PropValue(plain), PropValue(PropValueRef(plain))}) {
    EXPECT_EQ(value.GetSimpleValue(), plain);
    EXPECT_TRUE(value.GetPropertyTree().empty());
    EXPECT_FALSE(value.IsEmpty());
  }
}

TEST(APropValue, CopiesWhatTheReferenceRefersTo) {
  SimplePropVal plain(7);
  const PropValue value{PropValueRef(plain)};
  plain = SimplePropVal(8);
  EXPECT_EQ(value.GetSimpleValue(), SimplePropVal(7));
}

TEST(APropValue, OfATreeHoldsItsValueAndItsParts) {
  const auto tree = std::make_shared<PropertyTree>(MarkingTree({{L"part", SimplePropVal(1)}}, SimplePropVal(7)));
  const PropValue value{PropValueRef(tree)};
  EXPECT_EQ(value.GetPropertyTree(), *tree);
  EXPECT_EQ(value.GetSimpleValue(), SimplePropVal(7));
}

TEST(APropValue, WithPartsAloneIsNotEmpty) {
  const auto tree = std::make_shared<PropertyTree>(MarkingTree({{L"part", SimplePropVal()}}));
  EXPECT_FALSE(PropValue(PropValueRef(tree)).IsEmpty());
}

TEST(AVariantMarking, OfDefaultIsEmpty) {
  EXPECT_EQ(VariantMarking(), (VariantMarking{L"", L"", L"", L""}));
  EXPECT_EQ(VariantMarking().Text(), L"");
}

TEST(AVariantMarking, TakesItsFourPartsFromTheTreeInAnyOrder) {
  EXPECT_EQ(MarkingOf(MarkingTree({{L"documentNumber", Text(L"AD")},
                                   {L"additionalNumber", Text(L"3")},
                                   {L"embodimentNumber", Text(L"02")},
                                   {L"base", Text(L"QD.01")}})),
            (VariantMarking{L"QD.01", L"02", L"3", L"AD"}));
}

TEST(AVariantMarking, TakesWholeNumbersForTexts) {
  EXPECT_EQ(MarkingOf(MarkingTree({{L"base", SimplePropVal(12)}, {L"embodimentNumber", SimplePropVal(-3)}})),
            (VariantMarking{L"12", L"-3", L"", L""}));
}

TEST(AVariantMarking, TakesNoOtherKindOfValue) {
  for (const SimplePropVal& value : {SimplePropVal(true), SimplePropVal(1.5), Time(1), SimplePropVal()}) {
    EXPECT_EQ(MarkingOf(MarkingTree({{L"base", value}, {L"documentNumber", value}}, Text(L"own"))), VariantMarking());
    EXPECT_EQ(MarkingOf(PropertyTree(value)), VariantMarking());
  }
}

TEST(AVariantMarking, TakesTheValueOfThePropertyForTheBaseWhereThereIsNoPartBase) {
  EXPECT_EQ(MarkingOf(MarkingTree({{L"documentNumber", Text(L"AD")}}, Text(L"QD.02"))),
            (VariantMarking{L"QD.02", L"", L"", L"AD"}));
  EXPECT_EQ(MarkingOf(PropertyTree(SimplePropVal(5))), (VariantMarking{L"5", L"", L"", L""}));
}

TEST(AVariantMarking, TakesThePartBaseBeforeTheValueOfTheProperty) {
  EXPECT_EQ(MarkingOf(MarkingTree({{L"base", Text(L"part")}}, Text(L"own"))).base, L"part");
  EXPECT_EQ(MarkingOf(MarkingTree({{L"base", Text(L"")}}, Text(L"own"))).base, L"");
}

TEST(AVariantMarking, TakesTheNameOfAPartLetterForLetter) {
  EXPECT_EQ(MarkingOf(MarkingTree({{L"Base", Text(L"x")}, {L"embodiment", Text(L"x")}, {L"number", Text(L"x")}})),
            VariantMarking());
}

TEST(AVariantMarking, ForgetsWhatItHeldWhenItIsFilled) {
  VariantMarking marking{L"a", L"b", L"c", L"d"};
  marking.FromPropertyTree(PropertyTree());
  EXPECT_EQ(marking, VariantMarking());
}

TEST(AVariantMarking, ShowsEachPartWithItsSignOnlyWhereThereIsOne) {
  EXPECT_EQ((VariantMarking{L"QD.01", L"02", L"3", L"AD"}).Text(), L"QD.01-02.3 AD");
  EXPECT_EQ((VariantMarking{L"QD.01", L"", L"", L""}).Text(), L"QD.01");
  EXPECT_EQ((VariantMarking{L"QD.01", L"02", L"", L""}).Text(), L"QD.01-02");
  EXPECT_EQ((VariantMarking{L"QD.01", L"", L"3", L""}).Text(), L"QD.01.3");
  EXPECT_EQ((VariantMarking{L"QD.01", L"", L"", L"AD"}).Text(), L"QD.01 AD");
  EXPECT_EQ((VariantMarking{L"", L"", L"", L"AD"}).Text(), L"AD");
}

namespace {

enum class Colour : std::uint8_t { red = 1, green = 2, blue = 0x80 };

}  // namespace

TEST(BitFlagsOfAnEnumeration, AreNoneByDefault) {
  EXPECT_EQ(BitFlags<Colour>().Raw(), 0U);
  static_assert(std::is_same_v<BitFlags<Colour>::Bits, std::uint8_t>);
}

TEST(BitFlagsOfAnEnumeration, AreMadeOfAFlagOrOfRawBits) {
  EXPECT_EQ(BitFlags<Colour>(Colour::blue).Raw(), 0x80U);
  EXPECT_EQ(BitFlags<Colour>(std::uint8_t{0x83}).Raw(), 0x83U);
}

TEST(BitFlagsOfAnEnumeration, AreUnitedByOr) {
  EXPECT_EQ((BitFlags<Colour>(Colour::red) | Colour::blue).Raw(), 0x81U);
  EXPECT_EQ((BitFlags<Colour>(Colour::red) | Colour::red).Raw(), 1U);
}

TEST(BitFlagsOfAnEnumeration, IntersectWhereAFlagIsInBoth) {
  const BitFlags<Colour> redAndBlue = BitFlags<Colour>(Colour::red) | Colour::blue;
  EXPECT_TRUE(redAndBlue.Intersects(Colour::blue));
  EXPECT_TRUE(redAndBlue.Intersects(BitFlags<Colour>(Colour::green) | Colour::red));
  EXPECT_FALSE(redAndBlue.Intersects(Colour::green));
  EXPECT_FALSE(redAndBlue.Intersects(BitFlags<Colour>()));
}

TEST(BitFlagsOfAnEnumeration, AreEqualWithTheSameBits) {
  EXPECT_TRUE(BitFlags<Colour>(Colour::red) == BitFlags<Colour>(std::uint8_t{1}));
  EXPECT_FALSE(BitFlags<Colour>(Colour::red) == BitFlags<Colour>(Colour::green));
}

TEST(TheMaskOfBodies, IsBitSixAlone) {
  EXPECT_EQ(BitFlags<COGroups>(COGroups::bodies).Raw(), 0x40U);
}

TEST(AWeakReference, OfDefaultIsNotAliveAndRefersToNothing) {
  EXPECT_FALSE(WeakReference<int>().IsAlive());
  EXPECT_EQ(WeakReference<int>().Get(), nullptr);
}

TEST(AWeakReference, IsAliveAsLongAsTheObjectHasAnOwner) {
  auto owner = std::make_shared<int>(5);
  const WeakReference<int> reference(owner);
  EXPECT_TRUE(reference.IsAlive());
  EXPECT_EQ(reference.Get(), owner.get());
  std::shared_ptr<int> second = owner;
  owner.reset();
  EXPECT_TRUE(reference.IsAlive());
  second.reset();
  EXPECT_FALSE(reference.IsAlive());
}

TEST(AWeakReference, TakesAStateAndAnObjectApart) {
  auto state = std::make_shared<int>();
  double object = 1.5;
  const WeakReference<double> reference(state, &object);
  EXPECT_TRUE(reference.IsAlive());
  EXPECT_EQ(reference.Get(), &object);
  EXPECT_TRUE(WeakReference<double>(state, nullptr).IsAlive());
  EXPECT_EQ(WeakReference<double>(state, nullptr).Get(), nullptr);
  state.reset();
  EXPECT_FALSE(reference.IsAlive());
  EXPECT_FALSE(WeakReference<double>(std::weak_ptr<const void>(), &object).IsAlive());
}

TEST(AWeakReference, OwnsNothing) {
  const auto owner = std::make_shared<int>();
  const WeakReference<int> reference(owner);
  EXPECT_EQ(owner.use_count(), 1);
}

TEST(DefaultAttributes, OfPartsInGroupsAreIncludedNotExcludedNotBound) {
  EXPECT_EQ(GroupPartHandler::c_defaultAttrs, (PartAttributes{true, false, 0}));
}

TEST(DefaultAttributes, OfPartsAreTheOppositeInAllThree) {
  EXPECT_EQ(PartHandler::c_defaultAttrs, (PartAttributes{false, true, 1}));
}

TEST(PartAttributesOfAPart, AreOfDefaultNotIncludedNotExcludedNotBound) {
  EXPECT_EQ(PartAttributes(), (PartAttributes{false, false, 0}));
}

TEST(PartAttributesOfAPart, BeginWithTheIncludeFlagAndHoldAWideEmbodimentFlag) {
  const PartAttributes attributes;
  EXPECT_EQ(static_cast<const void*>(&attributes.includeFlag), static_cast<const void*>(&attributes));
  EXPECT_LT(static_cast<const void*>(&attributes.includeFlag), static_cast<const void*>(&attributes.excludeFlag));
  static_assert(std::is_same_v<decltype(PartAttributes::embodimentBoundFlag), std::uint32_t>);
}

TEST(AProductPart, HasAttributesInItsSecondAlternativeOnly) {
  static_assert(std::is_same_v<std::variant_alternative_t<1, ProductPart>, AttributedPart>);
  EXPECT_EQ(ProductPart().index(), 0U);
}

TEST(AHandler, OfDefaultIsInvalidAndHasNullKeys) {
  EXPECT_FALSE(PartHandler().IsValid());
  EXPECT_EQ(PartHandler().GetObjectKey(), UniqueMetaObjectKey::null);
  EXPECT_FALSE(GroupPartHandler().IsValid());
  EXPECT_EQ(GroupPartHandler().GetObjectKey(), UniqueMetaObjectKey::null);
  EXPECT_EQ(GroupPartHandler().GetGroupKey(), UniqueMetaObjectKey::null);
}

TEST(AnEmbodimentsTree, AsksItsSourceOnceForEveryPath) {
  StrictMock<MockEmbodimentsSource> source;
  const EmbodimentsTree tree(source);
  EXPECT_CALL(source, FindEmbodiment(MbPath{1, 2})).WillOnce(Return(Key("e")));
  EXPECT_EQ(tree.GetEmbodimenKey({1, 2}), Key("e"));
}

TEST(IsManualBillet, AsksTheAggregator) {
  StrictMock<MockAggregator> aggregator;
  EXPECT_CALL(aggregator, IsManualBillet(Key("a"))).WillOnce(Return(true)).WillOnce(Return(false));
  EXPECT_TRUE(meta_data::SP::IsManualBillet(aggregator, Key("a")));
  EXPECT_FALSE(meta_data::SP::IsManualBillet(aggregator, Key("a")));
}

TEST(IsAssociativeBillet, AsksTheProductData) {
  StrictMock<MockMetaProductData> productData;
  EXPECT_CALL(productData, IsAssociativeBillet(Key("a"))).WillOnce(Return(true)).WillOnce(Return(false));
  EXPECT_TRUE(meta_data::SP::IsAssociativeBillet(productData, Key("a")));
  EXPECT_FALSE(meta_data::SP::IsAssociativeBillet(productData, Key("a")));
}
