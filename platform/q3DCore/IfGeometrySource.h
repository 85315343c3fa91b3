#pragma once

#include <cstdint>

#include <q3DCore/Export.h>
#include <qKernel/MbName.h>
#include <qKernel/MbPath.h>

/// What an object says of itself when it is named as a geometry object. References live as long as the object.
class Q3DCORE_API IfGeometrySource {
 public:
  /// The type number under which IfSomething::QueryInterface gives it.
  static constexpr unsigned int c_interfaceType = 0x3D0;

  IfGeometrySource() = default;
  IfGeometrySource(const IfGeometrySource&) = delete;
  IfGeometrySource& operator=(const IfGeometrySource&) = delete;
  virtual ~IfGeometrySource();

  /// One of the object types of GeometryObject3D.
  virtual std::uint32_t GetObjectType() const = 0;
  virtual const MbPath& GetSecondPath() const = 0;
  /// Empty for a component; unique within its component, never empty, for a body.
  virtual const MbName& GetObjectName() const = 0;
};
