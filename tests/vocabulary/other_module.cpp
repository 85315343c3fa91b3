#include "tests/vocabulary/other_module.h"

#include "vocabulary/PropertyNames.h"

const std::wstring* MarkingInAnotherModule() {
  return &c_marking;
}

const std::wstring* MarkingDocumentNumberInAnotherModule() {
  return &c_markingDocumentNumber;
}

const std::wstring* MaterialLocationInAnotherModule() {
  return &c_materialLocation;
}
