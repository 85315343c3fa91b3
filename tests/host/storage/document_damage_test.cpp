// What is no readable document is refused with one line that names the file.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "host/HostError.h"
#include "host/storage/DocumentFile.h"
#include "tests/host/storage/ChildProcess.h"
#include "tests/host/storage/Folder.h"
#include "tests/host/storage/SampleDocument.h"
#include "tests/host/storage/SqliteFile.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

// The error that loading ends with; empty where it does not.
std::string RefusalOf(const std::filesystem::path& file) {
  try {
    host::LoadDocument(file);
  } catch (const host::HostError& error) {
    return error.what();
  }
  return {};
}

class DocumentDamage : public testing::Test {
 protected:
  // Saved once: bringing a document to the disk is slow.
  static void SetUpTestSuite() {
    const Folder folder;
    host::SaveDocument(SampleDocument(), folder / "a.qdoc");
    sample = BytesOfFile(folder / "a.qdoc");
  }

  void SetUp() override { Restore(); }

  void Restore() const { WriteFile(file, sample); }

  void ExpectRefusal(const std::string& text) const {
    const std::string refusal = RefusalOf(file);
    EXPECT_THAT(refusal, StartsWith(file.string() + ": "));
    EXPECT_THAT(refusal, HasSubstr(text));
    EXPECT_THAT(refusal, Not(HasSubstr("\n")));
  }

  static std::string sample;
  Folder folder;
  std::filesystem::path file = folder / "a.qdoc";
};

std::string DocumentDamage::sample;

// ---- no document at all

TEST_F(DocumentDamage, OfAFileThatIsNotThere) {
  file = folder / "none.qdoc";
  ExpectRefusal("no such file");
}

TEST_F(DocumentDamage, OfAFolder) {
  file = folder.Path();
  ExpectRefusal("is a folder");
}

TEST_F(DocumentDamage, OfSomethingThatIsNoFileOnADisk) {
  file = folder / "pipe";
  ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
  ExpectRefusal("not a file on a disk");
  file = "/dev/zero";
  ExpectRefusal("not a file on a disk");
}

TEST_F(DocumentDamage, OfAnEmptyFile) {
  WriteFile(file, "");
  ExpectRefusal("is empty");
}

TEST_F(DocumentDamage, OfAFileOfAnotherKind) {
  for (const std::string bytes : {"x", "ISO-10303-21;\n", "SQLite format 3"}) {
    WriteFile(file, bytes);
    ExpectRefusal("not a qlinks document");
  }
}

TEST_F(DocumentDamage, OfAFileThatOnlyBeginsLikeADatabase) {
  const std::string magic("SQLite format 3\0", 16);
  for (const std::string& bytes : {magic, magic + std::string(200, '\xFF'), magic + std::string(5000, '\0')}) {
    WriteFile(file, bytes);
    EXPECT_THAT(RefusalOf(file), StartsWith(file.string() + ": "));
  }
}

TEST_F(DocumentDamage, OfAFileThatMayNotBeRead) {
  ::chmod(file.c_str(), 0);
  const ChildEnd end = InChild([&] {
    BecomeAnybody();
    return RefusalOf(file).find("cannot be opened; look at the rights") != std::string::npos ? 0 : 1;
  });
  EXPECT_EQ(end.status, 0);
}

// ---- a database, but not of this format

TEST_F(DocumentDamage, OfADatabaseOfAnotherProgram) {
  for (const char* id : {"0", "1", "-1", "1364214836"}) {
    SqliteFile(file).Run(std::string("PRAGMA application_id = ") + id);
    ExpectRefusal("a database of another program");
  }
}

TEST_F(DocumentDamage, OfANewerFormat) {
  SqliteFile(file).Run("PRAGMA user_version = 2");
  ExpectRefusal("document format 2, this program knows 1; use a newer qlinks");
  SqliteFile(file).Run("PRAGMA user_version = 2147483647");
  ExpectRefusal("document format 2147483647");
}

TEST_F(DocumentDamage, OfANewerFormatWhoseTablesDiffer) {
  SqliteFile(file).Run("PRAGMA user_version = 2; DROP TABLE setting");
  ExpectRefusal("document format 2");
}

constexpr const char* c_tableNames[] = {"setting",      "meta_object", "attribute", "property", "group_property",
                                        "group_member", "component",   "body",      "stream"};

