#include "link_store/ProductGeometryObjects3D.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <new>
#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>

#include <qDebugTools/Assert.h>
#include <qKernel/ComponentPath.h>
#include <qProdData3D/CreateProductGeometryObjects3D.h>

namespace {

// The tests of a LinkSet, for every 32-bit value: "changes" for changing operations, "reads" for queries. They are
// bit tests, so that values without a name have a meaning as well.
bool ChangesUnique(LinkSet set) {
  return (static_cast<std::uint32_t>(set) & ~std::uint32_t{2}) == 0;
}

bool ChangesValidated(LinkSet set) {
  return static_cast<std::uint32_t>(set) <= 1;
}

bool ReadsUnique(LinkSet set) {
  return set == LinkSet::Unique;
}

template <class Tag, class Links>
auto& Index(Links& links) {
  return links.template get<Tag>();
}

// Erases the records with this key, or geometry object, from the sets chosen. Both ranges are found before the first
// record goes, because `what` may refer into a record, and nothing is allocated, so that removing cannot fail.
template <class Tag, class What>
void EraseAll(UniqueLinks& uniqueLinks, ValidatedLinks& validatedLinks, const What& what, LinkSet set) {
  auto& uniqueIndex = Index<Tag>(uniqueLinks);
  auto& validatedIndex = Index<Tag>(validatedLinks);
  const auto uniqueRange =
      ChangesUnique(set) ? uniqueIndex.equal_range(what) : std::pair(uniqueIndex.end(), uniqueIndex.end());
  const auto validatedRange =
      ChangesValidated(set) ? validatedIndex.equal_range(what) : std::pair(validatedIndex.end(), validatedIndex.end());
  uniqueIndex.erase(uniqueRange.first, uniqueRange.second);
  validatedIndex.erase(validatedRange.first, validatedRange.second);
}

// The links with this key, or geometry object: the first, the one behind the last, and how many. The end is walked to
// and not searched for: most have few links, and what has none costs one search.
template <class OrderedIndex, class What>
auto RangeOf(const OrderedIndex& index, const What& what) {
  const auto first = index.lower_bound(what);
  auto end = first;
  std::size_t count = 0;
  while (end != index.end() && !index.key_comp()(what, index.key_extractor()(*end))) {
    ++end;
    ++count;
  }
  return std::tuple(first, end, count);
}

// A path that gets no memory can come out empty without an exception (ExceptionMode). Such a copy names another object,
// so where one is looked up with, or takes the place of what is stored, the operation ends instead.
void RequireWhole(const MbPath& copy, const MbPath& original) {
  if (copy.Count() != original.Count()) {
    throw std::bad_alloc();
  }
}

void RequireWhole(const GeometryObject3D& copy, const GeometryObject3D& original) {
  RequireWhole(copy.componentPath, original.componentPath);
  RequireWhole(copy.secondPath, original.secondPath);
}

// A key that gets no memory always throws.
void RequireWhole(const UniqueMetaObjectKey&, const UniqueMetaObjectKey&) {}

template <class Value, class Original>
Value OwnCopy(const Original& original) {
  Value copy(original);
  RequireWhole(copy, original);
  return copy;
}

// What a repeated look-up searches for. It may refer into a record that the operation changes; from then on a copy
// takes its place. Until then, and for all other callers, nothing is copied.
template <class Value>
class Sought {
 public:
  explicit Sought(const Value& caller) : value(&caller) {}
  const Value& Get() const { return *value; }
  // To be called with the member of a record that is about to change.
  void KeepBefore(const Value& changing) {
    if (&changing == value) {
      copy = OwnCopy<Value>(*value);
      value = &*copy;
    }
  }

