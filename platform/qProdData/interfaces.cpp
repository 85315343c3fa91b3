#include <qProdData/EmbodimentsTree.h>
#include <qProdData/IfMetaProductData.h>
#include <qProdData/IfProductDataAggregator.h>
#include <qProdData/PartHandlers.h>

// The destructors stand here so that one library holds the virtual tables and type information.
IfMetaProductData::~IfMetaProductData() = default;
IfProductDataAggregator::~IfProductDataAggregator() = default;
IfEmbodimentsSource::~IfEmbodimentsSource() = default;
IfPropertyCalculator::~IfPropertyCalculator() = default;
IfPartSource::~IfPartSource() = default;
IfGroupPartSource::~IfGroupPartSource() = default;

constexpr PartAttributes PartHandler::c_defaultAttrs = {
    .includeFlag = false, .excludeFlag = true, .embodimentBoundFlag = 1};
constexpr PartAttributes GroupPartHandler::c_defaultAttrs = {
    .includeFlag = true, .excludeFlag = false, .embodimentBoundFlag = 0};

bool meta_data::SP::IsManualBillet(const IfProductDataAggregator& aggregator, const UniqueMetaObjectKey& key) {
  return aggregator.IsManualBillet(key);
}

bool meta_data::SP::IsAssociativeBillet(const IfMetaProductData& productData, const UniqueMetaObjectKey& key) {
  return productData.IsAssociativeBillet(key);
}
