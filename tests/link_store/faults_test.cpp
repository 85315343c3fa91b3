#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <qProdData3D/CreateProductGeometryObjects3D.h>

#include "tests/support/AllocationCounter.h"
#include "tests/support/ExceptionModeOff.h"
#include "tests/support/Links.h"
#include "tests/support/NaiveLinks.h"
#include "tests/support/StoreInside.h"
#include "tests/support/StoreOperations.h"

// Every operation, with every allocation that it makes refused and every call that it makes failing. A naive store that
// is refused memory wherever the rules let an operation ask for it shows which states may remain, and in which order
// they are passed through; the store must remain in one of them, whole, and go on from there as the naive one does.

namespace {

using Kind = StoreOperationKind;
using Refusal = FailingAllocations::Refusal;

const NaivePath c_branch{5, 4, 3, 2, 1};
const NaivePath c_elsewhere{15, 14, 13, 12, 11};
const std::string c_longName = "a name of more than fifteen bytes";
const NaivePath c_longPath{8, 7, 6, 5, 4, 3, 2};

std::string LongText(const std::string& text) {
  return std::string(LongKey(text).Bytes());
}

/// A body in the branch, so deep and with so long a name that every copy asks for memory three times.
NaiveGeometry Deep(std::uint32_t first) {
  return {1, {first, 8, 7, 6, 5, 4, 3, 2, 1}, c_longPath, c_longName};
}

NaiveGeometry Shallow(std::uint32_t first) {
  return {104, {first}, {}, "n"};
}

/// What a path that lost its elements names: it must not be taken for the deep body with that name.
NaiveGeometry OfRoot() {
  return {1, {}, {}, c_longName};
}

/// A store and a naive one with the same links of all kinds, and a validator that accepts everything.
struct Pair {
  Store store;
  NaiveStore model;

  explicit Pair(const ScriptedValidator& validator = {})
      : store(CreateProductGeometryObjects3D(LibraryValidator(validator, nullptr))),
        model(NaiveValidator(validator, nullptr)) {
    Add(LongText("a"), Deep(1), 0);
    Add(LongText("b"), Deep(2), 0);
    Add(LongText("b"), Deep(1), 1);
    Add(LongText("a"), Shallow(1), 1);
    Add(LongText("a"), Deep(3), 1);
    Add(LongText("r"), OfRoot(), 0);
    Add(LongText("a"), OfRoot(), 1);
    Add("s", Shallow(2), 0);
    Add("s", Deep(2), 1);
    Add("t", Shallow(2), 1);
    Add(LongText("u"), Shallow(2), 1);
  }
  ~Pair() { store->SetWriteComponentPath(nullptr); }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;

