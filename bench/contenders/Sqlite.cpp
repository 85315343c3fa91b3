#include "bench/contenders/Sqlite.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <utility>

namespace bench {

namespace {

// A path element comes behind a byte that tells it from the end of the path, so that a path is before those that begin
// with it.
constexpr char c_element = '\1';
constexpr char c_pathEnd = '\0';
constexpr std::size_t c_numberLength = 4;

// Most significant byte first, which orders bytes as numbers.
void AppendNumber(std::string& bytes, std::uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<char>(number >> shift));
  }
}

std::uint32_t NumberAt(std::string_view bytes) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < c_numberLength; ++i) {
    number = number << 8 | static_cast<unsigned char>(bytes[i]);
  }
  return number;
}

void AppendPath(std::string& bytes, const MbPath& path) {
  for (const MbPath::Element element : path) {
    bytes.push_back(c_element);
    AppendNumber(bytes, element);
  }
  bytes.push_back(c_pathEnd);
}

// Takes a path off the beginning of the bytes.
void TakePath(std::string_view& bytes, MbPath& path) {
  for (; bytes.front() == c_element; bytes.remove_prefix(1 + c_numberLength)) {
    path.Append(NumberAt(bytes.substr(1)));
  }
  bytes.remove_prefix(1);
}

Geometry Decoded(std::string_view bytes, std::string_view second) {
  Geometry geometry;
  geometry.objectType = NumberAt(bytes);
  bytes.remove_prefix(c_numberLength);
  TakePath(bytes, geometry.componentPath);
  geometry.objectName = MbName(bytes);
  if (!second.empty()) {
    TakePath(second, geometry.secondPath);
  }
  return geometry;
}

// Empty for an empty path, which nearly all are.
std::string EncodedSecond(const MbPath& path) {
  std::string bytes;
  if (!path.IsEmpty()) {
    AppendPath(bytes, path);
  }
  return bytes;
}

[[noreturn]] void Fail(sqlite3* database) {
  throw std::runtime_error(std::string("SQLite: ") + sqlite3_errmsg(database));
}

// Bound bytes stay where they are until the statement has run. A null pointer would be NULL and not an empty blob.
void Bind(sqlite3_stmt* statement, int parameter, std::string_view bytes) {
  sqlite3_bind_blob64(statement, parameter, bytes.empty() ? "" : bytes.data(), bytes.size(), SQLITE_STATIC);
}

std::string_view Column(sqlite3_stmt* statement, int column) {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement, column));
  const auto length = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
  return length == 0 ? std::string_view() : std::string_view(bytes, length);
}

bool Step(sqlite3_stmt* statement) {
  const int code = sqlite3_step(statement);
  if (code != SQLITE_ROW && code != SQLITE_DONE) {
    Fail(sqlite3_db_handle(statement));
  }
  return code == SQLITE_ROW;
}

template <class Visit>
void ForEachRow(sqlite3_stmt* statement, const Visit& visit) {
  while (Step(statement)) {
    visit(statement);
  }
  sqlite3_reset(statement);
}

void Run(sqlite3_stmt* statement) {
  Step(statement);
  sqlite3_reset(statement);
}

}  // namespace

