#pragma once

#include <functional>
#include <map>

#include "bench/Links.h"

namespace bench {

/// All contenders have the same operations, named after those of IProductGeometryObjects3D and meaning the same on the
/// same values; the link set is a template parameter. A contender leaves out what it has no sensible way to do. Each
/// says in its comment which rules of a link set it keeps:
///
/// - the pair rule: a pair of key and geometry object is in the validated set once;
/// - the unique rules: a geometry object's link gives way to a new one, a key keeps its link;
/// - the order of results: links of one key, or one geometry object, in the order in which they entered.
///
/// Begin and Commit enclose a workload, for contenders that have transactions.

/// What SetLinkValidater takes.
using Validator = std::function<bool(const Link&)>;

/// What RegenerateMetaObjectKeys returns: old key to new key.
using RenamedKeys = std::map<Key, Key>;

constexpr bool ChangesUnique(LinkSet set) {
  return set != LinkSet::Validated;
}
constexpr bool ChangesValidated(LinkSet set) {
  return set != LinkSet::Unique;
}

}  // namespace bench
