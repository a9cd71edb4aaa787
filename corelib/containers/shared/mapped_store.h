// MappedStore: a shared, writable memory mapping of a file whose size is between two limits.
//
// The file is created if it is missing, and grows by holes, which take no disk space until
// something is written there; bytes never written are zeros. Every process that maps or reads the
// file sees a write at once, also after this process is killed. After sync() the contents survive a
// crash of the system too. The file has no format of its own: docs/formats/mapped-store.md.
//
// The object owns the mapping and the descriptor; close(), the next open and the destructor release
// both. A resize moves the mapping and invalidates all pointers into it. Nothing is locked:
// processes that share a store must synchronize (see NamedSemaphore), also to change its size. If a
// process truncates the file, an access past the new end is fatal for the others (see mapping.h).
// is_whole() detects that; resize() to the wanted size repairs it, with zeros for what was lost. A
// write into a hole is fatal too if the disk is full.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace tstl {

class MappedStore {
 public:
  MappedStore() = default;
  MappedStore(MappedStore&& other) noexcept : fields_(std::exchange(other.fields_, {})) {}
  MappedStore& operator=(MappedStore&& other) noexcept;
  ~MappedStore() { close(); }

  // Closes first. Opens or creates the file, extends it to `minimum` bytes if it is shorter, and
  // maps it whole. The greatest size is `maximum`, or the file's size if that is more. 0; or
  // FAILURE and a closed object, if the file cannot be opened for writing, extended or mapped, or
  // would be empty. After a failure a file that was created is left empty; an existing one has its
  // old size.
  std::uint32_t open(const char* path, std::uint64_t minimum, std::uint64_t maximum) noexcept;

  // Set the size of file and mapping: resize() to `n` bytes, raised to the minimum, then lowered to
  // the maximum; resize_exact() to exactly `n`. The contents up to the smaller of the old and the
  // new size are kept; new bytes are zeros. Return the new size, or 0 on failure; mapped_length()
  // is then 0 too, so callers must check the result.
  //
  // If the file's size cannot be changed (or the store is closed), data() keeps its value. If the
  // new size cannot be mapped, data() is null, and a file that was extended gets its old size back,
  // unless another process has changed the size meanwhile: bytes that others may use are not cut
  // off. Either way resize() may be tried again, and close() releases everything. An exact size of
  // 0 empties the file and counts as a failure, because nothing can be mapped.
  [[nodiscard]] std::uint64_t resize(std::uint64_t n) noexcept;
  [[nodiscard]] std::uint64_t resize_exact(std::uint64_t n) noexcept;

  // Waits until the contents are on disk. 0, or FAILURE if writing failed or there is nothing to
  // write: the store is closed or its resize failed.
  std::uint32_t sync() const noexcept;

  void close() noexcept;

  bool is_empty() const noexcept { return fields_.data == nullptr; }
  unsigned char* data() const noexcept { return fields_.data; }
  // Bytes at data(); 0 after a failed resize.
  std::uint64_t mapped_length() const noexcept { return fields_.mapped_length; }
  std::uint64_t minimum() const noexcept { return fields_.minimum; }
  std::uint64_t maximum() const noexcept { return fields_.maximum; }
  // The file's size before open() extended it; 0 for a new store.
  std::uint64_t size_at_open() const noexcept { return fields_.size_at_open; }

  // Whether there is a mapping and the file is still at least as long.
  bool is_whole() const noexcept;

 private:
  struct Fields {
    std::uint64_t size_at_open = 0;
    std::uint64_t mapped_length = 0;
    std::uint64_t minimum = 0;
    std::uint64_t maximum = 0;
    unsigned char* data = nullptr;
    int descriptor = 0;
    std::uint64_t held_length = 0;  // bytes to unmap: mapped_length, unless a resize failed
  };
  static_assert(offsetof(Fields, mapped_length) == 8 && offsetof(Fields, maximum) == 24);
  static_assert(offsetof(Fields, data) == 32 && std::is_trivially_copyable_v<Fields>);

  Fields fields_;
};

}  // namespace tstl
