#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <q3DCore/GeometryObject3D.h>
#include <qProdData/UniqueMetaObjectKey.h>
#include <qProdData3D/LinkSet.h>
#include <qProdData3D/ProductGeometryObject3D.h>

namespace bench {

using Key = UniqueMetaObjectKey;
using Geometry = GeometryObject3D;
using Link = ProductGeometryObject3D;

/// What the links look like.
enum class Shape {
  /// As documents have them. A component is one to five levels below the root. In the unique set an occurrence is
  /// linked to its component; in the validated set, which has components and keys of its own, an occurrence and its
  /// line are linked to each of the component's 1 to 50 bodies.
  realistic,
  /// Validated links only: one key with 100,000 geometry objects and one geometry object with 100,000 keys, of fewer
  /// links half for each; what is left is realistic.
  hostile,
};

enum class KeyForm {
  /// 15 characters, as UniqueMetaObjectKey::Generate makes them.
  generated,
  /// 36 characters, as of a UUID.
  uuid,
};

std::string_view NameOf(Shape shape);
std::string_view NameOf(KeyForm form);

/// What a run works on; equal cases give equal links.
struct Case {
  Shape shape = Shape::realistic;
  KeyForm keyForm = KeyForm::generated;
  /// Links in each set.
  std::size_t size = 0;
};

/// The links of one set and what to ask for, all in random order.
struct SetLinks {
  std::vector<Link> links;
  /// How many different keys these have.
  std::size_t keyCount = 0;
  /// At most c_maxSample of each: keys, geometry objects and links of the set. In the hostile shape the key and the
  /// geometry object with the most links are among them.
  std::vector<Key> keys;
  std::vector<Geometry> geometry;
  std::vector<Link> pairs;
  /// As many that the set does not have. A missing geometry object differs from a linked one in its name alone, and a
  /// missing pair has a key that is linked.
  std::vector<Key> missingKeys;
  std::vector<Geometry> missingGeometry;
  std::vector<Link> missingPairs;
};

/// Look-ups and changes of single links are done for so many at most, however large the set.
inline constexpr std::size_t c_maxSample = 50'000;

struct Workset {
  Case which;
  /// One to one; empty in the hostile shape.
  SetLinks unique;
  SetLinks validated;
  /// A component that holds about a tenth of all links, and an empty place of the same depth to move it to.
  ComponentPath branch{3};
  ComponentPath emptyBranch{97};

  template <LinkSet set>
  const SetLinks& Of() const {
    return set == LinkSet::Unique ? unique : validated;
  }
};

Workset MakeWorkset(const Case& which);

/// A validator that takes everything, and one that takes about half of all links.
bool AcceptAny(const Link& link);
bool AcceptHalf(const Link& link);

}  // namespace bench
