#include "host/step/MatchTrees.h"

#include <array>
#include <cmath>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "vocabulary/PropertyNames.h"

namespace host {

namespace {

// Placements are compared to a millionth of a millimetre.
Placement Rounded(Placement placement) {
  for (double& number : placement) {
    number = std::round(number * 1e6);
  }
  return placement;
}

Placement Composed(const Placement& outer, const Placement& inner) {
  Placement result{};
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t column = 0; column < 4; ++column) {
      double sum = column == 3 ? outer[row * 4 + 3] : 0;
      for (std::size_t k = 0; k < 3; ++k) {
        sum += outer[row * 4 + k] * inner[k * 4 + column];
      }
      result[row * 4 + column] = sum;
    }
  }
  return result;
}

// The placement of every node in the coordinates of the root.
template <class Node, class PlacementOf>
std::vector<Placement> PlacementsInRoot(const std::vector<Node>& tree, PlacementOf placementOf) {
  std::vector<Placement> result(tree.size(), c_stepIdentity);
  for (std::size_t i = 1; i < tree.size(); ++i) {
    result[i] = Composed(result[tree[i].parent], placementOf(tree[i]));
  }
  return result;
}

class Matcher {
 public:
  Matcher(const std::vector<DocumentNode>& documentTree, const std::vector<FileNode>& fileTree,
          const std::vector<UniqueMetaObjectKey>& existing)
      : before(documentTree), after(fileTree), products(existing) {
    match.fileNodeOf.assign(before.size(), c_noNode);
    match.documentNodeOf.assign(after.size(), c_noNode);
  }

  TreeMatch Run() {
    Take(0, 0);
    MatchBelow();
    MatchMoved();
    return std::move(match);
  }

 private:
  using Nodes = std::vector<std::size_t>;

  void Take(std::size_t old, std::size_t fresh) {
    match.fileNodeOf[old] = fresh;
    match.documentNodeOf[fresh] = old;
    open.emplace_back(old, fresh);
  }

  // Matches what the matched holders hold, down to the leaves.
  void MatchBelow() {
    while (!open.empty()) {
      const auto [old, fresh] = open.front();
      open.pop_front();
      Pair(before[old].children, after[fresh].children, FileId());
      Pair(before[old].children, after[fresh].children, PlaceInHolder());
      Pair(before[old].children, after[fresh].children, ProductAlone());
    }
  }

  // What is left may have moved to another holder. A match brings along what it holds, so one is made at a time.
  void MatchMoved() {
    Nodes oldLeft = Left(before.size(), match.fileNodeOf);
    Nodes freshLeft = Left(after.size(), match.documentNodeOf);
    Pair(oldLeft, freshLeft, FileId(), true);
    const auto oldPlaces = PlacementsInRoot(before, [](const DocumentNode& node) { return node.component->placement; });
    const auto freshPlaces = PlacementsInRoot(after, [](const FileNode& node) { return node.use->placement; });
    Pair(oldLeft, freshLeft, PlaceInRoot{oldPlaces, freshPlaces}, true);
    const std::set<UniqueMetaObjectKey> balanced = BalancedProducts(oldLeft, freshLeft);
    Pair(oldLeft, freshLeft, ProductAmong{balanced}, true);
  }

  static Nodes Left(std::size_t count, const Nodes& counterparts) {
    Nodes left;
    for (std::size_t i = 0; i < count; ++i) {
      if (counterparts[i] == c_noNode) {
        left.push_back(i);
      }
    }
    return left;
  }

  // The products of which as many nodes are left on both sides.
  std::set<UniqueMetaObjectKey> BalancedProducts(const Nodes& oldLeft, const Nodes& freshLeft) const {
    std::map<UniqueMetaObjectKey, std::ptrdiff_t> surplus;
    for (const std::size_t node : oldLeft) {
      if (match.fileNodeOf[node] == c_noNode) {
        ++surplus[before[node].product];
      }
    }
    for (const std::size_t node : freshLeft) {
      if (match.documentNodeOf[node] == c_noNode) {
        --surplus[ProductOf(node)];
      }
    }
    std::set<UniqueMetaObjectKey> balanced;
    for (const auto& [product, count] : surplus) {
      if (count == 0) {
        balanced.insert(product);
      }
    }
    return balanced;
  }

  const UniqueMetaObjectKey& ProductOf(std::size_t fresh) const { return products[after[fresh].product]; }

