#pragma once

#include <functional>
#include <map>
#include <set>
#include <vector>

#include <q3DCore/GeometryObject3D.h>
#include <qDocument/CompTrObject.h>
#include <qKernel/MbPath.h>
#include <qProdData/UniqueMetaObjectKey.h>
#include <qProdData3D/Export.h>
#include <qProdData3D/IProductGeometryObjects.h>
#include <qProdData3D/LinkSet.h>
#include <qProdData3D/ProductGeometryObject3D.h>

class IfComponent;
class IfDocObject;
class IfSomething;
class writer;

/// All links of one document between product-data meta objects and 3D geometry objects, in two sets:
///
/// - the unique set, one to one: a key occurs at most once and a geometry object at most once; nothing is validated;
/// - the validated set, many to many: a pair of key and geometry object occurs at most once and enters only when the
///   link validator accepts it.
///
/// The sets are independent: a pair may be in both, in one or in neither. Geometry objects are the same to a store
/// when neither is less than the other (GeometryObject3D::operator<); only where a contract says "equal" does
/// operator== count. Links come in key order (unsigned bytes, the shorter key first on a common beginning); links of
/// the validated set with the same key, or the same geometry object, come in order of entry: in the order in which
/// they were added, unless an operation changed them. A changed link stays where it is among those that it is now equal
/// to as long as its neighbours allow that, and else goes behind them.
///
/// Nothing reports an error by its result: what is not linked makes a removal or replacement a no-op and a query
/// empty; a duplicate makes an insertion a no-op. Exceptions of the validator, of a visitor, of the platform and of
/// memory allocation pass unchanged, and what an operation did before one stays done. Arguments may refer to
/// what the store itself holds.
///
/// With ExceptionMode off a path that gets no memory is lost without an exception (MbPath) and the operation goes on:
/// a link may be added, an answer given or written, and a write path kept, whose path is empty. The other paths, and
/// what was there before, stay whole. Only where a copy is to be looked up or takes the place of a stored object
/// (ReplaceGeometryObject, ReplaceComponentPath) a lost path raises std::bad_alloc as well, since the
/// empty one would name another object.
///
/// One thread at a time; a validator or visitor must not call back into the store. n is the size of a set; every
/// search costs O(log n).
///
/// Other libraries call a store through this table: the order of the virtual operations is fixed.
class QPRODDATA3D_API IProductGeometryObjects3D : public IProductGeometryObjects {
 public:
  using LinkValidator = std::function<bool(const ProductGeometryObject3D&)>;
  using LinkVisitor = std::function<void(const ProductGeometryObject3D&)>;

  /// Stores the validator and removes from the validated set every link that a copy of it rejects; all links are
  /// asked, in key order, before the first is removed. Links removed earlier do not come back. An empty validator is
  /// stored as well, but throws std::bad_function_call when the validated set is not empty, with no link removed; an
  /// exception of the validator likewise leaves every link in place. O(n).
  virtual void SetLinkValidater(LinkValidator validator) = 0;

  /// Adds a link, to the unique set first.
  /// Unique set: a link to the same geometry object is removed, whatever its key; then the link is added unless its
  /// key is linked already, in which case the key keeps its old link.
  /// Validated set: the validator is called once, and the link is added if it accepts it. An empty validator throws
  /// std::bad_function_call; what was done to the unique set stays done.
  virtual void AddLink(const UniqueMetaObjectKey& key, const GeometryObject3D& geometry, LinkSet set) = 0;

  /// AddLink for each geometry object, in the order of the list. In the unique set the first one whose link is taken
  /// keeps the key, while links of other keys to all the listed objects are removed.
  virtual void AddLinks(const UniqueMetaObjectKey& key, const std::vector<GeometryObject3D>& list, LinkSet set) = 0;

  /// Removes every link of a geometry object. O(log n + r) for r links.
  virtual void RemoveGeometryObjectLinks(const GeometryObject3D& geometry, LinkSet set) = 0;

  /// Removes one link. The geometry object comes first, unlike in AddLink. O(log n).
  virtual void RemoveLink(const GeometryObject3D& geometry, const UniqueMetaObjectKey& key, LinkSet set) = 0;

  /// Removes every link of a key. O(log n + r) for r links.
  virtual void RemoveMetaObjectLinks(const UniqueMetaObjectKey& key, LinkSet set) = 0;

  /// RemoveMetaObjectLinks for each key, in ascending order.
  virtual void RemoveMetaObjectsLinks(const std::set<UniqueMetaObjectKey>& keys, LinkSet set) = 0;

  /// Empties both sets; the validator and the write path stay. Cannot fail.
  virtual void ClearLinks() noexcept = 0;

