#pragma once

#include <string>
#include <vector>

#include "host/ProgressCallback.h"
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

/// Looks, in both link sets, for links whose meta object is gone, links whose body or component is gone and links that
/// CheckValidProductGeometryLink rejects, then for position numbers that two lines of a bill share and bodies without a
/// position although their occurrence counts in the bill; all with the root in this embodiment. With the base
/// embodiment the numbers of all others are looked at as well. Each finding once, in this order. O(n log n).
/// `progress` is told of "checking".
std::vector<Finding> FindFaults(const Document& document, const UniqueMetaObjectKey& rootEmbodiment,
                                const ProgressCallback& progress = {});

/// Removes the links whose meta object, body or component is gone, from both sets, and those that are not valid for
/// the base embodiment, and rebuilds the position links. `progress` is told of "repairing".
void RepairLinks(Document& document, const ProgressCallback& progress = {});

}  // namespace host
