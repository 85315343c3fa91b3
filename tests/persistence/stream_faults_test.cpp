// Whatever fails in the middle of writing or reading, at whichever call: nothing leaks, no link is half made, store,
// stream and versions are in a state that the contracts name, and the store works on.

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qSys/MemoryStreams.h>

#include "link_store/ProductGeometryObjects3D.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/ExceptionModeOff.h"
#include "tests/support/LinksCodec.h"
#include "tests/support/LinksCodecStore.h"
#include "tests/support/StreamFaults.h"

namespace {

using Refusal = FailingAllocations::Refusal;
using codec::Link;
using codec::Links;
using codec::Path;

constexpr codec::Versions c_current{0x17000002, 0x0F001001};
// Component paths back to front.
constexpr codec::Versions c_reversed{0x17000001, 0x0F001001};
constexpr codec::Versions c_oneSet{0x12000025, 0x0EFFFFFF};
constexpr codec::Versions c_narrow{0x17000001, 0x03FFFFFF};

// Longer than what lives inside a path, a key and a name.
const Path c_longPath{1, 2, 3, 4, 5, 6, 7, 8};
const std::string c_longText(40, 'x');

// Each costs memory in every field.
const Links c_long{{"a" + c_longText, 1, c_longPath, c_longPath, "1" + c_longText},
                   {"b" + c_longText, 2, c_longPath, c_longPath, "2" + c_longText},
                   {"c" + c_longText, 200, c_longPath, c_longPath, "3" + c_longText}};
// Each costs memory in its paths alone; nothing of them but their paths is alike.
const Links c_longPaths{{"a", 1, c_longPath, c_longPath, "1"},
                        {"b", 2, c_longPath, c_longPath, "2"},
                        {"c", 200, c_longPath, c_longPath, "3"}};

struct TestStore {
  std::unique_ptr<IProductGeometryObjects3D> store = CreateProductGeometryObjects3D(AcceptAll);
  codec::LinkSets expected;

  explicit TestStore(const Links& links = {}) {
    AddTo(*store, links, LinkSet::Both);
    for (const Link& link : links) {
      expected.AddUnique(link);
      expected.AddValidated(link);
    }
  }
};

// ---- writing without memory

// A writer that asks for no memory while it writes.
class FixedWriter final : public writer {
 public:
  explicit FixedWriter(const codec::Versions& streamVersions) : tape(ToLibrary(streamVersions)) {
    written.reserve(8192);
  }
  void writeBlock(const void* bytes, std::size_t length) override {
    ASSERT_LE(written.size() + length, written.capacity());
    const auto* first = static_cast<const std::byte*>(bytes);
    written.insert(written.end(), first, first + length);
  }

