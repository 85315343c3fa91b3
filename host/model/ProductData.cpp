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
  if (object == nullptr || !object->IsOccurrence() || object->holder == UniqueMetaObjectKey::null) {
    return {};
  }
  return {object->holder};
}

PropValueRef ProductData::GetPropertyRef(const UniqueMetaObjectKey& key, const std::wstring& name) const {
  const MetaObject* object = Find(key);
  if (object == nullptr) {
    return PropValueRef();
  }
  const auto own = object->properties.find(name);
  const std::wstring prefix = name + L".";
  auto part = object->properties.lower_bound(prefix);
  if (part == object->properties.end() || !part->first.starts_with(prefix)) {
    return own == object->properties.end() ? PropValueRef() : PropValueRef(own->second);
  }
  auto tree = std::make_shared<PropertyTree>();
  if (own != object->properties.end()) {
    tree->data() = own->second;
  }
  for (; part != object->properties.end() && part->first.starts_with(prefix); ++part) {
    tree->put_child(PropertyTree::path_type(part->first.substr(prefix.size()), L'.'), PropertyTree(part->second));
  }
  return PropValueRef(std::move(tree));
}

bool ProductData::IsAssociativeBillet(const UniqueMetaObjectKey& key) const {
  const MetaObject* object = Find(key);
  return object != nullptr && object->billet == BilletKind::associative;
}

UniqueMetaObjectKey ProductData::Add(MetaObject object) {
  UniqueMetaObjectKey key = UniqueMetaObjectKey::Generate();
  Insert(key, std::move(object));
  return key;
}

bool ProductData::Insert(const UniqueMetaObjectKey& key, MetaObject object) {
  const std::size_t before = objects.size();
  // Documents keep their objects in order of keys, so when one is read the next belongs at the end.
  const auto added = objects.emplace_hint(objects.end(), key, std::move(object));
  if (objects.size() == before) {
    return false;
  }
  if (added->second.type == MetaObjectType::embodiment) {
    embodimentsByProduct[added->second.product].insert(key);
  }
  return true;
}

void ProductData::Remove(const UniqueMetaObjectKey& key) {
  const auto found = objects.find(key);
  if (found == objects.end()) {
    return;
  }
  const MetaObject& object = found->second;
  if (object.type == MetaObjectType::embodiment) {
    groups.erase(key);
    embodimentsByProduct[object.product].erase(key);
  } else {
    for (const UniqueMetaObjectKey& embodiment : FindEmbodiments(GroupingProduct(object))) {
      RemoveFromGroup(embodiment, key);
      const auto group = groups.find(embodiment);
      if (group != groups.end()) {
        group->second.values.erase(key);
      }
    }
  }
  objects.erase(found);
}

const MetaObject* ProductData::Find(const UniqueMetaObjectKey& key) const {
  const auto found = objects.find(key);
  return found == objects.end() ? nullptr : &found->second;
}

MetaObject* ProductData::Find(const UniqueMetaObjectKey& key) {
  return const_cast<MetaObject*>(std::as_const(*this).Find(key));
}

void ProductData::Swap(ProductData& other) noexcept {
  std::swap(objects, other.objects);
  std::swap(groups, other.groups);
  std::swap(embodimentsByProduct, other.embodimentsByProduct);
  std::swap(rootProduct, other.rootProduct);
}

const std::set<UniqueMetaObjectKey>& ProductData::FindEmbodiments(const UniqueMetaObjectKey& product) const {
  static const std::set<UniqueMetaObjectKey> none;
  const auto found = embodimentsByProduct.find(product);
  return found == embodimentsByProduct.end() ? none : found->second;
}

