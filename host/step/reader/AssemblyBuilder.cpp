#include "host/step/reader/AssemblyBuilder.h"

#include <algorithm>
#include <array>
#include <deque>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include <NCollection_DataMap.hxx>
#include <STEPConstruct_Tool.hxx>
#include <StepBasic_Product.hxx>
#include <StepBasic_ProductDefinition.hxx>
#include <StepBasic_ProductDefinitionFormation.hxx>
#include <StepBasic_ProductRelatedProductCategory.hxx>
#include <StepData_StepModel.hxx>
#include <StepRepr_NextAssemblyUsageOccurrence.hxx>
#include <StepGeom_CartesianTransformationOperator3d.hxx>
#include <StepGeom_Direction.hxx>
#include <StepRepr_ProductDefinitionShape.hxx>
#include <StepRepr_Representation.hxx>
#include <StepRepr_RepresentationItem.hxx>
#include <StepRepr_RepresentationRelationshipWithTransformation.hxx>
#include <StepRepr_RepresentedDefinition.hxx>
#include <StepRepr_ShapeRepresentationRelationship.hxx>
#include <StepShape_ConnectedFaceSet.hxx>
#include <StepShape_ContextDependentShapeRepresentation.hxx>
#include <StepShape_FaceBasedSurfaceModel.hxx>
#include <StepShape_ShapeDefinitionRepresentation.hxx>
#include <StepShape_ShellBasedSurfaceModel.hxx>
#include <StepShape_SolidModel.hxx>
#include <TCollection_HAsciiString.hxx>
#include <TDF_LabelMapHasher.hxx>
#include <TDF_LabelSequence.hxx>
#include <TDataStd_Name.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS_Shape.hxx>
#include <Transfer_Binder.hxx>
#include <Transfer_TransientProcess.hxx>
#include <TransferBRep.hxx>
#include <fmt/format.h>
#include <gp_Trsf.hxx>
#include <gp_XYZ.hxx>

#include "host/step/StepTexts.h"

namespace host {

namespace {

// The entities live as long as the models of the document.
using Definition = const StepBasic_ProductDefinition*;
using Occurrence = const StepRepr_NextAssemblyUsageOccurrence*;

std::string NameOf(const TDF_Label& label) {
  Handle(TDataStd_Name) name;
  if (!label.FindAttribute(TDataStd_Name::GetID(), name)) {
    return {};
  }
  std::string text(static_cast<std::size_t>(name->Get().LengthOfCString()), '\0');
  Standard_PCharacter bytes = text.data();
  name->Get().ToUTF8CString(bytes);
  return CleanStepText(text);
}

Handle(StepBasic_Product) ProductOf(Definition definition) {
  if (definition == nullptr || definition->Formation().IsNull()) {
    return {};
  }
  return definition->Formation()->OfProduct();
}

// AP242 lets a usage name its ends through a select type that may hold a reference instead.
Definition Used(const StepRepr_NextAssemblyUsageOccurrence& occurrence) {
  return occurrence.RelatedProductDefinition().get();
}

Definition Holder(const StepRepr_NextAssemblyUsageOccurrence& occurrence) {
  return occurrence.RelatingProductDefinition().get();
}

std::string ShownName(Definition definition) {
  const Handle(StepBasic_Product) product = ProductOf(definition);
  if (product.IsNull()) {
    return {};
  }
  const std::string name = ToText(product->Name());
  return name.empty() ? ToText(product->Id()) : name;
}

gp_Trsf TransformationOf(const TDF_Label& component) {
  return XCAFDoc_ShapeTool::GetLocation(component).Transformation();
}

StepPlacement ToPlacement(const gp_Trsf& transformation) {
  StepPlacement placement{};
  std::size_t next = 0;
  for (int row = 1; row <= 3; ++row) {
    for (int column = 1; column <= 4; ++column) {
      placement[next++] = transformation.Value(row, column);
    }
  }
  return placement;
}

class Builder {
 public:
  Builder(const StepDocument& from, AnswerWriter& to) : document(from), answer(to) {}

  StepAssembly Build() {
    assembly.schema = document.Schema();
    for (const Handle(XSControl_WorkSession) & session : document.Sessions()) {
      IndexEntities(session);
    }
    AddFreeShapes();
    FillProducts();
    AddStandaloneDefinitions();
    FillProducts();
    if (OrderHoldersFirst(assembly.products).size() != assembly.products.size()) {
      throw StepError("a product holds itself; export it again");
    }
    ReportUnplaced();
    ReportWithoutGeometry();
    ReportUnreached();
    return std::move(assembly);
  }

