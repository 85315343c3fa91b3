#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "host/model/Document.h"

namespace host {

/// Position numbers: every line (group object) of an assembly's bill has one in each embodiment that it occurs in, but
/// for lines of stock. They begin with 1, are never given twice in a bill, and one that a person has set is kept apart
/// from the others.

/// Numbers set by hand are whole and from 1 to this. Those that follow by themselves may go beyond, so that the
/// greatest one, set by hand, does not end the counting.
inline constexpr std::int32_t c_maxPosition = 999'999;

/// The lines of each assembly product's bill, in the order of their first occurrence in the tree. O(n log n).
std::map<UniqueMetaObjectKey, std::vector<UniqueMetaObjectKey>> LinesByAssembly(const Document& document);

/// The number of a line in an embodiment, as it is stored there.
std::optional<std::int32_t> StoredPosition(const ProductData& data, const UniqueMetaObjectKey& embodiment,
                                           const UniqueMetaObjectKey& line);
/// True when a person has set the number.
bool IsSetByHand(const ProductData& data, const UniqueMetaObjectKey& embodiment, const UniqueMetaObjectKey& line);
void SetPosition(ProductData& data, const UniqueMetaObjectKey& embodiment, const UniqueMetaObjectKey& line,
                 std::int32_t number, bool byHand);

/// Gives every line that has members in an embodiment and no number there the next one, for all embodiments. Lines that
/// exist keep theirs; stock gets none. Throws DocumentError where numbers run out.
void NumberNewLines(Document& document);

/// Removes the position links of every body and component and makes them anew from the bodies
/// (meta_3d::SetPositionsMetaLinks), with the root in its base embodiment.
void RebuildPositionLinks(Document& document);

/// Removes from the validated set what CheckValidProductGeometryLink rejects, with the root in its base embodiment.
/// Returns how many links went.
std::size_t PurgeInvalidLinks(Document& document);

}  // namespace host
