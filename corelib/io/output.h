// Output: the buffer that a writer fills, with the pointers that its inner loops need.
//
// A writer keeps its write position itself (`at`, null while it has no memory) and passes it in. So
// the length of the buffer is not updated with every byte; give_back() sets it. When an allocation
// fails, the buffer is emptied and stays empty, whatever is written, until clear(): no message is
// ever continued with a gap in it.
#pragma once

#include <cassert>
#include <cstdint>

#include "corelib/text/buffer.h"

namespace tstl::detail {

class Output {
 public:
  // Whether `n` bytes from `at` on fit without allocating more.
  [[nodiscard]] bool has_room(const unsigned char* at, std::uint64_t n) const noexcept {
    return n <= static_cast<std::uint64_t>(limit_ - at);
  }
  // Makes space for `n` bytes from `at` on, where the contents end. Returns the new address of that
  // position, or null when the allocation failed. REQUIRES: n is not 0.
  [[nodiscard]] unsigned char* room(unsigned char* at, std::uint64_t n) noexcept {
    return has_room(at, n) ? at : more_room(at, n);
  }
  // The current address of the byte at offset `position`. REQUIRES: it was written.
  [[nodiscard]] unsigned char* place(std::uint64_t position) const noexcept {
    return begin_ + position;
  }
  [[nodiscard]] std::uint64_t position(const unsigned char* at) const noexcept {
    return static_cast<std::uint64_t>(at - begin_);
  }

  // Sets the length of the buffer to `at` and returns the buffer for others to read and change. The
  // writer has no memory then: its next room() continues after what the buffer holds.
  Buffer<unsigned char>& give_back(const unsigned char* at) noexcept;
  // Empties the buffer, keeping its memory, for a new message.
  void clear(const unsigned char* at) noexcept;
  // Frees the memory. The buffer stays empty until clear().
  void fail() noexcept;

  [[nodiscard]] bool failed() const noexcept { return failed_; }

 private:
  unsigned char* more_room(unsigned char* at, std::uint64_t n) noexcept;

  Buffer<unsigned char> buffer_;
  // The memory of the buffer while the writer has it.
  unsigned char* begin_ = nullptr;
  unsigned char* limit_ = nullptr;
  bool failed_ = false;
};

}  // namespace tstl::detail
