// A document through the interfaces that the library asks: embodiments, components, bodies, and the library's own
// questions over all of it.

#include "host/model/ModelDocument.h"

#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <q3DCore/IfComponent.h>
#include <q3DCore/IfGeometrySource.h>
#include <q3DCore/IfPositionObject.h>
#include <q3DCore/PartObject.h>
#include <qProdData3D/CheckValidProductGeometryLink.h>
#include <qProdData3D/meta_3d.h>

#include "host/model/Aggregator.h"
#include "tests/host/model/TestModel.h"

using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::NiceMock;
using testing::Return;
using testing::UnorderedElementsAre;

namespace {

using host::Aggregator;
using host::BilletKind;
using host::ModelDocument;
using host::ModelEmbodiments;

// ---- paths

TEST(HolderPath, IsThatOfTheComponentAround) {
  EXPECT_EQ(host::HolderPath(host::ParsePath("3/1/2")), host::ParsePath("3/1"));
  EXPECT_EQ(host::HolderPath(MbPath{9, 8, 7, 6, 5, 4, 3, 2, 1}), (MbPath{8, 7, 6, 5, 4, 3, 2, 1}));
}

TEST(HolderPath, IsEmptyDirectlyBelowTheRootAndOfTheRoot) {
  EXPECT_TRUE(host::HolderPath(MbPath{3}).IsEmpty());
  EXPECT_TRUE(host::HolderPath(MbPath()).IsEmpty());
}

TEST(PathWithin, PutsTheNumberInFrontOfThatOfTheHolder) {
  EXPECT_EQ(host::PathWithin(host::ParsePath("3/1"), 2), host::ParsePath("3/1/2"));
  EXPECT_EQ(host::PathWithin(MbPath(), 4), (MbPath{4}));
  EXPECT_EQ(host::PathWithin(MbPath{8, 7, 6, 5, 4, 3, 2, 1}, 9), (MbPath{9, 8, 7, 6, 5, 4, 3, 2, 1}));
}

// ---- embodiments

class Embodiments : public testing::Test {
 protected:
  UniqueMetaObjectKey At(const std::string& path) {
    return ModelEmbodiments(model.document, Key("root variant")).Tree().GetEmbodimenKey(host::ParsePath(path));
  }

  TestModel model{{{"M", "Machine", {"S", "B"}}, {"S", "Sub", {"T"}}, {"T", "Inner", {"B"}}, {"B", "Bolt", {}, 1}}};
};

TEST_F(Embodiments, OfTheEmptyPathIsThatOfTheRoot) {
  EXPECT_EQ(At("/"), Key("root variant"));
}

TEST_F(Embodiments, OfAnAssemblyIsTheOneThatItIsUsedIn) {
  EXPECT_EQ(At("1"), model.Base("S"));
  EXPECT_EQ(At("1/1"), model.Base("T"));
  model.ObjectAt("1").embodiment = Key("another variant");
  EXPECT_EQ(At("1"), Key("another variant"));
}

TEST_F(Embodiments, OfAPartIsThatOfTheInnermostAssemblyOnThePath) {
  EXPECT_EQ(At("1/1/1"), model.Base("T"));
  EXPECT_EQ(At("2"), Key("root variant"));
}

TEST_F(Embodiments, WhereThereIsNoComponentIsTheNullKey) {
  EXPECT_EQ(At("9"), UniqueMetaObjectKey::null);
  EXPECT_EQ(At("1/9"), UniqueMetaObjectKey::null);
  EXPECT_EQ(At("2/1"), UniqueMetaObjectKey::null);
}

TEST_F(Embodiments, OfAComponentWhoseOccurrenceIsGoneIsThatOfTheAssemblyAround) {
  model.Data().Remove(model.OccurrenceAt("1/1"));
  EXPECT_EQ(At("1/1"), model.Base("S"));
  EXPECT_EQ(At("1/1/1"), model.Base("S"));
}

// ---- components and bodies

IfComponent* ComponentOf(IfDocObject& object) {
  return static_cast<IfComponent*>(object.GetComponentHolder().QueryInterface(IfComponent::c_interfaceType));
}

std::vector<IfComponent*> ComponentsOf(ModelDocument& view) {
  std::vector<IfComponent*> components;
  const auto iterator = view.CreateObjectIterator(nullptr, IfDocObject::c_allComponents);
  while (IfDocObject* object = iterator->Next()) {
    components.push_back(ComponentOf(*object));
  }
  EXPECT_EQ(iterator->Next(), nullptr);
  return components;
}

class View : public testing::Test {
 protected:
  View() : view(model.document, model.Base("M")) {}

