// MappedFile: a read-only memory mapping of a file or of a range of it.
//
// The mapping is private. The object owns it, and the file's descriptor if it has one. close(), the
// next open and the destructor release both; pointers into the mapping are then invalid. Moving the
// object keeps the mapping's address. Any number of threads may read.
//
//   data                payload = data + data_offset         data + mapped_length
//   |-------------------|--------------------------------------|
//
// An open fails if the file is shorter than the range to map. If the file is truncated afterwards,
// a read past its new end is fatal (see mapping.h). A caller that cannot rule that out may call
// is_whole() before each read, which leaves a small race, or read the file instead of mapping it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace tstl {

class MappedFile {
 public:
  MappedFile() = default;
  MappedFile(MappedFile&& other) noexcept : fields_(std::exchange(other.fields_, {})) {}
  MappedFile& operator=(MappedFile&& other) noexcept;
  ~MappedFile() { close(); }

  // Each closes first. 0, or FAILURE and a closed object.
  //
  // Maps a whole file. An empty file cannot be mapped.
  std::uint32_t open(const char* path) noexcept;
  // Maps the first offset + length bytes of an open file; the payload is the last `length` of them.
  // Takes ownership of `owner`, a descriptor to be closed with the mapping (or at once on failure).
  // It is usually `descriptor` itself, or 0 if the caller keeps the ownership. REQUIRES: this
  // object does not own `descriptor`, unless `owner` is the same.
  std::uint32_t open(int descriptor, std::uint64_t offset, std::uint64_t length,
                     int owner) noexcept;

  void close() noexcept;

  bool is_empty() const noexcept { return fields_.data == nullptr; }
  // Null when closed, like payload().
  const unsigned char* data() const noexcept { return fields_.data; }
  const unsigned char* payload() const noexcept { return fields_.data + fields_.data_offset; }
  std::uint64_t data_offset() const noexcept { return fields_.data_offset; }
  // Bytes from data() on, and from payload() on.
  std::uint64_t mapped_length() const noexcept { return fields_.mapped_length; }
  std::uint64_t payload_length() const noexcept {
    return fields_.mapped_length - fields_.data_offset;
  }

  // Whether the file is still at least as long as the mapping. False also if the object is closed
  // or owns no descriptor.
  bool is_whole() const noexcept;

 private:
  struct Fields {
    const unsigned char* data = nullptr;
    int descriptor = 0;
    std::uint64_t data_offset = 0;
    std::uint64_t mapped_length = 0;
  };
  static_assert(offsetof(Fields, descriptor) == sizeof(void*) &&
                offsetof(Fields, data_offset) == 16);
  static_assert(offsetof(Fields, mapped_length) == 24 && std::is_trivially_copyable_v<Fields>);

  std::uint32_t map(int descriptor, std::uint64_t offset, std::uint64_t length, int owner) noexcept;

  Fields fields_;
};

}  // namespace tstl
