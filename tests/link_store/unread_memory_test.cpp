#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include <gtest/gtest.h>

#include "tests/support/Links.h"

// Every block of this program comes filled with one byte, so that whoever reads what nobody wrote takes it for a path
// or a key whose content is at a wild address, and the program ends.

namespace {

constexpr unsigned char c_fill = 0xFF;
/// As an object type of unwritten memory reads.
constexpr std::uint32_t c_filledType = 0xFFFFFFFF;

const GeometryObject3D c_unlinked(c_filledType, ComponentPath({1}), MbPath(), MbName("n"));

}  // namespace

void* operator new(std::size_t size) {
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return std::memset(block, c_fill, size);
}

void operator delete(void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

TEST(ASearch, ForAKeyThatIsNotLinkedReadsNoRecord) {
  for (const Links& links : {Links(), Links{{Key("a"), Solid({1}, "n")}}}) {
    const Store store = MakeStore(links);
    for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
      EXPECT_FALSE(store->HasLink(Key("k"), c_unlinked, set));
      EXPECT_TRUE(store->GetGeometryObjects(Key("k"), set).empty());
    }
    EXPECT_EQ(store->GetGeometryObject(Key("k")), GeometryObject3D());
    store->RemoveLink(c_unlinked, Key("k"), LinkSet::Both);
    EXPECT_EQ(UniqueContents(store), links);
    EXPECT_EQ(ValidatedContents(store), links);
  }
}

TEST(ASearch, ForAGeometryObjectThatIsNotLinkedReadsNoRecord) {
  for (const Links& links : {Links(), Links{{Key("a"), Solid({1}, "n")}}}) {
    const Store store = MakeStore(links);
    for (const LinkSet set : {LinkSet::Unique, LinkSet::Validated}) {
      EXPECT_EQ(store->GetMetaObjectKey(c_unlinked, set), UniqueMetaObjectKey::null);
    }
    EXPECT_TRUE(store->GetMetaObjectKeys(c_unlinked).empty());
    store->RemoveGeometryObjectLinks(c_unlinked, LinkSet::Both);
    EXPECT_EQ(UniqueContents(store), links);
    EXPECT_EQ(ValidatedContents(store), links);
  }
}

TEST(AReplacement, OfTheLastKeyReadsNoRecordBehind) {
  const Store store = MakeStore({{Key("a"), Solid({1}, "n")}, {Key("k"), Solid({2}, "n")}});
  store->ReplaceMetaObjectKey(Key("k"), Key("b"), LinkSet::Both);
  const Links replaced{{Key("a"), Solid({1}, "n")}, {Key("b"), Solid({2}, "n")}};
  EXPECT_EQ(UniqueContents(store), replaced);
  EXPECT_EQ(ValidatedContents(store), replaced);
}

TEST(AReplacement, OfTheLastGeometryObjectReadsNoRecordBehind) {
  const Store store = MakeStore({{Key("a"), Solid({1}, "n")}, {Key("k"), c_unlinked}});
  store->ReplaceGeometryObject(c_unlinked, Solid({2}, "n"));
  const Links replaced{{Key("a"), Solid({1}, "n")}, {Key("k"), Solid({2}, "n")}};
  EXPECT_EQ(UniqueContents(store), replaced);
  EXPECT_EQ(ValidatedContents(store), replaced);
}
