#pragma once

#include <qProdData3D/Export.h>

class IProductGeometryObjects3D;
class IfMetaProductData;
class reader;

/// Reads the links section of a document stream (docs/stream_format.md) and merges it into a store, which is not
/// cleared first: every link goes through AddLink, the unique ones first, then the validated ones in key order, each
/// of which must pass the store's validator.
///
/// With `metaData` null the unique links are added in key order as they stand. With product data at hand links to
/// components of assemblies (type 200) are added first; of all other links to one geometry object (neighbours in
/// the order of geometry objects that are equal) one is chosen: the last, in stream order, whose meta object exists and
/// whose related meta objects, if it has any, begin with one that the store already links; failing that the first. A
/// chosen link with an empty key is not added.
///
/// Faults are recorded on the stream and not looked at: what was read, complete or not, is merged, and record counts
/// are believed. A caller that reads bytes it does not trust checks them first. Nothing reaches the store before the
/// whole section was read; an exception after that leaves the links added so far.
QPRODDATA3D_API void ReadMetaObjectsLinks(reader& in, IProductGeometryObjects3D& store,
                                          const IfMetaProductData* metaData);
