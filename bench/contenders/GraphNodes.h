#pragma once

#include <memory>
#include <vector>

#include "bench/contenders/Contender.h"

namespace bench {

/// Open CASCADE's document framework: a label for each key and each geometry object, found through a std::map from the
/// value to its label, with an XCAFDoc_GraphNode for each set whose fathers are keys and whose children are geometry
/// objects. Keeps the unique rules and the order of results. Leaves out the pair rule: a link that is added twice is
/// there twice. A link is found by the shorter of its ends' lists, one after the other; labels without links stay.
/// Leaves out all operations that change many links, which the framework has no counterpart of.
class GraphNodes {
 public:
  static constexpr std::string_view c_name = "graphnodes";
  static constexpr bool c_keepsOrder = true;
  static constexpr bool c_scansLinksOfOne = true;

  GraphNodes();
  GraphNodes(GraphNodes&&) noexcept;
  ~GraphNodes();

  void Begin() {}
  void Commit() {}

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
    return HasLinkIn(set, key, geometry);
  }

  template <LinkSet set>
  const Key& GetMetaObjectKey(const Geometry& geometry) const {
    return FirstKey(set, geometry);
  }

  std::vector<Key> GetMetaObjectKeys(const Geometry& geometry) const;

  template <LinkSet set>
  std::vector<Geometry> GetGeometryObjects(const Key& key) const {
    return GeometryOf(set, key);
  }

  template <LinkSet set>
  void RemoveLink(const Geometry& geometry, const Key& key) {
    if constexpr (ChangesUnique(set)) {
      RemoveFrom(LinkSet::Unique, key, geometry);
    }
    if constexpr (ChangesValidated(set)) {
      RemoveFrom(LinkSet::Validated, key, geometry);
    }
  }

  template <LinkSet set, class Visitor>
  void ForEachLink(Visitor visitor) const {
    Walk(set, visitor);
  }

 private:
  class Labels;

  void AddUnique(const Key& key, const Geometry& geometry);
  void AddValidated(const Key& key, const Geometry& geometry);
  bool HasLinkIn(LinkSet set, const Key& key, const Geometry& geometry) const;
  const Key& FirstKey(LinkSet set, const Geometry& geometry) const;
  std::vector<Geometry> GeometryOf(LinkSet set, const Key& key) const;
  void RemoveFrom(LinkSet set, const Key& key, const Geometry& geometry);
  void Walk(LinkSet set, const std::function<void(const Link&)>& visit) const;

  std::unique_ptr<Labels> labels;
  Validator validator = AcceptAny;
};

}  // namespace bench
