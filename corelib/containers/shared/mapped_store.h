// MappedStore: a file that is read and written in memory, between a least and a greatest size.
//
// The file is created when missing and grows by holes, which take no disk space until something is
// written there; bytes that were never written are zeros. What is written is in the file at once
// for every process that maps or reads it, also when this process is killed; sync() makes it
// outlast the machine. The file has no format of its own: docs/formats/mapped-store.md.
//
// The object owns mapping and descriptor; both go with close(), the next open or its end. A resize
// moves the mapping: every pointer into it is stale then. Nothing is locked; processes that share a
// store agree among themselves (see NamedSemaphore), on its size too. A process that cuts the file
// makes it fatal for the others to touch what is behind the new end (see mapping.h): is_whole()
// tells of it afterwards, and resize() to the wanted size mends it, with zeros for what was lost. A
// write into a hole is fatal, too, when the disk is full.
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

  // Closes first. Opens or creates the file, extends it to `minimum` bytes when it is shorter, and
  // maps it whole. The greatest size is `maximum`, or what the file has if that is more. 0, or
  // FAILURE and a closed object: when the file cannot be opened for writing, extended or mapped, or
  // would be empty. A file that was created stays then, empty; one that was there has its old size.
  std::uint32_t open(const char* path, std::uint64_t minimum, std::uint64_t maximum) noexcept;

  // Sets the size of file and mapping: `n` bytes, raised to the minimum, then lowered to the
  // maximum; or exactly `n`. The contents up to the smaller of the old and the new size survive,
  // what is new is zeros. Returns the new size, which a caller has to look at: it is 0 after a
  // failure, and mapped_length() is, too.
  //
  // When the file's size cannot be changed (or the store is closed), data() stays where it was.
  // When the new size cannot be mapped, data() is null; a file that had grown for it gets its old
  // size again, unless it has another size by then because a process that shares it changed that: what
  // others may use is not cut off. Either way resize() may be tried again, and close() releases everything.
  // Exactly 0 bytes empties the file and counts as a failure, since nothing can be mapped then.
  [[nodiscard]] std::uint64_t resize(std::uint64_t n) noexcept;
  [[nodiscard]] std::uint64_t resize_exact(std::uint64_t n) noexcept;

  // Returns when the contents are on disk: 0. FAILURE when the disk failed, and when there is
  // nothing to write: a closed store, or one whose resize failed.
  std::uint32_t sync() const noexcept;

  void close() noexcept;

  bool is_empty() const noexcept { return fields_.data == nullptr; }
  unsigned char* data() const noexcept { return fields_.data; }
  // Bytes at data(); 0 after a failed resize.
  std::uint64_t mapped_length() const noexcept { return fields_.mapped_length; }
  std::uint64_t minimum() const noexcept { return fields_.minimum; }
  std::uint64_t maximum() const noexcept { return fields_.maximum; }
  // What the file had before open() extended it: 0 tells a new store.
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
    std::uint64_t held_length = 0;  // what is to be unmapped: the mapped length, if nothing failed
  };
  static_assert(offsetof(Fields, mapped_length) == 8 && offsetof(Fields, maximum) == 24);
  static_assert(offsetof(Fields, data) == 32 && std::is_trivially_copyable_v<Fields>);

  Fields fields_;
};

}  // namespace tstl
