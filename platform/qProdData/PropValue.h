#pragma once

#include <memory>
#include <utility>

#include <qProdData/Export.h>
#include <qProdData/PropertyTree.h>
#include <qProdData/SimplePropVal.h>

/// Refers to a property: to a plain value, which the product data keeps and which must not go meanwhile, to a tree, or
/// to nothing. A value.
class QPRODDATA_API PropValueRef {
 public:
  PropValueRef() = default;
  explicit PropValueRef(const SimplePropVal& referred) : value(&referred) {}
  explicit PropValueRef(std::shared_ptr<const PropertyTree> referred) : tree(std::move(referred)) {}

  /// Null unless it refers to a plain value.
  const SimplePropVal* Value() const noexcept { return value; }
  /// Null unless it refers to a tree.
  const PropertyTree* Tree() const noexcept { return tree.get(); }

 private:
  const SimplePropVal* value = nullptr;
  std::shared_ptr<const PropertyTree> tree;
};

/// A property value of its own: a value and the values of its parts. A value.
class QPRODDATA_API PropValue {
 public:
  /// Empty.
  PropValue() = default;
  /// A plain value, without parts.
  PropValue(const SimplePropVal& source) : tree(source) {}
  /// A copy of what the reference refers to; empty where that is nothing.
  PropValue(const PropValueRef& source);

  /// True when it has neither a value nor parts.
  bool IsEmpty() const;
  /// The value without its parts.
  const SimplePropVal& GetSimpleValue() const { return tree.data(); }
  const PropertyTree& GetPropertyTree() const noexcept { return tree; }

 private:
  PropertyTree tree;
};