  /// True when the set links the key to a geometry object that equals `geometry` (operator==, not the order).
  /// Allocates nothing.
  virtual bool HasLink(const UniqueMetaObjectKey& key, const GeometryObject3D& geometry, LinkSet set) const = 0;

  /// The first key linked to a geometry object, or UniqueMetaObjectKey::null. The reference is good until the store
  /// next changes. Allocates nothing.
  virtual const UniqueMetaObjectKey& GetMetaObjectKey(const GeometryObject3D& geometry, LinkSet set) const = 0;

  /// The keys that the validated set links to a geometry object, in order of entry. O(log n + r).
  virtual std::vector<UniqueMetaObjectKey> GetMetaObjectKeys(const GeometryObject3D& geometry) const = 0;

  /// The geometry objects linked to a key, in order of entry; at most one from the unique set. O(log n + r).
  virtual std::vector<GeometryObject3D> GetGeometryObjects(const UniqueMetaObjectKey& key, LinkSet set) const = 0;

  /// The geometry object that the unique set links to a key; a default one where there is none.
  virtual GeometryObject3D GetGeometryObject(const UniqueMetaObjectKey& key) const = 0;

  /// GeometryObject3D::ToSomething of GetGeometryObject(key).
  virtual IfSomething* MetaObjectToSomething(const UniqueMetaObjectKey& key, const IfDocObject& document) const = 0;

  /// GeometryObject3D::ToWrapper of GetGeometryObject(key); the component is passed on as it is, null included.
  virtual CompTrObject<IfSomething> MetaObjectToWrapper(const UniqueMetaObjectKey& key, const IfDocObject& document,
                                                        IfComponent* component) const = 0;

  /// Writes the links section (docs/stream_format.md). Faults are recorded on the stream. Does not change the store.
  virtual void WriteMetaObjectsLinks(writer& out) const = 0;

  /// Restricts writing to the links of one component, which are then written with an empty component path; null
  /// lifts the restriction. The store keeps a copy, which it does NOT release when it is destroyed: a holder that
  /// set a path calls this with null before it releases the store. Where copying throws, no path is set.
  virtual void SetWriteComponentPath(const MbPath* path) = 0;

  /// Gives every linked key a fresh one (UniqueMetaObjectKey::Generate) and returns old key to new key. A key that is
  /// in both sets gets the same new one in both. Of several links of the validated set with one key only the first
  /// is changed; ReplaceMetaObjectKey(old, new, Validated) changes the others.
  virtual std::map<UniqueMetaObjectKey, UniqueMetaObjectKey> RegenerateMetaObjectKeys() = 0;

  /// Links everything that is linked to `from` to a copy of `to` instead, in both sets; the validator is not asked.
  /// A changed link that meets one with the same geometry object (unique set) or the same pair (validated set) is
  /// dropped. `from` and `to` must not be equivalent: where a link holds `from`, the call would not end.
  virtual void ReplaceGeometryObject(const GeometryObject3D& from, const GeometryObject3D& to) = 0;

  /// Gives every link with key `from` the key `to`; the validator is not asked. A changed link that meets one with
  /// the same key (unique set) or the same pair (validated set) is dropped. The keys must differ: where a link holds
  /// `from`, the call would not end.
  virtual void ReplaceMetaObjectKey(const UniqueMetaObjectKey& from, const UniqueMetaObjectKey& to, LinkSet set) = 0;

  /// Moves the links of a branch of the component tree, in both sets: where a geometry object's component path lies
  /// in the branch `from` (ComponentPath::IsSubDirectory), its last n elements become those of `to`, n being the
  /// number of elements of `to`; the path keeps its length. Links are changed in the order of geometry objects, each by
  /// a search for its object: the first among equivalent ones, where an earlier change put or left it, is changed
  /// again in their stead, and takes that object's second path. A changed link that meets another is dropped as in
  /// ReplaceGeometryObject. Equal paths change nothing. `to` must not be longer than a path in the branch.
  virtual void ReplaceComponentPath(const MbPath& from, const MbPath& to) = 0;

  /// Calls the visitor for every link of the set, in key order, with the stored link itself. An empty visitor throws
  /// std::bad_function_call at the first link. Allocates nothing.
  virtual void ForEachLink(const LinkVisitor& visitor, LinkSet set) const = 0;

  /// The geometry objects that the validated set links to a key and the unique set does not (HasLink), in order of
  /// entry. The flags may be null; both are first set to false. `sharedFound` becomes true when some link is in both
  /// sets, `sharedPartFound` when one such geometry object is a component of a part (type 104); the latter is only
  /// ever set when `sharedFound` is given as well.
  virtual std::vector<GeometryObject3D> GetValidatedOnlyGeometryObjects(const UniqueMetaObjectKey& key,
                                                                        bool* sharedFound,
                                                                        bool* sharedPartFound) const = 0;
};
