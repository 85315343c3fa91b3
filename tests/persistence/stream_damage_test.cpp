// Damaged sections through a plain reader, which believes them: the faults recorded, what is read in spite of them, and
// what has its default, as the codec decides for every damage that leaves the counts of records below 65,536. A record
// count is believed, so a greater one is read by a reader that throws at the first fault. Failures of random damage
// print what replays them: RC_PARAMS="seed=...".

#include "persistence/LinkStream.h"

#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/AnyCodecLinks.h"
#include "tests/support/ExceptionModeOff.h"
#include "tests/support/FixtureFile.h"
#include "tests/support/FixtureLinks.h"
#include "tests/support/LinksCodec.h"
#include "tests/support/LinksCodecStore.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/SectionDamage.h"
#include "tests/support/StreamFaults.h"

namespace {

constexpr std::uint64_t c_mostRecords = 0xFFFF;
// A path of more elements gets no memory, on any machine.
constexpr std::uint64_t c_mostElements = 0xFFFFF;
// A path keeps beside its elements how many it has room for.
constexpr std::uint64_t c_mostBytes = (c_mostElements + 1) * sizeof(std::uint32_t);

const codec::Links c_held{{"held", 1, {1}, {}, ""}, {"occurrence-0001", 7, {}, {3}, "held as well"}};

const codec::ProductData& EverythingKnown() {
  static const codec::ProductData data{[](const std::string&) { return true; },
                                       [](const std::string&) { return std::set<std::string>(); }};
  return data;
}

// What a reading left behind.
struct Outcome {
  bool ranOutOfMemory = false;
  std::uint32_t faults = 0;
  std::size_t position = 0;
  std::string difference;
};

Outcome Read(const codec::Bytes& bytes, const codec::Versions& versions, const codec::LinkSets& expected,
             const IfMetaProductData* metaData, std::uint32_t faultsBefore) {
  Outcome outcome;
  const auto store = CreateProductGeometryObjects3D(AcceptAll);
  AddTo(*store, c_held, LinkSet::Both);
  MemoryReader in(bytes, ToLibrary(versions));
  if (faultsBefore != 0) {
    in.setState(static_cast<io::state>(faultsBefore));
  }
  try {
    const FailingLargeAllocations refused(c_mostBytes);
    ReadMetaObjectsLinks(in, *store, metaData);
  } catch (const std::bad_alloc&) {
    outcome.ranOutOfMemory = true;
  }
  outcome.faults = in.State();
  outcome.position = in.Position();
  outcome.difference = DifferenceOf(*store, expected);
  return outcome;
}

// The first thing in which a reading differs from the codec's; empty for none.
std::string CheckReading(const codec::Bytes& bytes, const codec::Versions& versions, const codec::Decoded& decoded,
                         const codec::ProductData* productData, std::uint32_t faultsBefore) {
  const bool runsOutOfMemory = decoded.end == codec::Decoded::End::outOfMemory;
  codec::LinkSets expected;
  for (const codec::Link& link : c_held) {
    expected.AddUnique(link);
    expected.AddValidated(link);
  }
  if (!runsOutOfMemory) {
    codec::Merge(decoded, expected, productData);
  }
  const AllocationCounter use;
  {
    const CodecMetaProductData metaData(EverythingKnown());
    const Outcome outcome = Read(bytes, versions, expected, productData == nullptr ? nullptr : &metaData, faultsBefore);
    if (outcome.ranOutOfMemory != runsOutOfMemory) {
      return "out of memory or not";
    }
    if (outcome.faults != decoded.faults) {
      return "faults " + std::to_string(outcome.faults) + " instead of " + std::to_string(decoded.faults);
    }
    if (outcome.position != decoded.consumed) {
      return "position " + std::to_string(outcome.position) + " instead of " + std::to_string(decoded.consumed);
    }
    if (!outcome.difference.empty()) {
      return outcome.difference;
    }
  }
  return use.Live() == 0 ? "" : "blocks of memory are left";
}

// A reading that ends at the first fault, which needs no limit of records: the first difference from the codec's.
std::string CheckStrictReading(const codec::Bytes& bytes, const codec::Versions& versions) {
  const codec::Decoded decoded =
      codec::DecodeSection(bytes, versions, {.elements = c_mostElements, .endsAtFault = true});
  const auto store = CreateProductGeometryObjects3D(AcceptAll);
  FailingReader in(bytes, ToLibrary(versions));
  in.throwsFaults = true;
  auto end = codec::Decoded::End::whole;
  try {
    const FailingLargeAllocations refused(c_mostBytes);
    ReadMetaObjectsLinks(in, *store, nullptr);
  } catch (const std::bad_alloc&) {
    end = codec::Decoded::End::outOfMemory;
  } catch (const StreamFailed&) {
    end = codec::Decoded::End::fault;
  }
  if (end != decoded.end) {
    return "another end";
  }
  codec::LinkSets expected;
  if (end == codec::Decoded::End::whole) {
    codec::Merge(decoded, expected, nullptr);
  }
  return DifferenceOf(*store, expected);
}

// Both with product data and without, and where memory for a path decides, with both kinds of that failure.
std::string CheckReading(const codec::Bytes& bytes, const codec::Versions& versions, std::uint32_t faultsBefore = 0) {
  const codec::Decoded decoded =
      codec::DecodeSection(bytes, versions, {c_mostRecords, c_mostElements, true}, faultsBefore);
  if (decoded.end == codec::Decoded::End::tooManyRecords) {
    return CheckStrictReading(bytes, versions);
  }
  for (const codec::ProductData* productData : {static_cast<const codec::ProductData*>(nullptr), &EverythingKnown()}) {
    std::string difference = CheckReading(bytes, versions, decoded, productData, faultsBefore);
    if (!difference.empty()) {
      return difference;
    }
  }
  if (decoded.end == codec::Decoded::End::outOfMemory) {
    const codec::Decoded goingOn =
        codec::DecodeSection(bytes, versions, {c_mostRecords, c_mostElements, false}, faultsBefore);
    if (goingOn.end == codec::Decoded::End::whole) {
      const ExceptionModeOff mode;
      return CheckReading(bytes, versions, goingOn, nullptr, faultsBefore);
    }
  }
  return {};
}

class DamagedFixtures : public testing::TestWithParam<SectionFixture> {
 protected:
  const FixtureFile file = FixtureFile::Load(GetParam().FileName());
  const codec::Versions versions = ToCodec(file.versions);
};

TEST_P(DamagedFixtures, CutAtAnyByteReadAsTheCodecReadsThem) {
  CutAtEveryByte(file.bytes, [this](const codec::Bytes& bytes, const Damage& damage) {
    ASSERT_EQ(CheckReading(bytes, versions), "") << damage.Text();
  });
}

TEST_P(DamagedFixtures, WithAnyBitFlippedReadAsTheCodecReadsThem) {
  FlipEveryBit(file.bytes, [this](const codec::Bytes& bytes, const Damage& damage) {
    ASSERT_EQ(CheckReading(bytes, versions), "") << damage.Text();
  });
}

TEST_P(DamagedFixtures, WithAnyCountAtItsExtremesReadAsTheCodecReadsThem) {
  ReplaceEveryCount(file.bytes, versions, [this](const codec::Bytes& bytes, const Damage& damage) {
    ASSERT_EQ(CheckReading(bytes, versions), "") << damage.Text();
  });
}

// No path asks for memory then, whatever its count.
TEST_P(DamagedFixtures, WithAnyCountAtItsExtremesOnAStreamThatIsNotGoodReadAsTheCodecReadsThem) {
  ReplaceEveryCount(file.bytes, versions, [this](const codec::Bytes& bytes, const Damage& damage) {
    const auto faultBefore = static_cast<std::uint32_t>(io::state::deviceFailed);
    ASSERT_EQ(CheckReading(bytes, versions, faultBefore), "") << damage.Text();
  });
}

INSTANTIATE_TEST_SUITE_P(Frozen, DamagedFixtures, testing::ValuesIn(SectionFixtures()), SectionFixtureName);

// ---- counts alone

class DamagedCounts : public testing::TestWithParam<const char*> {
 protected:
  void Check(const codec::Bytes& bytes, const Damage& damage) const {
    MemoryReader in(bytes, file.versions);
    std::uint32_t faults = 0;
    std::size_t position = 0;
    for (int i = 0; i < 6; ++i) {
      const codec::DecodedCount expected =
          codec::DecodeCount(std::span(bytes).subspan(position), file.versions.mathVersion);
      faults |= expected.faults;
      position += expected.consumed;
      ASSERT_EQ(ReadCount(in), expected.count) << damage.Text();
      ASSERT_EQ(in.State(), faults) << damage.Text();
      ASSERT_EQ(in.Position(), position) << damage.Text();
    }
  }

