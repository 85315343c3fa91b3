#pragma once

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "bench/contenders/Contender.h"
#include "link_store/LinkSets.h"

namespace bench {

/// The store's own containers, driven directly by the fewest steps that give the same result: what the library could
/// reach at best. Keeps every rule. Leaves out what makes the store safe to call: arguments that refer into it, copies
/// that lose their path for lack of memory, values of LinkSet without a name, and branches of ReplaceComponentPath
/// that overlap.
class Floor {
 public:
  static constexpr std::string_view c_name = "floor";
  static constexpr bool c_keepsOrder = true;
  static constexpr bool c_scansLinksOfOne = false;

  void Begin() {}
  void Commit() {}

  template <LinkSet set>
  void AddLink(const Key& key, const Geometry& geometry) {
    if constexpr (ChangesUnique(set)) {
      auto& index = uniqueLinks.get<byGeometry>();
      auto position = index.lower_bound(geometry);
      if (position != index.end() && !(geometry < position->geometry)) {
        position = index.erase(position);
      }
      index.insert(position, Link{key, geometry});
    }
    if constexpr (ChangesValidated(set)) {
      Link link{key, geometry};
      if (validator(link)) {
        validatedLinks.insert(std::move(link));
      }
    }
  }

  template <LinkSet set>
  bool HasLink(const Key& key, const Geometry& geometry) const {
    if constexpr (set == LinkSet::Unique) {
      const auto found = uniqueLinks.get<byMetaKey>().find(key);
      return found != uniqueLinks.get<byMetaKey>().end() && found->geometry == geometry;
    } else {
      const auto found = validatedLinks.get<byLink>().find(LinkReference{key, geometry});
      return found != validatedLinks.get<byLink>().end() && found->geometry == geometry;
    }
  }

  template <LinkSet set>
  const Key& GetMetaObjectKey(const Geometry& geometry) const {
    const auto& index = Links<set>().template get<byGeometry>();
    const auto found = index.lower_bound(geometry);
    return found != index.end() && !(geometry < found->geometry) ? found->metaKey : Key::null;
  }

  std::vector<Key> GetMetaObjectKeys(const Geometry& geometry) const {
    const auto& index = validatedLinks.get<byGeometry>();
    const auto first = index.lower_bound(geometry);
    std::size_t count = 0;
    for (auto link = first; link != index.end() && !(geometry < link->geometry); ++link) {
      ++count;
    }
    std::vector<Key> result;
    result.reserve(count);
    for (auto link = first; result.size() < count; ++link) {
      result.push_back(link->metaKey);
    }
    return result;
  }

  template <LinkSet set>
  std::vector<Geometry> GetGeometryObjects(const Key& key) const {
    const auto& index = Links<set>().template get<byMetaKey>();
    std::vector<Geometry> result;
    if constexpr (set == LinkSet::Unique) {
      const auto found = index.find(key);
      if (found != index.end()) {
        result.push_back(found->geometry);
      }
    } else {
      const auto first = index.lower_bound(key);
      std::size_t count = 0;
      for (auto link = first; link != index.end() && link->metaKey == key; ++link) {
        ++count;
      }
      result.reserve(count);
      for (auto link = first; result.size() < count; ++link) {
        result.push_back(link->geometry);
      }
    }
    return result;
  }

  template <LinkSet set>
  void RemoveLink(const Geometry& geometry, const Key& key) {
    if constexpr (ChangesUnique(set)) {
      auto& index = uniqueLinks.get<byMetaKey>();
      const auto found = index.find(key);
      if (found != index.end() && AreEquivalent(found->geometry, geometry)) {
        index.erase(found);
      }
    }
    if constexpr (ChangesValidated(set)) {
      auto& index = validatedLinks.get<byLink>();
      const auto found = index.find(LinkReference{key, geometry});
      if (found != index.end()) {
        index.erase(found);
      }
    }
  }

  // All links are asked before the first one goes.
  void SetLinkValidater(Validator newValidator) {
    validator = std::move(newValidator);
    auto& index = validatedLinks.get<byMetaKey>();
    std::vector<decltype(index.begin())> rejected;
    for (auto link = index.begin(); link != index.end(); ++link) {
      if (!validator(*link)) {
        rejected.push_back(link);
      }
    }
    for (const auto& link : rejected) {
      index.erase(link);
    }
  }

