// BufferWriteBase: writes a file of text or of binary elements through a block in memory. So the
// system gets few writes, each of a whole number of blocks.
//
//   BufferWriteBase<Buffer<unsigned char>> out;         // or BufferWrite<unsigned char>
//   if (out.open(path, false) == FAILURE) ...
//   (out << "width=").write_num(640).write_line_end(false);
//   out.close();
//   if (out.error() != 0) ...                           // a full disk, say
//
// Elements are the units of the buffer: bytes, or 16-bit units. 16-bit units are written in the
// machine's byte order, after a byte-order mark. All counts are in elements unless they say bytes.
//
// The writer owns the file and its block (9 KiB at most). It copies what it is given before the
// call returns. Up to one block (4096 bytes) is in memory only until a flush or the end; the C
// stream buffers nothing.
//
// The write operations return no errors, so that calls can be chained. The writer keeps the
// system's first error since open(), and error() reports it. From then on nothing more goes to the
// file, so the file is a prefix of what was written and has no gap. A writer without a file accepts
// and counts everything, and discards it. A writer is for one thread at a time.
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

  // The file gets multiples of kBlock. While a short text is added, up to kMargin elements more
  // than a block can be pending.
  static constexpr unsigned kBlock = 4096 / sizeof(T);
  static constexpr unsigned kMargin = 384 / sizeof(T);

  BufferWriteBase() noexcept = default;
  BufferWriteBase(const BufferWriteBase&) = delete;
  BufferWriteBase& operator=(const BufferWriteBase&) = delete;
  ~BufferWriteBase() { close(); }

  // Closes the open file, if any, and opens `path` (zero-terminated) for writing: as a new file or,
  // with `append`, at its end. A 16-bit file that is new or empty starts with U+FEFF. Returns 0; or
  // FAILURE, with the writer closed and the reason in error(), also for a null path.
  [[nodiscard]] unsigned open(const char* path, bool append) noexcept;
  // Whether no file is open.
  [[nodiscard]] bool is_empty() const noexcept { return file_ == nullptr; }

  // Adds elements. `data` may be a part of pending(). Whole blocks of a long text are written from
  // the caller's memory without a copy.
  BufferWriteBase& write(View data) noexcept {
    const unsigned n = data.len();
    if (n > kMargin || !block_.has_memory()) return write_long(data);
    return filled(copy(block_.place(), data));
  }
  BufferWriteBase& operator<<(View data) noexcept { return write(data); }
  // Add one element; a number's decimal digits, as NUM::zz_tostr writes them; a line end, "\r\n" if
  // `crlf`, else "\n".
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
  // Writes everything pending to the file, frees the block until the next element, and flushes the
  // C stream.
  void force_flush() noexcept;
  // Writes everything pending, closes the file, frees the block and sets written() to 0. error()
  // stays. Closing a closed writer discards what is pending.
  void close() noexcept;

  // Elements passed to the file since it was opened, including those lost to an error.
  [[nodiscard]] std::uint64_t written() const noexcept { return written_; }
  // Elements not yet passed to the file; the view is valid until the next operation.
  [[nodiscard]] View pending() const noexcept { return block_; }
  // The size of the file in bytes, as the system has it (0 when none is open), plus the pending
  // bytes.
  [[nodiscard]] std::uint64_t file_size() const noexcept;
  // The errno value of the first failure since the last open(), its own included; 0 when there was
  // none. ENOMEM: the block could not be allocated.
  [[nodiscard]] int error() const noexcept { return error_; }

 private:
  static_assert(std::is_same_v<Storage, Buffer<T>>);
  static constexpr unsigned kPairRoom = NUM::kDecimalRoom + 3;  // separator, digits, zero, "\r\n"

  // The storage, with access for writing in place. It has memory for a block and the margin, or
  // none.
  struct Block : Storage {
    bool has_memory() const noexcept { return this->ref_internal_data() != nullptr; }
    T* place() noexcept { return this->end(); }
    // Ends the text at `end` and writes a zero there. Returns the text's length.
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
  // Called after up to kMargin elements were written after the pending ones, up to `end`.
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
