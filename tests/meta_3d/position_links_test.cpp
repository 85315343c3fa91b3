#include <deque>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qProdData3D/meta_3d.h>

#include "tests/support/DocumentMocks.h"
#include "tests/support/Links.h"
#include "tests/support/StreamMocks.h"

namespace {

using testing::ByMove;
using testing::DoAll;
using testing::Eq;
using testing::InSequence;
using testing::InvokeWithoutArgs;
using testing::NiceMock;
using testing::Ref;
using testing::Return;
using testing::ReturnRef;
using testing::StrictMock;
using testing::Test;

using BuildObjects = PartRebuildResult::BuildObjects;

constexpr unsigned int c_component = 0x7E8;
constexpr unsigned int c_positionObject = 0x893;
constexpr std::uint64_t c_selector = 0x700000002;
const BitFlags<COGroups> c_bodies(std::uint32_t{0x40});

/// A document object that is a component with a rebuild result.
struct Component {
  StrictMock<MockDocument> document;
  StrictMock<MockObject> holder;
  StrictMock<MockComponent> component;
  StrictMock<MockRebuildResult> rebuilt;
  MbPath path;
  BuildObjects built;

  void ExpectComponent() {
    EXPECT_CALL(document, GetComponentHolder).WillOnce(ReturnRef(holder));
    EXPECT_CALL(holder, QueryInterface(c_component)).WillOnce(Return(static_cast<IfComponent*>(&component)));
    EXPECT_CALL(component, FindEmbodimentPath(Eq(MbPath()))).WillOnce([](MbPath& found) { found.Append(77); });
  }

  void ExpectBuilt() {
    ExpectComponent();
    EXPECT_CALL(component, GetRebuildResult).WillOnce(Return(&rebuilt));
    EXPECT_CALL(rebuilt, GetBuildObjects).WillOnce(ReturnRef(built));
  }

  void ExpectNoComponent() {
    EXPECT_CALL(document, GetComponentHolder).WillOnce(ReturnRef(holder));
    EXPECT_CALL(holder, QueryInterface(c_component)).WillOnce(Return(nullptr));
  }
};

/// A built object, a body by default, that is referred to as long as `life` is there.
struct Body {
  std::shared_ptr<int> life = std::make_shared<int>();
  StrictMock<MockPartObject> object;
  StrictMock<MockPositionObject> position;
  StrictMock<MockSource> source;
  MbPath secondPath;
  MbName name;

  explicit Body(std::string_view bodyName) : name(std::string(bodyName)) {}

  WeakReference<PartObject> Reference() { return {life, &object}; }

  void ExpectKind() { EXPECT_CALL(object, IsOfKind(c_bodies)).WillOnce(Return(true)); }

  void ExpectPositionObject() {
    EXPECT_CALL(object, QueryInterface(c_positionObject)).WillOnce(Return(static_cast<IfPositionObject*>(&position)));
  }

  /// The tests that a body passes.
  void ExpectKept() {
    ExpectKind();
    ExpectPositionObject();
  }

  void ExpectKeys(const IfMetaProductData& productData, IProductGeometryObjects3D& store,
                  const std::set<UniqueMetaObjectKey>& keys) {
    ExpectPositionObject();
    EXPECT_CALL(position, CollectPositionKeys(Ref(productData), Ref(store))).WillOnce(Return(keys));
  }

  void ExpectLink(MockLinkStore& store, Component& in, const UniqueMetaObjectKey& key) {
    EXPECT_CALL(position, QueryInterface(IfGeometrySource::c_interfaceType))
        .WillOnce(Return(static_cast<IfGeometrySource*>(&source)));
    EXPECT_CALL(source, GetObjectType).WillOnce(Return(GeometryObject3D::c_solid));
    EXPECT_CALL(source, GetSecondPath).WillOnce(ReturnRef(secondPath));
    EXPECT_CALL(source, GetObjectName).WillOnce(ReturnRef(name));
    EXPECT_CALL(in.component, GetPath).WillOnce(ReturnRef(in.path));
    const GeometryObject3D geometry(GeometryObject3D::c_solid, ComponentPath(in.path), secondPath, name);
    EXPECT_CALL(store, AddLink(key, geometry, LinkSet::Validated));
  }
};

class PositionsMetaLinks : public Test {
 protected:
  StrictMock<MockMetaProductData> productData;
  StrictMock<MockLinkStore> store;
  Component root;
  std::unique_ptr<StrictMock<MockIterator>> owned = std::make_unique<StrictMock<MockIterator>>();
  StrictMock<MockIterator>* objects = owned.get();

