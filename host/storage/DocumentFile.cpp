#include "host/storage/DocumentFile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <numeric>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

#include "host/HostError.h"
#include "host/model/TextForms.h"
#include "host/storage/LinksSection.h"
#include "host/storage/OutputFile.h"
#include "host/storage/Sqlite.h"

namespace host {

namespace {

constexpr std::int64_t c_applicationId = 0x51504433;  // "QPD3"
constexpr std::int64_t c_formatVersion = 1;

constexpr std::string_view c_linksStream = "links";

// The tables of the format. A file whose tables are declared otherwise is no document: what a table yields must be its
// rows and nothing computed.
struct Table {
  const char* name;
  const char* declaration;
};
constexpr std::array c_tables = {
    // Single values: the root product, the next component number of the document itself.
    Table{"setting", "CREATE TABLE setting (name TEXT PRIMARY KEY, value BLOB NOT NULL) WITHOUT ROWID"},
    Table{"meta_object",
          "CREATE TABLE meta_object (key BLOB PRIMARY KEY, type INTEGER NOT NULL, product BLOB NOT NULL, "
          "holder BLOB NOT NULL, embodiment BLOB NOT NULL, line BLOB NOT NULL, billet INTEGER NOT NULL, "
          "last_position INTEGER NOT NULL) WITHOUT ROWID"},
    // The attributes that somebody has set.
    Table{"attribute",
          "CREATE TABLE attribute (object BLOB PRIMARY KEY, include INTEGER NOT NULL, exclude INTEGER NOT NULL, "
          "bound INTEGER NOT NULL) WITHOUT ROWID"},
    // An object's own properties.
    Table{"property",
          "CREATE TABLE property (object BLOB NOT NULL, name TEXT NOT NULL, kind INTEGER NOT NULL, value, "
          "unit INTEGER NOT NULL, PRIMARY KEY (object, name)) WITHOUT ROWID"},
    // What an object has as a member of a group.
    Table{"group_property",
          "CREATE TABLE group_property (embodiment BLOB NOT NULL, object BLOB NOT NULL, name TEXT NOT NULL, "
          "kind INTEGER NOT NULL, value, unit INTEGER NOT NULL, PRIMARY KEY (embodiment, object, name)) WITHOUT ROWID"},
    Table{"group_member",
          "CREATE TABLE group_member (embodiment BLOB NOT NULL, object BLOB NOT NULL, "
          "PRIMARY KEY (embodiment, object)) WITHOUT ROWID"},
    // A path is 4 bytes for each component, most significant first, the outermost component first: in the order of
    // the primary key a component stands directly before what it holds.
    Table{"component",
          "CREATE TABLE component (path BLOB PRIMARY KEY, type INTEGER NOT NULL, occurrence BLOB NOT NULL, "
          "display_name TEXT NOT NULL, file_id TEXT NOT NULL, placement BLOB NOT NULL, next_element INTEGER NOT NULL) "
          "WITHOUT ROWID"},
    Table{"body",
          "CREATE TABLE body (path BLOB NOT NULL, number INTEGER NOT NULL, name BLOB NOT NULL, type INTEGER NOT NULL, "
          "display_name TEXT NOT NULL, file_id TEXT NOT NULL, PRIMARY KEY (path, number), UNIQUE (path, name)) WITHOUT "
          "ROWID"},
    Table{"stream",
          "CREATE TABLE stream (name TEXT PRIMARY KEY, app_version INTEGER NOT NULL, math_version INTEGER NOT NULL, "
          "bytes BLOB NOT NULL) WITHOUT ROWID"},
};

// How the kind of a property value is stored. Append only.
enum class ValueKind : std::int64_t { empty = 0, text = 1, boolean = 2, integer = 3, real = 4, dateTime = 5 };

[[noreturn]] void FailDamaged(const std::filesystem::path& path, std::string_view what) {
  throw HostError(
      fmt::format("{}: damaged document: {}; use a copy of it or import the STEP file again", path.string(), what));
}

std::string PathBlob(const MbPath& path) {
  std::string blob;
  for (std::size_t i = path.Count(); i-- > 0;) {
    for (int shift = 24; shift >= 0; shift -= 8) {
      blob += static_cast<char>((path[i] >> shift) & 0xFF);
    }
  }
  return blob;
}

std::optional<ComponentPath> PathOfBlob(std::string_view blob) {
  if (blob.size() % 4 != 0) {
    return std::nullopt;
  }
  ComponentPath path;
  for (std::size_t i = blob.size(); i > 0; i -= 4) {
    MbPath::Element element = 0;
    for (std::size_t byte = i - 4; byte < i; ++byte) {
      element = element << 8 | static_cast<unsigned char>(blob[byte]);
    }
    path.Append(element);
  }
  return path;
}

// ---- reading

// An open document with one view of its content, whatever other programs do meanwhile.
class OpenDocument {
 public:
  enum class Purpose { read, change };

