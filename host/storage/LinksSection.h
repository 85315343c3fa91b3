#pragma once

#include <cstdint>
#include <memory>

#include <qProdData/IfMetaProductData.h>
#include <qProdData3D/IProductGeometryObjects3D.h>

#include "host/ProgressCallback.h"
#include "host/model/Document.h"

namespace host {

/// Reads a links section into a new store with a validator that accepts everything. The section is checked first, byte
/// by byte, and read through a strict reader: a damaged one throws DocumentError in time and memory bounded by its
/// length. With `metaData` the unique links are repaired (ReadMetaObjectsLinks).
///
/// `dropped`, where given, is set to the number of records that the store did not take up. `progress`, where given,
/// advances by the bytes of the section.
std::unique_ptr<IProductGeometryObjects3D> ReadLinks(const Stream& section, const IfMetaProductData* metaData,
                                                     std::uint64_t* dropped = nullptr,
                                                     ProgressStage* progress = nullptr);

/// How many links a set holds. Linear.
std::uint64_t CountLinks(const IProductGeometryObjects3D& links, LinkSet set);

/// The links section of a store under these versions, with the store's write path in force. Throws DocumentError where
/// the versions cannot carry it.
Stream WriteLinks(const IProductGeometryObjects3D& links, const StreamVersions& versions);

}  // namespace host
