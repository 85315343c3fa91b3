#pragma once

#include <q3DCore/GeometryObject3D.h>
#include <qProdData/UniqueMetaObjectKey.h>
#include <qProdData3D/ProductGeometryObject3D.h>

/// The three strict weak orders in which the link sets keep their records. Each compares records with each other and,
/// so that an index can be searched without making a record, with what it orders by.

/// Negative, 0 or positive as `left` is before, the same as or after `right`: by unsigned bytes over the length of
/// the shorter key, then the shorter first. The empty key is the smallest.
inline int CompareKeys(const UniqueMetaObjectKey& left, const UniqueMetaObjectKey& right) noexcept {
  return UniqueMetaObjectKey::Compare(left, right);
}

/// Neither geometry object is less than the other. Placing and finding records never asks operator==.
inline bool AreEquivalent(const GeometryObject3D& left, const GeometryObject3D& right) {
  return !(left < right) && !(right < left);
}

/// A pair to search by, without a record around it. Borrows both.
struct LinkReference {
  const UniqueMetaObjectKey& metaKey;
  const GeometryObject3D& geometry;
};

/// By key.
struct KeyOrder {
  template <class Left, class Right>
  bool operator()(const Left& left, const Right& right) const noexcept {
    return CompareKeys(Key(left), Key(right)) < 0;
  }

 private:
  static const UniqueMetaObjectKey& Key(const UniqueMetaObjectKey& key) noexcept { return key; }
  static const UniqueMetaObjectKey& Key(const ProductGeometryObject3D& record) noexcept { return record.metaKey; }
};

/// By geometry object.
struct GeometryOrder {
  template <class Left, class Right>
  bool operator()(const Left& left, const Right& right) const {
    return Geometry(left) < Geometry(right);
  }

 private:
  static const GeometryObject3D& Geometry(const GeometryObject3D& geometry) noexcept { return geometry; }
  static const GeometryObject3D& Geometry(const ProductGeometryObject3D& record) noexcept { return record.geometry; }
};

/// By key, for equal keys by geometry object. Records or LinkReferences.
struct LinkOrder {
  template <class Left, class Right>
  bool operator()(const Left& left, const Right& right) const {
    const int keys = CompareKeys(left.metaKey, right.metaKey);
    return keys != 0 ? keys < 0 : left.geometry < right.geometry;
  }
};
