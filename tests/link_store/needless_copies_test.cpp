#include <memory>

#include <gtest/gtest.h>

#include "tests/support/AllocationCounter.h"
#include "tests/support/Links.h"

// A copy that an operation does not need could fail for lack of memory, so that the operation failed without need.

namespace {

const ComponentPath c_deepPath = {9, 8, 7, 6, 5, 4, 3, 2, 1};
const GeometryObject3D c_other = Solid({1}, "other");

/// How many allocations it takes to replace an object with a deep path, linked in both sets, by one with a short path.
std::size_t AllocationsOfReplacing(const GeometryObject3D& from) {
  const Store store = MakeStore({{Key("d"), Solid(c_deepPath, "n")}});
  return AllocationsOf([&] { store->ReplaceGeometryObject(from, c_other); });
}

const GeometryObject3D c_static = Solid(c_deepPath, "n");

}  // namespace

TEST(AddLinks, WithAnEmptyListAllocatesNothing) {
  const Store store = MakeStore();
  const UniqueMetaObjectKey key = LongKey("k");
  EXPECT_EQ(AllocationsOf([&] { store->AddLinks(key, {}, LinkSet::Both); }), 0U);
}

TEST(ReplaceGeometryObject, CopiesNoObjectThatIsNotTheStoresOwnWhereverItLies) {
  const GeometryObject3D local = Solid(c_deepPath, "n");
  const auto inTheHeap = std::make_unique<GeometryObject3D>(local);
  EXPECT_EQ(AllocationsOfReplacing(c_static), 0U);
  EXPECT_EQ(AllocationsOfReplacing(local), 0U);
  EXPECT_EQ(AllocationsOfReplacing(*inTheHeap), 0U);
}