TEST_F(DocumentDamage, OfAFormatThatThereNeverWas) {
  for (const std::string version : {"0", "-1"}) {
    SqliteFile(file).Run("PRAGMA user_version = " + version);
    ExpectRefusal("document format " + version + ", which there never was");
  }
}

TEST_F(DocumentDamage, OfAMissingTable) {
  for (const char* table : c_tableNames) {
    Restore();
    SqliteFile(file).Run(std::string("DROP TABLE ") + table);
    ExpectRefusal(std::string("the table '") + table + "' is missing or of another form");
  }
}

TEST_F(DocumentDamage, OfATableWithAColumnMore) {
  for (const char* table : c_tableNames) {
    Restore();
    SqliteFile(file).Run(std::string("ALTER TABLE ") + table + " ADD COLUMN more");
    ExpectRefusal(std::string("the table '") + table + "' is missing or of another form");
  }
}

TEST_F(DocumentDamage, OfAViewInPlaceOfATable) {
  for (const std::string table : c_tableNames) {
    Restore();
    SqliteFile(file)
        .Run("CREATE TABLE hidden AS SELECT * FROM " + table)
        .Run("DROP TABLE " + table)
        .Run("CREATE VIEW " + table + " AS SELECT * FROM hidden");
    ExpectRefusal("the table '" + table + "' is missing or of another form");
  }
}

TEST_F(DocumentDamage, OfATableThatComputesItsColumns) {
  SqliteFile(file)
      .Run("DROP TABLE setting")
      .Run("CREATE TABLE setting (name TEXT PRIMARY KEY, value AS (zeroblob(1000000)))");
  ExpectRefusal("the table 'setting' is missing or of another form");
}

TEST_F(DocumentDamage, OfTextsInAnotherEncoding) {
  std::filesystem::remove(file);
  SqliteFile(file).Run(
      "PRAGMA encoding = 'UTF-16'; PRAGMA application_id = 1364214835; PRAGMA user_version = 1; "
      "CREATE TABLE setting (name TEXT PRIMARY KEY, value BLOB NOT NULL) WITHOUT ROWID");
  ExpectRefusal("the table 'setting' is missing or of another form");
}

// ---- rows that make no sense

TEST_F(DocumentDamage, OfNumbersThatDoNotFit) {
  struct Place {
    const char* table;
    const char* column;
    const char* where;
  };
  for (const Place& place :
       {Place{"meta_object", "type", "key = CAST('root' AS BLOB)"}, Place{"meta_object", "billet", "key = x''"},
        Place{"attribute", "bound", "1"}, Place{"component", "type", "path = x'00000001'"},
        Place{"component", "next_element", "path = x'00000001'"}, Place{"body", "type", "number = 1"},
        Place{"property", "unit", "name = 'yes'"}, Place{"stream", "app_version", "name = 'links'"},
        Place{"stream", "math_version", "name = 'links'"}, Place{"stream", "app_version", "name = 'drawing'"},
        Place{"setting", "value", "name = 'next_root_element'"}}) {
    for (const std::string number : {"-1", "4294967296", "9223372036854775807"}) {
      Restore();
      SqliteFile(file).Run(std::string("UPDATE ") + place.table + " SET " + place.column + " = " + number + " WHERE " +
                           place.where);
      ExpectRefusal(std::string("the table '") + place.table + "' has a number out of range, " + number);
    }
  }
}

TEST_F(DocumentDamage, OfWhatBelongsToAnObjectThatIsNotThere) {
  SqliteFile(file).Run("INSERT INTO property VALUES (x'0041', 'p', 1, 'v', 0)");
  ExpectRefusal("an object that is not there, \\x00A");
  Restore();
  SqliteFile(file).Run("INSERT INTO attribute VALUES (x'0042', 0, 0, 0)");
  ExpectRefusal("an object that is not there, \\x00B");
}

TEST_F(DocumentDamage, OfAPropertyOfUnknownKind) {
  for (const std::string kind : {"6", "-1", "4294967297"}) {
    Restore();
    SqliteFile(file).Run("UPDATE property SET kind = " + kind + " WHERE name = 'yes'");
    ExpectRefusal("a property of unknown kind, " + kind);
  }
}

