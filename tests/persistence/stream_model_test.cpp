// The stream form against a second one that shares no code with it (LinksCodec), byte for byte, over random links and
// both sides of every version that changes something. A failure prints what replays it: RC_PARAMS="seed=...".

#include "persistence/LinkStream.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/AnyCodecLinks.h"
#include "tests/support/FixtureFile.h"
#include "tests/support/FixtureLinks.h"
#include "tests/support/LinksCodec.h"
#include "tests/support/LinksCodecStore.h"

namespace {

using StorePointer = std::unique_ptr<IProductGeometryObjects3D>;

// ---- the codec itself, against bytes that neither of the two has written

class CodecFixtures : public testing::TestWithParam<SectionFixture> {
 protected:
  const FixtureFile file = FixtureFile::Load(GetParam().FileName());
  const codec::Versions versions = ToCodec(file.versions);
};

TEST_P(CodecFixtures, DecodeToTheirLinks) {
  const codec::Decoded decoded = codec::DecodeSection(file.bytes, versions);
  EXPECT_EQ(decoded.end, codec::Decoded::End::whole);
  EXPECT_EQ(decoded.first, ToCodec(GetParam().First()));
  EXPECT_EQ(decoded.second, ToCodec(GetParam().Second()));
  EXPECT_EQ(decoded.faults, GetParam().state);
  EXPECT_EQ(decoded.consumed, GetParam().state == 0 ? file.bytes.size() : 0u);
}

TEST_P(CodecFixtures, AreEncodedFromTheirLinks) {
  const codec::Written written =
      codec::EncodeSection(ToCodec(FixtureUniqueLinks()), ToCodec(FixtureValidatedLinks()), versions);
  EXPECT_EQ(written.bytes, file.bytes);
  EXPECT_EQ(written.faults, GetParam().state);
}

INSTANTIATE_TEST_SUITE_P(Frozen, CodecFixtures, testing::ValuesIn(SectionFixtures()), SectionFixtureName);

// ---- writing

// A store with random links in both sets, and what it then holds by the codec's rules.
struct FilledStore {
  StorePointer store;
  codec::LinkSets expected;
};

FilledStore Filled(const codec::Links& unique, const codec::Links& validated, std::uint32_t rejectedKeys = 0) {
  const auto accepts = [rejectedKeys](const codec::Link& link) {
    return (rejectedKeys >> AnyCodecProductData::NumberOf(link.key) & 1) == 0;
  };
  FilledStore filled{CreateProductGeometryObjects3D(
                         [accepts](const ProductGeometryObject3D& record) { return accepts(ToCodec(record)); }),
                     codec::LinkSets(accepts)};
  AddTo(*filled.store, unique, LinkSet::Unique);
  AddTo(*filled.store, validated, LinkSet::Validated);
  for (const codec::Link& link : unique) {
    filled.expected.AddUnique(link);
  }
  for (const codec::Link& link : validated) {
    filled.expected.AddValidated(link);
  }
  return filled;
}

FilledStore AnyFilledStore() {
  return Filled(*AnyCodecLinks(), *AnyCodecLinks(), *rc::gen::inRange<std::uint32_t>(0, 1u << 8));
}

RC_GTEST_PROP(WrittenSection, IsTheCodecsByteForByteUnderEveryVersion, ()) {
  const FilledStore filled = AnyFilledStore();
  ForEveryCodecVersion([&](const codec::Versions& versions) {
    MemoryWriter out(ToLibrary(versions));
    filled.store->WriteMetaObjectsLinks(out);
    const codec::Written expected =
        codec::EncodeSection(filled.expected.Unique(), filled.expected.Validated(), versions);
    RC_ASSERT(out.Bytes() == expected.bytes);
    RC_ASSERT(out.State() == expected.faults);
  });
}

RC_GTEST_PROP(WrittenSection, OfOneComponentIsTheCodecsUnderEveryVersion, ()) {
  const FilledStore filled = AnyFilledStore();
  const codec::Link someLink = *AnyCodecLink();
  const MbPath path = PathOf(someLink.componentPath);
  filled.store->SetWriteComponentPath(&path);
  ForEveryCodecVersion([&](const codec::Versions& versions) {
    MemoryWriter out(ToLibrary(versions));
    filled.store->WriteMetaObjectsLinks(out);
    const codec::Written expected =
        codec::EncodeSection(filled.expected.Unique(), filled.expected.Validated(), versions, &someLink.componentPath);
    RC_ASSERT(out.Bytes() == expected.bytes);
    RC_ASSERT(out.State() == expected.faults);
  });
  filled.store->SetWriteComponentPath(nullptr);
}

RC_GTEST_PROP(WrittenSection, OnAStreamThatIsNotGoodIsTheCodecsUnderEveryVersion, ()) {
  const FilledStore filled = AnyFilledStore();
  const auto fault = *rc::gen::element(io::state::endOfStream, io::state::deviceFailed, io::state::countOverflow);
  ForEveryCodecVersion([&](const codec::Versions& versions) {
    MemoryWriter out(ToLibrary(versions));
    out.setState(fault);
    filled.store->WriteMetaObjectsLinks(out);
    const codec::Written expected = codec::EncodeSection(filled.expected.Unique(), filled.expected.Validated(),
                                                         versions, nullptr, static_cast<std::uint32_t>(fault));
    RC_ASSERT(out.Bytes() == expected.bytes);
    RC_ASSERT(out.State() == expected.faults);
  });
}

// The counts that some version reads as something else, their neighbours, and random ones of both widths.
std::vector<std::uint64_t> AnyCounts() {
  return {0,
          0xFFFFFFFE,
          0xFFFFFFFF,
          0x100000000,
          0x1FFFFFFFF,
          0xFFFFFFFF00000000,
          0xFFFFFFFFFFFFFFFE,
          0xFFFFFFFFFFFFFFFF,
          *rc::gen::arbitrary<std::uint32_t>(),
          *rc::gen::arbitrary<std::uint64_t>()};
}

RC_GTEST_PROP(WrittenCount, IsTheCodecsUnderEveryMathVersion, ()) {
  for (const std::uint64_t count : AnyCounts()) {
    for (const std::uint32_t math : c_codecMathVersions) {
      MemoryWriter out({c_currentAppVersion, math});
      WriteCount(out, count);
      const codec::Written expected = codec::EncodeCount(count, math);
      RC_ASSERT(out.Bytes() == expected.bytes);
      RC_ASSERT(out.State() == expected.faults);
    }
  }
}

// ---- reading

void CheckReadingOfCount(std::span<const std::byte> bytes, std::uint32_t math) {
  MemoryReader in(bytes, {c_currentAppVersion, math});
  const codec::DecodedCount expected = codec::DecodeCount(bytes, math);
  RC_ASSERT(ReadCount(in) == expected.count);
  RC_ASSERT(in.State() == expected.faults);
  RC_ASSERT(in.Position() == expected.consumed);
}

RC_GTEST_PROP(ReadCounts, WholeAndCutAreTheCodecsUnderEveryMathVersion, ()) {
  for (const std::uint64_t count : AnyCounts()) {
    for (const std::uint32_t math : c_codecMathVersions) {
      const codec::Bytes whole = codec::EncodeCount(count, math).bytes;
      for (std::size_t length = 0; length <= whole.size(); ++length) {
        CheckReadingOfCount(std::span(whole).first(length), math);
      }
    }
  }
}

// Product data with its questions noted.
struct NotedProductData {
  explicit NotedProductData(const AnyCodecProductData& answers)
      : data{[this, answers](const std::string& key) {
               questions.push_back("has " + key);
               return answers.Has(key);
             },
             [this, answers](const std::string& key) {
               questions.push_back("related " + key);
               return answers.Related(key);
             }} {}
  NotedProductData(const NotedProductData&) = delete;
  NotedProductData& operator=(const NotedProductData&) = delete;