  // What two nodes must have in common, beside their product. Each gives a value or, for a node that it does not
  // apply to, none.
  struct FileId {
    std::optional<std::string> Old(const Matcher& matcher, std::size_t node) const {
      return NotEmpty(matcher.before[node].component->fileId);
    }
    std::optional<std::string> Fresh(const Matcher& matcher, std::size_t node) const {
      return NotEmpty(matcher.after[node].use->id);
    }
    static std::optional<std::string> NotEmpty(const std::string& id) {
      return id.empty() ? std::nullopt : std::optional(id);
    }
  };
  struct PlaceInHolder {
    std::optional<Placement> Old(const Matcher& matcher, std::size_t node) const {
      return Rounded(matcher.before[node].component->placement);
    }
    std::optional<Placement> Fresh(const Matcher& matcher, std::size_t node) const {
      return Rounded(matcher.after[node].use->placement);
    }
  };
  struct PlaceInRoot {
    const std::vector<Placement>& oldPlaces;
    const std::vector<Placement>& freshPlaces;
    std::optional<Placement> Old(const Matcher&, std::size_t node) const { return Rounded(oldPlaces[node]); }
    std::optional<Placement> Fresh(const Matcher&, std::size_t node) const { return Rounded(freshPlaces[node]); }
  };
  struct ProductAlone {
    std::optional<int> Old(const Matcher&, std::size_t) const { return 0; }
    std::optional<int> Fresh(const Matcher&, std::size_t) const { return 0; }
  };
  struct ProductAmong {
    const std::set<UniqueMetaObjectKey>& balanced;
    std::optional<int> Old(const Matcher& matcher, std::size_t node) const {
      return balanced.contains(matcher.before[node].product) ? std::optional(0) : std::nullopt;
    }
    std::optional<int> Fresh(const Matcher&, std::size_t) const { return 0; }
  };

  // Matches nodes of the two lists that are not matched yet, are of the same product, and have `criterion` in common;
  // the first with the first.
  template <class Criterion>
  void Pair(const Nodes& oldNodes, const Nodes& freshNodes, const Criterion& criterion, bool matchBelowAtOnce = false) {
    using Value = typename decltype(criterion.Old(*this, 0))::value_type;
    std::map<std::pair<UniqueMetaObjectKey, Value>, std::deque<std::size_t>> waiting;
    for (const std::size_t old : oldNodes) {
      if (match.fileNodeOf[old] == c_noNode) {
        if (auto value = criterion.Old(*this, old)) {
          waiting[{before[old].product, *std::move(value)}].push_back(old);
        }
      }
    }
    for (const std::size_t fresh : freshNodes) {
      if (match.documentNodeOf[fresh] != c_noNode || ProductOf(fresh) == UniqueMetaObjectKey::null) {
        continue;
      }
      auto value = criterion.Fresh(*this, fresh);
      const auto found = value ? waiting.find({ProductOf(fresh), *std::move(value)}) : waiting.end();
      if (found == waiting.end()) {
        continue;
      }
      auto& olds = found->second;
      // What waited may have been matched meanwhile, along with its holder.
      while (!olds.empty() && match.fileNodeOf[olds.front()] != c_noNode) {
        olds.pop_front();
      }
      if (!olds.empty()) {
        Take(olds.front(), fresh);
        olds.pop_front();
        if (matchBelowAtOnce) {
          MatchBelow();
        }
      }
    }
  }

  const std::vector<DocumentNode>& before;
  const std::vector<FileNode>& after;
  const std::vector<UniqueMetaObjectKey>& products;
  TreeMatch match;
  std::deque<std::pair<std::size_t, std::size_t>> open;
};

// The products of the file in the order of their first use.
std::vector<std::size_t> UsedProducts(const StepAssembly& assembly, const std::vector<FileNode>& tree) {
  std::vector<bool> isSeen(assembly.products.size(), false);
  std::vector<std::size_t> used;
  for (const FileNode& node : tree) {
    if (!isSeen[node.product]) {
      isSeen[node.product] = true;
      used.push_back(node.product);
    }
  }
  return used;
}

}  // namespace

