#include <set>

#include <gtest/gtest.h>

#include "tests/support/Links.h"

// Callers hand an operation a key that GetMetaObjectKey gave, or a record met in ForEachLink: references into
// links that the operation itself is about to change or release. The sanitizers tell where one is used
// afterwards.

namespace {

const GeometryObject3D c_solid1 = EquivalentTo(Solid({1, 2, 3, 4, 5, 6, 7}, "a name of more than fifteen bytes"));
const GeometryObject3D c_solid2 = EquivalentTo(Solid({2, 2, 3, 4, 5, 6, 7}, "a name of more than fifteen bytes"));
const GeometryObject3D c_solid3 = EquivalentTo(Solid({3, 2, 3, 4, 5, 6, 7}, "a name of more than fifteen bytes"));
const UniqueMetaObjectKey c_a = LongKey("a");
const UniqueMetaObjectKey c_b = LongKey("b");

const Links c_unique{{c_a, c_solid1}, {c_b, c_solid2}};
const Links c_validated{{c_a, c_solid1}, {c_a, c_solid2}, {c_b, c_solid1}};

Store FilledStore() {
  Store store = MakeStore(c_validated, LinkSet::Validated);
  for (const auto& [key, geometry] : c_unique) {
    store->AddLink(key, geometry, LinkSet::Unique);
  }
  return store;
}

/// The stored record of a link.
const ProductGeometryObject3D& Stored(const Store& store, const Link& link, LinkSet set) {
  const ProductGeometryObject3D* found = nullptr;
  store->ForEachLink(
      [&](const ProductGeometryObject3D& record) {
        if (record.metaKey == link.key && record.geometry == link.geometry) {
          found = &record;
        }
      },
      set);
  EXPECT_NE(found, nullptr);
  return *found;
}

/// Calls `test` with a filled store and its record of a -> c_solid1, once with that of each set.
template <class Test>
void WithStoredRecord(const Test& test) {
  for (const LinkSet source : {LinkSet::Unique, LinkSet::Validated}) {
    SCOPED_TRACE(source == LinkSet::Unique ? "record of the unique set" : "record of the validated set");
    const Store store = FilledStore();
    test(store, Stored(store, {c_a, c_solid1}, source));
  }
}

}  // namespace

TEST(AKeyFromGetMetaObjectKey, MayBeHandedToRemoveLink) {
  for (const LinkSet source : {LinkSet::Unique, LinkSet::Validated}) {
    const Store store = FilledStore();
    store->RemoveLink(c_solid1, store->GetMetaObjectKey(c_solid1, source), LinkSet::Both);
    EXPECT_EQ(UniqueContents(store), (Links{{c_b, c_solid2}}));
    EXPECT_EQ(ValidatedContents(store), (Links{{c_a, c_solid2}, {c_b, c_solid1}}));
  }
}

TEST(AKeyFromGetMetaObjectKey, MayBeHandedToRemoveMetaObjectLinks) {
  for (const LinkSet source : {LinkSet::Unique, LinkSet::Validated}) {
    const Store store = FilledStore();
    store->RemoveMetaObjectLinks(store->GetMetaObjectKey(c_solid1, source), LinkSet::Both);
    EXPECT_EQ(UniqueContents(store), (Links{{c_b, c_solid2}}));
    EXPECT_EQ(ValidatedContents(store), (Links{{c_b, c_solid1}}));
  }
}

TEST(AKeyFromGetMetaObjectKey, MayBeHandedToReplaceMetaObjectKeyAsTheOldKey) {
  for (const LinkSet source : {LinkSet::Unique, LinkSet::Validated}) {
    const Store store = FilledStore();
    store->ReplaceMetaObjectKey(store->GetMetaObjectKey(c_solid1, source), LongKey("z"), LinkSet::Both);
    EXPECT_EQ(UniqueContents(store), (Links{{c_b, c_solid2}, {LongKey("z"), c_solid1}}));
    EXPECT_EQ(store->GetMetaObjectKeys(c_solid1), (Keys{LongKey("z"), c_b}));
    EXPECT_EQ(store->GetMetaObjectKeys(c_solid2), (Keys{LongKey("z")}));
  }
}

TEST(AKeyFromGetMetaObjectKey, MayBeHandedToReplaceMetaObjectKeyAsTheNewKey) {
  const Store fromUnique = FilledStore();
  fromUnique->ReplaceMetaObjectKey(c_b, fromUnique->GetMetaObjectKey(c_solid1, LinkSet::Unique), LinkSet::Both);
  const Store fromValidated = FilledStore();
  fromValidated->ReplaceMetaObjectKey(c_b, fromValidated->GetMetaObjectKey(c_solid2, LinkSet::Validated),
                                      LinkSet::Both);
  for (const Store* store : {&fromUnique, &fromValidated}) {
    EXPECT_EQ(UniqueContents(*store), (Links{{c_a, c_solid1}}));
    EXPECT_EQ(ValidatedContents(*store), (Links{{c_a, c_solid1}, {c_a, c_solid2}}));
  }
}