  void SetLinks() { meta_3d::SetPositionsMetaLinks(root.document, productData, store); }

  void ExpectIterator() {
    EXPECT_CALL(root.document, CreateObjectIterator(nullptr, c_selector)).WillOnce(Return(ByMove(std::move(owned))));
  }

  void ExpectNext(Component& next) { EXPECT_CALL(*objects, Next).WillOnce(Return(&next.document)); }

  void ExpectEnd() {
    EXPECT_CALL(*objects, Next).WillOnce(Return(nullptr));
    EXPECT_CALL(*objects, Die);
  }
};

}  // namespace

TEST_F(PositionsMetaLinks, AreMadeOfTheDocumentItselfBeforeTheIteratorIsAskedForAnything) {
  Body body("body");
  root.path = {2, 1};
  body.secondPath = {5};
  root.built = {body.Reference()};
  const InSequence order;
  ExpectIterator();
  root.ExpectBuilt();
  body.ExpectKept();
  body.ExpectKeys(productData, store, {Key("a")});
  body.ExpectLink(store, root, Key("a"));
  ExpectEnd();
  SetLinks();
}

TEST_F(PositionsMetaLinks, AreMadeOfEveryObjectOfTheIteratorInItsOrderAndThatIsDeletedAtTheEnd) {
  Component first;
  Component second;
  Body ofFirst("first");
  Body ofSecond("second");
  first.path = {1};
  second.path = {2};
  first.built = {ofFirst.Reference()};
  second.built = {ofSecond.Reference()};
  const InSequence order;
  ExpectIterator();
  root.ExpectBuilt();
  ExpectNext(first);
  first.ExpectBuilt();
  ofFirst.ExpectKept();
  ofFirst.ExpectKeys(productData, store, {Key("z")});
  ofFirst.ExpectLink(store, first, Key("z"));
  ExpectNext(second);
  second.ExpectBuilt();
  ofSecond.ExpectKept();
  ofSecond.ExpectKeys(productData, store, {Key("a")});
  ofSecond.ExpectLink(store, second, Key("a"));
  ExpectEnd();
  SetLinks();
}

TEST_F(PositionsMetaLinks, VisitAnObjectAsOftenAsTheIteratorGivesIt) {
  const InSequence order;
  ExpectIterator();
  root.ExpectNoComponent();
  EXPECT_CALL(*objects, Next).WillOnce(Return(&root.document));
  root.ExpectNoComponent();
  ExpectEnd();
  SetLinks();
}

TEST_F(PositionsMetaLinks, PassOverAnObjectThatIsNoComponent) {
  Component next;
  const InSequence order;
  ExpectIterator();
  root.ExpectNoComponent();
  ExpectNext(next);
  next.ExpectNoComponent();
  ExpectEnd();
  SetLinks();
}

TEST_F(PositionsMetaLinks, PassOverAComponentThatWasNeverRebuiltAfterAskingForItsEmbodimentPath) {
  Component next;
  const InSequence order;
  ExpectIterator();
  root.ExpectComponent();
  EXPECT_CALL(root.component, GetRebuildResult).WillOnce(Return(nullptr));
  ExpectNext(next);
  next.ExpectBuilt();
  ExpectEnd();
  SetLinks();
}

TEST_F(PositionsMetaLinks, HandEveryComponentAFreshEmbodimentPath) {
  // Each of them is given an empty path and appends to it.
  Component next;
  const InSequence order;
  ExpectIterator();
  root.ExpectBuilt();
  ExpectNext(next);
  next.ExpectBuilt();
  ExpectEnd();
  SetLinks();
}

TEST_F(PositionsMetaLinks, AddTheKeysOfABodyInAscendingOrderToTheSameGeometryObject) {
  Body body("body");
  root.built = {body.Reference()};
  const InSequence order;
  ExpectIterator();
  root.ExpectBuilt();
  body.ExpectKept();
  body.ExpectKeys(productData, store, {Key("c"), Key("a"), Key("b")});
  body.ExpectLink(store, root, Key("a"));
  body.ExpectLink(store, root, Key("b"));
  body.ExpectLink(store, root, Key("c"));
  ExpectEnd();
  SetLinks();
}

TEST_F(PositionsMetaLinks, AreNoneForABodyWithoutKeys) {
  Body body("body");
  root.built = {body.Reference()};
  const InSequence order;
  ExpectIterator();
  root.ExpectBuilt();
  body.ExpectKept();
  body.ExpectKeys(productData, store, {});
  ExpectEnd();
  SetLinks();
}

