// Output: the buffer that a writer fills, with the pointers that its inner loops need.
//
// A writer holds the place where it writes itself (`at`, null while it has no memory) and hands it
// in. So the length of the buffer is not kept up to date with every byte; give_back() does that.
// When memory cannot be had the buffer is emptied and stays so, whatever is written, until clear():
// no message is ever continued with a hole in it.
#pragma once

#include <cassert>
#include <cstdint>

#include "corelib/text/buffer.h"

namespace tstl::detail {

class Output {
 public:
  // Whether there is room for `n` bytes from `at` on without asking for more.
  [[nodiscard]] bool has_room(const unsigned char* at, std::uint64_t n) const noexcept {
    return n <= static_cast<std::uint64_t>(limit_ - at);
  }
  // Makes room for `n` bytes from `at` on, up to which the buffer is filled. Returns where that
  // place is now, or null. REQUIRES: n is not 0.
  [[nodiscard]] unsigned char* room(unsigned char* at, std::uint64_t n) noexcept {
    return has_room(at, n) ? at : more_room(at, n);
  }
  // Where the byte at `position` stands now. REQUIRES: it was written.
  [[nodiscard]] unsigned char* place(std::uint64_t position) const noexcept {
    return begin_ + position;
  }
  [[nodiscard]] std::uint64_t position(const unsigned char* at) const noexcept {
    return static_cast<std::uint64_t>(at - begin_);
  }

  // The buffer, filled up to `at`, for others to read and change. The writer has no memory then:
  // its next room() takes up what it finds in the buffer.
  Buffer<unsigned char>& give_back(const unsigned char* at) noexcept;
  // Empties the buffer, keeping its memory, for a new message.
  void clear(const unsigned char* at) noexcept;
  // Lets go of the memory; the buffer stays empty from here on.
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
