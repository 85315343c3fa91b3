#pragma once

#include <set>

#include <qDocument/CompTrObject.h>
#include <qKernel/MbPath.h>
#include <qProdData/EmbodimentsTree.h>
#include <qProdData/PositionValue.h>
#include <qProdData/PropValue.h>
#include <qProdData/UniqueMetaObjectKey.h>
#include <qProdData/VariantMarking.h>
#include <qProdData3D/Export.h>

class IProductGeometryObjects3D;
class IfDocObject;
class IfMetaProductData;
class IfProductDataAggregator;
class IfSomething;

/// The product-data questions of the 3D side. All arguments are borrowed for the call, and must not change meanwhile;
/// nothing is kept. What is unknown or does not fit gives an empty answer; exceptions of the platform pass unchanged,
/// with every temporary released.
///
/// With ExceptionMode off a geometry object that is named for the store may come out with an empty path where memory
/// runs out (MbPath), and the call goes on: GetPositionValues then answers for the object of that name in the
/// document's own component, mostly with nothing, and SetPositionsMetaLinks adds the link under the empty path.
namespace meta_3d {

/// The positions of a 3D object in bills of materials: one for each meta object that the validated set links to it,
/// that is included and not excluded, and that has a position.
///
/// A group object has the position that it holds in the group of the object's component; where that is empty, and for
/// any other object, the object's own position counts if the object is in that group. An object whose group object
/// was visited is passed over, also where the group object turned out to have no position. Of objects with equivalent
/// positions the one visited first counts; group objects are visited before all others, in no order among themselves.
///
/// Nothing when the object has no component. A product part without attributes raises std::bad_variant_access.
QPRODDATA3D_API std::set<meta_data::positions::PositionValue> GetPositionValues(
    const IfProductDataAggregator& aggregator, const IProductGeometryObjects3D& store,
    const CompTrObject<IfSomething>& object);

/// The position of an object in a group; where it has none there, its own position, whatever the group. Empty for
/// billets. Asks neither whether the object exists nor for its attributes. The object comes before the group.
QPRODDATA3D_API PropValue GetGroupObjPositionValue(IfProductDataAggregator& aggregator,
                                                   const UniqueMetaObjectKey& objectKey,
                                                   const UniqueMetaObjectKey& groupKey);

/// Adds to the validated set a link from each meta object that a built body stands for (IfPositionObject) to that body,
/// for the document itself and then for every object of its iterator, in their order. Removes nothing; doing it twice
/// is doing it once. An exception leaves the links added so far.
QPRODDATA3D_API void SetPositionsMetaLinks(IfDocObject& document, const IfMetaProductData& productData,
                                           IProductGeometryObjects3D& store);

/// The marking of the embodiment that a component path selects; where it selects none, or that has no marking, the
/// marking that an empty property gives. The path has its outermost component last.
QPRODDATA3D_API VariantMarking GetMarkingFromProdData(const IfMetaProductData& productData,
                                                      const EmbodimentsTree& embodiments, const MbPath& path);

}  // namespace meta_3d
