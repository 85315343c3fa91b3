#include "tests/support/StoreOperations.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <new>
#include <sstream>
#include <system_error>
#include <utility>

#include <qDocument/IfDocObject.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qSys/MemoryStreams.h>

#include "tests/support/GeneratedKeys.h"
#include "tests/support/NaiveLinks.h"
#include "tests/support/StoreInside.h"
#include "tests/support/StreamBytes.h"

namespace {

using Kind = StoreOperationKind;

struct KindWeight {
  Kind kind;
  unsigned int weight;
  const char* name;
};

// Additions often enough that the sets fill, what empties them rarely. The first is what shrinking ends at.
constexpr std::array<KindWeight, 24> c_kinds{{
    {Kind::addLink, 31, "AddLink"},
    {Kind::addLinks, 9, "AddLinks"},
    {Kind::removeGeometryObjectLinks, 2, "RemoveGeometryObjectLinks"},
    {Kind::removeLink, 4, "RemoveLink"},
    {Kind::removeMetaObjectLinks, 2, "RemoveMetaObjectLinks"},
    {Kind::removeMetaObjectsLinks, 2, "RemoveMetaObjectsLinks"},
    {Kind::clearLinks, 1, "ClearLinks"},
    {Kind::hasLink, 6, "HasLink"},
    {Kind::getMetaObjectKey, 5, "GetMetaObjectKey"},
    {Kind::getMetaObjectKeys, 4, "GetMetaObjectKeys"},
    {Kind::getGeometryObjects, 4, "GetGeometryObjects"},
    {Kind::getGeometryObject, 3, "GetGeometryObject"},
    {Kind::metaObjectToSomething, 2, "MetaObjectToSomething"},
    {Kind::metaObjectToWrapper, 2, "MetaObjectToWrapper"},
    {Kind::writeMetaObjectsLinks, 3, "WriteMetaObjectsLinks"},
    {Kind::setWriteComponentPath, 2, "SetWriteComponentPath"},
    {Kind::regenerateMetaObjectKeys, 4, "RegenerateMetaObjectKeys"},
    {Kind::replaceGeometryObject, 10, "ReplaceGeometryObject"},
    {Kind::replaceMetaObjectKey, 11, "ReplaceMetaObjectKey"},
    {Kind::replaceComponentPath, 9, "ReplaceComponentPath"},
    {Kind::forEachLink, 4, "ForEachLink"},
    {Kind::getValidatedOnlyGeometryObjects, 4, "GetValidatedOnlyGeometryObjects"},
    {Kind::setLinkValidater, 3, "SetLinkValidater"},
    {Kind::release, 1, "Release"},
}};
constexpr unsigned int c_weights = 128;
// Those that choose nothing are rarer.
constexpr std::array<std::uint32_t, 16> c_linkSets{0, 1, 2, 1, 0, 1, 2, 0, 1, 2, 0, 1, 2, 3, 4, 5};

const char* NameOf(Kind kind) {
  return std::find_if(c_kinds.begin(), c_kinds.end(), [kind](const KindWeight& entry) { return entry.kind == kind; })
      ->name;
}

// Keys with common beginnings, zero bytes and high bytes; the last does not live inside a record.
const std::vector<std::string>& KeyPool() {
  static const std::vector<std::string> keys{"a",
                                             "",
                                             "b",
                                             "ab",
                                             std::string("a\0", 2),
                                             std::string("a\0b", 3),
                                             std::string(1, '\0'),
                                             "\x7F",
                                             "\x80",
                                             "\xFF",
                                             "a\xFF",
                                             "\xFF\xFF",
                                             "c",
                                             "d",
                                             "dd",
                                             "e",
                                             "aa",
                                             "ab and so on, for more than fifteen bytes"};
  return keys;
}

const std::vector<NaivePath>& PathPool() {
  static const std::vector<NaivePath> paths{{1},
                                            {},
                                            {2},
                                            {1, 1},
                                            {1, 2},
                                            {2, 1},
                                            {1, 1, 1},
                                            {0xFFFFFFFF, 1},
                                            {3, 2, 1},
                                            {1, 2, 1},
                                            {9, 8, 7, 6, 5, 4, 3, 2, 1}};
  return paths;
}

const NaivePath c_shortSecondPath{77};
const NaivePath c_longSecondPath{1, 2, 3, 4, 5, 6, 7, 8};

NaiveGeometry PooledGeometry(unsigned int number) {
  static const std::vector<std::string> names{"n", "", "m", "n\xFF", "a name of more than fifteen bytes"};
  static constexpr std::array<std::uint32_t, 3> types{1, 104, 200};
  NaiveGeometry geometry;
  geometry.componentPath = PathPool()[number % PathPool().size()];
  // Names and types other than the first are rarer, so that much meets.
  const unsigned int rest = number / static_cast<unsigned int>(PathPool().size());
  geometry.name = names[rest % 3 == 0 ? 0 : rest % names.size()];
  geometry.type = types[rest % 2 == 0 ? 0 : 1 + rest / 2 % 2];
  return geometry;
}

// Reads the numbers of an operation by what they mean.
class Decoder {
 public:
  Decoder(const StoreOperation& operation, const IProductGeometryObjects3D& realStore, const NaiveStore& naiveStore)
      : numbers(operation.numbers), store(realStore), model(naiveStore) {}

