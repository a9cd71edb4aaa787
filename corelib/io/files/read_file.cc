#include "corelib/io/files/read_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

#include "corelib/io/files/descriptor.h"

namespace tstl::detail {
namespace {

bool read_from(int fd, Buffer<unsigned char>& bytes, std::uint64_t limit, IfLonger if_longer) {
  std::uint64_t size = 0;
  if (!regular_file_size(fd, size)) return false;
  if (size > limit && if_longer == IfLonger::kRefuse) return false;
  const std::uint64_t length = std::min(size, limit);
  if (length > bytes.kGreatestCapacity || !bytes.recapacity(length)) return false;
  const std::int64_t got = read_up_to(fd, bytes.str(), length);
  if (got > 0) bytes.set_len(static_cast<unsigned>(got));
  return got >= 0;
}

}  // namespace

bool regular_file_size(int fd, std::uint64_t& size) {
  struct stat info;
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) return false;
  size = static_cast<std::uint64_t>(info.st_size);
  return true;
}

bool read_file(const char* path, Buffer<unsigned char>& bytes, std::uint64_t limit,
               IfLonger if_longer) {
  bytes.reset();
  // O_NONBLOCK: opening a pipe that has no writer must not wait.
  const Descriptor file(open_file(path, O_RDONLY | O_NONBLOCK));
  const bool read = file && read_from(file.fd(), bytes, limit, if_longer);
  if (!read) bytes.reset();
  return read;
}

}  // namespace tstl::detail
