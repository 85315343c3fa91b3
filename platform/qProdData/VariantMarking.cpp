#include <qProdData/VariantMarking.h>

#include <variant>

namespace {

std::wstring TextOf(const SimplePropVal& value) {
  if (const auto* text = std::get_if<std::wstring>(&value.GetValue())) {
    return *text;
  }
  if (const auto* number = std::get_if<int>(&value.GetValue())) {
    return std::to_wstring(*number);
  }
  return {};
}

std::wstring PartOf(const PropertyTree& tree, const wchar_t* name) {
  const auto part = tree.find(name);
  return part == tree.not_found() ? std::wstring() : TextOf(part->second.data());
}

}  // namespace

void VariantMarking::FromPropertyTree(const PropertyTree& tree) {
  base = tree.find(L"base") == tree.not_found() ? TextOf(tree.data()) : PartOf(tree, L"base");
  embodimentNumber = PartOf(tree, L"embodimentNumber");
  additionalNumber = PartOf(tree, L"additionalNumber");
  documentNumber = PartOf(tree, L"documentNumber");
}

std::wstring VariantMarking::Text() const {
  std::wstring text = base;
  if (!embodimentNumber.empty()) {
    text += L"-" + embodimentNumber;
  }
  if (!additionalNumber.empty()) {
    text += L"." + additionalNumber;
  }
  if (!documentNumber.empty()) {
    text += (text.empty() ? L"" : L" ") + documentNumber;
  }
  return text;
}
