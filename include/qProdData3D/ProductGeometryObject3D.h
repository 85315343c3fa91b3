#pragma once

#include <q3DCore/GeometryObject3D.h>
#include <qProdData/UniqueMetaObjectKey.h>

/// One link: a product-data meta object, named by its key, and a 3D geometry object of the document. A plain value
/// that owns both members; a default one holds the empty key and a default geometry object.
///
/// It has no comparison of its own on purpose: a store keeps links in three orders, and none of them is "the" order.
struct ProductGeometryObject3D {
  UniqueMetaObjectKey metaKey;
  GeometryObject3D geometry;
};
