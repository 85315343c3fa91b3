#include <algorithm>
#include <cctype>
#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qProdData/PropertyTree.h>

#include "tests/vocabulary/other_module.h"
#include "vocabulary/PropertyNames.h"

namespace {

/// A constant with the text that other libraries of the application know it by, and that text's length.
struct NamedText {
  std::string_view name;
  const std::wstring* constant;
  std::wstring_view text;
  std::size_t length;

  template <class Object>
  NamedText(std::string_view objectName, Object* object, std::wstring_view expected, std::size_t expectedLength)
      : name(objectName), constant(object), text(expected), length(expectedLength) {
    static_assert(std::is_same_v<Object, const std::wstring>, "not a constant wide string");
  }
};

/// In the order of construction.
const NamedText c_shared[] = {
    {"c_marking", &c_marking, L"marking", 7},
    {"c_documentNumber", &c_documentNumber, L"documentNumber", 14},
    {"c_markingBase", &c_markingBase, L"marking.base", 12},
    {"c_markingEmbodimentNumber", &c_markingEmbodimentNumber, L"marking.embodimentNumber", 24},
    {"c_markingAdditionalNumber", &c_markingAdditionalNumber, L"marking.additionalNumber", 24},
    {"c_markingDocumentNumber", &c_markingDocumentNumber, L"marking.documentNumber", 22},
    {"c_variantName", &c_variantName, L"variantName", 11},
    {"c_productName", &c_productName, L"productName", 11},
    {"c_count", &c_count, L"count", 5},
    {"c_material", &c_material, L"material", 8},
    {"c_density", &c_density, L"density", 7},
    {"c_comment", &c_comment, L"comment", 7},
    {"c_featureType", &c_featureType, L"featureType", 11},
    {"c_fromExternalLibrary", &c_fromExternalLibrary, L"fromExternalLibrary", 19},
    {"c_position", &c_position, L"position", 8},
    {"c_SPCSection", &c_SPCSection, L"SPCSection", 10},
    {"c_accuracyClass", &c_accuracyClass, L"accuracyClass", 13},
    {"c_SPCSectionSubSectionNumb", &c_SPCSectionSubSectionNumb, L"SPCSection.subSectionNumb", 25},
    {"c_structureNumber", &c_structureNumber, L"structureNumber", 15},
    {"c_number", &c_number, L"number", 6},
    {"c_additionNumber", &c_additionNumber, L"additionNumber", 14},
    {"c_arrayElement", &c_arrayElement, L"arrayElement", 12},
    {"c_specRoughSign", &c_specRoughSign, L"specRoughSign", 13},
    {"c_specRoughValue", &c_specRoughValue, L"specRoughValue", 14},
    {"c_color", &c_color, L"color", 5},
    {"c_priority", &c_priority, L"priority", 8},
    {"c_advancedColor", &c_advancedColor, L"advancedColor", 13},
    {"c_ambient", &c_ambient, L"ambient", 7},
    {"c_diffuse", &c_diffuse, L"diffuse", 7},
    {"c_specularity", &c_specularity, L"specularity", 11},
    {"c_shininess", &c_shininess, L"shininess", 9},
    {"c_transparency", &c_transparency, L"transparency", 12},
    {"c_emission", &c_emission, L"emission", 8},
    {"c_sourceColor", &c_sourceColor, L"sourceColor", 11},
    {"c_variantUseCaseColor", &c_variantUseCaseColor, L"variantUseCaseColor", 19},
    {"c_hatchGroup", &c_hatchGroup, L"hatchGroup", 10},
    {"c_hatchStyle", &c_hatchStyle, L"hatchStyle", 10},
    {"c_angle", &c_angle, L"angle", 5},
    {"c_notSected", &c_notSected, L"notSected", 9},
    {"c_hatchColor", &c_hatchColor, L"hatchColor", 10},
    {"c_hatchAngle", &c_hatchAngle, L"hatchAngle", 10},
    {"c_zoneCount", &c_zoneCount, L"zoneCount", 9},
    {"c_spcObjNumber", &c_spcObjNumber, L"spcObjNumber", 12},
    {"c_materialHatch", &c_materialHatch, L"materialHatch", 13},
    {"c_additionColumn", &c_additionColumn, L"additionColumn", 14},
    {"c_column", &c_column,
     L"\x0441"
     L"olumn",
     6},
    {"c_revisionLetter", &c_revisionLetter, L"revisionLetter", 14},
    {"c_jobDescription", &c_jobDescription, L"jobDescription", 14},
    {"c_signer", &c_signer, L"signer", 6},
    {"c_sheetsNumber", &c_sheetsNumber, L"sheetsNumber", 12},
    {"c_productCode", &c_productCode, L"productCode", 11},
    {"c_author", &c_author, L"author", 6},
    {"c_organization", &c_organization, L"organization", 12},
    {"c_fullFileName", &c_fullFileName, L"fullFileName", 12},
    {"c_fileName", &c_fileName, L"fileName", 8},
    {"c_isPhantom", &c_isPhantom, L"isPhantom", 9},
    {"c_billets", &c_billets, L"billets", 7},
    {"c_stampAuthor", &c_stampAuthor, L"stampAuthor", 11},
    {"c_checkedBy", &c_checkedBy, L"checkedBy", 9},
    {"c_approvedBy", &c_approvedBy, L"approvedBy", 10},
    {"c_mfgApprovedBy", &c_mfgApprovedBy, L"mfgApprovedBy", 13},
    {"c_rateOfInspection", &c_rateOfInspection, L"rateOfInspection", 16},
    {"c_format", &c_format, L"format", 6},
    {"c_materials", &c_materials, L"materials", 9},
    {"c_location", &c_location, L"location", 8},
    {"c_unknown", &c_unknown, L"unknown", 7},
    {"c_assembly", &c_assembly, L"assembly", 8},
    {"c_detail", &c_detail, L"detail", 6},
    {"c_standard", &c_standard, L"standard", 8},
    {"c_libComponent", &c_libComponent, L"libComponent", 12},
    {"c_billet", &c_billet, L"billet", 6},
    {"c_stCompBillet", &c_stCompBillet, L"stCompBillet", 12},
    {"c_feature", &c_feature, L"feature", 7},
    {"c_extView", &c_extView, L"extView", 7},
    {"c_insfrg", &c_insfrg, L"insfrg", 6},
    {"c_macrodraft", &c_macrodraft, L"macrodraft", 10},
    {"c_sheet", &c_sheet, L"sheet", 5},
    {"c_applicationName", &c_applicationName, L"Tolvan", 6},
};

const NamedText c_local[] = {
    {"c_fromSource", &c_fromSource, L"fromSource", 10},
    {"c_expression", &c_expression, L"expression", 10},
    {"c_formatKey", &c_formatKey, L"format", 6},
    {"c_correspondentGroupNumb", &c_correspondentGroupNumb, L"correspondentGroupNumb", 22},
    {"c_prodCopy", &c_prodCopy, L"prodCopy", 8},
    {"c_direction", &c_direction, L"direction", 9},
    {"c_ownDocument", &c_ownDocument, L"ownDocument", 11},
    {"c_manual", &c_manual, L"manual", 6},
    {"c_pseudo_manual", &c_pseudo_manual, L"pseudo_manual", 13},
    {"c_inconsistent", &c_inconsistent, L"inconsistent", 12},
    {"c_expressionKey", &c_expressionKey, L"expression", 10},
    {"c_expressionValid", &c_expressionValid, L"expression.valid", 16},
    {"c_sortKey", &c_sortKey, L"sortKey", 7},
    {"c_visible", &c_visible, L"visible", 7},
    {"c_autoformationText", &c_autoformationText, L"autoformationText", 17},
    {"c_materialName", &c_materialName, L"material.name", 13},
    {"c_materialDensity", &c_materialDensity, L"material.density", 16},
    {"c_materialLocation", &c_materialLocation, L"material.location", 17},
};

void ExpectTexts(const NamedText& constant) {
  SCOPED_TRACE(constant.name);
  EXPECT_EQ(*constant.constant, constant.text);
  EXPECT_EQ(constant.constant->size(), constant.length);
  EXPECT_EQ(constant.text.size(), constant.length);
}

/// c_ and the text, each "." dropped and the letter after it in upper case.
std::string NameFor(std::wstring_view text) {
  std::string name = "c_";
  bool isAfterDot = false;
  for (const wchar_t letter : text) {
    if (letter == L'.') {
      isAfterDot = true;
      continue;
    }
    const char narrow = static_cast<char>(letter);
    name += isAfterDot ? static_cast<char>(std::toupper(static_cast<unsigned char>(narrow))) : narrow;
    isAfterDot = false;
  }
  return name;
}

bool IsAscii(std::wstring_view text) {
  return std::all_of(text.begin(), text.end(), [](wchar_t letter) { return letter > 0 && letter < 0x80; });
}

}  // namespace

