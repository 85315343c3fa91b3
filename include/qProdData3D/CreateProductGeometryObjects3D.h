#pragma once

#include <functional>
#include <memory>

#include <qProdData3D/Export.h>
#include <qProdData3D/IProductGeometryObjects3D.h>

/// Makes an empty store with this link validator. The caller owns it alone. An empty validator is accepted; it
/// throws std::bad_function_call when it is first needed.
QPRODDATA3D_API std::unique_ptr<IProductGeometryObjects3D> CreateProductGeometryObjects3D(
    std::function<bool(const ProductGeometryObject3D&)> validator);
