// How a benchmark is run whose time is compared with another's.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

namespace bench {

// The fastest of several repetitions: what else the machine does only ever adds time.
inline void ratio_settings(benchmark::internal::Benchmark* benchmark) {
  benchmark->Repetitions(9)
      ->Unit(benchmark::kMicrosecond)
      ->ComputeStatistics("min",
                          [](const std::vector<double>& times) {
                            return *std::min_element(times.begin(), times.end());
                          })
      ->ReportAggregatesOnly();
}

}  // namespace bench