  std::uint32_t Set() const { return c_linkSets[numbers[1] % c_linkSets.size()]; }
  PreparedOperation::KeyArgument Key() const { return KeyOf(numbers[2], HasFlag(0)); }
  // One that is linked, where any is.
  PreparedOperation::KeyArgument LinkedKey() const { return KeyOf(numbers[2] | c_firstStored, false); }
  PreparedOperation::KeyArgument OtherKey() const { return KeyOf(numbers[3], HasFlag(4)); }
  PreparedOperation::GeometryArgument Geometry() const { return GeometryOf(numbers[4], HasFlag(1), HasFlag(2)); }
  PreparedOperation::GeometryArgument OtherGeometry() const { return GeometryOf(numbers[5], HasFlag(5), HasFlag(3)); }
  unsigned int Extra() const { return numbers[6]; }
  bool HasFlag(unsigned int bit) const { return (static_cast<unsigned int>(numbers[7]) >> bit & 1U) != 0; }

  std::vector<std::string> KeyList() const {
    std::vector<std::string> keys{Key().value, OtherKey().value, KeyOf(numbers[6], false).value,
                                  KeyPool()[numbers[6] % KeyPool().size()]};
    keys.resize(Extra() % 5);
    std::sort(keys.begin(), keys.end(), IsKeyLess);
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    return keys;
  }

  NaiveGeometries GeometryList() const {
    NaiveGeometries geometries{Geometry().value, OtherGeometry().value, PooledGeometry(numbers[6]), Geometry().value};
    geometries.back().secondPath = c_longSecondPath;
    geometries.resize((Extra() + 2) % 5);
    return geometries;
  }

  // A path of the pool, the path of a linked geometry object, or the end of it.
  PreparedOperation::PathArgument Branch() const {
    const PreparedOperation::GeometryArgument origin = Geometry();
    if (Extra() % 4 == 0) {
      return {PathPool()[numbers[4] % PathPool().size()]};
    }
    NaivePath path = origin.value.componentPath;
    if (Extra() % 4 == 1 || path.empty()) {
      return {path, origin.stored != nullptr ? &origin.stored->componentPath : nullptr};
    }
    const std::size_t dropped = Extra() / 4 % path.size();
    path.erase(path.begin(), path.begin() + static_cast<std::ptrdiff_t>(dropped));
    return {path};
  }

  // Not longer than any path in the branch.
  PreparedOperation::PathArgument PathInPlaceOf(const NaivePath& branch) const {
    const PreparedOperation::GeometryArgument origin = OtherGeometry();
    NaivePath path = origin.value.componentPath;
    const std::size_t longest = model.LongestReplacementOf(branch);
    if (path.size() <= longest) {
      return {path, origin.stored != nullptr ? &origin.stored->componentPath : nullptr};
    }
    path.resize(longest);
    return {path};
  }

  std::optional<ScriptedValidator> Validator() const {
    ScriptedValidator validator;
    validator.mask = numbers[3];
    switch (Extra() % 16) {
      case 11:
        return std::nullopt;
      case 12:
        validator.verdict = Verdict::rejectAll;
        break;
      case 13:
        validator.verdict = Verdict::throwForSome;
        break;
      case 8:
      case 9:
      case 10:
        validator.verdict = Verdict::rejectSome;
        break;
      case 14:
      case 15:
        validator.verdict = Verdict::takeTurns;
        break;
      default:
        break;
    }
    return validator;
  }

  // Mostly enough of them, some that are in use already.
  std::vector<std::string> GeneratedKeys() const {
    std::vector<std::string> keys(Extra() % 4 == 3 ? Extra() / 4 % 8 : 2 * c_generatedKeys);
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const std::size_t number = i * 5 + numbers[3];
      keys[i] = number % 4 == 0 ? KeyPool()[number / 4 % KeyPool().size()] : "new " + std::to_string(i + numbers[2]);
    }
    return keys;
  }

 private:
  static constexpr std::size_t c_generatedKeys = 100;

  // Numbers below this choose from the pools, the others something that the store holds.
  static constexpr unsigned int c_firstStored = 128;

  const ProductGeometryObject3D* StoredRecord(unsigned int number) const {
    const UniqueLinks& unique = UniqueLinksOf(store);
    const ValidatedLinks& validated = ValidatedLinksOf(store);
    const std::size_t position = number / 2;
    if (number % 2 == 0 && !unique.empty()) {
      return &*std::next(unique.begin(), static_cast<std::ptrdiff_t>(position % unique.size()));
    }
    if (!validated.empty()) {
      return &*std::next(validated.begin(), static_cast<std::ptrdiff_t>(position % validated.size()));
    }
    return nullptr;
  }

