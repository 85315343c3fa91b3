#include <q3DCore/IfComponent.h>
#include <q3DCore/IfGeometrySource.h>
#include <q3DCore/IfPositionObject.h>
#include <q3DCore/PartObject.h>

// The destructors stand here so that one library holds the virtual tables and type information.
IfComponent::~IfComponent() = default;
IfGeometrySource::~IfGeometrySource() = default;
IfPositionObject::~IfPositionObject() = default;
PartObject::~PartObject() = default;
PartRebuildResult::~PartRebuildResult() = default;

void GetEmbodymentPath(const IfComponent& component, MbPath& path) {
  component.FindEmbodimentPath(path);
}

bool CheckType(const PartObject& object, BitFlags<COGroups> kinds) {
  return object.IsOfKind(kinds);
}

const PartRebuildResult::BuildObjects& AllBuildObjects(const PartRebuildResult& result) {
  return result.GetBuildObjects();
}
