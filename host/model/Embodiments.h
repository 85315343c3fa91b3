#pragma once

#include <string>
#include <vector>

#include "host/model/Document.h"

namespace host {

/// Adds an embodiment of the root: a group of all occurrences that the root holds directly but for `without`, which
/// become bound to the embodiments that contain them. Its lines keep the numbers of the base embodiment, its marking
/// is that of the base with `number`. Returns its key. Throws DocumentError where the root is no assembly or the name
/// or number is taken.
UniqueMetaObjectKey AddEmbodiment(Document& document, const std::string& name, const std::string& number,
                                  const std::vector<UniqueMetaObjectKey>& without);

/// Removes an embodiment of the root with its group. Throws DocumentError for the base embodiment, which holds every
/// occurrence.
void RemoveEmbodiment(Document& document, const UniqueMetaObjectKey& embodiment);

}  // namespace host
