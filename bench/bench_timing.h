// Wall time of a call repeated, for the baselines the benchmarks measure by hand in the
// same run as the code they compare it with.
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <type_traits>

namespace korad::bench {

// Seconds taken by `repeats` calls; a result is kept from the optimiser.
template <class F>
double Seconds(int repeats, F&& call) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < repeats; ++i) {
    if constexpr (std::is_void_v<std::invoke_result_t<F&>>) {
      call();
    } else {
      benchmark::DoNotOptimize(call());
    }
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace korad::bench
