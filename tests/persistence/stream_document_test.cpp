// The worked examples of docs/stream_format.md are true: each reads to its links, and a store with the links writes
// exactly these bytes.

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/FixtureFile.h"
#include "tests/support/StreamLink.h"

namespace {

const StreamLink c_bolt{"bolt-1", 1, {2, 5}, {9}, "Bolt"};
const StreamLink c_line{"line-4", 1, {2, 5}, {9}, "Bolt"};

struct Example {
  StreamVersions versions;
  StreamLinks uniqueLinks;
  StreamLinks validatedLinks;
  std::uint32_t state;
};

StreamLink WithoutSecondPath(StreamLink link) {
  link.secondPath.clear();
  return link;
}

// In the order in which the document shows them.
std::vector<Example> Examples() {
  const StreamLink oldBolt = WithoutSecondPath(c_bolt);
  const StreamLink oldLine = WithoutSecondPath(c_line);
  return {{{0x17000002, 0x0F001001}, {c_bolt}, {c_bolt, c_line}, 0},
          {{0x17000002, 0x0EFFFFFF}, {c_bolt}, {c_bolt, c_line}, 0},
          {{0x17000002, 0x03FFFFFF}, {}, {}, 8},
          {{0x14000000, 0x0EFFFFFF}, {oldBolt}, {oldBolt, oldLine}, 0},
          {{0x12000010, 0x0EFFFFFF}, {oldBolt}, {oldBolt}, 0}};
}

// The blocks of the document that are fenced as hex.
std::vector<FixtureFile> DocumentExamples() {
  std::ifstream file(QPD_DOCUMENT_DIR "/stream_format.md");
  const std::string document{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  const std::string fence = "\n```hex\n";
  std::vector<FixtureFile> examples;
  for (std::size_t begin = document.find(fence); begin != std::string::npos; begin = document.find(fence, begin)) {
    begin += fence.size();
    std::istringstream block(document.substr(begin, document.find("\n```", begin) - begin));
    examples.push_back(FixtureFile::Parse(block));
  }
  return examples;
}

TEST(StreamDocument, ShowsOneExampleOfEachForm) {
  std::vector<StreamVersions> shown;
  for (const FixtureFile& example : DocumentExamples()) {
    shown.push_back(example.versions);
  }
  std::vector<StreamVersions> expected;
  for (const Example& example : Examples()) {
    expected.push_back(example.versions);
  }
  EXPECT_EQ(shown, expected);
}

TEST(StreamDocument, ShowsBytesThatReadToItsLinks) {
  const std::vector<FixtureFile> shown = DocumentExamples();
  const std::vector<Example> expected = Examples();
  ASSERT_EQ(shown.size(), expected.size());
  for (std::size_t i = 0; i < shown.size(); ++i) {
    const auto store = CreateProductGeometryObjects3D(AcceptAll);
    MemoryReader in(shown[i].bytes, shown[i].versions);
    ReadMetaObjectsLinks(in, *store, nullptr);
    EXPECT_EQ(LinksOf(*store, LinkSet::Unique), expected[i].uniqueLinks) << "example " << i + 1;
    EXPECT_EQ(LinksOf(*store, LinkSet::Validated), expected[i].validatedLinks) << "example " << i + 1;
    EXPECT_EQ(in.State(), expected[i].state) << "example " << i + 1;
  }
}

TEST(StreamDocument, ShowsTheBytesThatAStoreWithItsLinksWrites) {
  const auto store = CreateProductGeometryObjects3D(AcceptAll);
  AddLinksTo(*store, {c_bolt}, LinkSet::Unique);
  AddLinksTo(*store, {c_bolt, c_line}, LinkSet::Validated);
  int number = 0;
  for (const FixtureFile& example : DocumentExamples()) {
    MemoryWriter out(example.versions);
    store->WriteMetaObjectsLinks(out);
    EXPECT_EQ(out.Bytes(), example.bytes) << "example " << ++number;
  }
}

}  // namespace
