// Damaged sections through the host's load: either they load, and then as the codec reads them, or they are refused
// with one line that names the byte; in memory and work that go with their length, whatever their counts say.

#include "host/storage/LinksSection.h"

#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>

#include "host/HostError.h"
#include "host/storage/SectionWalker.h"
#include "host/storage/StrictReader.h"
#include "tests/support/FixtureFile.h"
#include "tests/support/FixtureLinks.h"
#include "tests/support/LinksCodec.h"
#include "tests/support/LinksCodecStore.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/SectionDamage.h"

namespace {

constexpr std::uint64_t c_mostElements = 0xFFFFF;
// A path keeps beside its elements how many it has room for.
constexpr std::uint64_t c_mostBytes = (c_mostElements + 1) * sizeof(std::uint32_t);

// The most that a refusal may hold at one time: its message.
constexpr std::size_t c_mostBytesOfARefusal = 1024;

// The most blocks that it may make.
constexpr std::size_t c_mostBlocksOfARefusal = 8;

// The most that a load may hold at one time: of the shortest records each becomes a link in both sets and in their
// temporary sets.
std::size_t MostBytesOfALoad(std::size_t sectionLength) {
  return 2048 + 60 * sectionLength;
}

// The most blocks that a load may make: for each record some, and those of its texts and paths.
std::size_t MostBlocksOfALoad(std::size_t sectionLength) {
  return 32 + sectionLength / 4;
}

// The most that a reading may ask of its stream, and the most fields that a walk may show: those of the smallest record
// take 16 bytes, and a text or an element of a path takes some of its own.
std::size_t MostSteps(std::size_t sectionLength) {
  return 2 + sectionLength / 3;
}

struct TooManySteps : std::runtime_error {
  TooManySteps() : std::runtime_error("more work than the length of the section accounts for") {}
};

// Counts what is done over a section, and ends what does not end.
class BoundedWork {
 public:
  explicit BoundedWork(std::size_t sectionLength) noexcept : left(MostSteps(sectionLength)) {}

  void Step() {
    if (left == 0) {
      throw TooManySteps();
    }
    --left;
  }

 private:
  std::size_t left;
};

// A strict reader that takes no more calls than its bytes account for.
class BoundedReader final : public reader {
 public:
  BoundedReader(std::span<const std::byte> bytes, const StreamVersions& streamVersions)
      : tape(streamVersions), strict(bytes, streamVersions), work(bytes.size()) {}

  bool readBlock(void* target, std::size_t length) override {
    work.Step();
    return strict.readBlock(target, length);
  }
  void setState(io::state fault) override {
    work.Step();
    strict.setState(fault);
  }

  std::size_t Position() const noexcept { return strict.Position(); }

 private:
  host::StrictReader strict;
  BoundedWork work;
};

// "at byte N" of a message of one line; nothing where it has another form.
std::optional<std::uint64_t> ByteNamedIn(const std::string& message) {
  static const std::string c_before = "at byte ";
  const std::size_t found = message.find(c_before);
  if (found == std::string::npos || message.find('\n') != std::string::npos ||
      message.find(c_before, found + 1) != std::string::npos) {
    return std::nullopt;
  }
  return std::stoull(message.substr(found + c_before.size()));
}

class DamagedLoads : public testing::TestWithParam<SectionFixture> {
 protected:
  const FixtureFile file = FixtureFile::Load(GetParam().FileName());
  const codec::Versions versions = ToCodec(file.versions);
  int refusals = 0;

  // To the first fault.
  codec::Decoded Decode(const codec::Bytes& bytes) const {
    return codec::DecodeSection(bytes, versions, {.elements = c_mostElements, .endsAtFault = true});
  }

  static bool IsSound(const codec::Decoded& decoded) { return decoded.end == codec::Decoded::End::whole; }

