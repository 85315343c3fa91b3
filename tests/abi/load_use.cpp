// A program with a C++ runtime of its own that loads the library named by the argument, uses a store through its
// virtual table, unloads the library, and does all that again. Prints how many links the store had each time. Ends
// with 0 when the library was gone from memory after each unloading.

#include <cstdio>
#include <memory>
#include <string>

#include <dlfcn.h>

#include <qProdData3D/IProductGeometryObjects3D.h>

namespace {

using Create = std::unique_ptr<IProductGeometryObjects3D>(IProductGeometryObjects3D::LinkValidator);

constexpr const char* c_create = "_Z30CreateProductGeometryObjects3DSt8functionIFbRK23ProductGeometryObject3DEE";

int UseStore(void* library) {
  auto* create = reinterpret_cast<Create*>(dlsym(library, c_create));
  if (create == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return -1;
  }
  const auto store = create([](const ProductGeometryObject3D&) { return true; });
  for (MbPath::Element element = 1; element <= 100; ++element) {
    store->AddLink(UniqueMetaObjectKey("key" + std::to_string(element)),
                   GeometryObject3D(GeometryObject3D::c_solid, ComponentPath{element}, MbPath(), MbName("body")),
                   LinkSet::Both);
  }
  store->ReplaceComponentPath(ComponentPath{7}, ComponentPath{700});
  store->RemoveMetaObjectLinks(UniqueMetaObjectKey("key8"), LinkSet::Both);
  store->RegenerateMetaObjectKeys();
  int count = 0;
  store->ForEachLink([&count](const ProductGeometryObject3D&) { ++count; }, LinkSet::Unique);
  return count;
}

}  // namespace

int main(int, char** arguments) {
  for (int loading = 0; loading < 2; ++loading) {
    void* library = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
      std::fprintf(stderr, "%s\n", dlerror());
      return 1;
    }
    const int count = UseStore(library);
    dlclose(library);
    if (dlopen(arguments[1], RTLD_NOW | RTLD_NOLOAD) != nullptr) {
      std::fprintf(stderr, "still loaded\n");
      return 1;
    }
    std::printf("%d links\n", count);
  }
}
