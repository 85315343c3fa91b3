#pragma once

#include <boost/multi_index/identity.hpp>
#include <boost/multi_index/ordered_index.hpp>
#include <boost/multi_index/tag.hpp>
#include <boost/multi_index_container.hpp>

#include "link_store/LinkOrders.h"

/// The containers behind the two link sets. A record lives in one node, which all indexes of its container share.

/// Index tags. byMetaKey finds the links of a key and is the order of every walk; byGeometry finds the links of a
/// geometry object; byLink finds one link among any number with the same key or the same geometry object.
struct byMetaKey {};
struct byGeometry {};
struct byLink {};

/// One to one.
using UniqueLinks = boost::multi_index_container<
    ProductGeometryObject3D,
    boost::multi_index::indexed_by<
        boost::multi_index::ordered_unique<boost::multi_index::tag<byMetaKey>,
                                           boost::multi_index::identity<ProductGeometryObject3D>, KeyOrder>,
        boost::multi_index::ordered_unique<boost::multi_index::tag<byGeometry>,
                                           boost::multi_index::identity<ProductGeometryObject3D>, GeometryOrder>>>;

/// Many to many, a pair once. In the two non-unique indexes records that compare equal stand in order of entry. So the
/// only hint that may be given here is the end: the container hands a hint to every index, and at any other place a
/// record may enter before its equals. At the end it is put where it belongs if that is the last place, which takes
/// one comparison, and else as without a hint.
using ValidatedLinks = boost::multi_index_container<
    ProductGeometryObject3D,
    boost::multi_index::indexed_by<
        boost::multi_index::ordered_non_unique<boost::multi_index::tag<byMetaKey>,
                                               boost::multi_index::identity<ProductGeometryObject3D>, KeyOrder>,
        boost::multi_index::ordered_non_unique<boost::multi_index::tag<byGeometry>,
                                               boost::multi_index::identity<ProductGeometryObject3D>, GeometryOrder>,
        boost::multi_index::ordered_unique<boost::multi_index::tag<byLink>,
                                           boost::multi_index::identity<ProductGeometryObject3D>, LinkOrder>>>;
