#pragma once

#include <string>
#include <vector>

#include "host/model/Document.h"

namespace host {

/// Something that is wrong with a document.
struct Finding {
  /// "gone-object", "gone-body", "invalid-link", "double-position" or "no-position".
  std::string kind;
  /// Both ends by name; empty where there is none.
  std::string object;
  std::string body;
  std::string text;
};

/// Looks for links whose meta object or whose body or component is gone, links that CheckValidProductGeometryLink
/// rejects, position numbers that two lines of a bill share, and bodies without a position although their occurrence
/// counts in the bill; with the root in this embodiment. Each finding once, in this order. O(n log n).
std::vector<Finding> FindFaults(const Document& document, const UniqueMetaObjectKey& rootEmbodiment);

/// Removes the links whose meta object, body or component is gone, from both sets, and those that are not valid for
/// the base embodiment, and rebuilds the position links.
void RepairLinks(Document& document);

}  // namespace host
