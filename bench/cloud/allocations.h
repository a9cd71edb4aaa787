// Counts allocations: all calls of malloc, calloc and realloc in the process, including those of
// operator new and of the peers' libraries.
#pragma once

#include <cstddef>

namespace zenta::bench {

// The number of allocations so far.
[[nodiscard]] std::size_t AllocationCount();

// The number of allocations of a second run of `run`, which reuses the memory that the first one
// kept.
template <class Run>
double AllocationsOf(Run& run) {
  run();
  const std::size_t before = AllocationCount();
  run();
  return static_cast<double>(AllocationCount() - before);
}

}  // namespace zenta::bench
