#pragma once

#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <variant>

#include <gmock/gmock.h>

#include <qProdData/EmbodimentsTree.h>
#include <qProdData/IfProductDataAggregator.h>
#include <qProdData/PartHandlers.h>

#include "tests/support/PlatformPrinting.h"

/// Mocks of the product-data side. The handlers and the embodiments tree are values over these sources. The product
/// data itself, MockMetaProductData, is in StreamMocks.h.

class MockAggregator : public IfProductDataAggregator {
 public:
  using Key = UniqueMetaObjectKey;
  using Keys = std::set<Key>;

  MOCK_METHOD(bool, Actualize, (), (override));
  MOCK_METHOD(bool, HasObject, (const Key&), (const, override));
  MOCK_METHOD(std::uint32_t, GetMetaObjectType, (const Key&), (const, override));
  MOCK_METHOD(bool, IsGroupObject, (const Key&), (const, override));
  MOCK_METHOD(Key, GetGroupObjectKey, (const Key&), (const, override));
  MOCK_METHOD(Keys, GetObjectGroups, (const Key&), (const, override));
  MOCK_METHOD(GroupPartHandler, MakeGroupPartHandler, (const Key&), (const, override));
  MOCK_METHOD(const SimplePropVal&, GetGroupObjPropValue, (const Key&, const Key&, const std::wstring&),
              (const, override));
  MOCK_METHOD(const SimplePropVal&, GetObjPropValue, (const Key&, const std::wstring&), (const, override));
  MOCK_METHOD(PropValueRef, GetPropValueRef, (const Key&, const std::wstring&), (const, override));
  MOCK_METHOD(const IfMetaProductData&, GetMetaProductData, (const Key&), (const, override));
  MOCK_METHOD(bool, IsManualBillet, (const Key&), (const, override));
};

class MockGroupPartSource : public IfGroupPartSource {
 public:
  using Key = UniqueMetaObjectKey;

  MOCK_METHOD(bool, IsValidGroupPart, (const Key&, const Key&), (const, override));
  MOCK_METHOD(PartHandler, GetGroupPart, (const Key&, const Key&), (const, override));
  MOCK_METHOD(PartHandler, GetRawPart, (const Key&), (const, override));
};

class MockPartSource : public IfPartSource {
 public:
  using Key = UniqueMetaObjectKey;

  MOCK_METHOD(bool, IsValidPart, (const Key&), (const, override));
  MOCK_METHOD(bool, IsCalcAvailable, (const Key&), (const, override));
  MOCK_METHOD(const IfPropertyCalculator&, GetPropertyCalculator, (const Key&), (const, override));
  MOCK_METHOD(const ProductPart&, GetProductPart, (const Key&), (const, override));
};

class MockPropertyCalculator : public IfPropertyCalculator {
 public:
  using Key = UniqueMetaObjectKey;

  MOCK_METHOD(std::optional<bool>, CalcIncludeFlag, (const Key&), (const, override));
  MOCK_METHOD(std::optional<bool>, CalcExcludeFlag, (const Key&), (const, override));
  MOCK_METHOD(std::optional<SimplePropVal>, CalcMarking, (const Key&), (const, override));
  MOCK_METHOD(std::optional<SimplePropVal>, CalcName, (const Key&), (const, override));
  MOCK_METHOD(std::optional<SimplePropVal>, CalcCount, (const Key&), (const, override));
  MOCK_METHOD(std::optional<std::uint32_t>, CalcEmbodimentBoundFlag, (const Key&), (const, override));
};

class MockEmbodimentsSource : public IfEmbodimentsSource {
 public:
  MOCK_METHOD(UniqueMetaObjectKey, FindEmbodiment, (const MbPath&), (const, override));
};

/// How failed tests show a property value: its kind by number, then the value, then the unit by number.
inline void PrintTo(const SimplePropVal& value, std::ostream* out) {
  *out << "kind " << value.GetValue().index() << ' ';
  if (const auto* text = std::get_if<std::wstring>(&value.GetValue())) {
    *out << testing::PrintToString(*text);
  } else if (const auto* flag = std::get_if<bool>(&value.GetValue())) {
    *out << *flag;
  } else if (const auto* number = std::get_if<int>(&value.GetValue())) {
    *out << *number;
  } else if (const auto* real = std::get_if<double>(&value.GetValue())) {
    *out << *real;
  } else if (const auto* time = std::get_if<SimplePropVal::DateTime>(&value.GetValue())) {
    *out << time->time_since_epoch().count() << " s";
  }
  *out << " unit " << static_cast<std::uint32_t>(value.GetUnit());
}
