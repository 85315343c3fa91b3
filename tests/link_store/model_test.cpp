#include <algorithm>
#include <cstdint>
#include <list>
#include <ostream>
#include <set>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include "tests/support/Links.h"

// The store against a model of it in plain vectors, which knows nothing of trees, hints and shortcuts, over
// random sequences of changes to few c_keys and few geometry objects, so that nearly everything collides.

namespace {

bool IsLess(const Link& left, const Link& right, bool byKey) {
  return byKey ? left.key < right.key : left.geometry < right.geometry;
}

bool AreSame(const GeometryObject3D& left, const GeometryObject3D& right) {
  return !(left < right) && !(right < left);
}

/// One link set: its links, and for each index their sequence.
class ModelSet {
 public:
  explicit ModelSet(bool isOneToOne) : oneToOne(isOneToOne) {}

  const std::vector<Link*>& ByKey() const { return byKey; }
  const std::vector<Link*>& ByGeometry() const { return byGeometry; }

  void Insert(const Link& link) {
    if (Collides(link, nullptr)) {
      return;
    }
    links.push_back(link);
    Place(byKey, &links.back(), true);
    Place(byGeometry, &links.back(), false);
  }

  void Erase(const Link* link) {
    std::erase(byKey, link);
    std::erase(byGeometry, link);
    links.remove_if([link](const Link& other) { return &other == link; });
  }

  template <class Change>
  void Modify(Link* link, const Change& change) {
    change(*link);
    if (Collides(*link, link)) {
      Erase(link);
      return;
    }
    Replace(byKey, link, true);
    Replace(byGeometry, link, false);
  }

  template <class Matches>
  Link* First(const std::vector<Link*>& sequence, const Matches& matches) const {
    const auto found =
        std::find_if(sequence.begin(), sequence.end(), [&](const Link* link) { return matches(*link); });
    return found == sequence.end() ? nullptr : *found;
  }

  template <class Matches>
  void EraseAll(const Matches& matches) {
    while (Link* link = First(byKey, matches)) {
      Erase(link);
    }
  }

 private:
  bool Collides(const Link& link, const Link* itself) const {
    return std::any_of(links.begin(), links.end(), [&](const Link& other) {
      const bool sameKey = other.key == link.key;
      const bool sameGeometry = AreSame(other.geometry, link.geometry);
      return &other != itself && (oneToOne ? sameKey || sameGeometry : sameKey && sameGeometry);
    });
  }

  // Behind its equals.
  static void Place(std::vector<Link*>& sequence, Link* link, bool isByKey) {
    const auto behind = std::find_if(sequence.begin(), sequence.end(),
                                     [&](const Link* other) { return IsLess(*link, *other, isByKey); });
    sequence.insert(behind, link);
  }

  // A changed link stays where it is if its neighbours allow it.
  static void Replace(std::vector<Link*>& sequence, Link* link, bool isByKey) {
    const auto position = std::find(sequence.begin(), sequence.end(), link);
    const bool fitsBefore = position == sequence.begin() || !IsLess(*link, **(position - 1), isByKey);
    const bool fitsBehind = position + 1 == sequence.end() || !IsLess(**(position + 1), *link, isByKey);
    if (!fitsBefore || !fitsBehind) {
      sequence.erase(position);
      Place(sequence, link, isByKey);
    }
  }

  bool oneToOne;
  std::list<Link> links;
  std::vector<Link*> byKey;
  std::vector<Link*> byGeometry;
};

/// A validator that decides by bits of a mask.
struct MaskValidator {
  std::uint32_t mask;