  std::vector<std::string> questions;
  codec::ProductData data;
};

// Reads the bytes into a store that holds links already and compares with what the codec makes of them.
void CheckReading(const FilledStore& before, const codec::Bytes& bytes, const codec::Versions& versions,
                  const AnyCodecProductData* answers, std::uint32_t faultsBefore = 0) {
  const codec::Decoded decoded = codec::DecodeSection(bytes, versions, {}, faultsBefore);
  RC_ASSERT(decoded.end == codec::Decoded::End::whole);
  codec::LinkSets expected = before.expected;
  MemoryReader in(bytes, ToLibrary(versions));
  if (faultsBefore != 0) {
    in.setState(static_cast<io::state>(faultsBefore));
  }
  if (answers == nullptr) {
    codec::Merge(decoded, expected, nullptr);
    ReadMetaObjectsLinks(in, *before.store, nullptr);
  } else {
    NotedProductData ofCodec(*answers);
    NotedProductData ofLibrary(*answers);
    codec::Merge(decoded, expected, &ofCodec.data);
    const CodecMetaProductData metaData(ofLibrary.data);
    ReadMetaObjectsLinks(in, *before.store, &metaData);
    RC_ASSERT(ofLibrary.questions == ofCodec.questions);
  }
  RC_ASSERT(DifferenceOf(*before.store, expected) == "");
  RC_ASSERT(in.State() == decoded.faults);
  RC_ASSERT(in.Position() == decoded.consumed);
}

// Links in any order with pairs that repeat, as no store would write them, under every version.
template <class Check>
void ForEverySectionOf(const codec::Links& unique, const codec::Links& validated, const Check& check) {
  ForEveryCodecVersion([&](const codec::Versions& versions) {
    check(codec::EncodeSection(unique, validated, versions).bytes, versions);
  });
}

struct LinksToRead {
  codec::Links heldUnique = *AnyCodecLinks();
  codec::Links heldValidated = *AnyCodecLinks();
  codec::Links unique = *rc::gen::oneOf(AnyCodecLinks(), AnyCrowdedCodecLinks());
  codec::Links validated = *AnyCodecLinks();
  std::uint32_t rejectedKeys = *rc::gen::inRange<std::uint32_t>(0, 1u << 8);
};

RC_GTEST_PROP(ReadSection, IsMergedAsTheCodecMergesItUnderEveryVersion, ()) {
  const LinksToRead links;
  ForEverySectionOf(links.unique, links.validated, [&](const codec::Bytes& bytes, const codec::Versions& versions) {
    CheckReading(Filled(links.heldUnique, links.heldValidated, links.rejectedKeys), bytes, versions, nullptr);
  });
}

RC_GTEST_PROP(ReadSection, IsRepairedAsTheCodecRepairsItUnderEveryVersion, ()) {
  const LinksToRead links;
  const AnyCodecProductData answers = *AnyCodecAnswers();
  ForEverySectionOf(links.unique, links.validated, [&](const codec::Bytes& bytes, const codec::Versions& versions) {
    CheckReading(Filled(links.heldUnique, links.heldValidated, links.rejectedKeys), bytes, versions, &answers);
  });
}

RC_GTEST_PROP(ReadSection, OfAStreamThatIsNotGoodIsTheCodecsUnderEveryVersion, ()) {
  const codec::Links unique = *AnyCodecLinks();
  const codec::Links validated = *AnyCodecLinks();
  const AnyCodecProductData answers = *AnyCodecAnswers();
  ForEveryCodecVersion([&](const codec::Versions& versions) {
    // As it was written on such a stream: counts without elements.
    const codec::Bytes bytes = codec::EncodeSection(unique, validated, versions, nullptr, 2).bytes;
    CheckReading(Filled({}, {}), bytes, versions, &answers, 2);
  });
}

TEST(ReadSection, OfMoreRecordsThan16BitsCanCountHoldsThemAll) {
  codec::Links links;
  for (std::uint32_t i = 0; i < 0x10001; ++i) {
    links.push_back({std::to_string(i), i, {}, {}, ""});
  }
  const codec::Bytes bytes = codec::EncodeSection(links, links, {0x17000002, 0x0F001001}).bytes;
  MemoryReader in(bytes, {0x17000002, 0x0F001001});
  ValidatedLinks first;
  ValidatedLinks second;
  ReadLinkSections(in, first, second);
  EXPECT_EQ(first.size(), links.size());
  EXPECT_EQ(second.size(), links.size());
  EXPECT_TRUE(in.good());
  EXPECT_EQ(in.Position(), bytes.size());
}

}  // namespace
