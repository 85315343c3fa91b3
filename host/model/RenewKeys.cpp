#include "host/model/RenewKeys.h"

#include <map>
#include <utility>

namespace host {

namespace {

// Old keys with their new ones. The null key names nothing and stays what it is.
class KeyRenewal {
 public:
  explicit KeyRenewal(std::map<UniqueMetaObjectKey, UniqueMetaObjectKey> known) : newKeys(std::move(known)) {
    newKeys[UniqueMetaObjectKey::null] = UniqueMetaObjectKey::null;
  }

  // Fresh where the old key is met for the first time, be it of an object or of one that is gone.
  const UniqueMetaObjectKey& Of(const UniqueMetaObjectKey& oldKey) {
    const auto [found, isNew] = newKeys.try_emplace(oldKey);
    if (isNew) {
      found->second = UniqueMetaObjectKey::Generate();
    }
    return found->second;
  }

 private:
  std::map<UniqueMetaObjectKey, UniqueMetaObjectKey> newKeys;
};

// The same product data under the new keys.
void Rename(const ProductData& data, KeyRenewal& newKeys, ProductData& renamed) {
  renamed.SetRootProduct(newKeys.Of(data.RootProduct()));
  for (const auto& [key, original] : data.All()) {
    MetaObject object = original;
    object.product = newKeys.Of(object.product);
    object.holder = newKeys.Of(object.holder);
    object.embodiment = newKeys.Of(object.embodiment);
    object.groupObject = newKeys.Of(object.groupObject);
    renamed.Insert(newKeys.Of(key), std::move(object));
  }
  for (const auto& [embodiment, group] : data.AllGroups()) {
    for (const UniqueMetaObjectKey& member : group.members) {
      renamed.AddToGroup(newKeys.Of(embodiment), newKeys.Of(member));
    }
    for (const auto& [object, values] : group.values) {
      for (const auto& [name, value] : values) {
        renamed.SetGroupValue(newKeys.Of(embodiment), newKeys.Of(object), name, value);
      }
    }
  }
}

// The new keys of all that is linked.
std::map<UniqueMetaObjectKey, UniqueMetaObjectKey> RenewLinks(IProductGeometryObjects3D& links) {
  std::map<UniqueMetaObjectKey, UniqueMetaObjectKey> newKeys = links.RegenerateMetaObjectKeys();
  for (const auto& [oldKey, newKey] : newKeys) {
    if (oldKey == UniqueMetaObjectKey::null) {
      links.ReplaceMetaObjectKey(newKey, oldKey, LinkSet::Both);
    } else {
      // The store renews one link of each key in the validated set; the others follow here.
      links.ReplaceMetaObjectKey(oldKey, newKey, LinkSet::Validated);
    }
  }
  return newKeys;
}

}  // namespace

void RenewKeys(Document& document) {
  KeyRenewal newKeys(RenewLinks(*document.links));
  ProductData renamed;
  Rename(document.productData, newKeys, renamed);
  document.productData.Swap(renamed);
  for (auto& [path, component] : document.components) {
    component.occurrence = newKeys.Of(component.occurrence);
  }
}

}  // namespace host
