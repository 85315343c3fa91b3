#include "host/step/MergeAssembly.h"

#include <algorithm>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/model/Positions.h"
#include "host/model/TextForms.h"
#include "host/step/MatchTrees.h"
#include "vocabulary/PropertyNames.h"

namespace host {

namespace {

void SetText(Properties& properties, const std::wstring& name, const std::string& text) {
  if (text.empty()) {
    properties.erase(name);
  } else {
    properties.insert_or_assign(name, SimplePropVal(ToWide(text)));
  }
}

// The calls assume that the two are not equivalent: the store would not end.
void ReplaceInLinks(IProductGeometryObjects3D& links, const GeometryObject3D& from, const GeometryObject3D& to) {
  if (from < to || to < from) {
    links.ReplaceGeometryObject(from, to);
  }
}

// Gives the bodies of one component names that none of those before has.
class BodyNames {
 public:
  explicit BodyNames(const std::vector<Body>& old) {
    for (const Body& body : old) {
      taken.insert(body.objectName);
      last = std::max(last, NumberOf(body));
    }
  }

  // Short, so that the name lives inside every link that names the body.
  MbName Next() {
    MbName name;
    do {
      name = MbName(fmt::format("body-{}", ++last));
    } while (taken.contains(name));
    return name;
  }

 private:
  // The number in the name of a body; 0 for names that were not given here.
  static std::size_t NumberOf(const Body& body) {
    static constexpr std::string_view c_prefix = "body-";
    const std::string_view name = body.objectName.Bytes();
    if (!name.starts_with(c_prefix) || name.size() > c_prefix.size() + 9 ||
        name.find_first_not_of("0123456789", c_prefix.size()) != std::string_view::npos ||
        name.size() == c_prefix.size()) {
      return 0;
    }
    return std::stoul(std::string(name.substr(c_prefix.size())));
  }

  std::set<MbName> taken;
  std::size_t last = 0;
};

class Merge {
 public:
  Merge(Document& target, const StepAssembly& source, std::size_t root)
      : document(target),
        data(target.productData),
        assembly(source),
        before(DocumentTree(target)),
        after(FileTree(source, root)) {}

  MergeReport Run(const ProgressCallback& progress) {
    // The steps that are worth mentioning, in parts of the time that they take: placing, rebuilding, purging.
    merging = ProgressStage(progress, "merging", 10 * after.size());
    productKeys = MatchProducts(data, before, assembly, after);
    match = MatchTrees(before, after, productKeys);
    RemoveGone();
    UpdateProducts();
    PlaceNodes();
    document.components = std::move(components);
    document.bodies = std::move(bodies);
    RemoveUnused();
    NumberNewLines(document);
    RebuildPositionLinks(document);
    merging.Advance(4 * after.size());
    PurgeInvalidLinks(document);
    merging.Advance(after.size());
    report.occurrences = document.components.size();
    report.products = std::set<UniqueMetaObjectKey>(productKeys.begin(), productKeys.end()).size() -
                      (std::count(productKeys.begin(), productKeys.end(), UniqueMetaObjectKey::null) != 0 ? 1 : 0);
    report.bodies = document.BodyCount();
    return std::move(report);
  }

 private:
  bool IsAssembly(std::size_t product) const { return !assembly.products[product].uses.empty(); }

  // ---- what is gone

  void RemoveGone() {
    std::set<UniqueMetaObjectKey> gone;
    for (std::size_t old = 1; old < before.size(); ++old) {
      if (match.fileNodeOf[old] != c_noNode) {
        continue;
      }
      ++report.removed;
      if (match.fileNodeOf[before[old].parent] != c_noNode) {
        Tell("removed", before[old].path, before[old].component->occurrence);
      }
      gone.insert(before[old].component->occurrence);
      ForEachGeometry(old, [this](const GeometryObject3D& geometry) {
        document.links->RemoveGeometryObjectLinks(geometry, LinkSet::Both);
      });
    }
    for (std::size_t old = 1; old < before.size(); ++old) {
      if (match.fileNodeOf[old] != c_noNode) {
        gone.erase(before[old].component->occurrence);
      }
    }
    document.links->RemoveMetaObjectsLinks(gone, LinkSet::Both);
    // What is held goes before its holder, by which the groups that it belongs to are found.
    for (std::size_t old = before.size(); --old > 0;) {
      const UniqueMetaObjectKey& occurrence = before[old].component->occurrence;
      const MetaObject* object = gone.contains(occurrence) ? data.Find(occurrence) : nullptr;
      if (object != nullptr && object->IsOccurrence()) {
        data.Remove(occurrence);
      }
    }
  }

