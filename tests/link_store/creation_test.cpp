#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "tests/support/Links.h"

namespace {

static_assert(std::is_same_v<decltype(CreateProductGeometryObjects3D(nullptr)), Store>);
static_assert(std::is_polymorphic_v<IProductGeometryObjects>);
static_assert(std::has_virtual_destructor_v<IProductGeometryObjects>);
static_assert(std::is_base_of_v<IProductGeometryObjects, IProductGeometryObjects3D>);
static_assert(noexcept(std::declval<IProductGeometryObjects3D&>().ClearLinks()));

void ExpectEmpty(const IProductGeometryObjects3D& store) {
  const GeometryObject3D geometry = Solid({1}, "n");
  for (const LinkSetChoice& choice : LinkSetChoices()) {
    SCOPED_TRACE(Named(choice));
    EXPECT_EQ(Contents(store, choice.set), Links());
    EXPECT_FALSE(store.HasLink(Key("a"), geometry, choice.set));
    EXPECT_EQ(store.GetMetaObjectKey(geometry, choice.set), UniqueMetaObjectKey::null);
    EXPECT_EQ(store.GetGeometryObjects(Key("a"), choice.set), Geometries());
  }
  EXPECT_EQ(store.GetMetaObjectKeys(geometry), Keys());
  EXPECT_EQ(store.GetGeometryObject(Key("a")), GeometryObject3D());
  EXPECT_EQ(store.GetValidatedOnlyGeometryObjects(Key("a"), nullptr, nullptr), Geometries());
}

}  // namespace

TEST(ANewStore, AnswersEveryQueryEmpty) {
  const Store store = CreateProductGeometryObjects3D(AcceptsAll);
  ASSERT_NE(store, nullptr);
  ExpectEmpty(*store);
}

TEST(ANewStore, AcceptsAnEmptyValidatorWhichFailsWhenItIsFirstCalled) {
  const Store store = CreateProductGeometryObjects3D(nullptr);
  store->AddLink(Key("a"), Solid({1}, "n"), LinkSet::Unique);
  EXPECT_THROW(store->AddLink(Key("a"), Solid({1}, "n"), LinkSet::Validated), std::bad_function_call);
}

TEST(ANewStore, AsksItsValidatorNothing) {
  std::size_t calls = 0;
  const Store store = CreateProductGeometryObjects3D([&calls](const ProductGeometryObject3D&) {
    ++calls;
    return true;
  });
  EXPECT_EQ(calls, 0U);
}

TEST(ANewStore, ValidatesWithTheValidatorItWasGiven) {
  const Store store = CreateProductGeometryObjects3D(
      [](const ProductGeometryObject3D& record) { return record.metaKey == Key("good"); });
  store->AddLink(Key("bad"), Solid({1}, "n"), LinkSet::Validated);
  store->AddLink(Key("good"), Solid({1}, "n"), LinkSet::Validated);
  EXPECT_EQ(ValidatedContents(store), (Links{{Key("good"), Solid({1}, "n")}}));
}

TEST(ANewStore, SharesNothingWithOtherStores) {
  const Store store = MakeStore({{Key("a"), Solid({1}, "n")}});
  const Store other = MakeStore();
  other->SetLinkValidater(RejectsAll);
  ExpectEmpty(*other);
  other->ClearLinks();
  EXPECT_EQ(UniqueContents(store).size(), 1U);
  EXPECT_EQ(ValidatedContents(store).size(), 1U);
}

TEST(AStore, ReleasesItsValidatorWhenItIsReleased) {
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  Store store = CreateProductGeometryObjects3D([held](const ProductGeometryObject3D&) { return true; });
  held.reset();
  EXPECT_FALSE(watched.expired());
  store.reset();
  EXPECT_TRUE(watched.expired());
}

TEST(AStore, IsReleasedThroughItsBaseInterface) {
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  std::unique_ptr<IProductGeometryObjects> store =
      CreateProductGeometryObjects3D([held = std::move(held)](const ProductGeometryObject3D&) { return true; });
  store.reset();
  EXPECT_TRUE(watched.expired());
}
