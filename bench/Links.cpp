#include "bench/Links.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <random>
#include <utility>

namespace bench {

namespace {

constexpr std::size_t c_branches = 10;
constexpr std::size_t c_maxDepth = 5;
constexpr std::size_t c_assemblyEvery = 8;
constexpr std::size_t c_maxBodies = 50;
// Of one key, and of one geometry object, in the hostile shape.
constexpr std::size_t c_maxHub = 100'000;

class Random {
 public:
  explicit Random(std::uint64_t seed) : engine(seed) {}

  std::size_t Below(std::size_t limit) { return engine() % limit; }

  template <class Value>
  void Shuffle(std::vector<Value>& values) {
    std::shuffle(values.begin(), values.end(), engine);
  }

 private:
  std::mt19937_64 engine;
};

class Keys {
 public:
  Keys(KeyForm keyForm, std::uint64_t seed) : form(keyForm), random(seed) {}

  Key Next() { return Key(form == KeyForm::generated ? Generated() : Uuid()); }

 private:
  std::string Generated() {
    static constexpr std::string_view c_characters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz.";
    std::string key(Key::c_generatedLength, '\0');
    for (char& character : key) {
      character = c_characters[random.Below(c_characters.size())];
    }
    return key;
  }
  std::string Uuid() {
    static constexpr std::string_view c_digits = "0123456789abcdef";
    std::string key = "xxxxxxxx-xxxx-4xxx-axxx-xxxxxxxxxxxx";
    for (char& character : key) {
      character = character == 'x' ? c_digits[random.Below(c_digits.size())] : character;
    }
    return key;
  }

  KeyForm form;
  Random random;
};

struct Place {
  ComponentPath path;
  bool isAssembly = false;
};

// The components of a product: c_branches assemblies below the root, each of which holds about as much as the others.
class Tree {
 public:
  explicit Tree(Random& source) : random(source) {}

  Place Next() {
    Branch& branch = branches[made++ % c_branches];
    if (branch.assemblies.empty()) {
      return Add(branch, ComponentPath{static_cast<MbPath::Element>(made)}, true);
    }
    Holder& holder = branch.assemblies[random.Below(branch.assemblies.size())];
    ComponentPath path{++holder.lastElement};
    for (const MbPath::Element element : holder.path) {
      path.Append(element);
    }
    const bool isAssembly = path.Count() < c_maxDepth && random.Below(c_assemblyEvery) == 0;
    return Add(branch, std::move(path), isAssembly);
  }

 private:
  struct Holder {
    ComponentPath path;
    MbPath::Element lastElement = 0;
  };
  struct Branch {
    std::vector<Holder> assemblies;
  };

  static Place Add(Branch& branch, ComponentPath path, bool isAssembly) {
    if (isAssembly) {
      branch.assemblies.push_back({path, 0});
    }
    return {std::move(path), isAssembly};
  }

  Random& random;
  std::size_t made = 0;
  Branch branches[c_branches];
};

Geometry Component(const Place& place) {
  return Geometry(place.isAssembly ? Geometry::c_assemblyComponent : Geometry::c_partComponent, place.path, MbPath(),
                  MbName());
}

Geometry BodyOf(const ComponentPath& path, std::size_t number) {
  return Geometry(Geometry::c_solid, path, MbPath(), MbName("body-" + std::to_string(number)));
}

// Collects links together with the keys and geometry objects that occur in them.
class Collector {
 public:
  Collector(SetLinks& target, std::size_t linkCount) : set(target), size(linkCount) { set.links.reserve(size); }

  bool IsFull() const { return set.links.size() >= size; }
  std::size_t Left() const { return size - set.links.size(); }

  void Add(const Key& key, const Geometry& geometry) {
    if (!IsFull()) {
      set.links.push_back({key, geometry});
    }
  }
  void NoteKey(const Key& key) { set.keys.push_back(key); }
  void NoteGeometry(const Geometry& geometry) { set.geometry.push_back(geometry); }