 private:
  // What a product is made from: a label by its number, -1 for none, and a definition, null for none.
  struct Node {
    int label;
    Definition definition;
  };

  // ------ What the entities say

  void IndexEntities(const Handle(XSControl_WorkSession) & session) {
    const STEPConstruct_Tool tool(session);
    if (tool.TransientProcess().IsNull()) {
      return;
    }
    const Handle(Interface_InterfaceModel) model = session->Model();
    for (Standard_Integer i = 1; i <= model->NbEntities(); ++i) {
      const Handle(Standard_Transient)& entity = model->Value(i);
      if (const auto* item = dynamic_cast<const StepRepr_RepresentationItem*>(entity.get())) {
        IndexBody(*item, tool);
      } else if (const auto* definition = dynamic_cast<Definition>(entity.get())) {
        IndexDefinition(*definition, tool);
        sessionOf.emplace(definition, session.get());
        if (session == document.Sessions().front()) {
          ownDefinitions.push_back(definition);
        }
      } else if (const auto* occurrence = dynamic_cast<Occurrence>(entity.get())) {
        IndexOccurrence(*occurrence, tool);
      } else if (const auto* shape = dynamic_cast<const StepShape_ShapeDefinitionRepresentation*>(entity.get())) {
        IndexRepresentation(*shape);
      } else if (const auto* place = dynamic_cast<const StepShape_ContextDependentShapeRepresentation*>(entity.get())) {
        IndexMirrored(*place);
      } else if (const auto* category = dynamic_cast<const StepBasic_ProductRelatedProductCategory*>(entity.get())) {
        IndexDocuments(*category);
      }
    }
    BindThroughRepresentations(tool);
  }

  static TopoDS_Shape ResultOf(const Handle(Standard_Transient) & entity, const STEPConstruct_Tool& tool) {
    const Handle(Transfer_Binder) binder = tool.TransientProcess()->Find(entity);
    return binder.IsNull() ? TopoDS_Shape() : TransferBRep::ShapeResult(binder);
  }

  void IndexDefinition(const StepBasic_ProductDefinition& definition, const STEPConstruct_Tool& tool) {
    TopoDS_Shape shape = ResultOf(&definition, tool);
    if (shape.IsNull()) {
      return;
    }
    if (!shape.Location().IsIdentity()) {
      placesInside[&definition] = shape.Location().Transformation();
    }
    BindToLabel(definition, shape);
  }

  void BindToLabel(const StepBasic_ProductDefinition& definition, TopoDS_Shape shape) {
    const XCAFDoc_DataMapOfShapeLabel& labelsOfShapes = document.Reader().GetShapeLabelMap();
    if (!labelsOfShapes.IsBound(shape)) {
      shape.Location(TopLoc_Location());
    }
    if (!labelsOfShapes.IsBound(shape)) {
      return;
    }
    const int label = Number(Referred(labelsOfShapes.Find(shape)));
    labelOfDefinition.emplace(&definition, label);
    definitionsOf[label].push_back(&definition);
  }

  static const Standard_Transient* DefinedBy(const Handle(StepRepr_PropertyDefinition) & property) {
    if (property.IsNull()) {
      return nullptr;
    }
    return property->Definition().Value().get();
  }

  void IndexRepresentation(const StepShape_ShapeDefinitionRepresentation& shape) {
    const Handle(StepRepr_Representation) representation = shape.UsedRepresentation();
    const auto* definition = dynamic_cast<Definition>(DefinedBy(shape.Definition().PropertyDefinition()));
    if (definition == nullptr || representation.IsNull()) {
      return;
    }
    representations.emplace_back(representation.get(), definition);
    representedBy.emplace(representation.get(), definition);
  }

  // Where mapped items place a product's shape, only its representation was transferred.
  void BindThroughRepresentations(const STEPConstruct_Tool& tool) {
    for (; boundRepresentations < representations.size(); ++boundRepresentations) {
      const auto& [representation, definition] = representations[boundRepresentations];
      if (labelOfDefinition.count(definition) != 0) {
        continue;
      }
      const TopoDS_Shape shape = ResultOf(representation, tool);
      if (!shape.IsNull()) {
        BindToLabel(*definition, shape);
      }
    }
  }

