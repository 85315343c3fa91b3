#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/Links.h"
#include "bench/Results.h"
#include "bench/contenders/Contender.h"

/// What is done with a link store, the same for every contender.

namespace bench {

enum class Phase {
  /// Begins with an empty store.
  add,
  /// Works on a store that holds the whole workset and leaves it as it is.
  lookUp,
  /// As lookUp, but changes the store; Workload::undo brings it back.
  change,
  /// As change, but what is brought back differs in the order of the links of a key. It comes last.
  last,
};

template <class Contender>
struct Workload {
  /// The operation, then the link set where it takes one, then hit or miss.
  std::string name;
  Phase phase;
  /// The operations of a pass, by which its time is divided.
  std::size_t items;
  std::function<void(Contender&, Results&)> pass;
  std::function<void(Contender&)> undo = {};
};

/// A pass within a transaction.
template <class Contender, class Body>
void Transact(Contender& contender, const Body& body) {
  contender.Begin();
  body();
  contender.Commit();
}

template <LinkSet set, class Contender>
void AddAll(Contender& contender, const std::vector<Link>& links) {
  Transact(contender, [&] {
    for (const Link& link : links) {
      contender.template AddLink<set>(link.metaKey, link.geometry);
    }
  });
}

/// Adds all links of the workset, each to its set.
template <class Contender>
void Load(Contender& contender, const Workset& workset) {
  AddAll<LinkSet::Unique>(contender, workset.unique.links);
  AddAll<LinkSet::Validated>(contender, workset.validated.links);
}

constexpr const char* SuffixOf(LinkSet set) {
  return set == LinkSet::Unique ? "/unique" : set == LinkSet::Validated ? "/validated" : "/both";
}

/// The workloads that a contender can do in a workset's shape. Borrows the workset.
template <class Contender>
class StoreWorkloads {
 public:
  explicit StoreWorkloads(const Workset& given) : workset(given) {}

  std::vector<Workload<Contender>> Make() {
    const bool isHostile = workset.which.shape == Shape::hostile;
    if (!isHostile) {
      AddSet<LinkSet::Unique>(workset.unique.links);
      AddSet<LinkSet::Both>(workset.unique.links);
      LookUpSet<LinkSet::Unique>();
      ChangeSet<LinkSet::Unique>();
    }
    AddSet<LinkSet::Validated>(workset.validated.links);
    LookUpSet<LinkSet::Validated>();
    LookUpMetaObjectKeys();
    if (!isHostile || !Contender::c_scansLinksOfOne) {
      ChangeSet<LinkSet::Validated>();
      ChangeMany();
    }
    return std::move(result);
  }

 private:
  using Pass = std::function<void(Contender&, Results&)>;
  using Undo = std::function<void(Contender&)>;

  void Add(Phase phase, std::string name, std::size_t items, Pass pass, Undo undo = {}) {
    result.push_back({std::move(name), phase, items, std::move(pass), std::move(undo)});
  }

  template <LinkSet set>
  void AddSet(const std::vector<Link>& links) {
    Add(Phase::add, std::string("AddLink") + SuffixOf(set), links.size(),
        [&links](Contender& contender, Results&) { AddAll<set>(contender, links); });
  }

  // A look-up of every element of a list.
  template <class Value, class Ask>
  void LookUp(const std::string& name, const std::vector<Value>& values, const Ask& ask) {
    Add(Phase::lookUp, name, values.size(), [&values, ask](Contender& contender, Results& results) {
      Transact(contender, [&] {
        for (const Value& value : values) {
          results.Take(ask(contender, value));
        }
      });
    });
  }

  template <LinkSet set>
  void LookUpSet() {
    const SetLinks& links = workset.Of<set>();
    const std::string suffix = SuffixOf(set);
    const auto byKey = [](const Contender& contender, const Key& key) {
      return contender.template GetGeometryObjects<set>(key);
    };
    const auto byGeometry = [](const Contender& contender, const Geometry& geometry) -> decltype(auto) {
      return contender.template GetMetaObjectKey<set>(geometry);
    };
    const auto has = [](const Contender& contender, const Link& link) {
      return contender.template HasLink<set>(link.metaKey, link.geometry);
    };
    LookUp("GetGeometryObjects" + suffix + "/hit", links.keys, byKey);
    LookUp("GetGeometryObjects" + suffix + "/miss", links.missingKeys, byKey);
    LookUp("GetMetaObjectKey" + suffix + "/hit", links.geometry, byGeometry);
    LookUp("GetMetaObjectKey" + suffix + "/miss", links.missingGeometry, byGeometry);
    LookUp("HasLink" + suffix + "/hit", links.pairs, has);
    LookUp("HasLink" + suffix + "/miss", links.missingPairs, has);
  }

  void LookUpMetaObjectKeys() {
    const auto keysOf = [](const Contender& contender, const Geometry& geometry) {
      return contender.GetMetaObjectKeys(geometry);
    };
    LookUp("GetMetaObjectKeys/validated/hit", workset.validated.geometry, keysOf);
    LookUp("GetMetaObjectKeys/validated/miss", workset.validated.missingGeometry, keysOf);
  }

  template <LinkSet set>
  void ChangeSet() {
    const SetLinks& links = workset.Of<set>();
    Add(
        Phase::change, std::string("RemoveLink") + SuffixOf(set), links.pairs.size(),
        [&links](Contender& contender, Results&) {
          Transact(contender, [&] {
            for (const Link& link : links.pairs) {
              contender.template RemoveLink<set>(link.geometry, link.metaKey);
            }
          });
        },
        [&links](Contender& contender) { AddAll<set>(contender, links.pairs); });
    ReplaceKeys<set>(links);
    ReplaceGeometry(std::string("ReplaceGeometryObject") + SuffixOf(set), links);
  }

