// Frozen sections with one bit flipped, read as a host reads that does not trust its bytes.

#include <cstddef>
#include <exception>
#include <string>

#include <gmock/gmock.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>

#include "tests/support/FixtureFile.h"
#include "tests/support/StreamLink.h"
#include "tests/support/StreamRecorders.h"

namespace {

using testing::ElementsAre;

class DamagedSections : public testing::TestWithParam<const char*> {};

TEST_P(DamagedSections, ReadOrThrowWhicheverBitFlipsAndLeaveTheStoreAloneWhereTheyThrow) {
  FixtureFile file = FixtureFile::Load(GetParam());
  const StreamLink held{"held", 1, {1}, {}, ""};
  int thrown = 0;
  for (std::size_t bit = 0; bit < file.bytes.size() * 8; ++bit) {
    const std::byte mask{static_cast<unsigned char>(1u << bit % 8)};
    const auto store = CreateProductGeometryObjects3D(AcceptAll);
    AddLinksTo(*store, {held}, LinkSet::Both);
    file.bytes[bit / 8] ^= mask;
    try {
      ThrowingReader in(file.bytes, file.versions);
      ReadMetaObjectsLinks(in, *store, nullptr);
    } catch (const std::exception&) {
      ++thrown;
      EXPECT_THAT(LinksOf(*store, LinkSet::Unique), ElementsAre(held)) << "bit " << bit;
      EXPECT_THAT(LinksOf(*store, LinkSet::Validated), ElementsAre(held)) << "bit " << bit;
    }
    file.bytes[bit / 8] ^= mask;
  }
  EXPECT_GT(thrown, 100);
}

INSTANTIATE_TEST_SUITE_P(Frozen, DamagedSections,
                         testing::Values("section_app12000025_math0F001001.hex", "section_app1400001B_math0F001001.hex",
                                         "section_app17000001_math0F001001.hex",
                                         "section_app17000002_math0F001001.hex"),
                         [](const auto& instance) { return std::string(instance.param).substr(0, 32); });

}  // namespace
