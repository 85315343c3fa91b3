#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <sqlite3.h>

#include "bench/contenders/Contender.h"

namespace bench {

/// SQLite in memory: a table with two indexes for each set, prepared statements with bound values, one transaction for
/// a workload. A geometry object is one blob that compares as the objects do, its second path another; both are turned
/// into bytes and back. Keeps the pair rule and the unique rules, by conflict clauses. Leaves out the order of results:
/// the geometry objects of a key come in their own order.
class Sqlite {
 public:
  static constexpr std::string_view c_name = "sqlite";
  static constexpr bool c_keepsOrder = false;
  static constexpr bool c_scansLinksOfOne = false;

  Sqlite();

  void Begin() { Execute("BEGIN"); }
  void Commit() { Execute("COMMIT"); }

  template <LinkSet set>
  void AddLink(const Key& key, const Geometry& geometry) {
    if constexpr (ChangesUnique(set)) {
      AddUnique(key, geometry);
    }
    if constexpr (ChangesValidated(set)) {
      AddValidated(key, geometry);
    }
  }

  template <LinkSet set>
  bool HasLink(const Key& key, const Geometry& geometry) const {
    return HasLink(Of<set>(), key, geometry);
  }

  template <LinkSet set>
  Key GetMetaObjectKey(const Geometry& geometry) const {
    return FirstKey(Of<set>(), geometry);
  }

  std::vector<Key> GetMetaObjectKeys(const Geometry& geometry) const;

  template <LinkSet set>
  std::vector<Geometry> GetGeometryObjects(const Key& key) const {
    return GeometryOf(Of<set>(), key);
  }

  template <LinkSet set>
  void RemoveLink(const Geometry& geometry, const Key& key) {
    if constexpr (ChangesUnique(set)) {
      Remove(unique, key, geometry);
    }
    if constexpr (ChangesValidated(set)) {
      Remove(validated, key, geometry);
    }
  }

  void SetLinkValidater(Validator newValidator);

  template <LinkSet set>
  void ReplaceMetaObjectKey(const Key& from, const Key& to) {
    if constexpr (ChangesUnique(set)) {
      ReplaceKey(unique, from, to);
    }
    if constexpr (ChangesValidated(set)) {
      ReplaceKey(validated, from, to);
    }
  }

  void ReplaceGeometryObject(const Geometry& from, const Geometry& to);
  void ReplaceComponentPath(const MbPath& from, const MbPath& to);
  RenamedKeys RegenerateMetaObjectKeys();

  template <LinkSet set, class Visitor>
  void ForEachLink(Visitor visitor) const {
    Walk(Of<set>(), [&visitor](std::int64_t, const Link& link) { visitor(link); });
  }

 private:
  struct CloseDatabase {
    void operator()(sqlite3* handle) const noexcept { sqlite3_close_v2(handle); }
  };
  struct FinalizeStatement {
    void operator()(sqlite3_stmt* handle) const noexcept { sqlite3_finalize(handle); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

  // The statements of one table.
  struct Table {
    Statement evict;
    Statement add;
    Statement has;
    Statement keys;
    Statement geometry;
    Statement remove;
    Statement removeRow;
    Statement replaceKey;
    Statement removeKey;
    Statement replaceGeometry;
    Statement removeGeometry;
    Statement moveRow;
    Statement rekeyRow;
    Statement walk;
    Statement walkKeys;
    Statement walkGeometry;
  };

  template <LinkSet set>
  const Table& Of() const {
    return set == LinkSet::Unique ? unique : validated;
  }

  void Execute(const char* sql) const;
  Statement Prepare(const std::string& sql) const;
  Table PrepareTable(const std::string& name) const;

  void AddUnique(const Key& key, const Geometry& geometry);
  void AddValidated(const Key& key, const Geometry& geometry);
  bool HasLink(const Table& table, const Key& key, const Geometry& geometry) const;
  Key FirstKey(const Table& table, const Geometry& geometry) const;
  std::vector<Geometry> GeometryOf(const Table& table, const Key& key) const;
  void Remove(const Table& table, const Key& key, const Geometry& geometry);
  void ReplaceKey(const Table& table, const Key& from, const Key& to);
  void ReplaceGeometry(const Table& table, const Geometry& from, const Geometry& to);
  void MoveBranch(const Table& table, const MbPath& from, const MbPath& to);
  void RegenerateKeys(const Table& table, RenamedKeys& renamed);
  void Walk(const Table& table, const std::function<void(std::int64_t row, const Link& link)>& visit) const;

  // The bytes of a geometry object, good until the next call.
  std::string_view Encoded(const Geometry& geometry) const;

  std::unique_ptr<sqlite3, CloseDatabase> database;
  Table unique;
  Table validated;
  Validator validator = AcceptAny;
  mutable std::string buffer;
};

}  // namespace bench
