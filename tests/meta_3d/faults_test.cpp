#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <q3DCore/IfComponent.h>
#include <q3DCore/IfGeometrySource.h>
#include <q3DCore/IfPositionObject.h>
#include <q3DCore/PartObject.h>
#include <qDocument/IfDocObject.h>
#include <qProdData/IfProductDataAggregator.h>
#include <qProdData3D/CheckValidProductGeometryLink.h>
#include <qProdData3D/meta_3d.h>

#include "link_store/ProductGeometryObjects3D.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/ExceptionModeOff.h"
#include "tests/support/Links.h"
#include "tests/support/StoreInside.h"

// Every question of the 3D side, with every allocation that it makes refused and every question that it puts to the
// platform failing: the exception passes, nothing stays behind, and what was added to the store before it is whole.
// The platform here is written by hand, since a recorded mock asks for memory of its own.

namespace {

using Refusal = FailingAllocations::Refusal;
using Key = UniqueMetaObjectKey;

struct PlatformFailure {};

/// Counts the questions to the platform; question number `failing`, counted from 1, fails.
struct Questions {
  std::size_t count = 0;
  std::size_t failing = 0;

  void Ask() {
    if (++count == failing) {
      throw PlatformFailure();
    }
  }
};

const UniqueMetaObjectKey c_occurrence = LongKey("occurrence");
const UniqueMetaObjectKey c_groupObject = LongKey("group object");
const UniqueMetaObjectKey c_lonely = LongKey("an occurrence without a group object");
const UniqueMetaObjectKey c_embodiment = LongKey("embodiment");
const MbPath c_path{9, 8, 7, 6, 5, 4, 3, 2, 1};
const MbPath c_secondPath{1, 2, 3, 4, 5, 6, 7, 8};
const std::wstring c_longText = L"a position of more than a few characters";

/// Product data with one embodiment, whose part is bound to it and computed, and answers that all ask for memory.
class Product final : public IfProductDataAggregator,
                      public IfMetaProductData,
                      public IfGroupPartSource,
                      public IfPartSource,
                      public IfPropertyCalculator,
                      public IfEmbodimentsSource {
 public:
  explicit Product(Questions& asked) : questions(asked) {
    tree->put_value(own);
    tree->push_back({L"base", PropertyTree(SimplePropVal(c_longText))});
    tree->push_back({L"embodimentNumber", PropertyTree(SimplePropVal(c_longText))});
    tree->push_back({L"additionalNumber", PropertyTree(SimplePropVal(3))});
    tree->push_back({L"documentNumber", PropertyTree(SimplePropVal(c_longText))});
  }

  bool Actualize() override { return Answer(true); }
  bool HasObject(const Key&) const override { return Answer(true); }
  std::uint32_t GetMetaObjectType(const Key& key) const override { return Answer(key == c_groupObject ? 8U : 4U); }
  bool IsGroupObject(const Key& key) const override { return Answer(key == c_groupObject); }
  Key GetGroupObjectKey(const Key& key) const override {
    return Answer(key == c_occurrence ? c_groupObject : UniqueMetaObjectKey::null);
  }
  std::set<Key> GetObjectGroups(const Key&) const override { return Answer(std::set<Key>{c_embodiment}); }
  GroupPartHandler MakeGroupPartHandler(const Key& key) const override {
    return Answer(GroupPartHandler(*this, key, key == c_lonely ? c_embodiment : UniqueMetaObjectKey::null));
  }
  const SimplePropVal& GetGroupObjPropValue(const Key&, const Key& object, const std::wstring&) const override {
    questions.Ask();
    return object == c_groupObject ? inGroup : none;
  }
  const SimplePropVal& GetObjPropValue(const Key&, const std::wstring&) const override {
    questions.Ask();
    return own;
  }
  PropValueRef GetPropValueRef(const Key&, const std::wstring&) const override { return Answer(PropValueRef(tree)); }
  const IfMetaProductData& GetMetaProductData(const Key&) const override {
    questions.Ask();
    return *this;
  }
  bool IsManualBillet(const Key&) const override { return Answer(false); }

  bool HasMetaObject(const Key&) const override { return Answer(true); }
  std::set<Key> GetRelatedMetaObjects(const Key&) const override { return Answer(std::set<Key>()); }
  PropValueRef GetPropertyRef(const Key&, const std::wstring&) const override { return Answer(PropValueRef(tree)); }
  bool IsAssociativeBillet(const Key&) const override { return Answer(false); }

  bool IsValidGroupPart(const Key&, const Key&) const override { return Answer(true); }
  PartHandler GetGroupPart(const Key& object, const Key&) const override { return Answer(PartHandler(*this, object)); }
  PartHandler GetRawPart(const Key& object) const override { return Answer(PartHandler(*this, object)); }

  bool IsValidPart(const Key&) const override { return Answer(true); }
  bool IsCalcAvailable(const Key&) const override { return Answer(true); }
  const IfPropertyCalculator& GetPropertyCalculator(const Key&) const override {
    questions.Ask();
    return *this;
  }
  const ProductPart& GetProductPart(const Key&) const override {
    questions.Ask();
    return part;
  }

  std::optional<bool> CalcIncludeFlag(const Key&) const override { return Answer(std::optional(true)); }
  std::optional<bool> CalcExcludeFlag(const Key&) const override { return Answer(std::optional<bool>()); }
  std::optional<SimplePropVal> CalcMarking(const Key&) const override { return std::nullopt; }
  std::optional<SimplePropVal> CalcName(const Key&) const override { return std::nullopt; }
  std::optional<SimplePropVal> CalcCount(const Key&) const override { return std::nullopt; }
  std::optional<std::uint32_t> CalcEmbodimentBoundFlag(const Key&) const override {
    return Answer(std::optional<std::uint32_t>());
  }

  Key FindEmbodiment(const MbPath&) const override { return Answer(c_embodiment); }

 private:
  template <class Value>
  Value Answer(Value value) const {
    questions.Ask();
    return value;
  }

  Questions& questions;
  const SimplePropVal none;
  const SimplePropVal inGroup{c_longText};
  const SimplePropVal own{c_longText + L", its own"};
  const ProductPart part = AttributedPart{{.includeFlag = true, .excludeFlag = false, .embodimentBoundFlag = 1}};
  const std::shared_ptr<PropertyTree> tree = std::make_shared<PropertyTree>();
};

/// A store of the library, of which two operations are questions as well.
class AskedStore final : public ProductGeometryObjects3D {
 public:
  explicit AskedStore(Questions& asked) : questions(asked) { ProductGeometryObjects3D::SetLinkValidater(AcceptsAll); }

