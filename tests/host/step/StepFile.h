// Builds product structures as a STEP file would give them, for tests.

#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/step/StepAssembly.h"

namespace tests {

/// Moved along x.
inline host::StepPlacement Moved(double x) {
  host::StepPlacement placement = host::c_stepIdentity;
  placement[3] = x;
  return placement;
}

/// Turned by a quarter about z, then moved along x.
inline host::StepPlacement TurnedAndMoved(double x) {
  return {0, -1, 0, x, 1, 0, 0, 0, 0, 0, 1, 0};
}

inline host::StepBody Solid(const std::string& id = {}) {
  return {host::StepBody::Kind::solid, id, id};
}

inline host::StepBody OpenShell(const std::string& id = {}) {
  return {host::StepBody::Kind::openShell, id, id};
}

/// A use of a product by that product's name in StepFile.
struct UseOf {
  std::string product;
  /// The identifier of the use; may be empty.
  std::string id = {};
  host::StepPlacement placement = host::c_stepIdentity;
};

/// A file of products that are called by names: each has its name, and "m-" before it as its marking.
class StepFile {
 public:
  StepFile& Part(const std::string& name, std::vector<host::StepBody> bodies = {Solid()}) {
    ProductOf(name).bodies = std::move(bodies);
    return *this;
  }

  /// In place of the uses that it had.
  StepFile& Assembly(const std::string& name, const std::vector<UseOf>& uses) {
    ProductOf(name);
    usesOf[name] = uses;
    return *this;
  }

  StepFile& Called(const std::string& name, const std::string& marking, const std::string& productName) {
    ProductOf(name).id = marking;
    ProductOf(name).name = productName;
    return *this;
  }

  StepFile& Roots(std::vector<std::string> names) {
    roots = std::move(names);
    return *this;
  }

  std::vector<UseOf>& UsesOf(const std::string& name) { return usesOf.at(name); }
  host::StepProduct& ProductOf(const std::string& name) {
    const auto [found, isNew] = indexes.emplace(name, products.size());
    if (isNew) {
      products.push_back({name, "m-" + name, {}, {}});
    }
    return products[found->second];
  }

  /// The root is the first product unless Roots says otherwise.
  host::StepAssembly Value() const {
    host::StepAssembly assembly;
    assembly.products = products;
    for (const auto& [name, uses] : usesOf) {
      for (const UseOf& use : uses) {
        assembly.products[indexes.at(name)].uses.push_back(
            {indexes.at(use.product), use.product, use.id, use.placement, false});
      }
    }
    for (const std::string& root : roots) {
      assembly.roots.push_back(indexes.at(root));
    }
    if (roots.empty()) {
      assembly.roots = {0};
    }
    return assembly;
  }

 private:
  std::vector<host::StepProduct> products;
  std::map<std::string, std::size_t> indexes;
  std::map<std::string, std::vector<UseOf>> usesOf;
  std::vector<std::string> roots;
};

}  // namespace tests
