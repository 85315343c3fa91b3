#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>

namespace host {

/// Told at times how far a long job is: `stage` is one word in English ("reading", "saving"), `fraction` runs from 0 to
/// 1 in each stage and never back. May be empty. May throw: then the job ends as for any other error.
using ProgressCallback = std::function<void(std::string_view stage, double fraction)>;

/// One stage of a job: reports its begin and then about a hundred times, however many items it has.
class ProgressStage {
 public:
  /// Reports to nobody.
  ProgressStage() = default;
  /// `stage` outlives this. `items` may be an estimate: what goes beyond is reported as 1.
  ProgressStage(ProgressCallback progress, std::string_view stage, std::uint64_t items)
      : callback(std::move(progress)), name(stage), total(std::max<std::uint64_t>(items, 1)) {
    Advance(0);
  }

  /// So many more items are done.
  void Advance(std::uint64_t items = 1) {
    done += items;
    if (done >= nextReport && callback) {
      const std::uint64_t next = done + std::max<std::uint64_t>(total / 100, 1);
      // The end is not stepped over.
      nextReport = done < total ? std::min(next, total) : next;
      callback(name, std::min(1.0, static_cast<double>(done) / static_cast<double>(total)));
    }
  }

 private:
  ProgressCallback callback;
  std::string_view name;
  std::uint64_t total = 0;
  std::uint64_t done = 0;
  std::uint64_t nextReport = 0;
};

}  // namespace host
