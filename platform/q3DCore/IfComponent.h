#pragma once

#include <q3DCore/Export.h>
#include <qDocument/IfSomething.h>
#include <qKernel/MbPath.h>
#include <qProdData/UniqueMetaObjectKey.h>

class PartRebuildResult;

/// A component of a document: a part or an assembly in its place.
class Q3DCORE_API IfComponent : public IfSomething {
 public:
  /// The type number under which IfSomething::QueryInterface gives it.
  static constexpr unsigned int c_interfaceType = 0x7E8;

  ~IfComponent() override;

  /// The component's path, outermost component last; empty for the document's own component. The component keeps
  /// it, and it lives as long as the component does.
  virtual const MbPath& GetPath() const = 0;

  /// The key of the group in which objects of this component have their positions: the embodiment that the assembly
  /// which holds the component is used in; for the document's own component that of the root.
  virtual UniqueMetaObjectKey GetGroupKey() const = 0;

  /// What the last rebuild made; null when the component was never rebuilt. The component keeps it.
  virtual const PartRebuildResult* GetRebuildResult() const = 0;

  /// Sets `path` to that of the embodiment in which the component lies: the path of the assembly that holds it.
  virtual void FindEmbodimentPath(MbPath& path) const = 0;
};

/// IfComponent::FindEmbodimentPath.
Q3DCORE_API void GetEmbodymentPath(const IfComponent& component, MbPath& path);