std::vector<UniqueMetaObjectKey> ProductData::EmbodimentsOf(const UniqueMetaObjectKey& product) const {
  const std::set<UniqueMetaObjectKey>& embodiments = FindEmbodiments(product);
  std::vector<UniqueMetaObjectKey> result;
  result.reserve(embodiments.size());
  const MetaObject* assembly = Find(product);
  if (assembly != nullptr && embodiments.contains(assembly->embodiment)) {
    result.push_back(assembly->embodiment);
  }
  for (const UniqueMetaObjectKey& key : embodiments) {
    if (result.empty() || !(key == result.front())) {
      result.push_back(key);
    }
  }
  return result;
}

const UniqueMetaObjectKey& ProductData::RootEmbodiment() const {
  const MetaObject* root = Find(rootProduct);
  return root == nullptr ? UniqueMetaObjectKey::null : root->embodiment;
}

const UniqueMetaObjectKey& ProductData::HoldingProduct(const MetaObject& occurrence) const {
  if (!occurrence.IsOccurrence()) {
    return UniqueMetaObjectKey::null;
  }
  if (occurrence.holder == UniqueMetaObjectKey::null) {
    return rootProduct;
  }
  const MetaObject* holder = Find(occurrence.holder);
  return holder == nullptr ? UniqueMetaObjectKey::null : holder->product;
}

const UniqueMetaObjectKey& ProductData::GroupingProduct(const MetaObject& object) const {
  const MetaObject* line = object.IsOccurrence() ? Find(object.groupObject) : &object;
  return line == nullptr ? HoldingProduct(object) : line->holder;
}

const ProductData::Group& ProductData::FindGroup(const UniqueMetaObjectKey& embodiment) const {
  static const Group none;
  const auto found = groups.find(embodiment);
  return found == groups.end() ? none : found->second;
}

void ProductData::AddToGroup(const UniqueMetaObjectKey& embodiment, const UniqueMetaObjectKey& occurrence) {
  Group& group = groups[embodiment];
  const MetaObject* object = Find(occurrence);
  if (group.members.insert(occurrence).second && object != nullptr) {
    ++group.lines[object->groupObject];
  }
}

void ProductData::RemoveFromGroup(const UniqueMetaObjectKey& embodiment, const UniqueMetaObjectKey& occurrence) {
  const auto group = groups.find(embodiment);
  const MetaObject* object = Find(occurrence);
  if (group == groups.end() || group->second.members.erase(occurrence) == 0 || object == nullptr) {
    return;
  }
  const auto line = group->second.lines.find(object->groupObject);
  if (line != group->second.lines.end() && --line->second == 0) {
    group->second.lines.erase(line);
  }
}

void ProductData::SetGroupValue(const UniqueMetaObjectKey& embodiment, const UniqueMetaObjectKey& object,
                                const std::wstring& name, const SimplePropVal& value) {
  GroupValues& values = groups[embodiment].values;
  if (!value.IsEmpty()) {
    values[object].insert_or_assign(name, value);
    return;
  }
  const auto properties = values.find(object);
  if (properties != values.end() && properties->second.erase(name) != 0 && properties->second.empty()) {
    values.erase(properties);
  }
}

const MetaObject* ProductData::NamedBy(const UniqueMetaObjectKey& key) const {
  const MetaObject* object = Find(key);
  const bool isNamedByProduct =
      object != nullptr && (object->IsOccurrence() || object->type == MetaObjectType::groupObject);
  return isNamedByProduct ? Find(object->product) : object;
}

std::string ProductData::ProductText(const UniqueMetaObjectKey& key, const std::wstring& name) const {
  const MetaObject* object = NamedBy(key);
  return object == nullptr ? std::string() : TextProperty(*object, name);
}

std::string ProductData::DisplayName(const UniqueMetaObjectKey& key) const {
  const std::string marking = ProductText(key, c_marking);
  std::string name = ProductText(key, c_productName);
  if (marking.empty() && name.empty()) {
    return KeyText(key);
  }
  if (marking.empty() || marking == name) {
    return name;
  }
  return name.empty() ? marking : marking + " " + name;
}

}  // namespace host