 private:
  SetLinks& set;
  std::size_t size;
};

void AddComponents(Collector& links, Tree& tree, Keys& keys) {
  while (!links.IsFull()) {
    const Key occurrence = keys.Next();
    const Geometry component = Component(tree.Next());
    links.NoteKey(occurrence);
    links.NoteGeometry(component);
    links.Add(occurrence, component);
  }
}

// Bodies of components, each linked to the occurrence and to its line.
void AddBodies(Collector& links, Tree& tree, Keys& keys, Random& random) {
  while (!links.IsFull()) {
    const ComponentPath path = tree.Next().path;
    const Key occurrence = keys.Next();
    const Key line = keys.Next();
    const std::size_t bodies = std::min(random.Below(c_maxBodies) + 1, (links.Left() + 1) / 2);
    links.NoteKey(occurrence);
    if (links.Left() > 1) {
      links.NoteKey(line);
    }
    for (std::size_t body = 1; body <= bodies; ++body) {
      const Geometry geometry = BodyOf(path, body);
      links.NoteGeometry(geometry);
      links.Add(occurrence, geometry);
      links.Add(line, geometry);
    }
  }
}

// Returns a link of both.
Link AddHubs(Collector& links, Tree& tree, Keys& keys) {
  const std::size_t count = std::min(c_maxHub, links.Left() / 2);
  const Key hubKey = keys.Next();
  links.NoteKey(hubKey);
  for (std::size_t i = 0; i < count; ++i) {
    const Geometry geometry = BodyOf(tree.Next().path, i % c_maxBodies + 1);
    links.NoteGeometry(geometry);
    links.Add(hubKey, geometry);
  }
  const Geometry hub(Geometry::c_solid, ComponentPath{1'000'000, 3}, MbPath(), MbName("body-1"));
  links.NoteGeometry(hub);
  for (std::size_t i = 0; i < count; ++i) {
    const Key key = keys.Next();
    links.NoteKey(key);
    links.Add(key, hub);
  }
  return {hubKey, hub};
}

template <class Value>
void ShuffleAndCut(std::vector<Value>& values, Random& random) {
  random.Shuffle(values);
  values.resize(std::min(values.size(), c_maxSample));
  values.shrink_to_fit();
}

// In place of another where the cut has dropped it: what is asked for has to be among what is drawn.
template <class Value>
void PutFirst(std::vector<Value>& values, const Value& wanted) {
  const auto found = std::find(values.begin(), values.end(), wanted);
  if (found != values.end()) {
    std::iter_swap(values.begin(), found);
  } else {
    values.front() = wanted;
  }
}

// A geometry object of the same place with a name that none has.
Geometry Unlinked(const Geometry& linked) {
  Geometry result = linked;
  result.objectName = MbName(std::string(linked.objectName.Bytes()) + "x");
  return result;
}

void Finish(SetLinks& set, Keys& keys, Random& random, const std::optional<Link>& hubs = {}) {
  set.keyCount = set.keys.size();
  random.Shuffle(set.links);
  ShuffleAndCut(set.keys, random);
  ShuffleAndCut(set.geometry, random);
  if (hubs) {
    PutFirst(set.keys, hubs->metaKey);
    PutFirst(set.geometry, hubs->geometry);
  }
  // A random part already, and asked for in another order than the one of entry.
  set.pairs.assign(set.links.begin(),
                   set.links.begin() + static_cast<std::ptrdiff_t>(std::min(set.links.size(), c_maxSample)));
  random.Shuffle(set.pairs);
  for (std::size_t i = 0; i < set.keys.size(); ++i) {
    set.missingKeys.push_back(keys.Next());
  }
  for (const Geometry& geometry : set.geometry) {
    set.missingGeometry.push_back(Unlinked(geometry));
  }
  for (const Link& pair : set.pairs) {
    set.missingPairs.push_back({pair.metaKey, Unlinked(pair.geometry)});
  }
}

}  // namespace

std::string_view NameOf(Shape shape) {
  return shape == Shape::realistic ? "realistic" : "hostile";
}

std::string_view NameOf(KeyForm form) {
  return form == KeyForm::generated ? "15" : "36";
}

Workset MakeWorkset(const Case& which) {
  Workset result;
  result.which = which;
  Random random(which.size);
  Keys keys(which.keyForm, which.size + 1);
  if (which.shape == Shape::realistic) {
    Tree tree(random);
    Collector links(result.unique, which.size);
    AddComponents(links, tree, keys);
    Finish(result.unique, keys, random);
  }
  Tree tree(random);
  Collector links(result.validated, which.size);
  std::optional<Link> hubs;
  if (which.shape == Shape::hostile) {
    hubs = AddHubs(links, tree, keys);
  }
  AddBodies(links, tree, keys, random);
  Finish(result.validated, keys, random, hubs);
  return result;
}

bool AcceptAny(const Link&) {
  return true;
}

bool AcceptHalf(const Link& link) {
  const auto lastOf = [](std::string_view bytes) { return bytes.empty() ? '\0' : bytes.back(); };
  return ((lastOf(link.metaKey.Bytes()) ^ lastOf(link.geometry.objectName.Bytes())) & 1) == 0;
}

}  // namespace bench
