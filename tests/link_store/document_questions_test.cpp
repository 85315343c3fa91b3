#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <q3DCore/IfComponent.h>
#include <qDocument/IfDocObject.h>

#include "tests/support/DocumentMocks.h"
#include "tests/support/Links.h"

namespace {

using testing::_;
using testing::Return;
using testing::StrictMock;
using testing::Throw;

const GeometryObject3D c_linked = EquivalentTo(Solid({1, 2}, "n"));

/// Links a in the unique set, and in the validated set to something else; links v in the validated set only.
Store LinkedStore() {
  Store store = MakeStore({{Key("a"), Solid({9}, "other")}, {Key("v"), Solid({8}, "n")}}, LinkSet::Validated);
  store->AddLink(Key("a"), c_linked, LinkSet::Unique);
  return store;
}

}  // namespace

TEST(MetaObjectToSomething, AsksTheDocumentOnceForTheUniqueGeometryObjectAndReturnsItsAnswer) {
  StrictMock<MockDocument> document;
  StrictMock<MockComponent> answer;
  EXPECT_CALL(document, FindObject(c_linked)).WillOnce(Return(&answer));
  EXPECT_EQ(LinkedStore()->MetaObjectToSomething(Key("a"), document), &answer);
}

TEST(MetaObjectToSomething, ReturnsThatTheDocumentHasNoSuchObject) {
  StrictMock<MockDocument> document;
  EXPECT_CALL(document, FindObject(c_linked)).WillOnce(Return(nullptr));
  EXPECT_EQ(LinkedStore()->MetaObjectToSomething(Key("a"), document), nullptr);
}

TEST(MetaObjectToSomething, OfAKeyThatTheUniqueSetDoesNotLinkAsksForADefaultGeometryObject) {
  for (const UniqueMetaObjectKey& key : {Key("v"), Key("unknown")}) {
    StrictMock<MockDocument> document;
    StrictMock<MockComponent> answer;
    EXPECT_CALL(document, FindObject(GeometryObject3D())).WillOnce(Return(&answer));
    EXPECT_EQ(LinkedStore()->MetaObjectToSomething(key, document), &answer);
  }
}

TEST(MetaObjectToSomething, PassesTheExceptionOfTheDocument) {
  StrictMock<MockDocument> document;
  EXPECT_CALL(document, FindObject(_)).WillOnce(Throw(std::runtime_error("closed")));
  EXPECT_THROW(LinkedStore()->MetaObjectToSomething(Key("a"), document), std::runtime_error);
}

TEST(MetaObjectToWrapper, AsksTheDocumentOnceWithTheComponentAndReturnsItsAnswerUnchanged) {
  StrictMock<MockDocument> document;
  StrictMock<MockComponent> given;
  StrictMock<MockComponent> object;
  StrictMock<MockComponent> holder;
  StrictMock<MockComponent> source;
  const double placement[12] = {};
  EXPECT_CALL(document, FindWrapper(c_linked, &given))
      .WillOnce(Return(CompTrObject<IfSomething>{&object, &holder, &source, placement}));
  const CompTrObject<IfSomething> wrapper = LinkedStore()->MetaObjectToWrapper(Key("a"), document, &given);
  EXPECT_EQ(wrapper.object, &object);
  EXPECT_EQ(wrapper.component, &holder);
  EXPECT_EQ(wrapper.sourceComponent, &source);
  EXPECT_EQ(wrapper.placement, placement);
}

TEST(MetaObjectToWrapper, PassesANullComponentOn) {
  StrictMock<MockDocument> document;
  EXPECT_CALL(document, FindWrapper(c_linked, nullptr)).WillOnce(Return(CompTrObject<IfSomething>()));
  const CompTrObject<IfSomething> wrapper = LinkedStore()->MetaObjectToWrapper(Key("a"), document, nullptr);
  EXPECT_EQ(wrapper.object, nullptr);
  EXPECT_EQ(wrapper.component, nullptr);
}

TEST(MetaObjectToWrapper, OfAKeyThatTheUniqueSetDoesNotLinkAsksForADefaultGeometryObject) {
  for (const UniqueMetaObjectKey& key : {Key("v"), Key("unknown")}) {
    StrictMock<MockDocument> document;
    StrictMock<MockComponent> given;
    EXPECT_CALL(document, FindWrapper(GeometryObject3D(), &given)).WillOnce(Return(CompTrObject<IfSomething>()));
    LinkedStore()->MetaObjectToWrapper(key, document, &given);
  }
}

TEST(MetaObjectToWrapper, PassesTheExceptionOfTheDocument) {
  StrictMock<MockDocument> document;
  EXPECT_CALL(document, FindWrapper(_, _)).WillOnce(Throw(std::runtime_error("closed")));
  EXPECT_THROW(LinkedStore()->MetaObjectToWrapper(Key("a"), document, nullptr), std::runtime_error);
}
