#include "bench/Instructions.h"

#include <string>
#include <vector>

#include <valgrind/callgrind.h>

#include "bench/Links.h"
#include "bench/StoreBench.h"
#include "bench/StreamBench.h"

namespace bench {

namespace {

void Count(const Job& job) {
  if (job.prepare) {
    job.prepare();
  }
  if (job.before) {
    job.before();
  }
  const std::string name = job.name + '|' + job.contender + '|' + std::to_string(job.items);
  CALLGRIND_START_INSTRUMENTATION;
  CALLGRIND_ZERO_STATS;
  job.pass();
  CALLGRIND_DUMP_STATS_AT(name.c_str());
  CALLGRIND_STOP_INSTRUMENTATION;
  if (job.after) {
    job.after();
  }
}

}  // namespace

void CountInstructions(std::size_t linkCount) {
  const Workset workset = MakeWorkset({Shape::realistic, KeyForm::generated, linkCount});
  for (const auto& bench : MakeStoreBenches(workset)) {
    if (bench->Name() != "library" && bench->Name() != "floor") {
      continue;
    }
    for (const Phase phase : {Phase::add, Phase::lookUp, Phase::change, Phase::last}) {
      for (const Job& job : bench->Jobs(phase)) {
        Count(job);
      }
    }
  }
  StreamBench streams(KeyForm::generated, linkCount);
  for (const Job& job : streams.Jobs()) {
    Count(job);
  }
}

}  // namespace bench
