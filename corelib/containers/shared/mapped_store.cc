#include "corelib/containers/shared/mapped_store.h"

#include <algorithm>

#include "corelib/base/types.h"
#include "corelib/io/files/descriptor.h"
#include "corelib/io/files/mapping.h"

namespace tstl {
namespace {

// Maps a file whose size was `old` before it was set to `length`. If a grown file cannot be mapped,
// its old size is restored, because it could not be opened again. It is not restored if the file
// has another length by now: another process has changed it and may use the bytes after `old`.
unsigned char* map_resized(int descriptor, std::uint64_t length, std::uint64_t old) {
  void* const data = map_file(descriptor, length, true);
  if (data == nullptr && length > old && file_size(descriptor) == length) {
    (void)set_file_size(descriptor, old);
  }
  return static_cast<unsigned char*>(data);
}

}  // namespace

MappedStore& MappedStore::operator=(MappedStore&& other) noexcept {
  MappedStore taken(std::move(other));
  std::swap(fields_, taken.fields_);
  return *this;
}

std::uint32_t MappedStore::open(const char* path, std::uint64_t minimum,
                                std::uint64_t maximum) noexcept {
  close();
  const int descriptor = open_for_mapping(path, true, 0);
  const std::uint64_t size = file_size(descriptor);
  const std::uint64_t length = std::max(size, minimum);
  const bool sized = size >= minimum || set_file_size(descriptor, minimum);
  unsigned char* const data = sized ? map_resized(descriptor, length, size) : nullptr;
  if (data == nullptr) {
    close_descriptor(descriptor);
    return FAILURE;
  }
  fields_ = {size, length, minimum, std::max(length, maximum), data, descriptor, length};
  return 0;
}

std::uint64_t MappedStore::resize(std::uint64_t n) noexcept {
  return resize_exact(std::min(std::max(n, fields_.minimum), fields_.maximum));
}

// The file is resized before it is mapped: no mapping ever extends past the end of its file.
std::uint64_t MappedStore::resize_exact(std::uint64_t n) noexcept {
  const std::uint64_t old = file_size(fields_.descriptor);
  fields_.mapped_length = 0;
  if (!set_file_size(fields_.descriptor, n)) return 0;
  unmap(fields_.data, fields_.held_length);
  fields_.data = map_resized(fields_.descriptor, n, old);
  fields_.held_length = fields_.mapped_length = fields_.data == nullptr ? 0 : n;
  return fields_.mapped_length;
}

std::uint32_t MappedStore::sync() const noexcept {
  if (fields_.mapped_length == 0) return FAILURE;
  std::uint32_t result = sync_mapping(fields_.data, fields_.mapped_length);
#ifdef __APPLE__  // msync() leaves the data in the drive's cache there
  if (result == 0 && detail::sync_file(fields_.descriptor) != 0) result = FAILURE;
#endif
  return result;
}

void MappedStore::close() noexcept {
  unmap(fields_.data, fields_.held_length);
  close_descriptor(fields_.descriptor);
  fields_ = {};
}

bool MappedStore::is_whole() const noexcept {
  return !is_empty() && file_size(fields_.descriptor) >= fields_.held_length;
}

}  // namespace tstl
