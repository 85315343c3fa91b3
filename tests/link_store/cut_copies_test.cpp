#include <cstddef>
#include <new>

#include <gtest/gtest.h>

#include "tests/support/AllocationCounter.h"
#include "tests/support/ExceptionModeOff.h"
#include "tests/support/Links.h"

// With exception mode off a copy of a path that gets no memory comes out empty. An operation that has to look a copy up
// ends with std::bad_alloc instead, before anything has changed.

namespace {

const MbPath c_deepPath = {9, 8, 7, 6, 5, 4, 3, 2, 1};
const GeometryObject3D c_deep = Solid(ComponentPath(c_deepPath), "n");
const GeometryObject3D c_other = Solid({1}, "other");
const Links c_links = {{Key("d"), c_deep}, {Key("o"), c_other}};

/// The stored geometry object of the first link.
const GeometryObject3D& FirstStored(const Store& store, LinkSet set) {
  const GeometryObject3D* first = nullptr;
  store->ForEachLink(
      [&first](const ProductGeometryObject3D& record) { first = first == nullptr ? &record.geometry : first; }, set);
  return *first;
}

}  // namespace

TEST(ReplaceGeometryObject, ThatCannotKeepTheStoresOwnObjectThrowsAndChangesNothing) {
  for (const LinkSet source : {LinkSet::Unique, LinkSet::Validated}) {
    const Store store = MakeStore(c_links, source);
    const GeometryObject3D& stored = FirstStored(store, source);
    {
      const ExceptionModeOff off;
      const FailingAllocations failing(1);
      EXPECT_THROW(store->ReplaceGeometryObject(stored, c_other), std::bad_alloc);
    }
    EXPECT_EQ(Contents(*store, source), c_links);
  }
}

TEST(ReplaceComponentPath, ThatCannotCopyTheOldPathThrowsAndChangesNothing) {
  const Store store = MakeStore(c_links);
  {
    const ExceptionModeOff off;
    const FailingAllocations failing(1);
    EXPECT_THROW(store->ReplaceComponentPath(c_deepPath, {1}), std::bad_alloc);
  }
  EXPECT_EQ(UniqueContents(store), c_links);
  EXPECT_EQ(ValidatedContents(store), c_links);
}

TEST(ReplaceComponentPath, ThatCannotCopyTheNewPathThrowsAndChangesNothing) {
  const Store store = MakeStore(c_links);
  {
    const ExceptionModeOff off;
    const FailingAllocations failing(1);
    EXPECT_THROW(store->ReplaceComponentPath({1}, c_deepPath), std::bad_alloc);
  }
  EXPECT_EQ(UniqueContents(store), c_links);
  EXPECT_EQ(ValidatedContents(store), c_links);
}

TEST(ReplaceComponentPath, WithoutMemoryMovesALinkWholeOrNotAtAll) {
  const Links links = {{Key("d"), c_deep}};
  const Links moved = {{Key("d"), Solid({9, 8, 7, 6, 5, 4, 3, 2, 11}, "n")}};
  bool hasFailed = true;
  for (std::size_t first = 1; hasFailed; ++first) {
    const Store store = MakeStore(links, LinkSet::Unique);
    {
      const ExceptionModeOff off;
      const FailingAllocations failing(first);
      try {
        store->ReplaceComponentPath({1}, {11});
      } catch (const std::bad_alloc&) {
      }
      hasFailed = failing.HasFailed();
    }
    EXPECT_EQ(UniqueContents(store), hasFailed ? links : moved) << "allocations fail from number " << first;
  }
}

TEST(ReplaceComponentPath, WithoutMemoryMovesNoLinkOfAnotherBranch) {
  const Links moved = {{Key("d"), Solid({9, 8, 7, 6, 5, 4, 3, 2, 11}, "n")}, {Key("o"), c_other}};
  bool hasFailed = true;
  for (std::size_t first = 1; hasFailed; ++first) {
    const Store store = MakeStore(c_links, LinkSet::Unique);
    {
      const ExceptionModeOff off;
      const FailingAllocations failing(first);
      try {
        store->ReplaceComponentPath(c_deepPath, {11});
      } catch (const std::bad_alloc&) {
      }
      hasFailed = failing.HasFailed();
    }
    EXPECT_EQ(UniqueContents(store), hasFailed ? c_links : moved) << "allocations fail from number " << first;
  }
}
