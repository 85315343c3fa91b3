// What a program without C++ of its own loads to use the library: a file of C++ with one function in C's form.

#include <cstddef>
#include <exception>
#include <memory>
#include <vector>

#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/IProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qSys/MemoryStreams.h>

namespace {

using Store = std::unique_ptr<IProductGeometryObjects3D>;

// Too long to live inside their values, so that memory passes between the libraries.
const UniqueMetaObjectKey c_key("the key of a meta object");
const GeometryObject3D c_geometry(GeometryObject3D::c_solid, ComponentPath{8, 7, 6, 5, 4, 3, 2, 1},
                                  MbPath{1, 2, 3, 4, 5, 6, 7, 8}, MbName("the name of a solid"));

Store MakeStore() {
  return CreateProductGeometryObjects3D([](const ProductGeometryObject3D&) { return true; });
}

bool Knows(const IProductGeometryObjects3D& store) {
  return store.HasLink(c_key, c_geometry, LinkSet::Unique) && store.HasLink(c_key, c_geometry, LinkSet::Validated) &&
         store.GetMetaObjectKey(c_geometry, LinkSet::Unique) == c_key &&
         store.GetGeometryObjects(c_key, LinkSet::Validated) == std::vector<GeometryObject3D>{c_geometry};
}

int CountLinks(const IProductGeometryObjects3D& store) {
  int count = 0;
  const auto add = [&count](const ProductGeometryObject3D&) { ++count; };
  store.ForEachLink(add, LinkSet::Unique);
  store.ForEachLink(add, LinkSet::Validated);
  return count;
}

int Use() {
  const Store store = MakeStore();
  store->AddLink(c_key, c_geometry, LinkSet::Both);
  if (!Knows(*store)) {
    return -1;
  }
  MemoryWriter out;
  store->WriteMetaObjectsLinks(out);
  const std::vector<std::byte> section = out.TakeBytes();
  const Store read = MakeStore();
  MemoryReader in(section);
  ReadMetaObjectsLinks(in, *read, nullptr);
  if (!in.good() || in.Position() != section.size() || !Knows(*read)) {
    return -2;
  }
  return CountLinks(*read);
}

}  // namespace

/// How many links a store has that was written by another and read; below 0 where something on the way went wrong.
extern "C" __attribute__((visibility("default"))) int UseLinks() {
  try {
    return Use();
  } catch (const std::exception&) {
    return -3;
  }
}
