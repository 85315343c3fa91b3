#pragma once

#include <cstdint>
#include <set>
#include <string>

#include <qProdData/Export.h>
#include <qProdData/IfMetaProductData.h>
#include <qProdData/PartHandlers.h>
#include <qProdData/PropValue.h>
#include <qProdData/UniqueMetaObjectKey.h>

/// One or several product data seen as one. Every question takes any key; an unknown one gets false, the null key, an
/// empty set or value, an invalid handler, empty product data. References live until the product data changes.
class QPRODDATA_API IfProductDataAggregator {
 public:
  IfProductDataAggregator() = default;
  IfProductDataAggregator(const IfProductDataAggregator&) = delete;
  IfProductDataAggregator& operator=(const IfProductDataAggregator&) = delete;
  virtual ~IfProductDataAggregator();

  /// Takes in what has changed in the product data since the last call; true when something had.
  virtual bool Actualize() = 0;

  virtual bool HasObject(const UniqueMetaObjectKey& key) const = 0;
  /// 4 part occurrence, 5 assembly occurrence, 6 billet, 8 group object; below 4 products and embodiments; 0 unknown.
  virtual std::uint32_t GetMetaObjectType(const UniqueMetaObjectKey& key) const = 0;
  virtual bool IsGroupObject(const UniqueMetaObjectKey& key) const = 0;
  /// The group object that an object belongs to.
  virtual UniqueMetaObjectKey GetGroupObjectKey(const UniqueMetaObjectKey& key) const = 0;
  /// The groups that an object takes part in, in ascending order.
  virtual std::set<UniqueMetaObjectKey> GetObjectGroups(const UniqueMetaObjectKey& key) const = 0;
  virtual GroupPartHandler MakeGroupPartHandler(const UniqueMetaObjectKey& key) const = 0;

  /// A property of an object as a member of a group. The group comes first.
  virtual const SimplePropVal& GetGroupObjPropValue(const UniqueMetaObjectKey& group, const UniqueMetaObjectKey& object,
                                                    const std::wstring& name) const = 0;
  /// An object's own property.
  virtual const SimplePropVal& GetObjPropValue(const UniqueMetaObjectKey& key, const std::wstring& name) const = 0;
  virtual PropValueRef GetPropValueRef(const UniqueMetaObjectKey& key, const std::wstring& name) const = 0;

  /// The product data that holds an object.
  virtual const IfMetaProductData& GetMetaProductData(const UniqueMetaObjectKey& key) const = 0;

  /// True for stock that was added by hand (meta_data::SP::IsManualBillet).
  virtual bool IsManualBillet(const UniqueMetaObjectKey& key) const = 0;
};

namespace meta_data::SP {

/// IfProductDataAggregator::IsManualBillet.
QPRODDATA_API bool IsManualBillet(const IfProductDataAggregator& aggregator, const UniqueMetaObjectKey& key);
/// IfMetaProductData::IsAssociativeBillet.
QPRODDATA_API bool IsAssociativeBillet(const IfMetaProductData& productData, const UniqueMetaObjectKey& key);

}  // namespace meta_data::SP
