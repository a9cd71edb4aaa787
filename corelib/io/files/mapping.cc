#include "corelib/io/files/mapping.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <utility>

#include "corelib/base/types.h"
#include "corelib/io/files/descriptor.h"

namespace tstl {

int open_for_mapping(const char* path, bool writable, mode_t mode) noexcept {
  return writable ? detail::open_file(path, O_RDWR | O_CREAT, 0777)
                  : detail::open_file(path, O_RDONLY | O_NONBLOCK, mode);
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
  if (descriptor > 0) (void)detail::close_file(descriptor);
}

}  // namespace tstl
