#include "corelib/io/files/unnamed_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "corelib/io/files/descriptor.h"
#include "corelib/io/files/detail/fresh_file.h"

namespace tstl::detail {
namespace {

constexpr mode_t kOwnerOnly = 0600;

int open_and_unlink(BufferRef<unsigned char> folder) {
  Buffer<unsigned char> start, path;
  if (!start.recapacity(folder.len() + std::uint64_t{1})) {
    errno = ENOMEM;
    return -1;
  }
  const int fd = open_fresh_file(start.append_str(folder).append_chr('/'), kOwnerOnly, path);
  if (fd >= 0) ::unlink(c_path(path));
  return fd;
}

}  // namespace

int open_unnamed_file(const char* folder) noexcept {
  if (folder == nullptr) {
    errno = EINVAL;
    return -1;
  }
#ifdef O_TMPFILE
  const int fd = open_file(folder, O_TMPFILE | O_RDWR, kOwnerOnly);
  // These errors mean that the file system or the kernel does not support such files.
  if (fd >= 0 || (errno != EOPNOTSUPP && errno != EISDIR && errno != ENOENT)) return fd;
#endif
  return open_and_unlink(folder);
}

}  // namespace tstl::detail
