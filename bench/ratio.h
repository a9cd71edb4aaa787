// Races two or more ways of doing one job inside a single google-benchmark run.
//
// On a shared machine two separate benchmark lines can differ by half for no reason of the code. So
// the contestants take turns in slices of some microseconds, round after round, and each is judged
// by its fastest slice: what slows one of them down slows the others in the same round too, and the
// fastest slice is the one that nothing disturbed.
//
//   void BM_Find(benchmark::State& state) {
//     ...                                                    // compare the results first, once
//     Race(state, {.bytes = 64 << 10}, Contestant{"ours", [&] { return Find(text); }},
//          Contestant{"std", [&] { return view.find(x); }});  // counters: ns, GBps, x_std
//   }
//
// The first contestant is ours. Counters: `ns`, its time for one item; `GBps`, its rate when bytes
// are given; and for every peer `x_NAME` = its time / our time, so above 1 is ahead. Charts show the
// peers under these names. A contestant that is no peer, such as another way of ours or a mere limit,
// is called `also_NAME`; its counter bears that name and no chart shows it. The Time column is that
// of one whole round and says nothing; --benchmark_min_time sets how many rounds there are.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <limits>
#include <string>
#include <type_traits>

namespace zenta::bench {

// What one call of every contestant gets through.
struct Job {
  double bytes = 0;  // for GBps; 0: not a matter of bytes
  double items = 1;  // for ns: texts, numbers, appended units ...
};

// A name and a callable without arguments. What the callable returns is kept from being optimised
// away, and so is all memory that it writes.
template <class Run>
struct Contestant {
  const char* name;
  Run run;
};
template <class Run>
Contestant(const char*, Run) -> Contestant<Run>;

#if defined(__x86_64__)
__attribute__((target("avx"))) inline void ZeroUpperHalves() { __builtin_ia32_vzeroupper(); }
#endif

// AVX code that returns without vzeroupper, as simdutf's AVX2 conversions do, leaves the upper halves
// of the vector registers dirty. SSE code is then several times slower until they are cleared, so
// the next contestant would pay for the one before.
inline void CleanVectorRegisters() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx")) ZeroUpperHalves();
#endif
}

// Seconds of one call, averaged over `count` calls in a row.
template <class Run>
double TimeSlice(Run& run, std::size_t count) {
  CleanVectorRegisters();
  const auto start = std::chrono::steady_clock::now();
  for (std::size_t i = 0; i != count; ++i) {
    if constexpr (std::is_void_v<std::invoke_result_t<Run&>>) {
      run();
    } else {
      benchmark::DoNotOptimize(run());
    }
    benchmark::ClobberMemory();
  }
  const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
  return passed.count() / static_cast<double>(count);
}

// How many calls make a slice that the clock can tell: 20 microseconds, or one call if that takes
// longer.
template <class Run>
std::size_t SliceCount(Run& run) {
  std::size_t count = 1;
  while (TimeSlice(run, count) * static_cast<double>(count) < 20e-6) count *= 2;
  return count;
}

// Runs the race and fills the counters; returns the fastest seconds of one call of each, in the
// given order.
template <class... Runs>
std::array<double, sizeof...(Runs)> Race(benchmark::State& state, Job job,
                                         Contestant<Runs>... contestants) {
  static_assert(sizeof...(Runs) > 0);
  const std::array counts{SliceCount(contestants.run)...};
  std::array<double, sizeof...(Runs)> best;
  best.fill(std::numeric_limits<double>::infinity());
  for ([[maybe_unused]] auto _ : state) {
    auto count = counts.begin();
    const std::array round{TimeSlice(contestants.run, *count++)...};  // braces: left to right
    for (std::size_t i = 0; i != best.size(); ++i) best[i] = std::min(best[i], round[i]);
  }
  state.counters["ns"] = best[0] * 1e9 / job.items;
  if (job.bytes > 0) state.counters["GBps"] = job.bytes / best[0] * 1e-9;
  const std::array names{contestants.name...};
  for (std::size_t i = 1; i != best.size(); ++i) {
    const std::string name = names[i];
    state.counters[name.starts_with("also_") ? name : "x_" + name] = best[i] / best[0];
  }
  return best;
}

}  // namespace zenta::bench
