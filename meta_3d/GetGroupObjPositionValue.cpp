#include <qProdData/IfProductDataAggregator.h>
#include <qProdData3D/meta_3d.h>

#include "vocabulary/PropertyNames.h"

namespace meta_3d {

PropValue GetGroupObjPositionValue(IfProductDataAggregator& aggregator, const UniqueMetaObjectKey& objectKey,
                                   const UniqueMetaObjectKey& groupKey) {
  aggregator.Actualize();
  if (meta_data::SP::IsManualBillet(aggregator, objectKey) ||
      meta_data::SP::IsAssociativeBillet(aggregator.GetMetaProductData(objectKey), objectKey)) {
    return PropValue();
  }
  // A copy, with its unit. The group comes first here, unlike in this function's own parameters.
  const SimplePropVal value = aggregator.GetGroupObjPropValue(groupKey, objectKey, c_position);
  if (!value.IsEmpty()) {
    return PropValue(value);
  }
  return PropValue(aggregator.GetPropValueRef(objectKey, c_position));
}

}  // namespace meta_3d
