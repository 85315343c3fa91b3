#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/IProductGeometryObjects3D.h>

#include "tests/support/PlatformPrinting.h"

/// Links as tests write and compare them.

/// Any bytes, zero bytes included: Key("a"), Key({"a\0b", 3}).
inline UniqueMetaObjectKey Key(std::string_view bytes) {
  return UniqueMetaObjectKey(std::string(bytes));
}

/// A key too long to live inside the object: every copy of it asks for memory.
inline UniqueMetaObjectKey LongKey(std::string_view bytes) {
  return UniqueMetaObjectKey(std::string(bytes) + " and so much more that it takes memory of its own");
}

inline GeometryObject3D Solid(ComponentPath path, std::string_view name, MbPath secondPath = {}) {
  return GeometryObject3D(GeometryObject3D::c_solid, std::move(path), std::move(secondPath), MbName(std::string(name)));
}

inline GeometryObject3D PartComponent(ComponentPath path, MbPath secondPath = {}) {
  return GeometryObject3D(GeometryObject3D::c_partComponent, std::move(path), std::move(secondPath), MbName());
}

inline GeometryObject3D AssemblyComponent(ComponentPath path) {
  return GeometryObject3D(GeometryObject3D::c_assemblyComponent, std::move(path), MbPath(), MbName());
}

/// The same object for every order, but not equal to it: only its second path differs.
inline GeometryObject3D EquivalentTo(GeometryObject3D geometry) {
  geometry.secondPath.Append(77);
  return geometry;
}

/// A link that can be compared, member by member, second paths included.
struct Link {
  UniqueMetaObjectKey key;
  GeometryObject3D geometry;

  friend bool operator==(const Link&, const Link&) = default;
};

inline void PrintTo(const Link& link, std::ostream* out) {
  PrintTo(link.key, out);
  *out << " -> ";
  PrintTo(link.geometry, out);
}

using Links = std::vector<Link>;
using Keys = std::vector<UniqueMetaObjectKey>;
using Geometries = std::vector<GeometryObject3D>;

inline bool AcceptsAll(const ProductGeometryObject3D&) {
  return true;
}

inline bool RejectsAll(const ProductGeometryObject3D&) {
  return false;
}

using Store = std::unique_ptr<IProductGeometryObjects3D>;

/// A store that accepts every link, with these links in one or both sets, entered in this order.
inline Store MakeStore(const Links& links = {}, LinkSet set = LinkSet::Both) {
  Store store = CreateProductGeometryObjects3D(AcceptsAll);
  for (const Link& link : links) {
    store->AddLink(link.key, link.geometry, set);
  }
  return store;
}

/// The links of a set in the order in which the store walks them.
inline Links Contents(const IProductGeometryObjects3D& store, LinkSet set) {
  Links links;
  const auto gather = [&links](const ProductGeometryObject3D& record) {
    links.push_back({record.metaKey, record.geometry});
  };
  store.ForEachLink(gather, set);
  return links;
}

inline Links UniqueContents(const Store& store) {
  return Contents(*store, LinkSet::Unique);
}

inline Links ValidatedContents(const Store& store) {
  return Contents(*store, LinkSet::Validated);
}

/// A LinkSet value, with the sets that it chooses by the table in LinkSet.h.
struct LinkSetChoice {
  LinkSet set;
  bool changesUnique;
  bool changesValidated;
  bool readsUnique;
};

/// Every value that has a name, and values of each kind that has none.
inline std::vector<LinkSetChoice> LinkSetChoices() {
  std::vector<LinkSetChoice> choices = {{LinkSet::Both, true, true, false},
                                        {LinkSet::Validated, false, true, false},
                                        {LinkSet::Unique, true, false, true}};
  for (const std::uint32_t unnamed : {3U, 4U, 5U, 6U, 0x100U, 0x80000000U, 0x80000002U, 0xFFFFFFFDU, 0xFFFFFFFFU}) {
    choices.push_back({static_cast<LinkSet>(unnamed), false, false, false});
  }
  return choices;
}

/// For the text of a failure: SCOPED_TRACE(Named(choice)).
inline std::string Named(const LinkSetChoice& choice) {
  return "link set " + std::to_string(static_cast<std::uint32_t>(choice.set));
}