TEST_F(DocumentDamage, OfAMissingSetting) {
  for (const std::string setting : {"root_product", "next_root_element"}) {
    Restore();
    SqliteFile(file).Run("DELETE FROM setting WHERE name = '" + setting + "'");
    ExpectRefusal("the setting '" + setting + "' is missing");
  }
}

TEST_F(DocumentDamage, OfAKeyOrAPathThatIsNoBytes) {
  for (const std::string change :
       {"UPDATE setting SET value = 'root' WHERE name = 'root_product'", "UPDATE meta_object SET holder = 'text'",
        "UPDATE component SET occurrence = 17", "UPDATE body SET path = '1234' WHERE path = x''"}) {
    Restore();
    SqliteFile(file).Run(change);
    ExpectRefusal("a key or a path that is not stored as bytes");
  }
}

TEST_F(DocumentDamage, OfATextThatIsNotUtf8) {
  for (const std::string column : {"name", "value"}) {
    Restore();
    SqliteFile(file).Run("UPDATE property SET kind = 1, " + column + " = CAST(x'61FF62' AS TEXT) WHERE name = 'yes'");
    ExpectRefusal("a text that is not UTF-8, a\\xFFb");
  }
}

TEST_F(DocumentDamage, OfAPropertyWithAWholeNumberOutOfRange) {
  for (const std::string number : {"2147483648", "-2147483649", "9223372036854775807"}) {
    Restore();
    SqliteFile(file).Run("UPDATE property SET kind = 3, value = " + number + " WHERE name = 'yes'");
    ExpectRefusal("a whole number out of range, " + number);
  }
}

TEST_F(DocumentDamage, OfALastPositionThatIsNone) {
  SqliteFile(file).Run("UPDATE meta_object SET last_position = -1");
  ExpectRefusal("a last position below 0, -1");
  SqliteFile(file).Run("UPDATE meta_object SET last_position = 2147483648");
  ExpectRefusal("a whole number out of range, 2147483648");
}

TEST_F(DocumentDamage, OfAComponentWithoutAPlacement) {
  for (const std::string size : {"0", "88", "95", "97", "104"}) {
    SqliteFile(file).Run("UPDATE component SET placement = zeroblob(" + size + ") WHERE path = x'00000001'");
    ExpectRefusal("a component without a placement");
  }
}

TEST_F(DocumentDamage, OfASchemaWithLineBreaksIsToldInOneLine) {
  SqliteFile(file)
      .Run("PRAGMA writable_schema = ON")
      .Run("UPDATE sqlite_schema SET name = 'a' || char(10) || 'b', sql = 'CREATE' WHERE name = 'body'");
  ExpectRefusal("malformed database schema (a\\x0Ab");
}

TEST_F(DocumentDamage, OfAPlacementThatIsNoNumber) {
  SqliteFile(file).Run("UPDATE component SET placement = CAST(zeroblob(88) || x'000000000000F07F' AS BLOB)");
  ExpectRefusal("a component with a placement that is none");
}

