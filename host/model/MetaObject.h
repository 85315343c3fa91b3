#pragma once

#include <cstdint>
#include <map>
#include <string>

#include <qProdData/SimplePropVal.h>
#include <qProdData/UniqueMetaObjectKey.h>

namespace host {

/// What a meta object is. The numbers are stored in documents and asked for by the library: append only.
enum class MetaObjectType : std::uint32_t {
  unknown = 0,
  partProduct = 1,
  assemblyProduct = 2,
  embodiment = 3,
  partOccurrence = 4,
  assemblyOccurrence = 5,
  billet = 6,
  groupObject = 8,
};

inline bool IsOccurrence(MetaObjectType type) {
  return type == MetaObjectType::partOccurrence || type == MetaObjectType::assemblyOccurrence;
}

/// Values by property name (vocabulary/PropertyNames.h).
using Properties = std::map<std::wstring, SimplePropVal>;

/// One meta object. Keys of other meta objects are null where the type has no such relation.
struct MetaObject {
  MetaObjectType type = MetaObjectType::unknown;
  /// Occurrence and group object: the product used. Embodiment: the assembly product that it is a variant of.
  UniqueMetaObjectKey product;
  /// Occurrence: the assembly occurrence that holds it, null directly below the root. Group object: the assembly
  /// product in whose bill of materials it is a line.
  UniqueMetaObjectKey holder;
  /// Assembly occurrence: the embodiment of its product that it is used in.
  UniqueMetaObjectKey embodiment;
  Properties properties;

  friend bool operator==(const MetaObject&, const MetaObject&) = default;
};

}  // namespace host
