#include "corelib/io/files/detail/line_buffer.h"

#include <fcntl.h>

#include <algorithm>
#include <bit>
#include <cassert>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "corelib/io/files/descriptor.h"

namespace tstl::detail {
namespace {

// The Unicode byte-order marks, U+FEFF in each form (RFC 3629, section 6; RFC 2781, section 3.2).
struct Mark {
  unsigned char bytes[3];
  unsigned char length;
  unsigned char unit_size;
  std::endian order;
};
constexpr Mark kMarks[] = {
    {{0xEF, 0xBB, 0xBF}, 3, 1, std::endian::native},
    {{0xFF, 0xFE}, 2, 2, std::endian::little},
    {{0xFE, 0xFF}, 2, 2, std::endian::big},
};
constexpr std::size_t kLongestMark = 3;

}  // namespace

int LineBuffer::open(const char* path, std::size_t size, unsigned unit_size) noexcept {
  assert(unit_size == 1 || unit_size == 2);
  close();
  error_ = 0;
  fd_ = open_file(path, O_RDONLY);
  if (fd_ < 0) return error_ = errno;
  unit_size_ = 1;
  if (resize(size)) {
    ended_ = false;
    while (left() < kLongestMark && read_more()) continue;
  }
  if (error_ != 0) {
    close();
    return error_;
  }
  unit_size_ = static_cast<unsigned char>(unit_size);
  take_mark();
  return 0;
}

void LineBuffer::close() noexcept {
  (void)close_file(fd_);
  fd_ = -1;
  std::free(memory_);
  at_ = memory_ = end_ = nullptr;
  stop();
  size_ = 0;
  has_half_ = swapped_ = after_cr_ = false;
  ended_ = true;
}

// Looks for a mark at the start, and makes whole units of the bytes after it.
void LineBuffer::take_mark() noexcept {
  for (const Mark& mark : kMarks) {
    if (left() < mark.length || std::memcmp(at_, mark.bytes, mark.length) != 0) continue;
    at_ += mark.length;
    unit_size_ = mark.unit_size;
    swapped_ = mark.order != std::endian::native;
    break;
  }
  if (left() % unit_size_ != 0) {
    half_ = *--end_;
    has_half_ = true;
  }
  swap_units(left());
  spread_line_feeds();
  block_ = at_ - kSpare;  // none of the text has been searched
  breaks_ = 0;
}

bool LineBuffer::fail(int error) noexcept {
  error_ = error;
  ended_ = true;
  at_ = end_;
  stop();
  return false;
}

// Reads at least one more unit to the end of the buffer. False when there is none.
bool LineBuffer::fill() noexcept {
  if (ended_ || !make_room()) return false;
  const std::size_t before = left();
  do {
    if (!read_more()) return false;
  } while (left() == before);
  swap_units(left() - before);
  return true;
}

// Reads once. Holds back the first half of a unit; at the end of the file it is dropped.
bool LineBuffer::read_more() noexcept {
  if (has_half_) *end_++ = half_;
  const unsigned char* const limit = memory_ + kSpare + size_;
  assert(end_ < limit);
  const std::int64_t got = read_some(fd_, end_, static_cast<std::uint64_t>(limit - end_));
  if (got > 0) end_ += got;
  ended_ = got <= 0;
  has_half_ = left() % unit_size_ != 0;
  if (has_half_) half_ = *--end_;
  spread_line_feeds();
  return got < 0 ? fail(errno) : !ended_;
}

// Moves the unread text to the front. If it takes more than half of the buffer, the buffer grows,
// so that reads stay long however long the line is.
bool LineBuffer::make_room() noexcept {
  unsigned char* const front = memory_ + kSpare;
  const std::size_t n = left();
  if (at_ != front) {
    std::memmove(front, at_, n);
    at_ = front;
    end_ = front + n;
  }
  if (n <= size_ / 2) return true;
  if (size_ < kGreatestSize) return resize(std::uint64_t{size_} * 2);
  return n < size_ || fail(EFBIG);
}

// Changes the size and keeps the unread text. REQUIRES: that is at the front, or there is no memory
// yet.
bool LineBuffer::resize(std::uint64_t size) noexcept {
  const std::size_t n = left();
  const auto bounded = static_cast<std::size_t>(std::clamp(size, kLeastSize, kGreatestSize));
  void* const memory = std::realloc(memory_, bounded + 2 * kSpare);
  if (memory == nullptr) return fail(ENOMEM);
  memory_ = static_cast<unsigned char*>(memory);
  if (size_ == 0) std::memset(memory_, 0, kSpare);
  size_ = bounded;
  at_ = memory_ + kSpare;
  end_ = memory_ + kSpare + n;
  return true;
}

// Swaps the bytes of the units in the last `n` bytes, if the file is not in the machine's order.
void LineBuffer::swap_units(std::size_t n) noexcept {
  if (!swapped_) return;
  for (unsigned char* p = end_ - n; p != end_; p += 2) std::swap(p[0], p[1]);
}

// Fills the spare block after the text with line feeds.
void LineBuffer::spread_line_feeds() noexcept {
  const unsigned short unit = '\n';
  unsigned char bytes[2] = {'\n', '\n'};
  if (unit_size_ == 2) std::memcpy(bytes, &unit, sizeof unit);
  for (std::size_t i = 0; i < kSpare; i += 2) std::memcpy(end_ + i, bytes, sizeof bytes);
}

}  // namespace tstl::detail