  explicit OpenDocument(const std::filesystem::path& path, Purpose purpose = Purpose::read)
      : file(path), database(OpenExisting(path)) {
    if (purpose == Purpose::change && ::access(path.c_str(), W_OK) != 0) {
      throw SqliteError(path, SQLITE_READONLY, "");
    }
    if (purpose == Purpose::change) {
      database.BeginWriting();
    } else {
      database.Execute("BEGIN");
    }
    CheckFormat();
  }

  // To write: what is written may be longer than what was read.
  Database& Connection() {
    database.LimitLength(std::numeric_limits<std::uint64_t>::max());
    return database;
  }

  void Load(Document& document, const ProgressCallback& progress) {
    opening = ProgressStage(progress, "opening", size);
    LoadSettings(document);
    LoadMetaObjects(document.productData);
    LoadAttributes(document.productData);
    LoadProperties(document.productData);
    LoadGroups(document.productData);
    LoadComponents(document);
    LoadBodies(document);
    LoadStreams(document);
  }

  Stream LinksSection() {
    auto rows = database.Prepare("SELECT app_version, math_version, bytes FROM stream WHERE name = ?");
    rows.BindText(1, c_linksStream);
    if (!rows.Step()) {
      FailDamaged(file, "it has no links section");
    }
    return ReadStream(rows, 0);
  }

 private:
  static Database OpenExisting(const std::filesystem::path& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
      throw HostError(fmt::format("{}: no such file; documents are made by 'qlinks import'", path.string()));
    }
    if (std::filesystem::is_directory(status)) {
      throw HostError(fmt::format("{}: is a folder; name a document", path.string()));
    }
    if (!std::filesystem::is_regular_file(status)) {
      throw HostError(fmt::format("{}: not a file on a disk; name a document", path.string()));
    }
    if (std::filesystem::file_size(path, error) == 0) {
      throw HostError(fmt::format("{}: is empty; documents are made by 'qlinks import'", path.string()));
    }
    if (!std::ifstream(path).good()) {
      throw HostError(fmt::format("{}: cannot be opened; look at the rights of the file", path.string()));
    }
    if (!IsDatabaseFile(path)) {
      throw HostError(fmt::format("{}: not a qlinks document; documents are made by 'qlinks import'", path.string()));
    }
    // For writing where that is possible: an interrupted save can only be undone so.
    return Database(path, SQLITE_OPEN_READWRITE);
  }

  std::int64_t Pragma(const char* sql) {
    auto row = database.Prepare(sql);
    return row.Step() ? row.Integer(0) : 0;
  }

  // A row takes some bytes, and those of its texts and blobs stand in the file once: what is read adds up to no more
  // than the file has, unless its tables lead in circles or rows share their pages.
  bool Next(Statement& rows) {
    if (!rows.Step()) {
      return false;
    }
    const std::uint64_t length = 1 + rows.SizeOfRow();
    read += length;
    if (read > 2 * size) {
      FailDamaged(file, "its tables lead in circles");
    }
    opening.Advance(length);
    return true;
  }