  PreparedOperation::KeyArgument KeyOf(unsigned int number, bool isStoredItself) const {
    const ProductGeometryObject3D* record = number >= c_firstStored ? StoredRecord(number - c_firstStored) : nullptr;
    if (record == nullptr) {
      return {KeyPool()[number % KeyPool().size()]};
    }
    return {std::string(record->metaKey.Bytes()), isStoredItself ? &record->metaKey : nullptr};
  }

  PreparedOperation::GeometryArgument GeometryOf(unsigned int number, bool isStoredItself, bool isOther) const {
    const ProductGeometryObject3D* record = number >= c_firstStored ? StoredRecord(number - c_firstStored) : nullptr;
    PreparedOperation::GeometryArgument argument{record == nullptr ? PooledGeometry(number)
                                                                   : NaiveOf(record->geometry)};
    if (isOther) {
      argument.value.secondPath = argument.value.secondPath.empty() ? c_shortSecondPath : NaivePath();
    } else if (record != nullptr && isStoredItself) {
      argument.stored = &record->geometry;
    }
    return argument;
  }

  const std::array<std::uint8_t, StoreOperation::c_size>& numbers;
  const IProductGeometryObjects3D& store;
  const NaiveStore& model;
};

// Answers with what the test compares; never asked for anything else. What it is asked for it notes in room that it has
// already, so that a lack of memory is the store's alone.
class RecordingDocument : public IfDocObject {
 public:
  explicit RecordingDocument(bool throws) : isThrowing(throws) {
    asked.componentPath.Reserve(c_room);
    asked.secondPath.Reserve(c_room);
    asked.objectName = MbName(std::string(c_room, ' '));
  }

  std::unique_ptr<IfObjectIterator> CreateObjectIterator(IfDocObject*, std::uint64_t) override { return nullptr; }
  IfSomething& GetComponentHolder() override { throw ScriptedFailure(); }
  IfSomething* FindObject(const GeometryObject3D& geometry) const override {
    Note(geometry);
    return Object();
  }
  CompTrObject<IfSomething> FindWrapper(const GeometryObject3D& geometry, IfComponent* component) const override {
    Note(geometry);
    return {Object(), component, component, nullptr};
  }

  static IfSomething* Object() { return reinterpret_cast<IfSomething*>(&storage[0]); }
  static IfComponent* Component() { return reinterpret_cast<IfComponent*>(&storage[1]); }

  bool IsAsked() const { return isAsked; }
  const GeometryObject3D& Asked() const { return asked; }

 private:
  static constexpr std::size_t c_room = 64;

  void Note(const GeometryObject3D& geometry) const {
    asked = geometry;
    isAsked = true;
    if (isThrowing) {
      throw ScriptedFailure();
    }
  }

  // Only the addresses count.
  inline static std::array<std::max_align_t, 2> storage{};

  mutable GeometryObject3D asked;
  mutable bool isAsked = false;
  bool isThrowing;
};

bool IsChosenBy(const ScriptedValidator& script, std::string_view key, std::uint32_t type, std::size_t levels,
                std::string_view name) {
  const std::size_t bit =
      key.size() + static_cast<unsigned char>(key.empty() ? 0 : key.back()) + levels * 3 + type + name.size();
  return (static_cast<unsigned int>(script.mask) >> bit % 8 & 1U) != 0;
}

bool Decide(ScriptedValidator& script, std::string_view key, std::uint32_t type, std::size_t levels,
            std::string_view name) {
  ++script.calls;
  if (script.calls == script.throwAt) {
    throw ScriptedFailure();
  }
  switch (script.verdict) {
    case Verdict::rejectAll:
      return false;
    case Verdict::rejectSome:
      return !IsChosenBy(script, key, type, levels, name);
    case Verdict::throwForSome:
      if (IsChosenBy(script, key, type, levels, name)) {
        throw ScriptedFailure();
      }
      return true;
    case Verdict::takeTurns:
      return script.calls % 3 != script.mask % 3U;
    case Verdict::acceptAll:
      break;
  }
  return true;
}

// Does it and tells how it ended.
template <class Call>
StoreOutcome::End EndOf(const Call& call) {
  using End = StoreOutcome::End;
  try {
    call();
  } catch (const std::bad_function_call&) {
    return End::emptyFunction;
  } catch (const ScriptedFailure&) {
    return End::scriptedFailure;
  } catch (const std::system_error&) {
    return End::noKey;
  } catch (const std::bad_alloc&) {
    return End::noMemory;
  }
  return End::returned;
}

std::vector<UniqueMetaObjectKey> LibraryKeys(const std::vector<std::string>& keys) {
  std::vector<UniqueMetaObjectKey> result;
  for (const std::string& key : keys) {
    result.emplace_back(key);
  }
  return result;
}