  void CheckLoad(const codec::Bytes& bytes, const Damage& damage) {
    const codec::Decoded decoded = Decode(bytes);
    const bool loads = IsSound(decoded) && decoded.consumed == bytes.size();
    const host::Stream section{file.versions, bytes};
    const AllocationCounter use;
    const PeakMemory peak;
    try {
      std::uint64_t dropped = 0;
      const auto links = host::ReadLinks(section, nullptr, &dropped);
      ASSERT_TRUE(loads) << damage.Text();
      ASSERT_LE(peak.Bytes(), MostBytesOfALoad(bytes.size())) << damage.Text();
      ASSERT_LE(use.Allocations(), MostBlocksOfALoad(bytes.size())) << damage.Text();
      codec::LinkSets expected;
      codec::Merge(decoded, expected, nullptr);
      ASSERT_EQ(DifferenceOf(*links, expected), "") << damage.Text();
      ASSERT_EQ(dropped, RecordsIn(bytes) - expected.Unique().size() -
                             (GetParam().setCount == 2 ? expected.Validated().size() : 0))
          << damage.Text();
    } catch (const host::DocumentError& error) {
      const std::size_t peakBytes = peak.Bytes();
      const std::size_t blocks = use.Allocations();
      ++refusals;
      const auto named = ByteNamedIn(error.what());
      ASSERT_FALSE(loads) << damage.Text() << ": " << error.what();
      ASSERT_LE(peakBytes, c_mostBytesOfARefusal) << damage.Text();
      ASSERT_LE(blocks, c_mostBlocksOfARefusal) << damage.Text();
      ASSERT_TRUE(named) << error.what();
      ASSERT_LE(*named, bytes.size()) << damage.Text();
    }
    ASSERT_EQ(use.Live(), 0) << damage.Text();
  }

  // Without the walk before it, over a store that holds links already.
  void CheckStrictReading(const codec::Bytes& bytes, const Damage& damage) {
    const codec::Links held{{"held", 1, {1}, {}, ""}, {"occurrence-0001", 7, {}, {3}, "held as well"}};
    codec::LinkSets expected;
    for (const codec::Link& link : held) {
      expected.AddUnique(link);
      expected.AddValidated(link);
    }
    const codec::Decoded decoded = Decode(bytes);
    if (IsSound(decoded)) {
      codec::Merge(decoded, expected, nullptr);
    }
    const auto store = CreateProductGeometryObjects3D(AcceptAll);
    AddTo(*store, held, LinkSet::Both);
    BoundedReader in(bytes, file.versions);
    bool isRead = false;
    try {
      // On any machine: a path that announces more gets no memory.
      const FailingLargeAllocations refused(c_mostBytes);
      ReadMetaObjectsLinks(in, *store, nullptr);
      isRead = true;
    } catch (const host::StrictReadFailed& failed) {
      ASSERT_EQ(decoded.end, codec::Decoded::End::fault) << damage.Text();
      ASSERT_LE(failed.fault.offset, bytes.size()) << damage.Text();
      ASSERT_EQ(failed.fault.offset, in.Position()) << damage.Text();
    } catch (const std::bad_alloc&) {
      ASSERT_EQ(decoded.end, codec::Decoded::End::outOfMemory) << damage.Text();
    } catch (const TooManySteps& work) {
      FAIL() << damage.Text() << ": " << work.what();
    }
    ASSERT_EQ(isRead, IsSound(decoded)) << damage.Text();
    ASSERT_EQ(DifferenceOf(*store, expected), "") << damage.Text();
  }

  void CheckWalk(const codec::Bytes& bytes, const Damage& damage) {
    BoundedWork work(bytes.size());
    ASSERT_NO_THROW(host::WalkSection(bytes, file.versions, [&work](const host::SectionField&) { work.Step(); }))
        << damage.Text();
  }

  void Check(const codec::Bytes& bytes, const Damage& damage) {
    ASSERT_NO_FATAL_FAILURE(CheckWalk(bytes, damage));
    ASSERT_NO_FATAL_FAILURE(CheckLoad(bytes, damage));
    CheckStrictReading(bytes, damage);
  }

