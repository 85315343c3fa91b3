#include "host/storage/Sqlite.h"

#include <algorithm>
#include <limits>

#include <fmt/format.h>

#include "host/model/TextForms.h"

namespace host {

namespace {

std::string Describe(int code, std::string_view text) {
  switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return "locked by another program; try again when that has finished";
    case SQLITE_READONLY:
      return code == SQLITE_READONLY_ROLLBACK || code == SQLITE_READONLY_RECOVERY
                 ? "read-only, with an interrupted save beside it; make it writable once, so that the save is undone"
                 : "read-only; make the file and its folder writable, or write to another one with -o";
    case SQLITE_FULL:
      return "the disk is full; make room and try again";
    case SQLITE_IOERR:
      return fmt::format("the disk refused a read or write ({}); make room or use another disk", text);
    case SQLITE_CANTOPEN:
      return "cannot be opened; look at the rights of the file and its folder";
    case SQLITE_NOTADB:
      return "not a qlinks document; documents are made by 'qlinks import'";
    case SQLITE_CORRUPT:
    case SQLITE_CONSTRAINT:
    case SQLITE_ERROR:
    case SQLITE_SCHEMA:
    case SQLITE_MISMATCH:
    case SQLITE_TOOBIG:
      return fmt::format("damaged document ({}); use a copy of it or import the STEP file again", text);
    default:
      return std::string(text);
  }
}

}  // namespace

SqliteError::SqliteError(const std::filesystem::path& file, int code, std::string_view text)
    // SQLite repeats names of the file's own, whatever they are made of.
    : HostError(fmt::format("{}: {}", file.string(), Describe(code, OneLine(text)))) {}

Database::Database(const std::filesystem::path& path, int flags, const std::filesystem::path& shownAs)
    : file(shownAs.empty() ? path : shownAs) {
  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(path.c_str(), &opened, flags | SQLITE_OPEN_EXRESCODE, nullptr);
  connection.reset(opened);
  if (code != SQLITE_OK) {
    throw SqliteError(file, code, sqlite3_errstr(code));
  }
  sqlite3_busy_timeout(opened, c_busyMilliseconds);
  // A document may come from anywhere: nothing in its schema is run, and no statement may damage the file itself.
  sqlite3_db_config(opened, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(opened, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
}

void Database::Fail(int code) const {
  throw SqliteError(file, code, sqlite3_errmsg(connection.get()));
}

void Database::Execute(const char* sql) {
  const int code = sqlite3_exec(connection.get(), sql, nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) {
    Fail(code);
  }
}

void Database::BeginWriting() {
  Execute("BEGIN IMMEDIATE");
  int hasMoved = 0;
  sqlite3_file_control(connection.get(), nullptr, SQLITE_FCNTL_HAS_MOVED, &hasMoved);
  if (hasMoved != 0) {
    throw HostError(fmt::format("{}: replaced by another program meanwhile; try again", file.string()));
  }
}

void Database::Flush() {
  const int code = sqlite3_db_cacheflush(connection.get());
  if (code != SQLITE_OK) {
    throw SqliteError(file, code, sqlite3_errstr(code));
  }
}

Statement Database::Prepare(std::string_view sql) {
  sqlite3_stmt* prepared = nullptr;
  const int code = sqlite3_prepare_v2(connection.get(), sql.data(), static_cast<int>(sql.size()), &prepared, nullptr);
  if (code != SQLITE_OK) {
    Fail(code);
  }
  return Statement(*this, prepared);
}

void Database::LimitLength(std::uint64_t bytes) {
  constexpr std::uint64_t c_most = std::numeric_limits<int>::max();
  sqlite3_limit(connection.get(), SQLITE_LIMIT_LENGTH, static_cast<int>(std::min(bytes, c_most)));
}

void Statement::Check(int code) const {
  if (code != SQLITE_OK) {
    database->Fail(code);
  }
}

void Statement::Bind(int parameter, std::int64_t value) {
  Check(sqlite3_bind_int64(statement.get(), parameter, value));
}

void Statement::Bind(int parameter, double value) {
  Check(sqlite3_bind_double(statement.get(), parameter, value));
}

void Statement::BindText(int parameter, std::string_view text) {
  // An empty view may have a null pointer, which SQLite would take for NULL.
  const char* data = text.empty() ? "" : text.data();
  Check(sqlite3_bind_text64(statement.get(), parameter, data, text.size(), SQLITE_STATIC, SQLITE_UTF8));
}

void Statement::BindBlob(int parameter, std::span<const std::byte> bytes) {
  const void* data = bytes.empty() ? static_cast<const void*>("") : bytes.data();
  Check(sqlite3_bind_blob64(statement.get(), parameter, data, bytes.size(), SQLITE_STATIC));
}

void Statement::BindBlob(int parameter, std::string_view bytes) {
  BindBlob(parameter, std::as_bytes(std::span(bytes.data(), bytes.size())));
}

void Statement::BindNull(int parameter) {
  Check(sqlite3_bind_null(statement.get(), parameter));
}

bool Statement::Step() {
  const int code = sqlite3_step(statement.get());
  if (code == SQLITE_ROW) {
    return true;
  }
  sqlite3_reset(statement.get());
  if (code != SQLITE_DONE) {
    database->Fail(code);
  }
  return false;
}

void Statement::Run() {
  Step();
}

bool Statement::IsNull(int column) const {
  return sqlite3_column_type(statement.get(), column) == SQLITE_NULL;
}

bool Statement::IsBlob(int column) const {
  return sqlite3_column_type(statement.get(), column) == SQLITE_BLOB;
}

std::uint64_t Statement::SizeOfRow() const {
  std::uint64_t size = 0;
  for (int column = 0; column < sqlite3_column_count(statement.get()); ++column) {
    const int type = sqlite3_column_type(statement.get(), column);
    // Asked for the size of a number, SQLite would make a text of it.
    if (type == SQLITE_TEXT || type == SQLITE_BLOB) {
      size += static_cast<std::uint64_t>(sqlite3_column_bytes(statement.get(), column));
    }
  }
  return size;
}

std::int64_t Statement::Integer(int column) const {
  return sqlite3_column_int64(statement.get(), column);
}

double Statement::Real(int column) const {
  return sqlite3_column_double(statement.get(), column);
}

std::string_view Statement::Bytes(int column) const {
  const void* data = sqlite3_column_blob(statement.get(), column);
  return {static_cast<const char*>(data), static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), column))};
}

}  // namespace host
