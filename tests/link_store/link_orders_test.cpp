#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "link_store/LinkOrders.h"
#include "tests/support/Links.h"

namespace {

ProductGeometryObject3D Record(const UniqueMetaObjectKey& key, const GeometryObject3D& geometry = {}) {
  return {key, geometry};
}

template <class Order>
bool AreOrdered(const Order& isLess, const ProductGeometryObject3D& first, const ProductGeometryObject3D& second) {
  return isLess(first, second) && !isLess(second, first);
}

template <class Order>
bool AreEquivalentIn(const Order& isLess, const ProductGeometryObject3D& left, const ProductGeometryObject3D& right) {
  return !isLess(left, right) && !isLess(right, left);
}

std::vector<ProductGeometryObject3D> RecordsOfManyKinds() {
  std::vector<ProductGeometryObject3D> records;
  for (const UniqueMetaObjectKey& key : {Key(""), Key("a"), Key({"a\0", 2}), Key("ab"), Key("\x7F"), Key("\x80")}) {
    for (const GeometryObject3D& geometry :
         {GeometryObject3D(), Solid({1}, "n"), EquivalentTo(Solid({1}, "n")), Solid({1, 2}, "n"), Solid({1}, "m"),
          PartComponent({1}), EquivalentTo(PartComponent({1}))}) {
      records.push_back({key, geometry});
    }
  }
  return records;
}

template <class Order>
void ExpectStrictWeakOrder(const Order& isLess) {
  const std::vector<ProductGeometryObject3D> records = RecordsOfManyKinds();
  for (const auto& a : records) {
    ASSERT_FALSE(isLess(a, a));
    for (const auto& b : records) {
      ASSERT_FALSE(isLess(a, b) && isLess(b, a));
      for (const auto& c : records) {
        ASSERT_TRUE(!(isLess(a, b) && isLess(b, c)) || isLess(a, c));
        ASSERT_TRUE(!(AreEquivalentIn(isLess, a, b) && AreEquivalentIn(isLess, b, c)) || AreEquivalentIn(isLess, a, c));
      }
    }
  }
}

template <class T>
concept HasEquality = requires(const T& value) {
  value == value;
};
template <class T>
concept HasLess = requires(const T& value) {
  value < value;
};

// A link is a plain value, and none of its three orders is "the" order.
static_assert(std::is_aggregate_v<ProductGeometryObject3D>);
static_assert(std::is_copy_constructible_v<ProductGeometryObject3D> &&
              std::is_copy_assignable_v<ProductGeometryObject3D>);
static_assert(!HasEquality<ProductGeometryObject3D> && !HasLess<ProductGeometryObject3D>);
static_assert(std::is_same_v<decltype(ProductGeometryObject3D::metaKey), UniqueMetaObjectKey>);
static_assert(std::is_same_v<decltype(ProductGeometryObject3D::geometry), GeometryObject3D>);

}  // namespace

TEST(LinkRecord, OfDefaultHoldsTheEmptyKeyAndADefaultGeometryObject) {
  const ProductGeometryObject3D record;
  EXPECT_TRUE(record.metaKey.IsEmpty());
  EXPECT_EQ(record.geometry, GeometryObject3D());
}

TEST(LinkRecord, HoldsTheKeyFirstAndTheGeometryObjectSecond) {
  const ProductGeometryObject3D record{Key("a"), Solid({1}, "n")};
  EXPECT_LT(static_cast<const void*>(&record.metaKey), static_cast<const void*>(&record.geometry));
}

TEST(LinkRecord, IsCopiedMemberByMemberAndOwnsItsMembers) {
  ProductGeometryObject3D original{LongKey("a"), EquivalentTo(Solid({1, 2, 3, 4, 5, 6, 7, 8}, "n"))};
  const ProductGeometryObject3D copy = original;
  ProductGeometryObject3D assigned;
  assigned = original;
  original.metaKey = Key("b");
  original.geometry.componentPath[0] = 9;
  original.geometry.secondPath.Clear();
  for (const ProductGeometryObject3D& record : {copy, assigned}) {
    EXPECT_EQ(record.metaKey, LongKey("a"));
    EXPECT_EQ(record.geometry, EquivalentTo(Solid({1, 2, 3, 4, 5, 6, 7, 8}, "n")));
  }
}

TEST(KeyOrder, PutsAKeyBeforeEveryLongerKeyThatBeginsWithIt) {
  EXPECT_TRUE(AreOrdered(KeyOrder(), Record(Key("ab")), Record(Key("abc"))));
  EXPECT_TRUE(AreOrdered(KeyOrder(), Record(Key("ab")), Record(Key({"ab\0", 3}))));
}

TEST(KeyOrder, LooksAtTheBytesBeforeTheLengths) {
  EXPECT_TRUE(AreOrdered(KeyOrder(), Record(Key("aaaa")), Record(Key("b"))));
}

TEST(KeyOrder, ComparesBytesAsUnsigned) {
  EXPECT_TRUE(AreOrdered(KeyOrder(), Record(Key("\x7F")), Record(Key("\x80"))));
  EXPECT_TRUE(AreOrdered(KeyOrder(), Record(Key("a")), Record(Key("\xFF"))));
  EXPECT_TRUE(AreOrdered(KeyOrder(), Record(Key("k\x01z")), Record(Key("k\xF0"))));
}

