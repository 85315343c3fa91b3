#pragma once

#include <functional>
#include <memory>

#include <qDocument/IfDocObject.h>
#include <qProdData/EmbodimentsTree.h>

#include "host/model/Document.h"

namespace host {

class ModelBody;
class ModelComponent;

/// Which embodiment each component of a document is used in. Borrows the document. The root may be seen in any of its
/// embodiments.
class ModelEmbodiments final : public IfEmbodimentsSource {
 public:
  ModelEmbodiments(const Document& model, UniqueMetaObjectKey embodimentOfRoot);

  /// As EmbodimentsTree::GetEmbodimenKey; logarithmic, times the length of the path.
  UniqueMetaObjectKey FindEmbodiment(const MbPath& path) const override;
  EmbodimentsTree Tree() const { return EmbodimentsTree(*this); }

 private:
  const Document& document;
  UniqueMetaObjectKey rootEmbodiment;
};

/// A document through the interfaces that the library asks: components and built bodies, with the root seen in one of
/// its embodiments. Borrows the document, whose components, bodies and meta objects must stay while it lives.
/// Its own component comes first; the iterator yields those of every level in the order of the tree.
class ModelDocument final : public IfDocObject {
 public:
  ModelDocument(const Document& model, const UniqueMetaObjectKey& rootEmbodiment);
  ~ModelDocument() override;

  std::unique_ptr<IfObjectIterator> CreateObjectIterator(IfDocObject* start, std::uint64_t selector) override;
  IfSomething& GetComponentHolder() override;
  IfSomething* FindObject(const GeometryObject3D& geometry) const override;
  CompTrObject<IfSomething> FindWrapper(const GeometryObject3D& geometry, IfComponent* component) const override;

 private:
  ModelComponent* FindComponent(const MbPath& path) const;

  ModelEmbodiments embodiments;
  // Sorted by TreeOrder of their paths, the document's own first.
  std::vector<std::unique_ptr<ModelComponent>> components;
};

}  // namespace host
