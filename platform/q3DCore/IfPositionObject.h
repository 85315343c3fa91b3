#pragma once

#include <set>

#include <q3DCore/Export.h>
#include <qDocument/IfSomething.h>
#include <qProdData/UniqueMetaObjectKey.h>

class IfMetaProductData;
class IProductGeometryObjects3D;

/// An object that stands for meta objects with a position in a bill of materials.
class Q3DCORE_API IfPositionObject : public IfSomething {
 public:
  /// The type number under which IfSomething::QueryInterface gives it.
  static constexpr unsigned int c_interfaceType = 0x893;

  ~IfPositionObject() override;

  /// The keys of the meta objects that the object stands for, in ascending order.
  virtual std::set<UniqueMetaObjectKey> CollectPositionKeys(const IfMetaProductData& productData,
                                                            IProductGeometryObjects3D& links) = 0;
};
