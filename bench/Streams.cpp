#include "bench/Streams.h"

#include <cstdint>
#include <memory>
#include <utility>

#include <benchmark/benchmark.h>

namespace bench {

namespace {

struct PathLess {
  bool operator()(const MbPath& left, const MbPath& right) const { return MbPath::Compare(left, right) < 0; }
};

using KeysByPath = std::map<ComponentPath, Key, PathLess>;

void WritePath(writer& out, const MbPath& path) {
  out.writeUInt64(path.Count());
  for (const MbPath::Element element : path) {
    if (!out.good()) {
      return;
    }
    out.writeBlock(&element, sizeof(element));
  }
}

void WriteSet(writer& out, const std::vector<Link>& links) {
  out.writeUInt64(links.size());
  for (const Link& link : links) {
    out << link.metaKey;
    out.writeBlock(&link.geometry.objectType, sizeof(link.geometry.objectType));
    WritePath(out, link.geometry.componentPath);
    out << link.geometry.objectName;
    WritePath(out, link.geometry.secondPath);
  }
}

void ReadPath(reader& in, MbPath& path) {
  const std::uint64_t count = in.readUInt64();
  if (count == 0 || !in.good()) {
    return;
  }
  path.Reserve(count);
  for (std::uint64_t read = 0; read < count && in.good(); ++read) {
    MbPath::Element element = 0;
    in.readBlock(&element, sizeof(element));
    path.Append(element);
  }
}

void ReadLink(reader& in, Link& link) {
  in >> link.metaKey;
  in.readBlock(&link.geometry.objectType, sizeof(link.geometry.objectType));
  ReadPath(in, link.geometry.componentPath);
  in >> link.geometry.objectName;
  ReadPath(in, link.geometry.secondPath);
}

template <class Take>
void ReadSet(reader& in, const Take& take) {
  const std::uint64_t count = in.readUInt64();
  for (std::uint64_t read = 0; read < count; ++read) {
    Link link;
    ReadLink(in, link);
    take(std::move(link));
  }
}

using LinkGroup = std::vector<const Link*>;

void AddUnique(Floor& store, const Link& link) {
  store.AddLink<LinkSet::Unique>(link.metaKey, link.geometry);
}

bool Qualifies(const Key& key, const IfMetaProductData& metaData, const Floor& store) {
  if (!metaData.HasMetaObject(key)) {
    return false;
  }
  const std::set<Key> related = metaData.GetRelatedMetaObjects(key);
  return related.empty() || store.Links<LinkSet::Unique>().get<byMetaKey>().count(*related.begin()) != 0;
}

// Of several links to one geometry object the last that qualifies is added, failing that the first.
void AddOneOf(Floor& store, LinkGroup& group, const IfMetaProductData& metaData) {
  if (group.empty()) {
    return;
  }
  const Link* chosen = nullptr;
  for (const Link* link : group) {
    chosen = Qualifies(link->metaKey, metaData, store) ? link : chosen;
  }
  chosen = chosen == nullptr || chosen->metaKey.IsEmpty() ? group.front() : chosen;
  if (!chosen->metaKey.IsEmpty()) {
    AddUnique(store, *chosen);
  }
  group.clear();
}

void AddRepaired(Floor& store, const ValidatedLinks& links, const IfMetaProductData& metaData) {
  const auto& index = links.get<byGeometry>();
  for (const Link& link : index) {
    if (link.geometry.objectType == Geometry::c_assemblyComponent) {
      AddUnique(store, link);
    }
  }
  LinkGroup group;
  for (const Link& link : index) {
    if (link.geometry.objectType == Geometry::c_assemblyComponent) {
      continue;
    }
    if (!group.empty() && !(link.geometry == group.front()->geometry)) {
      AddOneOf(store, group, metaData);
    }
    group.push_back(&link);
  }
  AddOneOf(store, group, metaData);
}

}  // namespace

Occurrences::Occurrences(const std::vector<Link>& uniqueLinks) {
  KeysByPath byPath;
  for (const Link& link : uniqueLinks) {
    byPath.emplace(link.geometry.componentPath, link.metaKey);
  }
  for (const Link& link : uniqueLinks) {
    ComponentPath holder;
    // The innermost component comes first.
    const ComponentPath& path = link.geometry.componentPath;
    for (std::size_t i = 1; i < path.Count(); ++i) {
      holder.Append(path[i]);
    }
    const auto found = byPath.find(holder);
    holders.emplace(link.metaKey, found == byPath.end() ? Key::null : found->second);
  }
}

bool Occurrences::HasMetaObject(const UniqueMetaObjectKey& key) const {
  return holders.contains(key);
}

std::set<UniqueMetaObjectKey> Occurrences::GetRelatedMetaObjects(const UniqueMetaObjectKey& key) const {
  const auto found = holders.find(key);
  return found == holders.end() || found->second.IsEmpty() ? std::set<Key>() : std::set<Key>{found->second};
}

PropValueRef Occurrences::GetPropertyRef(const UniqueMetaObjectKey&, const std::wstring&) const {
  return {};
}

bool Occurrences::IsAssociativeBillet(const UniqueMetaObjectKey&) const {
  return false;
}

void WriteByCalls(writer& out, const std::vector<Link>& uniqueLinks, const std::vector<Link>& validatedLinks) {
  WriteSet(out, uniqueLinks);
  WriteSet(out, validatedLinks);
}

void ReadByCalls(reader& in) {
  const auto drop = [](Link&& link) { benchmark::DoNotOptimize(link.geometry.objectType); };
  ReadSet(in, drop);
  ReadSet(in, drop);
}

void ReadByFloor(reader& in, Floor& store, const IfMetaProductData* metaData) {
  ValidatedLinks first;
  ValidatedLinks second;
  ReadSet(in, [&first](Link&& link) { first.insert(std::move(link)); });
  ReadSet(in, [&second](Link&& link) { second.insert(std::move(link)); });
  if (metaData == nullptr) {
    for (const Link& link : first) {
      AddUnique(store, link);
    }
  } else {
    AddRepaired(store, first, *metaData);
  }
  for (const Link& link : second) {
    store.AddLink<LinkSet::Validated>(link.metaKey, link.geometry);
  }
}

}  // namespace bench
