#include "host/model/Aggregator.h"

#include <stdexcept>
#include <utility>
#include <variant>

namespace host {

namespace {

const SimplePropVal& ValueOf(const Properties& properties, const std::wstring& name) {
  static const SimplePropVal none;
  const auto found = properties.find(name);
  return found == properties.end() ? none : found->second;
}

}  // namespace

Aggregator::Aggregator(std::vector<const ProductData*> productData, const IfPropertyCalculator* attributeCalculator)
    : sources(std::move(productData)), calculator(attributeCalculator) {}

const ProductData& Aggregator::Holding(const UniqueMetaObjectKey& key) const {
  static const ProductData none;
  for (const ProductData* source : sources) {
    if (source->HasMetaObject(key)) {
      return *source;
    }
  }
  return none;
}

bool Aggregator::Actualize() {
  return false;
}

bool Aggregator::HasObject(const UniqueMetaObjectKey& key) const {
  return Holding(key).HasMetaObject(key);
}

std::uint32_t Aggregator::GetMetaObjectType(const UniqueMetaObjectKey& key) const {
  const MetaObject* object = Holding(key).Find(key);
  return static_cast<std::uint32_t>(object == nullptr ? MetaObjectType::unknown : object->type);
}

bool Aggregator::IsGroupObject(const UniqueMetaObjectKey& key) const {
  const MetaObject* object = Holding(key).Find(key);
  return object != nullptr && object->type == MetaObjectType::groupObject;
}

UniqueMetaObjectKey Aggregator::GetGroupObjectKey(const UniqueMetaObjectKey& key) const {
  const MetaObject* object = Holding(key).Find(key);
  return object == nullptr ? UniqueMetaObjectKey::null : object->groupObject;
}

std::set<UniqueMetaObjectKey> Aggregator::GetObjectGroups(const UniqueMetaObjectKey& key) const {
  const ProductData& data = Holding(key);
  const MetaObject* object = data.Find(key);
  std::set<UniqueMetaObjectKey> result;
  if (object == nullptr) {
    return result;
  }
  const bool isLine = object->type == MetaObjectType::groupObject;
  for (const UniqueMetaObjectKey& embodiment :
       data.FindEmbodiments(isLine ? object->holder : data.HoldingProduct(*object))) {
    const ProductData::Group& group = data.FindGroup(embodiment);
    if (isLine ? group.lines.contains(key) : group.members.contains(key)) {
      result.insert(embodiment);
    }
  }
  if (object->type == MetaObjectType::assemblyOccurrence) {
    result.insert(object->embodiment);
  }
  return result;
}

GroupPartHandler Aggregator::MakeGroupPartHandler(const UniqueMetaObjectKey& key) const {
  return GroupPartHandler(*this, key, UniqueMetaObjectKey::null);
}

const SimplePropVal& Aggregator::GetGroupObjPropValue(const UniqueMetaObjectKey& group,
                                                      const UniqueMetaObjectKey& object,
                                                      const std::wstring& name) const {
  static const Properties none;
  const ProductData& data = Holding(object);
  const MetaObject* found = data.Find(object);
  if (found == nullptr) {
    return ValueOf(none, name);
  }
  // An occurrence has in a group what its line has.
  const UniqueMetaObjectKey& holder = found->groupObject == UniqueMetaObjectKey::null ? object : found->groupObject;
  const ProductData::GroupValues& values = data.FindGroup(group).values;
  const auto properties = values.find(holder);
  return ValueOf(properties == values.end() ? none : properties->second, name);
}

const SimplePropVal& Aggregator::GetObjPropValue(const UniqueMetaObjectKey& key, const std::wstring& name) const {
  static const Properties none;
  const MetaObject* object = Holding(key).Find(key);
  return ValueOf(object == nullptr ? none : object->properties, name);
}

PropValueRef Aggregator::GetPropValueRef(const UniqueMetaObjectKey& key, const std::wstring& name) const {
  return Holding(key).GetPropertyRef(key, name);
}

const IfMetaProductData& Aggregator::GetMetaProductData(const UniqueMetaObjectKey& key) const {
  return Holding(key);
}

bool Aggregator::IsManualBillet(const UniqueMetaObjectKey& key) const {
  const MetaObject* object = Holding(key).Find(key);
  return object != nullptr && object->billet == BilletKind::manual;
}

bool Aggregator::IsValidGroupPart(const UniqueMetaObjectKey& object, const UniqueMetaObjectKey&) const {
  return IsValidPart(object);
}

PartHandler Aggregator::GetGroupPart(const UniqueMetaObjectKey& object, const UniqueMetaObjectKey&) const {
  return GetRawPart(object);
}

PartHandler Aggregator::GetRawPart(const UniqueMetaObjectKey& object) const {
  return PartHandler(*this, object);
}

bool Aggregator::IsValidPart(const UniqueMetaObjectKey& object) const {
  return std::holds_alternative<AttributedPart>(GetProductPart(object));
}

bool Aggregator::IsCalcAvailable(const UniqueMetaObjectKey&) const {
  return calculator != nullptr;
}

const IfPropertyCalculator& Aggregator::GetPropertyCalculator(const UniqueMetaObjectKey&) const {
  if (calculator == nullptr) {
    throw std::logic_error("asked for a calculator that is not available");
  }
  return *calculator;
}

const ProductPart& Aggregator::GetProductPart(const UniqueMetaObjectKey& object) const {
  static const ProductPart none;
  const MetaObject* found = Holding(object).Find(object);
  return found == nullptr ? none : found->part;
}

}  // namespace host
