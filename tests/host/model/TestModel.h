#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "host/model/Document.h"
#include "host/model/Positions.h"
#include "host/model/TextForms.h"
#include "host/step/MergeAssembly.h"
#include "tests/support/PlatformPrinting.h"
#include "tests/support/ProductDataMocks.h"
#include "vocabulary/PropertyNames.h"

inline UniqueMetaObjectKey Key(const std::string& bytes) {
  return UniqueMetaObjectKey(bytes);
}

/// A product as the tests describe it; uses name other products by their marking.
struct TestProduct {
  std::string marking;
  std::string name;
  std::vector<std::string> uses;
  std::size_t bodies = 0;
};

/// The first product is the root.
inline host::StepAssembly StructureOf(const std::vector<TestProduct>& products) {
  std::map<std::string, std::size_t> indexes;
  for (const TestProduct& product : products) {
    indexes.emplace(product.marking, indexes.size());
  }
  host::StepAssembly assembly;
  for (const TestProduct& product : products) {
    host::StepProduct made{product.name, product.marking, {}, {}};
    made.bodies.resize(product.bodies);
    for (const std::string& use : product.uses) {
      made.uses.push_back({indexes.at(use), {}, {}, host::c_stepIdentity, false});
    }
    assembly.products.push_back(std::move(made));
  }
  assembly.roots = {0};
  return assembly;
}

/// A machine of frame 1, plate 2, bolt 3 and frame 4; each frame has a weld, its own body, and is made of plate 1 and
/// bolts 2, 3 and 4. So it has six equal bolts in its frames, and one beside them. A plate has two bodies.
inline std::vector<TestProduct> MachineProducts() {
  return {{"M", "Machine", {"F", "P", "B", "F"}, 0},
          {"F", "Frame", {"P", "B", "B", "B"}, 1},
          {"P", "Plate", {}, 2},
          {"B", "Bolt", {}, 1}};
}

/// A document as an import makes it. Paths are texts with the outermost component first; products go by their
/// marking.
class TestModel {
 public:
  explicit TestModel(const std::vector<TestProduct>& products = MachineProducts()) { Update(products); }

  void Update(const std::vector<TestProduct>& products) {
    host::MergeAssembly(document, StructureOf(products), "file");
  }

  host::ProductData& Data() { return document.productData; }

  host::Component& ComponentAt(const std::string& path) { return document.components.at(host::ParsePath(path)); }
  const UniqueMetaObjectKey& OccurrenceAt(const std::string& path) { return ComponentAt(path).occurrence; }
  host::MetaObject& ObjectAt(const std::string& path) { return *Data().Find(OccurrenceAt(path)); }

  GeometryObject3D GeometryAt(const std::string& path) {
    return host::ComponentGeometry(host::ParsePath(path), ComponentAt(path));
  }
  /// The body with this number, from 1 on, of a component.
  GeometryObject3D BodyAt(const std::string& path, std::size_t number = 1) {
    const ComponentPath parsed = host::ParsePath(path);
    return host::BodyGeometry(parsed, document.bodies.at(parsed).at(number - 1));
  }

  UniqueMetaObjectKey Product(const std::string& marking) {
    return KeyWhere([&](const UniqueMetaObjectKey& key, const host::MetaObject& object) {
      return (object.type == host::MetaObjectType::partProduct ||
              object.type == host::MetaObjectType::assemblyProduct) &&
             Data().ProductText(key, c_marking) == marking;
    });
  }
  /// The line of a product in the bill of an assembly.
  UniqueMetaObjectKey Line(const std::string& assembly, const std::string& product) {
    return KeyWhere([holder = Product(assembly), used = Product(product)](const auto&, const host::MetaObject& object) {
      return object.type == host::MetaObjectType::groupObject && object.holder == holder && object.product == used;
    });
  }
  /// The base embodiment of an assembly.
  UniqueMetaObjectKey Base(const std::string& assembly) { return Data().Find(Product(assembly))->embodiment; }

  void SetAttributes(const UniqueMetaObjectKey& object, const PartAttributes& attributes) {
    Data().Find(object)->part = AttributedPart{attributes};
  }

  /// A line and its occurrences become stock.
  void MakeStock(const UniqueMetaObjectKey& line, host::BilletKind kind) {
    Data().Find(line)->billet = kind;
    for (const auto& [path, component] : document.components) {
      host::MetaObject* occurrence = Data().Find(component.occurrence);
      if (occurrence != nullptr && occurrence->groupObject == line) {
        occurrence->billet = kind;
        occurrence->type = host::MetaObjectType::billet;
      }
    }
    for (const UniqueMetaObjectKey& embodiment : Data().EmbodimentsOf(Data().Find(line)->holder)) {
      Data().SetGroupValue(embodiment, line, c_position, SimplePropVal());
    }
    host::RebuildPositionLinks(document);
  }

  host::Document document;

 private:
  template <class Matches>
  UniqueMetaObjectKey KeyWhere(Matches matches) {
    for (const auto& [key, object] : Data().All()) {
      if (matches(key, object)) {
        return key;
      }
    }
    ADD_FAILURE() << "the model has no such object";
    return {};
  }
};

inline constexpr PartAttributes c_included{.includeFlag = true, .excludeFlag = false, .embodimentBoundFlag = 0};
inline constexpr PartAttributes c_notIncluded{.includeFlag = false, .excludeFlag = false, .embodimentBoundFlag = 0};
inline constexpr PartAttributes c_excluded{.includeFlag = true, .excludeFlag = true, .embodimentBoundFlag = 0};
inline constexpr PartAttributes c_bound{.includeFlag = true, .excludeFlag = false, .embodimentBoundFlag = 1};
