// A links section goes by the version of the application, also where its streams keep versions of modules beside it.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <gtest/gtest.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/StreamBytes.h"
#include "tests/support/StreamLink.h"

namespace {

const StreamLinks c_links{{"a", 1, {2, 1}, {8}, "in"}, {"b", 1, {}, {}, "root"}};

class ModuleVersions : public testing::TestWithParam<StreamAppForm> {
 protected:
  const StreamVersions versions{GetParam().appVersion, c_currentMathVersion};
  const std::vector<std::byte> section = StreamBytes(StreamFormOf(versions)).Section(c_links, c_links).Bytes();
  const std::unique_ptr<IProductGeometryObjects3D> store = CreateProductGeometryObjects3D(AcceptAll);
};

INSTANTIATE_TEST_SUITE_P(AllForms, ModuleVersions, testing::ValuesIn(c_streamAppForms));

TEST_P(ModuleVersions, DoNotDecideWhatIsWritten) {
  AddLinksTo(*store, c_links, LinkSet::Both);
  MemoryWriter out(versions);
  ASSERT_EQ(out.AppVersion(0), tape::c_moduleVersion);
  store->WriteMetaObjectsLinks(out);
  EXPECT_EQ(out.Bytes(), section);
}

TEST_P(ModuleVersions, DoNotDecideWhatIsRead) {
  MemoryReader in(section, versions);
  ReadMetaObjectsLinks(in, *store, nullptr);
  EXPECT_EQ(in.Position(), section.size());
  StreamLinks expected = GetParam().setCount == 0 ? StreamLinks() : c_links;
  for (StreamLink& link : expected) {
    link.secondPath = GetParam().hasSecondPath ? link.secondPath : std::vector<std::uint32_t>();
  }
  EXPECT_EQ(LinksOf(*store, LinkSet::Unique), expected);
  EXPECT_EQ(LinksOf(*store, LinkSet::Validated), expected);
}

}  // namespace
