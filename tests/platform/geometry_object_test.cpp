#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <q3DCore/GeometryObject3D.h>
#include <q3DCore/IfComponent.h>
#include <q3DCore/IfGeometrySource.h>
#include <qDocument/IfDocObject.h>

#include "tests/support/DocumentMocks.h"
#include "tests/support/PlatformPrinting.h"

namespace {

using testing::_;
using testing::Return;
using testing::ReturnRef;
using testing::StrictMock;
using testing::Throw;

GeometryObject3D Object(std::uint32_t type, ComponentPath path, const char* name, MbPath secondPath = {}) {
  return GeometryObject3D(type, std::move(path), std::move(secondPath), MbName(name));
}

/// Ascending, each less than the next.
const std::vector<GeometryObject3D> c_ascending{
    GeometryObject3D(),     Object(0, {}, "n"),     Object(1, {}, "n"),     Object(1, {0}, "n"),
    Object(1, {1}, ""),     Object(1, {1}, "m"),    Object(1, {1}, "n"),    Object(1, {1}, "n\xFF"),
    Object(1, {1, 0}, "n"), Object(1, {1, 2}, "a"), Object(1, {2, 1}, "a"), Object(1, {0xFFFFFFFF}, "a"),
    Object(2, {}, "n"),     Object(104, {1}, ""),   Object(200, {1}, ""),   Object(0xFFFFFFFF, {}, ""),
};

}  // namespace

TEST(GeometryObject3D, OfDefaultIsOfTypeZeroWithoutPathsAndName) {
  const GeometryObject3D object;
  EXPECT_EQ(object.objectType, 0U);
  EXPECT_TRUE(object.componentPath.IsEmpty());
  EXPECT_TRUE(object.secondPath.IsEmpty());
  EXPECT_TRUE(object.objectName.IsEmpty());
}

TEST(GeometryObject3D, HasFixedTypesForComponents) {
  EXPECT_EQ(GeometryObject3D::c_partComponent, 104U);
  EXPECT_EQ(GeometryObject3D::c_assemblyComponent, 200U);
}

TEST(GeometryObject3D, HoldsItsMembersInTheirFixedOrder) {
  const GeometryObject3D object;
  const void* const members[] = {&object.objectType, &object.componentPath, &object.secondPath, &object.objectName};
  EXPECT_TRUE(members[0] < members[1] && members[1] < members[2] && members[2] < members[3]);
}

TEST(GeometryObject3D, IsOrderedByTypeThenPathThenName) {
  for (std::size_t left = 0; left < c_ascending.size(); ++left) {
    for (std::size_t right = 0; right < c_ascending.size(); ++right) {
      SCOPED_TRACE(testing::Message() << "number " << left << " and number " << right);
      EXPECT_EQ(c_ascending[left] < c_ascending[right], left < right);
    }
  }
}

TEST(GeometryObject3D, IsEquivalentToOneThatDiffersInItsSecondPathOnly) {
  const GeometryObject3D object = Object(1, {1}, "n", {1});
  for (const MbPath& secondPath : {MbPath(), MbPath{0}, MbPath{2}, MbPath{1, 1}}) {
    const GeometryObject3D other = Object(1, {1}, "n", secondPath);
    EXPECT_FALSE(object < other);
    EXPECT_FALSE(other < object);
    EXPECT_FALSE(object == other);
  }
}

TEST(GeometryObject3D, EqualsOneWithTheSameFourMembersOnly) {
  const GeometryObject3D object = Object(1, {1, 2}, "n", {3});
  EXPECT_TRUE(object == Object(1, {1, 2}, "n", {3}));
  EXPECT_FALSE(object == Object(2, {1, 2}, "n", {3}));
  EXPECT_FALSE(object == Object(1, {2, 1}, "n", {3}));
  EXPECT_FALSE(object == Object(1, {1, 2}, "m", {3}));
  EXPECT_FALSE(object == Object(1, {1, 2}, "n", {4}));
}

TEST(GeometryObject3D, IsEquivalentToEveryObjectThatItEquals) {
  for (const GeometryObject3D& left : c_ascending) {
    for (const GeometryObject3D& right : c_ascending) {
      EXPECT_TRUE(!(left == right) || (!(left < right) && !(right < left)));
    }
  }
}

TEST(GeometryObject3D, MadeOfAWrapperTakesTypeSecondPathAndNameFromTheObjectAndThePathFromItsComponent) {
  const MbPath path{1, 2};
  const MbPath secondPath{3};
  const MbName name("body");
  StrictMock<MockSource> source;
  EXPECT_CALL(source, GetObjectType).WillOnce(Return(GeometryObject3D::c_solid));
  EXPECT_CALL(source, GetSecondPath).WillOnce(ReturnRef(secondPath));
  EXPECT_CALL(source, GetObjectName).WillOnce(ReturnRef(name));
  StrictMock<MockObject> object;
  EXPECT_CALL(object, QueryInterface(IfGeometrySource::c_interfaceType))
      .WillOnce(Return(static_cast<IfGeometrySource*>(&source)));
  StrictMock<MockComponent> component;
  EXPECT_CALL(component, GetPath).WillOnce(ReturnRef(path));
  StrictMock<MockComponent> elsewhere;
  const CompTrObject<IfSomething> wrapper{&object, &component, &elsewhere, nullptr};
  EXPECT_EQ(GeometryObject3D(wrapper), Object(GeometryObject3D::c_solid, {1, 2}, "body", {3}));
}

