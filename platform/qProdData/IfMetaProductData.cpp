#include <qProdData/IfMetaProductData.h>

// The destructor stands here so that one library holds the virtual table and type information.
IfMetaProductData::~IfMetaProductData() = default;
