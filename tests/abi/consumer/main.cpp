// A program of somebody else: uses the installed headers and libraries only.

#include <cstdio>
#include <string>

#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qSys/MemoryStreams.h>

int main() {
  const auto store = CreateProductGeometryObjects3D([](const ProductGeometryObject3D&) { return true; });
  store->AddLink(UniqueMetaObjectKey("bolt"),
                 GeometryObject3D(GeometryObject3D::c_solid, ComponentPath{1, 2}, MbPath(), MbName("body")),
                 LinkSet::Both);
  MemoryWriter out;
  store->WriteMetaObjectsLinks(out);

  const auto copy = CreateProductGeometryObjects3D([](const ProductGeometryObject3D&) { return true; });
  MemoryReader in(out.Bytes());
  ReadMetaObjectsLinks(in, *copy, nullptr);
  int count = 0;
  copy->ForEachLink([&count](const ProductGeometryObject3D&) { ++count; }, LinkSet::Validated);
  std::printf("%d link\n", count);
}