  codec::Bytes written;
};

// Offsets within a section at which a record begins, or its component path.
std::set<std::size_t> PlacesOfCopies(const codec::Bytes& section, const codec::Versions& versions) {
  std::set<std::size_t> places;
  for (const codec::CountField& field : codec::CountFieldsOf(section, versions)) {
    places.insert(field.offset);
  }
  return places;
}

class WritingWithoutMemory : public testing::TestWithParam<Refusal> {};

INSTANTIATE_TEST_SUITE_P(Refused, WritingWithoutMemory, testing::Values(Refusal::once, Refusal::forEver),
                         [](const auto& instance) { return instance.param == Refusal::once ? "Once" : "ForEver"; });

TEST_P(WritingWithoutMemory, EndsWithinARecordAndChangesNothingElse) {
  const AllocationCounter use;
  {
    const TestStore held(c_long);
    const MbPath filter = PathOf(c_longPath);
    for (const bool isFiltered : {false, true}) {
      held.store->SetWriteComponentPath(isFiltered ? &filter : nullptr);
      for (const codec::Versions& versions : {c_current, c_oneSet}) {
        const codec::Bytes whole = codec::EncodeSection(held.expected.Unique(), held.expected.Validated(), versions,
                                                        isFiltered ? &c_longPath : nullptr)
                                       .bytes;
        const std::set<std::size_t> places = PlacesOfCopies(whole, versions);
        std::set<std::size_t> ends;
        for (std::size_t number = 1;; ++number) {
          FixedWriter out(versions);
          bool isWritten = false;
          {
            const FailingAllocations refused(number, GetParam());
            try {
              held.store->WriteMetaObjectsLinks(out);
              isWritten = true;
            } catch (const std::bad_alloc&) {
            }
          }
          ASSERT_EQ(out.State(), 0u);
          ASSERT_EQ(out.AppVersion(tape::c_mainVersion), versions.app);
          ASSERT_EQ(out.MathVersion(), versions.math);
          ASSERT_EQ(DifferenceOf(*held.store, held.expected), "") << number;
          if (isWritten) {
            ASSERT_EQ(out.written, whole);
            break;
          }
          ASSERT_LT(out.written.size(), whole.size());
          ASSERT_TRUE(std::equal(out.written.begin(), out.written.end(), whole.begin())) << number;
          ASSERT_EQ(places.count(out.written.size()), 1u) << number;
          ASSERT_TRUE(ends.empty() || *ends.rbegin() <= out.written.size()) << number;
          ends.insert(out.written.size());
        }
        EXPECT_EQ(ends.size(), held.expected.Unique().size() + (versions.app == c_current.app ? c_long.size() : 0));
      }
    }
    held.store->SetWriteComponentPath(nullptr);
  }
  EXPECT_EQ(use.Live(), 0);
}

// The links with one kind of path emptied: of link number `first`, or of it and all that follow.
Links WithoutPaths(Links links, std::size_t first, Refusal refusal, Path Link::*path) {
  for (std::size_t i = first; i < links.size() && (refusal == Refusal::forEver || i == first); ++i) {
    links[i].*path = {};
  }
  return links;
}

const codec::Versions c_writtenForms[] = {c_current, c_reversed, c_oneSet};

std::size_t SetsOf(const codec::Versions& versions) {
  return versions.app == c_oneSet.app ? 1 : 2;
}

// What stands in a section behind one another, where both sets hold these links.
Links InAllSets(const Links& links, const codec::Versions& versions) {
  Links all = links;
  for (std::size_t set = 1; set < SetsOf(versions); ++set) {
    all.insert(all.end(), links.begin(), links.end());
  }
  return all;
}

codec::Bytes SectionOf(const Links& all, const codec::Versions& versions, const Path* onlyPath = nullptr) {
  const auto end = all.begin() + static_cast<std::ptrdiff_t>(all.size() / SetsOf(versions));
  return codec::EncodeSection(Links(all.begin(), end), Links(end, all.end()), versions, onlyPath).bytes;
}

// Keys and names are not copied, so nothing throws.
TEST_P(WritingWithoutMemory, WritesPathsAsEmptyWhereExceptionsAreOff) {
  const ExceptionModeOff mode;
  for (const Links& links : {c_longPaths, c_long}) {
    const TestStore held(links);
    for (const codec::Versions& versions : c_writtenForms) {
      const Links all = InAllSets(links, versions);
      for (std::size_t number = 0; number <= all.size(); ++number) {
        FixedWriter out(versions);
        {
          const FailingAllocations refused(number + 1, GetParam());
          held.store->WriteMetaObjectsLinks(out);
          ASSERT_EQ(refused.HasFailed(), number < all.size());
        }
        ASSERT_EQ(out.written, SectionOf(WithoutPaths(all, number, GetParam(), &Link::componentPath), versions));
        ASSERT_EQ(out.State(), 0u);
        ASSERT_EQ(DifferenceOf(*held.store, held.expected), "");
      }
    }
  }
}

// A record is copied without its component path; of the copy only the second path can be missed.
TEST_P(WritingWithoutMemory, OfOneComponentWritesSecondPathsAsEmptyWhereExceptionsAreOff) {
  const ExceptionModeOff mode;
  const TestStore held(c_longPaths);
  const MbPath filter = PathOf(c_longPath);
  held.store->SetWriteComponentPath(&filter);
  for (const codec::Versions& versions : c_writtenForms) {
    const Links all = InAllSets(c_longPaths, versions);
    const codec::Bytes whole = SectionOf(all, versions, &c_longPath);
    std::size_t lost = 0;
    std::size_t number = 1;
    for (bool hasRefused = true; hasRefused; ++number) {
      FixedWriter out(versions);
      {
        const FailingAllocations refused(number, GetParam());
        held.store->WriteMetaObjectsLinks(out);
        hasRefused = refused.HasFailed();
      }
      ASSERT_EQ(out.State(), 0u);
      ASSERT_EQ(DifferenceOf(*held.store, held.expected), "");
      const codec::Bytes without =
          SectionOf(WithoutPaths(all, lost, GetParam(), &Link::secondPath), versions, &c_longPath);
      if (GetParam() == Refusal::once) {
        // Every other allocation is for a path that is dropped anyway.
        const bool isForSecondPath = hasRefused && number % 2 == 0;
        ASSERT_EQ(out.written, isForSecondPath ? without : whole) << number;
        lost += isForSecondPath ? 1u : 0u;
      } else {
        ASSERT_EQ(out.written, without) << number;
        lost += number % 2 == 0 ? 1u : 0u;
      }
    }
    EXPECT_GE(lost, all.size());
  }
  held.store->SetWriteComponentPath(nullptr);
}

// Offsets within a section at which its records begin.
std::vector<std::size_t> BeginningsOfRecords(const codec::Bytes& section, const codec::Versions& versions) {
  std::vector<std::size_t> beginnings;
  bool isKey = true;
  for (const codec::CountField& field : codec::CountFieldsOf(section, versions)) {
    if (field.of == codec::CountField::Of::bytes) {
      if (isKey) {
        beginnings.push_back(field.offset);
      }
      isKey = !isKey;
    }
  }
  return beginnings;
}

// The copy has a key and a name as well, which throw whatever the mode.
TEST_P(WritingWithoutMemory, OfOneComponentEndsBeforeTheRecordWhoseTextsGetNoneWhereExceptionsAreOff) {
  const ExceptionModeOff mode;
  const AllocationCounter use;
  {
    const TestStore held(c_long);
    const MbPath filter = PathOf(c_longPath);
    held.store->SetWriteComponentPath(&filter);
    for (const codec::Versions& versions : c_writtenForms) {
      const Links all = InAllSets(c_long, versions);
      const codec::Bytes whole = SectionOf(all, versions, &c_longPath);
      const std::vector<std::size_t> beginnings = BeginningsOfRecords(whole, versions);
      ASSERT_EQ(beginnings.size(), all.size());
      // Of each record the key, the two paths and the name.
      for (std::size_t number = 0; number <= 4 * all.size(); ++number) {
        const std::size_t record = number / 4;
        const bool isText = number % 4 == 0 || number % 4 == 3;
        FixedWriter out(versions);
        bool isWritten = false;
        {
          const FailingAllocations refused(number + 1, GetParam());
          try {
            held.store->WriteMetaObjectsLinks(out);
            isWritten = true;
          } catch (const std::bad_alloc&) {
          }
          ASSERT_EQ(refused.HasFailed(), record < all.size());
        }
        ASSERT_EQ(isWritten, record == all.size() || (GetParam() == Refusal::once && !isText)) << number;
        codec::Bytes expected = whole;
        if (!isWritten) {
          expected.resize(beginnings[record]);
        } else if (number % 4 == 2) {
          expected = SectionOf(WithoutPaths(all, record, Refusal::once, &Link::secondPath), versions, &c_longPath);
        }
        ASSERT_EQ(out.written, expected) << number;
        ASSERT_EQ(out.State(), 0u);
        ASSERT_EQ(DifferenceOf(*held.store, held.expected), "");
      }
    }
    held.store->SetWriteComponentPath(nullptr);
  }
  EXPECT_EQ(use.Live(), 0);
}

TEST_P(WritingWithoutMemory, OfAWritePathThatCannotBeCopiedWritesAllLinks) {
  const AllocationCounter use;
  {
    const TestStore held(c_long);
    const codec::Bytes whole = SectionOf({c_long[0], c_long[1], c_long[2], c_long[0], c_long[1], c_long[2]}, c_current);
    const MbPath first = PathOf({1});
    const MbPath second = PathOf(c_longPath);
    std::size_t failures = 0;
    for (bool isSet = false; !isSet;) {
      held.store->SetWriteComponentPath(&first);
      {
        const FailingAllocations refused(failures + 1, GetParam());
        try {
          held.store->SetWriteComponentPath(&second);
          isSet = true;
        } catch (const std::bad_alloc&) {
          ++failures;
        }
      }
      if (!isSet) {
        MemoryWriter out(ToLibrary(c_current));
        held.store->WriteMetaObjectsLinks(out);
        ASSERT_EQ(out.Bytes(), whole);
      }
    }
    EXPECT_EQ(failures, 2u);
    held.store->SetWriteComponentPath(nullptr);
  }
  EXPECT_EQ(use.Live(), 0);
}

// ---- reading without memory

// The states of a store on its way through a merge, from before the first link to behind the last. Adding a unique
// link has two steps.
std::vector<codec::LinkSets> StatesOfMerge(const codec::LinkSets& before, const codec::Decoded& section,
                                           const codec::ProductData* productData) {
  codec::LinkSets sets = before;
  std::vector<codec::LinkSets> states{before};
  codec::ForEachMergedLink(section, sets, productData, [&](const Link& link, bool isUnique) {
    if (isUnique) {
      sets.RemoveFromUnique(codec::PlaceOf(link));
      states.push_back(sets);
      sets.AddUnique(link);
    } else {
      sets.AddValidated(link);
    }
    states.push_back(sets);
  });
  return states;
}

// Knows every key, and lets one depend on another.
const codec::ProductData& KnownKeys() {
  static const codec::ProductData data{
      [](const std::string& key) { return key.front() != 'n'; },
      [](const std::string& key) {
        return key.front() == 'b' ? std::set<std::string>{"c" + c_longText, "z"} : std::set<std::string>{};
      }};
  return data;
}

// Two links to one geometry object, for the repair; links that replace held ones, meet held keys, and are held already.
struct Merge {
  Links held{{"held" + c_longText, 1, c_longPath, c_longPath, "1" + c_longText},
             {"c" + c_longText, 200, {9}, {}, ""},
             {"d" + c_longText, 7, c_longPath, {}, "d"}};
  Links unique{{"a" + c_longText, 1, c_longPath, c_longPath, "1" + c_longText},
               {"b" + c_longText, 1, c_longPath, c_longPath, "1" + c_longText},
               {"c" + c_longText, 200, c_longPath, c_longPath, "3" + c_longText},
               {"d" + c_longText, 2, c_longPath, c_longPath, "2" + c_longText},
               {"n" + c_longText, 3, c_longPath, {}, "4" + c_longText}};
  Links validated{{"a" + c_longText, 1, c_longPath, c_longPath, "1" + c_longText},
                  {"a" + c_longText, 1, c_longPath, {}, "2" + c_longText},
                  {"d" + c_longText, 7, c_longPath, {}, "d"}};
};

struct ReadingCase {
  Refusal refusal;
  codec::Versions versions;
  bool hasProductData;
};

std::string NameOf(const ReadingCase& reading) {
  return std::string(reading.refusal == Refusal::once ? "Once" : "ForEver") +
         (reading.versions.app == c_oneSet.app ? "OneSet" : "TwoSets") + (reading.hasProductData ? "Repaired" : "");
}

void PrintTo(const ReadingCase& reading, std::ostream* out) {
  *out << NameOf(reading);
}

std::vector<ReadingCase> ReadingCases() {
  std::vector<ReadingCase> cases;
  for (const Refusal refusal : {Refusal::once, Refusal::forEver}) {
    for (const codec::Versions& versions : {c_current, c_oneSet}) {
      cases.push_back({refusal, versions, false});
      cases.push_back({refusal, versions, true});
    }
  }
  return cases;
}

class ReadingWithoutMemory : public testing::TestWithParam<ReadingCase> {
 protected:
  const codec::Versions& Versions() const { return GetParam().versions; }
  const codec::ProductData* Data() const { return GetParam().hasProductData ? &KnownKeys() : nullptr; }

