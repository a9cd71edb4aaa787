// TextRead: reads a text file line by line, or as pairs of a key and a number.
//
//   TextRead<unsigned char> words;
//   if (words.open(path) == FAILURE) ...
//   words.for_each_pair('\t', [&](BufferRef<unsigned char> word, long long count) { ... return true; });
//   if (words.error() != 0) ...              // not the file's end: it could not be read on
//
// A line ends with LF, CR, or CR LF, and the last one also with the file. The end is not part of it.
//
// A byte-order mark at the file's start tells what its units are, and is passed over:
//
//   the file starts with  its units are            8-bit reader       16-bit reader
//   EF BB BF              UTF-8                    as they are        decodes each line
//   FF FE                 UTF-16, low byte first   decodes each line  as they are
//   FE FF                 UTF-16, high byte first  decodes each line  swaps bytes
//   anything else                                  bytes as they are  units in the machine's order
//
// (The last is what BufferWrite appends to a file of other origin.) Decoding follows utf.h, and keeps
// surrogates without a partner, as three bytes in 8-bit text. A line that is not well-formed UTF-8
// can decode to any units, line ends too. Half a 16-bit unit at the file's end is dropped. See
// docs/formats/text-files.md.
//
// The reader owns the file and a buffer. A line that is not decoded is a view into that buffer; any
// view holds until the reader's next operation. The buffer grows with the longest line, to at most
// four times its size and never beyond 4 GiB. Any file that can be read will do, also one that is
// not regular; of a pipe open() awaits the first three bytes. One thread at a time.
#pragma once

#include <cstdint>

#include "corelib/base/types.h"
#include "corelib/io/files/detail/line_buffer.h"
#include "corelib/io/files/detail/pair_line.h"
#include "corelib/io/files/pair_faults.h"
#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

template <Unit T>
class TextRead {
 public:
  using View = BufferRef<T>;
  static constexpr unsigned kBufferSize = 32768;

  TextRead() noexcept = default;
  TextRead(const TextRead&) = delete;
  TextRead& operator=(const TextRead&) = delete;

  // Closes the file before and opens `path` (zero-terminated), to be read through a buffer of about
  // `buffer_size` bytes. Returns 0; or FAILURE, with the reader closed and error() telling why, when
  // the path is null or the file's first bytes cannot be read.
  [[nodiscard]] unsigned open(const char* path, unsigned buffer_size = kBufferSize) noexcept {
    faults_ = {};
    return lines_.open(path, buffer_size, sizeof(T)) == 0 ? 0 : FAILURE;
  }
  // Frees everything. error() stays.
  void close() noexcept {
    lines_.close();
    decoded_.reset();
  }
  // No file is open.
  [[nodiscard]] bool is_empty() const noexcept { return !lines_.is_open(); }
  // The errno value of what kept open() or the reading from going on; 0 after the file's end, and
  // before it. ENOMEM, or EFBIG for more than 4 GiB: the line is too long.
  [[nodiscard]] int error() const noexcept { return lines_.error(); }

  // Reads the next line. Empty lines are passed over unless `empty_lines`. False, with `line` as it
  // was, when there is none; after an error, which also costs the line that it cut short.
  [[nodiscard]] bool read_line(View& line, bool empty_lines = false) noexcept {
    if (lines_.unit_size() != sizeof(T)) return read_decoded(line, empty_lines);
    return lines_.next(line, empty_lines);
  }

  // Reads the next line that is not empty as a pair. The line is split at its last `separator`, so
  // that a key may hold separators and a value cannot. The value is read by the rule of View's
  // to_uint64, or to_int64 when it starts with '-': "12 " is 12, " 12", "x" and nothing are 0. Values
  // from 2^63 on, up to 2^64 - 1, come as the negative number with the same 64 bits. A line without
  // a separator is a key with value 0. The key may be empty, that of "\t5" is. pair_faults() counts,
  // since open(), the lines that were not just a key, a separator and a number.
  [[nodiscard]] bool read_pair(T separator, View& key, long long& value) noexcept;
  [[nodiscard]] const PairFaults& pair_faults() const noexcept { return faults_; }

  // Calls fn(line), or fn(key, value), for what is left of the file, until it returns false. Returns
  // whether the file's end was reached: false when `fn` stopped it or the file cannot be read on.
  template <class Fn>
  bool for_each_line(bool empty_lines, Fn&& fn) {
    for (View line; read_line(line, empty_lines);) {
      if (!fn(line)) return false;
    }
    return error() == 0;
  }
  template <class Fn>
  bool for_each_pair(T separator, Fn&& fn) {
    View key;
    for (long long value; read_pair(separator, key, value);) {
      if (!fn(key, value)) return false;
    }
    return error() == 0;
  }

 private:
  using OtherUnit = typename Buffer<T>::OtherUnit;

  bool read_decoded(View& line, bool empty_lines) noexcept;

  detail::LineBuffer lines_;
  // The last line, when the file's units are of the other width; behind some units that split_pair
  // may look at.
  Buffer<T> decoded_;
  PairFaults faults_;
};

// ---------------------------------------------------------------------------------------------------------------------

template <Unit T>
inline bool TextRead<T>::read_pair(T separator, View& key, long long& value) noexcept {
  if (!read_line(key)) return false;
  value = detail::split_pair(key, separator, faults_);
  return true;
}

extern template class TextRead<unsigned char>;
extern template class TextRead<unsigned short>;

}  // namespace tstl
