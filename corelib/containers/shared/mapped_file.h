// MappedFile: a file, or a stretch of one, read where the system maps it.
//
// The mapping is read-only and private. The object owns it, and the descriptor of the file when it
// has one; both go with close(), the next open or its end, and everything that points into the
// mapping dies with them. Moving leaves the mapping where it is. Any number of threads may read.
//
//   data                payload = data + data_offset         data + mapped_length
//   |-------------------|--------------------------------------|
//
// An open fails on a file that is shorter than what is to be mapped. A file that is cut afterwards
// makes reading behind its end fatal (see mapping.h): whoever cannot rule that out asks is_whole()
// before a read, which narrows the gap and cannot close it, or reads the file instead of mapping.
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
  // Takes `owner` over, a descriptor to be closed with the mapping (and at once after a failure),
  // usually `descriptor` itself; 0 when the caller goes on owning it. REQUIRES: `descriptor` is not
  // one that this object owns, unless that is the `owner` again.
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

  // Whether the file is still as long as the mapping. False, too, when closed, and when there is no
  // descriptor of its own to ask.
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
