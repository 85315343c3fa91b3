#include "host/step/StepAssembly.h"

#include <limits>

namespace host {

namespace {

constexpr std::uint64_t c_most = std::numeric_limits<std::uint64_t>::max();

std::uint64_t AddUpTo(std::uint64_t a, std::uint64_t b) {
  return a > c_most - b ? c_most : a + b;
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

std::uint64_t CountStepOccurrences(const StepAssembly& assembly) {
  std::vector<std::uint64_t> occurs(assembly.products.size());
  for (const std::size_t root : assembly.roots) {
    occurs[root] = AddUpTo(occurs[root], 1);
  }

  std::uint64_t total = 0;
  for (const std::size_t holder : OrderHoldersFirst(assembly.products)) {
    for (const StepUse& use : assembly.products[holder].uses) {
      total = AddUpTo(total, occurs[holder]);
      occurs[use.product] = AddUpTo(occurs[use.product], occurs[holder]);
    }
  }
  return total;
}

}  // namespace host
