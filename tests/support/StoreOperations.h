#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <vector>

#include <qProdData3D/IProductGeometryObjects3D.h>
#include <qSys/Versions.h>

#include "tests/support/NaiveStore.h"

/// Any operation of a store with any arguments, decoded from numbers, and done to a store and to a naive one side by
/// side. The program must be linked with GeneratedKeys.cpp, since the keys that the store generates are chosen too.

/// The operations in the order of the store's virtual table.
enum class StoreOperationKind : std::uint8_t {
  release,  ///< and make a new store
  setLinkValidater,
  addLink,
  addLinks,
  removeGeometryObjectLinks,
  removeLink,
  removeMetaObjectLinks,
  removeMetaObjectsLinks,
  clearLinks,
  hasLink,
  getMetaObjectKey,
  getMetaObjectKeys,
  getGeometryObjects,
  getGeometryObject,
  metaObjectToSomething,
  metaObjectToWrapper,
  writeMetaObjectsLinks,
  setWriteComponentPath,
  regenerateMetaObjectKeys,
  replaceGeometryObject,
  replaceMetaObjectKey,
  replaceComponentPath,
  forEachLink,
  getValidatedOnlyGeometryObjects,
};

/// The numbers that choose one operation and its arguments. Any numbers are good, and smaller ones mean plainer
/// arguments. Every operation has as many, so that raw bytes become operations by cutting.
struct StoreOperation {
  static constexpr std::size_t c_size = 8;
  std::array<std::uint8_t, c_size> numbers{};

  /// Of the first numbers below this all mean additions.
  static constexpr std::uint8_t c_additions = 40;

  StoreOperationKind Kind() const;

  friend bool operator==(const StoreOperation&, const StoreOperation&) = default;
};

std::ostream& operator<<(std::ostream& out, const StoreOperation& operation);

/// As many operations as the bytes hold; what is left over at the end is dropped.
std::vector<StoreOperation> OperationsFrom(std::span<const std::uint8_t> bytes);

/// How a validator decides; it is called with naive links on both sides.
enum class Verdict : std::uint8_t { acceptAll, rejectAll, rejectSome, throwForSome, takeTurns };

/// What a validator was asked, in order.
using AskedLinks = std::vector<NaiveLink>;

/// A validator with state of its own: `calls` counts in the copy that is called.
struct ScriptedValidator {
  Verdict verdict = Verdict::acceptAll;
  std::uint8_t mask = 0;
  std::uint32_t calls = 0;
  /// Call number `throwAt`, counted from 1, throws; 0: none does.
  std::uint32_t throwAt = 0;
  AskedLinks* asked = nullptr;

  bool operator()(const NaiveLink& link);
  friend bool operator==(const ScriptedValidator& left, const ScriptedValidator& right) {
    return left.verdict == right.verdict && left.mask == right.mask && left.calls == right.calls &&
           left.throwAt == right.throwAt;
  }
};

/// The same for the library's records. Where `asked` is null it allocates nothing.
struct StoreValidator {
  ScriptedValidator script;

  bool operator()(const ProductGeometryObject3D& record);
};

/// What scripted validators, visitors and documents throw. It asks for no memory.
struct ScriptedFailure {};

/// What an operation gave back: its result, or the exception, and what else it told. Members that do not concern the
/// operation keep their defaults.
struct StoreOutcome {
  enum class End : std::uint8_t { returned, emptyFunction, scriptedFailure, noKey, noMemory };
  End end = End::returned;
  bool answer = false;
  std::array<bool, 2> flags{};
  std::vector<std::string> keys;
  NaiveGeometries geometries;
  NaiveLinks links;
  std::map<std::string, std::string> newKeys;
  std::vector<std::byte> bytes;
  const void* object = nullptr;
  const void* component = nullptr;
  /// How often a key was generated, and a visitor was called.
  std::size_t calls = 0;

  friend bool operator==(const StoreOutcome&, const StoreOutcome&) = default;
};

std::ostream& operator<<(std::ostream& out, const StoreOutcome& outcome);

/// An operation with its arguments. Those that do not concern it keep their defaults.
struct PreparedOperation {
  struct KeyArgument {
    std::string value;
    /// The store's own key, to be handed in as it is; else null.
    const UniqueMetaObjectKey* stored = nullptr;
  };
  struct GeometryArgument {
    NaiveGeometry value;
    const GeometryObject3D* stored = nullptr;
  };
  struct PathArgument {
    NaivePath value;
    const MbPath* stored = nullptr;
  };

  StoreOperationKind kind = StoreOperationKind::clearLinks;
  std::uint32_t set = 0;
  KeyArgument key;
  KeyArgument otherKey;
  GeometryArgument geometry;
  GeometryArgument otherGeometry;
  std::vector<std::string> keyList;
  NaiveGeometries geometryList;
  PathArgument fromPath;
  PathArgument toPath;
  std::optional<NaivePath> writePath;
  StreamVersions versions;
  /// Without one the validator is empty.
  std::optional<ScriptedValidator> validator;
  /// The keys that the store may generate; behind them generating throws.
  std::vector<std::string> generatedKeys;
  bool isVisitorEmpty = false;
  /// The visitor, or the document, throws when it is called for the time with this number, from 1; 0: never.
  std::size_t throwAt = 0;
  bool wantsFirstFlag = false;
  bool wantsSecondFlag = false;
};

/// Decodes an operation against what the stores hold, which must be the same. It never asks for what the contract
/// forbids: an equivalent `from` and `to`, or a `to` that is longer than a path that it replaces in.
PreparedOperation Prepare(const StoreOperation& operation, const IProductGeometryObjects3D& store,
                          const NaiveStore& model);

/// As a person reads it.
std::string TextOf(const PreparedOperation& operation);

/// A validator for either side. Empty without a script.
IProductGeometryObjects3D::LinkValidator LibraryValidator(const std::optional<ScriptedValidator>& script,
                                                          AskedLinks* asked);
NaiveStore::Validator NaiveValidator(const std::optional<ScriptedValidator>& script, AskedLinks* asked);

/// Surrounds the one call of the store, and nothing else. It must call `call` once.
using AroundCall = std::function<void(const std::function<void()>& call)>;

/// Does an operation, other than `release`, which is for the owner of the store. Validators that are set tell
/// `asked` what they are asked; where it is null they allocate nothing.
StoreOutcome DoOnStore(const PreparedOperation& operation, IProductGeometryObjects3D& store, AskedLinks* asked,
                       const AroundCall& around);
StoreOutcome DoOnModel(const PreparedOperation& operation, NaiveStore& model, AskedLinks* asked);

/// What differs between a store and a naive one: links, orders, validator, write path; or the store's own fault. In
/// words; nothing where all is the same.
std::string Difference(const IProductGeometryObjects3D& store, const NaiveStore& model);

/// Does an operation other than `release` on both. What differs afterwards, in words; nothing where result, validator's
/// calls and both stores are the same.
std::string ApplyToBoth(const PreparedOperation& operation, IProductGeometryObjects3D& store, NaiveStore& model,
                        AskedLinks* askedByStore = nullptr, AskedLinks* askedByModel = nullptr);

/// Does the operations from an empty store on. What differs first, after every operation so far in words; nothing
/// where nothing does.
std::string RunStoreOperations(std::span<const StoreOperation> operations);