  // True when it was not refused its memory.
  bool TryToRead(reader& in, IProductGeometryObjects3D& store, std::size_t number) const {
    // Its answers ask for memory as well.
    const CodecMetaProductData metaData(KnownKeys());
    const FailingAllocations refused(number, GetParam().refusal);
    try {
      ReadMetaObjectsLinks(in, store, GetParam().hasProductData ? &metaData : nullptr);
      return true;
    } catch (const std::bad_alloc&) {
      EXPECT_TRUE(refused.HasFailed());
      return false;
    }
  }
};

INSTANTIATE_TEST_SUITE_P(Refused, ReadingWithoutMemory, testing::ValuesIn(ReadingCases()),
                         [](const auto& instance) { return NameOf(instance.param); });

TEST_P(ReadingWithoutMemory, LeavesABeginningOfTheMergeAndAStoreThatWorksOn) {
  KnownKeys();  // made before memory is measured
  const Merge merge;
  const codec::Bytes bytes = codec::EncodeSection(merge.unique, merge.validated, Versions()).bytes;
  const codec::Decoded section = codec::DecodeSection(bytes, Versions());
  const std::vector<codec::LinkSets> states = StatesOfMerge(TestStore(merge.held).expected, section, Data());
  std::size_t reached = 0;
  std::set<std::size_t> seen;
  bool isRead = false;
  for (std::size_t number = 1; !isRead; ++number) {
    const AllocationCounter use;
    {
      const TestStore held(merge.held);
      MemoryReader in(bytes, ToLibrary(Versions()));
      isRead = TryToRead(in, *held.store, number);
      // Failures come later and later, so what is reached never goes back.
      while (reached < states.size() && !DifferenceOf(*held.store, states[reached]).empty()) {
        ++reached;
      }
      ASSERT_LT(reached, states.size()) << number << ": a state that no merge passes";
      ASSERT_TRUE(!isRead || DifferenceOf(*held.store, states.back()).empty());
      ASSERT_EQ(in.State(), 0u);
      ASSERT_EQ(in.AppVersion(tape::c_mainVersion), Versions().app);
      ASSERT_EQ(in.MathVersion(), Versions().math);
      if (reached != 0) {
        ASSERT_EQ(in.Position(), bytes.size());
      }
      // And on: the same section once more, with memory.
      codec::LinkSets expected = states[reached];
      codec::Merge(section, expected, Data());
      MemoryReader again(bytes, ToLibrary(Versions()));
      const CodecMetaProductData metaData(KnownKeys());
      ReadMetaObjectsLinks(again, *held.store, GetParam().hasProductData ? &metaData : nullptr);
      ASSERT_EQ(DifferenceOf(*held.store, expected), "") << number;
    }
    ASSERT_EQ(use.Live(), 0) << number;
    seen.insert(reached);
  }
  EXPECT_EQ(*seen.begin(), 0u);
  EXPECT_GT(seen.size(), merge.unique.size());
}

// How many paths of these links are shorter than in `whole`, in which they are looked up by key and name; anything else
// that differs is a failure.
std::size_t LostPaths(const Links& links, const Links& whole) {
  std::size_t lost = 0;
  const auto check = [&lost](const Path& path, const Path& expected) {
    if (path != expected) {
      ++lost;
      EXPECT_LE(path.size(), MbPath::c_inlineCount);
      EXPECT_TRUE(std::equal(path.begin(), path.end(), expected.begin()));
    }
  };
  for (const Link& link : links) {
    const auto found =
        std::find_if(whole.begin(), whole.end(), [&link](const Link& other) { return other.key == link.key; });
    if (found == whole.end()) {
      ADD_FAILURE() << "a link that was not read: " << testing::PrintToString(link);
      continue;
    }
    EXPECT_EQ(link.type, found->type);
    EXPECT_EQ(link.name, found->name);
    check(link.componentPath, found->componentPath);
    check(link.secondPath, found->secondPath);
  }
  return lost;
}

// A path that gets no memory loses its elements, and nothing but them; whatever else gets none throws all the same.
TEST_P(ReadingWithoutMemory, LosesTheElementsOfOnePathAtMostWhereExceptionsAreOff) {
  KnownKeys();
  const ExceptionModeOff mode;
  const codec::Bytes bytes = codec::EncodeSection(c_longPaths, c_longPaths, Versions()).bytes;
  const bool hasSecondPath = Versions().app == c_current.app;
  Links whole = c_longPaths;
  for (Link& link : whole) {
    link.secondPath = hasSecondPath ? link.secondPath : Path();
  }
  std::size_t lostInAll = 0;
  std::size_t readings = 0;
  std::size_t failures = 0;
  for (bool hasRefused = true; hasRefused;) {
    const AllocationCounter use;
    {
      const TestStore held;
      MemoryReader in(bytes, ToLibrary(Versions()));
      const CodecMetaProductData metaData(KnownKeys());
      bool isRead = false;
      {
        const FailingAllocations refused(readings + failures + 1, GetParam().refusal);
        try {
          ReadMetaObjectsLinks(in, *held.store, GetParam().hasProductData ? &metaData : nullptr);
          isRead = true;
        } catch (const std::bad_alloc&) {
        }
        hasRefused = refused.HasFailed();
      }
      const Links unique = CodecLinksOf(*held.store, LinkSet::Unique);
      const Links validated = CodecLinksOf(*held.store, LinkSet::Validated);
      const std::size_t lost = LostPaths(unique, whole) + LostPaths(validated, whole);
      ASSERT_EQ(in.State(), 0u);
      if (isRead) {
        ++readings;
        ASSERT_EQ(unique.size(), whole.size());
        ASSERT_EQ(validated.size(), whole.size());
        ASSERT_EQ(in.Position(), bytes.size());
        // In a section of one set a path lost in reading is lost in both.
        ASSERT_LE(lost, Versions().app == c_oneSet.app ? 2u : 1u);
        ASSERT_TRUE(hasRefused || lost == 0);
        lostInAll += lost;
      } else {
        ++failures;
        ASSERT_EQ(lost, 0u);
        ASSERT_TRUE(unique.size() == whole.size() || validated.empty());
      }
      // And on: the same section once more, with memory. It adds what was lost beside what it had become.
      codec::LinkSets expected;
      std::for_each(unique.begin(), unique.end(), [&](const Link& link) { expected.AddUnique(link); });
      std::for_each(validated.begin(), validated.end(), [&](const Link& link) { expected.AddValidated(link); });
      codec::Merge(codec::DecodeSection(bytes, Versions()), expected, Data());
      MemoryReader again(bytes, ToLibrary(Versions()));
      ReadMetaObjectsLinks(again, *held.store, GetParam().hasProductData ? &metaData : nullptr);
      ASSERT_EQ(DifferenceOf(*held.store, expected), "") << readings + failures;
    }
    ASSERT_EQ(use.Live(), 0);
  }
  EXPECT_GT(failures, whole.size());
  if (GetParam().refusal == Refusal::once) {
    EXPECT_GE(readings, 2 * whole.size());
    EXPECT_GE(lostInAll, 2 * whole.size());
  } else {
    EXPECT_EQ(readings, 1u);
  }
}

// ---- streams that throw

class FailingStreams : public testing::TestWithParam<codec::Versions> {};

INSTANTIATE_TEST_SUITE_P(Forms, FailingStreams, testing::Values(c_current, c_oneSet, c_narrow),
                         [](const auto& instance) {
                           return instance.param.math == c_narrow.math ? "Narrow"
                                  : instance.param.app == c_oneSet.app ? "OneSet"
                                                                       : "TwoSets";
                         });

TEST_P(FailingStreams, EndAWritingAtOnceWhicheverCallThrows) {
  const AllocationCounter use;
  {
    Links links = c_long;
    links.push_back({"elsewhere", 3, {9}, c_longPath, "4" + c_longText});
    const TestStore held(links);
    const MbPath filter = PathOf(c_longPath);
    for (const bool isFiltered : {false, true}) {
      held.store->SetWriteComponentPath(isFiltered ? &filter : nullptr);
      FailingWriter whole(ToLibrary(GetParam()));
      held.store->WriteMetaObjectsLinks(whole);
      const codec::Written expected = codec::EncodeSection(held.expected.Unique(), held.expected.Validated(),
                                                           GetParam(), isFiltered ? &c_longPath : nullptr);
      ASSERT_EQ(whole.bytes, expected.bytes);
      ASSERT_EQ(whole.State(), expected.faults);
      for (std::size_t call = 1; call <= whole.calls.Count(); ++call) {
        FailingWriter out(ToLibrary(GetParam()), call);
        ASSERT_THROW(held.store->WriteMetaObjectsLinks(out), StreamFailed) << call;
        ASSERT_EQ(out.calls.Count(), call);
        ASSERT_TRUE(std::equal(out.lengths.begin(), out.lengths.end(), whole.lengths.begin())) << call;
        ASSERT_EQ(out.lengths.size(), call - 1);
        ASSERT_TRUE(std::equal(out.bytes.begin(), out.bytes.end(), whole.bytes.begin())) << call;
        ASSERT_EQ(DifferenceOf(*held.store, held.expected), "") << call;
      }
      FailingWriter again(ToLibrary(GetParam()));
      held.store->WriteMetaObjectsLinks(again);
      ASSERT_EQ(again.bytes, whole.bytes);
    }
    held.store->SetWriteComponentPath(nullptr);
  }
  EXPECT_EQ(use.Live(), 0);
}

// The reader checks itself into a set of its own, so nothing reaches the store before the last call.
TEST_P(FailingStreams, EndAReadingAtOnceAndChangeNothingWhicheverCallThrows) {
  KnownKeys();
  codec::Bytes bytes = codec::EncodeSection(c_long, c_long, GetParam()).bytes;
  // Whole, and cut in the last record, so that faults are recorded as well.
  for (const std::size_t cut : {std::size_t{0}, std::size_t{30}}) {
    bytes.resize(bytes.size() - cut);
    for (const bool hasProductData : {false, true}) {
      const AllocationCounter use;
      {
        const TestStore held({{"held", 1, c_longPath, {}, ""}});
        const CodecMetaProductData metaData(KnownKeys());
        const auto read = [&](FailingReader& in) {
          ReadMetaObjectsLinks(in, *held.store, hasProductData ? &metaData : nullptr);
        };
        std::size_t call = 1;
        for (bool hasFailed = true; hasFailed; ++call) {
          FailingReader in(bytes, ToLibrary(GetParam()), call);
          hasFailed = false;
          try {
            read(in);
          } catch (const StreamFailed&) {
            hasFailed = true;
            ASSERT_EQ(in.calls.Count(), call);
            ASSERT_EQ(DifferenceOf(*held.store, held.expected), "") << call;
          }
          ASSERT_EQ(in.AppVersion(tape::c_mainVersion), GetParam().app);
          ASSERT_EQ(in.MathVersion(), GetParam().math);
        }
        EXPECT_GT(call, GetParam().math == c_narrow.math ? 2u : 20u);
        codec::LinkSets expected = held.expected;
        codec::Merge(codec::DecodeSection(bytes, GetParam()), expected, hasProductData ? &KnownKeys() : nullptr);
        ASSERT_EQ(DifferenceOf(*held.store, expected), "");
      }
      ASSERT_EQ(use.Live(), 0);
    }
  }
}

// ---- product data, validators and stores that throw

struct AnswerFailed : std::runtime_error {
  AnswerFailed() : std::runtime_error("no answer") {}
};

// Throws AnswerFailed at one call, counted from 1.
class FailingAnswers {
 public:
  explicit FailingAnswers(std::size_t failingCall) : failing(failingCall) {}
  void Call() {
    if (++count == failing) {
      throw AnswerFailed();
    }
  }

