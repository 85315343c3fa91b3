#include <memory>

#include <q3DCore/GeometryObject3D.h>
#include <q3DCore/IfComponent.h>
#include <q3DCore/IfPositionObject.h>
#include <q3DCore/PartObject.h>
#include <qDocument/IfDocObject.h>
#include <qProdData/IfMetaProductData.h>
#include <qProdData3D/IProductGeometryObjects3D.h>
#include <qProdData3D/meta_3d.h>

namespace meta_3d {

namespace {

IfPositionObject* PositionObjectOf(const PartObject& object) {
  return static_cast<IfPositionObject*>(object.QueryInterface(IfPositionObject::c_interfaceType));
}

bool IsPresent(const WeakReference<PartObject>& reference) {
  return reference.IsAlive() && reference.Get() != nullptr;
}

// The presence is tested on both sides of the question for the kind, which may cost the object its life.
bool IsKept(const WeakReference<PartObject>& reference) {
  return IsPresent(reference) && CheckType(*reference.Get(), COGroups::bodies) && IsPresent(reference) &&
         PositionObjectOf(*reference.Get()) != nullptr;
}

void AddLinksTo(IfPositionObject& position, IfComponent& component, const IfMetaProductData& productData,
                IProductGeometryObjects3D& store) {
  for (const UniqueMetaObjectKey& key : position.CollectPositionKeys(productData, store)) {
    const CompTrObject<IfSomething> wrapper{.object = &position, .component = &component, .sourceComponent = &component};
    store.AddLink(key, GeometryObject3D(wrapper), LinkSet::Validated);
  }
}

void AddLinksOf(IfDocObject& object, const IfMetaProductData& productData, IProductGeometryObjects3D& store) {
  auto* component = static_cast<IfComponent*>(object.GetComponentHolder().QueryInterface(IfComponent::c_interfaceType));
  if (component == nullptr) {
    return;
  }
  // The path is not used. The question stays: components prepare their embodiment when they are asked for it.
  MbPath embodimentPath;
  GetEmbodymentPath(*component, embodimentPath);
  const PartRebuildResult* built = component->GetRebuildResult();
  if (built == nullptr) {
    return;
  }
  for (const WeakReference<PartObject>& reference : AllBuildObjects(*built)) {
    if (IsKept(reference)) {
      AddLinksTo(*PositionObjectOf(*reference.Get()), *component, productData, store);
    }
  }
}

}  // namespace

void SetPositionsMetaLinks(IfDocObject& document, const IfMetaProductData& productData,
                           IProductGeometryObjects3D& store) {
  const std::unique_ptr<IfObjectIterator> objects =
      document.CreateObjectIterator(nullptr, IfDocObject::c_allComponents);
  for (IfDocObject* object = &document; object != nullptr; object = objects->Next()) {
    AddLinksOf(*object, productData, store);
  }
}

}  // namespace meta_3d
