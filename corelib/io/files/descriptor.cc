#include "corelib/io/files/descriptor.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace tstl::detail {
namespace {

constexpr std::uint64_t kMost = std::uint64_t{1} << 30;  // some systems refuse 2 GiB

// Calls until it is not interrupted.
template <class Call>
std::int64_t uninterrupted(Call call) {
  for (;;) {
    const ssize_t done = call();
    if (done >= 0 || errno != EINTR) return done;
  }
}

}  // namespace

int write_all(int fd, const void* from, std::uint64_t n) noexcept {
  for (const char* at = static_cast<const char*>(from); n != 0;) {
    const std::int64_t done = uninterrupted(
        [&] { return ::write(fd, at, static_cast<std::size_t>(std::min(n, kMost))); });
    if (done < 0) return errno;
    if (done == 0) return EIO;  // a device that takes nothing and names no reason
    at += done;
    n -= static_cast<std::uint64_t>(done);
  }
  return 0;
}

std::int64_t read_some(int fd, void* to, std::uint64_t n) noexcept {
  return uninterrupted(
      [=] { return ::read(fd, to, static_cast<std::size_t>(std::min(n, kMost))); });
}

}  // namespace tstl::detail
