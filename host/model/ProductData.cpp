#include "host/model/ProductData.h"

#include <utility>

#include "host/model/TextForms.h"
#include "vocabulary/PropertyNames.h"

namespace host {

namespace {

std::string TextProperty(const MetaObject& object, const std::wstring& name) {
  const auto found = object.properties.find(name);
  return found == object.properties.end() ? std::string() : ValueText(found->second);
}

}  // namespace

bool ProductData::HasMetaObject(const UniqueMetaObjectKey& key) const {
  return objects.contains(key);
}

std::set<UniqueMetaObjectKey> ProductData::GetRelatedMetaObjects(const UniqueMetaObjectKey& key) const {
  const MetaObject* object = Find(key);
  if (object == nullptr || !IsOccurrence(object->type) || object->holder == UniqueMetaObjectKey::null) {
    return {};
  }
  return {object->holder};
}

UniqueMetaObjectKey ProductData::Add(MetaObject object) {
  const UniqueMetaObjectKey key = UniqueMetaObjectKey::Generate();
  objects.emplace(key, std::move(object));
  return key;
}

bool ProductData::Insert(const UniqueMetaObjectKey& key, MetaObject object) {
  const std::size_t before = objects.size();
  // Documents keep their objects in order of keys, so the next one belongs at the end.
  objects.emplace_hint(objects.end(), key, std::move(object));
  return objects.size() != before;
}

const MetaObject* ProductData::Find(const UniqueMetaObjectKey& key) const {
  const auto found = objects.find(key);
  return found == objects.end() ? nullptr : &found->second;
}

MetaObject* ProductData::Find(const UniqueMetaObjectKey& key) {
  return const_cast<MetaObject*>(std::as_const(*this).Find(key));
}

std::string ProductData::DisplayName(const UniqueMetaObjectKey& key) const {
  const MetaObject* object = Find(key);
  if (object != nullptr && object->product != UniqueMetaObjectKey::null && object->type != MetaObjectType::embodiment) {
    object = Find(object->product);
  }
  if (object == nullptr) {
    return KeyText(key);
  }
  const std::string marking = TextProperty(*object, c_marking);
  const std::string name = TextProperty(*object, c_productName);
  if (marking.empty() && name.empty()) {
    return KeyText(key);
  }
  return marking.empty() || name.empty() || marking == name ? (marking.empty() ? name : marking) : marking + " " + name;
}

}  // namespace host
