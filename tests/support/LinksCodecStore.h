#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <qProdData/IfMetaProductData.h>
#include <qProdData3D/IProductGeometryObjects3D.h>
#include <qSys/Versions.h>

#include "tests/support/LinksCodec.h"
#include "tests/support/StreamLink.h"

/// Between the plain values of the codec and the types of the library.

inline StreamVersions ToLibrary(const codec::Versions& versions) {
  return {versions.app, versions.math};
}

inline codec::Versions ToCodec(const StreamVersions& versions) {
  return {versions.appVersion, versions.mathVersion};
}

inline StreamLink ToStreamLink(const codec::Link& link) {
  return {link.key, link.type, link.componentPath, link.secondPath, link.name};
}

inline codec::Link ToCodec(const StreamLink& link) {
  return {link.key, link.type, link.componentPath, link.secondPath, link.name};
}

inline codec::Link ToCodec(const ProductGeometryObject3D& record) {
  return ToCodec(LinkOf(record));
}

inline codec::Links ToCodec(const StreamLinks& links) {
  codec::Links result;
  for (const StreamLink& link : links) {
    result.push_back(ToCodec(link));
  }
  return result;
}

namespace codec {

inline void PrintTo(const Link& link, std::ostream* out) {
  PrintTo(ToStreamLink(link), out);
}

inline std::ostream& operator<<(std::ostream& out, const Link& link) {
  PrintTo(link, &out);
  return out;
}

}  // namespace codec

/// The links of one set, in the order of ForEachLink.
inline codec::Links CodecLinksOf(const IProductGeometryObjects3D& store, LinkSet set) {
  return ToCodec(LinksOf(store, set));
}

inline void AddTo(IProductGeometryObjects3D& store, const codec::Links& links, LinkSet set) {
  for (const codec::Link& link : links) {
    store.AddLink(UniqueMetaObjectKey(link.key), GeometryOf(ToStreamLink(link)), set);
  }
}

/// The first difference between a store and what it should hold, in either set, in any of its orders; empty for none.
inline std::string DifferenceOf(const IProductGeometryObjects3D& store, const codec::LinkSets& expected) {
  const codec::Links unique = CodecLinksOf(store, LinkSet::Unique);
  if (unique != expected.Unique()) {
    return "unique links " + testing::PrintToString(unique) + " instead of " +
           testing::PrintToString(expected.Unique());
  }
  const codec::Links validated = CodecLinksOf(store, LinkSet::Validated);
  if (validated != expected.Validated()) {
    return "validated links " + testing::PrintToString(validated) + " instead of " +
           testing::PrintToString(expected.Validated());
  }
  std::map<codec::Place, std::vector<std::string>> keys;
  for (const codec::Link& link : expected.ValidatedAsEntered()) {
    keys[codec::PlaceOf(link)].push_back(link.key);
  }
  for (const auto& [place, expectedKeys] : keys) {
    const auto& [type, componentPath, name] = place;
    std::vector<std::string> found;
    for (const UniqueMetaObjectKey& key :
         store.GetMetaObjectKeys(GeometryOf(StreamLink{"", type, componentPath, {}, name}))) {
      found.emplace_back(key.Bytes());
    }
    if (found != expectedKeys) {
      return "the keys of one geometry object are " + testing::PrintToString(found) + " instead of " +
             testing::PrintToString(expectedKeys);
    }
  }
  return {};
}

/// Product data that answers as the codec's does; borrows it.
class CodecMetaProductData final : public IfMetaProductData {
 public:
  explicit CodecMetaProductData(const codec::ProductData& productData) : data(productData) {}

  bool HasMetaObject(const UniqueMetaObjectKey& key) const override { return data.hasMetaObject(std::string(key.Bytes())); }
  std::set<UniqueMetaObjectKey> GetRelatedMetaObjects(const UniqueMetaObjectKey& key) const override {
    std::set<UniqueMetaObjectKey> related;
    for (const std::string& bytes : data.relatedMetaObjects(std::string(key.Bytes()))) {
      related.insert(UniqueMetaObjectKey(bytes));
    }
    return related;
  }
  PropValueRef GetPropertyRef(const UniqueMetaObjectKey&, const std::wstring&) const override {
    ADD_FAILURE() << "reading links asks for no property";
    return {};
  }
  bool IsAssociativeBillet(const UniqueMetaObjectKey&) const override {
    ADD_FAILURE() << "reading links asks for no billet";
    return false;
  }

 private:
  const codec::ProductData& data;
};
