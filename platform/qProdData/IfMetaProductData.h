#pragma once

#include <set>
#include <string>

#include <qProdData/Export.h>
#include <qProdData/PropValue.h>
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

  /// A property of an object, with its parts. A reference to nothing where there is none.
  virtual PropValueRef GetPropertyRef(const UniqueMetaObjectKey& key, const std::wstring& name) const = 0;

  /// True for stock that follows the model of the part made from it (meta_data::SP::IsAssociativeBillet).
  virtual bool IsAssociativeBillet(const UniqueMetaObjectKey& key) const = 0;
};
