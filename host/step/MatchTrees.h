#pragma once

#include <cstddef>
#include <vector>

#include "host/model/Document.h"
#include "host/step/StepAssembly.h"

namespace host {

/// The trees of a document and of a revised file as lists of nodes, a holder before what it holds, the root first.

inline constexpr std::size_t c_noNode = static_cast<std::size_t>(-1);

struct DocumentNode {
  ComponentPath path;
  /// Null for the root.
  const Component* component = nullptr;
  /// Null where the document names none: no occurrence, one that another component has already, or no product.
  UniqueMetaObjectKey product;
  std::size_t parent = c_noNode;
  std::vector<std::size_t> children;
};

struct FileNode {
  /// Index in StepAssembly::products.
  std::size_t product = 0;
  /// Null for the root.
  const StepUse* use = nullptr;
  std::size_t parent = c_noNode;
  std::vector<std::size_t> children;
};

/// Borrows the document's components.
std::vector<DocumentNode> DocumentTree(const Document& document);
/// Borrows the assembly, whose only root is `root`.
std::vector<FileNode> FileTree(const StepAssembly& assembly, std::size_t root);

/// Which node of the one tree is which of the other; c_noNode where there is none.
struct TreeMatch {
  std::vector<std::size_t> fileNodeOf;
  std::vector<std::size_t> documentNodeOf;
};

/// The existing product of each product of the file, by marking and name, then by either alone where that is
/// unambiguous; null for a new one. Several with one marking and name are told apart by the holder and the identifier
/// of a use, then by holder and place, then by holder, then by order. The roots are the same product whatever they are
/// called, unless one of them stands, by marking and name, within the other tree.
std::vector<UniqueMetaObjectKey> MatchProducts(const ProductData& data, const std::vector<DocumentNode>& documentTree,
                                               const StepAssembly& assembly, const std::vector<FileNode>& fileTree);

/// As MergeAssembly describes. `products` as MatchProducts gives them. O(n log n).
TreeMatch MatchTrees(const std::vector<DocumentNode>& documentTree, const std::vector<FileNode>& fileTree,
                     const std::vector<UniqueMetaObjectKey>& products);

}  // namespace host