  bool operator()(const ProductGeometryObject3D& record) const {
    const std::size_t bit = record.metaKey.Bytes().size() + record.geometry.componentPath.Count() * 3 +
                            record.geometry.objectType;
    return ((mask >> bit % 8) & 1U) != 0;
  }
};

enum class Kind {
  add,
  addAll,
  removeGeometry,
  removeLink,
  removeKey,
  removeKeys,
  validate,
  clear,
  replaceGeometry,
  replaceKey,
  replacePath
};

/// One change, with numbers that choose its arguments.
struct Change {
  Kind kind;
  std::uint32_t key;
  std::uint32_t otherKey;
  std::uint32_t geometry;
  std::uint32_t otherGeometry;
  std::uint32_t set;
  std::uint32_t mask;
};

std::ostream& operator<<(std::ostream& out, const Change& change) {
  return out << "{" << static_cast<int>(change.kind) << " key " << change.key << ' ' << change.otherKey
             << " geometry " << change.geometry << ' ' << change.otherGeometry << " set " << change.set
             << " mask " << change.mask << "}";
}

rc::Gen<Change> AnyChange() {
  const auto upTo = [](std::uint32_t end) { return rc::gen::inRange<std::uint32_t>(0, end); };
  return rc::gen::construct<Change>(rc::gen::weightedElement<Kind>({{12, Kind::add},
                                                                    {3, Kind::addAll},
                                                                    {1, Kind::removeGeometry},
                                                                    {2, Kind::removeLink},
                                                                    {1, Kind::removeKey},
                                                                    {1, Kind::removeKeys},
                                                                    {1, Kind::validate},
                                                                    {1, Kind::clear},
                                                                    {3, Kind::replaceGeometry},
                                                                    {3, Kind::replaceKey},
                                                                    {3, Kind::replacePath}}),
                                    upTo(6), upTo(6), upTo(20), upTo(20), upTo(5), upTo(256));
}

const Keys c_keys{Key(""), Key("a"), Key({"a\0", 2}), Key("ab"), Key("\x7F"), Key("\x80")};

// Ten places in the order of geometry objects, each with two different second c_paths.
GeometryObject3D GeometryOf(std::uint32_t number) {
  static const Geometries places{
      GeometryObject3D(), Solid({}, "n"),     Solid({1}, "n"),    Solid({1}, "m"),    Solid({2}, "n"),
      Solid({1, 1}, "n"), Solid({1, 2}, "n"), Solid({2, 1}, "n"), PartComponent({1}), PartComponent({2, 1})};
  const GeometryObject3D& place = places[number / 2];
  return number % 2 == 0 ? place : EquivalentTo(place);
}

const std::vector<MbPath> c_paths{{}, {1}, {2}, {1, 1}, {1, 2}, {2, 1}};

/// The whole store.
class Model {
 public:
  ModelSet unique{true};
  ModelSet validated{false};
  MaskValidator validator{0xFF};

  void Add(const UniqueMetaObjectKey& key, const GeometryObject3D& geometry, std::uint32_t set) {
    if (set == 0 || set == 2) {
      unique.EraseAll([&](const Link& link) { return AreSame(link.geometry, geometry); });
      unique.Insert({key, geometry});
    }
    if (set <= 1 && validator({key, geometry})) {
      validated.Insert({key, geometry});
    }
  }

  void Validate(const MaskValidator& newValidator) {
    validator = newValidator;
    validated.EraseAll([&](const Link& link) { return !validator({link.key, link.geometry}); });
  }

  /// The sets that a changing operation works on, in order.
  std::vector<ModelSet*> Chosen(std::uint32_t set) {
    std::vector<ModelSet*> chosen;
    if (set == 0 || set == 2) {
      chosen.push_back(&unique);
    }
    if (set <= 1) {
      chosen.push_back(&validated);
    }
    return chosen;
  }

  void ReplaceGeometry(const GeometryObject3D& from, const GeometryObject3D& to) {
    for (ModelSet* set : Chosen(0)) {
      const auto isFrom = [&](const Link& link) { return AreSame(link.geometry, from); };
      while (Link* link = set->First(set->ByGeometry(), isFrom)) {
        set->Modify(link, [&](Link& changed) { changed.geometry = to; });
      }
    }
  }

  void ReplaceKey(const UniqueMetaObjectKey& from, const UniqueMetaObjectKey& to, std::uint32_t chosen) {
    for (ModelSet* set : Chosen(chosen)) {
      while (Link* link = set->First(set->ByKey(), [&](const Link& other) { return other.key == from; })) {
        set->Modify(link, [&](Link& changed) { changed.key = to; });
      }
    }
  }

