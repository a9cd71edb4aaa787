// Processes many items in groups, so that the memory of a whole group can be prefetched before its
// first item is processed. A group is large enough for the cache misses to overlap, and small
// enough for the prefetched lines to be still cached when they are used.
#pragma once

#include <algorithm>
#include <cstdint>

namespace tstl::detail {

inline constexpr std::uint32_t kGroup = 16;

// Calls work(start, cnt) for the items [0, n), with 0 < cnt <= kGroup.
template <class Work>
void for_each_group(std::uint32_t n, Work work) {
  for (std::uint64_t start = 0; start < n; start += kGroup) {
    work(static_cast<std::uint32_t>(start),
         std::min<std::uint32_t>(kGroup, n - static_cast<std::uint32_t>(start)));
  }
}

}  // namespace tstl::detail
