// LineBuffer: reads a file one buffer at a time and splits it into lines of the file's own units.
// TextRead decodes these to text of the width that the caller wants.
//
// The buffer holds what was read and not yet returned. There is a block of spare bytes before and
// after it, so that a search may load whole blocks anywhere. The one after the text is full of line
// feeds, which end every search.
//
//   memory_            at_              end_
//   +-------+----------+----------------+---------+----------+
//   | spare |  done    |  next lines    | LF x 64 |   free   |
//   +-------+----------+----------------+---------+----------+
#pragma once

#include <bit>
#include <cassert>
#include <cstddef>
#include <cstdint>

#include "corelib/base/block.h"
#include "corelib/base/types.h"
#include "corelib/text/buffer_ref.h"

namespace tstl::detail {

// Which of the 64 bytes from `p` on begin a line feed or a carriage return; the first byte's bit is
// the lowest. It finds all breaks of a block at once, so that the search for one line does not wait
// for that of the line before.
template <Unit U>
std::uint64_t breaks_from(const U* p) noexcept {
  using Block = base::Block<U>;
  const auto hits = [p](unsigned i) {
    const auto units = Block::load(p + i * Block::kUnits);
    return equal(units, Block::fill('\n')) | equal(units, Block::fill('\r'));
  };
  return bit_per_unit(hits(0), hits(1), hits(2), hits(3));
}

class LineBuffer {
 public:
  LineBuffer() noexcept = default;
  LineBuffer(const LineBuffer&) = delete;
  LineBuffer& operator=(const LineBuffer&) = delete;
  ~LineBuffer() { close(); }

  // Opens a file and reads its first bytes. A byte-order mark there tells the width of its units;
  // otherwise they have `unit_size` bytes in the machine's order. Returns 0 or an errno value, in
  // which case the buffer is closed.
  int open(const char* path, std::size_t size, unsigned unit_size) noexcept;
  // Closes the file and frees the memory.
  void close() noexcept;
  [[nodiscard]] bool is_open() const noexcept { return fd_ >= 0; }

  // 1 or 2 bytes.
  [[nodiscard]] unsigned unit_size() const noexcept { return unit_size_; }
  // The errno value of the failure that ended the reading; 0 at the end of the file. Stays after
  // close().
  [[nodiscard]] int error() const noexcept { return error_; }

  // Returns the next line, or the next one that is not empty. The view is valid until the next
  // operation. False at the end of the file and after an error; the line that an error cut short is
  // lost. REQUIRES: sizeof(U) == unit_size().
  template <Unit U>
  bool next(BufferRef<U>& line, bool empty_lines) noexcept;
  // Ends the reading with this error. Always false.
  bool fail(int error) noexcept;

 private:
  static constexpr std::size_t kSpare = 64;  // the bytes that breaks_from reads
  static constexpr std::uint64_t kLeastSize = 16;
  // In bytes. A view's length can express any line that fits, even with the spare bytes.
  static constexpr std::uint64_t kGreatestSize = 0xFFFFFF00;

  // The next break, which may be the first line feed after the text.
  template <Unit U>
  const unsigned char* next_break() noexcept;
  template <Unit U>
  [[gnu::noinline]] const unsigned char* next_break_in_file() noexcept;
  template <Unit U>
  void search_from(const unsigned char* at) noexcept;
  template <Unit U>
  void skip_line_feed() noexcept;
  // Makes the end of the text the next break.
  void stop() noexcept {
    block_ = end_;
    breaks_ = 1;
  }
  bool fill() noexcept;
  bool read_more() noexcept;
  bool make_room() noexcept;
  bool resize(std::uint64_t size) noexcept;
  void take_mark() noexcept;
  void swap_units(std::size_t n) noexcept;
  void spread_line_feeds() noexcept;

  std::size_t left() const noexcept { return static_cast<std::size_t>(end_ - at_); }

  unsigned char* memory_ = nullptr;
  std::size_t size_ = 0;                  // size of the part between the spare blocks
  const unsigned char* at_ = nullptr;     // the next line
  unsigned char* end_ = nullptr;          // end of the whole units
  const unsigned char* block_ = nullptr;  // the 64 bytes that were searched last
  std::uint64_t breaks_ = 1;              // the breaks in them not yet used, a bit per byte
  int fd_ = -1;
  int error_ = 0;
  unsigned char unit_size_ = 1;
  unsigned char half_ = 0;  // the first byte of a unit whose second byte is still in the file
  bool has_half_ = false;
  bool swapped_ = false;   // the file's units are not in the machine's order
  bool after_cr_ = false;  // a line feed at the start of the next fill ends the line before
  bool ended_ = true;      // nothing more to read
};

// ---------------------------------------------------------------------------------------------------------------------

template <Unit U>
void LineBuffer::search_from(const unsigned char* at) noexcept {
  block_ = at;
  breaks_ = breaks_from(reinterpret_cast<const U*>(at));
}

template <Unit U>
const unsigned char* LineBuffer::next_break() noexcept {
  while (breaks_ == 0) search_from<U>(block_ + kSpare);
  const auto offset = std::countr_zero(breaks_);
  breaks_ &= breaks_ - 1;
  return block_ + offset;
}

// Reads more of the file when the buffer has no further break. Returns the break found, the end of
// the last line, or null when nothing is left.
template <Unit U>
const unsigned char* LineBuffer::next_break_in_file() noexcept {
  const unsigned char* found;
  do {
    const std::size_t seen = left();
    if (!fill()) {
      stop();
      return at_ != end_ ? end_ : nullptr;
    }
    if (after_cr_ && *reinterpret_cast<const U*>(at_) == '\n') at_ += sizeof(U);
    after_cr_ = false;
    search_from<U>(at_ + seen);
    found = next_break<U>();
  } while (found == end_);
  return found;
}

// Skips the line feed of a CR LF, which may not have been read yet.
template <Unit U>
void LineBuffer::skip_line_feed() noexcept {
  after_cr_ = at_ == end_;
  if (!after_cr_ && *reinterpret_cast<const U*>(at_) == '\n') at_ = next_break<U>() + sizeof(U);
}

template <Unit U>
inline bool LineBuffer::next(BufferRef<U>& line, bool empty_lines) noexcept {
  assert(sizeof(U) == unit_size_);
  for (;;) {
    const unsigned char* found = next_break<U>();
    if (found == end_) found = next_break_in_file<U>();
    if (found == nullptr) return false;
    const unsigned char* const start = at_;
    at_ = found == end_ ? found : found + sizeof(U);
    if (*reinterpret_cast<const U*>(found) == '\r') skip_line_feed<U>();
    const auto len = static_cast<unsigned>(static_cast<std::size_t>(found - start) / sizeof(U));
    if (len == 0 && !empty_lines) continue;
    line = BufferRef<U>(reinterpret_cast<const U*>(start), len);
    return true;
  }
}

}  // namespace tstl::detail
