#include <algorithm>
#include <vector>

#include <q3DCore/GeometryObject3D.h>
#include <q3DCore/IfComponent.h>
#include <qProdData/IfProductDataAggregator.h>
#include <qProdData3D/IProductGeometryObjects3D.h>
#include <qProdData3D/meta_3d.h>

#include "meta_3d/PartFlags.h"
#include "vocabulary/PropertyNames.h"

namespace meta_3d {

namespace {

bool IsAdmitted(const IfProductDataAggregator& aggregator, const UniqueMetaObjectKey& key) {
  const GroupPartHandler handler = aggregator.MakeGroupPartHandler(key);
  // Both are read in any case: whoever computes attributes sees both questions.
  const bool isIncluded = ReadIncludeFlag(handler);
  const bool isExcluded = ReadExcludeFlag(handler);
  return isIncluded && !isExcluded;
}

}  // namespace

std::set<meta_data::positions::PositionValue> GetPositionValues(const IfProductDataAggregator& aggregator,
                                                                const IProductGeometryObjects3D& store,
                                                                const CompTrObject<IfSomething>& object) {
  std::set<meta_data::positions::PositionValue> result;
  std::vector<UniqueMetaObjectKey> keys = store.GetMetaObjectKeys(GeometryObject3D(object));
  std::sort(keys.begin(), keys.end(), [&aggregator](const UniqueMetaObjectKey& a, const UniqueMetaObjectKey& b) {
    return aggregator.IsGroupObject(a) && !aggregator.IsGroupObject(b);
  });
  std::set<UniqueMetaObjectKey> handledGroups;
  for (const UniqueMetaObjectKey& key : keys) {
    if (!aggregator.HasObject(key) || !IsAdmitted(aggregator, key) || object.GetComponent() == nullptr) {
      continue;
    }
    const UniqueMetaObjectKey group = object.GetComponent()->GetGroupKey();
    SimplePropVal value;
    if (aggregator.IsGroupObject(key)) {
      // Before its value is read: it stands for its objects also where it has no position.
      handledGroups.insert(key);
      value.SetValue(aggregator.GetGroupObjPropValue(group, key, c_position).GetValue());
    } else if (handledGroups.contains(aggregator.GetGroupObjectKey(key))) {
      continue;
    }
    if (value.IsEmpty() && aggregator.GetObjectGroups(key).contains(group)) {
      value.SetValue(aggregator.GetObjPropValue(key, c_position).GetValue());
    }
    if (!value.IsEmpty()) {
      result.emplace(key, value);
    }
  }
  return result;
}

}  // namespace meta_3d