 private:
  std::size_t failing;
  std::size_t count = 0;
};

codec::ProductData FailingProductData(const std::shared_ptr<FailingAnswers>& answers) {
  return {[answers](const std::string& key) {
            answers->Call();
            return KnownKeys().hasMetaObject(key);
          },
          [answers](const std::string& key) {
            answers->Call();
            return KnownKeys().relatedMetaObjects(key);
          }};
}

// True when it threw AnswerFailed.
template <class Call>
bool Fails(const Call& call) {
  try {
    call();
    return false;
  } catch (const AnswerFailed&) {
    return true;
  }
}

const codec::Versions c_bothForms[] = {c_current, c_oneSet};

TEST(FailingProductData, LeavesTheLinksAddedBeforeWhicheverQuestionThrows) {
  KnownKeys();
  const Merge merge;
  for (const codec::Versions& versions : c_bothForms) {
    const codec::Bytes bytes = codec::EncodeSection(merge.unique, merge.validated, versions).bytes;
    const codec::Decoded section = codec::DecodeSection(bytes, versions);
    std::size_t call = 1;
    for (bool hasFailed = true; hasFailed; ++call) {
      const AllocationCounter use;
      {
        TestStore held(merge.held);
        const codec::ProductData ofCodec = FailingProductData(std::make_shared<FailingAnswers>(call));
        const codec::ProductData ofLibrary = FailingProductData(std::make_shared<FailingAnswers>(call));
        const CodecMetaProductData metaData(ofLibrary);
        MemoryReader in(bytes, ToLibrary(versions));
        hasFailed = Fails([&] { codec::Merge(section, held.expected, &ofCodec); });
        ASSERT_EQ(Fails([&] { ReadMetaObjectsLinks(in, *held.store, &metaData); }), hasFailed) << call;
        ASSERT_EQ(DifferenceOf(*held.store, held.expected), "") << call;
        ASSERT_EQ(in.Position(), bytes.size());
        ASSERT_TRUE(in.good());
      }
      ASSERT_EQ(use.Live(), 0) << call;
    }
    // Each of the four links of bodies is asked about, and three of them are known.
    EXPECT_EQ(call, 9u);
  }
}

TEST(FailingValidator, LeavesTheLinksAddedBeforeWhicheverLinkItThrowsFor) {
  const Merge merge;
  for (const codec::Versions& versions : c_bothForms) {
    const codec::Bytes bytes = codec::EncodeSection(merge.unique, merge.validated, versions).bytes;
    const codec::Decoded section = codec::DecodeSection(bytes, versions);
    std::size_t call = 1;
    for (bool hasFailed = true; hasFailed; ++call) {
      const AllocationCounter use;
      {
        const auto ofCodec = std::make_shared<FailingAnswers>(call);
        const auto ofLibrary = std::make_shared<FailingAnswers>(call);
        codec::LinkSets expected([ofCodec](const Link&) {
          ofCodec->Call();
          return true;
        });
        const auto store = CreateProductGeometryObjects3D([ofLibrary](const ProductGeometryObject3D&) {
          ofLibrary->Call();
          return true;
        });
        MemoryReader in(bytes, ToLibrary(versions));
        hasFailed = Fails([&] { codec::Merge(section, expected, nullptr); });
        ASSERT_EQ(Fails([&] { ReadMetaObjectsLinks(in, *store, nullptr); }), hasFailed) << call;
        ASSERT_EQ(DifferenceOf(*store, expected), "") << call;
      }
      ASSERT_EQ(use.Live(), 0) << call;
    }
    EXPECT_EQ(call, section.second.size() + 2);
  }
}

// A store that throws in place of one operation.
class FailingStore final : public ProductGeometryObjects3D {
 public:
  explicit FailingStore(std::size_t failingCall) : answers(failingCall) { SetLinkValidater(AcceptAll); }

