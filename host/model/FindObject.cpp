#include "host/model/FindObject.h"

#include <algorithm>
#include <vector>

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/model/TextForms.h"
#include "vocabulary/PropertyNames.h"

namespace host {

namespace {

constexpr std::size_t c_shownCandidates = 5;

bool IsNamed(const ProductData& data, const UniqueMetaObjectKey& key, const std::string& text) {
  return KeyText(key) == text || data.ProductText(key, c_marking) == text ||
         data.ProductText(key, c_productName) == text || data.DisplayName(key) == text;
}

bool LooksLikePath(const std::string& text) {
  constexpr const char* c_digits = "0123456789";
  return text.find_first_of(c_digits) != std::string::npos &&
         text.find_first_not_of(std::string(c_digits) + '/') == std::string::npos;
}

std::string Describe(const Document& document, const UniqueMetaObjectKey& key) {
  const MetaObject* object = document.productData.Find(key);
  const bool isLine = object != nullptr && object->type == MetaObjectType::groupObject;
  return isLine ? fmt::format("{} in {}", KeyText(key), document.productData.DisplayName(object->holder))
                : KeyText(key);
}

// The only one of the candidates.
UniqueMetaObjectKey Only(const Document& document, const std::vector<UniqueMetaObjectKey>& candidates,
                         const std::string& text, std::string_view what, std::string_view mend) {
  if (candidates.empty()) {
    throw DocumentError(fmt::format("no {} is called '{}'; {}", what, BytesText(text), mend));
  }
  if (candidates.size() > 1) {
    std::string list;
    for (std::size_t i = 0; i < std::min(candidates.size(), c_shownCandidates); ++i) {
      list += (i == 0 ? "" : ", ") + Describe(document, candidates[i]);
    }
    throw DocumentError(fmt::format("'{}' is ambiguous, {} have the name: {}{}; use a key", BytesText(text),
                                    candidates.size(), list, candidates.size() > c_shownCandidates ? ", ..." : ""));
  }
  return candidates.front();
}

std::vector<UniqueMetaObjectKey> LinesCalled(const Document& document, const std::string& text,
                                             const std::optional<UniqueMetaObjectKey>& assembly) {
  std::vector<UniqueMetaObjectKey> candidates;
  for (const auto& [key, object] : document.productData.All()) {
    if (object.type == MetaObjectType::groupObject && (!assembly || object.holder == *assembly) &&
        IsNamed(document.productData, key, text)) {
      candidates.push_back(key);
    }
  }
  return candidates;
}

UniqueMetaObjectKey OnlyLine(const Document& document, const std::vector<UniqueMetaObjectKey>& candidates,
                             const std::string& text) {
  return Only(document, candidates, text, "line of a bill", "'qlinks positions' shows the lines");
}

}  // namespace

UniqueMetaObjectKey FindLine(const Document& document, const std::string& text,
                             const std::optional<UniqueMetaObjectKey>& assembly) {
  return OnlyLine(document, LinesCalled(document, text, assembly), text);
}

UniqueMetaObjectKey FindOccurrenceOrLine(const Document& document, const std::string& text) {
  // The text is not read as a key or a path: a marking may look like either and be none, such as 12345678901.
  for (const auto& [key, object] : document.productData.All()) {
    if (object.IsOccurrence() && KeyText(key) == text) {
      return key;
    }
  }
  for (const auto& [path, component] : document.components) {
    if (PathText(path) == text) {
      return component.occurrence;
    }
  }
  const std::vector<UniqueMetaObjectKey> lines = LinesCalled(document, text, std::nullopt);
  if (lines.empty() && LooksLikePath(text)) {
    throw DocumentError(
        fmt::format("no component {}, and no line of a bill is called so; 'qlinks links' shows the paths, "
                    "'qlinks positions' the lines",
                    text));
  }
  return OnlyLine(document, lines, text);
}

UniqueMetaObjectKey FindRootOccurrence(const Document& document, const std::string& text) {
  std::vector<UniqueMetaObjectKey> candidates;
  for (const auto& [path, component] : document.components) {
    if (path.Count() != 1) {
      continue;
    }
    if (PathText(path) == text || KeyText(component.occurrence) == text) {
      return component.occurrence;
    }
    if (IsNamed(document.productData, component.occurrence, text)) {
      candidates.push_back(component.occurrence);
    }
  }
  return Only(document, candidates, text, "occurrence directly below the root", "'qlinks links' shows their paths");
}

const Component* FindComponent(const Document& document, const std::string& path) {
  const ComponentPath parsed = ParsePath(path);
  if (parsed.IsEmpty()) {
    return nullptr;
  }
  const auto component = document.components.find(parsed);
  if (component == document.components.end()) {
    throw DocumentError(fmt::format("no component {}; 'qlinks links' shows the paths", PathText(parsed)));
  }
  return &component->second;
}

UniqueMetaObjectKey FindEmbodiment(const Document& document, const std::string& text) {
  const ProductData& data = document.productData;
  if (text.empty()) {
    return data.RootEmbodiment();
  }
  std::vector<UniqueMetaObjectKey> candidates;
  for (const UniqueMetaObjectKey& key : data.EmbodimentsOf(data.RootProduct())) {
    if (KeyText(key) == text || data.ProductText(key, c_variantName) == text ||
        data.ProductText(key, c_markingEmbodimentNumber) == text) {
      candidates.push_back(key);
    }
  }
  return Only(document, candidates, text, "embodiment", "'qlinks embodiment DOC list' shows them");
}

}  // namespace host
