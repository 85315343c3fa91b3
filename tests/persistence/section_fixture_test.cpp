// Frozen sections of every version, read into the two temporary sets.

#include "persistence/LinkStream.h"

#include <gtest/gtest.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/FixtureFile.h"
#include "tests/support/FixtureLinks.h"

namespace {

class LinkSectionFixtures : public testing::TestWithParam<SectionFixture> {};

TEST_P(LinkSectionFixtures, ReadToTheirLinksAndNoByteMore) {
  const FixtureFile file = FixtureFile::Load(GetParam().FileName());
  ASSERT_EQ(file.versions, GetParam().versions);
  MemoryReader in(file.bytes, file.versions);
  ValidatedLinks first;
  ValidatedLinks second;
  ReadLinkSections(in, first, second);
  EXPECT_EQ(LinksOf(first), GetParam().First());
  EXPECT_EQ(LinksOf(second), GetParam().Second());
  EXPECT_EQ(in.State(), GetParam().state);
  // A 16-bit stream carries no count, so nothing of it is read.
  EXPECT_EQ(in.Position(), GetParam().state == 0 ? file.bytes.size() : 0u);
}

INSTANTIATE_TEST_SUITE_P(Frozen, LinkSectionFixtures, testing::ValuesIn(SectionFixtures()), SectionFixtureName);

}  // namespace
