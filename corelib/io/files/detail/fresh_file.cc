#include "corelib/io/files/detail/fresh_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>

#include "corelib/io/files/descriptor.h"

namespace tstl::detail {

// A process uses each name once. Only files left by killed processes with the same number can be in
// the way.
int open_fresh_file(BufferRef<unsigned char> folder, mode_t mode,
                    Buffer<unsigned char>& path) noexcept {
  static std::atomic<unsigned> names{0};
  constexpr int kMostTries = 1000;
  constexpr std::uint64_t kRestOfName = 64;
  if (!path.recapacity(folder.len() + kRestOfName)) {
    errno = ENOMEM;
    return -1;
  }
  for (int tries = 0; tries < kMostTries; ++tries) {
    path.assign(folder).append_str(".zenta-").append_num(::getpid());
    path.append_chr('-').append_num(names++).append_str(".tmp");
    const int fd = open_file(c_path(path), O_RDWR | O_CREAT | O_EXCL, mode);
    if (fd >= 0 || errno != EEXIST) return fd;
  }
  return -1;
}

}  // namespace tstl::detail
