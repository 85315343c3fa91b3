#include "host/model/ModelDocument.h"

#include <algorithm>
#include <memory>
#include <set>
#include <utility>

#include <q3DCore/IfComponent.h>
#include <q3DCore/IfGeometrySource.h>
#include <q3DCore/IfPositionObject.h>
#include <q3DCore/PartObject.h>

#include "host/model/Bill.h"

namespace host {

// A built body: part object, position object and geometry source in one.
class ModelBody final : public PartObject, public IfPositionObject, public IfGeometrySource {
 public:
  ModelBody(const Body& model, const Component* holder) : body(model), component(holder) {}

  void* QueryInterface(unsigned int interfaceType) const override {
    // Interfaces are asked of a constant object and used to change the document; the object itself has nothing to
    // change.
    auto* self = const_cast<ModelBody*>(this);
    switch (interfaceType) {
      case IfPositionObject::c_interfaceType:
        return static_cast<IfPositionObject*>(self);
      case IfGeometrySource::c_interfaceType:
        return static_cast<IfGeometrySource*>(self);
      default:
        return nullptr;
    }
  }

  bool IsOfKind(BitFlags<COGroups> kinds) const override { return kinds.Intersects(COGroups::bodies); }

  std::set<UniqueMetaObjectKey> CollectPositionKeys(const IfMetaProductData& productData,
                                                    IProductGeometryObjects3D&) override {
    // A body of the document itself belongs to no occurrence.
    if (component == nullptr || !productData.HasMetaObject(component->occurrence)) {
      return {};
    }
    std::set<UniqueMetaObjectKey> keys{component->occurrence};
    if (line != nullptr) {
      keys.insert(*line);
    }
    return keys;
  }

  std::uint32_t GetObjectType() const override { return body.objectType; }
  const MbPath& GetSecondPath() const override {
    static const MbPath none;
    return none;
  }
  const MbName& GetObjectName() const override { return body.objectName; }

  // The line that the body counts in; none for the body of an occurrence that is left out of the bill.
  void SetLine(const UniqueMetaObjectKey& groupObject) { line = &groupObject; }

  const MbName& Name() const { return body.objectName; }

 private:
  const Body& body;
  const Component* component;
  const UniqueMetaObjectKey* line = nullptr;
};

namespace {

class ModelRebuildResult final : public PartRebuildResult {
 public:
  ModelRebuildResult(const std::vector<Body>& bodies, const Component* component, const MetaObject* occurrence)
      : built(std::make_shared<std::vector<std::unique_ptr<ModelBody>>>()) {
    built->reserve(bodies.size());
    references.reserve(bodies.size());
    for (const Body& body : bodies) {
      built->push_back(std::make_unique<ModelBody>(body, component));
      if (occurrence != nullptr && CountsInBill(*occurrence) &&
          !(occurrence->groupObject == UniqueMetaObjectKey::null)) {
        built->back()->SetLine(occurrence->groupObject);
      }
      references.emplace_back(built, built->back().get());
      byName.push_back(built->back().get());
    }
    std::sort(byName.begin(), byName.end(),
              [](const ModelBody* left, const ModelBody* right) { return left->Name() < right->Name(); });
  }

  const BuildObjects& GetBuildObjects() const override { return references; }

  ModelBody* Find(const MbName& name) const {
    const auto found =
        std::lower_bound(byName.begin(), byName.end(), name,
                         [](const ModelBody* body, const MbName& sought) { return body->Name() < sought; });
    return found == byName.end() || !((*found)->Name() == name) ? nullptr : *found;
  }

 private:
  // All bodies of a component come and go together, so they have one owner between them.
  std::shared_ptr<std::vector<std::unique_ptr<ModelBody>>> built;
  BuildObjects references;
  std::vector<ModelBody*> byName;
};

}  // namespace

// A component, which is also an object of the document that the iterator yields.
class ModelComponent final : public IfComponent, public IfDocObject, public IfGeometrySource {
 public:
  ModelComponent(const ModelDocument& owner, const ModelEmbodiments& tree, const ComponentPath& componentPath,
                 const Component* model, const std::vector<Body>& bodies, const MetaObject* occurrence,
                 std::uint32_t type)
      : document(owner), embodiments(tree), path(componentPath), objectType(type), result(bodies, model, occurrence) {}

  void* QueryInterface(unsigned int interfaceType) const override {
    auto* self = const_cast<ModelComponent*>(this);
    switch (interfaceType) {
      case IfComponent::c_interfaceType:
        return static_cast<IfComponent*>(self);
      case IfGeometrySource::c_interfaceType:
        return static_cast<IfGeometrySource*>(self);
      default:
        return nullptr;
    }
  }

  const MbPath& GetPath() const override { return path; }
  UniqueMetaObjectKey GetGroupKey() const override { return embodiments.FindEmbodiment(HolderPath(path)); }
  const PartRebuildResult* GetRebuildResult() const override { return &result; }
  void FindEmbodimentPath(MbPath& holder) const override { holder = HolderPath(path); }