TEST(KeyOrder, DoesNotStopAtAZeroByte) {
  EXPECT_TRUE(AreOrdered(KeyOrder(), Record(Key({"a\0b", 3})), Record(Key({"a\0c", 3}))));
  EXPECT_TRUE(AreOrdered(KeyOrder(), Record(Key({"a\0z", 3})), Record(Key("a\x01"))));
}

TEST(KeyOrder, PutsTheEmptyKeyFirst) {
  EXPECT_TRUE(AreOrdered(KeyOrder(), Record(Key("")), Record(Key({"\0", 1}))));
  EXPECT_TRUE(AreOrdered(KeyOrder(), ProductGeometryObject3D(), Record(Key("a"))));
}

TEST(KeyOrder, TakesKeysOfTheSameLengthAndBytesAsEquivalentWhateverTheirGeometryObjects) {
  EXPECT_TRUE(AreEquivalentIn(KeyOrder(), Record(Key("a"), Solid({1}, "n")), Record(Key("a"), Solid({2}, "m"))));
}

TEST(KeyOrder, ComparesRecordsWithBareKeys) {
  EXPECT_TRUE(KeyOrder()(Record(Key("a")), Key("b")));
  EXPECT_FALSE(KeyOrder()(Record(Key("b")), Key("b")));
  EXPECT_TRUE(KeyOrder()(Key("a"), Record(Key("b"))));
  EXPECT_FALSE(KeyOrder()(Key("b"), Record(Key("b"))));
}

TEST(GeometryOrder, IsTheOrderOfGeometryObjectsWhateverTheKeys) {
  EXPECT_TRUE(AreOrdered(GeometryOrder(), Record(Key("b"), Solid({1}, "n")), Record(Key("a"), Solid({2}, "n"))));
  EXPECT_TRUE(AreEquivalentIn(GeometryOrder(), Record(Key("b"), Solid({1}, "n")), Record(Key("a"), Solid({1}, "n"))));
}

TEST(GeometryOrder, TakesObjectsThatAreNotEqualAsEquivalentWhenNeitherIsLess) {
  const GeometryObject3D geometry = Solid({1}, "n");
  ASSERT_NE(geometry, EquivalentTo(geometry));
  EXPECT_TRUE(AreEquivalentIn(GeometryOrder(), Record(Key("a"), geometry), Record(Key("a"), EquivalentTo(geometry))));
}

TEST(GeometryOrder, ComparesRecordsWithBareGeometryObjects) {
  const ProductGeometryObject3D record = Record(Key("a"), Solid({2}, "n"));
  EXPECT_TRUE(GeometryOrder()(record, Solid({3}, "n")));
  EXPECT_FALSE(GeometryOrder()(record, Solid({2}, "n")));
  EXPECT_TRUE(GeometryOrder()(Solid({1}, "n"), record));
  EXPECT_FALSE(GeometryOrder()(Solid({2}, "n"), record));
}

TEST(LinkOrder, ComparesKeysFirst) {
  EXPECT_TRUE(AreOrdered(LinkOrder(), Record(Key("a"), Solid({9}, "z")), Record(Key("b"), Solid({1}, "a"))));
  EXPECT_TRUE(AreOrdered(LinkOrder(), Record(Key("\x7F"), Solid({9}, "z")), Record(Key("\x80"), Solid({1}, "a"))));
}

TEST(LinkOrder, ComparesGeometryObjectsWhereTheKeysAreEqual) {
  EXPECT_TRUE(AreOrdered(LinkOrder(), Record(Key("a"), Solid({1}, "n")), Record(Key("a"), Solid({2}, "n"))));
}

TEST(LinkOrder, TakesEqualKeysWithEquivalentGeometryObjectsAsTheSameLinkEvenWhereTheseAreNotEqual) {
  const GeometryObject3D geometry = Solid({1}, "n");
  EXPECT_TRUE(AreEquivalentIn(LinkOrder(), Record(Key("a"), geometry), Record(Key("a"), EquivalentTo(geometry))));
}

TEST(LinkOrder, PutsADefaultRecordBeforeEveryRecordWithAKey) {
  EXPECT_TRUE(AreOrdered(LinkOrder(), ProductGeometryObject3D(), Record(Key({"\0", 1}))));
  EXPECT_TRUE(AreOrdered(LinkOrder(), ProductGeometryObject3D(), Record(Key("a"), Solid({1}, "n"))));
}

TEST(LinkOrder, ComparesRecordsWithReferencesToAPair) {
  const UniqueMetaObjectKey key = Key("a");
  const GeometryObject3D geometry = Solid({2}, "n");
  const LinkReference pair{key, geometry};
  EXPECT_TRUE(LinkOrder()(Record(key, Solid({1}, "n")), pair));
  EXPECT_FALSE(LinkOrder()(Record(key, geometry), pair));
  EXPECT_TRUE(LinkOrder()(pair, Record(key, Solid({3}, "n"))));
  EXPECT_FALSE(LinkOrder()(pair, Record(key, geometry)));
}

TEST(LinkOrders, AreStrictWeakOrders) {
  ExpectStrictWeakOrder(KeyOrder());
  ExpectStrictWeakOrder(GeometryOrder());
  ExpectStrictWeakOrder(LinkOrder());
}
