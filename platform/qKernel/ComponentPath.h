#pragma once

#include <algorithm>

#include <qKernel/Export.h>
#include <qKernel/MbPath.h>

/// The path of a component in the tree of a document: one index per level. The empty path is the document's own
/// component. Geometry objects store it with the outermost component last.
class QKERNEL_API ComponentPath : public MbPath {
 public:
  using MbPath::MbPath;
  ComponentPath() noexcept = default;
  explicit ComponentPath(const MbPath& path) : MbPath(path) {}

  /// True when `path` lies in the branch that this path names: this path is a beginning of it. Both are given with
  /// the outermost component FIRST. A path lies in its own branch, and every path in that of the empty one.
  bool IsSubDirectory(const MbPath& path) const noexcept {
    return Count() <= path.Count() && std::equal(begin(), end(), path.begin());
  }
};
