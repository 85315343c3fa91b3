#include "host/step/ImportAssembly.h"

#include <map>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/HostError.h"
#include "host/model/TextForms.h"
#include "vocabulary/PropertyNames.h"

namespace host {

namespace {

void SetText(Properties& properties, const std::wstring& name, const std::string& text) {
  if (!text.empty()) {
    properties[name] = SimplePropVal(ToWide(text));
  }
}

// What is made once for each product, however often it is used.
struct ImportedProduct {
  UniqueMetaObjectKey key;
  UniqueMetaObjectKey embodiment;
  // By the product used.
  std::map<std::size_t, UniqueMetaObjectKey> groupObjects;
};

// A component whose uses are still to be walked.
struct OpenComponent {
  std::size_t product;
  ComponentPath path;
  UniqueMetaObjectKey occurrence;
};

class Import {
 public:
  Import(const StepAssembly& source, Document& target) : assembly(source), document(target) {
    imported.resize(assembly.products.size());
  }

  void Run(std::size_t root) {
    document.productData.SetRootProduct(ProductOf(root).key);
    AddBodies(assembly.products[root], ComponentPath());
    document.nextRootElement = static_cast<std::uint32_t>(assembly.products[root].uses.size() + 1);
    // A list in place of recursion, since a file decides how deep the tree is.
    std::vector<OpenComponent> open{{root, ComponentPath(), UniqueMetaObjectKey::null}};
    while (!open.empty()) {
      const OpenComponent holder = std::move(open.back());
      open.pop_back();
      std::uint32_t element = 0;
      for (const StepUse& use : assembly.products[holder.product].uses) {
        open.push_back(AddOccurrence(holder, use, ++element));
      }
    }
  }

  std::size_t ProductCount() const { return productCount; }

 private:
  bool IsAssembly(std::size_t product) const { return !assembly.products[product].uses.empty(); }

  ImportedProduct& ProductOf(std::size_t index) {
    ImportedProduct& product = imported[index];
    if (!(product.key == UniqueMetaObjectKey::null)) {
      return product;
    }
    ++productCount;
    const StepProduct& source = assembly.products[index];
    MetaObject object;
    object.type = IsAssembly(index) ? MetaObjectType::assemblyProduct : MetaObjectType::partProduct;
    SetText(object.properties, c_marking, source.id);
    SetText(object.properties, c_productName, source.name);
    product.key = document.productData.Add(std::move(object));
    if (IsAssembly(index)) {
      AddEmbodiment(source, product);
    }
    return product;
  }

  void AddEmbodiment(const StepProduct& source, ImportedProduct& product) {
    MetaObject embodiment;
    embodiment.type = MetaObjectType::embodiment;
    embodiment.product = product.key;
    SetText(embodiment.properties, c_marking, source.id.empty() ? source.name : source.id);
    product.embodiment = document.productData.Add(std::move(embodiment));
  }

  const UniqueMetaObjectKey& GroupObjectOf(std::size_t holder, std::size_t used) {
    UniqueMetaObjectKey& key = imported[holder].groupObjects[used];
    if (key == UniqueMetaObjectKey::null) {
      MetaObject object;
      object.type = MetaObjectType::groupObject;
      object.product = ProductOf(used).key;
      object.holder = imported[holder].key;
      key = document.productData.Add(std::move(object));
    }
    return key;
  }

  OpenComponent AddOccurrence(const OpenComponent& holder, const StepUse& use, std::uint32_t element) {
    const StepProduct& product = assembly.products[use.product];
    MetaObject object;
    object.type = IsAssembly(use.product) ? MetaObjectType::assemblyOccurrence : MetaObjectType::partOccurrence;
    object.product = ProductOf(use.product).key;
    object.holder = holder.occurrence;
    object.embodiment = imported[use.product].embodiment;
    const UniqueMetaObjectKey occurrence = document.productData.Add(std::move(object));
    document.productData.AllGroups()[imported[holder.product].embodiment].insert(occurrence);

    Component component;
    component.objectType =
        IsAssembly(use.product) ? GeometryObject3D::c_assemblyComponent : GeometryObject3D::c_partComponent;
    component.occurrence = occurrence;
    component.displayName = use.generated ? std::string() : use.name;
    component.fileId = use.id;
    component.placement = use.placement;
    component.nextElement = static_cast<std::uint32_t>(product.uses.size() + 1);
    const ComponentPath path = PathWithin(holder.path, element);
    document.components.emplace(path, component);
    document.links->AddLink(occurrence, ComponentGeometry(path, component), LinkSet::Unique);

    const UniqueMetaObjectKey& groupObject = GroupObjectOf(holder.product, use.product);
    for (const Body& body : AddBodies(product, path)) {
      const GeometryObject3D geometry = BodyGeometry(path, body);
      document.links->AddLink(occurrence, geometry, LinkSet::Validated);
      document.links->AddLink(groupObject, geometry, LinkSet::Validated);
    }
    return {use.product, path, occurrence};
  }

  // Paths have the outermost component last, so the new element stands in front.
  static ComponentPath PathWithin(const ComponentPath& holder, std::uint32_t element) {
    ComponentPath path;
    path.Append(element);
    for (const MbPath::Element outer : holder) {
      path.Append(outer);
    }
    return path;
  }

  const std::vector<Body>& AddBodies(const StepProduct& product, const ComponentPath& path) {
    static const std::vector<Body> none;
    if (product.bodies.empty()) {
      return none;
    }
    std::vector<Body>& bodies = document.bodies[path];
    for (const StepBody& source : product.bodies) {
      Body body;
      body.objectType =
          source.kind == StepBody::Kind::solid ? GeometryObject3D::c_solid : GeometryObject3D::c_openShell;
      // Numbered in the order of the file; short, so that it lives inside every link that names the body.
      body.objectName = MbName(fmt::format("body-{}", bodies.size() + 1));
      body.displayName = source.name;
      body.fileId = source.id;
      bodies.push_back(std::move(body));
    }
    return bodies;
  }

  const StepAssembly& assembly;
  Document& document;
  std::vector<ImportedProduct> imported;
  std::size_t productCount = 0;
};

}  // namespace

std::unique_ptr<Document> ImportAssembly(const StepAssembly& assembly, const std::string& name, ImportCounts& counts) {
  const std::uint64_t occurrences = CountStepOccurrences(assembly);
  if (occurrences > c_maxOccurrences) {
    throw HostError(fmt::format("more than {} occurrences; import the sub-assemblies one by one", c_maxOccurrences));
  }
  StepAssembly withRoot;
  const StepAssembly* source = &assembly;
  if (assembly.roots.size() > 1) {
    withRoot = assembly;
    StepProduct root;
    root.name = name;
    for (const std::size_t product : assembly.roots) {
      root.uses.push_back({product, assembly.products[product].name, {}, c_stepIdentity, true});
    }
    withRoot.products.push_back(std::move(root));
    withRoot.roots = {withRoot.products.size() - 1};
    source = &withRoot;
  }
  auto document = std::make_unique<Document>();
  Import import(*source, *document);
  import.Run(source->roots.front());
  counts = {document->components.size(), import.ProductCount(), document->BodyCount()};
  return document;
}

}  // namespace host
