#pragma once

#include <q3DCore/Export.h>
#include <qDocument/IfSomething.h>
#include <qKernel/MbPath.h>

/// A component of a document: a part or an assembly in its place.
class Q3DCORE_API IfComponent : public IfSomething {
 public:
  ~IfComponent() override;

  /// The component's path, outermost component last; empty for the document's own component. The component keeps
  /// it, and it lives as long as the component does.
  virtual const MbPath& GetPath() const = 0;
};