Sqlite::Sqlite() {
  sqlite3* handle = nullptr;
  const int code =
      sqlite3_open_v2(":memory:", &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  database.reset(handle);
  if (code != SQLITE_OK) {
    Fail(handle);
  }
  Execute("CREATE TABLE unique_links(key BLOB NOT NULL UNIQUE, geometry BLOB NOT NULL UNIQUE, second BLOB NOT NULL)");
  Execute(
      "CREATE TABLE validated_links(key BLOB NOT NULL, geometry BLOB NOT NULL, second BLOB NOT NULL, "
      "UNIQUE(key, geometry))");
  Execute("CREATE INDEX validated_by_geometry ON validated_links(geometry)");
  unique = PrepareTable("unique_links");
  validated = PrepareTable("validated_links");
}

void Sqlite::Execute(const char* sql) const {
  if (sqlite3_exec(database.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    Fail(database.get());
  }
}

Sqlite::Statement Sqlite::Prepare(const std::string& sql) const {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v3(database.get(), sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
      SQLITE_OK) {
    Fail(database.get());
  }
  return Statement(statement);
}

Sqlite::Table Sqlite::PrepareTable(const std::string& name) const {
  Table table;
  table.evict = Prepare("DELETE FROM " + name + " WHERE geometry=?1");
  table.add = Prepare("INSERT OR IGNORE INTO " + name + " VALUES(?1,?2,?3)");
  table.has = Prepare("SELECT second FROM " + name + " WHERE key=?1 AND geometry=?2");
  table.keys = Prepare("SELECT key FROM " + name + " WHERE geometry=?1");
  table.geometry = Prepare("SELECT geometry, second FROM " + name + " WHERE key=?1");
  table.remove = Prepare("DELETE FROM " + name + " WHERE key=?1 AND geometry=?2");
  table.removeRow = Prepare("DELETE FROM " + name + " WHERE rowid=?1");
  table.replaceKey = Prepare("UPDATE OR IGNORE " + name + " SET key=?2 WHERE key=?1");
  table.removeKey = Prepare("DELETE FROM " + name + " WHERE key=?1");
  table.replaceGeometry = Prepare("UPDATE OR IGNORE " + name + " SET geometry=?2, second=?3 WHERE geometry=?1");
  table.removeGeometry = Prepare("DELETE FROM " + name + " WHERE geometry=?1");
  table.moveRow = Prepare("UPDATE OR IGNORE " + name + " SET geometry=?2 WHERE rowid=?1");
  table.rekeyRow = Prepare("UPDATE OR IGNORE " + name + " SET key=?2 WHERE rowid=?1");
  table.walk = Prepare("SELECT rowid, key, geometry, second FROM " + name);
  table.walkKeys = Prepare("SELECT rowid, key FROM " + name + " ORDER BY key");
  table.walkGeometry = Prepare("SELECT rowid, geometry FROM " + name);
  return table;
}

std::string_view Sqlite::Encoded(const Geometry& geometry) const {
  buffer.clear();
  AppendNumber(buffer, geometry.objectType);
  AppendPath(buffer, geometry.componentPath);
  buffer.append(geometry.objectName.Bytes());
  return buffer;
}

void Sqlite::AddUnique(const Key& key, const Geometry& geometry) {
  const std::string_view encoded = Encoded(geometry);
  const std::string second = EncodedSecond(geometry.secondPath);
  Bind(unique.evict.get(), 1, encoded);
  Run(unique.evict.get());
  Bind(unique.add.get(), 1, key.Bytes());
  Bind(unique.add.get(), 2, encoded);
  Bind(unique.add.get(), 3, second);
  Run(unique.add.get());
}

void Sqlite::AddValidated(const Key& key, const Geometry& geometry) {
  if (!validator(Link{key, geometry})) {
    return;
  }
  const std::string second = EncodedSecond(geometry.secondPath);
  Bind(validated.add.get(), 1, key.Bytes());
  Bind(validated.add.get(), 2, Encoded(geometry));
  Bind(validated.add.get(), 3, second);
  Run(validated.add.get());
}

bool Sqlite::HasLink(const Table& table, const Key& key, const Geometry& geometry) const {
  sqlite3_stmt* statement = table.has.get();
  Bind(statement, 1, key.Bytes());
  Bind(statement, 2, Encoded(geometry));
  const bool result = Step(statement) && Column(statement, 0) == EncodedSecond(geometry.secondPath);
  sqlite3_reset(statement);
  return result;
}

Key Sqlite::FirstKey(const Table& table, const Geometry& geometry) const {
  sqlite3_stmt* statement = table.keys.get();
  Bind(statement, 1, Encoded(geometry));
  Key result;
  if (Step(statement)) {
    result = Key(Column(statement, 0));
  }
  sqlite3_reset(statement);
  return result;
}

std::vector<Key> Sqlite::GetMetaObjectKeys(const Geometry& geometry) const {
  sqlite3_stmt* statement = validated.keys.get();
  Bind(statement, 1, Encoded(geometry));
  std::vector<Key> result;
  while (Step(statement)) {
    result.emplace_back(Column(statement, 0));
  }
  sqlite3_reset(statement);
  return result;
}

std::vector<Geometry> Sqlite::GeometryOf(const Table& table, const Key& key) const {
  sqlite3_stmt* statement = table.geometry.get();
  Bind(statement, 1, key.Bytes());
  std::vector<Geometry> result;
  while (Step(statement)) {
    result.push_back(Decoded(Column(statement, 0), Column(statement, 1)));
  }
  sqlite3_reset(statement);
  return result;
}

void Sqlite::Remove(const Table& table, const Key& key, const Geometry& geometry) {
  Bind(table.remove.get(), 1, key.Bytes());
  Bind(table.remove.get(), 2, Encoded(geometry));
  Run(table.remove.get());
}

void Sqlite::SetLinkValidater(Validator newValidator) {
  validator = std::move(newValidator);
  std::vector<std::int64_t> rejected;
  Walk(validated, [this, &rejected](std::int64_t row, const Link& link) {
    if (!validator(link)) {
      rejected.push_back(row);
    }
  });
  for (const std::int64_t row : rejected) {
    sqlite3_bind_int64(validated.removeRow.get(), 1, row);
    Run(validated.removeRow.get());
  }
}

void Sqlite::ReplaceKey(const Table& table, const Key& from, const Key& to) {
  Bind(table.replaceKey.get(), 1, from.Bytes());
  Bind(table.replaceKey.get(), 2, to.Bytes());
  Run(table.replaceKey.get());
  // What collided with another link has kept its key.
  Bind(table.removeKey.get(), 1, from.Bytes());
  Run(table.removeKey.get());
}

void Sqlite::ReplaceGeometry(const Table& table, const Geometry& from, const Geometry& to) {
  const std::string encodedFrom(Encoded(from));
  const std::string second = EncodedSecond(to.secondPath);
  Bind(table.replaceGeometry.get(), 1, encodedFrom);
  Bind(table.replaceGeometry.get(), 2, Encoded(to));
  Bind(table.replaceGeometry.get(), 3, second);
  Run(table.replaceGeometry.get());
  Bind(table.removeGeometry.get(), 1, encodedFrom);
  Run(table.removeGeometry.get());
}

void Sqlite::ReplaceGeometryObject(const Geometry& from, const Geometry& to) {
  ReplaceGeometry(unique, from, to);
  ReplaceGeometry(validated, from, to);
}

void Sqlite::ReplaceComponentPath(const MbPath& from, const MbPath& to) {
  MoveBranch(unique, from, to);
  MoveBranch(validated, from, to);
}

void Sqlite::MoveBranch(const Table& table, const MbPath& from, const MbPath& to) {
  std::vector<std::pair<std::int64_t, Geometry>> moved;
  ForEachRow(table.walkGeometry.get(), [&](sqlite3_stmt* row) {
    Geometry geometry = Decoded(Column(row, 1), {});
    const ComponentPath& path = geometry.componentPath;
    if (from.Count() <= path.Count() && std::equal(from.begin(), from.end(), path.end() - from.Count())) {
      moved.emplace_back(sqlite3_column_int64(row, 0), std::move(geometry));
    }
  });
  for (auto& [row, geometry] : moved) {
    std::copy(to.begin(), to.end(), geometry.componentPath.end() - to.Count());
    sqlite3_bind_int64(table.moveRow.get(), 1, row);
    Bind(table.moveRow.get(), 2, Encoded(geometry));
    Run(table.moveRow.get());
    if (sqlite3_changes(database.get()) == 0) {
      sqlite3_bind_int64(table.removeRow.get(), 1, row);
      Run(table.removeRow.get());
    }
  }
}

RenamedKeys Sqlite::RegenerateMetaObjectKeys() {
  RenamedKeys result;
  RegenerateKeys(unique, result);
  RegenerateKeys(validated, result);
  return result;
}

// The first link of each key gets a new one: the one that the map has already, or a fresh one.
void Sqlite::RegenerateKeys(const Table& table, RenamedKeys& renamed) {
  std::vector<std::pair<std::int64_t, const Key*>> changes;
  Key last;
  ForEachRow(table.walkKeys.get(), [&](sqlite3_stmt* row) {
    const std::string_view bytes = Column(row, 1);
    if (!changes.empty() && bytes == last.Bytes()) {
      return;
    }
    last = Key(bytes);
    auto entry = renamed.lower_bound(last);
    if (entry == renamed.end() || last < entry->first) {
      entry = renamed.emplace_hint(entry, last, Key::Generate());
    }
    changes.emplace_back(sqlite3_column_int64(row, 0), &entry->second);
  });
  for (const auto& [row, key] : changes) {
    sqlite3_bind_int64(table.rekeyRow.get(), 1, row);
    Bind(table.rekeyRow.get(), 2, key->Bytes());
    Run(table.rekeyRow.get());
  }
}

void Sqlite::Walk(const Table& table, const std::function<void(std::int64_t row, const Link& link)>& visit) const {
  ForEachRow(table.walk.get(), [&visit](sqlite3_stmt* row) {
    visit(sqlite3_column_int64(row, 0), {Key(Column(row, 1)), Decoded(Column(row, 2), Column(row, 3))});
  });
}

}  // namespace bench
