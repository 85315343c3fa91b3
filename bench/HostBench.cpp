#include "bench/HostBench.h"

#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <set>
#include <string>
#include <utility>

#include <benchmark/benchmark.h>

#include <qProdData3D/CreateProductGeometryObjects3D.h>
#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qProdData3D/meta_3d.h>
#include <qSys/MemoryStreams.h>

#include "bench/Documents.h"
#include "bench/Links.h"
#include "bench/Results.h"
#include "bench/StoreBench.h"
#include "host/model/Aggregator.h"
#include "host/model/Document.h"
#include "host/model/ModelDocument.h"
#include "host/storage/DocumentFile.h"
#include "host/storage/LinksSection.h"

namespace bench {

namespace {

// A folder of its own among the temporary files, removed with what is in it.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = std::filesystem::temp_directory_path() / "qprod_bench_XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("no folder for temporary files");
    }
    path = name;
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }

  std::filesystem::path path;
};

std::uint64_t ContentOf(const IProductGeometryObjects3D& store, std::initializer_list<LinkSet> sets) {
  Results results(Results::Mode::compare);
  for (const LinkSet set : sets) {
    store.ForEachLink([&results, set](const Link& link) { results.TakeContent(set, link); }, set);
  }
  return results.Get().content;
}

}  // namespace

struct HostBench::Documents {
  explicit Documents(std::size_t linkCount) {
    MakeDocument(document, linkCount);
    view = std::make_unique<host::ModelDocument>(document, document.productData.RootEmbodiment());
    for (const auto& [path, bodiesOfComponent] : document.bodies) {
      for (const host::Body& body : bodiesOfComponent) {
        bodies.push_back(host::BodyGeometry(path, body).ToWrapper(*view, nullptr));
      }
    }
    section = host::WriteLinks(*document.links, document.linksVersions);
    host::SaveDocument(document, folder.path / "read.qdoc");
  }

  void LinkPositions(IProductGeometryObjects3D& store) const {
    meta_3d::SetPositionsMetaLinks(*view, document.productData, store);
  }

  std::size_t CountPositions() const {
    const host::Aggregator aggregator({&document.productData});
    std::size_t count = 0;
    for (const CompTrObject<IfSomething>& body : bodies) {
      count += meta_3d::GetPositionValues(aggregator, *document.links, body).size();
    }
    return count;
  }

  std::unique_ptr<IProductGeometryObjects3D> ReadSection() const {
    auto store = CreateProductGeometryObjects3D(AcceptAny);
    MemoryReader in(section.bytes, section.versions);
    ReadMetaObjectsLinks(in, *store, &document.productData);
    return store;
  }

  ScratchFolder folder;
  host::Document document;
  std::unique_ptr<host::ModelDocument> view;
  std::vector<CompTrObject<IfSomething>> bodies;
  host::Stream section;
};

HostBench::HostBench(std::size_t linkCount) : documents(std::make_unique<Documents>(linkCount)) {}
HostBench::~HostBench() = default;

void HostBench::Compare() const {
  const Documents& given = *documents;
  const auto store = CreateProductGeometryObjects3D(AcceptAny);
  given.LinkPositions(*store);
  if (ContentOf(*store, {LinkSet::Validated}) != ContentOf(*given.document.links, {LinkSet::Validated})) {
    throw Disagreement("SetPositionsMetaLinks makes other links than the import did");
  }
  if (given.CountPositions() != given.bodies.size()) {
    throw Disagreement("GetPositionValues does not give each body one position");
  }
  const auto opened = host::LoadDocument(given.folder.path / "read.qdoc");
  const auto both = {LinkSet::Unique, LinkSet::Validated};
  if (ContentOf(*opened->links, both) != ContentOf(*given.document.links, both)) {
    throw Disagreement("a document that was opened has other links than the one that was saved");
  }
}

std::vector<Job> HostBench::Jobs() {
  std::vector<Job> jobs;
  const Documents& given = *documents;
  const std::size_t links = CountLinks(given.document);
  const auto add = [&jobs](std::string name, std::string contender, std::size_t items, std::function<void()> pass) {
    Job job;
    job.name = std::move(name);
    job.contender = std::move(contender);
    job.items = items;
    job.passes = PassesOf(items);
    job.pass = std::move(pass);
    job.isWallTime = true;
    jobs.push_back(std::move(job));
  };

  const auto store = std::make_shared<std::unique_ptr<IProductGeometryObjects3D>>();
  add("SetPositionsMetaLinks", "library", 2 * given.bodies.size(), [&given, store] { given.LinkPositions(**store); });
  jobs.back().before = [store] { *store = CreateProductGeometryObjects3D(AcceptAny); };
  jobs.back().after = [store] { store->reset(); };
  add("GetPositionValues", "library", given.bodies.size(),
      [&given] { benchmark::DoNotOptimize(given.CountPositions()); });

  const auto opened = std::make_shared<std::unique_ptr<host::Document>>();
  add("OpenDocument", "host", links,
      [&given, opened] { *opened = host::LoadDocument(given.folder.path / "read.qdoc"); });
  jobs.back().after = [opened] { opened->reset(); };
  add("OpenDocument", "library", links, [&given, store] { *store = given.ReadSection(); });
  jobs.back().after = [store] { store->reset(); };
  add("SaveDocument", "host", links,
      [&given] { host::SaveDocument(given.document, given.folder.path / "written.qdoc"); });
  return jobs;
}

void SaveNewDocument(std::size_t linkCount, const std::filesystem::path& file) {
  host::Document document;
  MakeDocument(document, linkCount);
  host::SaveDocument(document, file);
}

void OpenDocument(const std::filesystem::path& file) {
  const auto document = host::LoadDocument(file);
  std::printf("%zu\n", CountLinks(*document));
}

}  // namespace bench
