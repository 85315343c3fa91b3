#pragma once

#include <qDocument/Export.h>

/// Anything in a document that can be asked for its interfaces.
class QDOCUMENT_API IfSomething {
 public:
  IfSomething() = default;
  IfSomething(const IfSomething&) = delete;
  IfSomething& operator=(const IfSomething&) = delete;
  virtual ~IfSomething();

  /// The interface with this type number, to be cast to the type that the number stands for; null when the object
  /// does not have it. The object keeps it and it lives as long as the object.
  virtual void* QueryInterface(unsigned int interfaceType) const = 0;
};
