#include <functional>
#include <memory>
#include <stdexcept>

#include <gtest/gtest.h>

#include "tests/support/Links.h"

namespace {

const GeometryObject3D c_solid1 = Solid({1}, "n");
const GeometryObject3D c_solid2 = Solid({2}, "n");
const GeometryObject3D c_solid3 = Solid({3}, "n");

/// Accepts as many links as it has left, counted in itself: every copy counts on its own.
struct AcceptsSome {
  int left;

  bool operator()(const ProductGeometryObject3D&) { return left-- > 0; }
};

/// The fault of a validator.
struct ValidatorFault : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// In key order: a: c_solid1; k: c_solid3, c_solid1, c_solid2; z: c_solid2.
Store StoreOfFive() {
  return MakeStore(
      {{Key("k"), c_solid3}, {Key("z"), c_solid2}, {Key("k"), c_solid1}, {Key("a"), c_solid1}, {Key("k"), c_solid2}},
      LinkSet::Validated);
}

const Links c_five{
    {Key("a"), c_solid1}, {Key("k"), c_solid3}, {Key("k"), c_solid1}, {Key("k"), c_solid2}, {Key("z"), c_solid2}};

}  // namespace

TEST(SetLinkValidater, AsksForEveryValidatedLinkOnceInKeyOrderEqualKeysInOrderOfEntry) {
  const Store store = StoreOfFive();
  Links asked;
  store->SetLinkValidater([&asked](const ProductGeometryObject3D& record) {
    asked.push_back({record.metaKey, record.geometry});
    return false;
  });
  EXPECT_EQ(asked, c_five);
}

TEST(SetLinkValidater, RemovesTheRejectedLinksAndNoOthers) {
  const Store store = StoreOfFive();
  store->SetLinkValidater(
      [](const ProductGeometryObject3D& record) { return record.metaKey != Key("k") || record.geometry == c_solid1; });
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), c_solid1}, {Key("k"), c_solid1}, {Key("z"), c_solid2}}));
  EXPECT_EQ(store->GetMetaObjectKeys(c_solid1), (Keys{Key("k"), Key("a")}));
  EXPECT_EQ(store->GetMetaObjectKeys(c_solid2), (Keys{Key("z")}));
  EXPECT_EQ(store->GetMetaObjectKeys(c_solid3), Keys());
}

TEST(SetLinkValidater, ThatRejectsAllEmptiesTheValidatedSetAndLeavesTheUniqueSet) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("b"), c_solid2}}, LinkSet::Both);
  store->SetLinkValidater(RejectsAll);
  EXPECT_EQ(ValidatedContents(store), Links());
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), c_solid1}, {Key("b"), c_solid2}}));
}

TEST(SetLinkValidater, DoesNotBringBackWhatAnEarlierValidatorRejected) {
  const Store store = StoreOfFive();
  store->SetLinkValidater(RejectsAll);
  store->SetLinkValidater(AcceptsAll);
  EXPECT_EQ(ValidatedContents(store), Links());
}

TEST(SetLinkValidater, AsksNothingAboutUniqueLinks) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("b"), c_solid2}}, LinkSet::Unique);
  std::size_t calls = 0;
  store->SetLinkValidater([&calls](const ProductGeometryObject3D&) {
    ++calls;
    return false;
  });
  EXPECT_EQ(calls, 0U);
  EXPECT_EQ(UniqueContents(store).size(), 2U);
}

TEST(SetLinkValidater, StoresTheValidatorForTheLinksThatAreAddedLater) {
  const Store store = MakeStore();
  store->SetLinkValidater(RejectsAll);
  store->AddLink(Key("a"), c_solid1, LinkSet::Validated);
  EXPECT_EQ(ValidatedContents(store), Links());
  store->SetLinkValidater(AcceptsAll);
  store->AddLink(Key("a"), c_solid1, LinkSet::Validated);
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), c_solid1}}));
}