  void AddLink(const UniqueMetaObjectKey& key, const GeometryObject3D& geometry, LinkSet set) override {
    answers.Call();
    ProductGeometryObjects3D::AddLink(key, geometry, set);
  }
  std::vector<GeometryObject3D> GetGeometryObjects(const UniqueMetaObjectKey& key, LinkSet set) const override {
    answers.Call();
    return ProductGeometryObjects3D::GetGeometryObjects(key, set);
  }

 private:
  mutable FailingAnswers answers;
};

TEST(FailingStores, KeepTheLinksAddedBeforeWhicheverOperationThrows) {
  KnownKeys();
  const Merge merge;
  for (const codec::Versions& versions : c_bothForms) {
    const codec::Bytes bytes = codec::EncodeSection(merge.unique, merge.validated, versions).bytes;
    const codec::Decoded section = codec::DecodeSection(bytes, versions);
    const std::vector<codec::LinkSets> states = StatesOfMerge(codec::LinkSets(), section, &KnownKeys());
    const CodecMetaProductData metaData(KnownKeys());
    std::size_t reached = 0;
    std::size_t call = 1;
    for (bool hasFailed = true; hasFailed; ++call) {
      const AllocationCounter use;
      {
        FailingStore store(call);
        MemoryReader in(bytes, ToLibrary(versions));
        hasFailed = Fails([&] { ReadMetaObjectsLinks(in, store, &metaData); });
        while (reached < states.size() && !DifferenceOf(store, states[reached]).empty()) {
          ++reached;
        }
        ASSERT_LT(reached, states.size()) << call;
        ASSERT_TRUE(hasFailed || DifferenceOf(store, states.back()).empty());
      }
      ASSERT_EQ(use.Live(), 0) << call;
    }
    // One question besides the links added, since one known link depends on another.
    EXPECT_EQ(call, 4 + section.second.size() + 1 + 2);
  }
}

}  // namespace