  // The component of a node and its bodies, as the document has them.
  template <class Visitor>
  void ForEachGeometry(std::size_t old, Visitor visit) const {
    visit(ComponentGeometry(before[old].path, *before[old].component));
    const auto found = document.bodies.find(before[old].path);
    if (found != document.bodies.end()) {
      for (const Body& body : found->second) {
        visit(BodyGeometry(before[old].path, body));
      }
    }
  }

  void Tell(const char* what, const ComponentPath& path, const UniqueMetaObjectKey& occurrence) {
    report.changes.push_back(fmt::format("{}: {} {}", what, PathText(path), data.DisplayName(occurrence)));
  }

  // ---- products, embodiments, lines

  void UpdateProducts() {
    std::set<std::size_t> done;
    for (const FileNode& node : after) {
      if (done.insert(node.product).second) {
        UpdateProduct(node.product);
      }
    }
    data.SetRootProduct(productKeys[after.front().product]);
    for (const auto& [key, object] : data.All()) {
      if (object.type == MetaObjectType::groupObject) {
        lines.emplace(std::pair(object.holder, object.product), key);
      }
    }
  }

  void UpdateProduct(std::size_t index) {
    const StepProduct& source = assembly.products[index];
    UniqueMetaObjectKey& key = productKeys[index];
    if (key == UniqueMetaObjectKey::null) {
      key = data.Add(MetaObject());
    }
    MetaObject& product = *data.Find(key);
    product.type = IsAssembly(index) ? MetaObjectType::assemblyProduct : MetaObjectType::partProduct;
    SetText(product.properties, c_marking, source.id);
    SetText(product.properties, c_productName, source.name);
    if (IsAssembly(index) && !IsEmbodimentOf(product.embodiment, key)) {
      MetaObject base;
      base.type = MetaObjectType::embodiment;
      base.product = key;
      product.embodiment = data.Add(std::move(base));
    } else if (!IsAssembly(index) && !(product.embodiment == UniqueMetaObjectKey::null)) {
      product.embodiment = UniqueMetaObjectKey::null;
      for (const UniqueMetaObjectKey& embodiment : data.EmbodimentsOf(key)) {
        document.links->RemoveMetaObjectLinks(embodiment, LinkSet::Both);
        data.Remove(embodiment);
      }
    }
    for (const UniqueMetaObjectKey& embodiment : data.EmbodimentsOf(key)) {
      SetText(data.Find(embodiment)->properties, c_markingBase, source.id.empty() ? source.name : source.id);
    }
  }

  bool IsEmbodimentOf(const UniqueMetaObjectKey& embodiment, const UniqueMetaObjectKey& product) const {
    const MetaObject* object = data.Find(embodiment);
    return object != nullptr && object->type == MetaObjectType::embodiment && object->product == product;
  }

  // A line that is made now is stock where its first occurrence is.
  const UniqueMetaObjectKey& LineOf(const UniqueMetaObjectKey& holder, const UniqueMetaObjectKey& product,
                                    BilletKind billet) {
    const auto [found, isNew] = lines.emplace(std::pair(holder, product), UniqueMetaObjectKey());
    if (isNew) {
      MetaObject line;
      line.type = MetaObjectType::groupObject;
      line.product = product;
      line.holder = holder;
      line.billet = billet;
      found->second = data.Add(std::move(line));
    }
    usedLines.insert(found->second);
    return found->second;
  }

  void RemoveUnused() {
    std::set<UniqueMetaObjectKey> used(productKeys.begin(), productKeys.end());
    std::set<UniqueMetaObjectKey> unused;
    for (const auto& [key, object] : data.All()) {
      const bool isProduct =
          object.type == MetaObjectType::partProduct || object.type == MetaObjectType::assemblyProduct;
      const bool isUnusedLine = object.type == MetaObjectType::groupObject && !usedLines.contains(key);
      const bool isVariantOfGone = object.type == MetaObjectType::embodiment && !used.contains(object.product);
      if ((isProduct && !used.contains(key)) || isUnusedLine || isVariantOfGone) {
        unused.insert(key);
      }
    }
    document.links->RemoveMetaObjectsLinks(unused, LinkSet::Both);
    for (const UniqueMetaObjectKey& key : unused) {
      data.Remove(key);
    }
  }

