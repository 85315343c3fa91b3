#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include <unistd.h>

#include "tests/support/Links.h"

// No clock and no count: without optimisation, work that grows with the square of the number of links takes
// minutes at these sizes, while work that grows as it should takes a second or two. The system ends the
// program, and with it the test, after a minute.

namespace {

constexpr std::uint32_t c_many = 100000;
constexpr unsigned int c_limitInSeconds = 60;

class Cost : public testing::Test {
 protected:
  void SetUp() override { alarm(c_limitInSeconds); }
  void TearDown() override { alarm(0); }
};

UniqueMetaObjectKey NumberedKey(std::uint32_t number) {
  return Key(std::to_string(number));
}

GeometryObject3D NumberedSolid(std::uint32_t number) {
  return Solid({number, 1}, "n");
}

const UniqueMetaObjectKey c_theKey = Key("the key");
const GeometryObject3D c_theSolid = Solid({1}, "the solid");

Store ManyKeysOnOneGeometryObject() {
  Store store = MakeStore();
  for (std::uint32_t i = 0; i < c_many; ++i) {
    store->AddLink(NumberedKey(i), c_theSolid, LinkSet::Validated);
  }
  return store;
}

Store ManyGeometryObjectsOnOneKey() {
  Store store = MakeStore();
  for (std::uint32_t i = 0; i < c_many; ++i) {
    store->AddLink(c_theKey, NumberedSolid(i), LinkSet::Validated);
  }
  return store;
}

std::size_t Size(const Store& store, LinkSet set) {
  std::size_t size = 0;
  store->ForEachLink([&size](const ProductGeometryObject3D&) { ++size; }, set);
  return size;
}

}  // namespace

TEST_F(Cost, OfRemovingTheLinksOfOneGeometryObjectOneByOneIsNotQuadratic) {
  const Store store = ManyKeysOnOneGeometryObject();
  // The last to enter first: whoever walks the geometry object's links would pass all the others each time.
  for (std::uint32_t i = c_many; i-- > 0;) {
    store->RemoveLink(c_theSolid, NumberedKey(i), LinkSet::Validated);
  }
  EXPECT_EQ(Size(store, LinkSet::Validated), 0U);
}

TEST_F(Cost, OfRemovingTheLinksOfOneKeyOneByOneIsNotQuadratic) {
  const Store store = ManyGeometryObjectsOnOneKey();
  for (std::uint32_t i = c_many; i-- > 0;) {
    store->RemoveLink(NumberedSolid(i), c_theKey, LinkSet::Validated);
  }
  EXPECT_EQ(Size(store, LinkSet::Validated), 0U);
}

TEST_F(Cost, OfAPurgeThatRejectsEveryKeyOfOneGeometryObjectIsNotQuadratic) {
  const Store store = ManyKeysOnOneGeometryObject();
  store->SetLinkValidater(RejectsAll);
  EXPECT_EQ(Size(store, LinkSet::Validated), 0U);
}

TEST_F(Cost, OfAPurgeThatRejectsEveryGeometryObjectOfOneKeyIsNotQuadratic) {
  const Store store = ManyGeometryObjectsOnOneKey();
  store->SetLinkValidater(RejectsAll);
  EXPECT_EQ(Size(store, LinkSet::Validated), 0U);
}

TEST_F(Cost, OfAPurgeThatRejectsEverySecondLinkIsNotQuadratic) {
  const Store store = ManyKeysOnOneGeometryObject();
  std::size_t asked = 0;
  store->SetLinkValidater([&asked](const ProductGeometryObject3D&) { return ++asked % 2 == 0; });
  EXPECT_EQ(Size(store, LinkSet::Validated), c_many / 2);
}

TEST_F(Cost, OfRemovingAllLinksOfAGeometryObjectOrAKeyIsNotQuadratic) {
  const Store manyKeys = ManyKeysOnOneGeometryObject();
  manyKeys->RemoveGeometryObjectLinks(c_theSolid, LinkSet::Both);
  EXPECT_EQ(Size(manyKeys, LinkSet::Validated), 0U);
  const Store manySolids = ManyGeometryObjectsOnOneKey();
  manySolids->RemoveMetaObjectLinks(c_theKey, LinkSet::Both);
  EXPECT_EQ(Size(manySolids, LinkSet::Validated), 0U);
}

TEST_F(Cost, OfAskingForEachOfTheManyLinksOfAKeyIsNotQuadratic) {
  const Store store = ManyGeometryObjectsOnOneKey();
  std::uint32_t found = 0;
  for (std::uint32_t i = 0; i < c_many; ++i) {
    found += store->HasLink(c_theKey, NumberedSolid(i), LinkSet::Validated) ? 1U : 0U;
  }
  EXPECT_EQ(found, c_many);
}

TEST_F(Cost, OfAskingForEachOfTheManyLinksOfAGeometryObjectIsNotQuadratic) {
  const Store store = ManyKeysOnOneGeometryObject();
  std::uint32_t found = 0;
  for (std::uint32_t i = 0; i < c_many; ++i) {
    found += store->HasLink(NumberedKey(i), c_theSolid, LinkSet::Validated) ? 1U : 0U;
    found += store->GetMetaObjectKey(c_theSolid, LinkSet::Validated) == NumberedKey(0) ? 1U : 0U;
  }
  EXPECT_EQ(found, 2 * c_many);
}

TEST_F(Cost, OfReplacingAGeometryObjectThatManyKeysShareIsNotQuadratic) {
  const Store store = ManyKeysOnOneGeometryObject();
  store->ReplaceGeometryObject(c_theSolid, NumberedSolid(7));
  EXPECT_EQ(store->GetMetaObjectKeys(NumberedSolid(7)).size(), c_many);
}

TEST_F(Cost, OfReplacingAKeyThatManyGeometryObjectsShareIsNotQuadratic) {
  const Store store = ManyGeometryObjectsOnOneKey();
  store->ReplaceMetaObjectKey(c_theKey, Key("another"), LinkSet::Both);
  EXPECT_EQ(store->GetGeometryObjects(Key("another"), LinkSet::Validated).size(), c_many);
}

TEST_F(Cost, OfMovingABranchWithManyLinksIsNotQuadratic) {
  const Store manySolids = ManyGeometryObjectsOnOneKey();
  manySolids->ReplaceComponentPath({1}, {2});
  EXPECT_TRUE(manySolids->HasLink(c_theKey, Solid({0, 2}, "n"), LinkSet::Validated));
  const Store manyKeys = ManyKeysOnOneGeometryObject();
  manyKeys->ReplaceComponentPath({1}, {2});
  EXPECT_EQ(manyKeys->GetMetaObjectKeys(Solid({2}, "the solid")).size(), c_many);
}

TEST_F(Cost, OfRenewingManyKeysIsNotQuadratic) {
  const Store store = MakeStore();
  for (std::uint32_t i = 0; i < c_many; ++i) {
    store->AddLink(NumberedKey(i), NumberedSolid(i), LinkSet::Both);
  }
  EXPECT_EQ(store->RegenerateMetaObjectKeys().size(), c_many);
  EXPECT_EQ(Size(store, LinkSet::Unique), c_many);
  EXPECT_EQ(Size(store, LinkSet::Validated), c_many);
}
