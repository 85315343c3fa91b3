#include <qProdData/IfMetaProductData.h>
#include <qProdData3D/meta_3d.h>

#include "vocabulary/PropertyNames.h"

namespace meta_3d {

VariantMarking GetMarkingFromProdData(const IfMetaProductData& productData, const EmbodimentsTree& embodiments,
                                      const MbPath& path) {
  const PropValue value(productData.GetPropertyRef(embodiments.GetEmbodimenKey(path), c_marking));
  VariantMarking marking;
  marking.FromPropertyTree(value.GetPropertyTree());
  return marking;
}

}  // namespace meta_3d