  const FixtureFile file = FixtureFile::Load(GetParam());
};

TEST_P(DamagedCounts, ReadAsTheCodecReadsThem) {
  const auto check = [this](const codec::Bytes& bytes, const Damage& damage) { Check(bytes, damage); };
  check(file.bytes, {"whole", 0, 0});
  CutAtEveryByte(file.bytes, check);
  FlipEveryBit(file.bytes, check);
}

INSTANTIATE_TEST_SUITE_P(Frozen, DamagedCounts,
                         testing::Values("counts_math03FFFFFF.hex", "counts_math0EFFFFFF.hex",
                                         "counts_math0F001000.hex", "counts_math0F001001.hex"),
                         [](const auto& instance) { return std::string(instance.param).substr(0, 19); });

// ---- random damage

codec::Versions AnyVersions() {
  return {*rc::gen::elementOf(c_codecAppVersions), *rc::gen::elementOf(c_codecMathVersions)};
}

rc::Gen<std::uint8_t> AnyByte() {
  return rc::gen::weightedOneOf<std::uint8_t>(
      {{4, rc::gen::element<std::uint8_t>(0, 1, 2, 0x7F, 0x80, 0xFF)}, {1, rc::gen::arbitrary<std::uint8_t>()}});
}

RC_GTEST_PROP(RandomDamage, AtSeveralPlacesReadsAsTheCodecReadsIt, ()) {
  const codec::Versions versions = AnyVersions();
  codec::Bytes bytes = codec::EncodeSection(*AnyCodecLinks(), *AnyCodecLinks(), versions).bytes;
  RC_PRE(!bytes.empty());
  for (int i = *rc::gen::inRange(1, 4); i != 0; --i) {
    bytes[*rc::gen::inRange<std::size_t>(0, bytes.size())] = static_cast<std::byte>(*AnyByte());
  }
  RC_ASSERT(CheckReading(bytes, versions) == "");
}

RC_GTEST_PROP(RandomDamage, OfPiecesTakenOutAndPutInReadsAsTheCodecReadsIt, ()) {
  const codec::Versions versions = AnyVersions();
  const codec::Bytes bytes = codec::EncodeSection(*AnyCodecLinks(), *AnyCodecLinks(), versions).bytes;
  RC_PRE(!bytes.empty());
  const auto from = static_cast<std::ptrdiff_t>(*rc::gen::inRange<std::size_t>(0, bytes.size()));
  const auto to = static_cast<std::ptrdiff_t>(*rc::gen::inRange<std::size_t>(0, bytes.size()));
  codec::Bytes damaged(bytes.begin(), bytes.begin() + from);
  damaged.insert(damaged.end(), bytes.begin() + to, bytes.end());
  RC_ASSERT(CheckReading(damaged, versions) == "");
}

RC_GTEST_PROP(RandomDamage, ThatIsAllThereIsReadsAsTheCodecReadsIt, ()) {
  const codec::Versions versions = AnyVersions();
  codec::Bytes bytes;
  for (const std::uint8_t byte : *rc::gen::container<std::vector<std::uint8_t>>(
           rc::gen::weightedElement<std::uint8_t>({{20, 0}, {4, 1}, {2, 2}, {1, 0xFF}}))) {
    bytes.push_back(static_cast<std::byte>(byte));
  }
  RC_ASSERT(CheckReading(bytes, versions) == "");
}

}  // namespace