 private:
  const Value* value;
  std::optional<Value> copy;
};

// The key of the first record with this geometry object, or the null key.
template <class Links>
const UniqueMetaObjectKey& FirstKey(const Links& links, const GeometryObject3D& geometry) {
  const auto& index = Index<byGeometry>(links);
  const auto found = index.lower_bound(geometry);
  return found != index.end() && !(geometry < found->geometry) ? found->metaKey : UniqueMetaObjectKey::null;
}

// Every change of a stored record goes through these. The container re-sorts the record in all its indexes and
// erases it where it now collides in a unique one, or where the assignment throws; that loss is part of the contract.
template <class Links, class Position>
void AssignKey(Links& links, Position position, const UniqueMetaObjectKey& key) {
  Index<byMetaKey>(links).modify(position, [&key](ProductGeometryObject3D& record) { record.metaKey = key; });
}

// A copy that lost its path ends the operation as one that threw does: the link would name another object, perhaps the
// very one that is being replaced, which then would be found for ever.
template <class Links, class Position>
void AssignGeometry(Links& links, Position position, const GeometryObject3D& geometry) {
  Index<byGeometry>(links).modify(position, [&geometry](ProductGeometryObject3D& record) {
    record.geometry = geometry;
    RequireWhole(record.geometry, geometry);
  });
}

// A key or a geometry object stands in one record at most.
template <class Links>
constexpr bool c_holdsOnce = std::is_same_v<Links, UniqueLinks>;

// Changes the records that are equivalent to `from`, first to last. A change moves or erases its record, which leaves
// the range, and the next one is the first then. With a `to` that is equivalent to `from` the same record is found
// again each time, and on purpose this does not end.
template <class Links>
void ReplaceGeometry(Links& links, Sought<GeometryObject3D>& from, const GeometryObject3D& to) {
  const auto& index = Index<byGeometry>(links);
  auto next = index.find(from.Get());
  const bool isFoundAgain = next != index.end() && AreEquivalent(from.Get(), to);
  while (next != index.end()) {
    const auto found = next++;
    from.KeepBefore(found->geometry);
    AssignGeometry(links, found, to);
    if (isFoundAgain) {
      next = index.find(from.Get());
    } else if (c_holdsOnce<Links> || next == index.end() || from.Get() < next->geometry) {
      return;
    }
  }
}

// As ReplaceGeometry; equal keys do not end either.
template <class Links>
void ReplaceKey(Links& links, Sought<UniqueMetaObjectKey>& from, const UniqueMetaObjectKey& to) {
  const auto& index = Index<byMetaKey>(links);
  auto next = index.find(from.Get());
  const bool isFoundAgain = from.Get() == to;
  while (next != index.end()) {
    const auto found = next++;
    from.KeepBefore(found->metaKey);
    AssignKey(links, found, to);
    if (isFoundAgain) {
      next = index.find(from.Get());
    } else if (c_holdsOnce<Links> || next == index.end() || !(next->metaKey == from.Get())) {
      return;
    }
  }
}

template <class Links>
using PlaceByGeometry = typename boost::multi_index::index<Links, byGeometry>::type::iterator;

// The links whose component path lies in the branch, in byGeometry order. Listed, because the changes that follow move
// records within the index that is walked here.
template <class Links>
std::vector<PlaceByGeometry<Links>> LinksInBranch(const Links& links, const ComponentPath& branchOutermostFirst) {
  std::vector<PlaceByGeometry<Links>> result;
  ComponentPath path;
  const auto& index = Index<byGeometry>(links);
  for (auto place = index.begin(); place != index.end(); ++place) {
    path = place->geometry.componentPath;
    RequireWhole(path, place->geometry.componentPath);
    path.Reverse();
    if (branchOutermostFirst.IsSubDirectory(path)) {
      result.push_back(place);
    }
  }
  return result;
}

// Overwrites the outermost elements of a path, which stand last.
void ReplaceTail(MbPath& path, const MbPath& tail) {
  Q_ASSERT_CALLER(tail.Count() <= path.Count());
  std::copy(tail.begin(), tail.end(), path.end() - tail.Count());
}

// Gives each link of the branch its new path. If an equivalent link stands in front, which an earlier change brought
// there or left as it was, the first of them is changed in its stead, as a search would find it, and takes its geometry
// object; the path of both ends in `to` by then. No link is touched before its own turn, so the places stay good.
template <class Links>
void MoveBranch(Links& links, const ComponentPath& fromOutermostFirst, const MbPath& to) {
  auto& index = Index<byGeometry>(links);
  for (const auto listed : LinksInBranch(links, fromOutermostFirst)) {
    if (listed == index.begin() || std::prev(listed)->geometry < listed->geometry) {
      index.modify(listed, [&to](auto& record) { ReplaceTail(record.geometry.componentPath, to); });
      continue;
    }
    GeometryObject3D taken = OwnCopy<GeometryObject3D>(listed->geometry);
    index.modify(index.find(listed->geometry), [&taken](auto& record) { record.geometry = std::move(taken); });
  }
}

using KeyMap = std::map<UniqueMetaObjectKey, UniqueMetaObjectKey>;

// Walks the links and the map, which are in the same order, side by side.
template <class Links>
void GenerateMissingKeys(const Links& links, KeyMap& newKeys) {
  auto next = newKeys.begin();
  for (const ProductGeometryObject3D& record : Index<byMetaKey>(links)) {
    while (next != newKeys.end() && next->first < record.metaKey) {
      ++next;
    }
    if (next == newKeys.end() || record.metaKey < next->first) {
      next = newKeys.emplace_hint(next, record.metaKey, UniqueMetaObjectKey::Generate());
    }
  }
}

// One link for each entry, on purpose also where several carry the old key: the first of them takes the new one. The
// walk side by side finds what a search for each old key would.
template <class Links>
void RenewFirstLinks(Links& links, const KeyMap& newKeys) {
  const auto& index = Index<byMetaKey>(links);
  auto next = index.begin();
  for (const auto& [oldKey, newKey] : newKeys) {
    while (next != index.end() && next->metaKey < oldKey) {
      ++next;
    }
    if (next == index.end() || oldKey < next->metaKey) {
      continue;
    }
    // The walk goes on from the link before, which does not change. The changed one may stand anywhere then, or be
    // gone.
    const auto found = next;
    if (found == index.begin()) {
      AssignKey(links, found, newKey);
      next = index.begin();
    } else {
      --next;
      AssignKey(links, found, newKey);
    }
  }
}

}  // namespace

