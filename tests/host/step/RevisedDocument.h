// A document that takes revisions of a file, and the questions that tests put to it. Paths are texts, the outermost
// component first.

#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "host/model/Document.h"
#include "host/model/Positions.h"
#include "host/model/TextForms.h"
#include "host/step/MergeAssembly.h"
#include "tests/host/step/StepFile.h"
#include "tests/support/PlatformPrinting.h"
#include "tests/support/StreamLink.h"
#include "vocabulary/PropertyNames.h"

namespace tests {

/// Everything that a document says, by value.
struct DocumentContent {
  using ComponentContent =
      std::tuple<std::uint32_t, std::string, std::string, std::string, host::Placement, std::uint32_t>;
  using BodyContent = std::tuple<std::uint32_t, std::string, std::string, std::string>;

  host::ProductData::MetaObjects objects;
  host::ProductData::Groups groups;
  UniqueMetaObjectKey rootProduct;
  std::map<std::string, ComponentContent> components;
  std::map<std::string, std::vector<BodyContent>> bodies;
  std::uint32_t nextRootElement = 0;
  StreamLinks unique;
  StreamLinks validated;
};

inline DocumentContent ContentOf(const host::Document& document) {
  DocumentContent content;
  content.objects = document.productData.All();
  content.groups = document.productData.AllGroups();
  content.rootProduct = document.productData.RootProduct();
  for (const auto& [path, component] : document.components) {
    content.components[host::PathText(path)] = {component.objectType,  std::string(component.occurrence.Bytes()),
                                                component.displayName, component.fileId,
                                                component.placement,   component.nextElement};
  }
  for (const auto& [path, bodies] : document.bodies) {
    for (const host::Body& body : bodies) {
      content.bodies[host::PathText(path)].emplace_back(body.objectType, std::string(body.objectName.Bytes()),
                                                        body.displayName, body.fileId);
    }
  }
  content.nextRootElement = document.nextRootElement;
  content.unique = LinksOf(*document.links, LinkSet::Unique);
  content.validated = LinksOf(*document.links, LinkSet::Validated);
  return content;
}

inline void ExpectSame(const DocumentContent& left, const DocumentContent& right) {
  EXPECT_TRUE(left.objects == right.objects);
  EXPECT_TRUE(left.groups == right.groups);
  EXPECT_EQ(left.rootProduct, right.rootProduct);
  EXPECT_EQ(left.components, right.components);
  EXPECT_EQ(left.bodies, right.bodies);
  EXPECT_EQ(left.nextRootElement, right.nextRootElement);
  EXPECT_EQ(left.unique, right.unique);
  EXPECT_EQ(left.validated, right.validated);
}

class RevisedDocument {
 public:
  explicit RevisedDocument(const StepFile& first) { Take(first); }

  const host::MergeReport& Take(const StepFile& file) {
    report = host::MergeAssembly(document, file.Value(), "file");
    return report;
  }

  const host::Component& At(const std::string& path) const { return document.components.at(host::ParsePath(path)); }
  const UniqueMetaObjectKey& KeyAt(const std::string& path) const { return At(path).occurrence; }
  host::MetaObject& OccurrenceAt(const std::string& path) { return *document.productData.Find(KeyAt(path)); }

  /// "path name-of-product" for every component.
  std::vector<std::string> Tree() const {
    std::vector<std::string> lines;
    for (const auto& [path, component] : document.components) {
      lines.push_back(host::PathText(path) + " " +
                      document.productData.ProductText(component.occurrence, c_productName));
    }
    return lines;
  }

  std::vector<std::string> BodyNames(const std::string& path) const {
    std::vector<std::string> names;
    const auto found = document.bodies.find(host::ParsePath(path));
    if (found != document.bodies.end()) {
      for (const host::Body& body : found->second) {
        names.push_back(std::string(body.objectName.Bytes()));
      }
    }
    return names;
  }

  GeometryObject3D ComponentAt(const std::string& path) const {
    return host::ComponentGeometry(host::ParsePath(path), At(path));
  }
  GeometryObject3D BodyAt(const std::string& path, std::size_t index = 0) const {
    const ComponentPath parsed = host::ParsePath(path);
    return host::BodyGeometry(parsed, document.bodies.at(parsed).at(index));
  }

  UniqueMetaObjectKey ProductKey(const std::string& name) const {
    for (const auto& [key, object] : document.productData.All()) {
      const bool isProduct =
          object.type == host::MetaObjectType::partProduct || object.type == host::MetaObjectType::assemblyProduct;
      if (isProduct && document.productData.ProductText(key, c_productName) == name) {
        return key;
      }
    }
    return {};
  }

  /// Null where the assembly has no such line.
  UniqueMetaObjectKey LineKey(const std::string& assembly, const std::string& product) const {
    const UniqueMetaObjectKey holder = ProductKey(assembly);
    const UniqueMetaObjectKey used = ProductKey(product);
    for (const auto& [key, object] : document.productData.All()) {
      if (object.type == host::MetaObjectType::groupObject && object.holder == holder && object.product == used) {
        return key;
      }
    }
    return {};
  }

  /// The numbers of an assembly's bill by the products' names, in its base embodiment.
  std::map<std::string, std::int32_t> Numbers(const std::string& assembly) const {
    return NumbersIn(document.productData.Find(ProductKey(assembly))->embodiment);
  }
  std::map<std::string, std::int32_t> NumbersIn(const UniqueMetaObjectKey& embodiment) const {
    std::map<std::string, std::int32_t> numbers;
    for (const auto& [line, count] : document.productData.FindGroup(embodiment).lines) {
      numbers[document.productData.ProductText(line, c_productName)] =
          host::StoredPosition(document.productData, embodiment, line).value_or(0);
    }
    return numbers;
  }

  /// A link that a person made; the unique set keeps those of other keys than the occurrences'.
  void LinkByHand(const UniqueMetaObjectKey& key, const GeometryObject3D& geometry) {
    document.links->AddLink(key, geometry, LinkSet::Unique);
  }
  /// Where the unique set links a key to: "path name", or nothing.
  std::string LinkedTo(const UniqueMetaObjectKey& key) const {
    const std::vector<GeometryObject3D> found = document.links->GetGeometryObjects(key, LinkSet::Unique);
    return found.empty() ? std::string()
                         : host::PathText(found[0].componentPath) + " " + std::string(found[0].objectName.Bytes());
  }

  host::Document document;
  host::MergeReport report;
};

}  // namespace tests
