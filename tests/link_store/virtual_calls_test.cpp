#include <functional>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <typeinfo>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qDocument/IfDocObject.h>
#include <qSys/MemoryStreams.h>

#include "link_store/ProductGeometryObjects3D.h"
#include "tests/support/Links.h"

namespace {

static_assert(std::is_base_of_v<IProductGeometryObjects3D, ProductGeometryObjects3D>);
static_assert(!std::is_final_v<ProductGeometryObjects3D>);
static_assert(noexcept(std::declval<ProductGeometryObjects3D&>().ClearLinks()));

const GeometryObject3D c_solid1 = Solid({1}, "n");
const GeometryObject3D c_solid2 = Solid({2}, "n");

/// A derived store that counts every call that reaches it through the virtual table.
class CountingStore final : public ProductGeometryObjects3D {
 public:
  mutable int calls = 0;

  void SetLinkValidater(LinkValidator) override { ++calls; }
  void AddLink(const UniqueMetaObjectKey&, const GeometryObject3D&, LinkSet) override { ++calls; }
  void AddLinks(const UniqueMetaObjectKey&, const std::vector<GeometryObject3D>&, LinkSet) override { ++calls; }
  void RemoveGeometryObjectLinks(const GeometryObject3D&, LinkSet) override { ++calls; }
  void RemoveLink(const GeometryObject3D&, const UniqueMetaObjectKey&, LinkSet) override { ++calls; }
  void RemoveMetaObjectLinks(const UniqueMetaObjectKey&, LinkSet) override { ++calls; }
  void RemoveMetaObjectsLinks(const std::set<UniqueMetaObjectKey>&, LinkSet) override { ++calls; }
  void ClearLinks() noexcept override { ++calls; }
  bool HasLink(const UniqueMetaObjectKey&, const GeometryObject3D&, LinkSet) const override { return ++calls != 0; }
  const UniqueMetaObjectKey& GetMetaObjectKey(const GeometryObject3D&, LinkSet) const override {
    ++calls;
    return UniqueMetaObjectKey::null;
  }
  std::vector<UniqueMetaObjectKey> GetMetaObjectKeys(const GeometryObject3D&) const override {
    ++calls;
    return {};
  }
  std::vector<GeometryObject3D> GetGeometryObjects(const UniqueMetaObjectKey&, LinkSet) const override {
    ++calls;
    return {};
  }
  GeometryObject3D GetGeometryObject(const UniqueMetaObjectKey&) const override {
    ++calls;
    return {};
  }
  IfSomething* MetaObjectToSomething(const UniqueMetaObjectKey&, const IfDocObject&) const override {
    ++calls;
    return nullptr;
  }
  CompTrObject<IfSomething> MetaObjectToWrapper(const UniqueMetaObjectKey&, const IfDocObject&,
                                                IfComponent*) const override {
    ++calls;
    return {};
  }
  void WriteMetaObjectsLinks(writer&) const override { ++calls; }
  void SetWriteComponentPath(const MbPath*) override { ++calls; }
  std::map<UniqueMetaObjectKey, UniqueMetaObjectKey> RegenerateMetaObjectKeys() override {
    ++calls;
    return {};
  }
  void ReplaceGeometryObject(const GeometryObject3D&, const GeometryObject3D&) override { ++calls; }
  void ReplaceMetaObjectKey(const UniqueMetaObjectKey&, const UniqueMetaObjectKey&, LinkSet) override { ++calls; }
  void ReplaceComponentPath(const MbPath&, const MbPath&) override { ++calls; }
  void ForEachLink(const LinkVisitor&, LinkSet) const override { ++calls; }
  std::vector<GeometryObject3D> GetValidatedOnlyGeometryObjects(const UniqueMetaObjectKey&, bool*,
                                                                bool*) const override {
    ++calls;
    return {};
  }
};

class DocumentWithoutObjects : public IfDocObject {
 public:
  std::unique_ptr<IfObjectIterator> CreateObjectIterator(IfDocObject*, std::uint64_t) override { return nullptr; }
  IfSomething& GetComponentHolder() override { throw std::logic_error("no store asks for it"); }
  IfSomething* FindObject(const GeometryObject3D&) const override { return nullptr; }
  CompTrObject<IfSomething> FindWrapper(const GeometryObject3D&, IfComponent*) const override { return {}; }
};

using Base = ProductGeometryObjects3D;

/// A counting store whose own implementation holds a -> c_solid1 and b -> c_solid2 in both sets.
std::unique_ptr<CountingStore> FilledStore() {
  auto store = std::make_unique<CountingStore>();
  store->Base::SetLinkValidater(AcceptsAll);
  store->Base::AddLink(Key("a"), c_solid1, LinkSet::Both);
  store->Base::AddLink(Key("b"), c_solid2, LinkSet::Both);
  return store;
}

Links Inside(const CountingStore& store, LinkSet set) {
  Links links;
  const auto gather = [&links](const ProductGeometryObject3D& record) {
    links.push_back({record.metaKey, record.geometry});
  };
  store.Base::ForEachLink(gather, set);
  return links;
}

}  // namespace