std::unique_ptr<IProductGeometryObjects3D> CreateProductGeometryObjects3D(
    std::function<bool(const ProductGeometryObject3D&)> validator) {
  auto store = std::make_unique<ProductGeometryObjects3D>();
  // The setter gets a copy: a validator that keeps state in itself may count on how it is handed on.
  // NOLINTNEXTLINE(performance-unnecessary-value-param)
  store->ProductGeometryObjects3D::SetLinkValidater(validator);
  return store;
}

ProductGeometryObjects3D::ProductGeometryObjects3D() = default;
ProductGeometryObjects3D::~ProductGeometryObjects3D() = default;

void ProductGeometryObjects3D::SetLinkValidater(LinkValidator validator) {
  linkValidator = validator;
  // The pass has a validator of its own: one that keeps state in itself starts from what was handed in, and what the
  // pass adds to that state does not reach the stored one. All links are asked about before the first one goes.
  const LinkValidator ask = std::move(validator);
  auto& index = Index<byMetaKey>(validatedLinks);
  std::vector<decltype(index.begin())> rejected;
  for (auto record = index.begin(); record != index.end(); ++record) {
    if (!ask(*record)) {
      rejected.push_back(record);
    }
  }
  for (const auto& record : rejected) {
    index.erase(record);
  }
}

void ProductGeometryObjects3D::AddLink(const UniqueMetaObjectKey& key, const GeometryObject3D& geometry, LinkSet set) {
  ProductGeometryObject3D record{key, GeometryObject3D()};
  record.geometry = geometry;
  if (ChangesUnique(set)) {
    auto& index = Index<byGeometry>(uniqueLinks);
    auto position = index.lower_bound(geometry);
    if (position != index.end() && !(geometry < position->geometry)) {
      // `geometry` may refer into the record that goes; it is not looked at again.
      position = index.erase(position);
    }
    // A key that is linked already keeps its link, although the link of the geometry object is gone by now: the two
    // rules of the unique set differ, and callers rely on it.
    if (ChangesValidated(set)) {
      // Copied before it is inserted: a copy that the container makes may lose its path (ExceptionMode) when the place
      // for the whole one is found already.
      index.insert(position, ProductGeometryObject3D(record));
    } else {
      index.insert(position, std::move(record));
    }
  }
  // Moved away above only where the validated set stays as it is.
  // NOLINTNEXTLINE(bugprone-use-after-move)
  if (ChangesValidated(set) && linkValidator(record)) {
    // Where links come in the order of their keys, as a section holds them, the hint saves the search by key, and with
    // a new key that by link. Anywhere else it costs a comparison in each index.
    if (validatedLinks.empty() || !(record.metaKey < std::prev(validatedLinks.end())->metaKey)) {
      validatedLinks.insert(validatedLinks.end(), std::move(record));
    } else {
      validatedLinks.insert(std::move(record));
    }
  }
}

