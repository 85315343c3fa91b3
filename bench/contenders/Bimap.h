#pragma once

#include <iterator>
#include <utility>
#include <vector>

#include <boost/bimap.hpp>
#include <boost/bimap/multiset_of.hpp>
#include <boost/bimap/set_of.hpp>

#include "bench/contenders/Contender.h"

namespace bench {

/// Boost.Bimap: set to set for the unique links; multiset to multiset with an ordered collection of the pairs for the
/// validated ones. Keeps every rule, with the same number of indexes as the library, but searches for a pair only by a
/// copy of both. Leaves out ReplaceComponentPath and RegenerateMetaObjectKeys, which are loops over the operations that
/// are here.
class Bimap {
 public:
  static constexpr std::string_view c_name = "bimap";
  static constexpr bool c_keepsOrder = true;
  static constexpr bool c_scansLinksOfOne = false;

  void Begin() {}
  void Commit() {}

  template <LinkSet set>
  void AddLink(const Key& key, const Geometry& geometry) {
    if constexpr (ChangesUnique(set)) {
      auto position = unique.right.lower_bound(geometry);
      if (position != unique.right.end() && !(geometry < position->first)) {
        position = unique.right.erase(position);
      }
      unique.right.insert(position, Unique::right_value_type(geometry, key));
    }
    if constexpr (ChangesValidated(set)) {
      if (validator(Link{key, geometry})) {
        validated.insert(Validated::value_type(key, geometry));
      }
    }
  }

  template <LinkSet set>
  bool HasLink(const Key& key, const Geometry& geometry) const {
    if constexpr (set == LinkSet::Unique) {
      const auto found = unique.left.find(key);
      return found != unique.left.end() && found->second == geometry;
    } else {
      const auto found = validated.find(Validated::value_type(key, geometry));
      return found != validated.end() && found->right == geometry;
    }
  }

  template <LinkSet set>
  const Key& GetMetaObjectKey(const Geometry& geometry) const {
    const auto& right = Map<set>().right;
    const auto found = right.lower_bound(geometry);
    return found != right.end() && !(geometry < found->first) ? found->second : Key::null;
  }

  std::vector<Key> GetMetaObjectKeys(const Geometry& geometry) const {
    return SecondsOf<Key>(validated.right.equal_range(geometry));
  }

  template <LinkSet set>
  std::vector<Geometry> GetGeometryObjects(const Key& key) const {
    return SecondsOf<Geometry>(Map<set>().left.equal_range(key));
  }

  template <LinkSet set>
  void RemoveLink(const Geometry& geometry, const Key& key) {
    if constexpr (ChangesUnique(set)) {
      const auto found = unique.left.find(key);
      if (found != unique.left.end() && !(found->second < geometry) && !(geometry < found->second)) {
        unique.left.erase(found);
      }
    }
    if constexpr (ChangesValidated(set)) {
      validated.erase(Validated::value_type(key, geometry));
    }
  }

  void SetLinkValidater(Validator newValidator) {
    validator = std::move(newValidator);
    std::vector<Validated::left_iterator> rejected;
    for (auto link = validated.left.begin(); link != validated.left.end(); ++link) {
      if (!validator(Link{link->first, link->second})) {
        rejected.push_back(link);
      }
    }
    for (const auto& link : rejected) {
      validated.left.erase(link);
    }
  }

  template <LinkSet set>
  void ReplaceMetaObjectKey(const Key& from, const Key& to) {
    if constexpr (ChangesUnique(set)) {
      Replace(unique.left, from, to);
    }
    if constexpr (ChangesValidated(set)) {
      Replace(validated.left, from, to);
    }
  }

  void ReplaceGeometryObject(const Geometry& from, const Geometry& to) {
    Replace(unique.right, from, to);
    Replace(validated.right, from, to);
  }

  template <LinkSet set, class Visitor>
  void ForEachLink(Visitor visitor) const {
    for (const auto& link : Map<set>().left) {
      visitor(Link{link.first, link.second});
    }
  }

 private:
  using Unique = boost::bimap<boost::bimaps::set_of<Key>, boost::bimaps::set_of<Geometry>>;
  using Validated = boost::bimap<boost::bimaps::multiset_of<Key>, boost::bimaps::multiset_of<Geometry>,
                                 boost::bimaps::set_of_relation<>>;

  template <class Value, class Range>
  static std::vector<Value> SecondsOf(const Range& range) {
    std::vector<Value> result;
    result.reserve(static_cast<std::size_t>(std::distance(range.first, range.second)));
    for (auto link = range.first; link != range.second; ++link) {
      result.push_back(link->second);
    }
    return result;
  }

  // A replacement that meets another link is refused by the map and drops its link.
  template <class View, class Value>
  static void Replace(View& view, const Value& from, const Value& to) {
    for (auto link = view.find(from); link != view.end(); link = view.find(from)) {
      if (!view.replace_key(link, to)) {
        view.erase(link);
      }
    }
  }

  template <LinkSet set>
  const auto& Map() const {
    if constexpr (set == LinkSet::Unique) {
      return unique;
    } else {
      return validated;
    }
  }

  Unique unique;
  Validated validated;
  Validator validator = AcceptAny;
};

}  // namespace bench
