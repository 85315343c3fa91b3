#include <gtest/gtest.h>

#include "tests/support/AllocationCounter.h"
#include "tests/support/ExceptionModeOff.h"
#include "tests/support/Links.h"

// With exception mode off, a path that gets no memory is empty, which names an object of the document's own component.
// An operation must not take such a path of its own for the one that it was called with.

namespace {

const GeometryObject3D c_deep = Solid({9, 8, 7, 6, 5, 4, 3, 2, 1}, "n");
const GeometryObject3D c_ofRoot = Solid({}, "n");
const GeometryObject3D c_other = Solid({1}, "other");

}  // namespace

TEST(ReplaceGeometryObject, ThatGetsNoMemoryForACopyOfTheOldObjectStillReplacesThatObjectAndNoOther) {
  const Store store = MakeStore({{Key("d"), c_deep}, {Key("r"), c_ofRoot}});
  {
    const ExceptionModeOff off;
    const FailingAllocations failing(1);
    store->ReplaceGeometryObject(c_deep, c_other);
  }
  EXPECT_EQ(UniqueContents(store), (Links{{Key("d"), c_other}, {Key("r"), c_ofRoot}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("d"), c_other}, {Key("r"), c_ofRoot}}));
}

TEST(AddLink, ThatGetsNoMemoryForACopyOfThePathStillRemovesTheLinkOfThatObjectAndOfNoOther) {
  const Store store = MakeStore({{Key("d"), c_deep}, {Key("r"), c_ofRoot}});
  {
    const ExceptionModeOff off;
    const FailingAllocations failing(1);
    // The record that is to be added names the root's object, which is linked already, so nothing is added.
    store->AddLink(Key("k"), c_deep, LinkSet::Unique);
  }
  EXPECT_EQ(UniqueContents(store), (Links{{Key("r"), c_ofRoot}}));
}
