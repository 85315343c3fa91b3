#include "host/model/Bill.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>
#include <variant>

#include <qProdData3D/meta_3d.h>

#include "vocabulary/PropertyNames.h"

namespace host {

namespace {

class BillMaker {
 public:
  BillMaker(const Document& model, const UniqueMetaObjectKey& rootEmbodiment)
      : document(model),
        data(model.productData),
        embodiment(rootEmbodiment),
        aggregator({&data}),
        view(model, rootEmbodiment) {}

  std::vector<Bill> Make(const ProgressCallback& progress) {
    ProgressStage counting(progress, "counting", document.components.size());
    StartBill(data.RootProduct(), embodiment, 0);
    ForEachOccurrence(document, embodiment, [&](const HeldOccurrence& occurrence) {
      Add(occurrence);
      counting.Advance();
    });
    for (Bill& bill : bills) {
      Finish(bill);
    }
    return std::move(bills);
  }

 private:
  void StartBill(const UniqueMetaObjectKey& assembly, const UniqueMetaObjectKey& usedIn, std::size_t depth) {
    if (billOf.emplace(assembly, bills.size()).second) {
      bills.push_back({assembly, usedIn, depth, {}});
    }
  }

  void Add(const HeldOccurrence& occurrence) {
    if (occurrence.object->type == MetaObjectType::assemblyOccurrence) {
      StartBill(occurrence.object->product, occurrence.object->embodiment, occurrence.path->Count());
    }
    const MetaObject* group = data.Find(occurrence.object->groupObject);
    const auto bill = billOf.find(data.HoldingProduct(*occurrence.object));
    if (group == nullptr || bill == billOf.end() || !CountsInBill(*occurrence.object) || !CountsInBill(*group)) {
      return;
    }
    const LinePlace& place = PlaceOf(bill->second, *occurrence.path, occurrence.object->groupObject);
    BillLine& line = bills[bill->second].lines[place.index];
    if (HolderPath(*occurrence.path) == place.countedUse) {
      ++line.count;
    }
    const auto bodies = document.bodies.find(*occurrence.path);
    if (bodies == document.bodies.end()) {
      return;
    }
    for (const Body& body : bodies->second) {
      line.bodies.push_back({*occurrence.path, body.objectName});
      if (!Agrees(line, BodyGeometry(*occurrence.path, body))) {
        line.disagreeing.push_back(line.bodies.back());
      }
    }
  }

  // Where a line stands in its bill, and the use of the assembly whose occurrences it counts: the first one that has
  // some. All uses are alike, unless somebody took an occurrence of one of them out of the bill.
  struct LinePlace {
    std::size_t index;
    ComponentPath countedUse;
  };

  const LinePlace& PlaceOf(std::size_t bill, const ComponentPath& occurrence, const UniqueMetaObjectKey& groupObject) {
    const auto [found, isNew] = placeOf.try_emplace({bill, groupObject});
    if (isNew) {
      found->second = {bills[bill].lines.size(), HolderPath(occurrence)};
      BillLine line;
      line.groupObject = groupObject;
      line.position =
          meta_3d::GetGroupObjPositionValue(aggregator, groupObject, bills[bill].embodiment).GetSimpleValue();
      line.marking = data.ProductText(groupObject, c_marking);
      line.name = data.ProductText(groupObject, c_productName);
      bills[bill].lines.push_back(std::move(line));
    }
    return found->second;
  }

  bool Agrees(const BillLine& line, const GeometryObject3D& body) const {
    const auto positions = PositionsOfBody(aggregator, document, view, body);
    return line.position.IsEmpty()
               ? positions.empty()
               : positions.size() == 1 && positions.begin()->GetValue().GetValue() == line.position.GetValue();
  }

  static void Finish(Bill& bill) {
    std::stable_sort(bill.lines.begin(), bill.lines.end(), [](const BillLine& left, const BillLine& right) {
      if (left.position.IsEmpty() || right.position.IsEmpty()) {
        return !left.position.IsEmpty() && right.position.IsEmpty();
      }
      return left.position.GetValue() < right.position.GetValue();
    });
  }

  const Document& document;
  const ProductData& data;
  UniqueMetaObjectKey embodiment;
  Aggregator aggregator;
  ModelDocument view;
  std::vector<Bill> bills;
  std::map<UniqueMetaObjectKey, std::size_t> billOf;
  // By bill and line: in a damaged document a line may stand in several bills.
  std::map<std::pair<std::size_t, UniqueMetaObjectKey>, LinePlace> placeOf;
};

}  // namespace

bool CountsInBill(const MetaObject& object) {
  const auto* part = std::get_if<AttributedPart>(&object.part);
  return part == nullptr || (part->attributes.includeFlag && !part->attributes.excludeFlag);
}

std::set<meta_data::positions::PositionValue> PositionsOfBody(const Aggregator& aggregator, const Document& document,
                                                              const ModelDocument& model,
                                                              const GeometryObject3D& body) {
  return meta_3d::GetPositionValues(aggregator, *document.links, body.ToWrapper(model, nullptr));
}

std::vector<Bill> MakeBills(const Document& document, const UniqueMetaObjectKey& rootEmbodiment,
                            const ProgressCallback& progress) {
  return BillMaker(document, rootEmbodiment).Make(progress);
}

Bill MakeFlatBill(const Document& document, const UniqueMetaObjectKey& rootEmbodiment,
                  const ProgressCallback& progress) {
  ProgressStage counting(progress, "counting", document.components.size());
  const ProductData& data = document.productData;
  Bill bill{data.RootProduct(), rootEmbodiment, 0, {}};
  std::map<UniqueMetaObjectKey, BillLine> lines;
  ForEachOccurrence(document, rootEmbodiment, [&](const HeldOccurrence& occurrence) {
    counting.Advance();
    const MetaObject* group = data.Find(occurrence.object->groupObject);
    const bool isPart = occurrence.object->type != MetaObjectType::assemblyOccurrence;
    if (!isPart || !CountsInBill(*occurrence.object) || (group != nullptr && !CountsInBill(*group))) {
      return;
    }
    BillLine& line = lines[occurrence.object->product];
    ++line.count;
    const auto bodies = document.bodies.find(*occurrence.path);
    if (bodies != document.bodies.end()) {
      for (const Body& body : bodies->second) {
        line.bodies.push_back({*occurrence.path, body.objectName});
      }
    }
  });
  for (auto& [product, line] : lines) {
    line.marking = data.ProductText(product, c_marking);
    line.name = data.ProductText(product, c_productName);
    bill.lines.push_back(std::move(line));
  }
  std::stable_sort(bill.lines.begin(), bill.lines.end(), [](const BillLine& left, const BillLine& right) {
    return std::tie(left.marking, left.name) < std::tie(right.marking, right.name);
  });
  return bill;
}

}  // namespace host