std::vector<DocumentNode> DocumentTree(const Document& document) {
  std::vector<DocumentNode> tree;
  tree.reserve(document.components.size() + 1);
  tree.push_back({ComponentPath(), nullptr, document.productData.RootProduct(), c_noNode, {}});
  // The last node seen on every level; a component comes directly or later after the one that holds it.
  std::vector<std::size_t> lastOnLevel{0};
  for (const auto& [path, component] : document.components) {
    const std::size_t level = path.Count();
    lastOnLevel.resize(level);
    const std::size_t parent = lastOnLevel.back();
    lastOnLevel.push_back(tree.size());
    tree[parent].children.push_back(tree.size());
    const MetaObject* occurrence = document.productData.Find(component.occurrence);
    tree.push_back({path, &component, occurrence == nullptr ? UniqueMetaObjectKey::null : occurrence->product, parent, {}});
  }
  return tree;
}

std::vector<FileNode> FileTree(const StepAssembly& assembly, std::size_t root) {
  std::vector<FileNode> tree;
  tree.push_back({root, nullptr, c_noNode, {}});
  // Level by level, which is also a holder before what it holds.
  for (std::size_t node = 0; node < tree.size(); ++node) {
    for (const StepUse& use : assembly.products[tree[node].product].uses) {
      tree[node].children.push_back(tree.size());
      tree.push_back({use.product, &use, node, {}});
    }
  }
  return tree;
}

std::vector<UniqueMetaObjectKey> MatchProducts(const ProductData& data, const std::vector<DocumentNode>& documentTree,
                                               const StepAssembly& assembly, const std::vector<FileNode>& fileTree) {
  std::vector<UniqueMetaObjectKey> result(assembly.products.size());
  std::set<UniqueMetaObjectKey> taken{UniqueMetaObjectKey::null};
  const auto take = [&](std::size_t product, const UniqueMetaObjectKey& key) {
    result[product] = key;
    taken.insert(key);
  };
  take(fileTree.front().product, data.RootProduct());

  std::vector<UniqueMetaObjectKey> existing;
  std::set<UniqueMetaObjectKey> seen;
  for (const DocumentNode& node : documentTree) {
    if (!(node.product == UniqueMetaObjectKey::null) && seen.insert(node.product).second) {
      existing.push_back(node.product);
    }
  }
  const std::vector<std::size_t> used = UsedProducts(assembly, fileTree);
  using Texts = std::pair<std::string, std::string>;
  const auto pass = [&](auto textsOfExisting, auto textsOfFile, bool onlyIfUnambiguous) {
    std::map<Texts, std::deque<UniqueMetaObjectKey>> waiting;
    for (const UniqueMetaObjectKey& key : existing) {
      if (!taken.contains(key)) {
        waiting[textsOfExisting(key)].push_back(key);
      }
    }
    std::map<Texts, std::size_t> askedFor;
    for (const std::size_t product : used) {
      if (result[product] == UniqueMetaObjectKey::null) {
        ++askedFor[textsOfFile(product)];
      }
    }
    for (const std::size_t product : used) {
      const Texts texts = textsOfFile(product);
      const auto found = waiting.find(texts);
      const bool isFree = result[product] == UniqueMetaObjectKey::null && found != waiting.end() &&
                          !found->second.empty() && !(texts.first.empty() && texts.second.empty());
      if (isFree && (!onlyIfUnambiguous || (found->second.size() == 1 && askedFor[texts] == 1))) {
        take(product, found->second.front());
        found->second.pop_front();
      }
    }
  };
  const auto marking = [&data](const UniqueMetaObjectKey& key) { return data.ProductText(key, c_marking); };
  const auto name = [&data](const UniqueMetaObjectKey& key) { return data.ProductText(key, c_productName); };
  const auto& products = assembly.products;
  pass([&](const auto& key) { return Texts(marking(key), name(key)); },
       [&](std::size_t product) { return Texts(products[product].id, products[product].name); }, false);
  pass([&](const auto& key) { return Texts(marking(key), ""); },
       [&](std::size_t product) { return Texts(products[product].id, ""); }, true);
  pass([&](const auto& key) { return Texts("", name(key)); },
       [&](std::size_t product) { return Texts("", products[product].name); }, true);
  return result;
}

TreeMatch MatchTrees(const std::vector<DocumentNode>& documentTree, const std::vector<FileNode>& fileTree,
                     const std::vector<UniqueMetaObjectKey>& products) {
  return Matcher(documentTree, fileTree, products).Run();
}

}  // namespace host
