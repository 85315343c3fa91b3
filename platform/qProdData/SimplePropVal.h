#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>

#include <qProdData/Export.h>

namespace meta_data::properties {

/// The unit that a value is given in. The numbers are stored in documents: append only.
enum class UnitId : std::uint32_t {
  none = 0,
  millimetre = 1,
  kilogram = 2,
  kilogramPerCubicMetre = 3,
  degree = 4,
};

}  // namespace meta_data::properties

/// A property value: nothing, a wide string, a bool, an int, a double or a point in time, with a unit.
class QPRODDATA_API SimplePropVal {
 public:
  using UnitId = meta_data::properties::UnitId;
  using DateTime = std::chrono::sys_seconds;
  using Value = std::variant<std::monostate, std::wstring, bool, int, double, DateTime>;

  SimplePropVal() = default;
  explicit SimplePropVal(Value source, UnitId sourceUnit = UnitId::none) : value(std::move(source)), unit(sourceUnit) {}
  /// Assigns, because a variant whose copy constructor throws for lack of memory destroys what it never held (libstdc++
  /// up to version 12 at least, which takes texts for alternatives that cannot fail).
  SimplePropVal(const SimplePropVal& other) : unit(other.unit) { value = other.value; }
  SimplePropVal(SimplePropVal&&) noexcept = default;
  SimplePropVal& operator=(const SimplePropVal&) = default;
  SimplePropVal& operator=(SimplePropVal&&) noexcept = default;
  ~SimplePropVal() = default;

  /// True when it holds nothing; a unit alone is nothing.
  bool IsEmpty() const noexcept { return std::holds_alternative<std::monostate>(value); }
  const Value& GetValue() const noexcept { return value; }
  /// Replaces the value and leaves the unit as it is.
  void SetValue(const Value& source) { value = source; }
  UnitId GetUnit() const noexcept { return unit; }

  friend bool operator==(const SimplePropVal&, const SimplePropVal&) = default;

 private:
  Value value;
  UnitId unit = UnitId::none;
};