  void CheckSize() {
    size = static_cast<std::uint64_t>(std::filesystem::file_size(file));
    const std::int64_t claimed = Pragma("PRAGMA page_count") * Pragma("PRAGMA page_size");
    if (size < static_cast<std::uint64_t>(claimed)) {
      FailDamaged(file, fmt::format("cut off, {} of {} bytes", size, claimed));
    }
    database.LimitLength(size);
  }

  void CheckFormat() {
    if (Pragma("PRAGMA application_id") != c_applicationId) {
      throw HostError(fmt::format("{}: a database of another program, not a qlinks document", file.string()));
    }
    const std::int64_t version = Pragma("PRAGMA user_version");
    if (version < 1) {
      FailDamaged(file, fmt::format("document format {}, which there never was", version));
    }
    if (version > c_formatVersion) {
      throw HostError(fmt::format("{}: document format {}, this program knows {}; use a newer qlinks", file.string(),
                                  version, c_formatVersion));
    }
    CheckSize();
    auto row = database.Prepare("SELECT sql FROM sqlite_schema WHERE type = 'table' AND name = ?");
    for (const Table& table : c_tables) {
      row.BindText(1, table.name);
      if (!row.Step() || row.Bytes(0) != table.declaration) {
        FailDamaged(file, fmt::format("the table '{}' is missing or of another form", table.name));
      }
      while (row.Step()) {
      }
    }
  }

  void LoadSettings(Document& document) {
    auto rows = database.Prepare("SELECT value FROM setting WHERE name = ?");
    rows.BindText(1, "root_product");
    RequireSetting(rows, "root_product");
    document.productData.SetRootProduct(Key(rows, 0));
    while (rows.Step()) {
    }
    rows.BindText(1, "next_root_element");
    RequireSetting(rows, "next_root_element");
    document.nextRootElement = Number32(rows, 0, "setting");
  }

  void RequireSetting(Statement& rows, std::string_view name) {
    if (!Next(rows)) {
      FailDamaged(file, fmt::format("the setting '{}' is missing", name));
    }
  }

  void LoadMetaObjects(ProductData& data) {
    auto rows = database.Prepare(
        "SELECT key, type, product, holder, embodiment, line, billet, last_position FROM meta_object ORDER BY key");
    while (Next(rows)) {
      MetaObject object;
      object.type = static_cast<MetaObjectType>(Number32(rows, 1, "meta_object"));
      object.product = Key(rows, 2);
      object.holder = Key(rows, 3);
      object.embodiment = Key(rows, 4);
      object.groupObject = Key(rows, 5);
      object.billet = static_cast<BilletKind>(Number32(rows, 6, "meta_object"));
      object.lastPosition = Int(rows, 7);
      if (object.lastPosition < 0) {
        FailDamaged(file, fmt::format("a last position below 0, {}", object.lastPosition));
      }
      RequireNew(data.Insert(Key(rows, 0), std::move(object)), "meta_object");
    }
  }

  void LoadAttributes(ProductData& data) {
    auto rows = database.Prepare("SELECT object, include, exclude, bound FROM attribute ORDER BY object");
    while (Next(rows)) {
      Existing(data, Key(rows, 0), "an attribute").part =
          AttributedPart{{.includeFlag = rows.Integer(1) != 0,
                          .excludeFlag = rows.Integer(2) != 0,
                          .embodimentBoundFlag = Number32(rows, 3, "attribute")}};
    }
  }

  void LoadProperties(ProductData& data) {
    auto rows = database.Prepare("SELECT object, name, kind, value, unit FROM property ORDER BY object, name");
    while (Next(rows)) {
      RequireNew(Existing(data, Key(rows, 0), "a property").properties.emplace(Text(rows, 1), Value(rows, 2)).second,
                 "property");
    }
  }

