#include "corelib/io/files/read_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>

#include "corelib/io/files/descriptor.h"

namespace tstl::detail {
namespace {

// Bytes read; fewer than `size` at the file's end, -1 after an error.
std::int64_t read_up_to(int fd, unsigned char* to, std::int64_t size) {
  std::int64_t done = 0;
  while (done < size) {
    const std::int64_t got = read_some(fd, to + done, static_cast<std::size_t>(size - done));
    if (got < 0) return -1;
    if (got == 0) break;
    done += got;
  }
  return done;
}

bool read_from(int fd, Buffer<unsigned char>& bytes) {
  struct stat info;
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) return false;
  if (info.st_size > Buffer<unsigned char>::kGreatestCapacity) return false;
  if (!bytes.recapacity(static_cast<std::uint64_t>(info.st_size))) return false;
  const std::int64_t got = read_up_to(fd, bytes.str(), info.st_size);
  if (got > 0) bytes.set_len(static_cast<unsigned>(got));
  return got >= 0;
}

}  // namespace

bool read_file(const char* path, Buffer<unsigned char>& bytes) {
  bytes.reset();
  // A pipe that nobody writes to must not be waited for.
  const int fd = path == nullptr ? -1 : ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return false;
  const bool read = read_from(fd, bytes);
  ::close(fd);
  if (!read) bytes.reset();
  return read;
}

}  // namespace tstl::detail
