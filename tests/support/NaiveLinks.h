#pragma once

#include <algorithm>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/NaiveStore.h"
#include "tests/support/PlatformPrinting.h"
#include "tests/support/StreamLink.h"

/// The values of the library and those of the naive store, made from each other and compared.

inline GeometryObject3D GeometryOf(const NaiveGeometry& geometry) {
  return {geometry.type, PathOf<ComponentPath>(geometry.componentPath), PathOf(geometry.secondPath),
          MbName(geometry.name)};
}

inline NaiveGeometry NaiveOf(const GeometryObject3D& geometry) {
  return {geometry.objectType, ElementsOf(geometry.componentPath), ElementsOf(geometry.secondPath),
          std::string(geometry.objectName.Bytes())};
}

inline NaiveLink NaiveOf(const ProductGeometryObject3D& record) {
  return {std::string(record.metaKey.Bytes()), NaiveOf(record.geometry)};
}

/// In the order in which the records are walked.
template <class Records>
NaiveLinks NaiveLinksOf(const Records& records) {
  NaiveLinks links;
  for (const ProductGeometryObject3D& record : records) {
    links.push_back(NaiveOf(record));
  }
  return links;
}

inline StreamLinks StreamLinksOf(const NaiveLinks& links) {
  StreamLinks result;
  for (const auto& [key, geometry] : links) {
    result.push_back({key, geometry.type, geometry.componentPath, geometry.secondPath, geometry.name});
  }
  return result;
}

inline bool IsEqual(const MbPath& path, const NaivePath& naive) {
  return std::equal(path.begin(), path.end(), naive.begin(), naive.end());
}

/// Member by member, without the library's own comparison.
inline bool IsEqual(const ProductGeometryObject3D& record, const NaiveLink& link) {
  const GeometryObject3D& geometry = record.geometry;
  return record.metaKey.Bytes() == link.key && geometry.objectType == link.geometry.type &&
         IsEqual(geometry.componentPath, link.geometry.componentPath) &&
         IsEqual(geometry.secondPath, link.geometry.secondPath) && geometry.objectName.Bytes() == link.geometry.name;
}

template <class Records>
bool AreEqual(const Records& records, const NaiveLinks& links) {
  return std::equal(records.begin(), records.end(), links.begin(), links.end(),
                    [](const auto& record, const auto& link) { return IsEqual(record, link); });
}

inline std::ostream& operator<<(std::ostream& out, const NaiveGeometry& geometry) {
  PrintTo(GeometryOf(geometry), &out);
  return out;
}

inline std::ostream& operator<<(std::ostream& out, const NaiveLink& link) {
  PrintBytes(link.key, &out);
  return out << " -> " << link.geometry;
}

/// One value on each line.
template <class Values>
std::string Lines(const Values& values) {
  std::ostringstream text;
  for (const auto& value : values) {
    text << "    " << value << '\n';
  }
  return text.str();
}