  void AddLink(const Key& key, const GeometryObject3D& geometry, LinkSet set) override {
    questions.Ask();
    ProductGeometryObjects3D::AddLink(key, geometry, set);
  }
  std::vector<Key> GetMetaObjectKeys(const GeometryObject3D& geometry) const override {
    questions.Ask();
    return ProductGeometryObjects3D::GetMetaObjectKeys(geometry);
  }

 private:
  Questions& questions;
};

/// A body of a component: all of its interfaces.
class Body final : public PartObject, public IfPositionObject, public IfGeometrySource {
 public:
  Body(Questions& asked, std::string bodyName) : questions(asked), name(std::move(bodyName)) {}

  void* QueryInterface(unsigned int interfaceType) const override {
    questions.Ask();
    auto* self = const_cast<Body*>(this);
    if (interfaceType == IfPositionObject::c_interfaceType) {
      return static_cast<IfPositionObject*>(self);
    }
    return interfaceType == IfGeometrySource::c_interfaceType ? static_cast<IfGeometrySource*>(self) : nullptr;
  }
  bool IsOfKind(BitFlags<COGroups>) const override {
    questions.Ask();
    return true;
  }
  std::set<Key> CollectPositionKeys(const IfMetaProductData&, IProductGeometryObjects3D&) override {
    questions.Ask();
    return {c_occurrence, c_groupObject, c_lonely};
  }
  std::uint32_t GetObjectType() const override {
    questions.Ask();
    return GeometryObject3D::c_solid;
  }
  const MbPath& GetSecondPath() const override {
    questions.Ask();
    return c_secondPath;
  }
  const MbName& GetObjectName() const override {
    questions.Ask();
    return name;
  }

  WeakReference<PartObject> Reference() { return {life, this}; }

 private:
  Questions& questions;
  const MbName name;
  const std::shared_ptr<int> life = std::make_shared<int>();
};

/// A component with two bodies, and the document object that it is.
class Component final : public IfDocObject, public IfComponent, public PartRebuildResult {
 public:
  Component(Questions& asked, std::uint32_t number)
      : questions(asked),
        path(c_path),
        first(asked, "a body with a name of some length"),
        second(asked, "another body with a name of some length"),
        built{first.Reference(), second.Reference()} {
    path[0] = number;
  }

  std::unique_ptr<IfObjectIterator> CreateObjectIterator(IfDocObject*, std::uint64_t) override {
    questions.Ask();
    return std::make_unique<Iterator>(*this);
  }
  IfSomething& GetComponentHolder() override {
    questions.Ask();
    return *this;
  }
  IfSomething* FindObject(const GeometryObject3D&) const override { return nullptr; }
  CompTrObject<IfSomething> FindWrapper(const GeometryObject3D&, IfComponent*) const override { return {}; }

