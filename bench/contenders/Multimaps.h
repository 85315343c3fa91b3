#pragma once

#include <iterator>
#include <map>
#include <utility>
#include <vector>

#include "bench/contenders/Contender.h"

namespace bench {

/// Two std::multimap for each set, key to geometry object and geometry object to key, each with copies of both. Keeps
/// the unique rules and the order of results. Leaves out the pair rule: a link that is added twice is there twice. A
/// link is found among those of its key or its geometry object by looking at one after the other.
class Multimaps {
 public:
  static constexpr std::string_view c_name = "multimaps";
  static constexpr bool c_keepsOrder = true;
  static constexpr bool c_scansLinksOfOne = true;

  void Begin() {}
  void Commit() {}

  template <LinkSet set>
  void AddLink(const Key& key, const Geometry& geometry) {
    if constexpr (ChangesUnique(set)) {
      const auto old = unique.byGeometry.find(geometry);
      if (old != unique.byGeometry.end()) {
        unique.byKey.erase(old->second);
        unique.byGeometry.erase(old);
      }
      const auto position = unique.byKey.lower_bound(key);
      if (position == unique.byKey.end() || key < position->first) {
        unique.byKey.emplace_hint(position, key, geometry);
        unique.byGeometry.emplace(geometry, key);
      }
    }
    if constexpr (ChangesValidated(set)) {
      Link link{key, geometry};
      if (validator(link)) {
        validated.byKey.emplace(link.metaKey, link.geometry);
        validated.byGeometry.emplace(std::move(link.geometry), std::move(link.metaKey));
      }
    }
  }

  template <LinkSet set>
  bool HasLink(const Key& key, const Geometry& geometry) const {
    const auto [first, last] = Maps<set>().byGeometry.equal_range(geometry);
    const auto [keyFirst, keyLast] = Maps<set>().byKey.equal_range(key);
    // Both ranges side by side, so that the shorter one decides.
    auto link = first;
    auto keyLink = keyFirst;
    for (; link != last && keyLink != keyLast; ++link, ++keyLink) {
      if (keyLink->second == geometry) {
        return true;
      }
      if (link->second == key) {
        return link->first == geometry;
      }
    }
    return false;
  }

  template <LinkSet set>
  const Key& GetMetaObjectKey(const Geometry& geometry) const {
    const auto& map = Maps<set>().byGeometry;
    const auto found = map.lower_bound(geometry);
    return found != map.end() && !(geometry < found->first) ? found->second : Key::null;
  }

  std::vector<Key> GetMetaObjectKeys(const Geometry& geometry) const {
    return SecondsOf<Key>(validated.byGeometry, geometry);
  }

  template <LinkSet set>
  std::vector<Geometry> GetGeometryObjects(const Key& key) const {
    return SecondsOf<Geometry>(Maps<set>().byKey, key);
  }

  template <LinkSet set>
  void RemoveLink(const Geometry& geometry, const Key& key) {
    if constexpr (ChangesUnique(set)) {
      unique.Remove(key, geometry);
    }
    if constexpr (ChangesValidated(set)) {
      validated.Remove(key, geometry);
    }
  }

  void SetLinkValidater(Validator newValidator) {
    validator = std::move(newValidator);
    std::vector<Links::ByKey::iterator> rejected;
    for (auto link = validated.byKey.begin(); link != validated.byKey.end(); ++link) {
      if (!validator(Link{link->first, link->second})) {
        rejected.push_back(link);
      }
    }
    for (const auto& link : rejected) {
      validated.byGeometry.erase(Find(validated.byGeometry, link->second, link->first));
      validated.byKey.erase(link);
    }
  }

  template <LinkSet set>
  void ReplaceMetaObjectKey(const Key& from, const Key& to) {
    if constexpr (ChangesUnique(set)) {
      if (!unique.byKey.contains(to)) {
        unique.ReplaceKey(from, to);
      } else {
        unique.RemoveKey(from);
      }
    }
    if constexpr (ChangesValidated(set)) {
      validated.ReplaceKey(from, to);
    }
  }

  void ReplaceGeometryObject(const Geometry& from, const Geometry& to) {
    if (!unique.byGeometry.contains(to)) {
      unique.ReplaceGeometry(from, to);
    } else {
      unique.RemoveGeometry(from);
    }
    validated.ReplaceGeometry(from, to);
  }

  template <LinkSet set, class Visitor>
  void ForEachLink(Visitor visitor) const {
    for (const auto& [key, geometry] : Maps<set>().byKey) {
      visitor(Link{key, geometry});
    }
  }

 private:
  template <class Map>
  static auto Find(Map& map, const typename Map::key_type& first, const typename Map::mapped_type& second)
      -> decltype(map.end()) {
    auto [link, last] = map.equal_range(first);
    while (link != last && !(link->second == second)) {
      ++link;
    }
    return link == last ? map.end() : link;
  }

  template <class Value, class Map>
  static std::vector<Value> SecondsOf(const Map& map, const typename Map::key_type& first) {
    auto [link, last] = map.equal_range(first);
    std::vector<Value> result;
    result.reserve(static_cast<std::size_t>(std::distance(link, last)));
    for (; link != last; ++link) {
      result.push_back(link->second);
    }
    return result;
  }

  // Gives the links of `from` in `map` the value `to`, and their twins in `other` as well.
  template <class Map, class Other>
  static void Replace(Map& map, Other& other, const typename Map::key_type& from, const typename Map::key_type& to) {
    for (auto link = map.find(from); link != map.end(); link = map.find(from)) {
      Find(other, link->second, from)->second = to;
      auto node = map.extract(link);
      node.key() = to;
      map.insert(std::move(node));
    }
  }

  struct Links {
    using ByKey = std::multimap<Key, Geometry>;
    using ByGeometry = std::multimap<Geometry, Key>;

    void Remove(const Key& key, const Geometry& geometry) {
      const auto found = Find(byKey, key, geometry);
      if (found != byKey.end()) {
        byKey.erase(found);
        byGeometry.erase(Find(byGeometry, geometry, key));
      }
    }
    void RemoveKey(const Key& key) {
      for (auto link = byKey.find(key); link != byKey.end(); link = byKey.find(key)) {
        byGeometry.erase(Find(byGeometry, link->second, key));
        byKey.erase(link);
      }
    }
    void RemoveGeometry(const Geometry& geometry) {
      for (auto link = byGeometry.find(geometry); link != byGeometry.end(); link = byGeometry.find(geometry)) {
        byKey.erase(Find(byKey, link->second, geometry));
        byGeometry.erase(link);
      }
    }
    void ReplaceKey(const Key& from, const Key& to) { Replace(byKey, byGeometry, from, to); }
    void ReplaceGeometry(const Geometry& from, const Geometry& to) { Replace(byGeometry, byKey, from, to); }

    ByKey byKey;
    ByGeometry byGeometry;
  };

  template <LinkSet set>
  const Links& Maps() const {
    return set == LinkSet::Unique ? unique : validated;
  }

  Links unique;
  Links validated;
  Validator validator = AcceptAny;
};

}  // namespace bench
