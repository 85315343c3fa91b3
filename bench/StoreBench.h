#pragma once

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Jobs.h"
#include "bench/Links.h"
#include "bench/Results.h"
#include "bench/StoreWorkloads.h"

namespace bench {

/// Contenders that come to different results: nothing may be timed then.
class Disagreement : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// One contender with all its workloads over one workset.
class StoreBench {
 public:
  StoreBench() = default;
  StoreBench(const StoreBench&) = delete;
  StoreBench& operator=(const StoreBench&) = delete;
  virtual ~StoreBench() = default;

  virtual std::string Name() const = 0;
  virtual bool KeepsOrder() const = 0;

  /// Does every workload once.
  virtual std::map<std::string, Outcome> Outcomes() = 0;

  /// The workloads of a phase, for timing. All phases but Phase::add share a store, which the first job fills; it
  /// goes with this object.
  virtual std::vector<Job> Jobs(Phase phase) = 0;
};

/// All contenders, the library first. They borrow the workset. Their jobs throw Disagreement where a pass comes to
/// another number of answers than any contender's pass of the same workload before.
std::vector<std::unique_ptr<StoreBench>> MakeStoreBenches(const Workset& workset);

/// Does every workload of every contender and compares what it comes to with what the library comes to. Throws
/// Disagreement.
void CompareContenders(const Workset& workset);

}  // namespace bench
