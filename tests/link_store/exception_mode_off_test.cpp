#include <cstddef>
#include <new>

#include <gtest/gtest.h>

#include "tests/support/AllocationCounter.h"
#include "tests/support/ExceptionModeOff.h"
#include "tests/support/Links.h"
#include "tests/support/StoreInside.h"

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

TEST(ReplaceGeometryObject, ThatGetsNoMemoryForThePathOfTheNewObjectEndsAndDropsTheLink) {
  // Without its path the new object is the old one: replacing would go on for ever.
  const Store store = MakeStore({{Key("r"), c_ofRoot}, {Key("s"), c_other}});
  {
    const ExceptionModeOff off;
    const FailingAllocations failing(1);
    EXPECT_THROW(store->ReplaceGeometryObject(c_ofRoot, c_deep), std::bad_alloc);
  }
  EXPECT_EQ(UniqueContents(store), (Links{{Key("s"), c_other}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("r"), c_ofRoot}, {Key("s"), c_other}}));
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

TEST(AddLink, ThatGetsNoMemoryForThePathInTheUniqueSetPutsTheLinkWhereItsEmptyPathBelongs) {
  const Store store = MakeStore({{Key("x"), c_other}});
  {
    const ExceptionModeOff off;
    const FailingAllocations failing(2, FailingAllocations::Refusal::once);
    store->AddLink(Key("k"), c_deep, LinkSet::Both);
  }
  EXPECT_EQ(StoreFault(*store), "");
  EXPECT_EQ(store->GetMetaObjectKey(c_ofRoot, LinkSet::Unique), Key("k"));
  EXPECT_EQ(store->GetMetaObjectKey(c_deep, LinkSet::Validated), Key("k"));
}

TEST(SetLinkValidater, CopiesNothingThatItRemovesSoThatNoPathIsLost) {
  const Links links{{Key("k"), c_deep}, {Key("k"), c_ofRoot}};
  const Store store = MakeStore(links, LinkSet::Validated);
  const auto rejectsDeep = [](const ProductGeometryObject3D& link) { return link.geometry.componentPath.IsEmpty(); };
  {
    const ExceptionModeOff off;
    const FailingAllocations failing(2);  // the first one is for the list of what is rejected
    store->SetLinkValidater(rejectsDeep);
  }
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("k"), c_ofRoot}}));
}

TEST(ReplaceComponentPath, ThatGetsNoMemoryForACopyOfAPathEndsAndChangesNothing) {
  const MbPath from{8, 7, 6, 5, 4, 3, 2, 1};
  const MbPath to{18, 17, 16, 15, 14, 13, 12, 11};
  const Links links{{Key("d"), c_deep}, {Key("r"), c_ofRoot}, {Key("s"), c_other}};
  // Both paths, the path of a link, and the list of what lies in the branch.
  for (std::size_t nth = 1; nth <= 4; ++nth) {
    SCOPED_TRACE(nth);
    const Store store = MakeStore(links);
    {
      const ExceptionModeOff off;
      const FailingAllocations failing(nth, FailingAllocations::Refusal::once);
      EXPECT_THROW(store->ReplaceComponentPath(from, to), std::bad_alloc);
    }
    EXPECT_EQ(UniqueContents(store), links);
    EXPECT_EQ(ValidatedContents(store), links);
  }
}

TEST(ReplaceComponentPath, ThatGetsNoMemoryForTheSecondPathThatAMovedLinkTakesEndsAndKeepsTheMovesBefore) {
  // The link to {1} becomes one to {2} and stays before the other, in whose turn it takes that one's second path.
  const MbPath longPath{8, 7, 6, 5, 4, 3, 2, 1};
  const Links links{{Key("a"), Solid({1}, "n", {10})}, {Key("b"), Solid({2}, "n", longPath)}};
  const Store store = MakeStore(links, LinkSet::Validated);
  {
    const ExceptionModeOff off;
    const FailingAllocations failing(3, FailingAllocations::Refusal::once);  // the first two are for the list
    EXPECT_THROW(store->ReplaceComponentPath({}, {2}), std::bad_alloc);
  }
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), Solid({2}, "n", {10})}, links[1]}));
}
