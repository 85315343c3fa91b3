#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bench/contenders/Contender.h"

namespace bench {

/// Numbers that equal values share and others, as good as certainly, do not.
std::uint64_t DigestOf(const Key& key);
std::uint64_t DigestOf(const Geometry& geometry);

/// What a workload came to: what its operations answered and what is left in the sets, each as one number that equals
/// that of an equal outcome.
struct Outcome {
  /// The answers, each with its parts as they came.
  std::uint64_t answersAsCame = 0;
  /// The answers, each with its parts sorted, since not all contenders keep the order of entry.
  std::uint64_t answersSorted = 0;
  /// The links of both sets, in no order, under the keys that they had.
  std::uint64_t content = 0;
  /// Those of them that have a new key, and how many.
  std::uint64_t renamed = 0;
  std::uint64_t renamedCount = 0;
};

/// Takes what the operations of a workload answer. While a workload is timed it only counts; to compare contenders it
/// looks at all of it.
class Results {
 public:
  enum class Mode { count, compare };

  explicit Results(Mode chosen = Mode::count) : mode(chosen) {}

  void Take(bool answer) {
    count += answer ? 1U : 0U;
    if (mode == Mode::compare) {
      TakeParts({answer ? 1U : 0U});
    }
  }
  void Take(const Key& answer) {
    count += answer.IsEmpty() ? 0U : 1U;
    if (mode == Mode::compare) {
      TakeParts({DigestOf(answer)});
    }
  }
  void Take(const std::vector<Key>& answer);
  void Take(const std::vector<Geometry>& answer);
  void Take(const RenamedKeys& answer);

  /// A link that is left in the end. A key counts as the one that it had before Take saw it renamed.
  void TakeContent(LinkSet set, const Link& link);

  /// How many answers were not empty, each with as many as it holds.
  std::size_t Count() const { return count; }

  const Outcome& Get() const { return outcome; }

 private:
  // The digests of what one answer holds.
  void TakeParts(std::vector<std::uint64_t> parts);

  Mode mode;
  std::size_t count = 0;
  Outcome outcome;
  // New key to old key.
  RenamedKeys oldKeys;
};

/// Takes the links of both sets of a contender.
template <class Contender>
void TakeContent(const Contender& contender, Results& results) {
  contender.template ForEachLink<LinkSet::Unique>(
      [&results](const Link& link) { results.TakeContent(LinkSet::Unique, link); });
  contender.template ForEachLink<LinkSet::Validated>(
      [&results](const Link& link) { results.TakeContent(LinkSet::Validated, link); });
}

}  // namespace bench
