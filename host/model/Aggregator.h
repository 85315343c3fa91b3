#pragma once

#include <vector>

#include <qProdData/IfProductDataAggregator.h>

#include "host/model/ProductData.h"

namespace host {

/// One or several product data seen as one; where two hold the same key the first counts. Borrows them, and the
/// calculator. Answers copy no more than they return; look-ups are logarithmic, times the number of product data.
///
/// Attributes belong to one object: handlers have the null group key and are valid where attributes were set.
class Aggregator final : public IfProductDataAggregator, private IfGroupPartSource, private IfPartSource {
 public:
  /// `attributeCalculator` may be null; else it is consulted for every part.
  explicit Aggregator(std::vector<const ProductData*> productData,
                      const IfPropertyCalculator* attributeCalculator = nullptr);

  /// Nothing is kept between questions, so there is nothing to take in; false.
  bool Actualize() override;

  bool HasObject(const UniqueMetaObjectKey& key) const override;
  std::uint32_t GetMetaObjectType(const UniqueMetaObjectKey& key) const override;
  bool IsGroupObject(const UniqueMetaObjectKey& key) const override;
  UniqueMetaObjectKey GetGroupObjectKey(const UniqueMetaObjectKey& key) const override;
  std::set<UniqueMetaObjectKey> GetObjectGroups(const UniqueMetaObjectKey& key) const override;
  GroupPartHandler MakeGroupPartHandler(const UniqueMetaObjectKey& key) const override;
  const SimplePropVal& GetGroupObjPropValue(const UniqueMetaObjectKey& group, const UniqueMetaObjectKey& object,
                                            const std::wstring& name) const override;
  const SimplePropVal& GetObjPropValue(const UniqueMetaObjectKey& key, const std::wstring& name) const override;
  PropValueRef GetPropValueRef(const UniqueMetaObjectKey& key, const std::wstring& name) const override;
  const IfMetaProductData& GetMetaProductData(const UniqueMetaObjectKey& key) const override;
  bool IsManualBillet(const UniqueMetaObjectKey& key) const override;

 private:
  bool IsValidGroupPart(const UniqueMetaObjectKey& object, const UniqueMetaObjectKey& group) const override;
  PartHandler GetGroupPart(const UniqueMetaObjectKey& object, const UniqueMetaObjectKey& group) const override;
  PartHandler GetRawPart(const UniqueMetaObjectKey& object) const override;

  bool IsValidPart(const UniqueMetaObjectKey& object) const override;
  bool IsCalcAvailable(const UniqueMetaObjectKey& object) const override;
  const IfPropertyCalculator& GetPropertyCalculator(const UniqueMetaObjectKey& object) const override;
  const ProductPart& GetProductPart(const UniqueMetaObjectKey& object) const override;

  // The product data that holds the object; a lasting empty one for an unknown object.
  const ProductData& Holding(const UniqueMetaObjectKey& key) const;

  std::vector<const ProductData*> sources;
  const IfPropertyCalculator* calculator;
};

}  // namespace host