std::vector<std::string> NaiveKeys(const std::vector<UniqueMetaObjectKey>& keys) {
  std::vector<std::string> result;
  for (const UniqueMetaObjectKey& key : keys) {
    result.emplace_back(key.Bytes());
  }
  return result;
}

NaiveGeometries NaiveGeometriesOf(const std::vector<GeometryObject3D>& geometries) {
  NaiveGeometries result;
  for (const GeometryObject3D& geometry : geometries) {
    result.push_back(NaiveOf(geometry));
  }
  return result;
}

// The state of a validator, of either side; nothing where it is empty.
std::optional<ScriptedValidator> ScriptOf(const std::function<bool(const ProductGeometryObject3D&)>& validator) {
  return validator ? std::optional(validator.target<StoreValidator>()->script) : std::nullopt;
}

std::optional<ScriptedValidator> ScriptOf(const NaiveStore::Validator& validator) {
  return validator ? std::optional(*validator.target<ScriptedValidator>()) : std::nullopt;
}

// A store and a naive one that get the same operations.
class StoreAndModel {
 public:
  StoreAndModel() { Renew(ScriptedValidator()); }
  StoreAndModel(const StoreAndModel&) = delete;
  StoreAndModel& operator=(const StoreAndModel&) = delete;
  ~StoreAndModel() { store->SetWriteComponentPath(nullptr); }

  // What differs afterwards. Adds what it did to a trace that is given.
  std::string Apply(const StoreOperation& operation, std::string* trace) {
    const PreparedOperation prepared = Prepare(operation, *store, model);
    if (trace != nullptr) {
      *trace += TextOf(prepared);
    }
    askedByStore.clear();
    askedByModel.clear();
    if (prepared.kind == Kind::release) {
      store->SetWriteComponentPath(nullptr);
      Renew(prepared.validator);
    }
    return ApplyToBoth(prepared, *store, model, &askedByStore, &askedByModel);
  }

 private:
  void Renew(const std::optional<ScriptedValidator>& validator) {
    store.reset();
    store = CreateProductGeometryObjects3D(LibraryValidator(validator, &askedByStore));
    model = NaiveStore(NaiveValidator(validator, &askedByModel));
  }

  AskedLinks askedByStore;
  AskedLinks askedByModel;
  std::unique_ptr<IProductGeometryObjects3D> store;
  NaiveStore model;
};

std::string Run(std::span<const StoreOperation> operations, std::string* trace) {
  StoreAndModel both;
  for (const StoreOperation& operation : operations) {
    const std::string difference = both.Apply(operation, trace);
    if (!difference.empty()) {
      return difference;
    }
  }
  return {};
}

}  // namespace

StoreOperationKind StoreOperation::Kind() const {
  unsigned int rest = numbers[0] % c_weights;
  const auto* entry = c_kinds.begin();
  while (rest >= entry->weight) {
    rest -= entry->weight;
    ++entry;
  }
  return entry->kind;
}

std::ostream& operator<<(std::ostream& out, const StoreOperation& operation) {
  out << NameOf(operation.Kind());
  for (const std::uint8_t number : operation.numbers) {
    out << ' ' << static_cast<unsigned int>(number);
  }
  return out;
}

std::vector<StoreOperation> OperationsFrom(std::span<const std::uint8_t> bytes) {
  std::vector<StoreOperation> operations(bytes.size() / StoreOperation::c_size);
  for (StoreOperation& operation : operations) {
    std::copy_n(bytes.begin(), StoreOperation::c_size, operation.numbers.begin());
    bytes = bytes.subspan(StoreOperation::c_size);
  }
  return operations;
}

bool ScriptedValidator::operator()(const NaiveLink& link) {
  if (asked != nullptr) {
    asked->push_back(link);
  }
  const NaiveGeometry& geometry = link.geometry;
  return Decide(*this, link.key, geometry.type, geometry.componentPath.size(), geometry.name);
}

bool StoreValidator::operator()(const ProductGeometryObject3D& record) {
  if (script.asked != nullptr) {
    script.asked->push_back(NaiveOf(record));
  }
  const GeometryObject3D& geometry = record.geometry;
  return Decide(script, record.metaKey.Bytes(), geometry.objectType, geometry.componentPath.Count(),
                geometry.objectName.Bytes());
}

std::ostream& operator<<(std::ostream& out, const StoreOutcome& outcome) {
  static constexpr std::array<const char*, 5> ends{"returned", "called an empty function", "passed on a failure",
                                                   "got no key", "got no memory"};
  out << ends[static_cast<std::size_t>(outcome.end)] << ", answer " << outcome.answer << ", flags " << outcome.flags[0]
      << outcome.flags[1] << ", calls " << outcome.calls << ", object " << outcome.object << ", component "
      << outcome.component << ", bytes " << outcome.bytes.size() << "\n  keys\n";
  for (const std::string& key : outcome.keys) {
    out << "    ";
    PrintBytes(key, &out);
    out << '\n';
  }
  for (const auto& [oldKey, newKey] : outcome.newKeys) {
    out << "    ";
    PrintBytes(oldKey, &out);
    out << " -> ";
    PrintBytes(newKey, &out);
    out << '\n';
  }
  return out << "  geometry objects\n" << Lines(outcome.geometries) << "  links\n" << Lines(outcome.links);
}

