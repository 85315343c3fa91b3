#include "bench/Memory.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <malloc.h>

#include "bench/Allocations.h"
#include "bench/Links.h"
#include "bench/StoreBench.h"
#include "bench/contenders/Bimap.h"
#include "bench/contenders/Floor.h"
#include "bench/contenders/Library.h"
#include "bench/contenders/Multimaps.h"
#include "bench/contenders/Sqlite.h"
#ifdef QPD_BENCH_OCCT
#include "bench/contenders/GraphNodes.h"
#endif

namespace bench {

namespace {

constexpr std::size_t c_maxLookedUp = 100'000;

class MemoryTable {
 public:
  explicit MemoryTable(const std::filesystem::path& path) : out(path) {
    if (!out) {
      throw std::runtime_error("cannot write " + path.string());
    }
    out << R"({"stores": [)";
  }

  void End(std::size_t extraAllocations) {
    out << "\n],\n"
        << R"("extraAllocations": )" << extraAllocations << "}\n";
  }

  template <LinkSet set, class Contender>
  void Measure(const Workset& workset) {
    const std::vector<Link>& links = workset.Of<set>().links;
    // What is free again after the contender before does not count, wherever it lies.
    malloc_trim(0);
    const std::size_t before = AllocatedBytes();
    Contender contender;
    const AllocationCount allocations;
    AddAll<set>(contender, links);
    const std::size_t count = allocations.Get();
    const std::size_t bytes = AllocatedBytes() - before;
    const auto perLink = [&links](std::size_t value) {
      return static_cast<double>(value) / static_cast<double>(links.size());
    };
    out << (isFirst ? "\n" : ",\n") << R"(  {"contender": ")" << Contender::c_name << R"(", "set": ")"
        << (set == LinkSet::Unique ? "unique" : "validated") << R"(", "keys": )" << NameOf(workset.which.keyForm)
        << R"(, "links": )" << links.size() << R"(, "bytes": )" << perLink(bytes) << R"(, "allocations": )"
        << perLink(count) << "}";
    isFirst = false;
  }

  template <class Contender>
  void MeasureBoth(const Workset& workset) {
    Measure<LinkSet::Unique, Contender>(workset);
    Measure<LinkSet::Validated, Contender>(workset);
  }

 private:
  std::ofstream out;
  bool isFirst = true;
};

template <class Call>
std::size_t AllocationsOf(const Call& call) {
  const AllocationCount count;
  call();
  return count.Get();
}

// The most that a call with one of these values allocates beyond what a copy of its result does.
template <class Value, class Call>
std::size_t MostBeyondResult(const std::vector<Value>& values, const Call& call) {
  std::size_t most = 0;
  for (const Value& value : values) {
    const std::size_t made = AllocationsOf([&] { static_cast<void>(call(value)); });
    const auto result = call(value);
    const std::size_t returned = AllocationsOf([&result] { [[maybe_unused]] const auto copy = result; });
    most = std::max(most, made - std::min(made, returned));
  }
  return most;
}

template <LinkSet set>
std::size_t MostBeyondResults(const Library& library, const SetLinks& links) {
  const auto byKey = [&library](const Key& key) { return library.GetGeometryObjects<set>(key); };
  const auto byGeometry = [&library](const Geometry& geometry) { return library.GetMetaObjectKeys(geometry); };
  // Returned by reference; the address stands for it.
  const auto firstKey = [&library](const Geometry& geometry) { return &library.GetMetaObjectKey<set>(geometry); };
  const auto has = [&library](const Link& link) { return library.HasLink<set>(link.metaKey, link.geometry); };
  return std::max({MostBeyondResult(links.keys, byKey), MostBeyondResult(links.missingKeys, byKey),
                   MostBeyondResult(links.geometry, byGeometry), MostBeyondResult(links.missingGeometry, byGeometry),
                   MostBeyondResult(links.geometry, firstKey), MostBeyondResult(links.missingGeometry, firstKey),
                   MostBeyondResult(links.pairs, has), MostBeyondResult(links.missingPairs, has)});
}

std::size_t ExtraAllocations(const Workset& workset) {
  Library library;
  Load(library, workset);
  return std::max(MostBeyondResults<LinkSet::Unique>(library, workset.unique),
                  MostBeyondResults<LinkSet::Validated>(library, workset.validated));
}

}  // namespace

void MeasureMemory(std::size_t linkCount, const std::filesystem::path& file) {
  MemoryTable table(file);
  std::size_t extraAllocations = 0;
  for (const KeyForm keyForm : {KeyForm::generated, KeyForm::uuid}) {
    const Workset workset = MakeWorkset({Shape::realistic, keyForm, linkCount});
    table.MeasureBoth<Library>(workset);
    table.MeasureBoth<Floor>(workset);
    table.MeasureBoth<Bimap>(workset);
    table.MeasureBoth<Multimaps>(workset);
    table.MeasureBoth<Sqlite>(workset);
#ifdef QPD_BENCH_OCCT
    table.MeasureBoth<GraphNodes>(workset);
#endif
    const Workset lookedUp = MakeWorkset({Shape::realistic, keyForm, std::min(linkCount, c_maxLookedUp)});
    extraAllocations = std::max(extraAllocations, ExtraAllocations(lookedUp));
  }
  table.End(extraAllocations);
}

}  // namespace bench