TEST_F(PositionsMetaLinks, TakeTheNullKeyForAKey) {
  Body body("body");
  root.built = {body.Reference()};
  const InSequence order;
  ExpectIterator();
  root.ExpectBuilt();
  body.ExpectKept();
  body.ExpectKeys(productData, store, {UniqueMetaObjectKey::null});
  body.ExpectLink(store, root, UniqueMetaObjectKey::null);
  ExpectEnd();
  SetLinks();
}

TEST_F(PositionsMetaLinks, PassOverAReferenceThatIsNotAliveOrHoldsNoObject) {
  Body expired("expired");
  Body stateless("stateless");
  const auto owner = std::make_shared<int>();
  root.built = {expired.Reference(), WeakReference<PartObject>(),
                WeakReference<PartObject>(std::weak_ptr<const void>(), &stateless.object),
                WeakReference<PartObject>(owner, nullptr)};
  expired.life.reset();
  const InSequence order;
  ExpectIterator();
  root.ExpectBuilt();
  ExpectEnd();
  SetLinks();
}

TEST_F(PositionsMetaLinks, PassOverAnObjectOfAnotherKindWithoutAskingForItsPositions) {
  Body other("other");
  Body body("body");
  root.built = {other.Reference(), body.Reference()};
  const InSequence order;
  ExpectIterator();
  root.ExpectBuilt();
  EXPECT_CALL(other.object, IsOfKind(c_bodies)).WillOnce(Return(false));
  body.ExpectKept();
  body.ExpectKeys(productData, store, {});
  ExpectEnd();
  SetLinks();
}

TEST_F(PositionsMetaLinks, PassOverABodyWithoutPositions) {
  Body without("without");
  Body body("body");
  root.built = {without.Reference(), body.Reference()};
  const InSequence order;
  ExpectIterator();
  root.ExpectBuilt();
  without.ExpectKind();
  EXPECT_CALL(without.object, QueryInterface(c_positionObject)).WillOnce(Return(nullptr));
  body.ExpectKept();
  body.ExpectKeys(productData, store, {});
  ExpectEnd();
  SetLinks();
}

TEST_F(PositionsMetaLinks, PassOverABodyThatTheQuestionForItsKindCostsItsLife) {
  Body dying("dying");
  Body body("body");
  root.built = {dying.Reference(), body.Reference()};
  const InSequence order;
  ExpectIterator();
  root.ExpectBuilt();
  EXPECT_CALL(dying.object, IsOfKind(c_bodies))
      .WillOnce(DoAll(InvokeWithoutArgs([&dying] { dying.life.reset(); }), Return(true)));
  body.ExpectKept();
  body.ExpectKeys(productData, store, {});
  ExpectEnd();
  SetLinks();
}

TEST_F(PositionsMetaLinks, AreMadeOfABodyThatTheLastTestCostsItsOwnerSinceItIsNotTestedAgain) {
  Body body("body");
  root.built = {body.Reference()};
  const InSequence order;
  ExpectIterator();
  root.ExpectBuilt();
  body.ExpectKind();
  EXPECT_CALL(body.object, QueryInterface(c_positionObject))
      .WillOnce(DoAll(InvokeWithoutArgs([&body] { body.life.reset(); }),
                      Return(static_cast<IfPositionObject*>(&body.position))));
  body.ExpectKeys(productData, store, {Key("a")});
  body.ExpectLink(store, root, Key("a"));
  ExpectEnd();
  SetLinks();
}

TEST_F(PositionsMetaLinks, TestAndVisitEachBodyBeforeTheNextOneIsTested) {
  Body first("first");
  Body second("second");
  root.built = {first.Reference(), second.Reference()};
  const InSequence order;
  ExpectIterator();
  root.ExpectBuilt();
  first.ExpectKept();
  first.ExpectKeys(productData, store, {Key("z")});
  first.ExpectLink(store, root, Key("z"));
  second.ExpectKept();
  second.ExpectKeys(productData, store, {Key("a")});
  second.ExpectLink(store, root, Key("a"));
  ExpectEnd();
  SetLinks();
}

TEST_F(PositionsMetaLinks, PassOverABodyThatWentWhileAnEarlierOneWasVisited) {
  Body first("first");
  Body second("second");
  root.built = {first.Reference(), second.Reference()};
  const InSequence order;
  ExpectIterator();
  root.ExpectBuilt();
  first.ExpectKept();
  first.ExpectPositionObject();
  EXPECT_CALL(first.position, CollectPositionKeys).WillOnce([&second](const auto&, const auto&) {
    second.life.reset();
    return std::set<UniqueMetaObjectKey>();
  });
  ExpectEnd();
  SetLinks();
}