  // A placement by a transformation operator may mirror; Open CASCADE keeps the first and third axis of it and makes
  // the second one itself, right-handed.
  void IndexMirrored(const StepShape_ContextDependentShapeRepresentation& place) {
    const auto* occurrence = dynamic_cast<Occurrence>(DefinedBy(place.RepresentedProductRelation()));
    const auto relation = Handle(StepRepr_RepresentationRelationshipWithTransformation)::DownCast(
        Handle(Standard_Transient)(place.RepresentationRelation()));
    if (occurrence == nullptr || relation.IsNull()) {
      return;
    }
    const auto transformation =
        Handle(StepGeom_CartesianTransformationOperator3d)::DownCast(relation->TransformationOperator().Value());
    if (!transformation.IsNull() && IsMirror(*transformation)) {
      mirrored[occurrence] = relation->Rep1().get();
    }
  }

  static bool IsMirror(const StepGeom_CartesianTransformationOperator3d& transformation) {
    const std::array<Handle(StepGeom_Direction), 3> axes{transformation.Axis1(), transformation.Axis2(),
                                                         transformation.Axis3()};
    std::array<gp_XYZ, 3> vectors;
    for (std::size_t i = 0; i < axes.size(); ++i) {
      if (axes[i].IsNull() || axes[i]->NbDirectionRatios() != 3) {
        return false;
      }
      vectors[i] =
          gp_XYZ(axes[i]->DirectionRatiosValue(1), axes[i]->DirectionRatiosValue(2), axes[i]->DirectionRatiosValue(3));
    }
    return vectors[0].Crossed(vectors[1]).Dot(vectors[2]) < 0;
  }

  // A file that is referred to stands for a product as well, but not for a part.
  void IndexDocuments(const StepBasic_ProductRelatedProductCategory& category) {
    if (ToText(category.Name()) != "document" || category.Products().IsNull()) {
      return;
    }
    for (Standard_Integer i = 1; i <= category.NbProducts(); ++i) {
      documents.insert(category.ProductsValue(i).get());
    }
  }

  void IndexOccurrence(const StepRepr_NextAssemblyUsageOccurrence& occurrence, const STEPConstruct_Tool& tool) {
    const Definition holder = Holder(occurrence);
    const Definition used = Used(occurrence);
    if (holder == nullptr || used == nullptr) {
      return;
    }
    const TDF_Label component = STEPCAFControl_Reader::FindInstance(&occurrence, document.ShapeTool(), tool,
                                                                    document.Reader().GetShapeLabelMap());
    occurrencesIn[holder].push_back({&occurrence, component, false});
    isUsed.insert(used);
  }

  // A shell is named by itself or by the surface model that it belongs to; whichever comes first with a name wins.
  void IndexBody(const StepRepr_RepresentationItem& item, const STEPConstruct_Tool& tool) {
    if (!item.IsKind(STANDARD_TYPE(StepShape_SolidModel)) && !item.IsKind(STANDARD_TYPE(StepShape_ConnectedFaceSet)) &&
        !item.IsKind(STANDARD_TYPE(StepShape_ShellBasedSurfaceModel)) &&
        !item.IsKind(STANDARD_TYPE(StepShape_FaceBasedSurfaceModel))) {
      return;
    }
    const std::string name = ToText(item.Name());
    if (name.empty()) {
      return;
    }
    const TopoDS_Shape shape = ResultOf(&item, tool);
    if (shape.IsNull()) {
      return;
    }
    for (TopExp_Explorer solids(shape, TopAbs_SOLID); solids.More(); solids.Next()) {
      bodyNames.try_emplace(solids.Current().TShape().get(), name);
    }
    for (TopExp_Explorer shells(shape, TopAbs_SHELL, TopAbs_SOLID); shells.More(); shells.Next()) {
      bodyNames.try_emplace(shells.Current().TShape().get(), name);
    }
  }

  // ------ What the document says

  int Number(const TDF_Label& label) {
    if (label.IsNull()) {
      return -1;
    }
    if (const int* found = numbers.Seek(label)) {
      return *found;
    }
    const int number = static_cast<int>(labels.size());
    labels.push_back(label);
    numbers.Bind(label, number);
    return number;
  }

  static TDF_Label Referred(const TDF_Label& label) {
    TDF_Label referred;
    return XCAFDoc_ShapeTool::GetReferredShape(label, referred) ? referred : label;
  }

  const std::vector<Definition>& DefinitionsOf(int label) const {
    static const std::vector<Definition> c_none;
    const auto found = definitionsOf.find(label);
    return found == definitionsOf.end() ? c_none : found->second;
  }

  // ------ Products