  IfComponent& At(const std::string& path) {
    for (IfComponent* component : ComponentsOf(view)) {
      if (host::PathText(component->GetPath()) == path) {
        return *component;
      }
    }
    throw std::out_of_range(path);
  }

  static std::vector<PartObject*> BodiesOf(const IfComponent& component) {
    std::vector<PartObject*> bodies;
    for (const auto& body : AllBuildObjects(*component.GetRebuildResult())) {
      EXPECT_TRUE(body.IsAlive());
      bodies.push_back(body.Get());
    }
    return bodies;
  }

  static IfPositionObject& PositionObject(const PartObject& body) {
    return *static_cast<IfPositionObject*>(body.QueryInterface(IfPositionObject::c_interfaceType));
  }

  std::set<UniqueMetaObjectKey> KeysOfBodyAt(const std::string& path) {
    const ModelDocument current(model.document, model.Base("M"));
    IfSomething* body = model.BodyAt(path).ToSomething(current);
    return static_cast<IfPositionObject*>(body->QueryInterface(IfPositionObject::c_interfaceType))
        ->CollectPositionKeys(model.Data(), *model.document.links);
  }

  TestModel model;
  ModelDocument view;
};

TEST_F(View, YieldsTheComponentsOfEveryLevelInTheOrderOfTheTree) {
  std::vector<std::string> paths;
  for (const IfComponent* component : ComponentsOf(view)) {
    paths.push_back(host::PathText(component->GetPath()));
  }
  EXPECT_THAT(paths, ElementsAre("1", "1/1", "1/2", "1/3", "1/4", "2", "3", "4", "4/1", "4/2", "4/3", "4/4"));
}

TEST_F(View, IsItselfTheDocumentsOwnComponent) {
  ASSERT_NE(ComponentOf(view), nullptr);
  EXPECT_TRUE(ComponentOf(view)->GetPath().IsEmpty());
}

TEST_F(View, YieldsNothingForASelectorThatItDoesNotKnow) {
  EXPECT_EQ(view.CreateObjectIterator(nullptr, 0x700000001)->Next(), nullptr);
  EXPECT_EQ(view.CreateObjectIterator(nullptr, 2)->Next(), nullptr);
}

TEST_F(View, HasComponentsThatAreNotWalkedByThemselves) {
  const auto iterator = view.CreateObjectIterator(nullptr, IfDocObject::c_allComponents);
  IfDocObject* frame = iterator->Next();
  EXPECT_EQ(frame->CreateObjectIterator(nullptr, IfDocObject::c_allComponents)->Next(), nullptr);
}

TEST_F(View, GivesAComponentTheGroupOfTheAssemblyThatHoldsIt) {
  EXPECT_EQ(At("3").GetGroupKey(), model.Base("M"));
  EXPECT_EQ(At("1").GetGroupKey(), model.Base("M"));
  EXPECT_EQ(At("1/2").GetGroupKey(), model.Base("F"));
  EXPECT_EQ(At("4/4").GetGroupKey(), model.Base("F"));
}

TEST_F(View, GivesTheDocumentsOwnComponentTheGroupOfTheRoot) {
  EXPECT_EQ(ComponentOf(view)->GetGroupKey(), model.Base("M"));
}

TEST_F(View, ShowsTheRootInTheGivenEmbodiment) {
  ModelDocument other(model.document, Key("variant"));
  EXPECT_EQ(ComponentOf(other)->GetGroupKey(), Key("variant"));
  EXPECT_EQ(ComponentsOf(other).front()->GetGroupKey(), Key("variant"));
  EXPECT_EQ(ComponentsOf(other)[1]->GetGroupKey(), model.Base("F"));
}

TEST_F(View, FindsTheEmbodimentOfAComponentByThePathOfItsHolder) {
  MbPath path{7, 7, 7};
  GetEmbodymentPath(At("4/3"), path);
  EXPECT_EQ(path, (MbPath{4}));
  GetEmbodymentPath(At("4"), path);
  EXPECT_TRUE(path.IsEmpty());
  path = MbPath{7};
  GetEmbodymentPath(*ComponentOf(view), path);
  EXPECT_TRUE(path.IsEmpty());
}

TEST_F(View, HasTheBodiesOfEachComponentInTheirOrder) {
  const std::vector<PartObject*> plate = BodiesOf(At("4/1"));
  ASSERT_EQ(plate.size(), 2u);
  EXPECT_EQ(GeometryObject3D({&PositionObject(*plate[0]), &At("4/1"), &At("4/1")}), model.BodyAt("4/1", 1));
  EXPECT_EQ(GeometryObject3D({&PositionObject(*plate[1]), &At("4/1"), &At("4/1")}), model.BodyAt("4/1", 2));
  EXPECT_EQ(BodiesOf(At("1")).size(), 1u);
  EXPECT_THAT(BodiesOf(*ComponentOf(view)), IsEmpty());
}

TEST_F(View, HasTheBodiesOfTheDocumentItself) {
  TestModel part({{"B", "Bolt", {}, 2}});
  ModelDocument own(part.document, part.Data().RootEmbodiment());
  EXPECT_EQ(BodiesOf(*ComponentOf(own)).size(), 2u);
}

TEST_F(View, HasBodiesOfBothKindsThatPassTheMaskOfBodiesAndNoOther) {
  model.document.bodies.at(host::ParsePath("2"))[1].objectType = GeometryObject3D::c_openShell;
  ModelDocument changed(model.document, model.Base("M"));
  for (IfComponent* component : ComponentsOf(changed)) {
    for (PartObject* body : BodiesOf(*component)) {
      EXPECT_TRUE(CheckType(*body, COGroups::bodies));
      EXPECT_FALSE(CheckType(*body, COGroups::surfaces));
    }
  }
}

TEST_F(View, HasBodiesWithThreeInterfacesInOne) {
  PartObject* body = BodiesOf(At("3")).front();
  EXPECT_NE(body->QueryInterface(IfPositionObject::c_interfaceType), nullptr);
  EXPECT_NE(body->QueryInterface(IfGeometrySource::c_interfaceType), nullptr);
  EXPECT_EQ(body->QueryInterface(IfComponent::c_interfaceType), nullptr);
}

TEST_F(View, NamesComponentsWithTheirTypeAndNoName) {
  const auto named = [](IfComponent& component) { return GeometryObject3D({&component, &component, &component}); };
  EXPECT_EQ(named(At("1")), GeometryObject3D(200, ComponentPath{1}, MbPath(), MbName()));
  EXPECT_EQ(named(At("4/2")), GeometryObject3D(104, ComponentPath{2, 4}, MbPath(), MbName()));
  EXPECT_EQ(named(*ComponentOf(view)), GeometryObject3D(200, ComponentPath(), MbPath(), MbName()));
}

TEST_F(View, NamesTheDocumentOfAPartAsThatOfAPart) {
  TestModel part({{"B", "Bolt", {}, 1}});
  ModelDocument own(part.document, part.Data().RootEmbodiment());
  IfComponent* component = ComponentOf(own);
  EXPECT_EQ(GeometryObject3D({component, component, component}).objectType, 104u);
}

// ---- finding objects

TEST_F(View, FindsEveryComponentAndBodyThatTheDocumentNames) {
  for (const auto& [path, component] : model.document.components) {
    const GeometryObject3D geometry = host::ComponentGeometry(path, component);
    EXPECT_EQ(GeometryObject3D(geometry.ToWrapper(view, nullptr)), geometry);
    EXPECT_EQ(geometry.ToSomething(view), static_cast<IfSomething*>(&At(host::PathText(path))));
  }
  for (const auto& [path, bodies] : model.document.bodies) {
    for (const host::Body& body : bodies) {
      const GeometryObject3D geometry = host::BodyGeometry(path, body);
      EXPECT_EQ(GeometryObject3D(geometry.ToWrapper(view, nullptr)), geometry);
      EXPECT_NE(geometry.ToSomething(view), nullptr);
    }
  }
}

TEST_F(View, FindsTheDocumentsOwnComponent) {
  const GeometryObject3D geometry(200, ComponentPath(), MbPath(), MbName());
  EXPECT_EQ(geometry.ToSomething(view), static_cast<IfSomething*>(ComponentOf(view)));
}

TEST_F(View, FindsNothingUnderAnotherPathTypeOrName) {
  const GeometryObject3D body = model.BodyAt("3");
  const GeometryObject3D component = model.GeometryAt("3");
  for (GeometryObject3D missing : {body, component}) {
    missing.componentPath = host::ParsePath("9");
    EXPECT_EQ(missing.ToSomething(view), nullptr);
    missing.componentPath = host::ParsePath("3/1");
    EXPECT_EQ(missing.ToSomething(view), nullptr);
  }
  for (GeometryObject3D missing : {body, component}) {
    missing.objectType = GeometryObject3D::c_openShell;
    EXPECT_EQ(missing.ToSomething(view), nullptr);
    missing.objectType = GeometryObject3D::c_assemblyComponent;
    EXPECT_EQ(missing.ToSomething(view), nullptr);
  }
  for (const char* name : {"body-2", "body-0", "", "z"}) {
    GeometryObject3D missing = body;
    missing.objectName = MbName(name);
    EXPECT_EQ(missing.ToSomething(view), nullptr) << name;
  }
}

TEST_F(View, GivesNoMemberOfAWrapperWhereThereIsNoSuchObject) {
  for (const GeometryObject3D& missing : {GeometryObject3D(1, ComponentPath{9}, MbPath(), MbName("body-1")),
                                          GeometryObject3D(1, ComponentPath{3}, MbPath(), MbName("body-9"))}) {
    const CompTrObject<IfSomething> wrapper = view.FindWrapper(missing, &At("1"));
    EXPECT_EQ(wrapper.object, nullptr);
    EXPECT_EQ(wrapper.component, nullptr);
    EXPECT_EQ(wrapper.sourceComponent, nullptr);
    EXPECT_EQ(wrapper.placement, nullptr);
  }
}

TEST_F(View, WrapsABodyWithTheComponentThatHoldsIt) {
  const CompTrObject<IfSomething> wrapper = view.FindWrapper(model.BodyAt("4/2"), nullptr);
  EXPECT_EQ(wrapper.component, &At("4/2"));
  EXPECT_EQ(wrapper.sourceComponent, &At("4/2"));
}

TEST_F(View, WrapsABodyWithTheGivenComponentWhereThereIsOne) {
  const CompTrObject<IfSomething> wrapper = view.FindWrapper(model.BodyAt("4/2"), &At("1"));
  EXPECT_EQ(wrapper.component, &At("1"));
  EXPECT_EQ(wrapper.sourceComponent, &At("4/2"));
}

TEST_F(View, IsWhatItsComponentsFindTheirObjectsIn) {
  const auto iterator = view.CreateObjectIterator(nullptr, IfDocObject::c_allComponents);
  const IfDocObject& frame = *iterator->Next();
  EXPECT_EQ(frame.FindObject(model.BodyAt("3")), view.FindObject(model.BodyAt("3")));
  EXPECT_EQ(frame.FindWrapper(model.BodyAt("3"), nullptr).component, &At("3"));
}

TEST_F(View, FindsOneOfManyBodiesByItsNameInWhateverOrderTheyCame) {
  std::vector<host::Body>& bodies = model.document.bodies.at(host::ParsePath("3"));
  bodies.clear();
  for (const char* name : {"m", "a", "z", "c"}) {
    bodies.push_back({GeometryObject3D::c_solid, MbName(name), "", ""});
  }
  const ModelDocument changed(model.document, model.Base("M"));
  for (std::size_t number = 1; number <= 4; ++number) {
    const GeometryObject3D geometry = model.BodyAt("3", number);
    EXPECT_EQ(GeometryObject3D(geometry.ToWrapper(changed, nullptr)), geometry);
  }
}

// ---- what a body stands for

TEST_F(View, HasBodiesThatStandForTheirOccurrenceAndItsLine) {
  EXPECT_THAT(KeysOfBodyAt("1/2"), UnorderedElementsAre(model.OccurrenceAt("1/2"), model.Line("F", "B")));
  EXPECT_THAT(KeysOfBodyAt("4"), UnorderedElementsAre(model.OccurrenceAt("4"), model.Line("M", "F")));
}

TEST_F(View, HasBodiesThatStandForTheOccurrenceAloneWhereThatIsLeftOutOfTheBill) {
  model.SetAttributes(model.OccurrenceAt("1/2"), c_excluded);
  model.SetAttributes(model.OccurrenceAt("1/3"), c_notIncluded);
  model.SetAttributes(model.OccurrenceAt("1/4"), c_bound);
  EXPECT_THAT(KeysOfBodyAt("1/2"), ElementsAre(model.OccurrenceAt("1/2")));
  EXPECT_THAT(KeysOfBodyAt("1/3"), ElementsAre(model.OccurrenceAt("1/3")));
  EXPECT_THAT(KeysOfBodyAt("1/4"), UnorderedElementsAre(model.OccurrenceAt("1/4"), model.Line("F", "B")));
}

TEST_F(View, HasBodiesThatStandForTheOccurrenceAloneWhereItHasNoLine) {
  model.ObjectAt("3").groupObject = UniqueMetaObjectKey();
  EXPECT_THAT(KeysOfBodyAt("3"), ElementsAre(model.OccurrenceAt("3")));
}

TEST_F(View, HasBodiesThatStandForNothingWhereTheirOccurrenceIsGone) {
  model.Data().Remove(model.OccurrenceAt("3"));
  EXPECT_THAT(KeysOfBodyAt("3"), IsEmpty());
}

TEST(BodiesOfTheDocumentItself, StandForNothing) {
  TestModel part({{"B", "Bolt", {}, 1}});
  host::RebuildPositionLinks(part.document);
  part.document.links->ForEachLink([](const ProductGeometryObject3D&) { ADD_FAILURE() << "a link"; },
                                   LinkSet::Validated);
}

// ---- all of it together

class SixEqualBolts : public testing::Test {
 protected:
  SixEqualBolts() : aggregator({&model.Data()}), view(model.document, model.Base("M")) {}

