#pragma once

#include <memory>
#include <vector>

#include "bench/Jobs.h"
#include "bench/Links.h"

namespace bench {

/// The workloads on the links section of a store with `linkCount` links, half of them in each set, under the present
/// versions. The times are for a link.
class StreamBench {
 public:
  StreamBench(KeyForm keyForm, std::size_t linkCount);
  StreamBench(const StreamBench&) = delete;
  StreamBench& operator=(const StreamBench&) = delete;
  ~StreamBench();

  /// Compares what the contenders write and read. Throws Disagreement.
  void Compare() const;

  /// They refer to this object.
  std::vector<Job> Jobs();

 private:
  struct Section;

  std::unique_ptr<Section> section;
};

}  // namespace bench