  void ReplacePath(const MbPath& from, const MbPath& to) {
    if (from == to) {
      return;
    }
    for (ModelSet* set : Chosen(0)) {
      Geometries list;
      for (const Link* link : set->ByGeometry()) {
        const MbPath& path = link->geometry.componentPath;
        if (path.Count() >= from.Count() && std::equal(from.begin(), from.end(), path.end() - from.Count())) {
          list.push_back(link->geometry);
        }
      }
      for (const GeometryObject3D& geometry : list) {
        Link* link = set->First(set->ByGeometry(),
                                [&](const Link& other) { return AreSame(other.geometry, geometry); });
        if (link != nullptr) {
          GeometryObject3D moved = geometry;
          std::copy(to.begin(), to.end(), moved.componentPath.end() - to.Count());
          set->Modify(link, [&](Link& changed) { changed.geometry = moved; });
        }
      }
    }
  }
};

void Apply(const Change& change, IProductGeometryObjects3D& store, Model& model) {
  const UniqueMetaObjectKey& key = c_keys[change.key];
  const UniqueMetaObjectKey& otherKey = c_keys[change.otherKey];
  const GeometryObject3D geometry = GeometryOf(change.geometry);
  const GeometryObject3D otherGeometry = GeometryOf(change.otherGeometry);
  const auto set = static_cast<LinkSet>(change.set);
  const auto hasKey = [&](const Link& link) { return link.key == key; };
  const auto hasGeometry = [&](const Link& link) { return AreSame(link.geometry, geometry); };
  switch (change.kind) {
    case Kind::add:
      store.AddLink(key, geometry, set);
      model.Add(key, geometry, change.set);
      break;
    case Kind::addAll:
      store.AddLinks(key, {geometry, otherGeometry}, set);
      model.Add(key, geometry, change.set);
      model.Add(key, otherGeometry, change.set);
      break;
    case Kind::removeGeometry:
      store.RemoveGeometryObjectLinks(geometry, set);
      for (ModelSet* chosen : model.Chosen(change.set)) {
        chosen->EraseAll(hasGeometry);
      }
      break;
    case Kind::removeLink:
      store.RemoveLink(geometry, key, set);
      for (ModelSet* chosen : model.Chosen(change.set)) {
        chosen->EraseAll([&](const Link& link) { return hasKey(link) && hasGeometry(link); });
      }
      break;
    case Kind::removeKey:
      store.RemoveMetaObjectLinks(key, set);
      for (ModelSet* chosen : model.Chosen(change.set)) {
        chosen->EraseAll(hasKey);
      }
      break;
    case Kind::removeKeys:
      store.RemoveMetaObjectsLinks({key, otherKey}, set);
      for (ModelSet* chosen : model.Chosen(change.set)) {
        chosen->EraseAll([&](const Link& link) { return hasKey(link) || link.key == otherKey; });
      }
      break;
    case Kind::validate:
      store.SetLinkValidater(MaskValidator{change.mask});
      model.Validate(MaskValidator{change.mask});
      break;
    case Kind::clear:
      store.ClearLinks();
      for (ModelSet* chosen : model.Chosen(0)) {
        chosen->EraseAll([](const Link&) { return true; });
      }
      break;
    case Kind::replaceGeometry:
      if (!AreSame(geometry, otherGeometry)) {  // with equivalent ones the call would not end
        store.ReplaceGeometryObject(geometry, otherGeometry);
        model.ReplaceGeometry(geometry, otherGeometry);
      }
      break;
    case Kind::replaceKey:
      if (key != otherKey) {  // with equal ones the call would not end
        store.ReplaceMetaObjectKey(key, otherKey, set);
        model.ReplaceKey(key, otherKey, change.set);
      }
      break;
    case Kind::replacePath: {
      const MbPath& from = c_paths[change.geometry % c_paths.size()];
      const MbPath& to = c_paths[change.otherGeometry % c_paths.size()];
      if (to.Count() <= from.Count()) {  // a longer one may not fit
        store.ReplaceComponentPath(from, to);
        model.ReplacePath(from, to);
      }
      break;
    }
  }
}

Links Copies(const std::vector<Link*>& sequence) {
  Links copies;
  for (const Link* link : sequence) {
    copies.push_back(*link);
  }
  return copies;
}

/// Every query gives what the model holds, in the model's order.
void Compare(const IProductGeometryObjects3D& store, const Model& model) {
  RC_ASSERT(Contents(store, LinkSet::Unique) == Copies(model.unique.ByKey()));
  RC_ASSERT(Contents(store, LinkSet::Validated) == Copies(model.validated.ByKey()));
  for (std::uint32_t number = 0; number < 20; ++number) {
    const GeometryObject3D geometry = GeometryOf(number);
    Keys linked;
    for (const Link* link : model.validated.ByGeometry()) {
      if (AreSame(link->geometry, geometry)) {
        linked.push_back(link->key);
      }
    }
    RC_ASSERT(store.GetMetaObjectKeys(geometry) == linked);
    RC_ASSERT(store.GetMetaObjectKey(geometry, LinkSet::Validated) ==
              (linked.empty() ? Key("") : linked.front()));
    const Link* unique = model.unique.First(
        model.unique.ByGeometry(), [&](const Link& link) { return AreSame(link.geometry, geometry); });
    RC_ASSERT(store.GetMetaObjectKey(geometry, LinkSet::Unique) ==
              (unique == nullptr ? Key("") : unique->key));
    for (const UniqueMetaObjectKey& key : c_keys) {
      const Link link{key, geometry};
      const auto has = [&link](const ModelSet& set) {
        return set.First(set.ByKey(), [&](const Link& other) { return other == link; }) != nullptr;
      };
      RC_ASSERT(store.HasLink(key, geometry, LinkSet::Unique) == has(model.unique));
      RC_ASSERT(store.HasLink(key, geometry, LinkSet::Validated) == has(model.validated));
    }
  }
}

}  // namespace

RC_GTEST_PROP(AStore, AnswersAfterAnyChangesAsAModelInPlainVectorsDoes, ()) {
  const Store store = MakeStore();
  Model model;
  for (const Change& change : *rc::gen::container<std::vector<Change>>(AnyChange())) {
    Apply(change, *store, model);
    Compare(*store, model);
  }
}