TEST(AKeyFromGetMetaObjectKey, MayBeHandedToAddLinkThatRemovesItsLink) {
  const Store store = FilledStore();
  // Erases a -> c_solid1 while the key refers to it; then the key is free for c_solid1 again.
  store->AddLink(store->GetMetaObjectKey(c_solid1, LinkSet::Unique), c_solid1, LinkSet::Both);
  EXPECT_EQ(UniqueContents(store), c_unique);
  EXPECT_EQ(ValidatedContents(store), c_validated);
}

TEST(AKeyFromGetMetaObjectKey, MayBeHandedToAddLinksThatRemovesItsLink) {
  for (const LinkSet source : {LinkSet::Unique, LinkSet::Validated}) {
    const Store store = FilledStore();
    store->AddLinks(store->GetMetaObjectKey(c_solid1, source), {c_solid1, c_solid2, c_solid3}, LinkSet::Both);
    EXPECT_EQ(UniqueContents(store), (Links{{c_a, c_solid1}}));
    EXPECT_EQ(ValidatedContents(store), (Links{{c_a, c_solid1}, {c_a, c_solid2}, {c_a, c_solid3}, {c_b, c_solid1}}));
  }
}

TEST(AKeyFromGetMetaObjectKey, MayBeHandedToEveryQuery) {
  const Store store = FilledStore();
  const UniqueMetaObjectKey& key = store->GetMetaObjectKey(c_solid1, LinkSet::Validated);
  EXPECT_TRUE(store->HasLink(key, c_solid1, LinkSet::Unique));
  EXPECT_EQ(store->GetGeometryObjects(key, LinkSet::Validated), (Geometries{c_solid1, c_solid2}));
  EXPECT_EQ(store->GetGeometryObject(key), c_solid1);
  EXPECT_EQ(store->GetValidatedOnlyGeometryObjects(key, nullptr, nullptr), (Geometries{c_solid2}));
}

TEST(AStoredRecord, MayBeHandedToRemoveLink) {
  WithStoredRecord([](const Store& store, const ProductGeometryObject3D& record) {
    store->RemoveLink(record.geometry, record.metaKey, LinkSet::Both);
    EXPECT_EQ(UniqueContents(store), (Links{{c_b, c_solid2}}));
    EXPECT_EQ(ValidatedContents(store), (Links{{c_a, c_solid2}, {c_b, c_solid1}}));
  });
}

TEST(AStoredRecord, MayBeHandedToRemoveGeometryObjectLinks) {
  WithStoredRecord([](const Store& store, const ProductGeometryObject3D& record) {
    store->RemoveGeometryObjectLinks(record.geometry, LinkSet::Both);
    EXPECT_EQ(UniqueContents(store), (Links{{c_b, c_solid2}}));
    EXPECT_EQ(ValidatedContents(store), (Links{{c_a, c_solid2}}));
  });
}

TEST(AStoredRecord, MayBeHandedToRemoveMetaObjectLinks) {
  WithStoredRecord([](const Store& store, const ProductGeometryObject3D& record) {
    store->RemoveMetaObjectLinks(record.metaKey, LinkSet::Both);
    EXPECT_EQ(UniqueContents(store), (Links{{c_b, c_solid2}}));
    EXPECT_EQ(ValidatedContents(store), (Links{{c_b, c_solid1}}));
  });
}

TEST(AStoredRecord, MayBeHandedToAddLink) {
  WithStoredRecord([](const Store& store, const ProductGeometryObject3D& record) {
    store->AddLink(record.metaKey, record.geometry, LinkSet::Both);
    EXPECT_EQ(UniqueContents(store), c_unique);
    EXPECT_EQ(ValidatedContents(store), c_validated);
  });
}

TEST(AStoredRecord, MayBeHandedToReplaceGeometryObjectAsTheOldObject) {
  WithStoredRecord([](const Store& store, const ProductGeometryObject3D& record) {
    store->ReplaceGeometryObject(record.geometry, c_solid3);
    EXPECT_EQ(UniqueContents(store), (Links{{c_a, c_solid3}, {c_b, c_solid2}}));
    EXPECT_EQ(ValidatedContents(store), (Links{{c_a, c_solid3}, {c_a, c_solid2}, {c_b, c_solid3}}));
  });
}

