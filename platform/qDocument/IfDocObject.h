#pragma once

#include <qDocument/CompTrObject.h>
#include <qDocument/Export.h>
#include <qDocument/IfSomething.h>

class GeometryObject3D;

/// A document, or an object of one that can be walked like a document.
class QDOCUMENT_API IfDocObject {
 public:
  IfDocObject() = default;
  IfDocObject(const IfDocObject&) = delete;
  IfDocObject& operator=(const IfDocObject&) = delete;
  virtual ~IfDocObject();

  /// The object of this document that a geometry object names, or null. The document keeps it.
  virtual IfSomething* FindObject(const GeometryObject3D& geometry) const = 0;

  /// The same object together with the component that holds it: `component` where one is given, else the one that
  /// the geometry object's path names. All members are null when there is no such object.
  virtual CompTrObject<IfSomething> FindWrapper(const GeometryObject3D& geometry, IfComponent* component) const = 0;
};
