#pragma once

#include <qKernel/MbPath.h>
#include <qProdData/Export.h>
#include <qProdData/UniqueMetaObjectKey.h>

/// Where embodiments come from.
class QPRODDATA_API IfEmbodimentsSource {
 public:
  IfEmbodimentsSource() = default;
  IfEmbodimentsSource(const IfEmbodimentsSource&) = delete;
  IfEmbodimentsSource& operator=(const IfEmbodimentsSource&) = delete;
  virtual ~IfEmbodimentsSource();

  virtual UniqueMetaObjectKey FindEmbodiment(const MbPath& path) const = 0;
};

/// The embodiments in use along the component tree. A value that borrows its source.
class QPRODDATA_API EmbodimentsTree {
 public:
  explicit EmbodimentsTree(const IfEmbodimentsSource& embodiments) : source(&embodiments) {}

  /// The embodiment that the innermost assembly on the path is used in, the component that the path names included;
  /// for the empty path that of the root. The null key where no such component exists. The path has its outermost
  /// component last.
  UniqueMetaObjectKey GetEmbodimenKey(const MbPath& path) const { return source->FindEmbodiment(path); }

 private:
  const IfEmbodimentsSource* source;
};
