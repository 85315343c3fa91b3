#include "tests/support/NaiveStore.h"

#include <algorithm>
#include <limits>
#include <new>

namespace {

constexpr std::uint32_t c_partComponent = 104;

// What is longer than this does not live inside the library's values and asks for memory when it is copied.
constexpr std::size_t c_longestShortText = 15;
constexpr std::size_t c_longestShortPath = 6;

bool IsSame(const NaiveLink& left, const NaiveLink& right) {
  return left.key == right.key && AreNaivelyEquivalent(left.geometry, right.geometry);
}

bool IsLinkKeyLess(const NaiveLink& left, const NaiveLink& right) {
  return IsKeyLess(left.key, right.key);
}

bool IsLinkGeometryLess(const NaiveLink& left, const NaiveLink& right) {
  return IsGeometryLess(left.geometry, right.geometry);
}

using IsLess = bool (*)(const NaiveLink&, const NaiveLink&);

void PutBehindEquals(NaiveLinks& sequence, const NaiveLink& link, IsLess isLess) {
  const auto behind =
      std::find_if(sequence.begin(), sequence.end(), [&](const NaiveLink& other) { return isLess(link, other); });
  sequence.insert(behind, link);
}

// A changed link moves only where its neighbours make it.
void ChangeWithin(NaiveLinks& sequence, const NaiveLink& link, const NaiveLink& changed, IsLess isLess) {
  const auto place =
      std::find_if(sequence.begin(), sequence.end(), [&](const NaiveLink& other) { return IsSame(link, other); });
  const bool fitsBefore = place == sequence.begin() || !isLess(changed, *(place - 1));
  const bool fitsBehind = place + 1 == sequence.end() || !isLess(*(place + 1), changed);
  if (fitsBefore && fitsBehind) {
    *place = changed;
    return;
  }
  sequence.erase(place);
  PutBehindEquals(sequence, changed, isLess);
}

bool IsInBranch(const NaivePath& path, const NaivePath& branch) {
  return path.size() >= branch.size() &&
         std::equal(branch.begin(), branch.end(), path.end() - static_cast<std::ptrdiff_t>(branch.size()));
}

}  // namespace

bool IsKeyLess(const std::string& left, const std::string& right) {
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(), [](char a, char b) {
    return static_cast<unsigned char>(a) < static_cast<unsigned char>(b);
  });
}

bool IsGeometryLess(const NaiveGeometry& left, const NaiveGeometry& right) {
  if (left.type != right.type) {
    return left.type < right.type;
  }
  if (left.componentPath != right.componentPath) {
    return left.componentPath < right.componentPath;
  }
  return IsKeyLess(left.name, right.name);
}

bool AreNaivelyEquivalent(const NaiveGeometry& left, const NaiveGeometry& right) {
  return left.type == right.type && left.componentPath == right.componentPath && left.name == right.name;
}

bool NaiveMemory::IsRefused() {
  ++asked;
  const bool isRefused = refused != 0 && (isForEver ? asked >= refused : asked == refused);
  hasRefused = hasRefused || isRefused;
  return isRefused;
}

void NaiveMemory::Ask() {
  if (IsRefused()) {
    throw std::bad_alloc();
  }
}

bool NaiveMemory::AskForPath() {
  const bool isRefused = IsRefused();
  if (isRefused && paths) {
    throw std::bad_alloc();
  }
  return !isRefused;
}

bool NaiveSet::CollidesBeside(const NaiveLink& link, const NaiveLink* itself) const {
  return std::any_of(byKey.begin(), byKey.end(), [&](const NaiveLink& other) {
    if (itself != nullptr && IsSame(other, *itself)) {
      return false;
    }
    const bool hasSameKey = other.key == link.key;
    const bool hasSameGeometry = AreNaivelyEquivalent(other.geometry, link.geometry);
    return isOneToOne ? hasSameKey || hasSameGeometry : hasSameKey && hasSameGeometry;
  });
}

void NaiveSet::Insert(const NaiveLink& link) {
  if (!Collides(link)) {
    PutBehindEquals(byKey, link, IsLinkKeyLess);
    PutBehindEquals(byGeometry, link, IsLinkGeometryLess);
  }
}