  std::vector<SimplePropVal> PositionsOf(const GeometryObject3D& body, const Aggregator& asked) const {
    std::vector<SimplePropVal> positions;
    for (const auto& position :
         meta_3d::GetPositionValues(asked, *model.document.links, body.ToWrapper(view, nullptr))) {
      positions.push_back(position.GetValue());
    }
    return positions;
  }

  static constexpr const char* c_paths[] = {"1/2", "1/3", "1/4", "4/2", "4/3", "4/4"};

  TestModel model;
  Aggregator aggregator;
  ModelDocument view;
};

TEST_F(SixEqualBolts, HaveBodiesThatCarryTheOccurrenceAndTheGroupObject) {
  for (const char* path : c_paths) {
    EXPECT_THAT(model.document.links->GetMetaObjectKeys(model.BodyAt(path)),
                UnorderedElementsAre(model.OccurrenceAt(path), model.Line("F", "B")));
  }
}

TEST_F(SixEqualBolts, HaveTheNumberOfTheirLineInBothUsesOfTheirAssembly) {
  for (const char* path : c_paths) {
    EXPECT_THAT(PositionsOf(model.BodyAt(path), aggregator), ElementsAre(SimplePropVal(2))) << path;
  }
  EXPECT_EQ(meta_3d::GetGroupObjPositionValue(aggregator, model.Line("F", "B"), model.Base("F")).GetSimpleValue(),
            SimplePropVal(2));
}

TEST_F(SixEqualBolts, HaveAnotherNumberThanTheEqualBoltInTheMachine) {
  EXPECT_THAT(PositionsOf(model.BodyAt("3"), aggregator), ElementsAre(SimplePropVal(3)));
}

TEST_F(SixEqualBolts, HaveTheirPositionFromTheGroupObjectWhichIsVisitedFirst) {
  const auto positions =
      meta_3d::GetPositionValues(aggregator, *model.document.links, model.BodyAt("4/3").ToWrapper(view, nullptr));
  ASSERT_EQ(positions.size(), 1u);
  EXPECT_EQ(positions.begin()->GetKey(), model.Line("F", "B"));
}

TEST_F(SixEqualBolts, SkipTheOccurrenceEvenWhereTheGroupObjectHasNoNumber) {
  model.ObjectAt("1/2").properties[c_position] = SimplePropVal(8);
  EXPECT_THAT(PositionsOf(model.BodyAt("1/2"), aggregator), ElementsAre(SimplePropVal(2)));
  model.Data().SetGroupValue(model.Base("F"), model.Line("F", "B"), c_position, SimplePropVal());
  EXPECT_THAT(PositionsOf(model.BodyAt("1/2"), aggregator), IsEmpty());
}

TEST_F(SixEqualBolts, LoseTheirPositionWithTheirLineInTheBill) {
  model.SetAttributes(model.Line("F", "B"), c_excluded);
  for (const char* path : c_paths) {
    EXPECT_THAT(PositionsOf(model.BodyAt(path), aggregator), IsEmpty()) << path;
  }
  EXPECT_THAT(PositionsOf(model.BodyAt("3"), aggregator), ElementsAre(SimplePropVal(3)));
}

TEST_F(SixEqualBolts, LoseItOneByOneWhereAnOccurrenceIsTakenOut) {
  model.SetAttributes(model.OccurrenceAt("1/3"), c_excluded);
  host::RebuildPositionLinks(model.document);
  EXPECT_THAT(PositionsOf(model.BodyAt("1/3"), aggregator), IsEmpty());
  EXPECT_THAT(PositionsOf(model.BodyAt("1/2"), aggregator), ElementsAre(SimplePropVal(2)));
}

TEST_F(SixEqualBolts, HaveNoPositionAsStock) {
  model.MakeStock(model.Line("F", "B"), BilletKind::manual);
  for (const char* path : c_paths) {
    EXPECT_THAT(PositionsOf(model.BodyAt(path), aggregator), IsEmpty()) << path;
  }
}

TEST_F(SixEqualBolts, AreLeftOutByACalculatorInSpiteOfTheStoredAttribute) {
  model.SetAttributes(model.Line("F", "B"), c_included);
  NiceMock<MockPropertyCalculator> calculator;
  ON_CALL(calculator, CalcIncludeFlag(_)).WillByDefault(Return(false));
  const Aggregator calculated({&model.Data()}, &calculator);
  EXPECT_THAT(PositionsOf(model.BodyAt("1/2"), aggregator), ElementsAre(SimplePropVal(2)));
  EXPECT_THAT(PositionsOf(model.BodyAt("1/2"), calculated), IsEmpty());
}

class ValidLinks : public SixEqualBolts {
 protected:
  bool IsValid(const UniqueMetaObjectKey& key, const GeometryObject3D& geometry,
               const UniqueMetaObjectKey& rootEmbodiment) const {
    const ModelEmbodiments embodiments(model.document, rootEmbodiment);
    return CheckValidProductGeometryLink({key, geometry}, aggregator, embodiments.Tree());
  }
};

TEST_F(ValidLinks, AreThoseOfAnOccurrenceThatIsNotBoundInEveryEmbodiment) {
  EXPECT_TRUE(IsValid(model.OccurrenceAt("3"), model.BodyAt("3"), model.Base("M")));
  EXPECT_TRUE(IsValid(model.OccurrenceAt("3"), model.BodyAt("3"), Key("another")));
}

TEST_F(ValidLinks, AreThoseOfABoundOccurrenceExactlyInTheEmbodimentOfItsPath) {
  model.SetAttributes(model.OccurrenceAt("3"), c_bound);
  model.SetAttributes(model.OccurrenceAt("1/2"), c_bound);
  EXPECT_TRUE(IsValid(model.OccurrenceAt("3"), model.BodyAt("3"), model.Base("M")));
  EXPECT_FALSE(IsValid(model.OccurrenceAt("3"), model.BodyAt("3"), Key("another")));
  EXPECT_TRUE(IsValid(model.OccurrenceAt("1/2"), model.BodyAt("1/2"), Key("another")));
  EXPECT_FALSE(IsValid(model.OccurrenceAt("3"), model.BodyAt("1/2"), model.Base("M")));
}

TEST_F(ValidLinks, AreThoseOfAGroupObjectAlways) {
  model.SetAttributes(model.Line("M", "B"), c_bound);
  EXPECT_TRUE(IsValid(model.Line("M", "B"), model.BodyAt("3"), Key("another")));
}

TEST_F(ValidLinks, AreNotThoseOfProductsEmbodimentsAndTheUnknown) {
  for (const UniqueMetaObjectKey& key : {model.Product("B"), model.Base("M"), Key("nobody")}) {
    EXPECT_FALSE(IsValid(key, model.BodyAt("3"), model.Base("M")));
  }
}

TEST_F(SixEqualBolts, HaveTheMarkingOfTheAssemblyThatTheyAreIn) {
  const ModelEmbodiments embodiments(model.document, model.Base("M"));
  const auto markingAt = [&](const std::string& path) {
    return meta_3d::GetMarkingFromProdData(model.Data(), embodiments.Tree(), host::ParsePath(path)).Text();
  };
  EXPECT_EQ(markingAt("4/2"), L"F");
  EXPECT_EQ(markingAt("3"), L"M");
}

}  // namespace
