// Counts allocations: every call of malloc, calloc and realloc in the process, operator new's and
// those of the peers' libraries among them.
#pragma once

#include <cstddef>

namespace zenta::bench {

// How many there were so far.
[[nodiscard]] std::size_t AllocationCount();

// How many `run` makes when it is run a second time, memory that it keeps being there then.
template <class Run>
double AllocationsOf(Run& run) {
  run();
  const std::size_t before = AllocationCount();
  run();
  return static_cast<double>(AllocationCount() - before);
}

}  // namespace zenta::bench