void NaiveSet::Erase(const NaiveLink& link) {
  const NaiveLink gone = link;  // it may be one of the links that move up
  const auto isGone = [&gone](const NaiveLink& other) { return IsSame(other, gone); };
  std::erase_if(byKey, isGone);
  std::erase_if(byGeometry, isGone);
}

void NaiveSet::EraseKey(const std::string& key) {
  const auto isGone = [&key](const NaiveLink& link) { return link.key == key; };
  std::erase_if(byKey, isGone);
  std::erase_if(byGeometry, isGone);
}

void NaiveSet::EraseGeometry(const NaiveGeometry& geometry) {
  const auto isGone = [&geometry](const NaiveLink& link) { return AreNaivelyEquivalent(link.geometry, geometry); };
  std::erase_if(byKey, isGone);
  std::erase_if(byGeometry, isGone);
}

void NaiveSet::Clear() {
  byKey.clear();
  byGeometry.clear();
}

void NaiveSet::Change(const NaiveLink& link, const NaiveLink& changed) {
  if (CollidesBeside(changed, &link)) {
    Erase(link);
    return;
  }
  ChangeWithin(byKey, link, changed, IsLinkKeyLess);
  ChangeWithin(byGeometry, link, changed, IsLinkGeometryLess);
}

std::optional<NaiveLink> NaiveSet::FirstOfKey(const std::string& key) const {
  for (const NaiveLink& link : byKey) {
    if (link.key == key) {
      return link;
    }
  }
  return std::nullopt;
}

std::optional<NaiveLink> NaiveSet::FirstOfGeometry(const NaiveGeometry& geometry) const {
  for (const NaiveLink& link : byGeometry) {
    if (AreNaivelyEquivalent(link.geometry, geometry)) {
      return link;
    }
  }
  return std::nullopt;
}

std::vector<NaiveSet*> NaiveStore::Changed(std::uint32_t set) {
  switch (set) {
    case 0:
      return {&unique, &validated};
    case 1:
      return {&validated};
    case 2:
      return {&unique};
    default:
      return {};
  }
}

const NaiveSet& NaiveStore::Read(std::uint32_t set) const {
  return set == 2 ? unique : validated;
}

std::string NaiveStore::Copy(const std::string& text) const {
  if (text.size() > c_longestShortText) {
    memory.Ask();
  }
  return text;
}

NaiveGeometry NaiveStore::Copy(const NaiveGeometry& geometry) const {
  NaiveGeometry copy;
  copy.type = geometry.type;
  if (geometry.componentPath.size() <= c_longestShortPath || memory.AskForPath()) {
    copy.componentPath = geometry.componentPath;
  }
  if (geometry.secondPath.size() <= c_longestShortPath || memory.AskForPath()) {
    copy.secondPath = geometry.secondPath;
  }
  copy.name = Copy(geometry.name);
  return copy;
}

NaiveLink NaiveStore::Copy(const NaiveLink& link) const {
  std::string key = Copy(link.key);
  return {std::move(key), Copy(link.geometry)};
}

// A copy that lost a path would name another object, so where that matters the operation ends instead.
NaiveGeometry NaiveStore::WholeCopy(const NaiveGeometry& geometry) const {
  const NaiveGeometry copy = Copy(geometry);
  if (copy != geometry) {
    throw std::bad_alloc();
  }
  return copy;
}

void NaiveStore::SetLinkValidater(const Validator& newValidator) {
  if (newValidator) {
    memory.Ask();
  }
  validator = newValidator;
  Validator ask = newValidator;
  NaiveLinks rejected;
  for (const NaiveLink& link : validated.ByKey()) {
    if (!ask(link)) {
      memory.Ask();
      rejected.push_back(link);
    }
  }
  for (const NaiveLink& link : rejected) {
    validated.Erase(link);
  }
}

void NaiveStore::AddLink(const std::string& key, const NaiveGeometry& geometry, std::uint32_t set) {
  const NaiveLink record = Copy(NaiveLink{key, geometry});
  if (set == 0 || set == 2) {
    unique.EraseGeometry(geometry);
    // The record itself goes into the last set that is changed.
    const NaiveLink stored = set == 0 ? Copy(record) : record;
    if (!unique.Collides(stored)) {
      memory.Ask();
    }
    unique.Insert(stored);
  }
  if (set <= 1 && validator(record)) {
    if (!validated.Collides(record)) {
      memory.Ask();
    }
    validated.Insert(record);
  }
}

