#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <qProdData/IfMetaProductData.h>

#include "host/model/MetaObject.h"

namespace host {

/// The product data of a document in memory. Look-ups are logarithmic.
class ProductData final : public IfMetaProductData {
 public:
  /// In ascending order of keys.
  using MetaObjects = std::map<UniqueMetaObjectKey, MetaObject>;
  /// The values that objects have as members of one group.
  using GroupValues = std::map<UniqueMetaObjectKey, Properties>;

  /// A group, which is named by an embodiment.
  struct Group {
    /// The occurrences that belong to it.
    std::set<UniqueMetaObjectKey> members;
    /// The group objects of the members, each with how many members it has.
    std::map<UniqueMetaObjectKey, std::size_t> lines;
    GroupValues values;

    friend bool operator==(const Group&, const Group&) = default;
  };
  using Groups = std::map<UniqueMetaObjectKey, Group>;

  bool HasMetaObject(const UniqueMetaObjectKey& key) const override;
  std::set<UniqueMetaObjectKey> GetRelatedMetaObjects(const UniqueMetaObjectKey& key) const override;
  PropValueRef GetPropertyRef(const UniqueMetaObjectKey& key, const std::wstring& name) const override;
  bool IsAssociativeBillet(const UniqueMetaObjectKey& key) const override;

  /// Adds a meta object under a fresh key, which is returned.
  UniqueMetaObjectKey Add(MetaObject object);
  /// Adds a meta object that has its key; false, and nothing changes, when the key is taken.
  bool Insert(const UniqueMetaObjectKey& key, MetaObject object);
  /// Removes an object and all that groups know of it; an embodiment takes its group along.
  void Remove(const UniqueMetaObjectKey& key);

  /// Null when there is none with this key. Good until the object is removed. Which object an object belongs to is
  /// not to be changed here once it is a member of a group.
  const MetaObject* Find(const UniqueMetaObjectKey& key) const;
  MetaObject* Find(const UniqueMetaObjectKey& key);

  const MetaObjects& All() const noexcept { return objects; }

  /// Exchanges everything with another one.
  void Swap(ProductData& other) noexcept;

  /// The root product; null in an empty document.
  const UniqueMetaObjectKey& RootProduct() const noexcept { return rootProduct; }
  void SetRootProduct(const UniqueMetaObjectKey& key) { rootProduct = key; }

  /// The embodiments of an assembly product in ascending order of keys; empty for anything else.
  const std::set<UniqueMetaObjectKey>& FindEmbodiments(const UniqueMetaObjectKey& product) const;
  /// The same with the base embodiment first.
  std::vector<UniqueMetaObjectKey> EmbodimentsOf(const UniqueMetaObjectKey& product) const;
  /// The base embodiment of the root product; null where the root is a part.
  const UniqueMetaObjectKey& RootEmbodiment() const;
  /// The assembly product that holds an occurrence; null for anything else.
  const UniqueMetaObjectKey& HoldingProduct(const MetaObject& occurrence) const;

  const Groups& AllGroups() const noexcept { return groups; }
  /// Empty for an embodiment that has none.
  const Group& FindGroup(const UniqueMetaObjectKey& embodiment) const;
  void AddToGroup(const UniqueMetaObjectKey& embodiment, const UniqueMetaObjectKey& occurrence);
  void RemoveFromGroup(const UniqueMetaObjectKey& embodiment, const UniqueMetaObjectKey& occurrence);
  /// Replaces a value that an object has in a group; an empty one takes it away.
  void SetGroupValue(const UniqueMetaObjectKey& embodiment, const UniqueMetaObjectKey& object, const std::wstring& name,
                     const SimplePropVal& value);

  /// What a person calls the object: of an occurrence, a billet or a group object the product's marking and name, of
  /// others their own; its key where it has neither.
  std::string DisplayName(const UniqueMetaObjectKey& key) const;
  /// A text property of the object's product, or of the object where it is a product or an embodiment; may be empty.
  std::string ProductText(const UniqueMetaObjectKey& key, const std::wstring& name) const;

 private:
  // The assembly product whose groups may know of an object. An occurrence tells it by its line, since the occurrence
  // that holds it may have been removed before.
  const UniqueMetaObjectKey& GroupingProduct(const MetaObject& object) const;
  const MetaObject* NamedBy(const UniqueMetaObjectKey& key) const;

  MetaObjects objects;
  Groups groups;
  std::map<UniqueMetaObjectKey, std::set<UniqueMetaObjectKey>> embodimentsByProduct;
  UniqueMetaObjectKey rootProduct;
};

}  // namespace host
