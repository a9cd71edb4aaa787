// LineBuffer: a file, a buffer at a time, cut into lines of the file's own units. TextRead makes
// text of the wanted width out of them.
//
// The buffer holds what was read and not yet handed out. On both sides of it stands a block of
// spare bytes, so that a search may load whole blocks anywhere; the one behind the text is full of
// line feeds, which end every search.
//
//   memory_            at_              end_
//   +-------+----------+----------------+---------+----------+
//   | spare |  done    |  next lines    | LF x 16 |   free   |
//   +-------+----------+----------------+---------+----------+
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>

#include "corelib/text/buffer_ref.h"
#include "corelib/text/detail/simd.h"
#include "corelib/text/types.h"

namespace tstl::detail {

// The first line feed or carriage return from `p` on. REQUIRES: there is one, and a block of units
// can be read from there on.
template <Unit U>
const U* find_break(const U* p) noexcept {
  for (;; p += Block<U>::kUnits) {
    const auto units = Block<U>::load(p);
    const auto mask =
        (equal(units, Block<U>::fill('\n')) | equal(units, Block<U>::fill('\r'))).mask();
    if (mask) return p + mask.first();
  }
}

class LineBuffer {
 public:
  LineBuffer() noexcept = default;
  LineBuffer(const LineBuffer&) = delete;
  LineBuffer& operator=(const LineBuffer&) = delete;
  ~LineBuffer() { close(); }

  // Opens a file and reads its first bytes. They tell the width of its units; where they do not, it
  // has units of `unit_size` bytes in the machine's order. Returns an errno value, 0 when all went
  // well; the buffer is as after close() otherwise.
  int open(const char* path, std::size_t size, unsigned unit_size) noexcept;
  // Closes the file and frees the memory.
  void close() noexcept;
  [[nodiscard]] bool is_open() const noexcept { return fd_ >= 0; }

  // 1 or 2 bytes.
  [[nodiscard]] unsigned unit_size() const noexcept { return unit_size_; }
  // What ended the reading, 0 for the file's end. Kept by close().
  [[nodiscard]] int error() const noexcept { return error_; }

  // Hands out the next line, or the next one that is not empty. The view is good until the next call
  // of any operation. False at the end, and after an error, which costs the line that it cut.
  // REQUIRES: sizeof(U) == unit_size().
  template <Unit U>
  bool next(BufferRef<U>& line, bool empty_lines) noexcept;
  // Ends the reading.
  bool fail(int error) noexcept;

 private:
  static constexpr std::size_t kSpare = 16;
  static constexpr std::uint64_t kLeastSize = 16;
  // In bytes, with everything around it; a view's length holds any line that fits.
  static constexpr std::uint64_t kGreatestSize = 0xFFFFFF00;

  template <Unit U>
  const U* find_further() noexcept;
  bool fill() noexcept;
  bool read_more() noexcept;
  bool make_room() noexcept;
  bool resize(std::uint64_t size) noexcept;
  void take_mark() noexcept;
  void swap_units(unsigned char* from) noexcept;
  void spread_line_feeds() noexcept;

  std::size_t left() const noexcept { return static_cast<std::size_t>(end_ - at_); }

  unsigned char* memory_ = nullptr;
  std::size_t size_ = 0;          // of the part between the spare blocks
  unsigned char* at_ = nullptr;   // the next line
  unsigned char* end_ = nullptr;  // of the whole units
  int fd_ = -1;
  int error_ = 0;
  unsigned char unit_size_ = 1;
  unsigned char half_ = 0;  // the first byte of a unit whose second byte is still in the file
  bool has_half_ = false;
  bool swapped_ = false;   // the file's units are not in the machine's order
  bool after_cr_ = false;  // a line feed at the start of the next fill belongs to a line handed out
  bool ended_ = true;      // nothing more to read
};

// ---------------------------------------------------------------------------------------------------------------------

// Reads on when there is no break in the buffer. Returns the break then found, the end of the last
// line, or null when nothing is left.
template <Unit U>
const U* LineBuffer::find_further() noexcept {
  for (;;) {
    const std::size_t seen = left();
    if (!fill()) return at_ != end_ ? reinterpret_cast<const U*>(end_) : nullptr;
    if (after_cr_) {
      assert(seen == 0);
      after_cr_ = false;
      if (*reinterpret_cast<const U*>(at_) == '\n') at_ += sizeof(U);
    }
    const U* const found = find_break(reinterpret_cast<const U*>(at_ + seen));
    if (found != reinterpret_cast<const U*>(end_)) return found;
  }
}

template <Unit U>
bool LineBuffer::next(BufferRef<U>& line, bool empty_lines) noexcept {
  assert(sizeof(U) == unit_size_);
  if (at_ == nullptr) return false;
  for (;;) {
    const U* found = find_break(reinterpret_cast<const U*>(at_));
    if (found == reinterpret_cast<const U*>(end_)) found = find_further<U>();
    if (found == nullptr) return false;
    const U* const start = reinterpret_cast<const U*>(at_);
    const U* const end = reinterpret_cast<const U*>(end_);
    const U* after = found;
    if (found != end && *after++ == '\r') {
      if (after == end) {
        after_cr_ = true;
      } else {
        after += *after == '\n';
      }
    }
    at_ = reinterpret_cast<unsigned char*>(const_cast<U*>(after));
    if (found == start && !empty_lines) continue;
    line = BufferRef<U>(start, static_cast<unsigned>(found - start));
    return true;
  }
}

}  // namespace tstl::detail
