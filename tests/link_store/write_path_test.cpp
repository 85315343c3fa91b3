#include <memory>
#include <new>
#include <vector>

#include <gtest/gtest.h>

#include <qSys/MemoryStreams.h>

#include "tests/support/AllocationCounter.h"
#include "tests/support/ExceptionModeOff.h"
#include "tests/support/Links.h"

namespace {

const Links c_links{{Key("a"), Solid({4}, "n")}, {Key("b"), Solid({5}, "n")}};

std::vector<std::byte> Written(const Store& store) {
  MemoryWriter out;
  store->WriteMetaObjectsLinks(out);
  return out.TakeBytes();
}

/// What a store that holds this one link alone, with an empty path, writes.
std::vector<std::byte> WrittenAlone(Link link) {
  link.geometry.componentPath.Clear();
  return Written(MakeStore({link}));
}

}  // namespace

TEST(SetWriteComponentPath, KeepsACopyThatTheCallerCannotChange) {
  const Store store = MakeStore(c_links);
  MbPath path{4};
  store->SetWriteComponentPath(&path);
  path[0] = 5;
  EXPECT_EQ(Written(store), WrittenAlone(c_links[0]));
  store->SetWriteComponentPath(nullptr);
}

TEST(SetWriteComponentPath, StaysInForceUntilItIsChanged) {
  const Store store = MakeStore(c_links);
  const MbPath first{4};
  const MbPath second{5};
  store->SetWriteComponentPath(&first);
  EXPECT_EQ(Written(store), WrittenAlone(c_links[0]));
  EXPECT_EQ(Written(store), WrittenAlone(c_links[0]));
  store->SetWriteComponentPath(&second);
  EXPECT_EQ(Written(store), WrittenAlone(c_links[1]));
  store->SetWriteComponentPath(nullptr);
  EXPECT_EQ(Written(store), Written(MakeStore(c_links)));
}

TEST(SetWriteComponentPath, ReleasesThePathThatItReplacesOrClears) {
  const Store store = MakeStore(c_links);
  const MbPath first{4};
  const MbPath second{5};
  AllocationCounter setting;
  store->SetWriteComponentPath(&first);
  EXPECT_EQ(setting.Allocations(), 1U);
  EXPECT_EQ(setting.Releases(), 0U);
  AllocationCounter replacing;
  store->SetWriteComponentPath(&second);
  EXPECT_EQ(replacing.Allocations(), 1U);
  EXPECT_EQ(replacing.Releases(), 1U);
  AllocationCounter clearing;
  store->SetWriteComponentPath(nullptr);
  store->SetWriteComponentPath(nullptr);
  EXPECT_EQ(clearing.Allocations(), 0U);
  EXPECT_EQ(clearing.Releases(), 1U);
}

TEST(SetWriteComponentPath, HoldsNoPathWhereCopyingThrewAfterTheOldOneWasReleased) {
  const MbPath old{4};
  const MbPath longer{5, 5, 5, 5, 5, 5, 5, 5};
  for (const std::size_t nth : {1U, 2U}) {
    SCOPED_TRACE(nth);
    const Store store = MakeStore(c_links);
    const AllocationCounter counter;
    store->SetWriteComponentPath(&old);
    {
      const FailingAllocations failing(nth);
      EXPECT_THROW(store->SetWriteComponentPath(&longer), std::bad_alloc);
    }
    EXPECT_EQ(counter.Allocations() - 1, counter.Releases());
    EXPECT_EQ(Written(store), Written(MakeStore(c_links)));
  }
}

TEST(SetWriteComponentPath, ThatGetsNoMemoryWithExceptionModeOffKeepsTheEmptyPath) {
  const Links links{{Key("d"), Solid({6, 5, 4, 3, 2, 1, 0}, "n")}, {Key("r"), Solid({}, "n")}};
  const Store store = MakeStore(links);
  {
    const ExceptionModeOff off;
    const FailingAllocations failing(2);  // the first one is for the path object
    store->SetWriteComponentPath(&links[0].geometry.componentPath);
  }
  EXPECT_EQ(Written(store), WrittenAlone(links[1]));
  store->SetWriteComponentPath(nullptr);
}

TEST(ClearLinks, KeepsTheWritePath) {
  const Store store = MakeStore();
  const MbPath path{4};
  store->SetWriteComponentPath(&path);
  store->ClearLinks();
  for (const Link& link : c_links) {
    store->AddLink(link.key, link.geometry, LinkSet::Both);
  }
  EXPECT_EQ(Written(store), WrittenAlone(c_links[0]));
  store->SetWriteComponentPath(nullptr);
}

TEST(AStore, DoesNotReleaseItsWritePathWhenItIsReleased) {
  const MbPath path{4, 5, 6};
  Store store = MakeStore();
  store->SetWriteComponentPath(&path);
  // The store's copy, which is nobody's once the store is gone: the test takes it over.
  const auto* kept = static_cast<const MbPath*>(AllocationCounter::LastBlock());
  ReleaseLog log;
  store.reset();
  ASSERT_EQ(log.PositionOf(kept), ReleaseLog::c_notFound);
  EXPECT_EQ(*kept, path);
  delete kept;
}

TEST(AStore, ReleasesItsValidatorThenItsValidatedThenItsUniqueLinks) {
  const void* validatorBlock = nullptr;
  struct LargeValidator {
    const void** self;
    double ballast[8] = {};
    bool operator()(const ProductGeometryObject3D&) const {
      *self = this;
      return true;
    }
  };
  Store store = CreateProductGeometryObjects3D(LargeValidator{&validatorBlock});
  const GeometryObject3D geometry = Solid({1}, "n");
  store->AddLink(Key("a"), geometry, LinkSet::Both);
  const void* uniqueLink = &store->GetMetaObjectKey(geometry, LinkSet::Unique);
  const void* validatedLink = &store->GetMetaObjectKey(geometry, LinkSet::Validated);

  const ReleaseLog log;
  store.reset();
  ASSERT_NE(log.PositionOf(uniqueLink), ReleaseLog::c_notFound);
  EXPECT_LT(log.PositionOf(validatorBlock), log.PositionOf(validatedLink));
  EXPECT_LT(log.PositionOf(validatedLink), log.PositionOf(uniqueLink));
}