PreparedOperation Prepare(const StoreOperation& operation, const IProductGeometryObjects3D& store,
                          const NaiveStore& model) {
  const Decoder decoder(operation, store, model);
  PreparedOperation prepared;
  prepared.kind = operation.Kind();
  prepared.set = decoder.Set();
  prepared.key = decoder.Key();
  prepared.geometry = decoder.Geometry();
  switch (prepared.kind) {
    case Kind::release:
    case Kind::setLinkValidater:
      prepared.validator = decoder.Validator();
      break;
    case Kind::addLinks:
      prepared.geometryList = decoder.GeometryList();
      break;
    case Kind::removeMetaObjectsLinks:
      prepared.keyList = decoder.KeyList();
      break;
    case Kind::metaObjectToSomething:
    case Kind::metaObjectToWrapper:
    case Kind::forEachLink:
      prepared.isVisitorEmpty = decoder.Extra() % 8 == 7;
      prepared.throwAt = decoder.Extra() % 8 == 6 ? 1 + decoder.Extra() / 8 % 8 : 0;
      break;
    case Kind::writeMetaObjectsLinks:
      if (decoder.HasFlag(0)) {
        prepared.versions = {c_streamAppForms[decoder.Extra() % c_streamAppForms.size()].appVersion,
                             c_streamMathForms[decoder.Extra() / 16 % c_streamMathForms.size()].mathVersion};
      }
      break;
    case Kind::setWriteComponentPath:
      if (!decoder.HasFlag(0)) {
        prepared.writePath = decoder.Branch().value;
      }
      break;
    case Kind::regenerateMetaObjectKeys:
      prepared.generatedKeys = decoder.GeneratedKeys();
      break;
    case Kind::replaceGeometryObject:
      prepared.otherGeometry = decoder.OtherGeometry();
      if (AreNaivelyEquivalent(prepared.geometry.value, prepared.otherGeometry.value)) {
        prepared.otherGeometry.value.name += '+';
        prepared.otherGeometry.stored = nullptr;
      }
      break;
    case Kind::replaceMetaObjectKey:
      prepared.otherKey = decoder.OtherKey();
      if (prepared.key.value == prepared.otherKey.value) {
        prepared.otherKey = {prepared.key.value + '\0'};
      }
      break;
    case Kind::replaceComponentPath:
      prepared.fromPath = decoder.Branch();
      prepared.toPath = decoder.PathInPlaceOf(prepared.fromPath.value);
      break;
    case Kind::getValidatedOnlyGeometryObjects:
      prepared.key = decoder.LinkedKey();
      prepared.wantsFirstFlag = decoder.HasFlag(6);
      prepared.wantsSecondFlag = decoder.HasFlag(7);
      break;
    default:
      break;
  }
  return prepared;
}

std::string TextOf(const PreparedOperation& operation) {
  std::ostringstream text;
  text << NameOf(operation.kind) << " set " << operation.set << " key ";
  PrintBytes(operation.key.value, &text);
  text << (operation.key.stored != nullptr ? " (stored)" : "") << " geometry " << operation.geometry.value
       << (operation.geometry.stored != nullptr ? " (stored)" : "");
  switch (operation.kind) {
    case Kind::replaceMetaObjectKey:
      text << " to ";
      PrintBytes(operation.otherKey.value, &text);
      text << (operation.otherKey.stored != nullptr ? " (stored)" : "");
      break;
    case Kind::replaceGeometryObject:
      text << " to " << operation.otherGeometry.value << (operation.otherGeometry.stored != nullptr ? " (stored)" : "");
      break;
    case Kind::replaceComponentPath:
      text << " from " << testing::PrintToString(operation.fromPath.value) << " to "
           << testing::PrintToString(operation.toPath.value);
      break;
    case Kind::addLinks:
      text << " list\n" << Lines(operation.geometryList);
      break;
    case Kind::removeMetaObjectsLinks:
      text << " keys " << testing::PrintToString(operation.keyList);
      break;
    case Kind::regenerateMetaObjectKeys:
      text << " with " << operation.generatedKeys.size() << " new keys";
      break;
    case Kind::setLinkValidater:
    case Kind::release:
      text << " validator " << (operation.validator ? static_cast<int>(operation.validator->verdict) : -1) << " mask "
           << (operation.validator ? static_cast<int>(operation.validator->mask) : 0);
      break;
    case Kind::setWriteComponentPath:
      text << " path " << testing::PrintToString(operation.writePath);
      break;
    default:
      break;
  }
  text << (operation.throwAt != 0 ? " failing" : "") << (operation.isVisitorEmpty ? " empty visitor" : "") << '\n';
  return text.str();
}

