// BufferWriteBase: writes a file of text or of binary elements through a block in memory, so that
// the system receives few writes, each a whole number of blocks.
//
//   BufferWriteBase<Buffer<unsigned char>> out;         // or BufferWrite<unsigned char>
//   if (out.open(path, false) == FAILURE) ...
//   (out << "width=").write_num(640).write_line_end(false);
//   out.close();
//   if (out.error() != 0) ...                           // the disk was full, or the like
//
// Elements are the units of the buffer: bytes, or 16-bit units, which stand in the file in the
// machine's byte order behind a byte-order mark. All counts are in elements unless they say bytes.
//
// The writer owns the file and its block (9 KiB at most). What is written is copied out before the
// call returns. Until a flush or the end, up to one block (4096 bytes) is in memory only; the C
// stream keeps nothing back.
//
// Writing never reports a failure, so that calls can be chained. The first error of the system since
// open() is kept and told by error(); nothing more goes to the file from then on, so that it is a
// beginning of what was written and has no hole. A writer without a file takes everything and counts
// it, and it goes nowhere. One thread at a time.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <type_traits>

#include "corelib/base/bytes.h"
#include "corelib/base/types.h"
#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"
#include "corelib/text/num.h"

namespace tstl {

// Storage: Buffer<unsigned char> or Buffer<unsigned short>, the type of the block in memory.
template <class Storage>
class BufferWriteBase {
 public:
  using unit_type = typename Storage::unit_type;
  using T = unit_type;
  using View = BufferRef<T>;

  // What the file receives multiples of, and how much more than a block can be pending while a short
  // text is added.
  static constexpr unsigned kBlock = 4096 / sizeof(T);
  static constexpr unsigned kMargin = 384 / sizeof(T);

  BufferWriteBase() noexcept = default;
  BufferWriteBase(const BufferWriteBase&) = delete;
  BufferWriteBase& operator=(const BufferWriteBase&) = delete;
  ~BufferWriteBase() { close(); }

  // Closes the file before, and opens `path` (zero-terminated) for writing: a new file, or with
  // `append` behind what is there. A 16-bit file that is new or empty starts with U+FEFF. Returns 0;
  // or FAILURE with the writer closed and error() telling why, also for a null path.
  [[nodiscard]] unsigned open(const char* path, bool append) noexcept;
  // No file is open.
  [[nodiscard]] bool is_empty() const noexcept { return file_ == nullptr; }

  // Adds elements. `data` may be a part of pending(). Whole blocks of a long text go from the
  // caller's memory to the file, without a copy.
  BufferWriteBase& write(View data) noexcept {
    const unsigned n = data.len();
    if (n > kMargin || !block_.has_memory()) return write_long(data);
    return filled(copy(block_.place(), data));
  }
  BufferWriteBase& operator<<(View data) noexcept { return write(data); }
  // Adds one element; the decimal digits of a number, by the rule of NUM::zz_tostr; "\n", or "\r\n"
  // if `crlf`.
  BufferWriteBase& write_chr(T c) noexcept {
    if (!has_block()) return *this;
    T* const at = block_.place();
    *at = c;
    return filled(at + 1);
  }
  template <Integer V>
  BufferWriteBase& write_num(V value) noexcept {
    if (!has_block()) return *this;
    T* const at = block_.place();
    return filled(at + NUM::zz_tostr(at, value));
  }
  BufferWriteBase& write_line_end(bool crlf) noexcept {
    return has_block() ? filled(line_end(block_.place(), crlf)) : *this;
  }
  // Adds a line of a key-value file: key, separator, decimal value, line end.
  BufferWriteBase& write_pair(View key, T separator, std::uint64_t value, bool crlf) noexcept;

  // Writes the whole blocks that are pending to the file and keeps the rest.
  void try_flush() noexcept {
    if (block_.len() == kBlock) spill();
  }
  // Writes everything pending to the file, lets go of the block's memory until the next element, and
  // flushes the C stream.
  void force_flush() noexcept;
  // Writes everything pending, closes the file, frees the block and sets written() to 0. error()
  // stays. Closing a closed writer drops what is pending.
  void close() noexcept;

  // Elements that went to the file since it was opened, those lost to an error included.
  [[nodiscard]] std::uint64_t written() const noexcept { return written_; }
  // Elements that did not yet, until the next operation.
  [[nodiscard]] View pending() const noexcept { return block_; }
  // Bytes: the file's size as the system has it (0 when none is open) and what is pending.
  [[nodiscard]] std::uint64_t file_size() const noexcept;
  // The errno value of the first failure since the last open(), its own included, up to the next
  // one; 0 when there was none. ENOMEM: there was no memory for the block.
  [[nodiscard]] int error() const noexcept { return error_; }

 private:
  static_assert(std::is_same_v<Storage, Buffer<T>>);
  static constexpr unsigned kPairRoom = NUM::kDecimalRoom + 3;  // separator, digits, zero, "\r\n"

  // The storage, with access for what is written in place. It has memory for a block and the margin,
  // or none.
  struct Block : Storage {
    bool has_memory() const noexcept { return this->ref_internal_data() != nullptr; }
    T* place() noexcept { return this->end(); }
    // The text ends at `end` now, behind which a zero is written. Returns its length.
    unsigned end_at(T* end) noexcept {
      const auto n = static_cast<unsigned>(end - this->begin());
      assert(n <= kBlock + kMargin);
      this->BufferFixBase<T>::len_ = n;
      *end = 0;
      return n;
    }
  };

  static T* copy(T* to, View data) noexcept {
    base::copy_varied(to, data.cstr(), data.len() * sizeof(T));
    return to + data.len();
  }
  static T* line_end(T* at, bool crlf) noexcept {
    if (crlf) *at++ = '\r';
    *at++ = '\n';
    return at;
  }

  bool has_block() noexcept { return block_.has_memory() || reserve(); }
  // Up to kMargin elements were put behind the pending ones, up to `end`.
  BufferWriteBase& filled(T* end) noexcept {
    if (block_.end_at(end) > kBlock) spill();
    return *this;
  }

  bool reserve() noexcept;
  BufferWriteBase& write_long(View data) noexcept;
  BufferWriteBase& write_long_pair(View key, T separator, std::uint64_t value, bool crlf) noexcept;
  void spill() noexcept;
  void put(const T* from, std::uint64_t n) noexcept;
  void fail(int error) noexcept {
    if (error_ == 0) error_ = error;
  }

  std::uint64_t written_ = 0;
  std::FILE* file_ = nullptr;  // unbuffered
  Block block_;
  int error_ = 0;
};

template <Unit T>
using BufferWrite = BufferWriteBase<Buffer<T>>;

static_assert(sizeof(BufferWrite<unsigned short>) ==
              8 + sizeof(void*) + sizeof(Buffer<unsigned short>) + 4);

// ---------------------------------------------------------------------------------------------------------------------

template <class Storage>
inline BufferWriteBase<Storage>& BufferWriteBase<Storage>::write_pair(View key, T separator,
                                                                      std::uint64_t value,
                                                                      bool crlf) noexcept {
  if (key.len() > kMargin - kPairRoom || !block_.has_memory()) {
    return write_long_pair(key, separator, value, crlf);
  }
  T* at = copy(block_.place(), key);
  *at++ = separator;
  at += NUM::zz_tostr(at, value);
  return filled(line_end(at, crlf));
}

extern template class BufferWriteBase<Buffer<unsigned char>>;
extern template class BufferWriteBase<Buffer<unsigned short>>;

}  // namespace tstl
