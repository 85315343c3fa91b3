#include "meta_3d/PartFlags.h"

#include <optional>
#include <variant>

namespace {

PartHandler EffectivePart(const GroupPartHandler& handler) {
  return handler.GetGroupKey() == UniqueMetaObjectKey::null ? handler.GetRawPartHandler(handler.GetObjectKey())
                                                            : handler.GetGroupPartHandler(handler.GetGroupKey());
}

// `calculate` is asked where the part has a calculator, and may have no answer.
template <class Flag, class Calculate>
Flag ReadFlag(const GroupPartHandler& handler, Flag PartAttributes::*flag, Calculate calculate) {
  if (!handler.IsValid()) {
    return GroupPartHandler::c_defaultAttrs.*flag;
  }
  const PartHandler part = EffectivePart(handler);
  if (!part.IsValid()) {
    return PartHandler::c_defaultAttrs.*flag;
  }
  if (part.IsCalcAvailable()) {
    if (const std::optional<Flag> calculated = calculate(part)) {
      return *calculated;
    }
  }
  return std::get<AttributedPart>(part.GetProductPart()).attributes.*flag;
}

}  // namespace

bool ReadIncludeFlag(const GroupPartHandler& handler) {
  return ReadFlag(handler, &PartAttributes::includeFlag, [](const PartHandler& part) {
    return part.GetPropertyCalculator().CalcIncludeFlag(part.GetObjectKey());
  });
}

bool ReadExcludeFlag(const GroupPartHandler& handler) {
  // Excluding a part is a person's decision, which nothing computed overrides: the calculator is not even fetched.
  return ReadFlag(handler, &PartAttributes::excludeFlag,
                  [](const PartHandler&) { return std::optional<bool>(); });
}

std::uint32_t ReadEmbodimentBoundFlag(const GroupPartHandler& handler) {
  return ReadFlag(handler, &PartAttributes::embodimentBoundFlag, [](const PartHandler& part) {
    return part.GetPropertyCalculator().CalcEmbodimentBoundFlag(part.GetObjectKey());
  });
}
