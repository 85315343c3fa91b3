#include <q3DCore/GeometryObject3D.h>

#include <q3DCore/IfComponent.h>
#include <q3DCore/IfGeometrySource.h>
#include <qDocument/IfDocObject.h>
#include <qDocument/IfSomething.h>

GeometryObject3D::GeometryObject3D(const CompTrObject<IfSomething>& wrapper) {
  if (wrapper.object != nullptr) {
    const auto* source =
        static_cast<const IfGeometrySource*>(wrapper.object->QueryInterface(IfGeometrySource::c_interfaceType));
    if (source != nullptr) {
      objectType = source->GetObjectType();
      secondPath = source->GetSecondPath();
      objectName = source->GetObjectName();
    }
  }
  if (wrapper.component != nullptr) {
    componentPath = ComponentPath(wrapper.component->GetPath());
  }
}

IfSomething* GeometryObject3D::ToSomething(const IfDocObject& document) const {
  return document.FindObject(*this);
}

CompTrObject<IfSomething> GeometryObject3D::ToWrapper(const IfDocObject& document, IfComponent* component) const {
  return document.FindWrapper(*this, component);
}
