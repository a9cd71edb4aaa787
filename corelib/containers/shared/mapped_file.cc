#include "corelib/containers/shared/mapped_file.h"

#include "corelib/base/types.h"
#include "corelib/io/files/mapping.h"

namespace tstl {

MappedFile& MappedFile::operator=(MappedFile&& other) noexcept {
  MappedFile taken(std::move(other));
  std::swap(fields_, taken.fields_);
  return *this;
}

std::uint32_t MappedFile::open(const char* path) noexcept {
  close();
  const int descriptor = open_for_mapping(path, false, 0);
  return map(descriptor, 0, file_size(descriptor), descriptor);
}

std::uint32_t MappedFile::open(int descriptor, std::uint64_t offset, std::uint64_t length,
                               int owner) noexcept {
  if (owner == fields_.descriptor) fields_.descriptor = 0;  // it stays open for the new mapping
  close();
  return map(descriptor, offset, length, owner);
}

std::uint32_t MappedFile::map(int descriptor, std::uint64_t offset, std::uint64_t length,
                              int owner) noexcept {
  const std::uint64_t size = file_size(descriptor);
  const bool inside = offset <= size && length <= size - offset;
  void* const data = inside ? map_file(descriptor, offset + length, false) : nullptr;
  if (data == nullptr) {
    close_descriptor(owner);
    return FAILURE;
  }
  fields_ = {static_cast<const unsigned char*>(data), owner, offset, offset + length};
  return 0;
}

void MappedFile::close() noexcept {
  unmap(const_cast<unsigned char*>(fields_.data), fields_.mapped_length);
  close_descriptor(fields_.descriptor);
  fields_ = {};
}

bool MappedFile::is_whole() const noexcept {
  return !is_empty() && file_size(fields_.descriptor) >= fields_.mapped_length;
}

}  // namespace tstl