  // ---- occurrences, components, bodies

  // Where a node of the file stands in the document.
  struct Place {
    ComponentPath path;
    UniqueMetaObjectKey occurrence;
    // The number that the next component within it gets.
    std::uint32_t nextElement = 1;
  };

  void PlaceNodes() {
    places.resize(after.size());
    places[0].nextElement = NextElement(0, document.nextRootElement);
    AddBodies(0, 0);
    merging.Advance(5);
    for (std::size_t fresh = 1; fresh < after.size(); ++fresh) {
      PlaceNode(fresh, match.documentNodeOf[fresh]);
      merging.Advance(5);
    }
    document.nextRootElement = places[0].nextElement;
    for (std::size_t fresh = 1; fresh < after.size(); ++fresh) {
      components.at(places[fresh].path).nextElement = places[fresh].nextElement;
    }
  }

  void PlaceNode(std::size_t fresh, std::size_t old) {
    const FileNode& node = after[fresh];
    Place& place = places[fresh];
    Component component;
    component.objectType =
        IsAssembly(node.product) ? GeometryObject3D::c_assemblyComponent : GeometryObject3D::c_partComponent;
    component.displayName = node.use->generated ? std::string() : node.use->name;
    component.fileId = node.use->id;
    component.placement = node.use->placement;
    if (old == c_noNode) {
      AddNew(fresh);
    } else {
      Keep(fresh, old);
      GeometryObject3D oldGeometry = ComponentGeometry(place.path, *before[old].component);
      ReplaceInLinks(*document.links, oldGeometry, ComponentGeometry(place.path, component));
    }
    component.occurrence = place.occurrence;
    if (old == c_noNode) {
      document.links->AddLink(place.occurrence, ComponentGeometry(place.path, component), LinkSet::Unique);
    }
    components.emplace(place.path, std::move(component));
    AddBodies(fresh, old);
  }

  // Behind every number that is in use, whatever the document says.
  std::uint32_t NextElement(std::size_t old, std::uint32_t stored) const {
    constexpr std::uint32_t c_last = std::numeric_limits<std::uint32_t>::max();
    const std::vector<std::size_t>& children = before[old].children;
    const MbPath::Element greatest = children.empty() ? 0 : before[children.back()].path[0];
    return std::max(stored, greatest == c_last ? c_last : greatest + 1);
  }

  MbPath::Element FreshElement(Place& holder) {
    if (holder.nextElement == std::numeric_limits<std::uint32_t>::max()) {
      throw DocumentError(fmt::format("component {} has no more numbers to give; import the file as a new document",
                                      PathText(holder.path)));
    }
    return holder.nextElement++;
  }

  void AddNew(std::size_t fresh) {
    Place& holder = places[after[fresh].parent];
    Place& place = places[fresh];
    place.path = PathWithin(holder.path, FreshElement(holder));
    place.occurrence = data.Add(Described(fresh, MetaObject()));
    AddToGroups(place.occurrence);
    ++report.added;
    if (after[fresh].parent == 0 || match.documentNodeOf[after[fresh].parent] != c_noNode) {
      Tell("added", place.path, place.occurrence);
    }
  }

  void Keep(std::size_t fresh, std::size_t old) {
    Place& holder = places[after[fresh].parent];
    Place& place = places[fresh];
    place.occurrence = before[old].component->occurrence;
    place.nextElement = NextElement(old, before[old].component->nextElement);
    const bool isInItsPlace = match.fileNodeOf[before[old].parent] == after[fresh].parent;
    if (isInItsPlace) {
      place.path = PathWithin(holder.path, before[old].path[0]);
      ++report.kept;
    } else {
      place.path = PathWithin(holder.path, FreshElement(holder));
      const ComponentPath from = CurrentPath(old);
      MoveLinks(old, from, place.path);
      movedTo.emplace(old, place.path);
      ++report.moved;
      report.changes.push_back(fmt::format("moved: {} to {} {}", PathText(before[old].path), PathText(place.path),
                                           data.DisplayName(place.occurrence)));
    }
    UpdateOccurrence(fresh);
  }

