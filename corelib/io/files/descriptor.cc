#include "corelib/io/files/descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace tstl::detail {
namespace {

constexpr std::uint64_t kMost = std::uint64_t{1} << 30;  // some systems refuse 2 GiB
constexpr int kFirst = STDERR_FILENO + 1;

// Repeats the call while it is interrupted.
template <class Call>
auto uninterrupted(Call call) {
  for (;;) {
    const auto done = call();
    if (done >= 0 || errno != EINTR) return done;
  }
}

// If `fd` is a standard stream's number, closes it and returns another descriptor of the same file.
int above_standard_streams(int fd) {
  if (fd < 0 || fd >= kFirst) return fd;
  const int other = duplicate_file(fd);
  const int error = errno;
  ::close(fd);
  errno = error;
  return other;
}

}  // namespace

int open_file(const char* path, int flags, mode_t mode) noexcept {
  return open_file_at(AT_FDCWD, path, flags, mode);
}

int open_file_at(int folder, const char* path, int flags, mode_t mode) noexcept {
  if (path == nullptr) {
    errno = EINVAL;
    return -1;
  }
  return above_standard_streams(
      uninterrupted([=] { return ::openat(folder, path, flags | O_CLOEXEC, mode); }));
}

int duplicate_file(int fd) noexcept { return ::fcntl(fd, F_DUPFD_CLOEXEC, kFirst); }

int write_all(int fd, const void* from, std::uint64_t n) noexcept {
  for (const char* at = static_cast<const char*>(from); n != 0;) {
    const std::int64_t done = uninterrupted(
        [&] { return ::write(fd, at, static_cast<std::size_t>(std::min(n, kMost))); });
    if (done < 0) return errno;
    if (done == 0) return EIO;  // a device that accepts nothing and gives no reason
    at += done;
    n -= static_cast<std::uint64_t>(done);
  }
  return 0;
}

std::int64_t read_some(int fd, void* to, std::uint64_t n) noexcept {
  return uninterrupted(
      [=] { return ::read(fd, to, static_cast<std::size_t>(std::min(n, kMost))); });
}

std::int64_t read_up_to(int fd, void* to, std::uint64_t n) noexcept {
  auto* const bytes = static_cast<unsigned char*>(to);
  std::uint64_t done = 0;
  while (done < n) {
    const std::int64_t got = read_some(fd, bytes + done, n - done);
    if (got < 0) return -1;
    if (got == 0) break;
    done += static_cast<std::uint64_t>(got);
  }
  return static_cast<std::int64_t>(done);
}

int sync_file(int fd) noexcept {
#ifdef F_FULLFSYNC
  if (uninterrupted([=] { return ::fcntl(fd, F_FULLFSYNC); }) == 0) return 0;
    // Not every file system supports it.
#endif
  return uninterrupted([=] { return ::fsync(fd); }) == 0 ? 0 : errno;
}

int close_file(int fd) noexcept { return fd < 0 || ::close(fd) == 0 ? 0 : errno; }

}  // namespace tstl::detail
