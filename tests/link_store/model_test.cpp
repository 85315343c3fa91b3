#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "tests/support/StoreOperations.h"

// The store against a naive one in plain vectors, over random sequences of all operations with all kinds of arguments:
// after each operation its result, the validator's calls, both sets in all their orders and the containers' own rules.
//
// The test is cut into slices, which ctest runs side by side; each does QPD_MODEL_SEQUENCES sequences of 100
// operations, a number from the environment or else from CMakeLists.txt. QPD_MODEL_SEQUENCES=1000000 is for a night.
//
// Every run has a new seed, which it prints. To replay, run the program itself with --gtest_filter for the slice, the
// same number of sequences, and RC_PARAMS="seed=NUMBER"; or for a failure alone with the RC_PARAMS="reproduce=TEXT"
// that was printed with it.

namespace {

constexpr std::size_t c_operations = 100;
constexpr int c_slices = 8;

/// Tells rapidcheck the number of sequences. It reads its parameters once, when it is first used.
void SetParameters() {
  const char* sequences = std::getenv("QPD_MODEL_SEQUENCES");
  const char* given = std::getenv("RC_PARAMS");
  const std::string parameters = "max_success=" + std::string(sequences != nullptr ? sequences : QPD_MODEL_SEQUENCES) +
                                 " " + (given != nullptr ? given : "");
  setenv("RC_PARAMS", parameters.c_str(), 1);
}

/// The same operation with plainer arguments, one at a time.
rc::Seq<StoreOperation> Plainer(const StoreOperation& operation) {
  const auto smaller = [](std::uint8_t number) { return rc::shrink::towards(number, std::uint8_t{0}); };
  return rc::seq::map(rc::shrink::eachElement(operation.numbers, smaller),
                      [](const auto& numbers) { return StoreOperation{numbers}; });
}

using Sequence = std::vector<StoreOperation>;

/// Always of full length, whatever size rapidcheck has come to, and another one for every slice. It begins with
/// additions, more or fewer of them, so that sets of all sizes are worked on. Shrinking drops operations, then makes
/// their arguments plainer.
rc::Gen<Sequence> AnySequence(int slice) {
  return [slice](const rc::Random& random, int) {
    rc::Random source = random;
    for (int i = 0; i < slice; ++i) {
      source.split();
    }
    Sequence sequence(c_operations);
    std::uint64_t additions = source.next() % (c_operations * 2 / 3);
    for (StoreOperation& operation : sequence) {
      const std::uint64_t bits = source.next();
      for (std::size_t i = 0; i < StoreOperation::c_size; ++i) {
        operation.numbers[i] = static_cast<std::uint8_t>(bits >> (8 * i));
      }
      if (additions > 0) {
        --additions;
        operation.numbers[0] %= StoreOperation::c_additions;
      }
    }
    return rc::shrinkable::shrinkRecur(std::move(sequence), [](const Sequence& failing) {
      return rc::seq::concat(rc::shrink::removeChunks(failing), rc::shrink::eachElement(failing, Plainer));
    });
  };
}

class AStore : public testing::TestWithParam<int> {
 protected:
  static void SetUpTestSuite() { SetParameters(); }
};

}  // namespace

TEST_P(AStore, AnswersAfterAnyOperationsAsANaiveOneDoes) {
  EXPECT_TRUE(rc::check("a store answers after any operations as a naive one does", [] {
    const Sequence sequence = *AnySequence(GetParam());
    const std::string difference = RunStoreOperations(sequence);
    if (!difference.empty()) {
      RC_FAIL(difference);
    }
  }));
}

INSTANTIATE_TEST_SUITE_P(Slice, AStore, testing::Range(0, c_slices));