void NaiveStore::AddLinks(const std::string& key, const NaiveGeometries& list, std::uint32_t set) {
  for (const NaiveGeometry& geometry : list) {
    AddLink(key, geometry, set);
  }
}

void NaiveStore::RemoveGeometryObjectLinks(const NaiveGeometry& geometry, std::uint32_t set) {
  for (NaiveSet* chosen : Changed(set)) {
    chosen->EraseGeometry(geometry);
  }
}

void NaiveStore::RemoveLink(const NaiveGeometry& geometry, const std::string& key, std::uint32_t set) {
  for (NaiveSet* chosen : Changed(set)) {
    chosen->Erase({key, geometry});
  }
}

void NaiveStore::RemoveMetaObjectLinks(const std::string& key, std::uint32_t set) {
  for (NaiveSet* chosen : Changed(set)) {
    chosen->EraseKey(key);
  }
}

void NaiveStore::RemoveMetaObjectsLinks(const std::vector<std::string>& keys, std::uint32_t set) {
  for (const std::string& key : keys) {
    RemoveMetaObjectLinks(key, set);
  }
}

void NaiveStore::ClearLinks() {
  unique.Clear();
  validated.Clear();
}

bool NaiveStore::HasLink(const std::string& key, const NaiveGeometry& geometry, std::uint32_t set) const {
  const NaiveLinks& links = Read(set).ByKey();
  return std::find(links.begin(), links.end(), NaiveLink{key, geometry}) != links.end();
}

std::string NaiveStore::GetMetaObjectKey(const NaiveGeometry& geometry, std::uint32_t set) const {
  const std::optional<NaiveLink> found = Read(set).FirstOfGeometry(geometry);
  return found ? found->key : std::string();
}

std::vector<std::string> NaiveStore::GetMetaObjectKeys(const NaiveGeometry& geometry) const {
  std::vector<std::string> keys;
  for (const NaiveLink& link : validated.ByGeometry()) {
    if (AreNaivelyEquivalent(link.geometry, geometry)) {
      memory.Ask();
      keys.push_back(Copy(link.key));
    }
  }
  return keys;
}

NaiveGeometries NaiveStore::GetGeometryObjects(const std::string& key, std::uint32_t set) const {
  NaiveGeometries geometries;
  for (const NaiveLink& link : Read(set).ByKey()) {
    if (link.key == key) {
      memory.Ask();
      geometries.push_back(Copy(link.geometry));
    }
  }
  return geometries;
}

NaiveGeometry NaiveStore::GetGeometryObject(const std::string& key) const {
  const std::optional<NaiveLink> found = unique.FirstOfKey(key);
  return found ? Copy(found->geometry) : NaiveGeometry();
}

NaiveLinks NaiveStore::WrittenLinks(const NaiveSet& set) const {
  NaiveLinks written;
  for (const NaiveLink& link : set.ByKey()) {
    if (!writePath) {
      // Of its links a store copies the component path alone.
      written.push_back(link);
      NaivePath& path = written.back().geometry.componentPath;
      if (path.size() > c_longestShortPath && !memory.AskForPath()) {
        path.clear();
      }
    } else if (link.geometry.componentPath == *writePath) {
      written.push_back(Copy(link));
      written.back().geometry.componentPath.clear();
    }
  }
  return written;
}

NaiveStore::WrittenSets NaiveStore::WrittenLinks() const {
  memory.Ask();  // for the stream
  WrittenSets written;
  written.unique = WrittenLinks(unique);
  written.validated = WrittenLinks(validated);
  return written;
}

void NaiveStore::SetWriteComponentPath(const std::optional<NaivePath>& path) {
  writePath.reset();
  if (path) {
    memory.Ask();
    const bool isKept = path->size() <= c_longestShortPath || memory.AskForPath();
    writePath = isKept ? *path : NaivePath();
  }
}

void NaiveStore::MakeMissingKeys(const NaiveSet& set, const KeyMaker& makeKey,
                                 std::map<std::string, std::string>& newKeys) {
  for (const NaiveLink& link : set.ByKey()) {
    if (!newKeys.contains(link.key)) {
      const std::string newKey = Copy(makeKey());
      memory.Ask();
      newKeys[Copy(link.key)] = newKey;
    }
  }
}