TEST_F(PositionsMetaLinks, AreMadeOfThePositionObjectThatTheSecondQueryGives) {
  Body body("body");
  StrictMock<MockPositionObject> testedOnly;
  root.built = {body.Reference()};
  const InSequence order;
  ExpectIterator();
  root.ExpectBuilt();
  body.ExpectKind();
  EXPECT_CALL(body.object, QueryInterface(c_positionObject))
      .WillOnce(Return(static_cast<IfPositionObject*>(&testedOnly)));
  body.ExpectKeys(productData, store, {Key("a")});
  body.ExpectLink(store, root, Key("a"));
  ExpectEnd();
  SetLinks();
}

namespace {

struct Refused {};

/// A document of three components, two bodies in each, behind nice mocks that count every question put to them; the one
/// with the number `refused` throws.
class PositionsMetaLinksOfADocument : public Test {
 protected:
  struct CountedBody {
    NiceMock<MockPartObject> object;
    NiceMock<MockPositionObject> position;
    NiceMock<MockSource> source;
    MbPath secondPath;
    MbName name;
    std::set<UniqueMetaObjectKey> keys;
  };

  struct CountedComponent {
    NiceMock<MockDocument> document;
    NiceMock<MockObject> holder;
    NiceMock<MockComponent> component;
    NiceMock<MockRebuildResult> rebuilt;
    MbPath path;
    BuildObjects built;
  };

  NiceMock<MockMetaProductData> productData;
  std::shared_ptr<int> life = std::make_shared<int>();
  std::deque<CountedComponent> components;
  std::deque<CountedBody> bodies;
  /// All links that the document asks for, in their order.
  Links all;
  std::size_t next = 0;
  int iteratorsDeleted = 0;
  int questions = 0;
  int refused = 0;

  template <class Answer>
  auto Counted(Answer answer) {
    return [this, answer](auto&&... arguments) -> decltype(answer(arguments...)) {
      if (++questions == refused) {
        throw Refused();
      }
      return answer(arguments...);
    };
  }

  PositionsMetaLinksOfADocument() {
    for (std::uint32_t i = 0; i < 3; ++i) {
      AddComponent(i == 0 ? MbPath() : MbPath{i});
    }
    ON_CALL(Root(), CreateObjectIterator).WillByDefault(Counted([this](IfDocObject*, std::uint64_t) {
      auto iterator = std::make_unique<NiceMock<MockIterator>>();
      next = 0;
      ON_CALL(*iterator, Next).WillByDefault(Counted([this]() -> IfDocObject* {
        return ++next < components.size() ? &components[next].document : nullptr;
      }));
      ON_CALL(*iterator, Die).WillByDefault([this] { ++iteratorsDeleted; });
      return std::unique_ptr<IfObjectIterator>(std::move(iterator));
    }));
  }

  MockDocument& Root() { return components.front().document; }

  void AddComponent(const MbPath& path) {
    CountedComponent& made = components.emplace_back();
    made.path = path;
    AddBody(made, "body 1", {Key("line"), Key("occurrence " + std::to_string(bodies.size()))});
    AddBody(made, "body 2", {Key("line")});
    ON_CALL(made.document, GetComponentHolder).WillByDefault(Counted([&made]() -> IfSomething& {
      return made.holder;
    }));
    ON_CALL(made.holder, QueryInterface).WillByDefault(Counted([&made](unsigned int) -> void* {
      return static_cast<IfComponent*>(&made.component);
    }));
    ON_CALL(made.component, GetPath).WillByDefault(Counted([&made]() -> const MbPath& { return made.path; }));
    ON_CALL(made.component, FindEmbodimentPath).WillByDefault(Counted([](MbPath&) {}));
    ON_CALL(made.component, GetRebuildResult).WillByDefault(Counted([&made]() -> const PartRebuildResult* {
      return &made.rebuilt;
    }));
    ON_CALL(made.rebuilt, GetBuildObjects).WillByDefault(Counted([&made]() -> const BuildObjects& {
      return made.built;
    }));
  }

