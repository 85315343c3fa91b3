#include "bench/StoreBench.h"

#include <optional>
#include <utility>

#include <benchmark/benchmark.h>

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

// How much each workload answers, which is the same for all who do it.
class AnswerCounts {
 public:
  void Check(const std::string& workload, std::size_t count) {
    if (counts.emplace(workload, count).first->second != count) {
      throw Disagreement(workload + " answers more or less than it did before");
    }
  }

 private:
  std::map<std::string, std::size_t> counts;
};

template <class Contender>
class StoreBenchOf final : public StoreBench {
 public:
  StoreBenchOf(const Workset& given, std::shared_ptr<AnswerCounts> shared)
      : workset(given), workloads(StoreWorkloads<Contender>(given).Make()), counts(std::move(shared)) {}

  std::string Name() const override { return std::string(Contender::c_name); }
  bool KeepsOrder() const override { return Contender::c_keepsOrder; }

  std::map<std::string, Outcome> Outcomes() override {
    std::map<std::string, Outcome> result;
    for (const Workload<Contender>& workload : workloads) {
      result[workload.name] = OutcomeOf(workload);
    }
    loaded.reset();
    return result;
  }

  std::vector<Job> Jobs(Phase phase) override {
    std::vector<Job> jobs;
    for (const Workload<Contender>& workload : workloads) {
      if (workload.phase == phase) {
        jobs.push_back(phase == Phase::add ? JobOnEmptyStore(workload) : JobOnLoadedStore(workload));
      }
    }
    return jobs;
  }

 private:
  Contender& Loaded() {
    if (!loaded) {
      loaded.emplace();
      Load(*loaded, workset);
    }
    return *loaded;
  }

  Outcome OutcomeOf(const Workload<Contender>& workload) {
    Results results(Results::Mode::compare);
    if (workload.phase == Phase::add) {
      Contender empty;
      workload.pass(empty, results);
      TakeContent(empty, results);
      return results.Get();
    }
    workload.pass(Loaded(), results);
    if (workload.undo) {
      TakeContent(*loaded, results);
      workload.undo(*loaded);
    }
    return results.Get();
  }

  Job JobOnEmptyStore(const Workload<Contender>& workload) {
    const auto store = std::make_shared<std::optional<Contender>>();
    Job job = JobOf(workload);
    job.passes = PassesOf(workset.which.size);
    job.before = [store] { store->emplace(); };
    job.pass = [this, store, &workload] { RunCounted(workload, **store); };
    job.after = [store] { store->reset(); };
    return job;
  }

  Job JobOnLoadedStore(const Workload<Contender>& workload) {
    Job job = JobOf(workload);
    job.passes = PassesOf(workload.phase == Phase::lookUp ? workload.items : workset.which.size);
    job.prepare = [this] { Loaded(); };
    job.pass = [this, &workload] { RunCounted(workload, *loaded); };
    if (workload.undo) {
      job.after = [this, &workload] { workload.undo(*loaded); };
    }
    return job;
  }

  Job JobOf(const Workload<Contender>& workload) const {
    Job job;
    job.name = workload.name;
    job.contender = Name();
    job.items = workload.items;
    return job;
  }

  void RunCounted(const Workload<Contender>& workload, Contender& contender) const {
    Results results;
    workload.pass(contender, results);
    counts->Check(workload.name, results.Count());
  }

  const Workset& workset;
  const std::vector<Workload<Contender>> workloads;
  const std::shared_ptr<AnswerCounts> counts;
  std::optional<Contender> loaded;
};

void Compare(const Outcome& expected, const Outcome& outcome, bool keepsOrder, const std::string& what) {
  const bool sameAnswers =
      keepsOrder ? outcome.answersAsCame == expected.answersAsCame : outcome.answersSorted == expected.answersSorted;
  if (!sameAnswers) {
    throw Disagreement(what + " answers otherwise than the library");
  }
  if (outcome.content != expected.content || outcome.renamedCount != expected.renamedCount) {
    throw Disagreement(what + " leaves other links than the library");
  }
  // Which link of a key is renamed is a matter of their order.
  if (keepsOrder && outcome.renamed != expected.renamed) {
    throw Disagreement(what + " gives new keys to other links than the library");
  }
}

}  // namespace

std::vector<std::unique_ptr<StoreBench>> MakeStoreBenches(const Workset& workset) {
  const auto counts = std::make_shared<AnswerCounts>();
  std::vector<std::unique_ptr<StoreBench>> benches;
  benches.push_back(std::make_unique<StoreBenchOf<Library>>(workset, counts));
  benches.push_back(std::make_unique<StoreBenchOf<Floor>>(workset, counts));
  benches.push_back(std::make_unique<StoreBenchOf<Bimap>>(workset, counts));
  benches.push_back(std::make_unique<StoreBenchOf<Multimaps>>(workset, counts));
  benches.push_back(std::make_unique<StoreBenchOf<Sqlite>>(workset, counts));
#ifdef QPD_BENCH_OCCT
  benches.push_back(std::make_unique<StoreBenchOf<GraphNodes>>(workset, counts));
#endif
  return benches;
}

void CompareContenders(const Workset& workset) {
  std::map<std::string, Outcome> expected;
  for (const auto& bench : MakeStoreBenches(workset)) {
    const std::map<std::string, Outcome> outcomes = bench->Outcomes();
    if (expected.empty()) {
      expected = outcomes;
    }
    for (const auto& [workload, outcome] : outcomes) {
      Compare(expected.at(workload), outcome, bench->KeepsOrder(), workload + " of " + bench->Name());
    }
  }
}

}  // namespace bench
