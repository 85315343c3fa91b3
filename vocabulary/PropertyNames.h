#pragma once

#include <set>
#include <string>

/// The property names of the product-data schema: the keys under which all libraries of the application store the
/// properties of a product. A dotted text joins two names; the product data reads it as a path of its property trees.
///
/// Each library has one instance of every constant, hidden from the others, built when the library is loaded and
/// destroyed, in reverse order, when it is unloaded. Composites read constants that stand above them, so the order of
/// this header is the order of construction and must not change. The constants are inline, so every module that
/// includes them would construct them: a guard lets the first one do it. g++ emits these guards as plain flags, made
/// safe between threads by the loader's lock, under which all initialisers of a library run. A constant that gets no
/// memory passes its exception out of the loading; the library is then half built and cannot be used by this process.

// Shared constants.

inline const std::wstring c_marking = L"marking";
inline const std::wstring c_documentNumber = L"documentNumber";
inline const std::wstring c_markingBase = c_marking + L".base";
inline const std::wstring c_markingEmbodimentNumber = c_marking + L".embodimentNumber";
inline const std::wstring c_markingAdditionalNumber = c_marking + L".additionalNumber";
inline const std::wstring c_markingDocumentNumber = c_marking + L"." + c_documentNumber;
inline const std::wstring c_variantName = L"variantName";
inline const std::wstring c_productName = L"productName";
inline const std::wstring c_count = L"count";
inline const std::wstring c_material = L"material";
inline const std::wstring c_density = L"density";
inline const std::wstring c_comment = L"comment";
inline const std::wstring c_featureType = L"featureType";
inline const std::wstring c_fromExternalLibrary = L"fromExternalLibrary";
inline const std::wstring c_position = L"position";
inline const std::wstring c_SPCSection = L"SPCSection";
inline const std::wstring c_accuracyClass = L"accuracyClass";
// Ends in "Numb" on purpose: the key was once cut short, and stored documents use it so.
inline const std::wstring c_SPCSectionSubSectionNumb = L"SPCSection.subSectionNumb";
inline const std::wstring c_structureNumber = L"structureNumber";
inline const std::wstring c_number = L"number";
inline const std::wstring c_additionNumber = L"additionNumber";
inline const std::wstring c_arrayElement = L"arrayElement";
inline const std::wstring c_specRoughSign = L"specRoughSign";
inline const std::wstring c_specRoughValue = L"specRoughValue";
inline const std::wstring c_color = L"color";
inline const std::wstring c_priority = L"priority";
inline const std::wstring c_advancedColor = L"advancedColor";
inline const std::wstring c_ambient = L"ambient";
inline const std::wstring c_diffuse = L"diffuse";
inline const std::wstring c_specularity = L"specularity";
inline const std::wstring c_shininess = L"shininess";
inline const std::wstring c_transparency = L"transparency";
inline const std::wstring c_emission = L"emission";
inline const std::wstring c_sourceColor = L"sourceColor";
inline const std::wstring c_variantUseCaseColor = L"variantUseCaseColor";
inline const std::wstring c_hatchGroup = L"hatchGroup";
inline const std::wstring c_hatchStyle = L"hatchStyle";
inline const std::wstring c_angle = L"angle";
inline const std::wstring c_notSected = L"notSected";
inline const std::wstring c_hatchColor = L"hatchColor";
inline const std::wstring c_hatchAngle = L"hatchAngle";
inline const std::wstring c_zoneCount = L"zoneCount";
inline const std::wstring c_spcObjNumber = L"spcObjNumber";
inline const std::wstring c_materialHatch = L"materialHatch";
inline const std::wstring c_additionColumn = L"additionColumn";
// The first letter is Cyrillic (es), the others are Latin; the mixed text is the key. Written as an escape so that no
// editor can turn it into the Latin word.
inline const std::wstring c_column = L"\u0441olumn";
inline const std::wstring c_revisionLetter = L"revisionLetter";
inline const std::wstring c_jobDescription = L"jobDescription";
inline const std::wstring c_signer = L"signer";
inline const std::wstring c_sheetsNumber = L"sheetsNumber";
inline const std::wstring c_productCode = L"productCode";
inline const std::wstring c_author = L"author";
inline const std::wstring c_organization = L"organization";
inline const std::wstring c_fullFileName = L"fullFileName";
inline const std::wstring c_fileName = L"fileName";
inline const std::wstring c_isPhantom = L"isPhantom";
inline const std::wstring c_billets = L"billets";
inline const std::wstring c_stampAuthor = L"stampAuthor";
inline const std::wstring c_checkedBy = L"checkedBy";
inline const std::wstring c_approvedBy = L"approvedBy";
inline const std::wstring c_mfgApprovedBy = L"mfgApprovedBy";
inline const std::wstring c_rateOfInspection = L"rateOfInspection";
inline const std::wstring c_format = L"format";
inline const std::wstring c_materials = L"materials";
inline const std::wstring c_location = L"location";
inline const std::wstring c_unknown = L"unknown";
inline const std::wstring c_assembly = L"assembly";
inline const std::wstring c_detail = L"detail";
inline const std::wstring c_standard = L"standard";
inline const std::wstring c_libComponent = L"libComponent";
inline const std::wstring c_billet = L"billet";
inline const std::wstring c_stCompBillet = L"stCompBillet";
inline const std::wstring c_feature = L"feature";
inline const std::wstring c_extView = L"extView";
inline const std::wstring c_insfrg = L"insfrg";
inline const std::wstring c_macrodraft = L"macrodraft";
inline const std::wstring c_sheet = L"sheet";
// The name of the application as a property value; the last of the shared constants.
inline const std::wstring c_applicationName = L"Tolvan";

// Library-local constants, after all shared ones. This library reads none of them; they exist because the schema has
// them.

/// A number and whether it counts.
struct IntFlag {
  int value;
  bool flag;
};

/// Constant-initialised, so that c_materialName may read it at any time.
inline constexpr wchar_t c_name[] = L"name";

inline const IntFlag c_intFlagZero = {0, false};
inline const IntFlag c_intFlagMinusOne = {-1, false};
inline const std::set<int> c_intSet4567 = {4, 5, 7, 6};
inline const std::wstring c_fromSource = L"fromSource";
inline const std::wstring c_expression = L"expression";
// Equal to c_format, yet a constant of its own.
inline const std::wstring c_formatKey = L"format";
// Ends in "Numb" on purpose, as c_SPCSectionSubSectionNumb does.
inline const std::wstring c_correspondentGroupNumb = L"correspondentGroupNumb";
inline const std::wstring c_prodCopy = L"prodCopy";
inline const std::wstring c_direction = L"direction";
inline const std::wstring c_ownDocument = L"ownDocument";
inline const std::wstring c_manual = L"manual";
inline const std::wstring c_pseudo_manual = L"pseudo_manual";
inline const std::wstring c_inconsistent = L"inconsistent";
inline const std::wstring c_expressionKey = std::wstring(L"expression", 10);
inline const std::wstring c_expressionValid = std::wstring(L"expression.valid", 16);
inline const std::wstring c_sortKey = L"sortKey";
inline const std::wstring c_visible = L"visible";
inline const std::wstring c_autoformationText = L"autoformationText";
inline const std::wstring c_materialName = c_material + L"." + c_name;
inline const std::wstring c_materialDensity = c_material + L"." + c_density;
inline const std::wstring c_materialLocation = c_material + L"." + c_location;