IProductGeometryObjects3D::LinkValidator LibraryValidator(const std::optional<ScriptedValidator>& script,
                                                          AskedLinks* asked) {
  if (!script) {
    return {};
  }
  StoreValidator validator{*script};
  validator.script.asked = asked;
  return validator;
}

NaiveStore::Validator NaiveValidator(const std::optional<ScriptedValidator>& script, AskedLinks* asked) {
  if (!script) {
    return {};
  }
  ScriptedValidator validator = *script;
  validator.asked = asked;
  return validator;
}

StoreOutcome DoOnStore(const PreparedOperation& operation, IProductGeometryObjects3D& store, AskedLinks* asked,
                       const AroundCall& around) {
  const UniqueMetaObjectKey ownKey(operation.key.value);
  const UniqueMetaObjectKey ownOtherKey(operation.otherKey.value);
  const GeometryObject3D ownGeometry = GeometryOf(operation.geometry.value);
  const GeometryObject3D ownOtherGeometry = GeometryOf(operation.otherGeometry.value);
  const MbPath ownFrom = PathOf(operation.fromPath.value);
  const MbPath ownTo = PathOf(operation.toPath.value);
  const auto pick = [](const auto* stored, const auto& own) -> const auto& {
    return stored != nullptr ? *stored : own;
  };
  const UniqueMetaObjectKey& key = pick(operation.key.stored, ownKey);
  const UniqueMetaObjectKey& otherKey = pick(operation.otherKey.stored, ownOtherKey);
  const GeometryObject3D& geometry = pick(operation.geometry.stored, ownGeometry);
  const GeometryObject3D& otherGeometry = pick(operation.otherGeometry.stored, ownOtherGeometry);
  const MbPath& from = pick(operation.fromPath.stored, ownFrom);
  const MbPath& to = pick(operation.toPath.stored, ownTo);
  const auto set = static_cast<LinkSet>(operation.set);

  StoreOutcome outcome;
  const auto run = [&](const auto& call) { outcome.end = EndOf([&] { around(call); }); };
  switch (operation.kind) {
    case Kind::release:
      break;
    case Kind::setLinkValidater: {
      auto validator = LibraryValidator(operation.validator, asked);
      run([&] { store.SetLinkValidater(std::move(validator)); });
      break;
    }
    case Kind::addLink:
      run([&] { store.AddLink(key, geometry, set); });
      break;
    case Kind::addLinks: {
      std::vector<GeometryObject3D> list;
      for (const NaiveGeometry& listed : operation.geometryList) {
        list.push_back(GeometryOf(listed));
      }
      run([&] { store.AddLinks(key, list, set); });
      break;
    }
    case Kind::removeGeometryObjectLinks:
      run([&] { store.RemoveGeometryObjectLinks(geometry, set); });
      break;
    case Kind::removeLink:
      run([&] { store.RemoveLink(geometry, key, set); });
      break;
    case Kind::removeMetaObjectLinks:
      run([&] { store.RemoveMetaObjectLinks(key, set); });
      break;
    case Kind::removeMetaObjectsLinks: {
      const std::vector<UniqueMetaObjectKey> list = LibraryKeys(operation.keyList);
      const std::set<UniqueMetaObjectKey> keys(list.begin(), list.end());
      run([&] { store.RemoveMetaObjectsLinks(keys, set); });
      break;
    }
    case Kind::clearLinks:
      run([&] { store.ClearLinks(); });
      break;
    case Kind::hasLink:
      run([&] { outcome.answer = store.HasLink(key, geometry, set); });
      break;
    case Kind::getMetaObjectKey: {
      const UniqueMetaObjectKey* found = nullptr;
      run([&] { found = &store.GetMetaObjectKey(geometry, set); });
      if (found != nullptr) {
        outcome.keys = {std::string(found->Bytes())};
      }
      break;
    }
    case Kind::getMetaObjectKeys: {
      std::vector<UniqueMetaObjectKey> keys;
      run([&] { keys = store.GetMetaObjectKeys(geometry); });
      outcome.keys = NaiveKeys(keys);
      break;
    }
    case Kind::getGeometryObjects: {
      std::vector<GeometryObject3D> geometries;
      run([&] { geometries = store.GetGeometryObjects(key, set); });
      outcome.geometries = NaiveGeometriesOf(geometries);
      break;
    }
    case Kind::getGeometryObject: {
      std::optional<GeometryObject3D> found;
      run([&] { found = store.GetGeometryObject(key); });
      if (found) {
        outcome.geometries = {NaiveOf(*found)};
      }
      break;
    }
    case Kind::metaObjectToSomething:
    case Kind::metaObjectToWrapper: {
      const RecordingDocument document(operation.throwAt == 1);
      IfComponent* component = operation.set % 2 == 0 ? RecordingDocument::Component() : nullptr;
      run([&] {
        if (operation.kind == Kind::metaObjectToSomething) {
          outcome.object = store.MetaObjectToSomething(key, document);
        } else {
          const CompTrObject<IfSomething> wrapper = store.MetaObjectToWrapper(key, document, component);
          outcome.object = wrapper.object;
          outcome.component = wrapper.component;
        }
      });
      if (document.IsAsked()) {
        outcome.geometries = {NaiveOf(document.Asked())};
      }
      break;
    }
    case Kind::writeMetaObjectsLinks: {
      MemoryWriter out(operation.versions);
      run([&] { store.WriteMetaObjectsLinks(out); });
      outcome.bytes = out.TakeBytes();
      break;
    }
    case Kind::setWriteComponentPath: {
      const MbPath path = PathOf(operation.writePath.value_or(NaivePath()));
      run([&] { store.SetWriteComponentPath(operation.writePath ? &path : nullptr); });
      break;
    }
    case Kind::regenerateMetaObjectKeys: {
      const GeneratedKeys generated(LibraryKeys(operation.generatedKeys));
      std::map<UniqueMetaObjectKey, UniqueMetaObjectKey> newKeys;
      run([&] { newKeys = store.RegenerateMetaObjectKeys(); });
      for (const auto& [oldKey, newKey] : newKeys) {
        outcome.newKeys[std::string(oldKey.Bytes())] = newKey.Bytes();
      }
      outcome.calls = generated.Calls();
      break;
    }
    case Kind::replaceGeometryObject:
      run([&] { store.ReplaceGeometryObject(geometry, otherGeometry); });
      break;
    case Kind::replaceMetaObjectKey:
      run([&] { store.ReplaceMetaObjectKey(key, otherKey, set); });
      break;
    case Kind::replaceComponentPath:
      run([&] { store.ReplaceComponentPath(from, to); });
      break;
    case Kind::forEachLink: {
      IProductGeometryObjects3D::LinkVisitor visitor;
      std::vector<const ProductGeometryObject3D*> visited;
      visited.reserve(UniqueLinksOf(store).size() + ValidatedLinksOf(store).size());
      if (!operation.isVisitorEmpty) {
        visitor = [&](const ProductGeometryObject3D& record) {
          if (++outcome.calls == operation.throwAt) {
            throw ScriptedFailure();
          }
          visited.push_back(&record);
        };
      }
      run([&] { store.ForEachLink(visitor, set); });
      for (const ProductGeometryObject3D* record : visited) {
        outcome.links.push_back(NaiveOf(*record));
      }
      break;
    }
    case Kind::getValidatedOnlyGeometryObjects: {
      std::vector<GeometryObject3D> geometries;
      outcome.flags = {true, true};
      run([&] {
        geometries = store.GetValidatedOnlyGeometryObjects(key, operation.wantsFirstFlag ? &outcome.flags[0] : nullptr,
                                                           operation.wantsSecondFlag ? &outcome.flags[1] : nullptr);
      });
      outcome.geometries = NaiveGeometriesOf(geometries);
      break;
    }
  }
  return outcome;
}