  // A definition gives one product, whatever the label it was met with; a label without definition one of its own.
  std::size_t Product(int label, Definition definition) {
    if (label < 0) {
      label = LabelOf(definition);
    }
    const auto [place, isNew] = products.try_emplace({definition == nullptr ? label : -1, definition}, nodes.size());
    if (isNew) {
      StepProduct product;
      if (const Handle(StepBasic_Product) entity = ProductOf(definition); !entity.IsNull()) {
        product.name = ToText(entity->Name());
        product.id = ToText(entity->Id());
      } else if (label >= 0) {
        product.name = NameOf(Label(label));
      }
      assembly.products.push_back(std::move(product));
      nodes.push_back({label, definition});
    }
    return place->second;
  }

  int LabelOf(Definition definition) const {
    const auto found = labelOfDefinition.find(definition);
    return found == labelOfDefinition.end() ? -1 : found->second;
  }

  const TDF_Label& Label(int number) const { return labels[static_cast<std::size_t>(number)]; }

  bool IsProduct(Definition definition) const { return products.count({-1, definition}) != 0; }

  // A free label stands for the definitions with its shape that nothing uses; where all of them are used, for the
  // first one.
  void AddFreeShapes() {
    TDF_LabelSequence free;
    document.ShapeTool()->GetFreeShapes(free);
    for (const TDF_Label& label : free) {
      const int number = Number(Referred(label));
      const std::vector<Definition>& all = DefinitionsOf(number);
      const std::size_t before = assembly.roots.size();
      for (const Definition definition : all) {
        if (isUsed.count(definition) == 0) {
          assembly.roots.push_back(Product(number, definition));
        }
      }
      if (assembly.roots.size() == before) {
        assembly.roots.push_back(Product(number, all.empty() ? nullptr : all.front()));
      }
    }
  }

  // A product may share the shape of one that is used and still stand on its own.
  void AddStandaloneDefinitions() {
    for (const Definition definition : ownDefinitions) {
      if (!IsProduct(definition) && isUsed.count(definition) == 0 && LabelOf(definition) >= 0) {
        assembly.roots.push_back(Product(-1, definition));
      }
    }
  }

  // Finding the uses of a product adds products, so that no reference to one lasts.
  void FillProducts() {
    for (; filled < nodes.size(); ++filled) {
      const Node node = nodes[filled];
      std::vector<Usage> usages = UsagesIn(node);
      const std::vector<TDF_Label> others = Place(usages, node);
      std::vector<StepUse> uses;
      uses.reserve(usages.size() + others.size());
      for (const Usage& usage : usages) {
        uses.push_back(UseOf(usage));
      }
      for (const TDF_Label& component : others) {
        uses.push_back(UseWithoutOccurrence(component));
      }
      assembly.products[filled].uses = std::move(uses);
      const bool isWhole = std::any_of(usages.begin(), usages.end(), [](const Usage& usage) { return usage.isWhole; });
      if (node.label >= 0 && !isWhole && !XCAFDoc_ShapeTool::IsAssembly(Label(node.label))) {
        assembly.products[filled].bodies = BodiesOf(Label(node.label));
      }
    }
  }

  struct Usage {
    Occurrence occurrence;
    // Null where the document has none.
    TDF_Label component;
    // The holder consists of the used product alone, so that the document has one label for both.
    bool isWhole = false;
  };

  // A product that is described in another file has its uses there, under a definition of its own.
  std::vector<Usage> UsagesIn(const Node& node) const {
    const auto own = occurrencesIn.find(node.definition);
    if (own != occurrencesIn.end()) {
      return own->second;
    }
    for (const Definition other : DefinitionsOf(node.label)) {
      const auto found = occurrencesIn.find(other);
      if (found != occurrencesIn.end() && SessionOf(other) != SessionOf(node.definition)) {
        return found->second;
      }
    }
    return {};
  }

  // Components that show the same thing at the same place are told apart by nothing.
  using ComponentKey = std::pair<int, StepPlacement>;

  const XSControl_WorkSession* SessionOf(Definition definition) const {
    const auto found = sessionOf.find(definition);
    return found == sessionOf.end() ? nullptr : found->second;
  }

  TDF_LabelSequence ComponentsOf(const Node& node) const {
    TDF_LabelSequence components;
    if (node.label >= 0) {
      XCAFDoc_ShapeTool::GetComponents(Label(node.label), components);
    }
    return components;
  }

