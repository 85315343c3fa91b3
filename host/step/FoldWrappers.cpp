#include "host/step/FoldWrappers.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <unordered_map>
#include <utility>

#include <fmt/format.h>

namespace host {

namespace {

// "=>[" digits and colons "]", what a document names a component that nobody named.
bool IsLabelName(std::string_view name) {
  return name.size() > 4 && name.substr(0, 3) == "=>[" && name.back() == ']' &&
         name.substr(3, name.size() - 4).find_first_not_of("0123456789:") == std::string_view::npos;
}

bool HasNoNameOfItsOwn(const StepProduct& product) {
  static constexpr std::array<std::string_view, 5> c_shapeWords{"", "SOLID", "COMPOUND", "SHELL", "COMPSOLID"};
  return std::find(c_shapeWords.begin(), c_shapeWords.end(), product.name) != c_shapeWords.end();
}

bool IsUseOfBodies(const StepUse& use, const StepProduct& used) {
  return use.generated && used.uses.empty();
}

bool IsExportedUseOfBodies(const StepUse& use, const StepProduct& used) {
  return IsLabelName(use.name) && used.uses.empty() && HasNoNameOfItsOwn(used);
}

class Folder {
 public:
  explicit Folder(StepAssembly& all) : assembly(all), products(all.products) {}

  void Run() {
    std::vector<std::size_t> order = OrderHoldersFirst(products);
    std::reverse(order.begin(), order.end());
    for (const std::size_t product : order) {
      Fold(product);
    }
    Report();
    RemoveUnused();
  }

 private:
  bool IsWrapperThroughout(const StepProduct& product) const {
    return std::all_of(product.uses.begin(), product.uses.end(), [this](const StepUse& use) {
      const StepProduct& used = products[use.product];
      return IsUseOfBodies(use, used) || IsExportedUseOfBodies(use, used);
    });
  }

  void Fold(std::size_t index) {
    StepProduct& product = products[index];
    const bool throughout = IsWrapperThroughout(product);
    std::vector<StepUse> kept;
    const std::size_t bodiesBefore = product.bodies.size();
    for (StepUse& use : product.uses) {
      const std::vector<StepBody>& bodies = products[use.product].bodies;
      if (!throughout && !IsUseOfBodies(use, products[use.product])) {
        kept.push_back(std::move(use));
      } else if (bodies.size() > c_stepMaxFoldedBodies - copied) {
        isCutShort = true;
        kept.push_back(std::move(use));
      } else {
        copied += bodies.size();
        product.bodies.insert(product.bodies.end(), bodies.begin(), bodies.end());
      }
    }
    if (kept.size() == product.uses.size()) {
      product.uses = std::move(kept);
      return;
    }
    product.uses = std::move(kept);
    if (product.bodies.size() != bodiesBefore) {
      ClearSharedIds(product.bodies);
    }
    if (wrappers + assemblies == 0) {
      first = index;
    }
    ++(product.uses.empty() ? wrappers : assemblies);
  }

  static void ClearSharedIds(std::vector<StepBody>& bodies) {
    std::unordered_map<std::string, std::size_t> count;
    for (const StepBody& body : bodies) {
      ++count[body.id];
    }
    for (StepBody& body : bodies) {
      if (count[body.id] > 1) {
        body.id.clear();
      }
    }
  }

  std::string FirstName() const { return products[first].name.empty() ? products[first].id : products[first].name; }

  void Report() {
    std::vector<std::string> parts;
    if (wrappers > 0) {
      parts.push_back(fmt::format("{} wrapper {} into the {}", wrappers, wrappers == 1 ? "assembly" : "assemblies",
                                  wrappers == 1 ? "part that it wraps" : "parts that they wrap"));
    }
    if (assemblies > 0) {
      parts.push_back(fmt::format("generated components of {} {} into the holder's own bodies", assemblies,
                                  assemblies == 1 ? "assembly" : "assemblies"));
    }
    if (!parts.empty()) {
      assembly.warnings.push_back(fmt::format("folded {}, \"{}\" the first; --keep-wrappers leaves them",
                                              fmt::join(parts, " and "), FirstName()));
    }
    if (isCutShort) {
      assembly.warnings.push_back(
          fmt::format("wrapper assemblies stand for more than {} bodies; those beyond stay "
                      "as they are",
                      c_stepMaxFoldedBodies));
    }
  }

  // What no root reaches is gone, whether folding cut it off or nothing ever used it.
  void RemoveUnused() {
    std::vector<bool> reached(products.size());
    std::vector<std::size_t> open = assembly.roots;
    while (!open.empty()) {
      const std::size_t product = open.back();
      open.pop_back();
      if (reached[product]) {
        continue;
      }
      reached[product] = true;
      for (const StepUse& use : products[product].uses) {
        open.push_back(use.product);
      }
    }

    std::vector<std::size_t> newIndex(products.size());
    std::size_t kept = 0;
    for (std::size_t product = 0; product < products.size(); ++product) {
      if (reached[product]) {
        newIndex[product] = kept;
        if (kept != product) {
          products[kept] = std::move(products[product]);
        }
        ++kept;
      }
    }
    products.resize(kept);
    for (StepProduct& product : products) {
      for (StepUse& use : product.uses) {
        use.product = newIndex[use.product];
      }
    }
    for (std::size_t& root : assembly.roots) {
      root = newIndex[root];
    }
  }

  StepAssembly& assembly;
  std::vector<StepProduct>& products;
  std::size_t copied = 0;
  // Holders that lost all of their uses, and those that lost some.
  std::size_t wrappers = 0;
  std::size_t assemblies = 0;
  std::size_t first = 0;
  bool isCutShort = false;
};

}  // namespace

void FoldWrappers(StepAssembly& assembly) {
  Folder(assembly).Run();
}

}  // namespace host