  // Calls `replace` with each value and the one beside it in the other list, in one transaction.
  template <class Value, class Replace>
  static void ForPairs(Contender& contender, const std::vector<Value>& from, const std::vector<Value>& to,
                       const Replace& replace) {
    Transact(contender, [&] {
      for (std::size_t i = 0; i < from.size(); ++i) {
        replace(from[i], to[i]);
      }
    });
  }

  template <LinkSet set>
  void ReplaceKeys(const SetLinks& links) {
    if constexpr (requires(Contender & contender, const Key& key) {
                    contender.template ReplaceMetaObjectKey<set>(key, key);
                  }) {
      const auto replaceAll = [](Contender& contender, const std::vector<Key>& from, const std::vector<Key>& to) {
        ForPairs(contender, from, to, [&contender](const Key& oldKey, const Key& newKey) {
          contender.template ReplaceMetaObjectKey<set>(oldKey, newKey);
        });
      };
      Add(
          Phase::change, std::string("ReplaceMetaObjectKey") + SuffixOf(set), links.keys.size(),
          [&links, replaceAll](Contender& contender, Results&) {
            replaceAll(contender, links.keys, links.missingKeys);
          },
          [&links, replaceAll](Contender& contender) { replaceAll(contender, links.missingKeys, links.keys); });
    }
  }

  // The operation always works on both sets; the name tells in which one the geometry objects are linked. Each takes
  // the place of another, under a name that nothing there has.
  void ReplaceGeometry(const std::string& name, const SetLinks& links) {
    if constexpr (requires(Contender & contender, const Geometry& geometry) {
                    contender.ReplaceGeometryObject(geometry, geometry);
                  }) {
      const auto replaceAll = [](Contender& contender, const std::vector<Geometry>& from,
                                 const std::vector<Geometry>& to) {
        ForPairs(contender, from, to, [&contender](const Geometry& oldGeometry, const Geometry& newGeometry) {
          contender.ReplaceGeometryObject(oldGeometry, newGeometry);
        });
      };
      std::vector<Geometry> elsewhere = links.missingGeometry;
      std::rotate(elsewhere.begin(), elsewhere.begin() + 1, elsewhere.end());
      const auto replacements = std::make_shared<const std::vector<Geometry>>(std::move(elsewhere));
      Add(
          Phase::change, name, links.geometry.size(),
          [&links, replaceAll, replacements](Contender& contender, Results&) {
            replaceAll(contender, links.geometry, *replacements);
          },
          [&links, replaceAll, replacements](Contender& contender) {
            replaceAll(contender, *replacements, links.geometry);
          });
    }
  }

  // What works on all links at once.
  void ChangeMany() {
    Purge();
    MoveBranch();
    RegenerateKeys();
  }

  void Purge() {
    if constexpr (requires(Contender & contender) { contender.SetLinkValidater(AcceptAny); }) {
      Add(
          Phase::change, "SetLinkValidater", workset.validated.links.size(),
          [](Contender& contender, Results&) { Transact(contender, [&] { contender.SetLinkValidater(AcceptHalf); }); },
          [given = &workset](Contender& contender) {
            contender.SetLinkValidater(AcceptAny);
            std::vector<Link> purged = given->validated.links;
            std::erase_if(purged, AcceptHalf);
            AddAll<LinkSet::Validated>(contender, purged);
          });
    }
  }

  void MoveBranch() {
    if constexpr (requires(Contender & contender, const MbPath& path) { contender.ReplaceComponentPath(path, path); }) {
      const auto move = [](Contender& contender, const MbPath& from, const MbPath& to) {
        Transact(contender, [&] { contender.ReplaceComponentPath(from, to); });
      };
      Add(
          Phase::change, "ReplaceComponentPath", LinksInBranch(workset.unique) + LinksInBranch(workset.validated),
          [given = &workset, move](Contender& contender, Results&) {
            move(contender, given->branch, given->emptyBranch);
          },
          [given = &workset, move](Contender& contender) { move(contender, given->emptyBranch, given->branch); });
    }
  }

  std::size_t LinksInBranch(const SetLinks& links) const {
    return static_cast<std::size_t>(std::count_if(links.links.begin(), links.links.end(), [this](const Link& link) {
      const ComponentPath& path = link.geometry.componentPath;
      return path[path.Count() - 1] == workset.branch[0];
    }));
  }

  void RegenerateKeys() {
    if constexpr (requires(Contender & contender) { contender.RegenerateMetaObjectKeys(); }) {
      const auto renamed = std::make_shared<RenamedKeys>();
      Add(
          Phase::last, "RegenerateMetaObjectKeys", workset.unique.keyCount + workset.validated.keyCount,
          [renamed](Contender& contender, Results& results) {
            Transact(contender, [&] { *renamed = contender.RegenerateMetaObjectKeys(); });
            results.Take(*renamed);
          },
          [renamed](Contender& contender) {
            Transact(contender, [&] {
              for (const auto& [oldKey, newKey] : *renamed) {
                contender.template ReplaceMetaObjectKey<LinkSet::Both>(newKey, oldKey);
              }
            });
            renamed->clear();
          });
    }
  }

  const Workset& workset;
  std::vector<Workload<Contender>> result;
};

}  // namespace bench