  // Gives the components that no usage stands for. A usage without a component of its own, since the file places the
  // shape by a mapped item, takes one that shows the product it uses.
  std::vector<TDF_Label> Place(std::vector<Usage>& usages, const Node& node) {
    const TDF_LabelSequence components = ComponentsOf(node);
    std::map<ComponentKey, std::size_t> taken;
    for (const Usage& usage : usages) {
      if (!usage.component.IsNull()) {
        ++taken[KeyOf(usage.component)];
      }
    }
    std::vector<TDF_Label> others;
    std::map<int, std::deque<std::size_t>> othersOf;
    for (const TDF_Label& component : components) {
      const ComponentKey key = KeyOf(component);
      const auto found = taken.find(key);
      if (found != taken.end() && found->second > 0) {
        --found->second;
        continue;
      }
      othersOf[key.first].push_back(others.size());
      others.push_back(component);
    }

    for (Usage& usage : usages) {
      if (!usage.component.IsNull()) {
        continue;
      }
      const int used = LabelOf(Used(*usage.occurrence));
      usage.isWhole = used >= 0 && used == node.label;
      const auto found = othersOf.find(used);
      if (found == othersOf.end() || found->second.empty()) {
        continue;
      }
      std::swap(usage.component, others[found->second.front()]);
      found->second.pop_front();
    }
    others.erase(std::remove_if(others.begin(), others.end(), [](const TDF_Label& label) { return label.IsNull(); }),
                 others.end());
    return others;
  }

  ComponentKey KeyOf(const TDF_Label& component) {
    return {Number(Referred(component)), ToPlacement(TransformationOf(component))};
  }

  StepUse UseOf(const Usage& usage) {
    StepUse use;
    use.name = ToText(usage.occurrence->Name());
    use.id = ToText(usage.occurrence->Id());
    if (!usage.component.IsNull() || usage.isWhole) {
      use.placement = PlacementOf(usage);
    } else {
      unplaced.push_back(usage.occurrence);
    }
    const int label = usage.component.IsNull() ? -1 : Number(Referred(usage.component));
    use.product = Product(label, Used(*usage.occurrence));
    return use;
  }

  // The document's components place what is inside the used product; where that has a place of its own in there, as
  // a part has that consists of another one's shape, it is taken off.
  StepPlacement PlacementOf(const Usage& usage) const {
    gp_Trsf transformation;
    if (!usage.isWhole) {
      transformation = TransformationOf(usage.component);
    } else if (const auto inside = placesInside.find(Holder(*usage.occurrence)); inside != placesInside.end()) {
      transformation = inside->second;
    }
    if (const auto inside = placesInside.find(Used(*usage.occurrence)); inside != placesInside.end()) {
      transformation.Multiply(inside->second.Inverted());
    }
    StepPlacement placement = ToPlacement(transformation);

    const auto mirror = mirrored.find(usage.occurrence);
    if (mirror == mirrored.end()) {
      return placement;
    }
    const auto from = representedBy.find(mirror->second);
    const bool isInverted = from != representedBy.end() && from->second == Holder(*usage.occurrence);
    constexpr std::array<std::size_t, 3> c_secondColumn{1, 5, 9};
    constexpr std::array<std::size_t, 4> c_secondRow{4, 5, 6, 7};
    if (isInverted) {
      for (const std::size_t i : c_secondRow) {
        placement[i] = 0 - placement[i];
      }
    } else {
      for (const std::size_t i : c_secondColumn) {
        placement[i] = 0 - placement[i];
      }
    }
    return placement;
  }

  StepUse UseWithoutOccurrence(const TDF_Label& component) {
    StepUse use;
    const int label = Number(Referred(component));
    const std::vector<Definition>& all = DefinitionsOf(label);
    use.generated = all.empty();
    use.product = Product(label, all.empty() ? nullptr : all.front());
    use.placement = ToPlacement(TransformationOf(component));
    return use;
  }

  // ------ Bodies

  std::vector<StepBody> BodiesOf(const TDF_Label& label) {
    std::vector<StepBody> bodies;
    const TopoDS_Shape shape = XCAFDoc_ShapeTool::GetShape(label);
    if (shape.IsNull()) {
      return bodies;
    }
    for (TopExp_Explorer solids(shape, TopAbs_SOLID); solids.More(); solids.Next()) {
      bodies.push_back(Body(solids.Current(), StepBody::Kind::solid));
    }
    for (TopExp_Explorer shells(shape, TopAbs_SHELL, TopAbs_SOLID); shells.More(); shells.Next()) {
      bodies.push_back(Body(shells.Current(), StepBody::Kind::openShell));
    }
    SetIds(bodies);
    return bodies;
  }