  void LoadGroups(ProductData& data) {
    auto rows = database.Prepare("SELECT embodiment, object FROM group_member ORDER BY embodiment, object");
    while (Next(rows)) {
      data.AddToGroup(Key(rows, 0), Key(rows, 1));
    }
    auto values = database.Prepare("SELECT embodiment, object, name, kind, value, unit FROM group_property");
    while (Next(values)) {
      data.SetGroupValue(Key(values, 0), Key(values, 1), Text(values, 2), Value(values, 3));
    }
  }

  void LoadComponents(Document& document) {
    auto rows = database.Prepare(
        "SELECT path, type, occurrence, display_name, file_id, placement, next_element FROM component ORDER BY path");
    while (Next(rows)) {
      Component component;
      component.objectType = Number32(rows, 1, "component");
      component.occurrence = Key(rows, 2);
      component.displayName = rows.Bytes(3);
      component.fileId = rows.Bytes(4);
      const std::string_view placement = rows.Bytes(5);
      if (placement.size() != sizeof(component.placement)) {
        FailDamaged(file, "a component without a placement");
      }
      std::memcpy(component.placement.data(), placement.data(), placement.size());
      if (!std::all_of(component.placement.begin(), component.placement.end(),
                       [](double n) { return std::isfinite(n); })) {
        FailDamaged(file, "a component with a placement that is none");
      }
      component.nextElement = Number32(rows, 6, "component");
      ComponentPath path = Path(rows, 0, "component");
      RequireHolder(document, path);
      const std::size_t before = document.components.size();
      document.components.emplace_hint(document.components.end(), std::move(path), std::move(component));
      RequireNew(document.components.size() > before, "component");
    }
  }

  // In the order of the tree a component comes after the one that holds it.
  void RequireHolder(const Document& document, const ComponentPath& path) const {
    const ComponentPath holder = HolderPath(path);
    if (path.IsEmpty() || (!holder.IsEmpty() && !document.components.contains(holder))) {
      FailDamaged(file, fmt::format("the component {} has none that holds it", PathText(path)));
    }
  }

  void LoadBodies(Document& document) {
    auto rows = database.Prepare("SELECT path, name, type, display_name, file_id FROM body ORDER BY path, number");
    std::set<std::string> namesInComponent;
    while (Next(rows)) {
      const ComponentPath path = Path(rows, 0, "body");
      if (!path.IsEmpty() && !document.components.contains(path)) {
        FailDamaged(file, fmt::format("a body in component {}, which is not there", PathText(path)));
      }
      Body body;
      body.objectName = MbName(std::string(rows.Bytes(1)));
      body.objectType = Number32(rows, 2, "body");
      body.displayName = rows.Bytes(3);
      body.fileId = rows.Bytes(4);
      if (document.bodies.empty() || !(document.bodies.rbegin()->first == path)) {
        RequireNew(document.bodies.try_emplace(path).second, "body");
        namesInComponent.clear();
      }
      RequireNew(namesInComponent.emplace(body.objectName.Bytes()).second, "body");
      document.bodies.rbegin()->second.push_back(std::move(body));
    }
  }

  void LoadStreams(Document& document) {
    auto rows = database.Prepare("SELECT name, app_version, math_version, bytes FROM stream WHERE name <> ?");
    rows.BindText(1, c_linksStream);
    while (Next(rows)) {
      RequireNew(document.otherStreams.emplace(rows.Bytes(0), ReadStream(rows, 1)).second, "stream");
    }
    const Stream section = LinksSection();
    document.linksVersions = section.versions;
    document.links =
        WithFileName(file, [&] { return ReadLinks(section, &document.productData, &document.droppedLinks, &opening); });
  }

  Stream ReadStream(const Statement& row, int firstColumn) const {
    Stream stream;
    stream.versions = {Number32(row, firstColumn, "stream"), Number32(row, firstColumn + 1, "stream")};
    const std::string_view bytes = row.Bytes(firstColumn + 2);
    const auto first = reinterpret_cast<const std::byte*>(bytes.data());
    stream.bytes.assign(first, first + bytes.size());
    return stream;
  }