 private:
  void Add(const std::string& key, const NaiveGeometry& geometry, std::uint32_t set) {
    store->AddLink(UniqueMetaObjectKey(key), GeometryOf(geometry), static_cast<LinkSet>(set));
    model.AddLink(key, geometry, set);
  }
};

struct Case {
  std::string name;
  PreparedOperation operation;
  /// Hands the operation the store's own key and geometry object.
  bool isAliased = false;
};

/// All operations of a store but its release, over all sets where they take one.
std::vector<Case> Cases() {
  std::vector<Case> cases;
  const auto add = [&cases](const std::string& name, Kind kind, const auto& complete) {
    PreparedOperation operation;
    operation.kind = kind;
    operation.key.value = LongText("a");
    operation.geometry.value = Deep(1);
    complete(operation);
    cases.push_back({name + " set " + std::to_string(operation.set), operation});
  };
  const auto addForSets = [&add](const std::string& name, Kind kind, const auto& complete) {
    for (std::uint32_t set = 0; set <= 3; ++set) {
      add(name, kind, [&](PreparedOperation& operation) {
        operation.set = set;
        complete(operation);
      });
    }
  };
  const auto asItIs = [](PreparedOperation&) {};

  for (const Verdict verdict : {Verdict::acceptAll, Verdict::rejectAll, Verdict::takeTurns}) {
    add("SetLinkValidater", Kind::setLinkValidater, [verdict](PreparedOperation& operation) {
      operation.validator = ScriptedValidator{.verdict = verdict, .mask = 2};
    });
  }
  add("SetLinkValidater empty", Kind::setLinkValidater, asItIs);
  addForSets("AddLink of a new link", Kind::addLink, [](PreparedOperation& operation) {
    operation.key.value = LongText("new");
    operation.geometry.value = Deep(9);
  });
  addForSets("AddLink of a geometry object that is linked", Kind::addLink,
             [](PreparedOperation& operation) { operation.key.value = LongText("new"); });
  addForSets("AddLink of a key that is linked", Kind::addLink,
             [](PreparedOperation& operation) { operation.geometry.value = Deep(2); });
  addForSets("AddLinks", Kind::addLinks, [](PreparedOperation& operation) {
    operation.key.value = LongText("new");
    operation.geometryList = {Deep(1), Shallow(2), Deep(9), OfRoot()};
  });
  addForSets("RemoveGeometryObjectLinks", Kind::removeGeometryObjectLinks, asItIs);
  addForSets("RemoveLink", Kind::removeLink, asItIs);
  addForSets("RemoveMetaObjectLinks", Kind::removeMetaObjectLinks, asItIs);
  addForSets("RemoveMetaObjectsLinks", Kind::removeMetaObjectsLinks, [](PreparedOperation& operation) {
    operation.keyList = {LongText("a"), LongText("b"), LongText("unknown")};
  });
  add("ClearLinks", Kind::clearLinks, asItIs);
  addForSets("HasLink", Kind::hasLink, asItIs);
  addForSets("GetMetaObjectKey", Kind::getMetaObjectKey, asItIs);
  add("GetMetaObjectKeys", Kind::getMetaObjectKeys, asItIs);
  addForSets("GetGeometryObjects", Kind::getGeometryObjects, asItIs);
  add("GetGeometryObject", Kind::getGeometryObject, asItIs);
  add("MetaObjectToSomething", Kind::metaObjectToSomething, asItIs);
  add("MetaObjectToWrapper", Kind::metaObjectToWrapper, asItIs);
  add("WriteMetaObjectsLinks", Kind::writeMetaObjectsLinks, asItIs);
  add("SetWriteComponentPath", Kind::setWriteComponentPath,
      [](PreparedOperation& operation) { operation.writePath = Deep(1).componentPath; });
  add("SetWriteComponentPath null", Kind::setWriteComponentPath, asItIs);
  add("RegenerateMetaObjectKeys", Kind::regenerateMetaObjectKeys, [](PreparedOperation& operation) {
    operation.generatedKeys = {LongText("n1"), "n2", LongText("n3"), LongText("n4"), LongText("n5"), LongText("n6")};
  });
  // What is replaced is short, since a long value would lend its memory to the new one.
  add("ReplaceGeometryObject", Kind::replaceGeometryObject, [](PreparedOperation& operation) {
    operation.geometry.value = Shallow(2);
    operation.otherGeometry.value = Deep(9);
  });
  add("ReplaceGeometryObject by one that is linked", Kind::replaceGeometryObject, [](PreparedOperation& operation) {
    operation.geometry.value = Shallow(2);
    operation.otherGeometry.value = Deep(2);
  });
  add("ReplaceGeometryObject by one that it would be without its path", Kind::replaceGeometryObject,
      [](PreparedOperation& operation) {
        operation.geometry.value = OfRoot();
        operation.otherGeometry.value = Deep(9);
      });
  add("ReplaceGeometryObject of a long one", Kind::replaceGeometryObject,
      [](PreparedOperation& operation) { operation.otherGeometry.value = Shallow(9); });
  addForSets("ReplaceMetaObjectKey", Kind::replaceMetaObjectKey, [](PreparedOperation& operation) {
    operation.key.value = "s";
    operation.otherKey.value = LongText("new");
  });
  addForSets("ReplaceMetaObjectKey by one that is linked", Kind::replaceMetaObjectKey,
             [](PreparedOperation& operation) {
               operation.key.value = "s";
               operation.otherKey.value = LongText("b");
             });
  addForSets("ReplaceMetaObjectKey of a long one", Kind::replaceMetaObjectKey,
             [](PreparedOperation& operation) { operation.otherKey.value = "new"; });
  add("ReplaceComponentPath", Kind::replaceComponentPath, [](PreparedOperation& operation) {
    operation.fromPath.value = c_branch;
    operation.toPath.value = c_elsewhere;
  });
  add("ReplaceComponentPath of long paths", Kind::replaceComponentPath, [](PreparedOperation& operation) {
    operation.fromPath.value = {8, 7, 6, 5, 4, 3, 2, 1};
    operation.toPath.value = {18, 17, 16, 15, 14, 13, 12, 11};
  });
  add("ReplaceComponentPath of all paths", Kind::replaceComponentPath, [](PreparedOperation& operation) {
    operation.fromPath.value = {1};
    operation.toPath.value = {};
  });
  addForSets("ForEachLink", Kind::forEachLink, asItIs);
  add("GetValidatedOnlyGeometryObjects", Kind::getValidatedOnlyGeometryObjects, [](PreparedOperation& operation) {
    operation.wantsFirstFlag = true;
    operation.wantsSecondFlag = true;
  });

  const std::size_t withoutAliases = cases.size();
  for (std::size_t i = 0; i < withoutAliases; ++i) {
    const Kind kind = cases[i].operation.kind;
    if (kind == Kind::addLink || kind == Kind::replaceGeometryObject || kind == Kind::replaceMetaObjectKey) {
      Case aliased = cases[i];
      aliased.name += ", its arguments the store's own";
      aliased.isAliased = true;
      cases.push_back(aliased);
    }
  }
  return cases;
}

/// The operation as it is handed to this store.
PreparedOperation ArgumentsIn(const Case& tested, const IProductGeometryObjects3D& store) {
  PreparedOperation operation = tested.operation;
  if (tested.isAliased) {
    for (const ProductGeometryObject3D& record : UniqueLinksOf(store)) {
      operation.key.stored = record.metaKey.Bytes() == operation.key.value ? &record.metaKey : operation.key.stored;
      operation.geometry.stored =
          NaiveOf(record.geometry) == operation.geometry.value ? &record.geometry : operation.geometry.stored;
    }
  }
  return operation;
}

/// How an operation may end, and what it then leaves.
struct Ending {
  NaiveStore model;
  StoreOutcome outcome;
};

/// All endings of an operation that is refused memory once or for ever, in the order in which it passes through them.
/// The last one is its success.
std::vector<Ending> EndingsOf(const Case& tested, bool isForEver, bool pathsThrow) {
  std::vector<Ending> endings;
  if (tested.isAliased) {
    // Before it changes what it was handed it may copy it.
    endings.push_back({Pair().model, {}});
    endings.back().outcome.end = StoreOutcome::End::noMemory;
  }
  for (std::size_t nth = 1;; ++nth) {
    Ending ending{Pair().model, {}};
    ending.model.SetMemory(NaiveMemory(nth, isForEver, pathsThrow));
    ending.outcome = DoOnModel(tested.operation, ending.model, nullptr);
    const bool hasRefused = ending.model.HasRefusedMemory();
    ending.model.SetMemory(NaiveMemory());
    endings.push_back(std::move(ending));
    if (!hasRefused) {
      return endings;
    }
  }
}

bool IsSameOutcome(const StoreOutcome& ending, const StoreOutcome& outcome) {
  if (outcome.end == StoreOutcome::End::returned) {
    return ending == outcome;
  }
  // What was written until then goes by the stream's own memory.
  StoreOutcome comparable = outcome;
  comparable.bytes = ending.bytes;
  return ending == comparable;
}

bool IsEnding(const Ending& ending, const StoreOutcome& outcome, const IProductGeometryObjects3D& store) {
  return IsSameOutcome(ending.outcome, outcome) && Difference(store, ending.model).empty();
}

/// Does some operations of every kind on both.
std::string DifferenceInUse(IProductGeometryObjects3D& store, NaiveStore& model) {
  std::uint32_t state = 1;
  for (int count = 0; count < 40; ++count) {
    StoreOperation operation;
    for (std::uint8_t& number : operation.numbers) {
      state = state * 1664525 + 1013904223;
      number = static_cast<std::uint8_t>(state >> 24);
    }
    const PreparedOperation prepared = Prepare(operation, store, model);
    if (prepared.kind != Kind::release) {
      const std::string difference = ApplyToBoth(prepared, store, model);
      if (!difference.empty()) {
        return TextOf(prepared) + difference;
      }
    }
  }
  return {};
}

/// What tests make once and keep is made by now, so that it is not counted as a leak.
void MakeWhatIsMadeOnce() {
  Pair unharmed;
  EXPECT_EQ(DifferenceInUse(*unharmed.store, unharmed.model), "");
}

struct Fault {
  bool hasFailed = false;
  /// What is wrong, in words; nothing where all is well.
  std::string wrong;
  /// Which ending it was.
  std::size_t ending = 0;
};

/// Does the operation on a new store while its allocation number `nth` fails.
Fault RefuseAllocation(const Case& tested, std::size_t nth, Refusal refusal, bool pathsThrow,
                       const std::vector<Ending>& endings, std::size_t firstEnding) {
  Fault fault;
  Pair pair;
  const auto around = [&](const std::function<void()>& call) {
    std::optional<ExceptionModeOff> off;
    if (!pathsThrow) {
      off.emplace();
    }
    const FailingAllocations failing(nth, refusal);
    try {
      call();
    } catch (...) {
      fault.hasFailed = failing.HasFailed();
      throw;
    }
    fault.hasFailed = failing.HasFailed();
  };
  const StoreOutcome outcome = DoOnStore(ArgumentsIn(tested, *pair.store), *pair.store, nullptr, around);
  if (pathsThrow && (outcome.end == StoreOutcome::End::noMemory) != fault.hasFailed) {
    fault.wrong = "the lack of memory was not passed on, or made up";
    return fault;
  }
  fault.wrong = StoreFault(*pair.store);
  if (!fault.wrong.empty()) {
    return fault;
  }
  fault.ending = firstEnding;
  while (fault.ending < endings.size() && !IsEnding(endings[fault.ending], outcome, *pair.store)) {
    ++fault.ending;
  }
  if (fault.ending == endings.size()) {
    fault.wrong = "no such state may remain, or not any more:\n" + Lines(NaiveLinksOf(UniqueLinksOf(*pair.store))) +
                  "    and\n" + Lines(NaiveLinksOf(ValidatedLinksOf(*pair.store)));
    return fault;
  }
  if (!fault.hasFailed && !IsEnding(endings.back(), outcome, *pair.store)) {
    fault.wrong = "nothing was refused, and yet it is not the success";
    return fault;
  }
  NaiveStore model = endings[fault.ending].model;
  fault.wrong = DifferenceInUse(*pair.store, model);
  return fault;
}

/// Refuses one allocation after the other until the operation succeeds.
void ExpectEveryRefusalIsEndured(const Case& tested, Refusal refusal, bool pathsThrow) {
  const std::vector<Ending> endings = EndingsOf(tested, refusal == Refusal::forEver, pathsThrow);
  std::vector<bool> reached(endings.size());
  // Where a path goes on empty, the places at which the store copies it show; their order is its own.
  std::size_t firstEnding = 0;
  bool hasFailed = true;
  for (std::size_t nth = 1; hasFailed; ++nth) {
    SCOPED_TRACE("allocation " + std::to_string(nth));
    ASSERT_LT(nth, 1000U);
    const AllocationCounter counter;
    std::ptrdiff_t live = 0;
    {
      const Fault fault = RefuseAllocation(tested, nth, refusal, pathsThrow, endings, firstEnding);
      ASSERT_EQ(fault.wrong, "");
      hasFailed = fault.hasFailed;
      reached[fault.ending] = true;
      firstEnding = pathsThrow ? fault.ending : 0;
    }
    live = counter.Live();
    EXPECT_EQ(live, 0) << "blocks that nobody released";
  }
  if (!pathsThrow && refusal == Refusal::forEver) {
    return;  // what is refused between two paths depends on what else needs memory there
  }
  for (std::size_t i = 0; i < endings.size(); ++i) {
    // One of those that leave the same must have been met.
    bool isReached = false;
    for (std::size_t other = 0; other < endings.size(); ++other) {
      isReached = isReached || (reached[other] && IsSameOutcome(endings[i].outcome, endings[other].outcome) &&
                                endings[other].model.Unique() == endings[i].model.Unique() &&
                                endings[other].model.Validated() == endings[i].model.Validated() &&
                                endings[other].model.WritePath() == endings[i].model.WritePath());
    }
    EXPECT_TRUE(isReached || tested.isAliased) << "the ending after request " << i + 1 << " was not met";
  }
}

void ExpectEveryOperationEndures(Refusal refusal, bool pathsThrow) {
  MakeWhatIsMadeOnce();
  for (const Case& tested : Cases()) {
    SCOPED_TRACE(tested.name);
    ExpectEveryRefusalIsEndured(tested, refusal, pathsThrow);
  }
}

}  // namespace

