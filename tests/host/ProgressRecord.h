#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "host/ProgressCallback.h"

/// Listens to a job and expects of each stage that it begins with 0, never goes back and never beyond 1.
struct ProgressRecord {
  host::ProgressCallback Callback() {
    return [this](std::string_view stage, double fraction) {
      if (stages.empty() || stages.back() != stage) {
        stages.emplace_back(stage);
        ends.push_back(0);
        EXPECT_EQ(fraction, 0) << stage;
      }
      EXPECT_GE(fraction, ends.back()) << stage;
      EXPECT_LE(fraction, 1) << stage;
      ends.back() = fraction;
      ++reports;
    };
  }

  /// In their order, and the last fraction of each.
  std::vector<std::string> stages;
  std::vector<double> ends;
  std::size_t reports = 0;
};
