// From a product structure to a document: products, occurrences, components, groups, bodies, links.

#include "host/step/MergeAssembly.h"

#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/HostError.h"
#include "host/model/TextForms.h"
#include "tests/support/PlatformPrinting.h"
#include "vocabulary/PropertyNames.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

using host::Body;
using host::Component;
using host::Document;
using host::MergeReport;
using host::MetaObject;
using host::MetaObjectType;
using host::StepAssembly;
using host::StepBody;
using host::StepProduct;
using host::StepUse;

StepBody Solid(const std::string& name = {}, const std::string& id = {}) {
  return {StepBody::Kind::solid, name, id};
}

StepBody OpenShell(const std::string& name = {}) {
  return {StepBody::Kind::openShell, name, {}};
}

StepUse Use(std::size_t product, const std::string& name = {}, const std::string& id = {}) {
  return {product, name, id, host::c_stepIdentity, false};
}

StepProduct Product(const std::string& id, const std::string& name, std::vector<StepBody> bodies,
                    std::vector<StepUse> uses = {}) {
  return {name, id, std::move(bodies), std::move(uses)};
}

constexpr std::size_t c_machine = 0;
constexpr std::size_t c_frame = 1;
constexpr std::size_t c_bolt = 2;
constexpr std::size_t c_plate = 3;

// A machine of two frames and a bolt; a frame, which has a body of its own, of two bolts and a plate of two bodies.
StepAssembly Machine() {
  StepAssembly assembly;
  assembly.products = {Product("QD.00", "Machine", {},
                               {Use(c_frame, "left", "u1"), Use(c_bolt, "b", "u2"), Use(c_frame, "right", "u3")}),
                       Product("QD.01", "Frame", {Solid("weld")}, {Use(c_bolt), Use(c_plate), Use(c_bolt)}),
                       Product("", "Bolt", {Solid("Bolt", "bolt-id")}),
                       Product("QD.03", "", {Solid("", ""), OpenShell("skin")})};
  assembly.roots = {c_machine};
  return assembly;
}

// An imported document and the questions that the tests put to it. Paths are texts, the outermost component first.
class Imported {
 public:
  explicit Imported(const StepAssembly& assembly, const std::string& name = "file")
      : document(std::make_unique<Document>()), counts(host::MergeAssembly(*document, assembly, name)) {}

  const Component& At(const std::string& path) const { return document->components.at(host::ParsePath(path)); }

  const MetaObject& ObjectOf(const UniqueMetaObjectKey& key) const { return document->productData.All().at(key); }

  const MetaObject& OccurrenceAt(const std::string& path) const { return ObjectOf(At(path).occurrence); }

  std::vector<std::string> Paths() const {
    std::vector<std::string> paths;
    for (const auto& [path, component] : document->components) {
      paths.push_back(host::PathText(path));
    }
    return paths;
  }

  std::vector<std::string> BodyNames(const std::string& path) const {
    std::vector<std::string> names;
    const auto found = document->bodies.find(host::ParsePath(path));
    if (found != document->bodies.end()) {
      for (const Body& body : found->second) {
        names.push_back(std::string(body.objectName.Bytes()));
      }
    }
    return names;
  }

  std::vector<UniqueMetaObjectKey> KeysOf(MetaObjectType type) const {
    std::vector<UniqueMetaObjectKey> keys;
    for (const auto& [key, object] : document->productData.All()) {
      if (object.type == type) {
        keys.push_back(key);
      }
    }
    return keys;
  }

  // Of a product by its name.
  UniqueMetaObjectKey ProductKey(const std::string& displayName) const {
    for (const MetaObjectType type : {MetaObjectType::partProduct, MetaObjectType::assemblyProduct}) {
      for (const UniqueMetaObjectKey& key : KeysOf(type)) {
        if (document->productData.DisplayName(key) == displayName) {
          return key;
        }
      }
    }
    ADD_FAILURE() << "no product " << displayName;
    return {};
  }

  // The group objects by the names of holder and product used.
  std::multimap<std::pair<std::string, std::string>, UniqueMetaObjectKey> GroupObjects() const {
    std::multimap<std::pair<std::string, std::string>, UniqueMetaObjectKey> found;
    for (const UniqueMetaObjectKey& key : KeysOf(MetaObjectType::groupObject)) {
      const MetaObject& object = ObjectOf(key);
      const host::ProductData& data = document->productData;
      found.emplace(std::pair(data.DisplayName(object.holder), data.DisplayName(object.product)), key);
    }
    return found;
  }

