#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <variant>

#include <qProdData/Export.h>
#include <qProdData/SimplePropVal.h>
#include <qProdData/UniqueMetaObjectKey.h>

/// What a part says of its place in a bill of materials.
struct PartAttributes {
  /// It has a line in the bill.
  bool includeFlag = false;
  /// It is left out of the bill in spite of that.
  bool excludeFlag = false;
  /// Nonzero: it belongs to some embodiments of its assembly only, those whose groups contain it.
  std::uint32_t embodimentBoundFlag = 0;

  friend bool operator==(const PartAttributes&, const PartAttributes&) = default;
};

/// A part of the product data as an application may hold it. Only the second alternative has attributes.
struct UnloadedPart {
  friend bool operator==(const UnloadedPart&, const UnloadedPart&) = default;
};
struct AttributedPart {
  PartAttributes attributes;

  friend bool operator==(const AttributedPart&, const AttributedPart&) = default;
};
struct ForeignPart {
  friend bool operator==(const ForeignPart&, const ForeignPart&) = default;
};
using ProductPart = std::variant<UnloadedPart, AttributedPart, ForeignPart>;

/// Computes attributes in place of those stored. Each answer may be missing; then what is stored holds.
class QPRODDATA_API IfPropertyCalculator {
 public:
  IfPropertyCalculator() = default;
  IfPropertyCalculator(const IfPropertyCalculator&) = delete;
  IfPropertyCalculator& operator=(const IfPropertyCalculator&) = delete;
  virtual ~IfPropertyCalculator();

  virtual std::optional<bool> CalcIncludeFlag(const UniqueMetaObjectKey& object) const = 0;
  virtual std::optional<bool> CalcExcludeFlag(const UniqueMetaObjectKey& object) const = 0;
  virtual std::optional<SimplePropVal> CalcMarking(const UniqueMetaObjectKey& object) const = 0;
  virtual std::optional<SimplePropVal> CalcName(const UniqueMetaObjectKey& object) const = 0;
  virtual std::optional<SimplePropVal> CalcCount(const UniqueMetaObjectKey& object) const = 0;
  /// 0 is an answer as well.
  virtual std::optional<std::uint32_t> CalcEmbodimentBoundFlag(const UniqueMetaObjectKey& object) const = 0;
};

/// Where parts come from. Every question takes any key. References live until the product data changes.
class QPRODDATA_API IfPartSource {
 public:
  IfPartSource() = default;
  IfPartSource(const IfPartSource&) = delete;
  IfPartSource& operator=(const IfPartSource&) = delete;
  virtual ~IfPartSource();

  /// True when there is a part with an attribute record behind the key.
  virtual bool IsValidPart(const UniqueMetaObjectKey& object) const = 0;
  virtual bool IsCalcAvailable(const UniqueMetaObjectKey& object) const = 0;
  /// Asked only where IsCalcAvailable is true.
  virtual const IfPropertyCalculator& GetPropertyCalculator(const UniqueMetaObjectKey& object) const = 0;
  virtual const ProductPart& GetProductPart(const UniqueMetaObjectKey& object) const = 0;
};

/// One part of a source. A value that borrows the source; without one it is invalid.
class QPRODDATA_API PartHandler {
 public:
  /// What holds for a part that is none: not included, excluded, bound. The opposite of the group's defaults.
  static const PartAttributes c_defaultAttrs;

  PartHandler() = default;
  PartHandler(const IfPartSource& partSource, UniqueMetaObjectKey objectKey)
      : source(&partSource), object(std::move(objectKey)) {}

  const UniqueMetaObjectKey& GetObjectKey() const noexcept { return object; }

  /// The questions of IfPartSource about this part. Only IsValid may be asked of a handler without a source.
  bool IsValid() const { return source != nullptr && source->IsValidPart(object); }
  bool IsCalcAvailable() const { return source->IsCalcAvailable(object); }
  const IfPropertyCalculator& GetPropertyCalculator() const { return source->GetPropertyCalculator(object); }
  const ProductPart& GetProductPart() const { return source->GetProductPart(object); }

 private:
  const IfPartSource* source = nullptr;
  UniqueMetaObjectKey object;
};

/// Where parts within groups come from.
class QPRODDATA_API IfGroupPartSource {
 public:
  IfGroupPartSource() = default;
  IfGroupPartSource(const IfGroupPartSource&) = delete;
  IfGroupPartSource& operator=(const IfGroupPartSource&) = delete;
  virtual ~IfGroupPartSource();

  virtual bool IsValidGroupPart(const UniqueMetaObjectKey& object, const UniqueMetaObjectKey& group) const = 0;
  /// The part as a member of the group; invalid where it is none.
  virtual PartHandler GetGroupPart(const UniqueMetaObjectKey& object, const UniqueMetaObjectKey& group) const = 0;
  /// The part by itself.
  virtual PartHandler GetRawPart(const UniqueMetaObjectKey& object) const = 0;
};

/// One part within a group, or by itself where the group key is null. A value that borrows the source; without one it
/// is invalid.
class QPRODDATA_API GroupPartHandler {
 public:
  /// What holds for a group part that is none: included, not excluded, not bound.
  static const PartAttributes c_defaultAttrs;

  GroupPartHandler() = default;
  GroupPartHandler(const IfGroupPartSource& partSource, UniqueMetaObjectKey objectKey, UniqueMetaObjectKey groupKey)
      : source(&partSource), object(std::move(objectKey)), group(std::move(groupKey)) {}

  const UniqueMetaObjectKey& GetObjectKey() const noexcept { return object; }
  const UniqueMetaObjectKey& GetGroupKey() const noexcept { return group; }

  /// The questions of IfGroupPartSource about this part. Only IsValid may be asked of a handler without a source.
  bool IsValid() const { return source != nullptr && source->IsValidGroupPart(object, group); }
  PartHandler GetGroupPartHandler(const UniqueMetaObjectKey& groupKey) const {
    return source->GetGroupPart(object, groupKey);
  }
  PartHandler GetRawPartHandler(const UniqueMetaObjectKey& objectKey) const { return source->GetRawPart(objectKey); }

 private:
  const IfGroupPartSource* source = nullptr;
  UniqueMetaObjectKey object;
  UniqueMetaObjectKey group;
};
