// Reading and writing on a descriptor, with interrupted and partial transfers carried on.
#pragma once

#include <cstdint>

namespace tstl::detail {

// Writes `n` bytes, in one call if they are no more than 1 GiB and the system takes them all. Returns
// 0, or the errno value of the failure.
int write_all(int fd, const void* from, std::uint64_t n) noexcept;

// Reads up to `n` bytes, not necessarily all there are. Returns how many, 0 at the end; or -1 with
// errno set.
std::int64_t read_some(int fd, void* to, std::uint64_t n) noexcept;

}  // namespace tstl::detail