TEST(SharedNames, AreSeventyEightTextsLetterForLetter) {
  EXPECT_EQ(std::size(c_shared), 78U);
  for (const NamedText& constant : c_shared) {
    ExpectTexts(constant);
  }
}

TEST(SharedNames, AreCalledAfterTheirTextsButForTwo) {
  for (const NamedText& constant : c_shared) {
    if (constant.constant == &c_column || constant.constant == &c_applicationName) {
      continue;
    }
    EXPECT_EQ(constant.name, NameFor(constant.text));
  }
}

TEST(SharedNames, AreAllDifferent) {
  std::set<std::wstring> texts;
  for (const NamedText& constant : c_shared) {
    EXPECT_TRUE(texts.insert(*constant.constant).second) << constant.name;
  }
}

TEST(LocalNames, AreEighteenTextsLetterForLetter) {
  EXPECT_EQ(std::size(c_local), 18U);
  for (const NamedText& constant : c_local) {
    ExpectTexts(constant);
  }
}

TEST(LocalValues, AreTwoNumbersWithFlagsAndASetOfFourNumbers) {
  EXPECT_EQ(c_intFlagZero.value, 0);
  EXPECT_FALSE(c_intFlagZero.flag);
  EXPECT_EQ(c_intFlagMinusOne.value, -1);
  EXPECT_FALSE(c_intFlagMinusOne.flag);
  EXPECT_EQ(c_intSet4567, (std::set<int>{4, 5, 6, 7}));
  static_assert(std::is_same_v<decltype(c_intFlagZero.value), int> && sizeof(int) == 4);
  static_assert(std::is_same_v<decltype(c_intFlagZero.flag), bool>);
  static_assert(std::is_same_v<decltype(c_intFlagZero), const IntFlag>);
  static_assert(std::is_same_v<decltype(c_intFlagMinusOne), const IntFlag>);
  static_assert(std::is_same_v<decltype(c_intSet4567), const std::set<int>>);
}