TEST(AStoredRecord, MayBeHandedToReplaceGeometryObjectAsTheOldObjectWhereItIsDropped) {
  WithStoredRecord([](const Store& store, const ProductGeometryObject3D& record) {
    store->ReplaceGeometryObject(record.geometry, c_solid2);
    EXPECT_EQ(UniqueContents(store), (Links{{c_b, c_solid2}}));
    EXPECT_EQ(ValidatedContents(store), (Links{{c_a, c_solid2}, {c_b, c_solid2}}));
  });
}

TEST(AStoredRecord, MayBeHandedToReplaceGeometryObjectAsTheNewObject) {
  WithStoredRecord([](const Store& store, const ProductGeometryObject3D& record) {
    store->ReplaceGeometryObject(c_solid2, record.geometry);
    EXPECT_EQ(UniqueContents(store), (Links{{c_a, c_solid1}}));
    EXPECT_EQ(ValidatedContents(store), (Links{{c_a, c_solid1}, {c_b, c_solid1}}));
  });
}

TEST(AStoredRecord, MayBeHandedToReplaceMetaObjectKeyAsTheOldKeyWhereItIsDropped) {
  WithStoredRecord([](const Store& store, const ProductGeometryObject3D& record) {
    store->ReplaceMetaObjectKey(record.metaKey, c_b, LinkSet::Both);
    EXPECT_EQ(UniqueContents(store), (Links{{c_b, c_solid2}}));
    EXPECT_EQ(store->GetMetaObjectKeys(c_solid1), (Keys{c_b}));
    EXPECT_EQ(store->GetMetaObjectKeys(c_solid2), (Keys{c_b}));
  });
}

TEST(AStoredRecord, MayHaveItsPathsHandedToReplaceComponentPathAsTheOldPath) {
  WithStoredRecord([](const Store& store, const ProductGeometryObject3D& record) {
    store->ReplaceComponentPath(record.geometry.componentPath, c_solid3.componentPath);
    EXPECT_EQ(UniqueContents(store), (Links{{c_a, c_solid3}, {c_b, c_solid2}}));
    EXPECT_EQ(ValidatedContents(store), (Links{{c_a, c_solid3}, {c_a, c_solid2}, {c_b, c_solid3}}));
  });
}

TEST(AStoredRecord, MayHaveItsPathsHandedToReplaceComponentPathAsTheNewPath) {
  // The new path lies in the branch itself, so the record that it was taken from changes on the way.
  WithStoredRecord([](const Store& store, const ProductGeometryObject3D& record) {
    const MbPath branch{7};
    store->ReplaceComponentPath(branch, record.geometry.secondPath);
    const auto moved = [](GeometryObject3D geometry) {
      geometry.componentPath[6] = 77;
      return geometry;
    };
    EXPECT_EQ(UniqueContents(store), (Links{{c_a, moved(c_solid1)}, {c_b, moved(c_solid2)}}));
    EXPECT_EQ(ValidatedContents(store),
              (Links{{c_a, moved(c_solid1)}, {c_a, moved(c_solid2)}, {c_b, moved(c_solid1)}}));
  });
  WithStoredRecord([](const Store& store, const ProductGeometryObject3D& record) {
    store->ReplaceComponentPath(c_solid2.componentPath, record.geometry.componentPath);
    EXPECT_EQ(UniqueContents(store), (Links{{c_a, c_solid1}}));
    EXPECT_EQ(ValidatedContents(store), (Links{{c_a, c_solid1}, {c_b, c_solid1}}));
  });
  WithStoredRecord([](const Store& store, const ProductGeometryObject3D& record) {
    store->ReplaceComponentPath({}, record.geometry.componentPath);
    EXPECT_EQ(UniqueContents(store), (Links{{c_a, c_solid1}}));
    EXPECT_EQ(ValidatedContents(store), (Links{{c_a, c_solid1}, {c_b, c_solid1}}));
  });
}

TEST(AStoredRecord, MayHaveItsSecondPathHandedToReplaceComponentPathThoughItIsExchangedOnTheWay) {
  const Store store =
      MakeStore({{Key("a"), Solid({9}, "n", {9})}, {Key("b"), Solid({9}, "n", {8})}, {Key("c"), Solid({10}, "n")}},
                LinkSet::Validated);
  const ProductGeometryObject3D& record = Stored(store, {Key("a"), Solid({9}, "n", {9})}, LinkSet::Validated);
  // The second object finds the link of a again, which has the same place, and gives it its own second path.
  store->ReplaceComponentPath({}, record.geometry.secondPath);
  EXPECT_EQ(ValidatedContents(store),
            (Links{{Key("a"), Solid({9}, "n", {8})}, {Key("b"), Solid({9}, "n", {8})}, {Key("c"), Solid({9}, "n")}}));
}
