// A document that is saved and loaded is the same document.

#include "host/storage/DocumentFile.h"

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/storage/LinksSection.h"
#include "tests/host/storage/Folder.h"
#include "tests/host/storage/SampleDocument.h"
#include "tests/host/storage/SqliteFile.h"
#include "tests/support/StreamBytes.h"

using testing::ElementsAre;

namespace {

class DocumentContent : public testing::Test {
 protected:
  std::unique_ptr<host::Document> SavedAndLoaded(const host::Document& document) {
    host::SaveDocument(document, file);
    return host::LoadDocument(file);
  }

  Folder folder;
  std::filesystem::path file = folder / "a.qdoc";
};

TEST_F(DocumentContent, ComesBackWholeWithEveryKindOfValue) {
  const SampleDocument document;
  ExpectSame(document, *SavedAndLoaded(document));
}

TEST_F(DocumentContent, ComesBackTheSameASecondTime) {
  const auto once = SavedAndLoaded(SampleDocument());
  const auto twice = SavedAndLoaded(*once);
  ExpectSame(SampleDocument(), *twice);
}

TEST_F(DocumentContent, OfAnEmptyDocumentIsEmpty) {
  const auto loaded = SavedAndLoaded(host::Document());
  ExpectSame(host::Document(), *loaded);
  EXPECT_EQ(loaded->linksVersions, (StreamVersions{0x17000002, 0x0F001001}));
  EXPECT_EQ(loaded->BodyCount(), 0u);
}

TEST_F(DocumentContent, KeepsTheDifferenceBetweenKindsOfValue) {
  host::Document document;
  document.productData.Insert(KeyOf("a"), {});
  host::Properties& properties = document.productData.Find(KeyOf("a"))->properties;
  properties[L"bool"] = SimplePropVal(true);
  properties[L"int"] = SimplePropVal(1);
  properties[L"double"] = SimplePropVal(1.0);
  properties[L"text"] = SimplePropVal(std::wstring(L"1"));
  properties[L"time"] = SimplePropVal(SimplePropVal::DateTime(std::chrono::seconds(1)));
  properties[L"nothing"] = SimplePropVal();
  const auto loaded = SavedAndLoaded(document);
  EXPECT_TRUE(loaded->productData.Find(KeyOf("a"))->properties == properties);
}

TEST_F(DocumentContent, KeepsAValueThatIsNoNumber) {
  host::Document document;
  document.productData.Insert(KeyOf("a"), {});
  document.productData.Find(KeyOf("a"))->properties[L"x"] = SimplePropVal(std::numeric_limits<double>::quiet_NaN());
  const auto loaded = SavedAndLoaded(document);
  const auto& value = loaded->productData.Find(KeyOf("a"))->properties.at(L"x").GetValue();
  ASSERT_TRUE(std::holds_alternative<double>(value));
  EXPECT_TRUE(std::isnan(std::get<double>(value)));
}

TEST_F(DocumentContent, MayGrowInItsPlaceFarBeyondTheFileThatItWasReadFrom) {
  host::SaveDocument(SampleDocument(), file);
  const std::size_t tenFold = 10 * std::filesystem::file_size(file);
  {
    host::DocumentEdit edit(file);
    edit.Get().otherStreams["drawing"].bytes.assign(tenFold, std::byte{7});
    edit.Save();
  }
  EXPECT_EQ(host::LoadDocument(file)->otherStreams.at("drawing").bytes.size(), tenFold);
}

TEST_F(DocumentContent, StartsWithAValidatorThatAcceptsEverything) {
  host::Document document;
  AddLinksTo(*document.links, {{"nobody", 77, {9}, {}, "nothing"}}, LinkSet::Validated);
  const auto loaded = SavedAndLoaded(document);
  EXPECT_EQ(LinksOf(*loaded->links, LinkSet::Validated).size(), 1u);
}

TEST_F(DocumentContent, ThatLinksOneGeometryObjectTwiceKeepsTheLinkOfTheMetaObjectThatIsThere) {
  host::Document document;
  document.productData.Insert(KeyOf("there"), {});
  host::SaveDocument(document, file);
  const StreamLinks two{{"there", 104, {1}, {}, "b"}, {"zero", 104, {1}, {}, "b"}};
  const std::vector<std::byte> section = StreamBytes().Section(two, {}).Bytes();
  std::string hexadecimal;
  for (const std::byte byte : section) {
    hexadecimal += fmt::format("{:02X}", static_cast<unsigned>(byte));
  }
  SqliteFile(file).Run("UPDATE stream SET bytes = x'" + hexadecimal + "' WHERE name = 'links'");
  EXPECT_EQ(LinksOf(*host::LoadDocument(file)->links, LinkSet::Unique), (StreamLinks{two[0]}));
}

TEST_F(DocumentContent, CountsTheBodiesOfAllComponents) {
  EXPECT_EQ(SavedAndLoaded(SampleDocument())->BodyCount(), 4u);
}

TEST_F(DocumentContent, HoldsTheLinksAsTheLibraryWritesThem) {
  const SampleDocument document;
  host::SaveDocument(document, file);
  const host::Stream section = host::LoadLinksSection(file);
  EXPECT_EQ(section.versions, document.linksVersions);
  EXPECT_EQ(section.bytes, host::WriteLinks(*document.links, document.linksVersions).bytes);
}

TEST_F(DocumentContent, GivesADamagedSectionAsItStands) {
  host::SaveDocument(SampleDocument(), file);
  SqliteFile(file).Run("UPDATE stream SET bytes = x'01FF', app_version = 5, math_version = 6 WHERE name = 'links'");
  const host::Stream section = host::LoadLinksSection(file);
  EXPECT_EQ(section.versions, (StreamVersions{5, 6}));
  EXPECT_THAT(section.bytes, ElementsAre(std::byte{1}, std::byte{0xFF}));
}

TEST_F(DocumentContent, KeepsStreamsOfStrangersThatWereAddedLater) {
  host::SaveDocument(host::Document(), file);
  SqliteFile(file).Run("INSERT INTO stream VALUES ('stranger', 4294967295, 0, x'00FF0A')");
  const auto loaded = host::LoadDocument(file);
  const auto again = SavedAndLoaded(*loaded);
  ASSERT_TRUE(again->otherStreams.contains("stranger"));
  EXPECT_EQ(again->otherStreams.at("stranger").versions, (StreamVersions{0xFFFFFFFF, 0}));
  EXPECT_THAT(again->otherStreams.at("stranger").bytes, ElementsAre(std::byte{0}, std::byte{0xFF}, std::byte{'\n'}));
}

TEST_F(DocumentContent, RunsNothingThatAFileBringsAlong) {
  host::SaveDocument(SampleDocument(), file);
  SqliteFile(file)
      .Run("CREATE TRIGGER t AFTER INSERT ON setting BEGIN DELETE FROM meta_object; END")
      .Run("CREATE VIEW v AS SELECT * FROM setting")
      .Run("CREATE TABLE stranger (x)");
  ExpectSame(SampleDocument(), *host::LoadDocument(file));
}

TEST_F(DocumentContent, IsReadWhateverPageSizeTheFileHas) {
  host::SaveDocument(SampleDocument(), file);
  for (const char* size : {"512", "65536"}) {
    SqliteFile(file).Run(std::string("PRAGMA page_size = ") + size + "; VACUUM");
    ExpectSame(SampleDocument(), *host::LoadDocument(file));
  }
}

TEST_F(DocumentContent, OfManyRowsComesBackInTheOrderOfTheTree) {
  host::Document document;
  for (std::uint32_t holder = 1; holder <= 40; ++holder) {
    document.components[ComponentPath{holder}] = {200, KeyOf(std::to_string(holder)), "", "", {}, 301};
    for (std::uint32_t element = 1; element <= 300; element += 7) {
      const ComponentPath path{element, holder};
      document.components[path] = {104, KeyOf("k"), "", "", {}, 1};
      document.bodies[path] = {{1, MbName("b2"), "", ""}, {1, MbName("b1"), "", ""}};
    }
  }
  ExpectSame(document, *SavedAndLoaded(document));
}

TEST(IsDatabaseFile, GoesByTheFirstSixteenBytes) {
  const Folder folder;
  const std::string magic("SQLite format 3\0", 16);
  WriteFile(folder / "magic", magic);
  WriteFile(folder / "more", magic + "more");
  WriteFile(folder / "short", magic.substr(0, 15));
  WriteFile(folder / "other", "SQLite format 2 and more");
  WriteFile(folder / "empty", "");
  EXPECT_TRUE(host::IsDatabaseFile(folder / "magic"));
  EXPECT_TRUE(host::IsDatabaseFile(folder / "more"));
  EXPECT_FALSE(host::IsDatabaseFile(folder / "short"));
  EXPECT_FALSE(host::IsDatabaseFile(folder / "other"));
  EXPECT_FALSE(host::IsDatabaseFile(folder / "empty"));
  EXPECT_FALSE(host::IsDatabaseFile(folder / "nothing"));
  EXPECT_FALSE(host::IsDatabaseFile(folder.Path()));
}

}  // namespace