TEST(SetLinkValidater, PurgesWithACopyWhoseStateStartsFromWhatWasHandedIn) {
  const Store store = StoreOfFive();
  store->SetLinkValidater(AcceptsSome{3});
  EXPECT_EQ(ValidatedContents(store), (Links{c_five.begin(), c_five.begin() + 3}));
}

TEST(SetLinkValidater, LeavesTheStateOfTheStoredValidatorUntouchedByThePurge) {
  const Store store = StoreOfFive();
  store->SetLinkValidater(AcceptsSome{7});
  ASSERT_EQ(ValidatedContents(store), c_five);
  // Asked for five links, the purge's copy has two left; the stored validator still has all seven.
  for (std::uint32_t i = 0; i < 10; ++i) {
    store->AddLink(Key("new"), Solid({i}, "new"), LinkSet::Validated);
  }
  EXPECT_EQ(store->GetGeometryObjects(Key("new"), LinkSet::Validated).size(), 7U);
}

TEST(SetLinkValidater, LeavesTheStateOfTheCallersValidatorUntouched) {
  std::function<bool(const ProductGeometryObject3D&)> validator = AcceptsSome{1};
  const Store store = StoreOfFive();
  store->SetLinkValidater(validator);
  store->AddLink(Key("new"), c_solid1, LinkSet::Validated);
  EXPECT_TRUE(validator({Key("a"), c_solid1}));
  EXPECT_FALSE(validator({Key("a"), c_solid1}));
}

TEST(ANewStore, LeavesTheStateOfTheCallersValidatorUntouched) {
  std::function<bool(const ProductGeometryObject3D&)> validator = AcceptsSome{1};
  const Store store = CreateProductGeometryObjects3D(validator);
  store->AddLink(Key("new"), c_solid1, LinkSet::Validated);
  EXPECT_TRUE(validator({Key("a"), c_solid1}));
}

TEST(AddLink, AsksTheStoredValidatorItselfWhoseStateGoesOn) {
  const Store store = CreateProductGeometryObjects3D(AcceptsSome{2});
  store->AddLinks(Key("a"), {c_solid1, c_solid2, c_solid3}, LinkSet::Validated);
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("a"), c_solid1}, {Key("a"), c_solid2}}));
}

TEST(SetLinkValidater, TakesAnEmptyValidatorWhereThereIsNoValidatedLink) {
  const Store store = MakeStore({{Key("a"), c_solid1}}, LinkSet::Unique);
  EXPECT_NO_THROW(store->SetLinkValidater(nullptr));
  EXPECT_THROW(store->AddLink(Key("a"), c_solid1, LinkSet::Validated), std::bad_function_call);
}

TEST(SetLinkValidater, ThrowsForAnEmptyValidatorWhereThereIsALinkHavingStoredItAndRemovedNothing) {
  const Store store = StoreOfFive();
  EXPECT_THROW(store->SetLinkValidater(nullptr), std::bad_function_call);
  EXPECT_EQ(ValidatedContents(store), c_five);
  EXPECT_THROW(store->AddLink(Key("b"), c_solid1, LinkSet::Validated), std::bad_function_call);
}

TEST(SetLinkValidater, RemovesNothingWhereTheValidatorThrowsHoweverLate) {
  for (std::size_t nth = 1; nth <= c_five.size(); ++nth) {
    SCOPED_TRACE(nth);
    const Store store = StoreOfFive();
    std::size_t calls = 0;
    const auto rejectsUntilItThrows = [&calls, nth](const ProductGeometryObject3D&) -> bool {
      if (++calls == nth) {
        throw ValidatorFault("asked too often");
      }
      return false;
    };
    EXPECT_THROW(store->SetLinkValidater(rejectsUntilItThrows), ValidatorFault);
    EXPECT_EQ(calls, nth);
    EXPECT_EQ(ValidatedContents(store), c_five);
  }
}