TEST(TheNameOfNames, IsKnownToTheCompiler) {
  static_assert(std::wstring_view(c_name) == L"name");
  static_assert(std::is_const_v<std::remove_reference_t<decltype(c_name[0])>>);
  EXPECT_EQ(std::wstring(c_name).size(), 4U);
}

TEST(AllNames, AreOfLettersOfFourBytes) {
  EXPECT_EQ(sizeof(c_marking[0]), 4U);
}

TEST(AllNames, AreAsciiButForTheColumn) {
  for (const NamedText& constant : c_shared) {
    EXPECT_EQ(IsAscii(*constant.constant), constant.constant != &c_column) << constant.name;
  }
  for (const NamedText& constant : c_local) {
    EXPECT_TRUE(IsAscii(*constant.constant)) << constant.name;
  }
}

TEST(AllNames, AreObjectsOfTheirOwnAlsoWhereTheirTextsAreEqual) {
  std::set<const std::wstring*> objects;
  for (const NamedText& constant : c_shared) {
    objects.insert(constant.constant);
  }
  for (const NamedText& constant : c_local) {
    objects.insert(constant.constant);
  }
  EXPECT_EQ(objects.size(), 96U);
  EXPECT_EQ(c_format, c_formatKey);
  EXPECT_NE(&c_format, &c_formatKey);
  EXPECT_EQ(c_expression, c_expressionKey);
  EXPECT_NE(&c_expression, &c_expressionKey);
}

TEST(AllNames, AreTheSameObjectsInEveryModule) {
  EXPECT_EQ(MarkingInAnotherModule(), &c_marking);
  EXPECT_EQ(MarkingDocumentNumberInAnotherModule(), &c_markingDocumentNumber);
  EXPECT_EQ(MaterialLocationInAnotherModule(), &c_materialLocation);
}

TEST(TheColumn, BeginsWithACyrillicLetterAndIsNotTheLatinWord) {
  ASSERT_EQ(c_column.size(), 6U);
  EXPECT_EQ(c_column[0], static_cast<wchar_t>(0x441));
  EXPECT_EQ(c_column.substr(1), L"olumn");
  EXPECT_NE(c_column, L"column");
}

TEST(TheColumn, IsNotFoundUnderTheLatinWord) {
  PropertyTree properties;
  properties.push_back({c_column, PropertyTree(SimplePropVal(1))});
  EXPECT_EQ(properties.count(L"column"), 0U);
  EXPECT_EQ(properties.count(c_column), 1U);
}

TEST(TheNumberOfASubSection, IsCutShort) {
  EXPECT_EQ(c_SPCSectionSubSectionNumb.size(), 25U);
  EXPECT_TRUE(c_SPCSectionSubSectionNumb.ends_with(L"Numb"));
}

TEST(TheNumberOfACorrespondentGroup, IsCutShort) {
  EXPECT_EQ(c_correspondentGroupNumb.size(), 22U);
  EXPECT_TRUE(c_correspondentGroupNumb.ends_with(L"Numb"));
}

TEST(Composites, AreMadeOfTheNamesThatTheyJoin) {
  EXPECT_EQ(c_markingBase, c_marking + L".base");
  EXPECT_EQ(c_markingEmbodimentNumber, c_marking + L".embodimentNumber");
  EXPECT_EQ(c_markingAdditionalNumber, c_marking + L".additionalNumber");
  EXPECT_EQ(c_markingDocumentNumber, c_marking + L"." + c_documentNumber);
  EXPECT_EQ(c_materialName, c_material + L"." + c_name);
  EXPECT_EQ(c_materialDensity, c_material + L"." + c_density);
  EXPECT_EQ(c_materialLocation, c_material + L"." + c_location);
}
