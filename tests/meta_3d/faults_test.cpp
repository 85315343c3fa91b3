#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <ostream>
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
// With ExceptionMode off a path may be lost instead: then the question goes on with the object that is left of its own.
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
const SimplePropVal c_positionInGroup{c_longText};
const SimplePropVal c_ownPosition{c_longText + L", its own"};
constexpr const char* c_firstName = "a body with a name of some length";

/// Product data with one embodiment, whose part is bound to it and computed, and answers that all ask for memory.
class Product final : public IfProductDataAggregator,
                      public IfMetaProductData,
                      public IfGroupPartSource,
                      public IfPartSource,
                      public IfPropertyCalculator,
                      public IfEmbodimentsSource {
 public:
  explicit Product(Questions& asked) : questions(asked) {
    tree->put_value(c_ownPosition);
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
    return object == c_groupObject ? c_positionInGroup : none;
  }
  const SimplePropVal& GetObjPropValue(const Key&, const std::wstring&) const override {
    questions.Ask();
    return c_ownPosition;
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
  const ProductPart part = AttributedPart{{.includeFlag = true, .excludeFlag = false, .embodimentBoundFlag = 1}};
  const std::shared_ptr<PropertyTree> tree = std::make_shared<PropertyTree>();
};

enum class LostPath { componentPath, secondPath };

/// A store of the library, of which two operations are questions as well.
class AskedStore final : public ProductGeometryObjects3D {
 public:
  explicit AskedStore(Questions& asked) : questions(asked) { ProductGeometryObjects3D::SetLinkValidater(AcceptsAll); }

  void AddLink(const Key& key, const GeometryObject3D& geometry, LinkSet set) override {
    questions.Ask();
    if (++additions != losing) {
      ProductGeometryObjects3D::AddLink(key, geometry, set);
      return;
    }
    GeometryObject3D without = geometry;
    (lost == LostPath::componentPath ? without.componentPath : without.secondPath).Clear();
    ProductGeometryObjects3D::AddLink(key, without, set);
  }
  std::vector<Key> GetMetaObjectKeys(const GeometryObject3D& geometry) const override {
    questions.Ask();
    return ProductGeometryObjects3D::GetMetaObjectKeys(geometry);
  }

  /// From now on addition number `nth`, counted from 1, is that of an object without this path; with 0 none is.
  void Lose(std::size_t nth, LostPath path) {
    additions = 0;
    losing = nth;
    lost = path;
  }
  std::size_t Additions() const { return additions; }

 private:
  Questions& questions;
  std::size_t additions = 0;
  std::size_t losing = 0;
  LostPath lost = LostPath::componentPath;
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
        first(asked, c_firstName),
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

enum class End { answered, answeredForEmptyPath, answeredOtherwise, platformFailure, noMemory };

struct Question {
  std::string name;
  /// What comes before the call that is tested.
  std::function<void(World&)> prepare;
  /// How it ends where nothing throws: with the answer that it should give, or with that for another object.
  std::function<End(World&)> ask;
  /// Where the path of the 3D object that it asks about is lost, it asks about the one of the document's own component.
  bool losesPathOfObject = false;
};

using Positions = std::set<meta_data::positions::PositionValue>;

bool Holds(const Positions& positions, const UniqueMetaObjectKey& key, const SimplePropVal& position) {
  return std::any_of(positions.begin(), positions.end(), [&](const meta_data::positions::PositionValue& held) {
    return held.GetKey() == key && held.GetValue().GetValue() == position.GetValue();
  });
}

// Asks for no memory of its own, like all that is done with an answer here.
End EndWithPositions(const Positions& positions, bool isRootLinked) {
  const bool hasLonely = Holds(positions, c_lonely, c_ownPosition);
  if (positions.size() == 2 && hasLonely && Holds(positions, c_groupObject, c_positionInGroup)) {
    return End::answered;
  }
  const bool isForRoot = isRootLinked ? positions.size() == 1 && hasLonely : positions.empty();
  return isForRoot ? End::answeredForEmptyPath : End::answeredOtherwise;
}

std::vector<Question> AllQuestions() {
  const auto nothing = [](World&) {};
  const auto fill = [](World& world) {
    meta_3d::SetPositionsMetaLinks(world.root, world.product, world.store);
    return End::answered;
  };
  const auto fillAndLinkRoot = [fill](World& world) {
    fill(world);
    world.store.AddLink(c_lonely, Solid({}, c_firstName), LinkSet::Validated);
  };
  const auto positionsOf = [](bool isRootLinked) {
    return [isRootLinked](World& world) {
      return EndWithPositions(meta_3d::GetPositionValues(world.product, world.store, world.FirstObject()),
                              isRootLinked);
    };
  };
  const auto positionInGroupOf = [](const UniqueMetaObjectKey& key, const SimplePropVal& expected) {
    return [&key, &expected](World& world) {
      const PropValue position = meta_3d::GetGroupObjPositionValue(world.product, key, c_embodiment);
      return position.GetSimpleValue() == expected ? End::answered : End::answeredOtherwise;
    };
  };
  const auto checkOf = [](const UniqueMetaObjectKey& key) {
    const ProductGeometryObject3D link{key, Solid(ComponentPath(c_path), "n")};
    return [link](World& world) {
      return CheckValidProductGeometryLink(link, world.product, EmbodimentsTree(world.product))
                 ? End::answered
                 : End::answeredOtherwise;
    };
  };
  return {{"GetPositionValues", fill, positionsOf(false), true},
          {"GetPositionValues where the document's own component has such a body", fillAndLinkRoot, positionsOf(true),
           true},
          {"GetGroupObjPositionValue in the group", nothing, positionInGroupOf(c_groupObject, c_positionInGroup)},
          {"GetGroupObjPositionValue of its own", nothing, positionInGroupOf(c_occurrence, c_ownPosition)},
          {"SetPositionsMetaLinks", nothing, fill},
          {"SetPositionsMetaLinks again", fill, fill},
          {"GetMarkingFromProdData", nothing,
           [](World& world) {
             const EmbodimentsTree tree(world.product);
             return meta_3d::GetMarkingFromProdData(world.product, tree, c_path).base == c_longText
                        ? End::answered
                        : End::answeredOtherwise;
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

End EndOf(const Question& question, World& world) {
  try {
    return question.ask(world);
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
  if (!Contents(world.store, LinkSet::Unique).empty()) {
    return "the unique set holds links";
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

namespace {

/// How a question may end, the links that it then leaves, and those that it leaves when it is asked again.
struct Result {
  End end;
  Links links;
  Links linksAfterwards;

  friend bool operator==(const Result&, const Result&) = default;
};

void PrintTo(const Result& result, std::ostream* out) {
  *out << "end " << static_cast<int>(result.end) << ", links " << testing::PrintToString(result.links)
       << ", asked again " << testing::PrintToString(result.linksAfterwards);
}

/// As a question that finds memory ends, but for a path that addition number `nth` loses.
Result ResultOfLoss(const Question& question, std::size_t nth, LostPath path) {
  World world;
  question.prepare(world);
  world.store.Lose(nth, path);
  const End end = question.ask(world);
  Links links = Contents(world.store, LinkSet::Validated);
  world.store.Lose(0, path);
  question.ask(world);
  return {end, std::move(links), Contents(world.store, LinkSet::Validated)};
}

std::size_t AdditionsOf(const Question& question) {
  World world;
  question.prepare(world);
  world.store.Lose(0, LostPath::componentPath);
  question.ask(world);
  return world.store.Additions();
}

/// All results that ExceptionMode allows where it is off and memory is refused: the whole one, that of an exception
/// behind each link but the last one, and those without one path. A link whose path was lost for ever is not added:
/// texts are copied behind its paths, and they throw.
std::vector<Result> ResultsWithLostPaths(const Question& question, Refusal refusal) {
  const std::vector<Links> states = StatesOf(question);
  const Links& all = states.back();
  std::vector<Result> results{{End::answered, all, all}};
  for (std::size_t i = 0; i == 0 || i + 1 < states.size(); ++i) {
    results.push_back({End::noMemory, states[i], all});
  }
  if (question.losesPathOfObject) {
    results.push_back({End::answeredForEmptyPath, all, all});
  }
  for (std::size_t nth = AdditionsOf(question); refusal == Refusal::once && nth > 0; --nth) {
    for (const LostPath path : {LostPath::componentPath, LostPath::secondPath}) {
      results.push_back(ResultOfLoss(question, nth, path));
    }
  }
  return results;
}

/// Asks once without memory and once more with it. `hasFailed` tells whether any was refused.
Result ResultWithout(const Question& question, std::size_t nth, Refusal refusal, bool& hasFailed) {
  World world;
  question.prepare(world);
  Result result{};
  {
    const ExceptionModeOff off;
    const FailingAllocations failing(nth, refusal);
    result.end = EndOf(question, world);
    hasFailed = failing.HasFailed();
  }
  EXPECT_EQ(StoreFault(world.store), "");
  result.links = Contents(world.store, LinkSet::Validated);
  EXPECT_EQ(EndOf(question, world), End::answered);
  EXPECT_EQ(StoreFault(world.store), "");
  result.linksAfterwards = Contents(world.store, LinkSet::Validated);
  EXPECT_EQ(Contents(world.store, LinkSet::Unique), Links());
  return result;
}

void ExpectEveryRefusalLosesOnePathAtMost(const Question& question, Refusal refusal) {
  const std::vector<Result> permitted = ResultsWithLostPaths(question, refusal);
  std::vector<bool> isMet(permitted.size());
  std::size_t reached = 0;
  bool hasEverFailed = false;
  bool hasFailed = true;
  for (std::size_t nth = 1; hasFailed; ++nth) {
    SCOPED_TRACE(nth);
    ASSERT_LT(nth, 1000U);
    const AllocationCounter counter;
    {
      const Result result = ResultWithout(question, nth, refusal, hasFailed);
      const auto found = std::find(permitted.begin(), permitted.end(), result);
      ASSERT_NE(found, permitted.end()) << testing::PrintToString(result);
      ASSERT_TRUE(hasFailed || found == permitted.begin()) << testing::PrintToString(result);
      isMet[static_cast<std::size_t>(found - permitted.begin())] = true;
      if (result.end == End::noMemory) {
        EXPECT_GE(result.links.size(), reached);
        reached = result.links.size();
      }
    }
    EXPECT_EQ(counter.Live(), 0);
    hasEverFailed = hasEverFailed || hasFailed;
  }
  for (std::size_t i = 0; refusal == Refusal::once && hasEverFailed && i < permitted.size(); ++i) {
    // What leaves the same is met with the first of its kind.
    const auto first = std::find(permitted.begin(), permitted.end(), permitted[i]);
    EXPECT_TRUE(isMet[static_cast<std::size_t>(first - permitted.begin())])
        << "was not met: " << testing::PrintToString(permitted[i]);
  }
}

}  // namespace

TEST(EveryQuestion, ThatIsRefusedOneAllocationWithExceptionModeOffLosesOnePathAtMost) {
  for (const Question& question : AllQuestions()) {
    SCOPED_TRACE(question.name);
    ExpectEveryRefusalLosesOnePathAtMost(question, Refusal::once);
  }
}

TEST(EveryQuestion, ThatGetsNoMemoryAnyMoreWithExceptionModeOffLosesOnePathAtMost) {
  for (const Question& question : AllQuestions()) {
    SCOPED_TRACE(question.name);
    ExpectEveryRefusalLosesOnePathAtMost(question, Refusal::forEver);
  }
}
