#include <qProdData/PropValue.h>

PropValue::PropValue(const PropValueRef& source) {
  if (source.Tree() != nullptr) {
    tree = *source.Tree();
  } else if (source.Value() != nullptr) {
    tree.data() = *source.Value();
  }
}

bool PropValue::IsEmpty() const {
  return tree.empty() && tree.data().IsEmpty();
}
