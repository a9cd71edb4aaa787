// A temporary file that is written from its start to its end and then read so, as often as wanted.
//
// The file has no name. Calls return 0 or the errno value of what the system refused: a full disk
// among others.
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
  // REQUIRES of this and peek(): n <= kMostAtOnce.
  [[nodiscard]] int append(const void* bytes, std::uint64_t n);

  // Ends the writing, or the reading, and goes to the start.
  [[nodiscard]] int rewind();
  // The next `n` bytes, which stay there until the next call. Null at the end, or when the file cannot be
  // read: error() tells which.
  const unsigned char* peek(std::uint64_t n) {
    return n <= end_ - start_ || fill(n) ? bytes_.cstr(start_) : nullptr;
  }
  void skip(std::uint64_t n) { start_ += static_cast<std::uint32_t>(n); }
  int error() const { return error_; }

  // Reads or writes `n` bytes at `offset`, past the buffer. REQUIRES: nothing is appended any more.
  [[nodiscard]] int read_at(std::uint64_t offset, void* to, std::uint64_t n);
  [[nodiscard]] int write_at(std::uint64_t offset, const void* from, std::uint64_t n);

  // Lets go of the buffer's memory until it is needed again, or of the file too.
  void close_buffer() { bytes_.reset(); }
  void reset();

  static constexpr std::uint32_t kMostAtOnce = 160 << 10;

 private:
  static constexpr std::uint32_t kBuffer = 256 << 10;

  int flush();
  bool fill(std::uint64_t n);

  int fd_ = -1;
  int error_ = 0;
  std::uint32_t start_ = 0, end_ = 0;  // of what is in the buffer
  bool is_writing_ = false;
  Buffer<unsigned char> bytes_;
};

}  // namespace tstl::detail