  void AddBody(CountedComponent& component, const char* name, const std::set<UniqueMetaObjectKey>& keys) {
    CountedBody& body = bodies.emplace_back();
    body.name = MbName(name);
    body.keys = keys;
    component.built.emplace_back(life, &body.object);
    for (const UniqueMetaObjectKey& key : keys) {
      all.push_back({key, Solid(ComponentPath(component.path), name)});
    }
    ON_CALL(body.object, IsOfKind).WillByDefault(Counted([](BitFlags<COGroups>) { return true; }));
    ON_CALL(body.object, QueryInterface).WillByDefault(Counted([&body](unsigned int) -> void* {
      return static_cast<IfPositionObject*>(&body.position);
    }));
    ON_CALL(body.position, CollectPositionKeys).WillByDefault(Counted([&body](const auto&, const auto&) {
      return body.keys;
    }));
    ON_CALL(body.position, QueryInterface).WillByDefault(Counted([&body](unsigned int) -> void* {
      return static_cast<IfGeometrySource*>(&body.source);
    }));
    ON_CALL(body.source, GetObjectType).WillByDefault(Counted([] { return GeometryObject3D::c_solid; }));
    ON_CALL(body.source, GetSecondPath).WillByDefault(Counted([&body]() -> const MbPath& { return body.secondPath; }));
    ON_CALL(body.source, GetObjectName).WillByDefault(Counted([&body]() -> const MbName& { return body.name; }));
  }

  void SetLinks(IProductGeometryObjects3D& store) { meta_3d::SetPositionsMetaLinks(Root(), productData, store); }

  /// The first `count` links as the validated set walks them.
  Links FirstLinks(std::size_t count) const {
    return ValidatedContents(
        MakeStore(Links(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count)), LinkSet::Validated));
  }
};

}  // namespace

TEST_F(PositionsMetaLinksOfADocument, AreAddedToTheValidatedSetAlone) {
  const Store store = MakeStore();
  SetLinks(*store);
  EXPECT_EQ(ValidatedContents(store), FirstLinks(all.size()));
  EXPECT_EQ(ValidatedContents(store).size(), 9U);
  EXPECT_EQ(UniqueContents(store), Links());
}

TEST_F(PositionsMetaLinksOfADocument, AreTheSameWhenTheyAreSetTwice) {
  const Store store = MakeStore();
  SetLinks(*store);
  SetLinks(*store);
  EXPECT_EQ(ValidatedContents(store), FirstLinks(all.size()));
}

TEST_F(PositionsMetaLinksOfADocument, ReplaceNoLinkThatIsThereAlready) {
  const Links before = {{Key("before"), Solid({}, "body 1")}, {Key("line"), Solid({9}, "elsewhere")}};
  const Store store = MakeStore(before);
  SetLinks(*store);
  EXPECT_EQ(UniqueContents(store), UniqueContents(MakeStore(before)));
  EXPECT_EQ(ValidatedContents(store).size(), all.size() + before.size());
}

TEST_F(PositionsMetaLinksOfADocument, PassTheValidatorOfTheStore) {
  const Store store = MakeStore();
  store->SetLinkValidater([](const ProductGeometryObject3D& link) { return link.metaKey == Key("line"); });
  SetLinks(*store);
  EXPECT_EQ(ValidatedContents(store).size(), 6U);
}

TEST_F(PositionsMetaLinksOfADocument, AreKeptAsFarAsTheyWereAddedWhereAQuestionThrowsAndTheIteratorIsDeleted) {
  const Store whole = MakeStore();
  SetLinks(*whole);
  const int inAll = questions;
  ASSERT_GT(inAll, 80);
  for (refused = 1; refused <= inAll; ++refused) {
    SCOPED_TRACE(refused);
    const Store store = MakeStore();
    questions = 0;
    iteratorsDeleted = 0;
    EXPECT_THROW(SetLinks(*store), Refused);
    EXPECT_EQ(questions, refused);
    EXPECT_EQ(iteratorsDeleted, refused == 1 ? 0 : 1);
    const Links kept = ValidatedContents(store);
    EXPECT_EQ(kept, FirstLinks(kept.size()));
  }
}

TEST_F(PositionsMetaLinksOfADocument, AreKeptAsFarAsTheyWereAddedWhereTheStoreThrows) {
  for (std::size_t accepted = 0; accepted < all.size(); ++accepted) {
    SCOPED_TRACE(accepted);
    const Store store = MakeStore();
    std::size_t asked = 0;
    store->SetLinkValidater([&asked, accepted](const ProductGeometryObject3D&) {
      if (asked++ == accepted) {
        throw Refused();
      }
      return true;
    });
    iteratorsDeleted = 0;
    EXPECT_THROW(SetLinks(*store), Refused);
    EXPECT_EQ(iteratorsDeleted, 1);
    EXPECT_EQ(ValidatedContents(store), FirstLinks(accepted));
  }
}
