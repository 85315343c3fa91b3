#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include <sqlite3.h>

/// A plain connection to an SQLite file, without any of the care of host/storage: for damaging documents and for
/// being the other program.
class SqliteFile {
 public:
  explicit SqliteFile(const std::filesystem::path& path) {
    if (sqlite3_open_v2(path.c_str(), &connection, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) != SQLITE_OK) {
      throw std::runtime_error("cannot be opened: " + path.string());
    }
    Run("PRAGMA synchronous = OFF");
  }
  SqliteFile(const SqliteFile&) = delete;
  SqliteFile& operator=(const SqliteFile&) = delete;
  ~SqliteFile() { sqlite3_close(connection); }

  SqliteFile& Run(const std::string& sql) {
    if (sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sql + ": " + sqlite3_errmsg(connection));
    }
    return *this;
  }

 private:
  sqlite3* connection = nullptr;
};