  void* QueryInterface(unsigned int) const override {
    questions.Ask();
    return static_cast<IfComponent*>(const_cast<Component*>(this));
  }
  const MbPath& GetPath() const override {
    questions.Ask();
    return path;
  }
  Key GetGroupKey() const override {
    questions.Ask();
    return c_embodiment;
  }
  const PartRebuildResult* GetRebuildResult() const override {
    questions.Ask();
    return this;
  }
  void FindEmbodimentPath(MbPath& found) const override {
    questions.Ask();
    found = c_path;
  }
  const BuildObjects& GetBuildObjects() const override {
    questions.Ask();
    return built;
  }

  std::vector<Component*> children;

  Body& FirstBody() { return first; }

 private:
  class Iterator final : public IfObjectIterator {
   public:
    explicit Iterator(Component& walked) : component(walked) {}
    IfDocObject* Next() override {
      component.questions.Ask();
      return position < component.children.size() ? component.children[position++] : nullptr;
    }

   private:
    Component& component;
    std::size_t position = 0;
  };

  Questions& questions;
  MbPath path;
  Body first;
  Body second;
  BuildObjects built;
};

/// A document of three components, its product data and its store.
struct World {
  Questions questions;
  Product product{questions};
  AskedStore store{questions};
  Component root{questions, 1};
  Component left{questions, 2};
  Component right{questions, 3};

  World() { root.children = {&left, &right}; }

  CompTrObject<IfSomething> FirstObject() {
    return {static_cast<PartObject*>(&root.FirstBody()), &root, &root, nullptr};
  }
};

struct Question {
  std::string name;
  /// What comes before the call that is tested.
  std::function<void(World&)> prepare;
  /// True when the answer is as it should be.
  std::function<bool(World&)> ask;
};

std::vector<Question> AllQuestions() {
  const auto nothing = [](World&) {};
  const auto fill = [](World& world) {
    meta_3d::SetPositionsMetaLinks(world.root, world.product, world.store);
    return true;
  };
  const auto checkOf = [](const UniqueMetaObjectKey& key) {
    const ProductGeometryObject3D link{key, Solid(ComponentPath(c_path), "n")};
    return [link](World& world) {
      return CheckValidProductGeometryLink(link, world.product, EmbodimentsTree(world.product));
    };
  };
  return {{"GetPositionValues", fill,
           [](World& world) {
             return meta_3d::GetPositionValues(world.product, world.store, world.FirstObject()).size() == 2;
           }},
          {"GetGroupObjPositionValue in the group", nothing,
           [](World& world) {
             return !meta_3d::GetGroupObjPositionValue(world.product, c_groupObject, c_embodiment).IsEmpty();
           }},
          {"GetGroupObjPositionValue of its own", nothing,
           [](World& world) {
             return !meta_3d::GetGroupObjPositionValue(world.product, c_occurrence, c_embodiment).IsEmpty();
           }},
          {"SetPositionsMetaLinks", nothing, fill},
          {"SetPositionsMetaLinks again", fill, fill},
          {"GetMarkingFromProdData", nothing,
           [](World& world) {
             const EmbodimentsTree tree(world.product);
             return meta_3d::GetMarkingFromProdData(world.product, tree, c_path).base == c_longText;
           }},
          {"CheckValidProductGeometryLink of an occurrence", nothing, checkOf(c_occurrence)},
          {"CheckValidProductGeometryLink of a group part", nothing, checkOf(c_lonely)},
          {"CheckValidProductGeometryLink of a group object", nothing, checkOf(c_groupObject)}};
}

/// The links of the store after each that the question adds, in that order.
std::vector<Links> StatesOf(const Question& question) {
  const auto rejectedAfter = [&question](std::size_t accepted) {
    World world;
    question.prepare(world);
    std::size_t asked = 0;
    const Links before = Contents(world.store, LinkSet::Validated);
    world.store.SetLinkValidater([&](const ProductGeometryObject3D&) { return asked++ < accepted + before.size(); });
    question.ask(world);
    return Contents(world.store, LinkSet::Validated);
  };
  std::vector<Links> states{rejectedAfter(0)};
  for (Links next = rejectedAfter(1); next != states.back(); next = rejectedAfter(states.size())) {
    states.push_back(std::move(next));
  }
  return states;
}

enum class End { answered, answeredOtherwise, platformFailure, noMemory };

End EndOf(const Question& question, World& world) {
  try {
    return question.ask(world) ? End::answered : End::answeredOtherwise;
  } catch (const PlatformFailure&) {
    return End::platformFailure;
  } catch (const std::bad_alloc&) {
    return End::noMemory;
  }
}

/// What is wrong with the store after a question that ended early, in words. Answered, the question added all.
std::string WrongIn(const World& world, const std::vector<Links>& states, End end) {
  const std::string fault = StoreFault(world.store);
  const Links links = Contents(world.store, LinkSet::Validated);
  if (!fault.empty()) {
    return fault;
  }
  for (std::size_t i = 0; i < states.size(); ++i) {
    if (links == states[i]) {
      return end == End::answered && i + 1 != states.size() ? "links are missing" : "";
    }
  }
  return "the store holds other links than those added so far";
}

}  // namespace