  std::unique_ptr<IfObjectIterator> CreateObjectIterator(IfDocObject*, std::uint64_t) override {
    return std::make_unique<EmptyIterator>();
  }
  IfSomething& GetComponentHolder() override { return *this; }
  IfSomething* FindObject(const GeometryObject3D& geometry) const override { return document.FindObject(geometry); }
  CompTrObject<IfSomething> FindWrapper(const GeometryObject3D& geometry, IfComponent* component) const override {
    return document.FindWrapper(geometry, component);
  }

  std::uint32_t GetObjectType() const override { return objectType; }
  const MbPath& GetSecondPath() const override {
    static const MbPath none;
    return none;
  }
  const MbName& GetObjectName() const override {
    static const MbName none;
    return none;
  }

  ModelBody* FindBody(const MbName& name) const { return result.Find(name); }

 private:
  // A component is walked through its document, not by itself.
  class EmptyIterator final : public IfObjectIterator {
   public:
    IfDocObject* Next() override { return nullptr; }
  };

  const ModelDocument& document;
  const ModelEmbodiments& embodiments;
  ComponentPath path;
  std::uint32_t objectType;
  ModelRebuildResult result;
};

namespace {

using ComponentList = std::vector<std::unique_ptr<ModelComponent>>;

class ComponentIterator final : public IfObjectIterator {
 public:
  ComponentIterator(ComponentList::const_iterator first, ComponentList::const_iterator end) : next(first), last(end) {}
  IfDocObject* Next() override { return next == last ? nullptr : (next++)->get(); }

 private:
  ComponentList::const_iterator next;
  ComponentList::const_iterator last;
};

const std::vector<Body>& BodiesOf(const Document& document, const ComponentPath& path) {
  static const std::vector<Body> none;
  const auto found = document.bodies.find(path);
  return found == document.bodies.end() ? none : found->second;
}

}  // namespace

ModelEmbodiments::ModelEmbodiments(const Document& model, UniqueMetaObjectKey embodimentOfRoot)
    : document(model), rootEmbodiment(std::move(embodimentOfRoot)) {}

UniqueMetaObjectKey ModelEmbodiments::FindEmbodiment(const MbPath& path) const {
  if (path.IsEmpty()) {
    return rootEmbodiment;
  }
  const auto component = document.components.find(ComponentPath(path));
  if (component == document.components.end()) {
    return UniqueMetaObjectKey::null;
  }
  const MetaObject* occurrence = document.productData.Find(component->second.occurrence);
  if (occurrence != nullptr && occurrence->type == MetaObjectType::assemblyOccurrence) {
    return occurrence->embodiment;
  }
  // A part: the assembly that holds it. Every component on a path exists, so this ends at the root at the latest.
  return FindEmbodiment(HolderPath(path));
}

ModelDocument::ModelDocument(const Document& model, const UniqueMetaObjectKey& rootEmbodiment)
    : embodiments(model, rootEmbodiment) {
  const MetaObject* root = model.productData.Find(model.productData.RootProduct());
  const bool isAssembly = root != nullptr && root->type == MetaObjectType::assemblyProduct;
  components.reserve(model.components.size() + 1);
  components.push_back(std::make_unique<ModelComponent>(
      *this, embodiments, ComponentPath(), nullptr, BodiesOf(model, ComponentPath()), nullptr,
      isAssembly ? GeometryObject3D::c_assemblyComponent : GeometryObject3D::c_partComponent));
  for (const auto& [path, component] : model.components) {
    components.push_back(std::make_unique<ModelComponent>(*this, embodiments, path, &component, BodiesOf(model, path),
                                                          model.productData.Find(component.occurrence),
                                                          component.objectType));
  }
}

ModelDocument::~ModelDocument() = default;

std::unique_ptr<IfObjectIterator> ModelDocument::CreateObjectIterator(IfDocObject*, std::uint64_t selector) {
  // The document itself is not among its objects.
  return std::make_unique<ComponentIterator>(selector == c_allComponents ? components.cbegin() + 1 : components.cend(),
                                             components.cend());
}

IfSomething& ModelDocument::GetComponentHolder() {
  return *components.front();
}

ModelComponent* ModelDocument::FindComponent(const MbPath& path) const {
  const auto found = std::lower_bound(
      components.begin(), components.end(), path,
      [](const auto& component, const MbPath& sought) { return TreeOrder()(component->GetPath(), sought); });
  return found != components.end() && (*found)->GetPath() == path ? found->get() : nullptr;
}

IfSomething* ModelDocument::FindObject(const GeometryObject3D& geometry) const {
  return FindWrapper(geometry, nullptr).object;
}

CompTrObject<IfSomething> ModelDocument::FindWrapper(const GeometryObject3D& geometry, IfComponent* component) const {
  ModelComponent* holder = FindComponent(geometry.componentPath);
  if (holder == nullptr) {
    return {};
  }
  CompTrObject<IfSomething> wrapper;
  wrapper.component = component != nullptr ? component : holder;
  wrapper.sourceComponent = holder;
  if (geometry.objectName.IsEmpty() && geometry.objectType == holder->GetObjectType()) {
    wrapper.object = static_cast<IfComponent*>(holder);
    return wrapper;
  }
  ModelBody* body = holder->FindBody(geometry.objectName);
  if (body == nullptr || body->GetObjectType() != geometry.objectType) {
    return {};
  }
  wrapper.object = static_cast<IfPositionObject*>(body);
  return wrapper;
}

}  // namespace host
