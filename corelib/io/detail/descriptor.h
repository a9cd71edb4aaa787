// Reading and writing on a descriptor, with interrupted and partial transfers carried on.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tstl::detail {

// Writes `n` bytes, in one call where the system takes them all (up to 1 GiB at a time, which every
// system does). Returns 0, or the errno value of the failure.
int write_all(int fd, const void* from, std::uint64_t n) noexcept;

// Reads up to `n` bytes. Returns how many there were, 0 at the end; or -1 with errno set.
std::int64_t read_some(int fd, void* to, std::size_t n) noexcept;

}  // namespace tstl::detail