  // Set by set: key, type, component path, name of the object.
  using Link = std::tuple<std::string, std::uint32_t, std::string, std::string>;
  std::vector<Link> Links(LinkSet set) const {
    std::vector<Link> links;
    document->links->ForEachLink(
        [&](const ProductGeometryObject3D& link) {
          EXPECT_TRUE(link.geometry.secondPath.IsEmpty());
          links.emplace_back(std::string(link.metaKey.Bytes()), link.geometry.objectType,
                             host::PathText(link.geometry.componentPath),
                             std::string(link.geometry.objectName.Bytes()));
        },
        set);
    return links;
  }

  std::unique_ptr<Document> document;
  MergeReport counts;
};

// ---- a single part

TEST(ImportOfASinglePart, IsADocumentWithItsBodiesAndNoOccurrence) {
  StepAssembly assembly;
  assembly.products = {Product("P-1", "Part", {Solid("a", "id-a"), OpenShell("b")})};
  assembly.roots = {0};
  const Imported imported(assembly);
  EXPECT_THAT(imported.Paths(), IsEmpty());
  EXPECT_THAT(imported.BodyNames("/"), ElementsAre("body-1", "body-2"));
  EXPECT_THAT(imported.Links(LinkSet::Unique), IsEmpty());
  EXPECT_THAT(imported.Links(LinkSet::Validated), IsEmpty());
  EXPECT_EQ(imported.document->productData.All().size(), 1u);
  EXPECT_EQ(imported.document->productData.RootProduct(), imported.ProductKey("P-1 Part"));
  EXPECT_EQ(imported.ObjectOf(imported.ProductKey("P-1 Part")).type, MetaObjectType::partProduct);
  EXPECT_THAT(imported.document->productData.AllGroups(), IsEmpty());
  EXPECT_EQ(imported.document->nextRootElement, 1u);
  EXPECT_EQ(imported.counts.occurrences, 0u);
  EXPECT_EQ(imported.counts.products, 1u);
  EXPECT_EQ(imported.counts.bodies, 2u);
}

TEST(ImportOfASinglePart, KeepsWhatTheFileCallsItsBodies) {
  StepAssembly assembly;
  assembly.products = {Product("P-1", "Part", {Solid("Block", "id-1"), OpenShell("Skin")})};
  assembly.roots = {0};
  const Imported imported(assembly);
  const std::vector<Body>& bodies = imported.document->bodies.at(ComponentPath());
  EXPECT_EQ(bodies[0].objectType, GeometryObject3D::c_solid);
  EXPECT_EQ(bodies[0].displayName, "Block");
  EXPECT_EQ(bodies[0].fileId, "id-1");
  EXPECT_EQ(bodies[1].objectType, GeometryObject3D::c_openShell);
  EXPECT_EQ(bodies[1].displayName, "Skin");
  EXPECT_EQ(bodies[1].fileId, "");
}

TEST(ImportOfASinglePart, WithoutBodiesListsNone) {
  StepAssembly assembly;
  assembly.products = {Product("P-1", "Part", {})};
  assembly.roots = {0};
  const Imported imported(assembly);
  EXPECT_THAT(imported.document->bodies, IsEmpty());
}

// ---- an assembly

TEST(ImportOfAnAssembly, HasAComponentForEveryUseAlongEveryWayDown) {
  const Imported imported(Machine());
  EXPECT_THAT(imported.Paths(), ElementsAre("1", "1/1", "1/2", "1/3", "2", "3", "3/1", "3/2", "3/3"));
  EXPECT_EQ(imported.counts.occurrences, 9u);
}

TEST(ImportOfAnAssembly, CountsProductsOnceAndBodiesInEveryUse) {
  const Imported imported(Machine());
  EXPECT_EQ(imported.counts.products, 4u);
  // In each frame its weld, two bolts and a plate of two bodies; one bolt beside them.
  EXPECT_EQ(imported.counts.bodies, 2u * (1 + 2 + 2) + 1);
}