  // A table has each of its rows once; a damaged one may yield them again, or out of order, and one of two would be
  // lost.
  void RequireNew(bool isNew, std::string_view table) const {
    if (!isNew) {
      FailDamaged(file, fmt::format("the table '{}' has the same row twice", table));
    }
  }

  // Not of a constant `data`, whose objects would be constant too.
  // cppcheck-suppress constParameter
  MetaObject& Existing(ProductData& data, const UniqueMetaObjectKey& key, std::string_view what) const {
    MetaObject* object = data.Find(key);
    if (object == nullptr) {
      FailDamaged(file, fmt::format("{} of an object that is not there, {}", what, KeyText(key)));
    }
    return *object;
  }

  UniqueMetaObjectKey Key(const Statement& row, int column) const {
    return UniqueMetaObjectKey(std::string(Blob(row, column)));
  }

  std::string_view Blob(const Statement& row, int column) const {
    if (!row.IsBlob(column)) {
      FailDamaged(file, "a key or a path that is not stored as bytes");
    }
    return row.Bytes(column);
  }

  // Texts that are not UTF-8 would come out changed.
  std::wstring Text(const Statement& row, int column) const {
    const std::string_view text = row.Bytes(column);
    if (!IsUtf8(text)) {
      FailDamaged(file, fmt::format("a property with a text that is not UTF-8, {}", BytesText(text.substr(0, 40))));
    }
    return ToWide(text);
  }

  ComponentPath Path(const Statement& row, int column, std::string_view table) const {
    auto path = PathOfBlob(Blob(row, column));
    if (!path) {
      FailDamaged(file, fmt::format("the table '{}' has a path that is none", table));
    }
    return *std::move(path);
  }

  std::uint32_t Number32(const Statement& row, int column, std::string_view table) const {
    const std::int64_t number = row.Integer(column);
    if (number < 0 || number > 0xFFFFFFFF) {
      FailDamaged(file, fmt::format("the table '{}' has a number out of range, {}", table, number));
    }
    return static_cast<std::uint32_t>(number);
  }

  SimplePropVal Value(const Statement& row, int column) const {
    const auto unit = static_cast<SimplePropVal::UnitId>(Number32(row, column + 2, "property"));
    switch (static_cast<ValueKind>(row.Integer(column))) {
      case ValueKind::empty:
        return SimplePropVal({}, unit);
      case ValueKind::text:
        return SimplePropVal(Text(row, column + 1), unit);
      case ValueKind::boolean:
        return SimplePropVal(row.Integer(column + 1) != 0, unit);
      case ValueKind::integer:
        return SimplePropVal(Int(row, column + 1), unit);
      case ValueKind::real:
        // SQLite keeps no NaN: it becomes NULL.
        return SimplePropVal(row.IsNull(column + 1) ? std::numeric_limits<double>::quiet_NaN() : row.Real(column + 1),
                             unit);
      case ValueKind::dateTime:
        return SimplePropVal(SimplePropVal::DateTime(std::chrono::seconds(row.Integer(column + 1))), unit);
    }
    FailDamaged(file, fmt::format("a property of unknown kind, {}", row.Integer(column)));
  }

  int Int(const Statement& row, int column) const {
    const std::int64_t number = row.Integer(column);
    if (number != static_cast<int>(number)) {
      FailDamaged(file, fmt::format("a whole number out of range, {}", number));
    }
    return static_cast<int>(number);
  }

