#include "host/model/RenewKeys.h"

#include <map>
#include <utility>

namespace host {

namespace {

using KeyMap = std::map<UniqueMetaObjectKey, UniqueMetaObjectKey>;

const UniqueMetaObjectKey& NewKey(const KeyMap& newKeys, const UniqueMetaObjectKey& key) {
  const auto found = newKeys.find(key);
  return found == newKeys.end() ? key : found->second;
}

// The same product data under the new keys. `newKeys` has an entry for every object.
void Rename(const ProductData& data, const KeyMap& newKeys, ProductData& renamed) {
  renamed.SetRootProduct(NewKey(newKeys, data.RootProduct()));
  for (const auto& [key, original] : data.All()) {
    MetaObject object = original;
    object.product = NewKey(newKeys, object.product);
    object.holder = NewKey(newKeys, object.holder);
    object.embodiment = NewKey(newKeys, object.embodiment);
    object.groupObject = NewKey(newKeys, object.groupObject);
    renamed.Insert(NewKey(newKeys, key), std::move(object));
  }
  for (const auto& [embodiment, group] : data.AllGroups()) {
    for (const UniqueMetaObjectKey& member : group.members) {
      renamed.AddToGroup(NewKey(newKeys, embodiment), NewKey(newKeys, member));
    }
    for (const auto& [object, values] : group.values) {
      for (const auto& [name, value] : values) {
        renamed.SetGroupValue(NewKey(newKeys, embodiment), NewKey(newKeys, object), name, value);
      }
    }
  }
}

}  // namespace

void RenewKeys(Document& document) {
  KeyMap newKeys = document.links->RegenerateMetaObjectKeys();
  // The store renews one link of each key in the validated set; the others follow here.
  for (const auto& [oldKey, newKey] : newKeys) {
    document.links->ReplaceMetaObjectKey(oldKey, newKey, LinkSet::Validated);
  }
  for (const auto& [key, object] : document.productData.All()) {
    if (!newKeys.contains(key)) {
      newKeys.emplace(key, UniqueMetaObjectKey::Generate());
    }
  }
  ProductData renamed;
  Rename(document.productData, newKeys, renamed);
  document.productData.Swap(renamed);
  for (auto& [path, component] : document.components) {
    component.occurrence = NewKey(newKeys, component.occurrence);
  }
}

}  // namespace host
