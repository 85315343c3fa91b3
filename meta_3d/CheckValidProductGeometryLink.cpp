#include <qProdData3D/CheckValidProductGeometryLink.h>

#include <cstdint>
#include <set>

#include <qProdData/IfProductDataAggregator.h>

#include "meta_3d/PartFlags.h"

namespace {

constexpr std::uint32_t c_groupObject = 8;

// The types 4 to 7, which have a place of their own in the model.
bool IsPlaced(std::uint32_t type) {
  return (type & ~std::uint32_t{3}) == 4;
}

}  // namespace

bool CheckValidProductGeometryLink(const ProductGeometryObject3D& link, const IfProductDataAggregator& aggregator,
                                   const EmbodimentsTree& embodiments) {
  const std::uint32_t type = aggregator.GetMetaObjectType(link.metaKey);
  if (!IsPlaced(type)) {
    return type == c_groupObject;
  }
  if (ReadEmbodimentBoundFlag(aggregator.MakeGroupPartHandler(link.metaKey)) == 0) {
    return true;
  }
  const UniqueMetaObjectKey embodiment = embodiments.GetEmbodimenKey(link.geometry.componentPath);
  return aggregator.GetObjectGroups(link.metaKey).contains(embodiment);
}