  template <LinkSet set>
  void ReplaceMetaObjectKey(const Key& from, const Key& to) {
    const auto assign = [&to](Link& link) { link.metaKey = to; };
    if constexpr (ChangesUnique(set)) {
      auto& index = uniqueLinks.get<byMetaKey>();
      const auto found = index.find(from);
      if (found != index.end()) {
        index.modify(found, assign);
      }
    }
    if constexpr (ChangesValidated(set)) {
      auto& index = validatedLinks.get<byMetaKey>();
      for (auto link = index.find(from); link != index.end() && link->metaKey == from;) {
        index.modify(link++, assign);
      }
    }
  }

  void ReplaceGeometryObject(const Geometry& from, const Geometry& to) {
    const auto assign = [&to](Link& link) { link.geometry = to; };
    auto& uniqueIndex = uniqueLinks.get<byGeometry>();
    const auto found = uniqueIndex.find(from);
    if (found != uniqueIndex.end()) {
      uniqueIndex.modify(found, assign);
    }
    auto& index = validatedLinks.get<byGeometry>();
    for (auto link = index.lower_bound(from); link != index.end() && !(from < link->geometry);) {
      index.modify(link++, assign);
    }
  }

  void ReplaceComponentPath(const MbPath& from, const MbPath& to) {
    MoveBranch(uniqueLinks, from, to);
    MoveBranch(validatedLinks, from, to);
  }

  RenamedKeys RegenerateMetaObjectKeys() {
    RenamedKeys result;
    RegenerateKeys(uniqueLinks, result);
    RegenerateKeys(validatedLinks, result);
    return result;
  }

  template <LinkSet set, class Visitor>
  void ForEachLink(Visitor visitor) const {
    for (const Link& link : Links<set>()) {
      visitor(link);
    }
  }

  template <LinkSet set>
  const auto& Links() const {
    if constexpr (set == LinkSet::Unique) {
      return uniqueLinks;
    } else {
      return validatedLinks;
    }
  }

 private:
  // Paths are stored with their outermost component last.
  static bool LiesIn(const MbPath& branch, const MbPath& path) {
    return branch.Count() <= path.Count() && std::equal(branch.begin(), branch.end(), path.end() - branch.Count());
  }

  template <class Container>
  static void MoveBranch(Container& links, const MbPath& from, const MbPath& to) {
    auto& index = links.template get<byGeometry>();
    std::vector<decltype(index.begin())> moved;
    for (auto link = index.begin(); link != index.end(); ++link) {
      if (LiesIn(from, link->geometry.componentPath)) {
        moved.push_back(link);
      }
    }
    for (const auto& link : moved) {
      index.modify(link, [&to](Link& record) {
        ComponentPath& path = record.geometry.componentPath;
        std::copy(to.begin(), to.end(), path.end() - to.Count());
      });
    }
  }

  // The first link of each key gets a new one: the one that the map has already, or a fresh one.
  template <class Container>
  static void RegenerateKeys(Container& links, RenamedKeys& renamed) {
    auto& index = links.template get<byMetaKey>();
    using Position = decltype(index.begin());
    std::vector<std::pair<Position, const Key*>> changes;
    auto next = renamed.begin();
    for (Position link = index.begin(); link != index.end(); ++link) {
      if (link != index.begin() && link->metaKey == std::prev(link)->metaKey) {
        continue;
      }
      while (next != renamed.end() && next->first < link->metaKey) {
        ++next;
      }
      if (next == renamed.end() || link->metaKey < next->first) {
        next = renamed.emplace_hint(next, link->metaKey, Key::Generate());
      }
      changes.emplace_back(link, &next->second);
    }
    for (const auto& [link, key] : changes) {
      index.modify(link, [newKey = key](Link& record) { record.metaKey = *newKey; });
    }
  }

  UniqueLinks uniqueLinks;
  ValidatedLinks validatedLinks;
  Validator validator = AcceptAny;
};

}  // namespace bench
