#pragma once

#include <string>

#include "link_store/ProductGeometryObjects3D.h"

/// What a store holds behind its interface, for tests that check its containers. The store must be one of the
/// library's, or derived from it; nothing here changes it.

const UniqueLinks& UniqueLinksOf(const IProductGeometryObjects3D& store);
const ValidatedLinks& ValidatedLinksOf(const IProductGeometryObjects3D& store);
const IProductGeometryObjects3D::LinkValidator& ValidatorOf(const IProductGeometryObjects3D& store);
/// Null where writing is not restricted.
const MbPath* WritePathOf(const IProductGeometryObjects3D& store);

/// Recomputes every rule of both containers: each index holds every record once and in its order, finds it, and a
/// unique index holds no two that are the same. What does not hold, in words; nothing where all holds.
std::string StoreFault(const IProductGeometryObjects3D& store);
