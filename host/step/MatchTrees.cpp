#include "host/step/MatchTrees.h"

#include <algorithm>
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

using Nodes = std::vector<std::size_t>;

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

// Finds the existing product of each product of a file.
class ProductMatcher {
 public:
  ProductMatcher(const ProductData& productData, const std::vector<DocumentNode>& documentTree,
                 const StepAssembly& source, const std::vector<FileNode>& fileTree)
      : data(productData), before(documentTree), after(fileTree), products(source.products), result(products.size()) {}

  std::vector<UniqueMetaObjectKey> Run() {
    ListUsed();
    if (!IsOneRootWithinTheOtherTree()) {
      MatchRoots();
    }
    const auto both = [](const Texts& texts) { return std::optional(texts); };
    // A product is not recognised by a text that it does not have.
    const auto marking = [](const Texts& texts) {
      return texts.first.empty() ? std::nullopt : std::optional(Texts(texts.first, ""));
    };
    const auto name = [](const Texts& texts) {
      return texts.second.empty() ? std::nullopt : std::optional(Texts("", texts.second));
    };
    MatchByTexts(both, true);
    MatchNamesakes();
    MatchByTexts(both, false);
    MatchByTexts(marking, true);
    MatchByTexts(name, true);
    MatchRoots();
    return std::move(result);
  }

 private:
  // Marking and name.
  using Texts = std::pair<std::string, std::string>;

  void Take(std::size_t product, const UniqueMetaObjectKey& key) {
    result[product] = key;
    taken.insert(key);
  }

  // The roots are the same product whatever they are called.
  void MatchRoots() {
    if (IsOpen(after.front().product) && !taken.contains(before.front().product)) {
      Take(after.front().product, before.front().product);
    }
  }

  // A root that gets others beside it, or loses them, is found below the root that is made for all of them.
  bool IsOneRootWithinTheOtherTree() const {
    const Texts fresh = TextsOf(after.front().product);
    const Texts old(data.ProductText(before.front().product, c_marking),
                    data.ProductText(before.front().product, c_productName));
    const Texts none;
    if (old == fresh) {
      return false;
    }
    const bool isFreshWithin =
        fresh != none && std::any_of(existing.begin(), existing.end(),
                                     [&fresh](const auto& product) { return product.second == fresh; });
    const bool isOldWithin = old != none && std::any_of(used.begin(), used.end(), [this, &old](std::size_t product) {
                               return TextsOf(product) == old;
                             });
    return isFreshWithin || isOldWithin;
  }

  bool IsOpen(std::size_t product) const { return result[product] == UniqueMetaObjectKey::null; }

  // The products of both trees in the order of their first use.
  void ListUsed() {
    std::set<UniqueMetaObjectKey> seen = taken;
    for (const DocumentNode& node : before) {
      if (seen.insert(node.product).second) {
        existing.emplace_back(node.product, Texts(data.ProductText(node.product, c_marking),
                                                  data.ProductText(node.product, c_productName)));
      }
    }
    std::vector<bool> isListed(products.size(), false);
    for (const FileNode& node : after) {
      if (!isListed[node.product] && IsOpen(node.product)) {
        isListed[node.product] = true;
        used.push_back(node.product);
      }
    }
  }

  Texts TextsOf(std::size_t product) const { return Texts(products[product].id, products[product].name); }

  template <class Chosen>
  void MatchByTexts(Chosen chosen, bool onlyIfUnambiguous) {
    std::map<std::optional<Texts>, std::deque<UniqueMetaObjectKey>> waiting;
    for (const auto& [key, texts] : existing) {
      if (!taken.contains(key)) {
        waiting[chosen(texts)].push_back(key);
      }
    }
    std::map<std::optional<Texts>, std::size_t> askedFor;
    for (const std::size_t product : used) {
      if (IsOpen(product)) {
        ++askedFor[chosen(TextsOf(product))];
      }
    }
    for (const std::size_t product : used) {
      const std::optional<Texts> texts = chosen(TextsOf(product));
      const auto found = waiting.find(texts);
      const bool isFree = texts && IsOpen(product) && found != waiting.end() && !found->second.empty();
      if (isFree && (!onlyIfUnambiguous || (found->second.size() == 1 && askedFor[texts] == 1))) {
        Take(product, found->second.front());
        found->second.pop_front();
      }
    }
  }

  // Several products with one marking and name are told apart by their uses: one that stays is used in the same
  // holder, under the same identifier or in the same place.
  void MatchNamesakes() {
    std::map<UniqueMetaObjectKey, Texts> oldTexts;
    std::set<Texts> texts;
    for (const auto& [key, textsOfExisting] : existing) {
      if (!taken.contains(key)) {
        oldTexts.emplace(key, textsOfExisting);
        texts.insert(textsOfExisting);
      }
    }
    Nodes freshUses;
    for (std::size_t node = 1; node < after.size(); ++node) {
      if (IsOpen(after[node].product) && texts.contains(TextsOf(after[node].product))) {
        freshUses.push_back(node);
      }
    }
    if (freshUses.empty()) {
      return;
    }
    for (const Evidence evidence : {Evidence::fileId, Evidence::place, Evidence::holder}) {
      MatchByUses(oldTexts, freshUses, evidence);
    }
  }

