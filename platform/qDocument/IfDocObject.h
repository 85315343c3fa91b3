#pragma once

#include <cstdint>
#include <memory>

#include <qDocument/CompTrObject.h>
#include <qDocument/Export.h>
#include <qDocument/IfObjectIterator.h>
#include <qDocument/IfSomething.h>

class GeometryObject3D;

/// A document, or an object of one that can be walked like a document.
class QDOCUMENT_API IfDocObject {
 public:
  /// The selector of CreateObjectIterator that yields the components of every level: the kind of object in the low 32
  /// bits, the depth in the high ones.
  static constexpr std::uint64_t c_allComponents = 0x700000002;

  IfDocObject() = default;
  IfDocObject(const IfDocObject&) = delete;
  IfDocObject& operator=(const IfDocObject&) = delete;
  virtual ~IfDocObject();

  /// An iterator over the objects of this document below `start`, or all where that is null, that the selector
  /// chooses; a document that does not know the selector gives one that ends at once. Owned by the caller, good as
  /// long as the document does not change. Never null.
  virtual std::unique_ptr<IfObjectIterator> CreateObjectIterator(IfDocObject* start, std::uint64_t selector) = 0;

  /// The object that answers interface queries for this one. The document keeps it.
  virtual IfSomething& GetComponentHolder() = 0;

  /// The object of this document that a geometry object names, or null. The document keeps it.
  virtual IfSomething* FindObject(const GeometryObject3D& geometry) const = 0;

  /// The same object together with the component that holds it: `component` where one is given, else the one that
  /// the geometry object's path names. All members are null when there is no such object.
  virtual CompTrObject<IfSomething> FindWrapper(const GeometryObject3D& geometry, IfComponent* component) const = 0;
};