void ProductGeometryObjects3D::AddLinks(const UniqueMetaObjectKey& key, const std::vector<GeometryObject3D>& list,
                                        LinkSet set) {
  if (list.empty()) {
    return;
  }
  // `key` may refer to a link that one of these calls removes.
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
  const UniqueMetaObjectKey ownKey = key;
  for (const GeometryObject3D& geometry : list) {
    ProductGeometryObjects3D::AddLink(ownKey, geometry, set);
  }
}

void ProductGeometryObjects3D::RemoveGeometryObjectLinks(const GeometryObject3D& geometry, LinkSet set) {
  EraseAll<byGeometry>(uniqueLinks, validatedLinks, geometry, set);
}

void ProductGeometryObjects3D::RemoveLink(const GeometryObject3D& geometry, const UniqueMetaObjectKey& key,
                                          LinkSet set) {
  // Found in both sets before anything is erased, because the arguments may refer into the record that goes first. The
  // unique set is searched by key, since it holds a key once.
  auto& uniqueIndex = Index<byMetaKey>(uniqueLinks);
  auto& validatedIndex = Index<byLink>(validatedLinks);
  const auto inUnique = ChangesUnique(set) ? uniqueIndex.find(key) : uniqueIndex.end();
  const auto inValidated =
      ChangesValidated(set) ? validatedIndex.find(LinkReference{key, geometry}) : validatedIndex.end();
  if (inUnique != uniqueIndex.end() && AreEquivalent(inUnique->geometry, geometry)) {
    uniqueIndex.erase(inUnique);
  }
  if (inValidated != validatedIndex.end()) {
    validatedIndex.erase(inValidated);
  }
}

void ProductGeometryObjects3D::RemoveMetaObjectLinks(const UniqueMetaObjectKey& key, LinkSet set) {
  EraseAll<byMetaKey>(uniqueLinks, validatedLinks, key, set);
}

void ProductGeometryObjects3D::RemoveMetaObjectsLinks(const std::set<UniqueMetaObjectKey>& keys, LinkSet set) {
  for (const UniqueMetaObjectKey& key : keys) {
    ProductGeometryObjects3D::RemoveMetaObjectLinks(key, set);
  }
}

void ProductGeometryObjects3D::ClearLinks() noexcept {
  uniqueLinks.clear();
  validatedLinks.clear();
}

bool ProductGeometryObjects3D::HasLink(const UniqueMetaObjectKey& key, const GeometryObject3D& geometry,
                                       LinkSet set) const {
  // Equal geometry objects are equivalent, and a set holds one link at most for a key and equivalent geometry
  // objects: if that one is not equal, none is.
  if (ReadsUnique(set)) {
    const auto& index = Index<byMetaKey>(uniqueLinks);
    const auto found = index.find(key);
    return found != index.end() && found->geometry == geometry;
  }
  const auto& index = Index<byLink>(validatedLinks);
  const auto found = index.find(LinkReference{key, geometry});
  return found != index.end() && found->geometry == geometry;
}

const UniqueMetaObjectKey& ProductGeometryObjects3D::GetMetaObjectKey(const GeometryObject3D& geometry,
                                                                      LinkSet set) const {
  return ReadsUnique(set) ? FirstKey(uniqueLinks, geometry) : FirstKey(validatedLinks, geometry);
}

std::vector<UniqueMetaObjectKey> ProductGeometryObjects3D::GetMetaObjectKeys(const GeometryObject3D& geometry) const {
  const auto [first, end, count] = RangeOf(Index<byGeometry>(validatedLinks), geometry);
  std::vector<UniqueMetaObjectKey> result;
  result.reserve(count);
  for (auto record = first; record != end; ++record) {
    result.push_back(record->metaKey);
  }
  return result;
}

std::vector<GeometryObject3D> ProductGeometryObjects3D::GetGeometryObjects(const UniqueMetaObjectKey& key,
                                                                           LinkSet set) const {
  std::vector<GeometryObject3D> result;
  if (ReadsUnique(set)) {
    const auto& index = Index<byMetaKey>(uniqueLinks);
    const auto found = index.find(key);
    if (found != index.end()) {
      result.push_back(found->geometry);
    }
    return result;
  }
  const auto [first, end, count] = RangeOf(Index<byMetaKey>(validatedLinks), key);
  result.reserve(count);
  for (auto record = first; record != end; ++record) {
    result.push_back(record->geometry);
  }
  return result;
}

