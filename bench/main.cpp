// qprod_bench: measures the library beside what could be used in its place. scripts/bench runs all of it.

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/HostBench.h"
#include "bench/Instructions.h"
#include "bench/Jobs.h"
#include "bench/Memory.h"
#include "bench/StoreBench.h"
#include "bench/StreamBench.h"

namespace {

constexpr const char* c_usage = R"(usage: qprod_bench MODE [--NAME=VALUE...]

  stores        times the operations of link stores: --shape=realistic|hostile --keys=15|36 --size=N --repetitions=N
                --out=FILE [--only=WORD] [--contenders=NAME,NAME...]
  streams       times the links section of streams: --keys=15|36 --size=N --repetitions=N --out=FILE
  documents     times whole documents: --size=N --repetitions=N --out=FILE
  memory        measures memory and counts allocations: --size=N --out=FILE
  instructions  under callgrind: --size=N
  make          makes a document: --size=N --out=FILE
  open          opens a document: --in=FILE

Contenders are compared before anything is timed; where they disagree the status is 1.
)";

// Comparing larger worksets would take as long as timing them; smaller ones stand for them.
constexpr std::size_t c_maxCompared = 100'000;
constexpr std::size_t c_comparedForLarger = 10'000;

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Options {
 public:
  Options(int count, char** arguments) {
    for (int i = 0; i < count; ++i) {
      const std::string_view argument = arguments[i];
      const std::size_t equals = argument.find('=');
      if (argument.substr(0, 2) != "--" || equals == std::string_view::npos) {
        throw UsageError("what is " + std::string(argument) + "?");
      }
      values.emplace(argument.substr(2, equals - 2), argument.substr(equals + 1));
    }
  }

  std::string Text(const std::string& name, const std::string& otherwise) const {
    const auto found = values.find(name);
    return found == values.end() ? otherwise : found->second;
  }
  std::string Text(const std::string& name) const {
    const auto found = values.find(name);
    if (found == values.end()) {
      throw UsageError("--" + name + " is missing");
    }
    return found->second;
  }
  std::size_t Number(const std::string& name) const {
    const std::string text = Text(name);
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number == 0) {
      throw UsageError("--" + name + " is a number from 1 on");
    }
    return number;
  }

 private:
  std::map<std::string, std::string> values;
};

bench::Shape ShapeOf(const Options& options) {
  const std::string text = options.Text("shape");
  for (const bench::Shape shape : {bench::Shape::realistic, bench::Shape::hostile}) {
    if (text == bench::NameOf(shape)) {
      return shape;
    }
  }
  throw UsageError("--shape is realistic or hostile");
}

bench::KeyForm KeyFormOf(const Options& options) {
  const std::string text = options.Text("keys");
  for (const bench::KeyForm form : {bench::KeyForm::generated, bench::KeyForm::uuid}) {
    if (text == bench::NameOf(form)) {
      return form;
    }
  }
  throw UsageError("--keys is 15 or 36");
}

bool IsNamed(const std::string& list, const std::string& name) {
  return list.empty() || (',' + list + ',').find(',' + name + ',') != std::string::npos;
}

bench::JobRunner MakeRunner(const Options& options) {
  return bench::JobRunner(options.Text("out"), static_cast<int>(options.Number("repetitions")));
}

void AddContext(const std::string& mode, const Options& options) {
  bench::JobRunner::AddContext("mode", mode);
  bench::JobRunner::AddContext("shape", options.Text("shape", "realistic"));
  bench::JobRunner::AddContext("keys", options.Text("keys", "15"));
  bench::JobRunner::AddContext("size", options.Text("size"));
#ifdef __clang__
  bench::JobRunner::AddContext("compiler", "clang " __clang_version__);
#else
  bench::JobRunner::AddContext("compiler", "g++ " __VERSION__);
#endif
}

void TimeStores(const Options& options) {
  const bench::Case which{ShapeOf(options), KeyFormOf(options), options.Number("size")};
  {
    bench::Case compared = which;
    compared.size = which.size <= c_maxCompared ? which.size : c_comparedForLarger;
    bench::CompareContenders(bench::MakeWorkset(compared));
  }
  const bench::Workset workset = bench::MakeWorkset(which);
  const auto benches = bench::MakeStoreBenches(workset);
  bench::JobRunner runner = MakeRunner(options);
  for (const bench::Phase phase : {bench::Phase::add, bench::Phase::lookUp, bench::Phase::change, bench::Phase::last}) {
    std::vector<bench::Job> jobs;
    for (const auto& bench : benches) {
      if (!IsNamed(options.Text("contenders", ""), bench->Name())) {
        continue;
      }
      for (bench::Job& job : bench->Jobs(phase)) {
        if (job.name.find(options.Text("only", "")) != std::string::npos) {
          jobs.push_back(std::move(job));
        }
      }
    }
    runner.Run(jobs);
  }
}

void TimeStreams(const Options& options) {
  bench::StreamBench streams(KeyFormOf(options), options.Number("size"));
  streams.Compare();
  MakeRunner(options).Run(streams.Jobs());
}

void TimeDocuments(const Options& options) {
  bench::HostBench documents(options.Number("size"));
  documents.Compare();
  MakeRunner(options).Run(documents.Jobs());
}

void Run(const std::string& mode, const Options& options) {
  if (mode == "stores") {
    AddContext(mode, options);
    TimeStores(options);
  } else if (mode == "streams") {
    AddContext(mode, options);
    TimeStreams(options);
  } else if (mode == "documents") {
    AddContext(mode, options);
    TimeDocuments(options);
  } else if (mode == "memory") {
    bench::MeasureMemory(options.Number("size"), options.Text("out"));
  } else if (mode == "instructions") {
    bench::CountInstructions(options.Number("size"));
  } else if (mode == "make") {
    bench::SaveNewDocument(options.Number("size"), options.Text("out"));
  } else if (mode == "open") {
    bench::OpenDocument(options.Text("in"));
  } else {
    throw UsageError("there is no mode " + mode);
  }
}

}  // namespace

int main(int count, char** arguments) {
  try {
    if (count < 2) {
      throw UsageError("a mode is missing");
    }
    Run(arguments[1], Options(count - 2, arguments + 2));
    return EXIT_SUCCESS;
  } catch (const UsageError& error) {
    std::fprintf(stderr, "qprod_bench: %s\n%s", error.what(), c_usage);
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qprod_bench: %s\n", error.what());
    return EXIT_FAILURE;
  }
}
