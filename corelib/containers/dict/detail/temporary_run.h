// TemporaryRun: a temporary file that is written from start to end and then read from start to end,
// any number of times.
//
// The file has no name. Calls that return int return 0 or an errno value, such as ENOSPC for a full
// disk.
#pragma once

#include <cstdint>
#include <utility>

#include "corelib/io/files/descriptor.h"
#include "corelib/text/buffer.h"

namespace tstl::detail {

class TemporaryRun {
 public:
  TemporaryRun() = default;
  TemporaryRun(TemporaryRun&& other) noexcept { *this = std::move(other); }
  TemporaryRun& operator=(TemporaryRun&& other) noexcept;
  ~TemporaryRun() { reset(); }

  [[nodiscard]] int create(const char* folder);
  // Appends `n` bytes, through a buffer. REQUIRES, as peek() does: n <= kMostAtOnce.
  [[nodiscard]] int append(const void* bytes, std::uint64_t n);

  // Flushes what was appended and moves to the start, for reading.
  [[nodiscard]] int rewind();
  // The next `n` bytes, valid until the next call. Null if fewer are left, with error() 0; or if
  // the file cannot be read, with its errno value in error().
  const unsigned char* peek(std::uint64_t n) {
    return n <= end_ - start_ || fill(n) ? bytes_.cstr(start_) : nullptr;
  }
  void skip(std::uint64_t n) { start_ += static_cast<std::uint32_t>(n); }
  int error() const { return error_; }

  // Reads or writes `n` bytes at `offset`, without the buffer. REQUIRES: rewind() was called, and
  // is called again before the next peek().
  [[nodiscard]] int read_at(std::uint64_t offset, void* to, std::uint64_t n);
  [[nodiscard]] int write_at(std::uint64_t offset, const void* from, std::uint64_t n);

  // close_buffer() frees the buffer's memory until it is needed again; reset() also closes the
  // file.
  void close_buffer() { bytes_.reset(); }
  void reset();

  static constexpr std::uint32_t kMostAtOnce = 160 << 10;

 private:
  static constexpr std::uint32_t kBuffer = 256 << 10;

  int flush();
  bool fill(std::uint64_t n);

  int fd_ = -1;
  int error_ = 0;
  std::uint32_t start_ = 0, end_ = 0;  // the valid bytes of the buffer
  bool is_writing_ = false;
  Buffer<unsigned char> bytes_;
};

}  // namespace tstl::detail
