#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// A store of links in plain vectors, made from the rules of the store alone: every search is a walk, nothing is
/// shared with the library, not even its value types. What it answers is what the library must answer.

struct NaiveGeometry {
  std::uint32_t type = 0;
  std::vector<std::uint32_t> componentPath;  ///< the outermost component last
  std::vector<std::uint32_t> secondPath;
  std::string name;

  friend bool operator==(const NaiveGeometry&, const NaiveGeometry&) = default;
};

struct NaiveLink {
  std::string key;
  NaiveGeometry geometry;

  friend bool operator==(const NaiveLink&, const NaiveLink&) = default;
};

using NaiveLinks = std::vector<NaiveLink>;
using NaiveGeometries = std::vector<NaiveGeometry>;
using NaivePath = std::vector<std::uint32_t>;

/// The order of keys: unsigned bytes, the shorter first on a common beginning.
bool IsKeyLess(const std::string& left, const std::string& right);
/// The order of geometry objects: type, component path, name.
bool IsGeometryLess(const NaiveGeometry& left, const NaiveGeometry& right);
bool AreNaivelyEquivalent(const NaiveGeometry& left, const NaiveGeometry& right);

/// Refuses memory to a naive store at one of the places where the rules let an operation ask for it, so that the store
/// shows every state that a lack of memory may leave behind.
class NaiveMemory {
 public:
  /// Never refuses.
  NaiveMemory() = default;
  /// Refuses request number `nth`, counted from 1, and with `forEver` every later one. With `pathsThrow` false a path
  /// that is refused goes on empty.
  NaiveMemory(std::size_t nth, bool forEver, bool pathsThrow) : refused(nth), isForEver(forEver), paths(pathsThrow) {}

  /// Throws std::bad_alloc where it refuses.
  void Ask();
  /// False where it refuses and the path goes on empty.
  bool AskForPath();
  bool HasRefused() const { return hasRefused; }

 private:
  bool IsRefused();

  std::size_t refused = 0;
  bool isForEver = false;
  bool paths = true;
  std::size_t asked = 0;
  bool hasRefused = false;
};

/// One link set: its links in the order of keys and in the order of geometry objects, equals in order of entry. A pair
/// of key and geometry object names one link, since no set holds it twice.
class NaiveSet {
 public:
  explicit NaiveSet(bool oneToOne) : isOneToOne(oneToOne) {}

  const NaiveLinks& ByKey() const { return byKey; }
  const NaiveLinks& ByGeometry() const { return byGeometry; }

  bool Collides(const NaiveLink& link) const { return CollidesBeside(link, nullptr); }
  /// Nothing where it collides.
  void Insert(const NaiveLink& link);
  /// Nothing where there is no such link.
  void Erase(const NaiveLink& link);
  void EraseKey(const std::string& key);
  void EraseGeometry(const NaiveGeometry& geometry);
  void Clear();
  /// Changes a link; where it then collides with another one it is gone.
  void Change(const NaiveLink& link, const NaiveLink& changed);

  /// The first link with this key, in the order of keys.
  std::optional<NaiveLink> FirstOfKey(const std::string& key) const;
  /// The first link to an equivalent geometry object, in the order of geometry objects.
  std::optional<NaiveLink> FirstOfGeometry(const NaiveGeometry& geometry) const;

  friend bool operator==(const NaiveSet&, const NaiveSet&) = default;

 private:
  bool CollidesBeside(const NaiveLink& link, const NaiveLink* itself) const;

  bool isOneToOne;
  NaiveLinks byKey;
  NaiveLinks byGeometry;
};

/// The store. A value: a copy goes its own way. `set` is any number; the operations are named and ordered as those of
/// the library. Where the rules give an exception, it throws the same.
class NaiveStore {
 public:
  using Validator = std::function<bool(const NaiveLink&)>;
  using Visitor = std::function<void(const NaiveLink&)>;
  using KeyMaker = std::function<std::string()>;

  explicit NaiveStore(Validator newValidator = {}) : validator(std::move(newValidator)) {}

  void SetLinkValidater(const Validator& newValidator);
  void AddLink(const std::string& key, const NaiveGeometry& geometry, std::uint32_t set);
  void AddLinks(const std::string& key, const NaiveGeometries& list, std::uint32_t set);
  void RemoveGeometryObjectLinks(const NaiveGeometry& geometry, std::uint32_t set);
  void RemoveLink(const NaiveGeometry& geometry, const std::string& key, std::uint32_t set);
  void RemoveMetaObjectLinks(const std::string& key, std::uint32_t set);
  void RemoveMetaObjectsLinks(const std::vector<std::string>& keys, std::uint32_t set);
  void ClearLinks();

  bool HasLink(const std::string& key, const NaiveGeometry& geometry, std::uint32_t set) const;
  std::string GetMetaObjectKey(const NaiveGeometry& geometry, std::uint32_t set) const;
  std::vector<std::string> GetMetaObjectKeys(const NaiveGeometry& geometry) const;
  NaiveGeometries GetGeometryObjects(const std::string& key, std::uint32_t set) const;
  /// What MetaObjectToSomething and MetaObjectToWrapper ask the document for as well.
  NaiveGeometry GetGeometryObject(const std::string& key) const;

  struct WrittenSets {
    NaiveLinks unique;
    NaiveLinks validated;
  };
  /// The links as they are to be written.
  WrittenSets WrittenLinks() const;
  void SetWriteComponentPath(const std::optional<NaivePath>& path);

  std::map<std::string, std::string> RegenerateMetaObjectKeys(const KeyMaker& makeKey);
  void ReplaceGeometryObject(const NaiveGeometry& from, const NaiveGeometry& to);
  void ReplaceMetaObjectKey(const std::string& from, const std::string& to, std::uint32_t set);
  void ReplaceComponentPath(const NaivePath& from, const NaivePath& to);

  void ForEachLink(const Visitor& visitor, std::uint32_t set) const;
  NaiveGeometries GetValidatedOnlyGeometryObjects(const std::string& key, bool* sharedFound,
                                                  bool* sharedPartFound) const;

  const NaiveSet& Unique() const { return unique; }
  const NaiveSet& Validated() const { return validated; }
  const Validator& StoredValidator() const { return validator; }
  const std::optional<NaivePath>& WritePath() const { return writePath; }

  /// How long `to` may be in a ReplaceComponentPath: the length of the shortest path that `from` selects.
  std::size_t LongestReplacementOf(const NaivePath& from) const;

  /// What refuses memory from now on.
  void SetMemory(const NaiveMemory& newMemory) { memory = newMemory; }
  bool HasRefusedMemory() const { return memory.HasRefused(); }

 private:
  std::vector<NaiveSet*> Changed(std::uint32_t set);
  const NaiveSet& Read(std::uint32_t set) const;
  NaiveLinks WrittenLinks(const NaiveSet& set) const;
  std::string Copy(const std::string& text) const;
  NaiveGeometry Copy(const NaiveGeometry& geometry) const;
  NaiveLink Copy(const NaiveLink& link) const;
  NaiveGeometry WholeCopy(const NaiveGeometry& geometry) const;
  void MakeMissingKeys(const NaiveSet& set, const KeyMaker& makeKey, std::map<std::string, std::string>& newKeys);
  void RenewKeys(NaiveSet& set, const std::map<std::string, std::string>& newKeys);

  NaiveSet unique{true};
  NaiveSet validated{false};
  Validator validator;
  std::optional<NaivePath> writePath;
  mutable NaiveMemory memory;
};
