#pragma once

#include <map>
#include <set>
#include <string>

#include <qProdData/IfMetaProductData.h>

#include "host/model/MetaObject.h"

namespace host {

/// The product data of a document in memory. Look-ups are logarithmic.
class ProductData final : public IfMetaProductData {
 public:
  /// In ascending order of keys.
  using MetaObjects = std::map<UniqueMetaObjectKey, MetaObject>;
  /// A group, named by the key of its embodiment, and its members.
  using Groups = std::map<UniqueMetaObjectKey, std::set<UniqueMetaObjectKey>>;

  bool HasMetaObject(const UniqueMetaObjectKey& key) const override;
  std::set<UniqueMetaObjectKey> GetRelatedMetaObjects(const UniqueMetaObjectKey& key) const override;

  /// Adds a meta object under a fresh key, which is returned.
  UniqueMetaObjectKey Add(MetaObject object);
  /// Adds a meta object that has its key; false, and nothing changes, when the key is taken.
  bool Insert(const UniqueMetaObjectKey& key, MetaObject object);

  /// Null when there is none with this key. Good until the object is removed.
  const MetaObject* Find(const UniqueMetaObjectKey& key) const;
  MetaObject* Find(const UniqueMetaObjectKey& key);

  const MetaObjects& All() const noexcept { return objects; }

  /// The root product; null in an empty document.
  const UniqueMetaObjectKey& RootProduct() const noexcept { return rootProduct; }
  void SetRootProduct(const UniqueMetaObjectKey& key) { rootProduct = key; }

  Groups& AllGroups() noexcept { return groups; }
  const Groups& AllGroups() const noexcept { return groups; }

  /// What a person calls the object: of an occurrence or a group object the product's marking and name, of others
  /// their own; its key where it has neither.
  std::string DisplayName(const UniqueMetaObjectKey& key) const;

 private:
  MetaObjects objects;
  Groups groups;
  UniqueMetaObjectKey rootProduct;
};

}  // namespace host