TEST(EveryOperation, ThatIsRefusedOneAllocationLeavesADocumentedStateAndAWholeStore) {
  ExpectEveryOperationEndures(Refusal::once, true);
}

TEST(EveryOperation, ThatGetsNoMemoryAnyMoreLeavesADocumentedStateAndAWholeStore) {
  ExpectEveryOperationEndures(Refusal::forEver, true);
}

TEST(EveryOperation, ThatIsRefusedOneAllocationWithExceptionModeOffLeavesADocumentedStateAndAWholeStore) {
  ExpectEveryOperationEndures(Refusal::once, false);
}

TEST(EveryOperation, ThatGetsNoMemoryAnyMoreWithExceptionModeOffLeavesADocumentedStateAndAWholeStore) {
  ExpectEveryOperationEndures(Refusal::forEver, false);
}

TEST(EveryCallOfAValidator, ThatThrowsWhileLinksAreAddedLeavesDoneWhatWasDoneBefore) {
  MakeWhatIsMadeOnce();
  for (const bool isList : {false, true}) {
    for (std::uint32_t set = 0; set <= 3; ++set) {
      const std::uint32_t calls = set > 1 ? 0 : isList ? 4 : 1;
      for (std::uint32_t nth = 1; nth <= calls + 1; ++nth) {
        SCOPED_TRACE("set " + std::to_string(set) + ", call " + std::to_string(nth));
        const AllocationCounter counter;
        {
          ScriptedValidator validator;
          validator.throwAt = Pair().model.StoredValidator().target<ScriptedValidator>()->calls + nth;
          Pair pair(validator);
          PreparedOperation operation;
          operation.kind = isList ? Kind::addLinks : Kind::addLink;
          operation.set = set;
          operation.key.value = LongText("new");
          operation.geometry.value = Deep(1);
          operation.geometryList = {Deep(1), Shallow(2), Deep(9), OfRoot()};
          NaiveStore copy = pair.model;
          EXPECT_EQ(DoOnModel(operation, copy, nullptr).end == StoreOutcome::End::scriptedFailure, nth <= calls);
          EXPECT_EQ(ApplyToBoth(operation, *pair.store, pair.model), "");
          EXPECT_EQ(DifferenceInUse(*pair.store, pair.model), "");
        }
        EXPECT_EQ(counter.Live(), 0);
      }
    }
  }
}