  std::filesystem::path file;
  Database database;
  std::uint64_t size = 0;
  // Rows, and the bytes of their texts and blobs.
  std::uint64_t read = 0;
  // Counts as `read` does, and the bytes of the links section. What the file has beside them stands for the time in
  // which the store takes the links up.
  ProgressStage opening;
};

// ---- writing

// Binds the kind to parameter `first` and the value to the next.
void BindValue(Statement& row, int first, const SimplePropVal& property) {
  std::visit(
      [&row, first](const auto& held) {
        using Held = std::decay_t<decltype(held)>;
        const auto bindKind = [&row, first](ValueKind stored) { row.Bind(first, static_cast<std::int64_t>(stored)); };
        if constexpr (std::is_same_v<Held, std::monostate>) {
          bindKind(ValueKind::empty);
          row.BindNull(first + 1);
        } else if constexpr (std::is_same_v<Held, bool>) {
          bindKind(ValueKind::boolean);
          row.Bind(first + 1, std::int64_t{held});
        } else if constexpr (std::is_same_v<Held, int>) {
          bindKind(ValueKind::integer);
          row.Bind(first + 1, std::int64_t{held});
        } else if constexpr (std::is_same_v<Held, double>) {
          bindKind(ValueKind::real);
          row.Bind(first + 1, held);
        } else if constexpr (std::is_same_v<Held, SimplePropVal::DateTime>) {
          bindKind(ValueKind::dateTime);
          row.Bind(first + 1, std::int64_t{held.time_since_epoch().count()});
        }
      },
      property.GetValue());
}

// Runs the statement once for each property, with name, kind, value and unit from parameter `first` on; what stands
// before is bound already and stays.
void WriteProperties(Statement& row, int first, const Properties& properties) {
  for (const auto& [name, value] : properties) {
    const std::string utf8Name = ToUtf8(name);
    row.BindText(first, utf8Name);
    // A text is converted, and its bytes have to outlive the statement's run.
    // cppcheck-suppress variableScope
    std::string text;
    if (const auto* wide = std::get_if<std::wstring>(&value.GetValue())) {
      text = ToUtf8(*wide);
      row.Bind(first + 1, static_cast<std::int64_t>(ValueKind::text));
      row.BindText(first + 2, text);
    } else {
      BindValue(row, first + 1, value);
    }
    row.Bind(first + 3, static_cast<std::int64_t>(value.GetUnit()));
    row.Run();
  }
}

void WriteMetaObjects(Database& database, const ProductData& data, ProgressStage& saving) {
  auto object = database.Prepare("INSERT INTO meta_object VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
  auto property = database.Prepare("INSERT INTO property VALUES (?, ?, ?, ?, ?)");
  auto attribute = database.Prepare("INSERT INTO attribute VALUES (?, ?, ?, ?)");
  for (const auto& [key, metaObject] : data.All()) {
    object.BindBlob(1, key.Bytes());
    object.Bind(2, static_cast<std::int64_t>(metaObject.type));
    object.BindBlob(3, metaObject.product.Bytes());
    object.BindBlob(4, metaObject.holder.Bytes());
    object.BindBlob(5, metaObject.embodiment.Bytes());
    object.BindBlob(6, metaObject.groupObject.Bytes());
    object.Bind(7, static_cast<std::int64_t>(metaObject.billet));
    object.Bind(8, std::int64_t{metaObject.lastPosition});
    object.Run();
    if (const auto* part = std::get_if<AttributedPart>(&metaObject.part)) {
      attribute.BindBlob(1, key.Bytes());
      attribute.Bind(2, std::int64_t{part->attributes.includeFlag});
      attribute.Bind(3, std::int64_t{part->attributes.excludeFlag});
      attribute.Bind(4, std::int64_t{part->attributes.embodimentBoundFlag});
      attribute.Run();
    }
    property.BindBlob(1, key.Bytes());
    WriteProperties(property, 2, metaObject.properties);
    saving.Advance();
  }
}

void WriteGroups(Database& database, const ProductData& data, ProgressStage& saving) {
  auto member = database.Prepare("INSERT INTO group_member VALUES (?, ?)");
  auto value = database.Prepare("INSERT INTO group_property VALUES (?, ?, ?, ?, ?, ?)");
  for (const auto& [embodiment, group] : data.AllGroups()) {
    for (const UniqueMetaObjectKey& key : group.members) {
      member.BindBlob(1, embodiment.Bytes());
      member.BindBlob(2, key.Bytes());
      member.Run();
      saving.Advance();
    }
    for (const auto& [key, properties] : group.values) {
      value.BindBlob(1, embodiment.Bytes());
      value.BindBlob(2, key.Bytes());
      WriteProperties(value, 3, properties);
    }
  }
}

void WriteModel(Database& database, const Document& document, ProgressStage& saving) {
  auto component = database.Prepare("INSERT INTO component VALUES (?, ?, ?, ?, ?, ?, ?)");
  for (const auto& [path, value] : document.components) {
    const std::string blob = PathBlob(path);
    component.BindBlob(1, blob);
    component.Bind(2, std::int64_t{value.objectType});
    component.BindBlob(3, value.occurrence.Bytes());
    component.BindText(4, value.displayName);
    component.BindText(5, value.fileId);
    component.BindBlob(6, std::as_bytes(std::span(value.placement)));
    component.Bind(7, std::int64_t{value.nextElement});
    component.Run();
    saving.Advance();
  }
  auto row = database.Prepare("INSERT INTO body VALUES (?, ?, ?, ?, ?, ?)");
  for (const auto& [path, bodies] : document.bodies) {
    const std::string blob = PathBlob(path);
    std::int64_t number = 0;
    for (const Body& body : bodies) {
      row.BindBlob(1, blob);
      row.Bind(2, ++number);
      row.BindBlob(3, body.objectName.Bytes());
      row.Bind(4, std::int64_t{body.objectType});
      row.BindText(5, body.displayName);
      row.BindText(6, body.fileId);
      row.Run();
      saving.Advance();
    }
  }
}

void WriteStreams(Database& database, const Document& document) {
  auto row = database.Prepare("INSERT INTO stream VALUES (?, ?, ?, ?)");
  const auto write = [&row](std::string_view name, const Stream& stream) {
    row.BindText(1, name);
    row.Bind(2, std::int64_t{stream.versions.appVersion});
    row.Bind(3, std::int64_t{stream.versions.mathVersion});
    row.BindBlob(4, stream.bytes);
    row.Run();
  };
  for (const auto& [name, stream] : document.otherStreams) {
    write(name, stream);
  }
  write(c_linksStream, WriteLinks(*document.links, document.linksVersions));
}

void WriteSettings(Database& database, const Document& document) {
  auto row = database.Prepare("INSERT INTO setting VALUES (?, ?)");
  row.BindText(1, "root_product");
  row.BindBlob(2, document.productData.RootProduct().Bytes());
  row.Run();
  row.BindText(1, "next_root_element");
  row.Bind(2, std::int64_t{document.nextRootElement});
  row.Run();
}

void WriteContent(Database& database, const Document& document, ProgressStage& saving) {
  WriteSettings(database, document);
  WriteMetaObjects(database, document.productData, saving);
  WriteGroups(database, document.productData, saving);
  WriteModel(database, document, saving);
  WriteStreams(database, document);
}

// What WriteContent counts: the rows of the tables that grow with the document.
ProgressStage SavingStage(const Document& document, const ProgressCallback& progress) {
  const auto& groups = document.productData.AllGroups();
  const std::uint64_t members =
      std::accumulate(groups.begin(), groups.end(), std::uint64_t{0},
                      [](std::uint64_t sum, const auto& group) { return sum + group.second.members.size(); });
  return {progress, "saving",
          document.productData.All().size() + members + document.components.size() + document.BodyCount()};
}

// Where a document stands already it is opened and locked while the new one is made, so that no other program's
// change gets lost and an interrupted save is undone before its journal could meet the new file.
std::optional<Database> LockReplaced(const std::filesystem::path& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error) || std::filesystem::is_directory(path, error)) {
    return std::nullopt;
  }
  if (!std::filesystem::is_regular_file(path, error) || !IsDatabaseFile(path)) {
    throw HostError(fmt::format("{}: exists and is not a qlinks document; choose another name with -o", path.string()));
  }
  if (::access(path.c_str(), W_OK) != 0) {
    throw SqliteError(path, SQLITE_READONLY, "");
  }
  Database replaced(path, SQLITE_OPEN_READWRITE);
  replaced.BeginWriting();
  auto id = replaced.Prepare("PRAGMA application_id");
  if (!id.Step() || id.Integer(0) != c_applicationId) {
    throw HostError(fmt::format("{}: a database of another program; choose another name with -o", path.string()));
  }
  return replaced;
}

