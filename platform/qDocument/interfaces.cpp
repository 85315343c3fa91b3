#include <qDocument/IfDocObject.h>
#include <qDocument/IfObjectIterator.h>
#include <qDocument/IfSomething.h>

// The destructors stand here so that one library holds the virtual tables and type information.
IfSomething::~IfSomething() = default;
IfDocObject::~IfDocObject() = default;
IfObjectIterator::~IfObjectIterator() = default;
