#include "host/step/StepAssembly.h"

#include <algorithm>
#include <limits>

#include <fmt/format.h>

namespace host {

namespace {

constexpr std::uint64_t c_most = std::numeric_limits<std::uint64_t>::max();

std::uint64_t AddUpTo(std::uint64_t a, std::uint64_t b) {
  return a > c_most - b ? c_most : a + b;
}

std::uint64_t MultiplyUpTo(std::uint64_t a, std::uint64_t b) {
  return b != 0 && a > c_most / b ? c_most : a * b;
}

}  // namespace

// Takes away, again and again, the products whose holders are all taken; whatever stays is on a cycle or below one.
std::vector<std::size_t> OrderHoldersFirst(const std::vector<StepProduct>& products) {
  std::vector<std::size_t> openUses(products.size());
  for (const StepProduct& product : products) {
    for (const StepUse& use : product.uses) {
      ++openUses[use.product];
    }
  }

  std::vector<std::size_t> order;
  order.reserve(products.size());
  for (std::size_t product = 0; product < products.size(); ++product) {
    if (openUses[product] == 0) {
      order.push_back(product);
    }
  }
  for (std::size_t next = 0; next < order.size(); ++next) {
    for (const StepUse& use : products[order[next]].uses) {
      if (--openUses[use.product] == 0) {
        order.push_back(use.product);
      }
    }
  }
  return order;
}

namespace {

// A tree in which every use is counted anew.
struct TreeSize {
  std::uint64_t occurrences = 0;
  std::uint64_t bodies = 0;
  std::uint64_t levels = 0;
  std::uint64_t pathElements = 0;
};

// Each product as often as it occurs.
struct Occurring {
  std::uint64_t times = 0;
  // The levels of all its places together, and the greatest.
  std::uint64_t levels = 0;
  std::uint64_t deepest = 0;
};

TreeSize SizeOf(const StepAssembly& assembly) {
  std::vector<Occurring> occurs(assembly.products.size());
  for (const std::size_t root : assembly.roots) {
    occurs[root].times = AddUpTo(occurs[root].times, 1);
  }
  TreeSize size;
  for (const std::size_t holder : OrderHoldersFirst(assembly.products)) {
    const StepProduct& product = assembly.products[holder];
    const Occurring& held = occurs[holder];
    if (held.times == 0) {
      continue;
    }
    size.bodies = AddUpTo(size.bodies, MultiplyUpTo(held.times, product.bodies.size()));
    size.levels = std::max(size.levels, held.deepest);
    size.pathElements = AddUpTo(size.pathElements, MultiplyUpTo(held.levels, 1 + product.bodies.size()));
    for (const StepUse& use : product.uses) {
      Occurring& used = occurs[use.product];
      size.occurrences = AddUpTo(size.occurrences, held.times);
      used.times = AddUpTo(used.times, held.times);
      used.levels = AddUpTo(used.levels, AddUpTo(held.levels, held.times));
      used.deepest = std::max(used.deepest, held.deepest + 1);
    }
  }
  return size;
}

}  // namespace

std::uint64_t CountStepOccurrences(const StepAssembly& assembly) {
  return SizeOf(assembly).occurrences;
}

std::optional<std::string> ExcessOf(const StepAssembly& assembly) {
  const TreeSize size = SizeOf(assembly);
  if (size.occurrences > c_maxOccurrences) {
    return fmt::format("more than {} occurrences; import the sub-assemblies one by one", c_maxOccurrences);
  }
  if (size.bodies > c_maxBodies) {
    return fmt::format("more than {} bodies; import the sub-assemblies one by one", c_maxBodies);
  }
  if (size.levels > c_maxLevels || size.pathElements > c_maxPathElements) {
    return fmt::format("assemblies within assemblies, {} levels deep; import the inner ones by themselves",
                       size.levels);
  }
  return std::nullopt;
}

}  // namespace host