GeometryObject3D ProductGeometryObjects3D::GetGeometryObject(const UniqueMetaObjectKey& key) const {
  const auto& index = Index<byMetaKey>(uniqueLinks);
  const auto found = index.find(key);
  return found != index.end() ? found->geometry : GeometryObject3D();
}

IfSomething* ProductGeometryObjects3D::MetaObjectToSomething(const UniqueMetaObjectKey& key,
                                                             const IfDocObject& document) const {
  return ProductGeometryObjects3D::GetGeometryObject(key).ToSomething(document);
}

CompTrObject<IfSomething> ProductGeometryObjects3D::MetaObjectToWrapper(const UniqueMetaObjectKey& key,
                                                                        const IfDocObject& document,
                                                                        IfComponent* component) const {
  return ProductGeometryObjects3D::GetGeometryObject(key).ToWrapper(document, component);
}

KeyMap ProductGeometryObjects3D::RegenerateMetaObjectKeys() {
  KeyMap newKeys;
  GenerateMissingKeys(uniqueLinks, newKeys);
  RenewFirstLinks(uniqueLinks, newKeys);
  GenerateMissingKeys(validatedLinks, newKeys);
  RenewFirstLinks(validatedLinks, newKeys);
  return newKeys;
}

void ProductGeometryObjects3D::ReplaceGeometryObject(const GeometryObject3D& from, const GeometryObject3D& to) {
  Sought<GeometryObject3D> sought(from);
  ReplaceGeometry(uniqueLinks, sought, to);
  ReplaceGeometry(validatedLinks, sought, to);
}

void ProductGeometryObjects3D::ReplaceMetaObjectKey(const UniqueMetaObjectKey& from, const UniqueMetaObjectKey& to,
                                                    LinkSet set) {
  Sought<UniqueMetaObjectKey> sought(from);
  if (ChangesUnique(set)) {
    ReplaceKey(uniqueLinks, sought, to);
  }
  if (ChangesValidated(set)) {
    ReplaceKey(validatedLinks, sought, to);
  }
}

void ProductGeometryObjects3D::ReplaceComponentPath(const MbPath& from, const MbPath& to) {
  if (from == to) {
    return;
  }
  ComponentPath fromOutermostFirst = OwnCopy<ComponentPath>(from);
  fromOutermostFirst.Reverse();
  const MbPath ownTo = OwnCopy<MbPath>(to);
  MoveBranch(uniqueLinks, fromOutermostFirst, ownTo);
  MoveBranch(validatedLinks, fromOutermostFirst, ownTo);
}

void ProductGeometryObjects3D::ForEachLink(const LinkVisitor& visitor, LinkSet set) const {
  if (ReadsUnique(set)) {
    std::for_each(uniqueLinks.begin(), uniqueLinks.end(), std::cref(visitor));
  } else {
    std::for_each(validatedLinks.begin(), validatedLinks.end(), std::cref(visitor));
  }
}

std::vector<GeometryObject3D> ProductGeometryObjects3D::GetValidatedOnlyGeometryObjects(const UniqueMetaObjectKey& key,
                                                                                        bool* sharedFound,
                                                                                        bool* sharedPartFound) const {
  std::vector<GeometryObject3D> result = ProductGeometryObjects3D::GetGeometryObjects(key, LinkSet::Validated);
  if (sharedFound != nullptr) {
    *sharedFound = false;
  }
  if (sharedPartFound != nullptr) {
    *sharedPartFound = false;
  }
  std::erase_if(result, [&](const GeometryObject3D& geometry) {
    const bool isShared = ProductGeometryObjects3D::HasLink(key, geometry, LinkSet::Unique);
    if (isShared && sharedFound != nullptr) {
      *sharedFound = true;
      // Inside on purpose: the second flag is an addition to the first and is never set without it.
      if (sharedPartFound != nullptr && geometry.objectType == GeometryObject3D::c_partComponent) {
        *sharedPartFound = true;
      }
    }
    return isShared;
  });
  return result;
}
