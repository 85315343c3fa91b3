// What the stream form does where memory runs out.

#include "persistence/LinkStream.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/AllocationCounter.h"
#include "tests/support/ExceptionModeOff.h"
#include "tests/support/StreamBytes.h"
#include "tests/support/StreamLink.h"

namespace {

constexpr StreamVersions c_current{0x17000002, c_currentMathVersion};

// Longer than what lives inside a path, a key and a name.
const std::vector<std::uint32_t> c_longPath{1, 2, 3, 4, 5, 6, 7, 8};
const std::string c_longText(40, 'x');

// A writer that asks for no memory.
class FixedWriter final : public writer {
 public:
  FixedWriter() : tape(c_current) {}
  void writeBlock(const void* bytes, std::size_t size) override {
    std::memcpy(&buffer.at(length), bytes, size);
    length += size;
  }
  std::vector<std::byte> Bytes() const { return {buffer.data(), buffer.data() + length}; }

 private:
  std::array<std::byte, 4096> buffer;
  std::size_t length = 0;
};

TEST(WritingWithoutMemory, RaisesBadAllocBehindKeyAndTypeWhereExceptionsAreOn) {
  const ProductGeometryObject3D record = RecordOf({"k", 1, c_longPath, {}, "n"});
  FixedWriter out;
  {
    const FailingAllocations failing(1);
    EXPECT_THROW(WriteLinkRecord(out, record), std::bad_alloc);
  }
  EXPECT_EQ(out.Bytes(), StreamBytes().Text("k").UInt32(1).Bytes());
}

TEST(WritingWithoutMemory, WritesAnEmptyComponentPathWhereExceptionsAreOff) {
  const ExceptionModeOff mode;
  const ProductGeometryObject3D record = RecordOf({"k", 1, c_longPath, c_longPath, "n"});
  FixedWriter out;
  {
    const FailingAllocations failing(1);
    WriteLinkRecord(out, record);
  }
  EXPECT_EQ(out.Bytes(), StreamBytes().Link({"k", 1, {}, c_longPath, "n"}).Bytes());
  EXPECT_TRUE(out.good());
}

TEST(ReadingWithoutMemory, ObtainsRoomForAllElementsOfAPathAtOnce) {
  const StreamBytes bytes = StreamBytes().Path(std::vector<std::uint32_t>(1000, 7));
  MemoryReader in(bytes.Bytes(), c_current);
  MbPath path;
  {
    const FailingAllocations failing(2);
    ReadPath(in, path);
  }
  EXPECT_EQ(path.Count(), 1000u);
}

TEST(ReadingWithoutMemory, DropsTheElementsForWhichThereIsNoRoomAndReadsThemAll) {
  const ExceptionModeOff mode;
  const StreamBytes bytes = StreamBytes().Path(c_longPath).Byte(0);
  MemoryReader in(bytes.Bytes(), c_current);
  MbPath path;
  {
    const FailingAllocations failing(1);
    ReadPath(in, path);
  }
  EXPECT_EQ(ElementsOf(path), std::vector(c_longPath.begin(), c_longPath.begin() + MbPath::c_inlineCount));
  EXPECT_TRUE(in.good());
  EXPECT_EQ(in.Position(), bytes.Bytes().size() - 1);
}

TEST(ReadingWithoutMemory, RaisesBadAllocBeforeTheFirstElementWhereExceptionsAreOn) {
  const StreamBytes bytes = StreamBytes().Path(c_longPath);
  MemoryReader in(bytes.Bytes(), c_current);
  MbPath path{1};
  {
    const FailingAllocations failing(1);
    EXPECT_THROW(ReadPath(in, path), std::bad_alloc);
  }
  EXPECT_EQ(in.Position(), 8u);
  EXPECT_TRUE(in.good());
}

// Two links that cost memory in every field.
StreamLinks LongLinks() {
  return {{"a" + c_longText, 1, c_longPath, c_longPath, c_longText},
          {"b" + c_longText, 2, c_longPath, c_longPath, c_longText}};
}

// Makes the call fail at its first allocation, at its second and so on, until it needs none of those refused, and
// checks after each failure. Answers how often it failed.
template <class Prepare, class Call, class Check>
std::size_t FailAtEachAllocation(const Prepare& prepare, const Call& call, const Check& check) {
  for (std::size_t first = 1;; ++first) {
    prepare();
    try {
      const FailingAllocations failing(first);
      call();
      return first - 1;
    } catch (const std::bad_alloc&) {
      check(first);
    }
  }
}

TEST(WritingWithoutMemory, LeavesTheStoreAsItIsWhereverItFails) {
  const auto store = CreateProductGeometryObjects3D(AcceptAll);
  AddLinksTo(*store, LongLinks(), LinkSet::Both);
  const auto expectUnchanged = [&](std::size_t first) {
    EXPECT_EQ(LinksOf(*store, LinkSet::Unique), LongLinks()) << first;
    EXPECT_EQ(LinksOf(*store, LinkSet::Validated), LongLinks()) << first;
  };
  const auto write = [&] {
    FixedWriter out;
    store->WriteMetaObjectsLinks(out);
  };
  EXPECT_GE(FailAtEachAllocation([] {}, write, expectUnchanged), 4u);

  const MbPath path = PathOf(c_longPath);
  store->SetWriteComponentPath(&path);
  EXPECT_GE(FailAtEachAllocation([] {}, write, expectUnchanged), 4u);
  store->SetWriteComponentPath(nullptr);
}

// Links reach the store in the order of its own operations, so a failure leaves a beginning of them.
TEST(ReadingWithoutMemory, LeavesTheLinksAddedBeforeItFailed) {
  const StreamLinks links = LongLinks();
  const StreamBytes bytes = StreamBytes().Section(links, links);
  std::unique_ptr<IProductGeometryObjects3D> store;
  std::vector<std::size_t> left;
  const std::size_t failures = FailAtEachAllocation([&store] { store = CreateProductGeometryObjects3D(AcceptAll); },
                                                    [&] {
                                                      MemoryReader in(bytes.Bytes(), c_current);
                                                      ReadMetaObjectsLinks(in, *store, nullptr);
                                                    },
                                                    [&](std::size_t) {
                                                      StreamLinks added = LinksOf(*store, LinkSet::Unique);
                                                      const StreamLinks validated = LinksOf(*store, LinkSet::Validated);
                                                      added.insert(added.end(), validated.begin(), validated.end());
                                                      const StreamLinks all{links[0], links[1], links[0], links[1]};
                                                      ASSERT_LE(added.size(), all.size());
                                                      EXPECT_TRUE(std::equal(added.begin(), added.end(), all.begin()));
                                                      left.push_back(added.size());
                                                    });
  EXPECT_GT(failures, 10u);
  EXPECT_EQ(left.front(), 0u);
  EXPECT_EQ(left.back(), 3u);
  EXPECT_TRUE(std::is_sorted(left.begin(), left.end()));
  EXPECT_EQ(LinksOf(*store, LinkSet::Validated), links);
}

}  // namespace