// By name, whatever file another program puts there meanwhile.
bool IsSamePlace(const std::filesystem::path& one, const std::filesystem::path& other) {
  std::error_code ignored;
  return std::filesystem::weakly_canonical(one, ignored) == std::filesystem::weakly_canonical(other, ignored);
}

}  // namespace

bool IsDatabaseFile(const std::filesystem::path& path) {
  static constexpr std::string_view c_magic{"SQLite format 3\0", 16};
  std::array<char, 16> head{};
  std::ifstream in(path, std::ios::binary);
  in.read(head.data(), head.size());
  return in.good() && std::string_view(head.data(), head.size()) == c_magic;
}

std::unique_ptr<Document> LoadDocument(const std::filesystem::path& path, const ProgressCallback& progress) {
  auto document = std::make_unique<Document>();
  OpenDocument(path).Load(*document, progress);
  return document;
}

Stream LoadLinksSection(const std::filesystem::path& path) {
  return OpenDocument(path).LinksSection();
}

class DocumentEdit::Source : public OpenDocument {
  using OpenDocument::OpenDocument;
};

DocumentEdit::DocumentEdit(const std::filesystem::path& path, const ProgressCallback& progress)
    : DocumentEdit(path, path, progress) {}

DocumentEdit::DocumentEdit(const std::filesystem::path& path, const std::filesystem::path& output,
                           const ProgressCallback& progress)
    : file(output) {
  if (IsSamePlace(path, output)) {
    source = std::make_unique<Source>(path, OpenDocument::Purpose::change);
    document = std::make_unique<Document>();
    source->Load(*document, progress);
  } else {
    document = LoadDocument(path, progress);
  }
}

