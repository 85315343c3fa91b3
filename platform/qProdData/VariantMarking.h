#pragma once

#include <string>

#include <qProdData/Export.h>
#include <qProdData/PropertyTree.h>

/// The marking (designation) of an embodiment and its parts. A value; a default one is empty.
struct QPRODDATA_API VariantMarking {
  /// What all embodiments share, such as "QD.01.02.003".
  std::wstring base;
  /// Which embodiment it is, such as "02"; empty for the base embodiment.
  std::wstring embodimentNumber;
  /// A further number behind that.
  std::wstring additionalNumber;
  /// The code of the document, such as "AD" for an assembly drawing.
  std::wstring documentNumber;

  /// Fills the marking from a "marking" property: the parts "base", "embodimentNumber", "additionalNumber" and
  /// "documentNumber", each a text or a whole number; without a part "base" the property's own value is the base.
  /// What is missing becomes empty.
  void FromPropertyTree(const PropertyTree& tree);

  /// The marking as a drawing shows it: BASE-NUMBER.ADDITIONAL DOCUMENT, each with its sign only where there is one.
  std::wstring Text() const;

  friend bool operator==(const VariantMarking&, const VariantMarking&) = default;
};