void NaiveStore::RenewKeys(NaiveSet& set, const std::map<std::string, std::string>& newKeys) {
  // The order of the map is that of std::string, which compares characters as unsigned bytes like the order of keys.
  for (const auto& [oldKey, newKey] : newKeys) {
    const std::optional<NaiveLink> found = set.FirstOfKey(oldKey);
    if (!found) {
      continue;
    }
    try {
      const std::string copy = Copy(newKey);
      set.Change(*found, {copy, found->geometry});
    } catch (...) {
      set.Erase(*found);
      throw;
    }
  }
}

std::map<std::string, std::string> NaiveStore::RegenerateMetaObjectKeys(const KeyMaker& makeKey) {
  std::map<std::string, std::string> newKeys;
  MakeMissingKeys(unique, makeKey, newKeys);
  RenewKeys(unique, newKeys);
  MakeMissingKeys(validated, makeKey, newKeys);
  RenewKeys(validated, newKeys);
  return newKeys;
}

void NaiveStore::ReplaceGeometryObject(const NaiveGeometry& from, const NaiveGeometry& to) {
  for (NaiveSet* set : Changed(0)) {
    while (const std::optional<NaiveLink> found = set->FirstOfGeometry(from)) {
      try {
        set->Change(*found, {found->key, WholeCopy(to)});
      } catch (...) {
        set->Erase(*found);
        throw;
      }
    }
  }
}

void NaiveStore::ReplaceMetaObjectKey(const std::string& from, const std::string& to, std::uint32_t set) {
  for (NaiveSet* chosen : Changed(set)) {
    while (const std::optional<NaiveLink> found = chosen->FirstOfKey(from)) {
      try {
        const std::string copy = Copy(to);
        chosen->Change(*found, {copy, found->geometry});
      } catch (...) {
        chosen->Erase(*found);
        throw;
      }
    }
  }
}

void NaiveStore::ReplaceComponentPath(const NaivePath& from, const NaivePath& to) {
  if (from == to) {
    return;
  }
  for (const NaivePath* path : {&from, &to}) {
    if (path->size() > c_longestShortPath && !memory.AskForPath()) {
      throw std::bad_alloc();
    }
  }
  for (NaiveSet* set : Changed(0)) {
    NaiveLinks selected;
    for (const NaiveLink& link : set->ByGeometry()) {
      if (IsInBranch(link.geometry.componentPath, from)) {
        memory.Ask();
        selected.push_back(link);
      }
    }
    for (const NaiveLink& link : selected) {
      const std::optional<NaiveLink> found = set->FirstOfGeometry(link.geometry);
      if (found) {
        NaiveLink moved{found->key, link.geometry};
        if (found->key != link.key) {
          // It takes the geometry object of another link, which keeps it.
          moved.geometry = WholeCopy(link.geometry);
        }
        NaivePath& path = moved.geometry.componentPath;
        std::copy(to.begin(), to.end(), path.end() - static_cast<std::ptrdiff_t>(to.size()));
        set->Change(*found, moved);
      }
    }
  }
}

void NaiveStore::ForEachLink(const Visitor& visitor, std::uint32_t set) const {
  for (const NaiveLink& link : Read(set).ByKey()) {
    visitor(link);
  }
}

NaiveGeometries NaiveStore::GetValidatedOnlyGeometryObjects(const std::string& key, bool* sharedFound,
                                                            bool* sharedPartFound) const {
  const NaiveGeometries linked = GetGeometryObjects(key, 1);
  if (sharedFound != nullptr) {
    *sharedFound = false;
  }
  if (sharedPartFound != nullptr) {
    *sharedPartFound = false;
  }
  NaiveGeometries result;
  for (const NaiveGeometry& geometry : linked) {
    if (!HasLink(key, geometry, 2)) {
      result.push_back(geometry);
    } else if (sharedFound != nullptr) {
      *sharedFound = true;
      if (sharedPartFound != nullptr && geometry.type == c_partComponent) {
        *sharedPartFound = true;
      }
    }
  }
  return result;
}

std::size_t NaiveStore::LongestReplacementOf(const NaivePath& from) const {
  std::size_t longest = std::numeric_limits<std::size_t>::max();
  for (const NaiveSet* set : {&unique, &validated}) {
    for (const NaiveLink& link : set->ByKey()) {
      if (IsInBranch(link.geometry.componentPath, from)) {
        longest = std::min(longest, link.geometry.componentPath.size());
      }
    }
  }
  return longest;
}
