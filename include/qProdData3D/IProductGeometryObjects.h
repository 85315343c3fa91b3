#pragma once

#include <qProdData3D/Export.h>

/// The base interface of everything that ties product data to geometry: something that can be owned and released.
class QPRODDATA3D_API IProductGeometryObjects {
 public:
  IProductGeometryObjects() = default;
  IProductGeometryObjects(const IProductGeometryObjects&) = delete;
  IProductGeometryObjects& operator=(const IProductGeometryObjects&) = delete;
  virtual ~IProductGeometryObjects() = default;
};