TEST(EveryCallOfAValidator, ThatThrowsWhileItIsSetLeavesEveryLinkAndIsStoredAllTheSame) {
  MakeWhatIsMadeOnce();
  const std::size_t links = Pair().model.Validated().ByKey().size();
  for (const Verdict verdict : {Verdict::acceptAll, Verdict::rejectAll}) {
    for (std::uint32_t nth = 1; nth <= links + 1; ++nth) {
      SCOPED_TRACE(nth);
      const AllocationCounter counter;
      {
        Pair pair;
        PreparedOperation operation;
        operation.kind = Kind::setLinkValidater;
        operation.validator = ScriptedValidator{.verdict = verdict, .throwAt = nth};
        NaiveStore copy = pair.model;
        EXPECT_EQ(DoOnModel(operation, copy, nullptr).end == StoreOutcome::End::scriptedFailure, nth <= links);
        EXPECT_EQ(ApplyToBoth(operation, *pair.store, pair.model), "");
        EXPECT_EQ(DifferenceInUse(*pair.store, pair.model), "");
      }
      EXPECT_EQ(counter.Live(), 0);
    }
  }
}

TEST(EveryCallOfAVisitor, ThatThrowsEndsTheWalkAndLeavesTheStore) {
  MakeWhatIsMadeOnce();
  for (std::uint32_t set = 0; set <= 3; ++set) {
    const std::size_t links = (set == 2 ? Pair().model.Unique() : Pair().model.Validated()).ByKey().size();
    for (std::size_t nth = 1; nth <= links + 1; ++nth) {
      SCOPED_TRACE("set " + std::to_string(set) + ", call " + std::to_string(nth));
      const AllocationCounter counter;
      {
        Pair pair;
        PreparedOperation operation;
        operation.kind = Kind::forEachLink;
        operation.set = set;
        operation.throwAt = nth;
        NaiveStore copy = pair.model;
        EXPECT_EQ(DoOnModel(operation, copy, nullptr).end == StoreOutcome::End::scriptedFailure, nth <= links);
        EXPECT_EQ(ApplyToBoth(operation, *pair.store, pair.model), "");
      }
      EXPECT_EQ(counter.Live(), 0);
    }
  }
}

