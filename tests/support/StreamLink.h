#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qProdData3D/IProductGeometryObjects3D.h>
#include <qProdData3D/ProductGeometryObject3D.h>

/// A link as plain data. Tests of the stream form state what they expect in it and compare all five fields; the
/// library's own types order and compare links by fewer.
struct StreamLink {
  std::string key;
  std::uint32_t type = 0;
  std::vector<std::uint32_t> componentPath;
  std::vector<std::uint32_t> secondPath;
  std::string name;

  friend bool operator==(const StreamLink&, const StreamLink&) = default;
};

using StreamLinks = std::vector<StreamLink>;

inline void PrintTo(const StreamLink& link, std::ostream* out) {
  *out << "{key " << testing::PrintToString(link.key) << ", type " << link.type << ", path "
       << testing::PrintToString(link.componentPath) << ", second path " << testing::PrintToString(link.secondPath)
       << ", name " << testing::PrintToString(link.name) << "}";
}

/// For rapidcheck, which prints what it could not satisfy.
inline std::ostream& operator<<(std::ostream& out, const StreamLink& link) {
  PrintTo(link, &out);
  return out;
}

template <class Path = MbPath>
Path PathOf(const std::vector<std::uint32_t>& elements) {
  Path path;
  for (const std::uint32_t element : elements) {
    path.Append(element);
  }
  return path;
}

inline std::vector<std::uint32_t> ElementsOf(const MbPath& path) {
  return {path.begin(), path.end()};
}

inline GeometryObject3D GeometryOf(const StreamLink& link) {
  return {link.type, PathOf<ComponentPath>(link.componentPath), PathOf(link.secondPath), MbName(link.name)};
}

inline ProductGeometryObject3D RecordOf(const StreamLink& link) {
  return {UniqueMetaObjectKey(link.key), GeometryOf(link)};
}

inline StreamLink LinkOf(const ProductGeometryObject3D& record) {
  const GeometryObject3D& geometry = record.geometry;
  return {std::string(record.metaKey.Bytes()), geometry.objectType, ElementsOf(geometry.componentPath),
          ElementsOf(geometry.secondPath), std::string(geometry.objectName.Bytes())};
}

/// In the order in which the records are walked.
template <class Records>
StreamLinks LinksOf(const Records& records) {
  StreamLinks links;
  for (const ProductGeometryObject3D& record : records) {
    links.push_back(LinkOf(record));
  }
  return links;
}

/// The links of one set, in the order of ForEachLink.
inline StreamLinks LinksOf(const IProductGeometryObjects3D& store, LinkSet set) {
  StreamLinks links;
  store.ForEachLink([&links](const ProductGeometryObject3D& record) { links.push_back(LinkOf(record)); }, set);
  return links;
}

inline void AddLinksTo(IProductGeometryObjects3D& store, const StreamLinks& links, LinkSet set) {
  for (const StreamLink& link : links) {
    store.AddLink(UniqueMetaObjectKey(link.key), GeometryOf(link), set);
  }
}

inline bool AcceptAll(const ProductGeometryObject3D&) {
  return true;
}