  StepBody Body(const TopoDS_Shape& shape, StepBody::Kind kind) const {
    StepBody body;
    body.kind = kind;
    if (const auto found = bodyNames.find(shape.TShape().get()); found != bodyNames.end()) {
      body.name = found->second;
    }
    return body;
  }

  static void SetIds(std::vector<StepBody>& bodies) {
    std::unordered_map<std::string, std::size_t> count;
    for (const StepBody& body : bodies) {
      ++count[body.name];
    }
    for (StepBody& body : bodies) {
      if (count[body.name] == 1) {
        body.id = body.name;
      }
    }
  }

  // ------ What is lost

  void ReportUnplaced() {
    std::vector<std::string> names;
    for (const Occurrence occurrence : unplaced) {
      names.push_back(fmt::format("\"{}\" of \"{}\" in \"{}\"", ToText(occurrence->Id()), ShownName(Used(*occurrence)),
                                  ShownName(Holder(*occurrence))));
    }
    answer.WarningOfEach(names, "use ", " has no place in the file; it is put at the origin", "uses have no place");
  }

  // Innermost first: a product has geometry when it has bodies or when a generated use brings some.
  void ReportWithoutGeometry() {
    std::vector<bool> hasBodies(assembly.products.size());
    std::vector<std::size_t> order = OrderHoldersFirst(assembly.products);
    std::reverse(order.begin(), order.end());
    for (const std::size_t index : order) {
      const StepProduct& product = assembly.products[index];
      hasBodies[index] = !product.bodies.empty() ||
                         std::any_of(product.uses.begin(), product.uses.end(),
                                     [&](const StepUse& use) { return use.generated && hasBodies[use.product]; });
    }
    std::vector<std::string> names;
    for (std::size_t index = 0; index < assembly.products.size(); ++index) {
      const StepProduct& product = assembly.products[index];
      const bool isPart =
          std::all_of(product.uses.begin(), product.uses.end(), [](const StepUse& use) { return use.generated; });
      if (nodes[index].definition != nullptr && isPart && !hasBodies[index]) {
        names.push_back(ShownName(nodes[index].definition));
      }
    }
    answer.WarningOfEach(names, "part \"", "\" is without geometry: it has neither a solid nor a shell",
                         "parts are without geometry");
  }

  // A definition without any shape and without a holder is in no tree.
  void ReportUnreached() {
    std::vector<std::string> names;
    for (const Definition definition : ownDefinitions) {
      const Handle(StepBasic_Product) product = ProductOf(definition);
      if (!IsProduct(definition) && isUsed.count(definition) == 0 && !product.IsNull() &&
          documents.count(product.get()) == 0) {
        names.push_back(ShownName(definition));
      }
    }
    answer.WarningOfEach(names, "product \"", "\" is left out: nothing uses it and it has no shape",
                         "products are left out");
  }

  const StepDocument& document;
  AnswerWriter& answer;
  StepAssembly assembly;

  std::vector<TDF_Label> labels;
  NCollection_DataMap<TDF_Label, int, TDF_LabelMapHasher> numbers;

  // Of the file itself, in its order.
  std::vector<Definition> ownDefinitions;
  std::map<int, std::vector<Definition>> definitionsOf;
  std::unordered_map<Definition, std::vector<Usage>> occurrencesIn;
  std::unordered_set<Definition> isUsed;
  std::unordered_map<Definition, int> labelOfDefinition;
  std::unordered_map<Definition, const XSControl_WorkSession*> sessionOf;
  std::unordered_map<Definition, gp_Trsf> placesInside;
  // In the order of the files, and how many of them have been looked at for a label.
  std::vector<std::pair<const StepRepr_Representation*, Definition>> representations;
  std::size_t boundRepresentations = 0;
  // The first definition with that representation.
  std::unordered_map<const StepRepr_Representation*, Definition> representedBy;
  // The first representation of the relation that places the occurrence.
  std::unordered_map<Occurrence, const StepRepr_Representation*> mirrored;
  std::unordered_set<const StepBasic_Product*> documents;
  std::unordered_map<const void*, std::string> bodyNames;

  std::map<std::pair<int, Definition>, std::size_t> products;
  // Of every product, and how many of them have got their uses and bodies.
  std::vector<Node> nodes;
  std::size_t filled = 0;
  std::vector<Occurrence> unplaced;
};

}  // namespace

StepAssembly BuildAssembly(const StepDocument& document, AnswerWriter& answer) {
  return Builder(document, answer).Build();
}

}  // namespace host
