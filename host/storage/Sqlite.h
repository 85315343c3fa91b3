#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include <sqlite3.h>

#include "host/HostError.h"

namespace host {

/// A failed call of SQLite, told in terms of the file.
class SqliteError : public HostError {
 public:
  SqliteError(const std::filesystem::path& file, int code, std::string_view text);
};

class Statement;

/// A connection to one SQLite file. Every failure throws SqliteError.
class Database {
 public:
  /// `flags` as for sqlite3_open_v2. Waits up to c_busyMilliseconds for another program's lock. Errors name the file
  /// that a person knows, `shownAs`, which is the path itself where it is empty.
  Database(const std::filesystem::path& path, int flags, const std::filesystem::path& shownAs = {});

  static constexpr int c_busyMilliseconds = 1000;

  void Execute(const char* sql);
  /// Begins a transaction that may write, and locks the file for that. Throws HostError where another program has put
  /// another file in the place of this one since it was opened: what were written would be lost.
  void BeginWriting();
  /// Brings to the file what the transaction has written, so that a lock or room that is missing shows here and not
  /// at its end. Readers have to wait from here on.
  void Flush();
  Statement Prepare(std::string_view sql);
  /// Refuses values and rows that are longer than this; SQLite's own limit holds as well.
  void LimitLength(std::uint64_t bytes);

  [[noreturn]] void Fail(int code) const;

 private:
  struct Close {
    void operator()(sqlite3* handle) const noexcept { sqlite3_close_v2(handle); }
  };
  std::filesystem::path file;
  std::unique_ptr<sqlite3, Close> connection;
};

/// A prepared statement; lives no longer than its Database. Parameters count from 1, columns from 0. What is bound
/// stays alive until the next Step.
class Statement {
 public:
  void Bind(int parameter, std::int64_t value);
  void Bind(int parameter, double value);
  void BindText(int parameter, std::string_view text);
  void BindBlob(int parameter, std::span<const std::byte> bytes);
  void BindBlob(int parameter, std::string_view bytes);
  void BindNull(int parameter);

  /// True when there is a row to look at; false when the statement has ended and can be run again.
  bool Step();
  /// For statements without rows.
  void Run();

  bool IsNull(int column) const;
  bool IsBlob(int column) const;
  /// What the texts and blobs of the row take together, in bytes.
  std::uint64_t SizeOfRow() const;
  std::int64_t Integer(int column) const;
  double Real(int column) const;
  /// Good until the next Step. Text as UTF-8, blobs as they are.
  std::string_view Bytes(int column) const;

 private:
  friend class Database;
  struct Finalize {
    void operator()(sqlite3_stmt* handle) const noexcept { sqlite3_finalize(handle); }
  };
  Statement(const Database& owner, sqlite3_stmt* prepared) : database(&owner), statement(prepared) {}
  void Check(int code) const;

  const Database* database;
  std::unique_ptr<sqlite3_stmt, Finalize> statement;
};

}  // namespace host
