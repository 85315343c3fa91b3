#include "bench/Jobs.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <stdexcept>

#include <benchmark/benchmark.h>

namespace bench {

namespace {

// Of a repetition, unless a single pass has more.
constexpr std::size_t c_operations = 50'000;

void RunPasses(benchmark::State& state, const Job& job) {
  if (job.prepare) {
    job.prepare();
  }
  for ([[maybe_unused]] const auto pass : state) {
    if (job.before) {
      state.PauseTiming();
      job.before();
      state.ResumeTiming();
    }
    job.pass();
    if (job.after) {
      state.PauseTiming();
      job.after();
      state.ResumeTiming();
    }
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(job.items) * state.iterations());
}

void StartLibrary() {
  // Google Benchmark is told by arguments only.
  static std::string program = "qprod_bench";
  static std::string interleaving = "--benchmark_enable_random_interleaving=true";
  char* arguments[] = {program.data(), interleaving.data(), nullptr};
  int count = 2;
  benchmark::Initialize(&count, arguments);
}

}  // namespace

std::size_t PassesOf(std::size_t operations) {
  return std::max<std::size_t>(1, c_operations / std::max<std::size_t>(1, operations));
}

class JobRunner::Reporter : public benchmark::BenchmarkReporter {
 public:
  explicit Reporter(const std::filesystem::path& path) : file(path) {
    if (!file) {
      throw std::runtime_error("cannot write " + path.string());
    }
    json.SetOutputStream(&file);
    json.SetErrorStream(&file);
  }

  bool ReportContext(const Context& context) override {
    if (!hasBegun) {
      hasBegun = true;
      json.ReportContext(context);
    }
    return true;
  }

  void ReportRuns(const std::vector<Run>& runs) override {
    json.ReportRuns(runs);
    file.flush();
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
        const auto rate = run.counters.find("items_per_second");
        const double nanoseconds = rate == run.counters.end() ? 0 : 1e9 / rate->second;
        std::printf("%-60s %12.1f ns\n", run.run_name.function_name.c_str(), nanoseconds);
      }
    }
    std::fflush(stdout);
  }

  void End() {
    if (hasBegun) {
      json.Finalize();
    }
    file.flush();
  }

 private:
  std::ofstream file;
  benchmark::JSONReporter json;
  bool hasBegun = false;
};

JobRunner::JobRunner(const std::filesystem::path& file, int repetitionCount)
    : reporter(std::make_unique<Reporter>(file)), repetitions(std::max(repetitionCount, 2)) {
  StartLibrary();
}

JobRunner::~JobRunner() {
  reporter->End();
}

void JobRunner::AddContext(const std::string& name, const std::string& value) {
  benchmark::AddCustomContext(name, value);
}

void JobRunner::Run(const std::vector<Job>& jobs) {
  if (jobs.empty()) {
    return;
  }
  for (const Job& job : jobs) {
    auto* registered = benchmark::RegisterBenchmark((job.name + '|' + job.contender).c_str(),
                                                    [&job](benchmark::State& state) { RunPasses(state, job); });
    registered->Iterations(static_cast<std::int64_t>(job.passes))->Repetitions(repetitions);
    if (job.isWallTime) {
      registered->UseRealTime();
    }
  }
  benchmark::RunSpecifiedBenchmarks(reporter.get());
  benchmark::ClearRegisteredBenchmarks();
}

}  // namespace bench