TEST(GeometryObject3D, MadeOfAWrapperWithoutAnObjectHasThePathOnly) {
  const MbPath path{1, 2};
  StrictMock<MockComponent> component;
  EXPECT_CALL(component, GetPath).WillOnce(ReturnRef(path));
  EXPECT_EQ(GeometryObject3D(CompTrObject<IfSomething>{nullptr, &component}), Object(0, {1, 2}, ""));
}

TEST(GeometryObject3D, MadeOfAnObjectThatIsNoGeometrySourceHasThePathOnly) {
  const MbPath path{1, 2};
  StrictMock<MockObject> object;
  EXPECT_CALL(object, QueryInterface(IfGeometrySource::c_interfaceType)).WillOnce(Return(nullptr));
  StrictMock<MockComponent> component;
  EXPECT_CALL(component, GetPath).WillOnce(ReturnRef(path));
  EXPECT_EQ(GeometryObject3D(CompTrObject<IfSomething>{&object, &component}), Object(0, {1, 2}, ""));
}

TEST(GeometryObject3D, MadeOfAWrapperWithoutAComponentHasAnEmptyPath) {
  const MbPath secondPath;
  const MbName name("body");
  StrictMock<MockSource> source;
  EXPECT_CALL(source, GetObjectType).WillOnce(Return(2));
  EXPECT_CALL(source, GetSecondPath).WillOnce(ReturnRef(secondPath));
  EXPECT_CALL(source, GetObjectName).WillOnce(ReturnRef(name));
  StrictMock<MockObject> object;
  EXPECT_CALL(object, QueryInterface(IfGeometrySource::c_interfaceType))
      .WillOnce(Return(static_cast<IfGeometrySource*>(&source)));
  EXPECT_EQ(GeometryObject3D(CompTrObject<IfSomething>{&object}), Object(2, {}, "body"));
}

TEST(GeometryObject3D, MadeOfAnEmptyWrapperIsADefaultOne) {
  EXPECT_EQ(GeometryObject3D(CompTrObject<IfSomething>()), GeometryObject3D());
}

TEST(AnEmptyWrapper, HoldsNothing) {
  const CompTrObject<IfSomething> wrapper;
  EXPECT_EQ(wrapper.object, nullptr);
  EXPECT_EQ(wrapper.component, nullptr);
  EXPECT_EQ(wrapper.sourceComponent, nullptr);
  EXPECT_EQ(wrapper.placement, nullptr);
  EXPECT_EQ(wrapper.GetComponent(), nullptr);
}

TEST(AWrapper, GivesTheComponentThatHoldsTheObject) {
  StrictMock<MockComponent> component;
  StrictMock<MockComponent> source;
  EXPECT_EQ((CompTrObject<IfSomething>{nullptr, &component, &source}).GetComponent(), &component);
}

TEST(ToSomething, AsksTheDocumentOnceForTheObjectAndReturnsItsAnswer) {
  StrictMock<MockDocument> document;
  StrictMock<MockObject> answer;
  EXPECT_CALL(document, FindObject(Object(1, {1}, "n", {2}))).WillOnce(Return(&answer));
  EXPECT_EQ(Object(1, {1}, "n", {2}).ToSomething(document), &answer);
}

TEST(ToWrapper, AsksTheDocumentOnceWithTheComponentAndReturnsItsAnswer) {
  StrictMock<MockDocument> document;
  StrictMock<MockObject> object;
  StrictMock<MockComponent> given;
  EXPECT_CALL(document, FindWrapper(Object(1, {1}, "n"), &given))
      .WillOnce(Return(CompTrObject<IfSomething>{&object, &given}));
  const CompTrObject<IfSomething> wrapper = Object(1, {1}, "n").ToWrapper(document, &given);
  EXPECT_EQ(wrapper.object, &object);
  EXPECT_EQ(wrapper.component, &given);
  EXPECT_CALL(document, FindWrapper(_, nullptr)).WillOnce(Return(CompTrObject<IfSomething>()));
  EXPECT_EQ(GeometryObject3D().ToWrapper(document, nullptr).object, nullptr);
}

TEST(ToSomething, PassesTheExceptionOfTheDocument) {
  StrictMock<MockDocument> document;
  EXPECT_CALL(document, FindObject(_)).WillOnce(Throw(std::runtime_error("closed")));
  EXPECT_THROW(GeometryObject3D().ToSomething(document), std::runtime_error);
}