TEST(EveryQuestion, PassesTheExceptionOfAnyCallOfThePlatformAndReleasesWhatItHeld) {
  for (const Question& question : AllQuestions()) {
    SCOPED_TRACE(question.name);
    const std::vector<Links> states = StatesOf(question);
    End end = End::platformFailure;
    std::size_t reached = 0;
    for (std::size_t nth = 1; end != End::answered; ++nth) {
      SCOPED_TRACE(nth);
      ASSERT_LT(nth, 1000U);
      const AllocationCounter counter;
      {
        World world;
        question.prepare(world);
        world.questions = {.count = 0, .failing = nth};
        end = EndOf(question, world);
        EXPECT_EQ(world.questions.count, end == End::answered ? nth - 1 : nth) << "asked on after the failure";
        EXPECT_EQ(WrongIn(world, states, end), "");
        const std::size_t links = Contents(world.store, LinkSet::Validated).size();
        EXPECT_GE(links, reached);
        reached = links;
        // The same question is answered by the same product data afterwards.
        world.questions = {};
        EXPECT_EQ(EndOf(question, world), End::answered);
        EXPECT_EQ(WrongIn(world, states, End::answered), "");
      }
      EXPECT_EQ(counter.Live(), 0);
    }
  }
}

namespace {

void ExpectEveryRefusalIsPassedOn(Refusal refusal) {
  for (const Question& question : AllQuestions()) {
    SCOPED_TRACE(question.name);
    const std::vector<Links> states = StatesOf(question);
    bool hasFailed = true;
    for (std::size_t nth = 1; hasFailed; ++nth) {
      SCOPED_TRACE(nth);
      ASSERT_LT(nth, 1000U);
      const AllocationCounter counter;
      {
        World world;
        question.prepare(world);
        End end = End::answered;
        {
          const FailingAllocations failing(nth, refusal);
          end = EndOf(question, world);
          hasFailed = failing.HasFailed();
        }
        EXPECT_EQ(end, hasFailed ? End::noMemory : End::answered);
        EXPECT_EQ(WrongIn(world, states, end), "");
        EXPECT_EQ(EndOf(question, world), End::answered);
        EXPECT_EQ(WrongIn(world, states, End::answered), "");
      }
      EXPECT_EQ(counter.Live(), 0);
    }
  }
}

}  // namespace

TEST(EveryQuestion, ThatIsRefusedOneAllocationPassesTheExceptionAndReleasesWhatItHeld) {
  ExpectEveryRefusalIsPassedOn(Refusal::once);
}

TEST(EveryQuestion, ThatGetsNoMemoryAnyMorePassesTheExceptionAndReleasesWhatItHeld) {
  ExpectEveryRefusalIsPassedOn(Refusal::forEver);
}

TEST(EveryQuestion, ThatGetsNoMemoryWithExceptionModeOffReleasesWhatItHeldAndLeavesTheStoreWhole) {
  for (const Refusal refusal : {Refusal::once, Refusal::forEver}) {
    for (const Question& question : AllQuestions()) {
      SCOPED_TRACE(question.name);
      bool hasFailed = true;
      for (std::size_t nth = 1; hasFailed; ++nth) {
        SCOPED_TRACE(nth);
        ASSERT_LT(nth, 1000U);
        const AllocationCounter counter;
        {
          World world;
          question.prepare(world);
          {
            const ExceptionModeOff off;
            const FailingAllocations failing(nth, refusal);
            // A path that went on empty names another object, of which there may be nothing to tell.
            EndOf(question, world);
            hasFailed = failing.HasFailed();
          }
          EXPECT_EQ(StoreFault(world.store), "");
          EXPECT_EQ(EndOf(question, world), End::answered);
        }
        EXPECT_EQ(counter.Live(), 0);
      }
    }
  }
}
