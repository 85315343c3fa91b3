// Links from a section's bytes into a store and back.

#include "host/storage/LinksSection.h"

#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>

#include "host/HostError.h"
#include "host/model/ProductData.h"
#include "tests/support/FixtureFile.h"
#include "tests/support/FixtureLinks.h"
#include "tests/support/StreamBytes.h"

using testing::HasSubstr;

namespace {

using host::Stream;

constexpr StreamVersions c_today{0x17000002, 0x0F001001};

std::unique_ptr<IProductGeometryObjects3D> StoreOf(const StreamLinks& unique, const StreamLinks& validated) {
  auto store = CreateProductGeometryObjects3D(AcceptAll);
  AddLinksTo(*store, unique, LinkSet::Unique);
  AddLinksTo(*store, validated, LinkSet::Validated);
  return store;
}

template <class Call>
std::string ErrorOf(Call call) {
  try {
    call();
  } catch (const host::DocumentError& error) {
    return error.what();
  }
  return {};
}

class FrozenLinks : public testing::TestWithParam<SectionFixture> {};

// What a store makes of these links: one for each key and each geometry object in the unique set.
StreamLinks Kept(const StreamLinks& links, LinkSet set) {
  return LinksOf(*StoreOf(links, links), set);
}

TEST_P(FrozenLinks, AreReadIntoBothSets) {
  const FixtureFile file = FixtureFile::Load(GetParam().FileName());
  const Stream section{file.versions, file.bytes};
  if (GetParam().state != 0) {
    EXPECT_THAT(ErrorOf([&] { host::ReadLinks(section, nullptr); }), HasSubstr("16-bit"));
    return;
  }
  const auto links = host::ReadLinks(section, nullptr);
  EXPECT_EQ(LinksOf(*links, LinkSet::Unique), Kept(GetParam().First(), LinkSet::Unique));
  EXPECT_EQ(LinksOf(*links, LinkSet::Validated), Kept(GetParam().Second(), LinkSet::Validated));
}

INSTANTIATE_TEST_SUITE_P(Frozen, FrozenLinks, testing::ValuesIn(SectionFixtures()), SectionFixtureName);

TEST(WriteLinks, GivesTheSectionWithItsVersions) {
  const StreamLinks bolt{{"bolt-1", 1, {2, 5}, {9}, "Bolt"}};
  for (const std::uint32_t math : {0x0F001001u, 0x0EFFFFFFu}) {
    const StreamVersions versions{0x17000002, math};
    const Stream section = host::WriteLinks(*StoreOf(bolt, {}), versions);
    EXPECT_EQ(section.versions, versions);
    EXPECT_EQ(section.bytes, StreamBytes(StreamFormOf(versions)).Section(bolt, {}).Bytes());
  }
}

TEST(WriteLinks, WritesOneComponentAloneWhereAWritePathIsInForce) {
  const auto store = StoreOf({{"a", 1, {2, 5}, {}, "x"}, {"b", 1, {5}, {}, "y"}}, {});
  const MbPath path{2, 5};
  store->SetWriteComponentPath(&path);
  const Stream section = host::WriteLinks(*store, c_today);
  store->SetWriteComponentPath(nullptr);
  EXPECT_EQ(section.bytes, StreamBytes().Section({{"a", 1, {}, {}, "x"}}, {}).Bytes());
}

TEST(WriteLinks, RefusesA16BitStream) {
  const StreamVersions narrow{0x17000002, 0x03FFFFFF};
  for (const StreamLinks& links : {StreamLinks(), StreamLinks{{"a", 1, {}, {}, ""}}}) {
    EXPECT_THAT(ErrorOf([&] { host::WriteLinks(*StoreOf(links, {}), narrow); }),
                HasSubstr("cannot be written under application version 0x17000002 and math version 0x03FFFFFF"));
  }
}

TEST(WriteLinks, WritesNothingUnderAVersionWithoutLinks) {
  EXPECT_TRUE(host::WriteLinks(*StoreOf({{"a", 1, {}, {}, ""}}, {}), {0x12000004, 0x0F001001}).bytes.empty());
  EXPECT_TRUE(host::WriteLinks(*StoreOf({}, {}), {0x12000004, 0x03FFFFFF}).bytes.empty());
}

TEST(ReadLinks, ReadsBackWhatWasWritten) {
  const StreamLinks unique{{"a", 200, {1}, {}, ""}, {std::string("\0\xFF", 2), 104, {1, 1}, {3, 4}, ""}};
  const StreamLinks validated{{"a", 1, {1}, {}, "b1"}, {"a", 1, {1}, {}, "b2"}, {"z", 1, {1}, {7}, "b1"}};
  const auto links = host::ReadLinks(host::WriteLinks(*StoreOf(unique, validated), c_today), nullptr);
  EXPECT_EQ(LinksOf(*links, LinkSet::Unique), LinksOf(*StoreOf(unique, {}), LinkSet::Unique));
  EXPECT_EQ(LinksOf(*links, LinkSet::Validated), LinksOf(*StoreOf({}, validated), LinkSet::Validated));
}

TEST(ReadLinks, AcceptsEveryLinkWhateverItNames) {
  const StreamLinks odd{{"nobody", 0xFFFFFFFF, {9, 9, 9}, {}, ""}};
  const auto links = host::ReadLinks(host::WriteLinks(*StoreOf(odd, odd), c_today), nullptr);
  EXPECT_EQ(LinksOf(*links, LinkSet::Validated), odd);
}

TEST(ReadLinks, RepairsTheUniqueSetWithProductData) {
  host::ProductData data;
  data.Insert(UniqueMetaObjectKey("there"), {});
  const StreamLinks two{{"gone", 1, {1}, {}, "b"}, {"there", 1, {1}, {}, "b"}, {"void", 1, {1}, {}, "b"}};
  const Stream section{c_today, StreamBytes().Section(two, {}).Bytes()};
  EXPECT_EQ(LinksOf(*host::ReadLinks(section, &data), LinkSet::Unique), (StreamLinks{two[1]}));
  // As they stand, the last one removes those before it.
  EXPECT_EQ(LinksOf(*host::ReadLinks(section, nullptr), LinkSet::Unique), (StreamLinks{two[2]}));
}

TEST(ReadLinks, CountsTheRecordsThatTheStoreDoesNotTakeUp) {
  const StreamLinks unique{
      {"", 1, {1}, {}, "a"}, {"a", 1, {1}, {}, "b"}, {"b", 1, {1}, {}, "b"}, {"a", 1, {2}, {}, ""}};
  const StreamLinks validated{
      {"a", 1, {1}, {}, "b"}, {"a", 1, {1}, {}, "b"}, {"a", 1, {1}, {9}, "b"}, {"b", 1, {}, {}, ""}};
  const host::ProductData data;
  std::uint64_t dropped = 77;
  const Stream both{c_today, StreamBytes().Section(unique, validated).Bytes()};
  const auto links = host::ReadLinks(both, &data, &dropped);
  EXPECT_EQ(host::CountLinks(*links, LinkSet::Unique), 1u);
  EXPECT_EQ(host::CountLinks(*links, LinkSet::Validated), 2u);
  EXPECT_EQ(dropped, 3u + 2u);

  const StreamVersions oneSet{0x12000005, 0x0F001001};
  const Stream first{oneSet, StreamBytes(StreamFormOf(oneSet)).Section(unique, {}).Bytes()};
  host::ReadLinks(first, &data, &dropped);
  EXPECT_EQ(dropped, 3u);
  host::ReadLinks({{0x12000004, 0x0F001001}, {}}, &data, &dropped);
  EXPECT_EQ(dropped, 0u);
  host::ReadLinks({c_today, StreamBytes().Section({unique[1]}, {validated[0]}).Bytes()}, &data, &dropped);
  EXPECT_EQ(dropped, 0u);
}

TEST(ReadLinks, RefusesADamagedSectionAndSaysWhere) {
  Stream section{c_today, StreamBytes().Section({{"a", 1, {}, {}, ""}}, {}).Bytes()};
  section.bytes.pop_back();
  EXPECT_EQ(
      ErrorOf([&] { host::ReadLinks(section, nullptr); }),
      "the links section is damaged at byte 37: validatedLinks: 8 bytes expected, 7 remain; 'qlinks dump' shows it "
      "up to there");
}

TEST(ReadLinks, RefusesBytesLeftOver) {
  Stream section{c_today, StreamBytes().Section({}, {}).Bytes()};
  section.bytes.push_back(std::byte{0});
  EXPECT_THAT(ErrorOf([&] { host::ReadLinks(section, nullptr); }), HasSubstr("at byte 16: 1 bytes after the end"));
}

}  // namespace
