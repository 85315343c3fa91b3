#pragma once

#include <cstdint>
#include <utility>

#include <q3DCore/Export.h>
#include <qDocument/CompTrObject.h>
#include <qKernel/ComponentPath.h>
#include <qKernel/MbName.h>
#include <qKernel/MbPath.h>

class IfComponent;
class IfDocObject;
class IfSomething;

/// Names a 3D object of a document. A value that borrows nothing from the document.
class Q3DCORE_API GeometryObject3D {
 public:
  static constexpr std::uint32_t c_solid = 1;
  static constexpr std::uint32_t c_openShell = 2;
  static constexpr std::uint32_t c_partComponent = 104;
  static constexpr std::uint32_t c_assemblyComponent = 200;

  std::uint32_t objectType = 0;
  /// The component that holds the object, outermost component last.
  ComponentPath componentPath;
  MbPath secondPath;
  MbName objectName;

  GeometryObject3D() = default;
  GeometryObject3D(std::uint32_t type, ComponentPath path, MbPath second, MbName name)
      : objectType(type), componentPath(std::move(path)), secondPath(std::move(second)), objectName(std::move(name)) {}

  /// Names the object of a wrapper. Type, second path and name come from the object's IfGeometrySource, the path
  /// from its component; what is missing keeps its default.
  explicit GeometryObject3D(const CompTrObject<IfSomething>& wrapper);

  /// Asks the document for the object named here; null when it has none.
  IfSomething* ToSomething(const IfDocObject& document) const;
  /// Asks the document for the object named here with its component; `component` is passed on as it is.
  CompTrObject<IfSomething> ToWrapper(const IfDocObject& document, IfComponent* component) const;

  /// Compares all four members. Equal objects are equivalent under operator<.
  friend bool operator==(const GeometryObject3D& left, const GeometryObject3D& right) noexcept {
    return left.objectType == right.objectType && left.componentPath == right.componentPath &&
           left.secondPath == right.secondPath && left.objectName == right.objectName;
  }

  /// A strict weak order by type, component path and name. The second path is left out on purpose: streams of
  /// earlier versions do not carry it, and an object read from one must still find its place.
  friend bool operator<(const GeometryObject3D& left, const GeometryObject3D& right) noexcept {
    if (left.objectType != right.objectType) {
      return left.objectType < right.objectType;
    }
    const int paths = MbPath::Compare(left.componentPath, right.componentPath);
    return paths != 0 ? paths < 0 : left.objectName < right.objectName;
  }
};