TEST(ImportOfAnAssembly, DoesNotCountProductsThatNoRootReaches) {
  StepAssembly assembly = Machine();
  assembly.products.push_back(Product("X", "Unused", {Solid()}));
  const Imported imported(assembly);
  EXPECT_EQ(imported.counts.products, 4u);
  EXPECT_EQ(imported.KeysOf(MetaObjectType::partProduct).size(), 2u);
}

TEST(ImportOfAnAssembly, GivesProductsTheirMarkingAndNameAndNothingForEmptyOnes) {
  const Imported imported(Machine());
  const auto texts = [](const MetaObject& object) {
    std::map<std::wstring, std::string> values;
    for (const auto& [name, value] : object.properties) {
      values[name] = host::ValueText(value);
    }
    return values;
  };
  using Texts = std::map<std::wstring, std::string>;
  EXPECT_EQ(texts(imported.ObjectOf(imported.ProductKey("QD.00 Machine"))),
            (Texts{{c_marking, "QD.00"}, {c_productName, "Machine"}}));
  EXPECT_EQ(texts(imported.ObjectOf(imported.ProductKey("Bolt"))), (Texts{{c_productName, "Bolt"}}));
  EXPECT_EQ(texts(imported.ObjectOf(imported.ProductKey("QD.03"))), (Texts{{c_marking, "QD.03"}}));
}

TEST(ImportOfAnAssembly, TellsAssembliesFromParts) {
  const Imported imported(Machine());
  EXPECT_EQ(imported.ObjectOf(imported.ProductKey("QD.00 Machine")).type, MetaObjectType::assemblyProduct);
  EXPECT_EQ(imported.ObjectOf(imported.ProductKey("QD.01 Frame")).type, MetaObjectType::assemblyProduct);
  EXPECT_EQ(imported.ObjectOf(imported.ProductKey("Bolt")).type, MetaObjectType::partProduct);
  for (const char* path : {"1", "3"}) {
    EXPECT_EQ(imported.At(path).objectType, GeometryObject3D::c_assemblyComponent);
    EXPECT_EQ(imported.OccurrenceAt(path).type, MetaObjectType::assemblyOccurrence);
  }
  for (const char* path : {"1/1", "1/2", "1/3", "2", "3/1", "3/2", "3/3"}) {
    EXPECT_EQ(imported.At(path).objectType, GeometryObject3D::c_partComponent);
    EXPECT_EQ(imported.OccurrenceAt(path).type, MetaObjectType::partOccurrence);
  }
}

TEST(ImportOfAnAssembly, HasTwoOfEachOccurrenceOfAnAssemblyUsedTwice) {
  const Imported imported(Machine());
  std::set<UniqueMetaObjectKey> keys;
  for (const std::string& path : imported.Paths()) {
    keys.insert(imported.At(path).occurrence);
  }
  EXPECT_EQ(keys.size(), 9u);
  for (const char* within : {"", "/1", "/2", "/3"}) {
    const MetaObject& left = imported.OccurrenceAt(std::string("1") + within);
    const MetaObject& right = imported.OccurrenceAt(std::string("3") + within);
    EXPECT_EQ(left.product, right.product);
  }
  EXPECT_EQ(imported.OccurrenceAt("1/2").product, imported.ProductKey("QD.03"));
}

TEST(ImportOfAnAssembly, NamesTheHolderOfEachOccurrenceAndNoneBelowTheRoot) {
  const Imported imported(Machine());
  for (const char* path : {"1", "2", "3"}) {
    EXPECT_EQ(imported.OccurrenceAt(path).holder, UniqueMetaObjectKey::null) << path;
  }
  for (const char* path : {"1/1", "1/2", "1/3"}) {
    EXPECT_EQ(imported.OccurrenceAt(path).holder, imported.At("1").occurrence) << path;
  }
  EXPECT_EQ(imported.OccurrenceAt("3/1").holder, imported.At("3").occurrence);
}

