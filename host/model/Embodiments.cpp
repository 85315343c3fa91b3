#include "host/model/Embodiments.h"

#include <set>
#include <utility>
#include <variant>

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/model/Positions.h"
#include "host/model/TextForms.h"
#include "vocabulary/PropertyNames.h"

namespace host {

namespace {

void RequireFree(const ProductData& data, const std::string& name, const std::string& number) {
  for (const UniqueMetaObjectKey& key : data.EmbodimentsOf(data.RootProduct())) {
    if (data.ProductText(key, c_variantName) == name || data.ProductText(key, c_markingEmbodimentNumber) == number) {
      throw DocumentError(fmt::format("there is an embodiment with the name '{}' or the number '{}'; choose others",
                                      BytesText(name), BytesText(number)));
    }
  }
}

// Bound: valid in the embodiments alone that contain it.
void Bind(MetaObject& occurrence) {
  if (!std::holds_alternative<AttributedPart>(occurrence.part)) {
    occurrence.part = AttributedPart{GroupPartHandler::c_defaultAttrs};
  }
  std::get<AttributedPart>(occurrence.part).attributes.embodimentBoundFlag = 1;
}

void CopyNumbers(ProductData& data, const UniqueMetaObjectKey& from, const UniqueMetaObjectKey& to) {
  for (const auto& [line, count] : data.FindGroup(to).lines) {
    if (const auto number = StoredPosition(data, from, line)) {
      SetPosition(data, to, line, *number, IsSetByHand(data, from, line));
    }
  }
  // A number that a line which is left out has in the base embodiment stays its own here as well.
  data.Find(to)->lastPosition = data.Find(from)->lastPosition;
}

}  // namespace

UniqueMetaObjectKey AddEmbodiment(Document& document, const std::string& name, const std::string& number,
                                  const std::vector<UniqueMetaObjectKey>& without) {
  ProductData& data = document.productData;
  const UniqueMetaObjectKey base = data.RootEmbodiment();
  if (base == UniqueMetaObjectKey::null) {
    throw DocumentError("the document is a part; only assemblies have embodiments");
  }
  if (!data.HasMetaObject(base)) {
    throw DocumentError(
        "damaged document: the base embodiment is gone; use a copy of it or import the STEP file again");
  }
  RequireFree(data, name, number);

  MetaObject variant;
  variant.type = MetaObjectType::embodiment;
  variant.product = data.RootProduct();
  variant.properties = data.Find(base)->properties;
  variant.properties[c_variantName] = SimplePropVal(ToWide(name));
  variant.properties[c_markingEmbodimentNumber] = SimplePropVal(ToWide(number));
  UniqueMetaObjectKey embodiment = data.Add(std::move(variant));

  const std::set<UniqueMetaObjectKey> leftOut(without.begin(), without.end());
  for (const UniqueMetaObjectKey& occurrence : data.FindGroup(base).members) {
    if (!leftOut.contains(occurrence)) {
      data.AddToGroup(embodiment, occurrence);
    } else if (MetaObject* object = data.Find(occurrence)) {
      Bind(*object);
    }
  }
  CopyNumbers(data, base, embodiment);
  return embodiment;
}

void RemoveEmbodiment(Document& document, const UniqueMetaObjectKey& embodiment) {
  if (embodiment == document.productData.RootEmbodiment()) {
    throw DocumentError("the base embodiment cannot be removed, since it holds every occurrence; name another one");
  }
  document.productData.Remove(embodiment);
}

}  // namespace host