  // What the file says of an occurrence. Stock stays stock; a line and its occurrences are stock together.
  MetaObject Described(std::size_t fresh, MetaObject occurrence) {
    const FileNode& node = after[fresh];
    const bool isAssembly = IsAssembly(node.product);
    occurrence.product = productKeys[node.product];
    occurrence.holder = places[node.parent].occurrence;
    occurrence.embodiment = isAssembly ? data.Find(occurrence.product)->embodiment : UniqueMetaObjectKey();
    if (isAssembly) {
      occurrence.billet = BilletKind::none;
    }
    const UniqueMetaObjectKey& line =
        LineOf(productKeys[after[node.parent].product], occurrence.product, occurrence.billet);
    if (isAssembly) {
      occurrence.type = MetaObjectType::assemblyOccurrence;
      data.Find(line)->billet = BilletKind::none;
    } else {
      if (!(occurrence.groupObject == line)) {
        occurrence.billet = data.Find(line)->billet;
      }
      occurrence.type = occurrence.billet == BilletKind::none ? MetaObjectType::partOccurrence : MetaObjectType::billet;
    }
    occurrence.groupObject = line;
    return occurrence;
  }

  void UpdateOccurrence(std::size_t fresh) {
    const UniqueMetaObjectKey& key = places[fresh].occurrence;
    MetaObject described = Described(fresh, *data.Find(key));
    if (described.groupObject == data.Find(key)->groupObject) {
      *data.Find(key) = std::move(described);
      return;
    }
    // Groups count their members by lines, so it leaves the old ones before its line changes.
    if (const MetaObject* oldLine = data.Find(data.Find(key)->groupObject)) {
      for (const UniqueMetaObjectKey& embodiment : data.EmbodimentsOf(oldLine->holder)) {
        data.RemoveFromGroup(embodiment, key);
      }
    }
    *data.Find(key) = std::move(described);
    AddToGroups(key);
  }

  void AddToGroups(const UniqueMetaObjectKey& occurrence) {
    for (const UniqueMetaObjectKey& embodiment : data.EmbodimentsOf(data.HoldingProduct(*data.Find(occurrence)))) {
      data.AddToGroup(embodiment, occurrence);
    }
  }

  // Where the links of a node stand now: what moved took along what it held at that time.
  ComponentPath CurrentPath(std::size_t old) const {
    const auto moved = movedTo.find(old);
    if (moved != movedTo.end()) {
      return moved->second;
    }
    return old == 0 ? ComponentPath() : PathWithin(CurrentPath(before[old].parent), before[old].path[0]);
  }

  // A sub-assembly goes as a branch where the depth stays; else, and for a part, object by object.
  void MoveLinks(std::size_t old, const ComponentPath& from, const ComponentPath& to) {
    if (from.Count() == to.Count() && !before[old].children.empty()) {
      document.links->ReplaceComponentPath(from, to);
      return;
    }
    ForEachGeometry(old, [&](GeometryObject3D geometry) {
      geometry.componentPath = from;
      GeometryObject3D moved = geometry;
      moved.componentPath = to;
      ReplaceInLinks(*document.links, geometry, moved);
    });
    for (const std::size_t child : before[old].children) {
      if (!movedTo.contains(child)) {
        const MbPath::Element element = before[child].path[0];
        MoveLinks(child, PathWithin(from, element), PathWithin(to, element));
      }
    }
  }

  // The bodies of a node; those that were there keep their names.
  void AddBodies(std::size_t fresh, std::size_t old) {
    static const std::vector<Body> none;
    const StepProduct& product = assembly.products[after[fresh].product];
    const auto found = old == c_noNode ? document.bodies.end() : document.bodies.find(before[old].path);
    const std::vector<Body>& oldBodies = found == document.bodies.end() ? none : found->second;
    std::vector<Body> result = MatchBodies(product.bodies, oldBodies, places[fresh].path);
    if (!result.empty()) {
      bodies.emplace(places[fresh].path, std::move(result));
    }
  }

  // Kind, or 0 for any, and identifier.
  using BodyKey = std::pair<std::uint32_t, std::string>;

