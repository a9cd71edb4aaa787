#include "corelib/containers/shared/mapping.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <utility>

#include "corelib/base/types.h"

namespace tstl {
namespace {

// Whatever is open as 0 gets another number, or none if there is none left.
int above_zero(int descriptor) {
  if (descriptor != 0) return descriptor;
  const int other = ::fcntl(0, F_DUPFD_CLOEXEC, 1);
  ::close(0);
  return other;
}

}  // namespace

int open_for_mapping(const char* path, bool writable, mode_t mode) noexcept {
  if (path == nullptr) return -1;
  return above_zero(writable ? ::open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0777)
                             : ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC, mode));
}

void* map_file(int descriptor, std::uint64_t length, bool writable) noexcept {
  if (descriptor <= 0 || !std::in_range<std::size_t>(length)) return nullptr;
  void* const data = ::mmap(nullptr, static_cast<std::size_t>(length),
                            writable ? PROT_READ | PROT_WRITE : PROT_READ,
                            writable ? MAP_SHARED : MAP_PRIVATE, descriptor, 0);
  return data == MAP_FAILED ? nullptr : data;
}

std::uint64_t file_size(int descriptor) noexcept {
  struct stat info;
  if (descriptor <= 0 || ::fstat(descriptor, &info) != 0) return 0;
  return static_cast<std::uint64_t>(info.st_size);
}

bool set_file_size(int descriptor, std::uint64_t size) noexcept {
  if (descriptor <= 0 || !std::in_range<off_t>(size)) return false;
  int result;
  do {
    result = ::ftruncate(descriptor, static_cast<off_t>(size));
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

std::uint32_t sync_mapping(void* data, std::uint64_t length) noexcept {
  if (data == nullptr) return 0;
  return ::msync(data, static_cast<std::size_t>(length), MS_SYNC) == 0 ? 0 : FAILURE;
}

void unmap(void* data, std::uint64_t length) noexcept {
  if (data != nullptr && length != 0) ::munmap(data, static_cast<std::size_t>(length));
}

void close_descriptor(int descriptor) noexcept {
  if (descriptor > 0) ::close(descriptor);
}

}  // namespace tstl
