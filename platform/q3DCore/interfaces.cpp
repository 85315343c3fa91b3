#include <q3DCore/IfComponent.h>
#include <q3DCore/IfGeometrySource.h>

// The destructors stand here so that one library holds the virtual tables and type information.
IfComponent::~IfComponent() = default;
IfGeometrySource::~IfGeometrySource() = default;
