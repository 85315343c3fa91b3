#include "bench/contenders/GraphNodes.h"

#include <map>
#include <utility>

#include <Standard_GUID.hxx>
#include <TDF_Data.hxx>
#include <TDF_Label.hxx>
#include <TDF_TagSource.hxx>
#include <XCAFDoc_GraphNode.hxx>

namespace bench {

namespace {

using Node = Handle(XCAFDoc_GraphNode);

const Standard_GUID& GraphOf(LinkSet set) {
  static const Standard_GUID unique("5b896afc-3adf-11d4-b9b7-0060b0ee281b");
  static const Standard_GUID validated("5b896afd-3adf-11d4-b9b7-0060b0ee281b");
  return set == LinkSet::Unique ? unique : validated;
}

bool AreLinked(const Node& key, const Node& geometry) {
  return key->NbChildren() <= geometry->NbFathers() ? key->IsFather(geometry) : geometry->IsChild(key);
}

void Unlink(const Node& key, const Node& geometry) {
  if (key->NbChildren() <= geometry->NbFathers()) {
    key->UnSetChild(geometry);
  } else {
    geometry->UnSetFather(key);
  }
}

}  // namespace

// The labels, and which value each stands for. The value of a label is found by its tag: as an attribute of its own it
// would be there twice, since the maps have it already.
class GraphNodes::Labels {
 public:
  template <class Value>
  using ByValue = std::map<Value, TDF_Label>;

  Node Find(LinkSet set, const Key& key) const { return FindIn(set, keys, key); }
  Node Find(LinkSet set, const Geometry& geometry) const { return FindIn(set, geometryObjects, geometry); }
  Node Make(LinkSet set, const Key& key) { return MakeIn(set, keys, keySection, keyByTag, key); }
  Node Make(LinkSet set, const Geometry& geometry) {
    return MakeIn(set, geometryObjects, geometrySection, geometryByTag, geometry);
  }

  const Key& KeyOf(const Node& node) const { return *keyByTag[TagOf(node)]; }
  const Geometry& GeometryOf(const Node& node) const { return *geometryByTag[TagOf(node)]; }
  const ByValue<Key>& AllKeys() const { return keys; }

 private:
  static std::size_t TagOf(const Node& node) { return static_cast<std::size_t>(node->Label().Tag()) - 1; }

  template <class Value>
  static Node FindIn(LinkSet set, const ByValue<Value>& values, const Value& value) {
    const auto found = values.find(value);
    Node node;
    if (found != values.end()) {
      found->second.FindAttribute(GraphOf(set), node);
    }
    return node;
  }

  template <class Value>
  static Node MakeIn(LinkSet set, ByValue<Value>& values, const TDF_Label& section, std::vector<const Value*>& byTag,
                     const Value& value) {
    auto found = values.lower_bound(value);
    if (found == values.end() || value < found->first) {
      found = values.emplace_hint(found, value, TDF_TagSource::NewChild(section));
      byTag.push_back(&found->first);
    }
    return XCAFDoc_GraphNode::Set(found->second, GraphOf(set));
  }

  Handle(TDF_Data) data = new TDF_Data;
  TDF_Label keySection = data->Root().FindChild(1);
  TDF_Label geometrySection = data->Root().FindChild(2);
  ByValue<Key> keys;
  ByValue<Geometry> geometryObjects;
  // Tags are given from 1 on.
  std::vector<const Key*> keyByTag;
  std::vector<const Geometry*> geometryByTag;
};

GraphNodes::GraphNodes() : labels(std::make_unique<Labels>()) {}
GraphNodes::GraphNodes(GraphNodes&&) noexcept = default;
GraphNodes::~GraphNodes() = default;

void GraphNodes::AddUnique(const Key& key, const Geometry& geometry) {
  const Node child = labels->Make(LinkSet::Unique, geometry);
  if (child->NbFathers() > 0) {
    const Node father = child->GetFather(1);
    father->UnSetChild(child);
  }
  const Node father = labels->Make(LinkSet::Unique, key);
  if (father->NbChildren() == 0) {
    father->SetChild(child);
    child->SetFather(father);
  }
}

void GraphNodes::AddValidated(const Key& key, const Geometry& geometry) {
  if (!validator(Link{key, geometry})) {
    return;
  }
  const Node father = labels->Make(LinkSet::Validated, key);
  const Node child = labels->Make(LinkSet::Validated, geometry);
  father->SetChild(child);
  child->SetFather(father);
}

bool GraphNodes::HasLinkIn(LinkSet set, const Key& key, const Geometry& geometry) const {
  const Node father = labels->Find(set, key);
  const Node child = father.IsNull() ? Node() : labels->Find(set, geometry);
  return !child.IsNull() && AreLinked(father, child) && labels->GeometryOf(child) == geometry;
}

const Key& GraphNodes::FirstKey(LinkSet set, const Geometry& geometry) const {
  const Node child = labels->Find(set, geometry);
  return child.IsNull() || child->NbFathers() == 0 ? Key::null : labels->KeyOf(child->GetFather(1));
}

std::vector<Key> GraphNodes::GetMetaObjectKeys(const Geometry& geometry) const {
  std::vector<Key> result;
  const Node child = labels->Find(LinkSet::Validated, geometry);
  if (!child.IsNull()) {
    result.reserve(static_cast<std::size_t>(child->NbFathers()));
    for (int i = 1; i <= child->NbFathers(); ++i) {
      result.push_back(labels->KeyOf(child->GetFather(i)));
    }
  }
  return result;
}

std::vector<Geometry> GraphNodes::GeometryOf(LinkSet set, const Key& key) const {
  std::vector<Geometry> result;
  const Node father = labels->Find(set, key);
  if (!father.IsNull()) {
    result.reserve(static_cast<std::size_t>(father->NbChildren()));
    for (int i = 1; i <= father->NbChildren(); ++i) {
      result.push_back(labels->GeometryOf(father->GetChild(i)));
    }
  }
  return result;
}

void GraphNodes::RemoveFrom(LinkSet set, const Key& key, const Geometry& geometry) {
  const Node father = labels->Find(set, key);
  const Node child = father.IsNull() ? Node() : labels->Find(set, geometry);
  if (!child.IsNull() && AreLinked(father, child)) {
    Unlink(father, child);
  }
}

void GraphNodes::Walk(LinkSet set, const std::function<void(const Link&)>& visit) const {
  for (const auto& [key, label] : labels->AllKeys()) {
    for (const Geometry& geometry : GeometryOf(set, key)) {
      visit(Link{key, geometry});
    }
  }
}

}  // namespace bench
