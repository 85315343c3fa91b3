#pragma once

#include <utility>

#include <qProdData/Export.h>
#include <qProdData/SimplePropVal.h>
#include <qProdData/UniqueMetaObjectKey.h>

namespace meta_data::positions {

/// The position of a meta object in a bill of materials. A value.
class QPRODDATA_API PositionValue {
 public:
  PositionValue(const UniqueMetaObjectKey& key, const SimplePropVal& position) : object(key), value(position) {}

  const UniqueMetaObjectKey& GetKey() const noexcept { return object; }
  const SimplePropVal& GetValue() const noexcept { return value; }

  /// By the position alone, so that objects with the same position count once: by kind of value (text, yes or no,
  /// whole number, real number, time), then by the value, texts by code points. Units are not compared.
  friend bool operator<(const PositionValue& left, const PositionValue& right) {
    return left.value.GetValue() < right.value.GetValue();
  }

 private:
  UniqueMetaObjectKey object;
  SimplePropVal value;
};

}  // namespace meta_data::positions
