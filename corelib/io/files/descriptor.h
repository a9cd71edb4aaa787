// File descriptors: opening, reading, writing and closing. Interrupted calls are repeated, and
// partial transfers continued. Every file of the library is opened here.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <utility>

namespace tstl::detail {

// Opens a file as open() does with these flags; `mode` matters only with O_CREAT. The descriptor is
// closed on exec. It is never 0, 1 or 2: in a process without standard streams, printed text must
// not end up in the file. Returns the descriptor, or -1 with errno set; EINVAL for a null path.
[[nodiscard]] int open_file(const char* path, int flags, mode_t mode = 0666) noexcept;
// The same, with `path` relative to the open directory `folder`.
[[nodiscard]] int open_file_at(int folder, const char* path, int flags,
                               mode_t mode = 0666) noexcept;
// Another descriptor of the same open file, under the same rules.
[[nodiscard]] int duplicate_file(int fd) noexcept;

// Writes `n` bytes, in a single call if they are at most 1 GiB and the system accepts them all.
// Returns 0, or the errno value of the failure.
int write_all(int fd, const void* from, std::uint64_t n) noexcept;

// Reads up to `n` bytes, possibly fewer than there are. Returns the number read, 0 at the end of
// the file; or -1 with errno set.
std::int64_t read_some(int fd, void* to, std::uint64_t n) noexcept;

// Reads `n` bytes, fewer only at the end of the file. Returns the number read; or -1 with errno
// set.
std::int64_t read_up_to(int fd, void* to, std::uint64_t n) noexcept;

// Returns when the file's contents are on disk; where the system offers it (macOS), also out of the
// drive's own cache. 0, or the errno value of the failure.
int sync_file(int fd) noexcept;

// Returns 0, or the errno value of the failure: some file systems report only here that the disk is
// full. The call is never repeated, because the descriptor is closed in any case. Does nothing for
// -1.
int close_file(int fd) noexcept;

// Owns a descriptor, or -1 for none.
class Descriptor {
 public:
  explicit Descriptor(int fd) noexcept : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { (void)close(); }

  explicit operator bool() const noexcept { return fd_ >= 0; }
  [[nodiscard]] int fd() const noexcept { return fd_; }
  int close() noexcept { return close_file(std::exchange(fd_, -1)); }

 private:
  int fd_;
};

}  // namespace tstl::detail
