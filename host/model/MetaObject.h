#pragma once

#include <cstdint>
#include <map>
#include <string>

#include <qProdData/PartHandlers.h>
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

/// Stock that a part is made from. Stored in documents: append only.
enum class BilletKind : std::uint32_t {
  none = 0,
  manual = 1,
  associative = 2,
};

/// Values by property name (vocabulary/PropertyNames.h).
using Properties = std::map<std::wstring, SimplePropVal>;

/// One meta object. Keys of other meta objects are null where the type has no such relation.
struct MetaObject {
  MetaObjectType type = MetaObjectType::unknown;
  /// Occurrence, billet and group object: the product used. Embodiment: the assembly product that it is a variant of.
  UniqueMetaObjectKey product;
  /// Occurrence and billet: the assembly occurrence that holds it, null directly below the root. Group object: the
  /// assembly product in whose bill of materials it is a line.
  UniqueMetaObjectKey holder;
  /// Assembly occurrence: the embodiment of its product that it is used in. Assembly product: its base embodiment.
  UniqueMetaObjectKey embodiment;
  /// Occurrence and billet: the line of its holder's bill that it counts in.
  UniqueMetaObjectKey groupObject{};
  /// Of an occurrence or a group object that stands for stock. An occurrence that does has the type billet as well.
  BilletKind billet = BilletKind::none;
  /// Embodiment: the last position number given in its bill; numbers are never given twice.
  std::int32_t lastPosition = 0;
  /// An AttributedPart where somebody has set attributes.
  ProductPart part{};
  Properties properties{};

  /// True for what has a place in the model: part and assembly occurrences and billets.
  bool IsOccurrence() const {
    return type == MetaObjectType::partOccurrence || type == MetaObjectType::assemblyOccurrence ||
           type == MetaObjectType::billet;
  }

  friend bool operator==(const MetaObject&, const MetaObject&) = default;
};

}  // namespace host
