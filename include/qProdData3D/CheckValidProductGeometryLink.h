#pragma once

#include <qProdData/EmbodimentsTree.h>
#include <qProdData3D/Export.h>
#include <qProdData3D/ProductGeometryObject3D.h>

class IfProductDataAggregator;

/// True when a link still makes sense for the product data: its meta object is a group object, or an occurrence or
/// billet that either is not bound to embodiments or belongs to the one in which the link's component path lies. The
/// product data and the tree are borrowed for the call. A product part without attributes raises
/// std::bad_variant_access.
///
/// Meant for the validator of a store, which gets the same record.
QPRODDATA3D_API bool CheckValidProductGeometryLink(const ProductGeometryObject3D& link,
                                                   const IfProductDataAggregator& aggregator,
                                                   const EmbodimentsTree& embodiments);
