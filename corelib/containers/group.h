// Work on many items, a group at a time: so many that the waits for their memory overlap, so few
// that what was fetched for the last of them is still there when the first is done.
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
