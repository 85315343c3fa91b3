#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace bench {

/// One thing to be timed.
struct Job {
  /// Workload and contender; the case stands in the run's context.
  std::string name;
  std::string contender;
  /// The operations of a pass, by which its time is divided.
  std::size_t items = 1;
  /// The passes of a repetition.
  std::size_t passes = 1;
  /// What is timed.
  std::function<void()> pass;
  /// Untimed, any of them may be empty: once before the passes, and before and after each pass. Without the last two
  /// nothing stands between passes, as it must be for short ones.
  std::function<void()> prepare = {};
  std::function<void()> before = {};
  std::function<void()> after = {};
  /// Counts the time that passes on the clock instead of the processor's, for what waits for a disk.
  bool isWallTime = false;
};

/// How many passes of so many operations a repetition has, so that it takes long enough to be timed.
std::size_t PassesOf(std::size_t operations);

/// Runs jobs with Google Benchmark, those of one call in random order with all their repetitions mixed, prints a line
/// for each and writes everything to a file in Google Benchmark's JSON form.
class JobRunner {
 public:
  JobRunner(const std::filesystem::path& file, int repetitionCount);
  JobRunner(const JobRunner&) = delete;
  JobRunner& operator=(const JobRunner&) = delete;
  /// Ends the file.
  ~JobRunner();

  /// Says something about the run as a whole; before the first Run.
  static void AddContext(const std::string& name, const std::string& value);

  void Run(const std::vector<Job>& jobs);

 private:
  class Reporter;

  std::unique_ptr<Reporter> reporter;
  int repetitions;
};

}  // namespace bench