TEST(ImportOfAnAssembly, KeepsNamesIdentifiersAndPlacementsOfUses) {
  StepAssembly assembly = Machine();
  assembly.products[c_machine].uses[2].placement = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
  const Imported imported(assembly);
  EXPECT_EQ(imported.At("1").displayName, "left");
  EXPECT_EQ(imported.At("3").displayName, "right");
  EXPECT_EQ(imported.At("3").fileId, "u3");
  EXPECT_EQ(imported.At("3").placement, (host::Placement{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
  EXPECT_EQ(imported.At("1").placement, host::c_stepIdentity);
}

TEST(ImportOfAnAssembly, GivesAGeneratedUseNoName) {
  StepAssembly assembly = Machine();
  assembly.products[c_machine].uses[1].generated = true;
  const Imported imported(assembly);
  EXPECT_EQ(imported.At("2").displayName, "");
  EXPECT_EQ(imported.At("1").displayName, "left");
}

TEST(ImportOfAnAssembly, KeepsTheNumberThatTheNextComponentGets) {
  const Imported imported(Machine());
  EXPECT_EQ(imported.document->nextRootElement, 4u);
  EXPECT_EQ(imported.At("1").nextElement, 4u);
  EXPECT_EQ(imported.At("3").nextElement, 4u);
  EXPECT_EQ(imported.At("2").nextElement, 1u);
}

TEST(ImportOfAnAssembly, PutsTheBodiesOfAnAssemblyItselfIntoItsComponent) {
  const Imported imported(Machine());
  EXPECT_THAT(imported.BodyNames("1"), ElementsAre("body-1"));
  EXPECT_EQ(imported.document->bodies.at(host::ParsePath("1")).front().displayName, "weld");
  EXPECT_THAT(imported.BodyNames("1/2"), ElementsAre("body-1", "body-2"));
  EXPECT_THAT(imported.BodyNames("/"), IsEmpty());
}

TEST(ImportOfAnAssembly, PutsTheBodiesOfTheRootIntoTheDocumentAndLinksNothingToThem) {
  StepAssembly assembly = Machine();
  assembly.products[c_machine].bodies = {Solid("base")};
  const Imported imported(assembly);
  EXPECT_THAT(imported.BodyNames("/"), ElementsAre("body-1"));
  for (const auto& [key, type, path, name] : imported.Links(LinkSet::Validated)) {
    EXPECT_NE(path, "/");
  }
}

// ---- embodiments, groups and group objects

TEST(ImportOfAnAssembly, GivesEachAssemblyOneEmbodimentNamedAfterIt) {
  StepAssembly assembly = Machine();
  assembly.products[c_frame].id.clear();
  const Imported imported(assembly);
  std::map<UniqueMetaObjectKey, std::string> names;
  for (const UniqueMetaObjectKey& key : imported.KeysOf(MetaObjectType::embodiment)) {
    names[imported.ObjectOf(key).product] = imported.document->productData.ProductText(key, c_markingBase);
  }
  EXPECT_THAT(names, UnorderedElementsAre(testing::Pair(imported.ProductKey("QD.00 Machine"), "QD.00"),
                                          testing::Pair(imported.ProductKey("Frame"), "Frame")));
}

TEST(ImportOfAnAssembly, UsesAnAssemblyInItsEmbodimentAndAPartInNone) {
  const Imported imported(Machine());
  const UniqueMetaObjectKey& embodiment = imported.OccurrenceAt("1").embodiment;
  EXPECT_EQ(imported.ObjectOf(embodiment).type, MetaObjectType::embodiment);
  EXPECT_EQ(imported.ObjectOf(embodiment).product, imported.ProductKey("QD.01 Frame"));
  EXPECT_EQ(imported.OccurrenceAt("3").embodiment, embodiment);
  EXPECT_EQ(imported.OccurrenceAt("2").embodiment, UniqueMetaObjectKey::null);
}

TEST(ImportOfAnAssembly, PutsEveryOccurrenceIntoTheGroupOfItsHoldersEmbodiment) {
  const Imported imported(Machine());
  std::map<std::string, std::set<UniqueMetaObjectKey>> groups;
  for (const auto& [embodiment, group] : imported.document->productData.AllGroups()) {
    EXPECT_EQ(imported.ObjectOf(embodiment).type, MetaObjectType::embodiment);
    groups[imported.document->productData.ProductText(embodiment, c_markingBase)] = group.members;
  }
  const auto keys = [&](const std::vector<std::string>& paths) {
    std::set<UniqueMetaObjectKey> found;
    for (const std::string& path : paths) {
      found.insert(imported.At(path).occurrence);
    }
    return found;
  };
  EXPECT_THAT(groups, UnorderedElementsAre(testing::Pair("QD.00", keys({"1", "2", "3"})),
                                           testing::Pair("QD.01", keys({"1/1", "1/2", "1/3", "3/1", "3/2", "3/3"}))));
}

TEST(ImportOfAnAssembly, HasOneGroupObjectForEachAssemblyAndProductUsedInIt) {
  const Imported imported(Machine());
  std::vector<std::pair<std::string, std::string>> pairs;
  for (const auto& [pair, key] : imported.GroupObjects()) {
    pairs.push_back(pair);
  }
  EXPECT_THAT(pairs, UnorderedElementsAre(std::pair("QD.00 Machine", "QD.01 Frame"), std::pair("QD.00 Machine", "Bolt"),
                                          std::pair("QD.01 Frame", "Bolt"), std::pair("QD.01 Frame", "QD.03")));
}

TEST(ImportOfAnAssembly, PutsEachOccurrenceIntoTheLineOfItsProductInItsHolder) {
  const Imported imported(Machine());
  const auto groupObjects = imported.GroupObjects();
  const auto lineOf = [&](const std::string& holder, const std::string& used) {
    return groupObjects.find({holder, used})->second;
  };
  EXPECT_EQ(imported.OccurrenceAt("1").groupObject, lineOf("QD.00 Machine", "QD.01 Frame"));
  EXPECT_EQ(imported.OccurrenceAt("3").groupObject, lineOf("QD.00 Machine", "QD.01 Frame"));
  EXPECT_EQ(imported.OccurrenceAt("2").groupObject, lineOf("QD.00 Machine", "Bolt"));
  EXPECT_EQ(imported.OccurrenceAt("1/3").groupObject, lineOf("QD.01 Frame", "Bolt"));
  EXPECT_EQ(imported.OccurrenceAt("3/2").groupObject, lineOf("QD.01 Frame", "QD.03"));
}

TEST(ImportOfAnAssembly, MakesTheEmbodimentTheBaseOfItsProduct) {
  const Imported imported(Machine());
  const host::ProductData& data = imported.document->productData;
  EXPECT_EQ(imported.ObjectOf(imported.ProductKey("QD.01 Frame")).embodiment, imported.OccurrenceAt("1").embodiment);
  EXPECT_EQ(imported.ObjectOf(data.RootEmbodiment()).product, data.RootProduct());
  EXPECT_EQ(imported.ObjectOf(imported.ProductKey("Bolt")).embodiment, UniqueMetaObjectKey::null);
}

TEST(ImportOfAnAssembly, HasNoOtherMetaObjects) {
  const Imported imported(Machine());
  // 4 products, 2 embodiments, 9 occurrences, 4 group objects.
  EXPECT_EQ(imported.document->productData.All().size(), 19u);
  EXPECT_EQ(imported.document->productData.RootProduct(), imported.ProductKey("QD.00 Machine"));
}

// ---- links

TEST(ImportOfAnAssembly, LinksEachOccurrenceToItsComponentInTheUniqueSet) {
  const Imported imported(Machine());
  std::vector<Imported::Link> expected;
  for (const std::string& path : imported.Paths()) {
    const std::uint32_t type = path == "1" || path == "3" ? 200 : 104;
    expected.emplace_back(std::string(imported.At(path).occurrence.Bytes()), type, path, "");
  }
  EXPECT_THAT(imported.Links(LinkSet::Unique), testing::UnorderedElementsAreArray(expected));
}

TEST(ImportOfAnAssembly, LinksOccurrenceAndGroupObjectToEachBodyInTheValidatedSet) {
  const Imported imported(Machine());
  const auto groupObjects = imported.GroupObjects();
  const auto lineOf = [&](const std::string& holder, const std::string& used) {
    return std::string(groupObjects.find({holder, used})->second.Bytes());
  };
  std::vector<Imported::Link> expected;
  const auto expectBody = [&](const std::string& path, std::uint32_t type, const std::string& body,
                              const std::string& line) {
    expected.emplace_back(std::string(imported.At(path).occurrence.Bytes()), type, path, body);
    expected.emplace_back(line, type, path, body);
  };
  expectBody("2", 1, "body-1", lineOf("QD.00 Machine", "Bolt"));
  for (const std::string frame : {"1", "3"}) {
    expectBody(frame, 1, "body-1", lineOf("QD.00 Machine", "QD.01 Frame"));
    expectBody(frame + "/1", 1, "body-1", lineOf("QD.01 Frame", "Bolt"));
    expectBody(frame + "/3", 1, "body-1", lineOf("QD.01 Frame", "Bolt"));
    expectBody(frame + "/2", 1, "body-1", lineOf("QD.01 Frame", "QD.03"));
    expectBody(frame + "/2", 2, "body-2", lineOf("QD.01 Frame", "QD.03"));
  }
  EXPECT_THAT(imported.Links(LinkSet::Validated), testing::UnorderedElementsAreArray(expected));
}

// ---- several roots

TEST(ImportOfSeveralRoots, PutsThemSideBySideIntoAnAssemblyThatBearsTheGivenName) {
  StepAssembly assembly = Machine();
  assembly.products.push_back(Product("S", "Stand", {Solid()}));
  assembly.roots = {c_frame, 4};
  const Imported imported(assembly, "both");
  EXPECT_THAT(imported.Paths(), ElementsAre("1", "1/1", "1/2", "1/3", "2"));
  const UniqueMetaObjectKey root = imported.document->productData.RootProduct();
  EXPECT_EQ(imported.document->productData.DisplayName(root), "both");
  EXPECT_EQ(imported.ObjectOf(root).type, MetaObjectType::assemblyProduct);
  EXPECT_EQ(imported.OccurrenceAt("1").product, imported.ProductKey("QD.01 Frame"));
  EXPECT_EQ(imported.OccurrenceAt("2").product, imported.ProductKey("S Stand"));
  EXPECT_EQ(imported.At("1").displayName, "");
  EXPECT_EQ(imported.At("1").fileId, "");
  EXPECT_EQ(imported.At("1").placement, host::c_stepIdentity);
  EXPECT_EQ(imported.document->nextRootElement, 3u);
}

TEST(ImportOfSeveralRoots, LeavesTheGivenStructureAsItWas) {
  StepAssembly assembly = Machine();
  assembly.roots = {c_frame, c_bolt};
  const StepAssembly before = assembly;
  const Imported imported(assembly);
  EXPECT_EQ(assembly, before);
}

TEST(ImportOfSeveralRoots, ThatAreOneProductTwiceHasTwoOccurrencesAndOneGroupObject) {
  StepAssembly assembly = Machine();
  assembly.roots = {c_bolt, c_bolt};
  const Imported imported(assembly);
  EXPECT_THAT(imported.Paths(), ElementsAre("1", "2"));
  EXPECT_EQ(imported.GroupObjects().size(), 1u);
}

// ---- limits

// `levels` products, each of which uses the next one `uses` times.
StepAssembly Tower(std::size_t levels, std::size_t uses) {
  StepAssembly assembly;
  for (std::size_t level = 0; level < levels; ++level) {
    assembly.products.push_back(Product("", "level", {}, {}));
    if (level + 1 < levels) {
      assembly.products.back().uses.assign(uses, Use(level + 1));
    }
  }
  assembly.roots = {0};
  return assembly;
}

std::string RefusalOf(const StepAssembly& assembly) {
  Document document;
  try {
    host::MergeAssembly(document, assembly, "tower");
  } catch (const host::DocumentError& error) {
    return error.what();
  }
  return {};
}

TEST(OccurrenceLimit, RefusesWhatASmallFileMultipliesBeyondIt) {
  EXPECT_THAT(RefusalOf(Tower(40, 2)), HasSubstr("more than 20000000 occurrences"));
  // More than 64 bits can count.
  EXPECT_THAT(RefusalOf(Tower(200, 2)), HasSubstr("more than 20000000 occurrences"));
  // Hardly more than the limit: 4473 + 4473 * 4473.
  EXPECT_THAT(RefusalOf(Tower(3, 4473)), HasSubstr("more than 20000000 occurrences"));
}

TEST(OccurrenceLimit, HoldsForSeveralRootsTogether) {
  StepAssembly assembly = Tower(40, 2);
  assembly.roots = {0, 1};
  EXPECT_THAT(RefusalOf(assembly), HasSubstr("more than 20000000 occurrences"));
}

TEST(OccurrenceLimit, LetsThroughWhatIsBelow) {
  const Imported imported(Tower(13, 2));
  EXPECT_EQ(imported.counts.occurrences, (1u << 13) - 2);
  EXPECT_EQ(imported.counts.products, 13u);
}

}  // namespace
