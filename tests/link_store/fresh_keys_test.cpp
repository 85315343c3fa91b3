#include <set>

#include <gtest/gtest.h>

#include "tests/support/Links.h"

TEST(RegenerateMetaObjectKeys, TakesItsKeysFromThePlatform) {
  const Store store = MakeStore();
  for (std::uint32_t i = 0; i < 50; ++i) {
    store->AddLink(Key(std::to_string(i)), Solid({i}, "n"), LinkSet::Both);
  }
  const auto newKeys = store->RegenerateMetaObjectKeys();
  ASSERT_EQ(newKeys.size(), 50U);
  std::set<UniqueMetaObjectKey> fresh;
  for (std::uint32_t i = 0; i < 50; ++i) {
    const UniqueMetaObjectKey& newKey = newKeys.at(Key(std::to_string(i)));
    EXPECT_EQ(newKey.Bytes().size(), UniqueMetaObjectKey::c_generatedLength);
    EXPECT_EQ(store->GetGeometryObject(newKey), Solid({i}, "n"));
    EXPECT_TRUE(store->HasLink(newKey, Solid({i}, "n"), LinkSet::Validated));
    fresh.insert(newKey);
  }
  EXPECT_EQ(fresh.size(), 50U);
}
