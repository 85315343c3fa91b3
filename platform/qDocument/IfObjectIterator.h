#pragma once

#include <qDocument/Export.h>

class IfDocObject;

/// Walks objects of a document, which keeps them.
class QDOCUMENT_API IfObjectIterator {
 public:
  IfObjectIterator() = default;
  IfObjectIterator(const IfObjectIterator&) = delete;
  IfObjectIterator& operator=(const IfObjectIterator&) = delete;
  virtual ~IfObjectIterator();

  /// The next object; null at the end, and from then on.
  virtual IfDocObject* Next() = 0;
};