  enum class Evidence { fileId, place, holder };

  // What two uses must have in common; none where there is no such evidence.
  using Use = std::tuple<Texts, UniqueMetaObjectKey, std::string, Placement>;
  static std::optional<Use> UseIn(const UniqueMetaObjectKey& holder, const Texts& texts, const std::string& fileId,
                                  const Placement& placement, Evidence evidence) {
    if (evidence == Evidence::fileId && fileId.empty()) {
      return std::nullopt;
    }
    return Use(texts, holder, evidence == Evidence::fileId ? fileId : std::string(),
               evidence == Evidence::place ? Rounded(placement) : Placement{});
  }

  void MatchByUses(const std::map<UniqueMetaObjectKey, Texts>& oldTexts, const Nodes& freshUses, Evidence evidence) {
    std::map<Use, std::deque<UniqueMetaObjectKey>> waiting;
    for (std::size_t node = 1; node < before.size(); ++node) {
      const DocumentNode& old = before[node];
      const auto texts = oldTexts.find(old.product);
      if (texts == oldTexts.end() || taken.contains(old.product)) {
        continue;
      }
      if (const auto use = UseIn(before[old.parent].product, texts->second, old.component->fileId,
                                 old.component->placement, evidence)) {
        waiting[*use].push_back(old.product);
      }
    }
    // A holder comes before what it holds, so it is recognised first.
    for (const std::size_t node : freshUses) {
      const FileNode& fresh = after[node];
      if (!IsOpen(fresh.product)) {
        continue;
      }
      const auto use = UseIn(result[after[fresh.parent].product], TextsOf(fresh.product), fresh.use->id,
                             fresh.use->placement, evidence);
      const auto found = use ? waiting.find(*use) : waiting.end();
      if (found == waiting.end()) {
        continue;
      }
      auto& olds = found->second;
      while (!olds.empty() && taken.contains(olds.front())) {
        olds.pop_front();
      }
      if (!olds.empty()) {
        Take(fresh.product, olds.front());
      }
    }
  }

  const ProductData& data;
  const std::vector<DocumentNode>& before;
  const std::vector<FileNode>& after;
  const std::vector<StepProduct>& products;
  // By product of the file.
  std::vector<UniqueMetaObjectKey> result;
  std::set<UniqueMetaObjectKey> taken{UniqueMetaObjectKey::null};
  std::vector<std::pair<UniqueMetaObjectKey, Texts>> existing;
  std::vector<std::size_t> used;
};

// Only what the document says soundly can be recognised; null for anything else, so that it is taken for gone.
UniqueMetaObjectKey SoundProduct(const ProductData& data, const UniqueMetaObjectKey& key) {
  const MetaObject* product = data.Find(key);
  const bool isProduct = product != nullptr && (product->type == MetaObjectType::partProduct ||
                                                product->type == MetaObjectType::assemblyProduct);
  return isProduct ? key : UniqueMetaObjectKey::null;
}

}  // namespace

std::vector<DocumentNode> DocumentTree(const Document& document) {
  std::vector<DocumentNode> tree;
  tree.reserve(document.components.size() + 1);
  const ProductData& data = document.productData;
  tree.push_back({ComponentPath(), nullptr, SoundProduct(data, data.RootProduct()), c_noNode, {}});
  std::set<UniqueMetaObjectKey> seen;
  // The last node seen on every level; a component comes directly or later after the one that holds it.
  std::vector<std::size_t> lastOnLevel{0};
  for (const auto& [path, component] : document.components) {
    const std::size_t level = path.Count();
    lastOnLevel.resize(level);
    const std::size_t parent = lastOnLevel.back();
    lastOnLevel.push_back(tree.size());
    tree[parent].children.push_back(tree.size());
    const MetaObject* occurrence = data.Find(component.occurrence);
    const bool isSound =
        occurrence != nullptr && occurrence->IsOccurrence() && seen.insert(component.occurrence).second;
    tree.push_back(
        {path, &component, isSound ? SoundProduct(data, occurrence->product) : UniqueMetaObjectKey::null, parent, {}});
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
  return ProductMatcher(data, documentTree, assembly, fileTree).Run();
}

TreeMatch MatchTrees(const std::vector<DocumentNode>& documentTree, const std::vector<FileNode>& fileTree,
                     const std::vector<UniqueMetaObjectKey>& products) {
  return Matcher(documentTree, fileTree, products).Run();
}

}  // namespace host