TEST(EveryCallOfADocument, ThatThrowsEndsTheQuestionAndLeavesTheStore) {
  MakeWhatIsMadeOnce();
  for (const Kind kind : {Kind::metaObjectToSomething, Kind::metaObjectToWrapper}) {
    const AllocationCounter counter;
    {
      Pair pair;
      PreparedOperation operation;
      operation.kind = kind;
      operation.key.value = LongText("a");
      operation.throwAt = 1;
      NaiveStore copy = pair.model;
      EXPECT_EQ(DoOnModel(operation, copy, nullptr).end, StoreOutcome::End::scriptedFailure);
      EXPECT_EQ(ApplyToBoth(operation, *pair.store, pair.model), "");
    }
    EXPECT_EQ(counter.Live(), 0);
  }
}

TEST(SetLinkValidater, KeepsTheOldValidatorAndEveryLinkWhereTheNewOneCannotBeCopied) {
  struct NotToBeCopied {
    NotToBeCopied() = default;
    NotToBeCopied(const NotToBeCopied& other) : mayBeCopied(other.mayBeCopied) {
      if (!mayBeCopied) {
        throw ScriptedFailure();
      }
    }
    bool operator()(const ProductGeometryObject3D&) const { return false; }

    bool mayBeCopied = true;
  };
  MakeWhatIsMadeOnce();
  const AllocationCounter counter;
  {
    Pair pair;
    IProductGeometryObjects3D::LinkValidator validator{NotToBeCopied()};
    validator.target<NotToBeCopied>()->mayBeCopied = false;
    EXPECT_THROW(pair.store->SetLinkValidater(std::move(validator)), ScriptedFailure);
    EXPECT_EQ(Difference(*pair.store, pair.model), "");
  }
  EXPECT_EQ(counter.Live(), 0);
}