TEST(SetLinkValidater, HasStoredTheValidatorWhenThisThrows) {
  const Store store = StoreOfFive();
  std::size_t calls = 0;
  const auto throwsOnce = [&calls](const ProductGeometryObject3D&) {
    if (++calls == 1) {
      throw ValidatorFault("first");
    }
    return false;
  };
  EXPECT_THROW(store->SetLinkValidater(throwsOnce), ValidatorFault);
  store->AddLink(Key("b"), c_solid1, LinkSet::Validated);
  EXPECT_EQ(calls, 2U);
  EXPECT_EQ(ValidatedContents(store), c_five);
}

TEST(SetLinkValidater, PassesTheExceptionOfTheValidatorUnchanged) {
  const Store store = StoreOfFive();
  try {
    store->SetLinkValidater([](const ProductGeometryObject3D&) -> bool { throw ValidatorFault("its own words"); });
    FAIL() << "nothing was thrown";
  } catch (const ValidatorFault& fault) {
    EXPECT_STREQ(fault.what(), "its own words");
  }
}

TEST(SetLinkValidater, ReleasesThePreviousValidatorBeforeItAsksTheNewOne) {
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  const Store store = CreateProductGeometryObjects3D([held](const ProductGeometryObject3D&) { return true; });
  held.reset();
  store->AddLink(Key("a"), c_solid1, LinkSet::Validated);
  bool wasReleased = false;
  store->SetLinkValidater([&](const ProductGeometryObject3D&) {
    wasReleased = watched.expired();
    return true;
  });
  EXPECT_TRUE(wasReleased);
}

TEST(SetLinkValidater, KeepsOneCopyOfTheValidatorAfterThePurge) {
  const auto held = std::make_shared<int>();
  const Store store = StoreOfFive();
  store->SetLinkValidater([held](const ProductGeometryObject3D&) { return true; });
  EXPECT_EQ(held.use_count(), 2);
}

TEST(AddLink, PassesTheExceptionOfTheValidatorAndLeavesTheUniqueSetChanged) {
  const Store store = CreateProductGeometryObjects3D(
      [](const ProductGeometryObject3D&) -> bool { throw ValidatorFault("its own words"); });
  store->AddLink(Key("x"), c_solid1, LinkSet::Unique);
  EXPECT_THROW(store->AddLink(Key("a"), c_solid1, LinkSet::Both), ValidatorFault);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("a"), c_solid1}}));
  EXPECT_EQ(ValidatedContents(store), Links());
}

TEST(ClearLinks, EmptiesBothSets) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("b"), c_solid2}});
  store->ClearLinks();
  EXPECT_EQ(UniqueContents(store), Links());
  EXPECT_EQ(ValidatedContents(store), Links());
  EXPECT_EQ(store->GetMetaObjectKey(c_solid1, LinkSet::Unique), UniqueMetaObjectKey::null);
  EXPECT_EQ(store->GetMetaObjectKeys(c_solid1), Keys());
}

TEST(ClearLinks, KeepsTheValidatorAndAsksItNothing) {
  const Store store = StoreOfFive();
  std::size_t calls = 0;
  store->SetLinkValidater([&calls](const ProductGeometryObject3D& record) {
    ++calls;
    return record.metaKey != Key("bad");
  });
  store->ClearLinks();
  EXPECT_EQ(calls, c_five.size());
  store->AddLink(Key("bad"), c_solid1, LinkSet::Validated);
  store->AddLink(Key("good"), c_solid1, LinkSet::Validated);
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("good"), c_solid1}}));
}

TEST(ClearLinks, LeavesAStoreThatCanBeFilledAgain) {
  const Store store = MakeStore({{Key("a"), c_solid1}, {Key("b"), c_solid2}});
  store->ClearLinks();
  store->ClearLinks();
  store->AddLink(Key("b"), c_solid1, LinkSet::Both);
  EXPECT_EQ(UniqueContents(store), (Links{{Key("b"), c_solid1}}));
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("b"), c_solid1}}));
}
