// Frozen sections of every version, read into a store and written by one.

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/FixtureFile.h"
#include "tests/support/FixtureLinks.h"

namespace {

class LinkStoreFixtures : public testing::TestWithParam<SectionFixture> {
 protected:
  const FixtureFile file = FixtureFile::Load(GetParam().FileName());
  const std::unique_ptr<IProductGeometryObjects3D> store = CreateProductGeometryObjects3D(AcceptAll);
};

TEST_P(LinkStoreFixtures, ReadIntoAStore) {
  MemoryReader in(file.bytes, file.versions);
  ReadMetaObjectsLinks(in, *store, nullptr);
  EXPECT_EQ(LinksOf(*store, LinkSet::Unique), GetParam().First());
  EXPECT_EQ(LinksOf(*store, LinkSet::Validated), GetParam().Second());
  EXPECT_EQ(in.State(), GetParam().state);
}

TEST_P(LinkStoreFixtures, AreWhatAStoreWithTheirLinksWrites) {
  AddLinksTo(*store, FixtureUniqueLinks(), LinkSet::Unique);
  AddLinksTo(*store, FixtureValidatedLinks(), LinkSet::Validated);
  MemoryWriter out(file.versions);
  store->WriteMetaObjectsLinks(out);
  EXPECT_EQ(out.Bytes(), file.bytes);
  EXPECT_EQ(out.State(), GetParam().state);
}

// A 16-bit stream reads as nothing, and of a store that holds nothing it carries nothing.
TEST_P(LinkStoreFixtures, AreWrittenAgainByteForByteAfterReading) {
  MemoryReader in(file.bytes, file.versions);
  ReadMetaObjectsLinks(in, *store, nullptr);
  MemoryWriter out(file.versions);
  store->WriteMetaObjectsLinks(out);
  EXPECT_EQ(out.Bytes(), GetParam().state == 0 ? file.bytes : std::vector<std::byte>());
}

INSTANTIATE_TEST_SUITE_P(Frozen, LinkStoreFixtures, testing::ValuesIn(SectionFixtures()), SectionFixtureName);

TEST(SectionFixtureFiles, AreAllTested) {
  std::set<std::string> tested;
  for (const SectionFixture& fixture : SectionFixtures()) {
    tested.insert(fixture.FileName());
  }
  std::set<std::string> found;
  for (const auto& entry : std::filesystem::directory_iterator(QPD_FIXTURE_DIR)) {
    const std::string name = entry.path().filename();
    if (name.starts_with("section_")) {
      found.insert(name);
    }
  }
  EXPECT_EQ(found, tested);
}

}  // namespace