TEST(CreateProductGeometryObjects3D, ThatIsRefusedAnyAllocationReleasesWhatItHad) {
  for (const Refusal refusal : {Refusal::once, Refusal::forEver}) {
    bool hasFailed = true;
    for (std::size_t nth = 1; hasFailed; ++nth) {
      SCOPED_TRACE(nth);
      ASSERT_LT(nth, 100U);
      const AllocationCounter counter;
      bool hasThrown = false;
      {
        auto validator = LibraryValidator(ScriptedValidator(), nullptr);
        Store store;
        const FailingAllocations failing(nth, refusal);
        try {
          store = CreateProductGeometryObjects3D(std::move(validator));
        } catch (const std::bad_alloc&) {
          hasThrown = true;
        }
        hasFailed = failing.HasFailed();
        EXPECT_NE(hasThrown, store != nullptr);
      }
      EXPECT_EQ(hasThrown, hasFailed);
      EXPECT_EQ(counter.Live(), 0);
    }
  }
}

TEST(AStore, IsReleasedWhereNoMemoryIsLeft) {
  const AllocationCounter counter;
  {
    auto pair = std::make_unique<Pair>();
    const FailingAllocations failing(1);
    pair.reset();
    EXPECT_FALSE(failing.HasFailed());
  }
  EXPECT_EQ(counter.Live(), 0);
}