DocumentEdit::~DocumentEdit() = default;

void DocumentEdit::Save(const std::function<void()>& report, const ProgressCallback& progress) {
  if (source == nullptr) {
    SaveDocument(*document, file, report, progress);
    return;
  }
  ProgressStage saving = SavingStage(*document, progress);
  Database& database = source->Connection();
  for (const Table& table : c_tables) {
    database.Execute(fmt::format("DELETE FROM {}", table.name).c_str());
  }
  WithFileName(file, [&] { WriteContent(database, *document, saving); });
  database.Flush();
  report();
  database.Execute("COMMIT");
  source.reset();
}

void RequireOutputPlace(const std::filesystem::path& path) {
  LockReplaced(path);
  const OutputFile place(path);
}

void SaveDocument(const Document& document, const std::filesystem::path& path, const std::function<void()>& report,
                  const ProgressCallback& progress) {
  const std::optional<Database> replaced = LockReplaced(path);
  OutputFile output(path);
  {
    ProgressStage saving = SavingStage(document, progress);
    Database database(output.TemporaryPath(), SQLITE_OPEN_READWRITE, path);
    // The file takes its name only when it is whole and on the disk, so it needs no journal beside it. (OFF is not to
    // be had of a connection that is on its guard.)
    database.Execute("PRAGMA journal_mode = MEMORY; PRAGMA synchronous = OFF");
    database.Execute(
        fmt::format("PRAGMA application_id = {}; PRAGMA user_version = {}; BEGIN", c_applicationId, c_formatVersion)
            .c_str());
    for (const Table& table : c_tables) {
      database.Execute(table.declaration);
    }
    WithFileName(path, [&] { WriteContent(database, document, saving); });
    database.Execute("COMMIT");
  }
  report();
  output.Commit();
}

}  // namespace host