StoreOutcome DoOnModel(const PreparedOperation& operation, NaiveStore& model, AskedLinks* asked) {
  const std::string& key = operation.key.value;
  const NaiveGeometry& geometry = operation.geometry.value;
  const std::uint32_t set = operation.set;
  StoreOutcome outcome;
  const auto ask = [&](const NaiveGeometry& found) {
    outcome.geometries = {found};
    if (operation.throwAt == 1) {
      throw ScriptedFailure();
    }
    outcome.object = RecordingDocument::Object();
  };
  outcome.end = EndOf([&] {
    switch (operation.kind) {
      case Kind::release:
        break;
      case Kind::setLinkValidater:
        model.SetLinkValidater(NaiveValidator(operation.validator, asked));
        break;
      case Kind::addLink:
        model.AddLink(key, geometry, set);
        break;
      case Kind::addLinks:
        model.AddLinks(key, operation.geometryList, set);
        break;
      case Kind::removeGeometryObjectLinks:
        model.RemoveGeometryObjectLinks(geometry, set);
        break;
      case Kind::removeLink:
        model.RemoveLink(geometry, key, set);
        break;
      case Kind::removeMetaObjectLinks:
        model.RemoveMetaObjectLinks(key, set);
        break;
      case Kind::removeMetaObjectsLinks:
        model.RemoveMetaObjectsLinks(operation.keyList, set);
        break;
      case Kind::clearLinks:
        model.ClearLinks();
        break;
      case Kind::hasLink:
        outcome.answer = model.HasLink(key, geometry, set);
        break;
      case Kind::getMetaObjectKey:
        outcome.keys = {model.GetMetaObjectKey(geometry, set)};
        break;
      case Kind::getMetaObjectKeys:
        outcome.keys = model.GetMetaObjectKeys(geometry);
        break;
      case Kind::getGeometryObjects:
        outcome.geometries = model.GetGeometryObjects(key, set);
        break;
      case Kind::getGeometryObject:
        outcome.geometries = {model.GetGeometryObject(key)};
        break;
      case Kind::metaObjectToSomething:
        ask(model.GetGeometryObject(key));
        break;
      case Kind::metaObjectToWrapper:
        ask(model.GetGeometryObject(key));
        outcome.component = set % 2 == 0 ? RecordingDocument::Component() : nullptr;
        break;
      case Kind::writeMetaObjectsLinks: {
        const NaiveStore::WrittenSets written = model.WrittenLinks();
        outcome.bytes = StreamBytes(StreamFormOf(operation.versions))
                            .Section(StreamLinksOf(written.unique), StreamLinksOf(written.validated))
                            .Bytes();
        break;
      }
      case Kind::setWriteComponentPath:
        model.SetWriteComponentPath(operation.writePath);
        break;
      case Kind::regenerateMetaObjectKeys:
        outcome.newKeys = model.RegenerateMetaObjectKeys([&] {
          const std::size_t position = outcome.calls++;
          if (position >= operation.generatedKeys.size()) {
            throw std::system_error(std::make_error_code(std::errc::io_error));
          }
          return operation.generatedKeys[position];
        });
        break;
      case Kind::replaceGeometryObject:
        model.ReplaceGeometryObject(geometry, operation.otherGeometry.value);
        break;
      case Kind::replaceMetaObjectKey:
        model.ReplaceMetaObjectKey(key, operation.otherKey.value, set);
        break;
      case Kind::replaceComponentPath:
        model.ReplaceComponentPath(operation.fromPath.value, operation.toPath.value);
        break;
      case Kind::forEachLink: {
        NaiveStore::Visitor visitor;
        if (!operation.isVisitorEmpty) {
          visitor = [&](const NaiveLink& link) {
            if (++outcome.calls == operation.throwAt) {
              throw ScriptedFailure();
            }
            outcome.links.push_back(link);
          };
        }
        model.ForEachLink(visitor, set);
        break;
      }
      case Kind::getValidatedOnlyGeometryObjects:
        outcome.flags = {true, true};
        outcome.geometries =
            model.GetValidatedOnlyGeometryObjects(key, operation.wantsFirstFlag ? &outcome.flags[0] : nullptr,
                                                  operation.wantsSecondFlag ? &outcome.flags[1] : nullptr);
        break;
    }
  });
  return outcome;
}