TEST(AnOperationThatUsesOthers, CallsTheStoresOwnAndNotADerivedClasss) {
  const auto store = FilledStore();
  const Store other = MakeStore();

  store->Base::SetLinkValidater([](const ProductGeometryObject3D& record) { return record.metaKey != Key("b"); });
  EXPECT_EQ(Inside(*store, LinkSet::Validated), (Links{{Key("a"), c_solid1}}));
  store->Base::AddLinks(Key("c"), {c_solid1, c_solid2}, LinkSet::Both);
  EXPECT_EQ(Inside(*store, LinkSet::Unique), (Links{{Key("c"), c_solid1}}));
  EXPECT_EQ(Inside(*store, LinkSet::Validated),
            (Links{{Key("a"), c_solid1}, {Key("c"), c_solid1}, {Key("c"), c_solid2}}));
  store->Base::RemoveMetaObjectsLinks({Key("a"), Key("x")}, LinkSet::Both);
  EXPECT_EQ(Inside(*store, LinkSet::Validated), (Links{{Key("c"), c_solid1}, {Key("c"), c_solid2}}));

  EXPECT_TRUE(store->Base::HasLink(Key("c"), c_solid1, LinkSet::Unique));
  EXPECT_EQ(store->Base::GetGeometryObject(Key("c")), c_solid1);
  EXPECT_EQ(store->Base::GetValidatedOnlyGeometryObjects(Key("c"), nullptr, nullptr), (Geometries{c_solid2}));
  const DocumentWithoutObjects document;
  EXPECT_EQ(store->Base::MetaObjectToSomething(Key("c"), document), nullptr);
  EXPECT_EQ(store->Base::MetaObjectToWrapper(Key("c"), document, nullptr).object, nullptr);
  EXPECT_EQ(store->calls, 0);
}

TEST(NoOperation, CallsItselfOrAnotherThroughTheVirtualTable) {
  const auto store = FilledStore();
  store->Base::RemoveLink(c_solid1, Key("a"), LinkSet::Both);
  store->Base::RemoveGeometryObjectLinks(c_solid1, LinkSet::Both);
  store->Base::RemoveMetaObjectLinks(Key("a"), LinkSet::Both);
  store->Base::GetMetaObjectKey(c_solid2, LinkSet::Both);
  store->Base::GetMetaObjectKeys(c_solid2);
  store->Base::GetGeometryObjects(Key("b"), LinkSet::Both);
  store->Base::ReplaceGeometryObject(c_solid2, c_solid1);
  store->Base::ReplaceMetaObjectKey(Key("b"), Key("c"), LinkSet::Both);
  store->Base::ReplaceComponentPath({1}, {2});
  store->Base::RegenerateMetaObjectKeys();
  const MbPath path{1};
  store->Base::SetWriteComponentPath(&path);
  MemoryWriter out;
  store->Base::WriteMetaObjectsLinks(out);
  store->Base::SetWriteComponentPath(nullptr);
  store->Base::ClearLinks();
  EXPECT_EQ(store->calls, 0);
}

TEST(AStore, KnowsItsClassesAtRunTime) {
  const Store store = MakeStore();
  IProductGeometryObjects* base = store.get();
  auto* interface = dynamic_cast<IProductGeometryObjects3D*>(base);
  ASSERT_NE(interface, nullptr);
  auto* implementation = dynamic_cast<ProductGeometryObjects3D*>(interface);
  ASSERT_NE(implementation, nullptr);
  EXPECT_EQ(typeid(*base), typeid(ProductGeometryObjects3D));
  EXPECT_EQ(dynamic_cast<CountingStore*>(base), nullptr);
  // Single inheritance: one object, one address.
  EXPECT_EQ(static_cast<void*>(base), static_cast<void*>(implementation));
  EXPECT_EQ(dynamic_cast<void*>(base), static_cast<void*>(base));
}

TEST(AStore, MadeWithoutTheFactoryHasNoValidator) {
  ProductGeometryObjects3D store;
  store.AddLink(Key("a"), c_solid1, LinkSet::Unique);
  EXPECT_EQ(Contents(store, LinkSet::Unique), (Links{{Key("a"), c_solid1}}));
  EXPECT_THROW(store.AddLink(Key("a"), c_solid1, LinkSet::Validated), std::bad_function_call);
}
