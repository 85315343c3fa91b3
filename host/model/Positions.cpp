#include "host/model/Positions.h"

#include <algorithm>
#include <limits>
#include <set>
#include <variant>

#include <fmt/format.h>

#include <qProdData3D/CheckValidProductGeometryLink.h>
#include <qProdData3D/meta_3d.h>

#include "host/HostError.h"
#include "host/model/Aggregator.h"
#include "host/model/ModelDocument.h"
#include "vocabulary/PropertyNames.h"

namespace host {

namespace {

const SimplePropVal* FindGroupValue(const ProductData& data, const UniqueMetaObjectKey& embodiment,
                                    const UniqueMetaObjectKey& line, const std::wstring& name) {
  const ProductData::GroupValues& values = data.FindGroup(embodiment).values;
  const auto properties = values.find(line);
  if (properties == values.end()) {
    return nullptr;
  }
  const auto value = properties->second.find(name);
  return value == properties->second.end() ? nullptr : &value->second;
}

std::size_t CountValidated(const IProductGeometryObjects3D& links) {
  std::size_t count = 0;
  links.ForEachLink([&count](const ProductGeometryObject3D&) { ++count; }, LinkSet::Validated);
  return count;
}

bool NeedsNumber(const ProductData& data, const UniqueMetaObjectKey& embodiment, const UniqueMetaObjectKey& line) {
  const MetaObject* object = data.Find(line);
  return object != nullptr && object->billet == BilletKind::none && data.FindGroup(embodiment).lines.contains(line) &&
         !StoredPosition(data, embodiment, line);
}

void NumberLines(ProductData& data, const UniqueMetaObjectKey& embodiment,
                 const std::vector<UniqueMetaObjectKey>& lines) {
  MetaObject* variant = data.Find(embodiment);
  for (const UniqueMetaObjectKey& line : lines) {
    if (!NeedsNumber(data, embodiment, line)) {
      continue;
    }
    if (variant->lastPosition == std::numeric_limits<std::int32_t>::max()) {
      throw DocumentError(
          fmt::format("{}: all position numbers up to {} have been given; import the file as a new "
                      "document, or split the assembly",
                      data.DisplayName(variant->product), variant->lastPosition));
    }
    SetPosition(data, embodiment, line, variant->lastPosition + 1, false);
  }
}

}  // namespace

std::map<UniqueMetaObjectKey, std::vector<UniqueMetaObjectKey>> LinesByAssembly(const Document& document) {
  const ProductData& data = document.productData;
  std::map<UniqueMetaObjectKey, std::vector<UniqueMetaObjectKey>> result;
  std::set<UniqueMetaObjectKey> seen;
  for (const auto& [path, component] : document.components) {
    const MetaObject* occurrence = data.Find(component.occurrence);
    if (occurrence != nullptr && !(occurrence->groupObject == UniqueMetaObjectKey::null) &&
        seen.insert(occurrence->groupObject).second) {
      result[data.HoldingProduct(*occurrence)].push_back(occurrence->groupObject);
    }
  }
  return result;
}

std::optional<std::int32_t> StoredPosition(const ProductData& data, const UniqueMetaObjectKey& embodiment,
                                           const UniqueMetaObjectKey& line) {
  const SimplePropVal* value = FindGroupValue(data, embodiment, line, c_position);
  const int* number = value == nullptr ? nullptr : std::get_if<int>(&value->GetValue());
  return number == nullptr ? std::nullopt : std::optional<std::int32_t>(*number);
}

bool IsSetByHand(const ProductData& data, const UniqueMetaObjectKey& embodiment, const UniqueMetaObjectKey& line) {
  return FindGroupValue(data, embodiment, line, c_manual) != nullptr;
}

void SetPosition(ProductData& data, const UniqueMetaObjectKey& embodiment, const UniqueMetaObjectKey& line,
                 std::int32_t number, bool byHand) {
  data.SetGroupValue(embodiment, line, c_position, SimplePropVal(int{number}));
  data.SetGroupValue(embodiment, line, c_manual, byHand ? SimplePropVal(true) : SimplePropVal());
  if (MetaObject* variant = data.Find(embodiment)) {
    variant->lastPosition = std::max(variant->lastPosition, number);
  }
}

void NumberNewLines(Document& document) {
  ProductData& data = document.productData;
  for (const auto& [assembly, lines] : LinesByAssembly(document)) {
    for (const UniqueMetaObjectKey& embodiment : data.EmbodimentsOf(assembly)) {
      NumberLines(data, embodiment, lines);
    }
  }
}

void RebuildPositionLinks(Document& document) {
  for (const auto& [path, component] : document.components) {
    document.links->RemoveGeometryObjectLinks(ComponentGeometry(path, component), LinkSet::Validated);
  }
  for (const auto& [path, bodies] : document.bodies) {
    for (const Body& body : bodies) {
      document.links->RemoveGeometryObjectLinks(BodyGeometry(path, body), LinkSet::Validated);
    }
  }
  ModelDocument model(document, document.productData.RootEmbodiment());
  meta_3d::SetPositionsMetaLinks(model, document.productData, *document.links);
}

std::size_t PurgeInvalidLinks(Document& document) {
  const Aggregator aggregator({&document.productData});
  const ModelEmbodiments embodiments(document, document.productData.RootEmbodiment());
  const EmbodimentsTree tree = embodiments.Tree();
  const std::size_t before = CountValidated(*document.links);
  document.links->SetLinkValidater([&aggregator, &tree](const ProductGeometryObject3D& link) {
    return CheckValidProductGeometryLink(link, aggregator, tree);
  });
  const std::size_t purged = before - CountValidated(*document.links);
  // The validator borrows what ends here.
  document.links->SetLinkValidater(AcceptAnyLink);
  return purged;
}

}  // namespace host
