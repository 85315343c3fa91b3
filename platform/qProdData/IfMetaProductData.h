#pragma once

#include <set>

#include <qProdData/Export.h>
#include <qProdData/UniqueMetaObjectKey.h>

/// The meta objects of one product. Every question takes any key; an unknown one gets false or an empty answer.
class QPRODDATA_API IfMetaProductData {
 public:
  IfMetaProductData() = default;
  IfMetaProductData(const IfMetaProductData&) = delete;
  IfMetaProductData& operator=(const IfMetaProductData&) = delete;
  virtual ~IfMetaProductData();

  /// True when the product data holds a meta object with this key.
  virtual bool HasMetaObject(const UniqueMetaObjectKey& key) const = 0;

  /// The meta objects that an object depends on, in ascending order: for an occurrence the assembly occurrence that
  /// holds it, nothing for one directly below the root; never group objects or embodiments.
  virtual std::set<UniqueMetaObjectKey> GetRelatedMetaObjects(const UniqueMetaObjectKey& key) const = 0;
};