 private:
  std::uint64_t RecordsIn(const codec::Bytes& bytes) const {
    std::uint64_t records = 0;
    for (const codec::CountField& field : codec::CountFieldsOf(bytes, versions)) {
      records += field.of == codec::CountField::Of::records ? field.value : 0;
    }
    return records;
  }
};

TEST_P(DamagedLoads, OfASectionCutAtAnyByteAreRefused) {
  CutAtEveryByte(file.bytes, [this](const codec::Bytes& bytes, const Damage& damage) {
    ASSERT_NO_FATAL_FAILURE(Check(bytes, damage));
  });
  EXPECT_EQ(refusals, static_cast<int>(file.bytes.size()));
}

TEST_P(DamagedLoads, WithAnyBitFlippedLoadAsTheCodecReadsThemOrAreRefused) {
  FlipEveryBit(file.bytes, [this](const codec::Bytes& bytes, const Damage& damage) {
    ASSERT_NO_FATAL_FAILURE(Check(bytes, damage));
  });
}

TEST_P(DamagedLoads, WithAnyCountAtItsExtremesLoadAsTheCodecReadsThemOrAreRefused) {
  ReplaceEveryCount(file.bytes, versions, [this](const codec::Bytes& bytes, const Damage& damage) {
    ASSERT_NO_FATAL_FAILURE(Check(bytes, damage));
  });
}

INSTANTIATE_TEST_SUITE_P(Frozen, DamagedLoads, testing::ValuesIn(SectionFixtures()), SectionFixtureName);

// ---- the densest sections

class DenseLoads : public testing::TestWithParam<codec::Versions> {};

codec::Links DenseLinks() {
  codec::Links links;
  for (std::uint32_t i = 0; i < 10000; ++i) {
    links.push_back({std::string{static_cast<char>(i / 256), static_cast<char>(i % 256)}, i, {}, {}, ""});
  }
  return links;
}

TEST_P(DenseLoads, HoldMemoryInProportionToTheirBytes) {
  const host::Stream section{ToLibrary(GetParam()), codec::EncodeSection(DenseLinks(), {}, GetParam()).bytes};
  const PeakMemory peak;
  const auto links = host::ReadLinks(section, nullptr);
  EXPECT_LE(peak.Bytes(), MostBytesOfALoad(section.bytes.size()));
  EXPECT_GE(peak.Bytes(), section.bytes.size());
}

TEST_P(DenseLoads, WithAByteMissingHoldNoneBeforeTheyAreRefused) {
  host::Stream section{ToLibrary(GetParam()), codec::EncodeSection(DenseLinks(), {}, GetParam()).bytes};
  section.bytes.pop_back();
  const PeakMemory peak;
  EXPECT_THROW(host::ReadLinks(section, nullptr), host::DocumentError);
  EXPECT_LE(peak.Bytes(), c_mostBytesOfARefusal);
}

TEST_P(DenseLoads, OfASetOfOneRecordWithoutAnyBytesButItsCountsHoldIt) {
  const codec::Links smallest(1);
  const host::Stream section{ToLibrary(GetParam()), codec::EncodeSection(smallest, smallest, GetParam()).bytes};
  const auto links = host::ReadLinks(section, nullptr);
  EXPECT_EQ(CodecLinksOf(*links, LinkSet::Unique), smallest);
  EXPECT_EQ(CodecLinksOf(*links, LinkSet::Validated), smallest);
}

INSTANTIATE_TEST_SUITE_P(Forms, DenseLoads,
                         testing::Values(codec::Versions{0x12000025, 0x0EFFFFFF},
                                         codec::Versions{0x12000026, 0x0EFFFFFF},
                                         codec::Versions{0x17000002, 0x0F001001}),
                         [](const auto& instance) { return "App" + std::to_string(instance.param.app); });

}  // namespace
