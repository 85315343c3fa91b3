#include "bench/StreamBench.h"

#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include <benchmark/benchmark.h>

#include <qProdData3D/ReadMetaObjectsLinks.h>
#include <qSys/MemoryStreams.h>

#include "bench/Results.h"
#include "bench/StoreBench.h"
#include "bench/Streams.h"
#include "bench/contenders/Library.h"

namespace bench {

namespace {

using Bytes = std::vector<std::byte>;

std::vector<Link> InKeyOrder(const Library& library, LinkSet set) {
  std::vector<Link> links;
  const auto take = [&links](const Link& link) { links.push_back(link); };
  if (set == LinkSet::Unique) {
    library.ForEachLink<LinkSet::Unique>(take);
  } else {
    library.ForEachLink<LinkSet::Validated>(take);
  }
  return links;
}

template <class Contender>
std::uint64_t ContentOf(const Contender& contender) {
  Results results(Results::Mode::compare);
  TakeContent(contender, results);
  return results.Get().content;
}

// Reads the section by the library and by the floor, and gives what both come to. Throws Disagreement.
std::uint64_t CompareReading(const Bytes& bytes, const IfMetaProductData* metaData) {
  Library library;
  MemoryReader libraryIn(bytes);
  ReadMetaObjectsLinks(libraryIn, library.Store(), metaData);
  Floor floor;
  MemoryReader floorIn(bytes);
  ReadByFloor(floorIn, floor, metaData);
  const std::uint64_t content = ContentOf(library);
  if (ContentOf(floor) != content) {
    throw Disagreement("ReadMetaObjectsLinks of the library and of the floor give different links");
  }
  return content;
}

}  // namespace

struct StreamBench::Section {
  Section(KeyForm keyForm, std::size_t linkCount)
      : workset(MakeWorkset({Shape::realistic, keyForm, linkCount / 2})), productData(workset.unique.links) {
    Load(library, workset);
    Load(floor, workset);
    uniqueLinks = InKeyOrder(library, LinkSet::Unique);
    validatedLinks = InKeyOrder(library, LinkSet::Validated);
    MemoryWriter out;
    library.Store().WriteMetaObjectsLinks(out);
    bytes = out.TakeBytes();
  }

  std::size_t LinkCount() const { return uniqueLinks.size() + validatedLinks.size(); }

  void WalkFloor() const {
    std::size_t sum = 0;
    const auto look = [&sum](const Link& link) { sum += link.geometry.objectType; };
    floor.ForEachLink<LinkSet::Unique>(look);
    floor.ForEachLink<LinkSet::Validated>(look);
    benchmark::DoNotOptimize(sum);
  }

  Workset workset;
  Occurrences productData;
  Library library;
  Floor floor;
  std::vector<Link> uniqueLinks;
  std::vector<Link> validatedLinks;
  Bytes bytes;
};

StreamBench::StreamBench(KeyForm keyForm, std::size_t linkCount)
    : section(std::make_unique<Section>(keyForm, linkCount)) {}
StreamBench::~StreamBench() = default;

void StreamBench::Compare() const {
  MemoryWriter byCalls;
  WriteByCalls(byCalls, section->uniqueLinks, section->validatedLinks);
  if (byCalls.Bytes() != section->bytes) {
    throw Disagreement("the calls of the writer alone write other bytes than the library");
  }
  const std::uint64_t expected = ContentOf(section->library);
  const IfMetaProductData* const choices[] = {nullptr, &section->productData};
  for (const IfMetaProductData* metaData : choices) {
    if (CompareReading(section->bytes, metaData) != expected) {
      throw Disagreement("ReadMetaObjectsLinks gives other links than were written");
    }
  }
  // What is written has one key for each geometry object, so that nothing is to be repaired. Here each has two, the
  // second of which is its neighbour's.
  std::vector<Link> doubled;
  for (std::size_t i = 0; i < section->uniqueLinks.size(); ++i) {
    const Link& link = section->uniqueLinks[i];
    doubled.push_back({section->uniqueLinks[(i + 1) % section->uniqueLinks.size()].metaKey, link.geometry});
    doubled.push_back(link);
  }
  MemoryWriter ambiguous;
  WriteByCalls(ambiguous, doubled, {});
  CompareReading(ambiguous.Bytes(), &section->productData);
  MemoryReader in(section->bytes);
  ReadByCalls(in);
  if (!in.good() || in.Position() != section->bytes.size()) {
    throw Disagreement("the calls of the reader alone do not read the whole section");
  }
}

std::vector<Job> StreamBench::Jobs() {
  std::vector<Job> jobs;
  const auto add = [&jobs, this](std::string name, std::string contender, std::function<void()> pass) {
    Job job;
    job.name = std::move(name);
    job.contender = std::move(contender);
    job.items = section->LinkCount();
    job.passes = PassesOf(job.items);
    job.pass = std::move(pass);
    jobs.push_back(std::move(job));
  };
  const Section& given = *section;

  const std::string write = "WriteMetaObjectsLinks";
  add(write, "library", [this] {
    MemoryWriter out;
    section->library.Store().WriteMetaObjectsLinks(out);
    benchmark::DoNotOptimize(out.Bytes().data());
  });
  add(write, "calls", [&given] {
    MemoryWriter out;
    WriteByCalls(out, given.uniqueLinks, given.validatedLinks);
    benchmark::DoNotOptimize(out.Bytes().data());
  });
  add(write, "walk", [&given] { given.WalkFloor(); });
  add(write, "memcpy", [&given] {
    const auto copy = std::make_unique_for_overwrite<std::byte[]>(given.bytes.size());
    std::memcpy(copy.get(), given.bytes.data(), given.bytes.size());
    benchmark::DoNotOptimize(copy.get());
    benchmark::ClobberMemory();
  });

  // The stores go after each pass, untimed as those of AddLink do.
  const auto addRead = [&](const std::string& name, const IfMetaProductData* metaData) {
    const auto library = std::make_shared<std::optional<Library>>();
    add(name, "library", [&given, library, metaData] {
      MemoryReader in(given.bytes);
      ReadMetaObjectsLinks(in, (*library)->Store(), metaData);
    });
    jobs.back().before = [library] { library->emplace(); };
    jobs.back().after = [library] { library->reset(); };
    const auto floor = std::make_shared<std::optional<Floor>>();
    add(name, "floor", [&given, floor, metaData] {
      MemoryReader in(given.bytes);
      ReadByFloor(in, **floor, metaData);
    });
    jobs.back().before = [floor] { floor->emplace(); };
    jobs.back().after = [floor] { floor->reset(); };
  };
  addRead("ReadMetaObjectsLinks", nullptr);
  addRead("ReadMetaObjectsLinks/repaired", &given.productData);
  add("ReadMetaObjectsLinks", "calls", [&given] {
    MemoryReader in(given.bytes);
    ReadByCalls(in);
  });
  return jobs;
}

}  // namespace bench