// Rows that a primary key would refuse, put in while the key is declared to be a longer one, which is stored alike.
TEST_F(DocumentDamage, OfARowThatIsThereTwice) {
  struct Double {
    std::string table;
    std::string key;
    std::string longerKey;
    std::string row;
  };
  const Double doubles[] = {
      {"meta_object",
       "key BLOB PRIMARY KEY, type INTEGER NOT NULL, product BLOB NOT NULL, holder BLOB NOT NULL, "
       "embodiment BLOB NOT NULL, line BLOB NOT NULL, billet INTEGER NOT NULL, "
       "last_position INTEGER NOT NULL)",
       "key BLOB NOT NULL, type INTEGER NOT NULL, product BLOB NOT NULL, holder BLOB NOT NULL, "
       "embodiment BLOB NOT NULL, line BLOB NOT NULL, billet INTEGER NOT NULL, "
       "last_position INTEGER NOT NULL, PRIMARY KEY (key, type))",
       "SELECT key, type + 1, product, holder, embodiment, line, billet, last_position FROM meta_object LIMIT 1"},
      {"property", "PRIMARY KEY (object, name)", "PRIMARY KEY (object, name, kind)",
       "SELECT object, name, kind + 1, value, unit FROM property LIMIT 1"},
      {"component",
       "path BLOB PRIMARY KEY, type INTEGER NOT NULL, occurrence BLOB NOT NULL, display_name TEXT NOT NULL, "
       "file_id TEXT NOT NULL, placement BLOB NOT NULL, next_element INTEGER NOT NULL)",
       "path BLOB NOT NULL, type INTEGER NOT NULL, occurrence BLOB NOT NULL, display_name TEXT NOT NULL, "
       "file_id TEXT NOT NULL, placement BLOB NOT NULL, next_element INTEGER NOT NULL, PRIMARY KEY (path, type))",
       "SELECT path, type + 1, occurrence, display_name, file_id, placement, next_element FROM component LIMIT 1"},
      {"body", "UNIQUE (path, name)", "UNIQUE (path, name, number)",
       "SELECT path, number + 100, name, type, display_name, file_id FROM body LIMIT 1"},
  };
  for (const auto& [table, key, longerKey, row] : doubles) {
    Restore();
    const auto declare = [&, name = table](const std::string& from, const std::string& to) {
      SqliteFile(file)
          .Run("PRAGMA writable_schema = ON")
          .Run("UPDATE sqlite_schema SET sql = replace(sql, '" + from + "', '" + to + "') WHERE name = '" + name + "'");
    };
    declare(key, longerKey);
    SqliteFile(file).Run("INSERT INTO " + table + " " + row);
    declare(longerKey, key);
    ExpectRefusal("the table '" + table + "' has the same row twice");
  }
}

TEST_F(DocumentDamage, OfAPathThatIsNone) {
  SqliteFile(file).Run("UPDATE component SET path = x'000000' WHERE path = x'000000010000000A'");
  ExpectRefusal("the table 'component' has a path that is none");
  Restore();
  SqliteFile(file).Run("UPDATE body SET path = x'0000000100' WHERE path = x''");
  ExpectRefusal("the table 'body' has a path that is none");
}

TEST_F(DocumentDamage, OfAComponentWithoutHolder) {
  SqliteFile(file).Run("INSERT INTO component VALUES (x'0000000700000001', 104, x'', '', '', zeroblob(96), 1)");
  ExpectRefusal("the component 7/1 has none that holds it");
  Restore();
  SqliteFile(file).Run("INSERT INTO component VALUES (x'', 104, x'', '', '', zeroblob(96), 1)");
  ExpectRefusal("the component / has none that holds it");
}

TEST_F(DocumentDamage, OfABodyInAComponentThatIsNotThere) {
  SqliteFile(file).Run("UPDATE body SET path = x'0000000100000009' WHERE path = x'0000000100000002'");
  ExpectRefusal("a body in component 1/9, which is not there");
}

TEST_F(DocumentDamage, OfADocumentWithoutLinksSection) {
  SqliteFile(file).Run("DELETE FROM stream WHERE name = 'links'");
  ExpectRefusal("it has no links section");
  EXPECT_THROW(host::LoadLinksSection(file), host::HostError);
}

TEST_F(DocumentDamage, OfTheLinksSection) {
  SqliteFile(file).Run("UPDATE stream SET bytes = x'FFFFFFFF' WHERE name = 'links'");
  ExpectRefusal("the links section is damaged at byte 0");
}

// ---- damage below the tables

TEST_F(DocumentDamage, ByACutAnywhereIsRefused) {
  for (std::size_t length = 1; length < sample.size(); length += length < 1024 ? 101 : 1021) {
    WriteFile(file, sample.substr(0, length));
    ASSERT_NE(RefusalOf(file), "") << "cut to " << length;
  }
}

TEST_F(DocumentDamage, BySingleBytesNeverDoesMoreThanARefusal) {
  std::uint32_t random = 1;
  const auto next = [&random](std::size_t limit) {
    random = random * 1664525 + 1013904223;
    return static_cast<std::size_t>(random >> 8) % limit;
  };
  for (int round = 0; round < 300; ++round) {
    std::string damaged = sample;
    const std::size_t place = round % 3 == 0 ? next(200) : next(sample.size());
    damaged[place] = static_cast<char>(next(256));
    WriteFile(file, damaged);
    ASSERT_NO_THROW(RefusalOf(file)) << "byte " << place << " is " << int{static_cast<unsigned char>(damaged[place])};
  }
}

}  // namespace