std::string Difference(const IProductGeometryObjects3D& store, const NaiveStore& model) {
  std::string fault = StoreFault(store);
  if (!fault.empty()) {
    return fault;
  }
  if (!AreEqual(UniqueLinksOf(store).get<byMetaKey>(), model.Unique().ByKey())) {
    return "the unique set differs; it should hold\n" + Lines(model.Unique().ByKey());
  }
  if (!AreEqual(UniqueLinksOf(store).get<byGeometry>(), model.Unique().ByGeometry())) {
    return "byGeometry of the unique set differs; it should hold\n" + Lines(model.Unique().ByGeometry());
  }
  if (!AreEqual(ValidatedLinksOf(store).get<byMetaKey>(), model.Validated().ByKey())) {
    return "the validated set differs; it should hold\n" + Lines(model.Validated().ByKey());
  }
  if (!AreEqual(ValidatedLinksOf(store).get<byGeometry>(), model.Validated().ByGeometry())) {
    return "byGeometry of the validated set differs; it should hold\n" + Lines(model.Validated().ByGeometry());
  }
  if (ScriptOf(ValidatorOf(store)) != ScriptOf(model.StoredValidator())) {
    return "the stored validator, or its state, differs";
  }
  const MbPath* path = WritePathOf(store);
  const bool isSamePath =
      path == nullptr ? !model.WritePath() : model.WritePath() && IsEqual(*path, *model.WritePath());
  return isSamePath ? std::string() : "the write path differs";
}

std::string ApplyToBoth(const PreparedOperation& operation, IProductGeometryObjects3D& store, NaiveStore& model,
                        AskedLinks* askedByStore, AskedLinks* askedByModel) {
  const StoreOutcome ofStore =
      DoOnStore(operation, store, askedByStore, [](const std::function<void()>& call) { call(); });
  const StoreOutcome ofModel = DoOnModel(operation, model, askedByModel);
  std::ostringstream text;
  if (!(ofStore == ofModel)) {
    text << "the store " << ofStore << "the model " << ofModel;
  } else if (askedByStore != nullptr && askedByModel != nullptr && *askedByStore != *askedByModel) {
    text << "the validator was asked for\n" << Lines(*askedByStore) << "instead of\n" << Lines(*askedByModel);
  } else {
    text << Difference(store, model);
  }
  return text.str();
}

std::string RunStoreOperations(std::span<const StoreOperation> operations) {
  std::string difference = Run(operations, nullptr);
  if (!difference.empty()) {
    // Once more, since words for every operation are slow to make.
    std::string trace;
    Run(operations, &trace);
    difference = trace + difference;
  }
  return difference;
}