  std::vector<Body> MatchBodies(const std::vector<StepBody>& source, const std::vector<Body>& old,
                                const ComponentPath& path) {
    std::vector<Body> result(source.size());
    std::vector<bool> isNew(source.size(), true);
    std::vector<bool> isGone(old.size(), true);
    BodyNames names(old);
    for (std::size_t i = 0; i < source.size(); ++i) {
      result[i].objectType =
          source[i].kind == StepBody::Kind::solid ? GeometryObject3D::c_solid : GeometryObject3D::c_openShell;
      result[i].displayName = source[i].name;
      result[i].fileId = source[i].id;
    }
    const auto pair = [&](auto keyOf) {
      std::map<std::optional<BodyKey>, std::vector<std::size_t>> waiting;
      for (std::size_t i = old.size(); i-- > 0;) {
        if (isGone[i]) {
          waiting[keyOf(old[i])].push_back(i);
        }
      }
      for (std::size_t i = 0; i < result.size(); ++i) {
        const std::optional<BodyKey> key = keyOf(result[i]);
        const auto found = waiting.find(key);
        if (isNew[i] && key && found != waiting.end() && !found->second.empty()) {
          const std::size_t counterpart = found->second.back();
          found->second.pop_back();
          isNew[i] = isGone[counterpart] = false;
          TakeOver(old[counterpart], result[i], path, names);
        }
      }
    };
    const auto withId = [](std::uint32_t kind, const Body& body) {
      return body.fileId.empty() ? std::nullopt : std::optional(BodyKey(kind, body.fileId));
    };
    pair([&withId](const Body& body) { return withId(body.objectType, body); });
    pair([&withId](const Body& body) { return withId(0, body); });
    pair([](const Body& body) { return std::optional(BodyKey(body.objectType, std::string())); });
    pair([](const Body&) { return std::optional(BodyKey()); });

    for (std::size_t i = 0; i < result.size(); ++i) {
      if (isNew[i]) {
        result[i].objectName = names.Next();
      }
    }
    for (std::size_t i = 0; i < old.size(); ++i) {
      if (isGone[i]) {
        document.links->RemoveGeometryObjectLinks(BodyGeometry(path, old[i]), LinkSet::Both);
      }
    }
    return result;
  }

  // A body of the same kind keeps its name. One of another kind has been exchanged for it and takes over its links.
  void TakeOver(const Body& old, Body& fresh, const ComponentPath& path, BodyNames& names) {
    if (old.objectType == fresh.objectType) {
      fresh.objectName = old.objectName;
    } else {
      fresh.objectName = names.Next();
      ReplaceInLinks(*document.links, BodyGeometry(path, old), BodyGeometry(path, fresh));
    }
  }

  Document& document;
  ProductData& data;
  const StepAssembly& assembly;
  std::vector<DocumentNode> before;
  std::vector<FileNode> after;
  TreeMatch match;
  MergeReport report;

  // By product of the file.
  std::vector<UniqueMetaObjectKey> productKeys;
  // By assembly product and product used in it.
  std::map<std::pair<UniqueMetaObjectKey, UniqueMetaObjectKey>, UniqueMetaObjectKey> lines;
  // Those that the file has.
  std::set<UniqueMetaObjectKey> usedLines;
  // By node of the file.
  std::vector<Place> places;
  // Nodes of the document that moved on their own, and where to.
  std::map<std::size_t, ComponentPath> movedTo;
  // What the document will have. The old ones stay until the end: the trees borrow them.
  Document::Components components;
  Document::Bodies bodies;
  ProgressStage merging;
};

// The file with one root.
StepAssembly WithOneRoot(StepAssembly assembly, const std::string& name) {
  if (assembly.roots.size() > 1) {
    StepProduct root;
    root.name = name;
    for (const std::size_t product : assembly.roots) {
      root.uses.push_back({product, assembly.products[product].name, {}, c_stepIdentity, true});
    }
    assembly.products.push_back(std::move(root));
    assembly.roots = {assembly.products.size() - 1};
  }
  return assembly;
}

}  // namespace

MergeReport MergeAssembly(Document& document, const StepAssembly& assembly, const std::string& name,
                          const ProgressCallback& progress) {
  if (const auto excess = ExcessOf(assembly)) {
    throw DocumentError(*excess);
  }
  const StepAssembly source = WithOneRoot(assembly, name);
  return Merge(document, source, source.roots.front()).Run(progress);
}

}  // namespace host
