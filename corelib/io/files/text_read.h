// TextRead: reads a text file line by line, or as pairs of a key and a number.
//
//   TextRead<unsigned char> words;
//   if (words.open(path) == FAILURE) ...
//   words.for_each_pair('\t', [&](BufferRef<unsigned char> word, long long count) {
//     ...
//     return true;
//   });
//   if (words.error() != 0) ...              // reading failed before the end of the file
//
// A line ends with LF, CR or CR LF, the last one also with the end of the file. The line end is not
// part of the line.
//
// A byte-order mark at the start of the file tells what its units are, and is skipped:
//
//   the file starts with  its units are            8-bit reader       16-bit reader
//   EF BB BF              UTF-8                    as they are        decodes each line
//   FF FE                 UTF-16, low byte first   decodes each line  as they are
//   FE FF                 UTF-16, high byte first  decodes each line  swaps bytes
//   anything else                                  bytes as they are  units in the machine's order
//
// (The last row covers what BufferWrite appends to a file without a mark.) Decoding follows utf.h,
// and keeps lone surrogates: as three bytes each in 8-bit text. A line that is not well-formed
// UTF-8 can decode to any units, line ends included. Half a 16-bit unit at the end of the file is
// dropped. See docs/formats/text-files.md.
//
// The reader owns the file and a buffer. A line that is not decoded is a view into that buffer;
// every view is valid until the reader's next operation. The buffer grows with the longest line, to
// at most four times its size and never beyond 4 GiB. Any readable file will do, even one that is
// not regular; on a pipe open() waits for the first three bytes. A reader is for one thread at a
// time.
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

  // Closes the open file, if any, and opens `path` (zero-terminated), to be read through a buffer
  // of about `buffer_size` bytes. Returns 0; or FAILURE, with the reader closed and the reason in
  // error(), when the path is null or the file's first bytes cannot be read.
  [[nodiscard]] unsigned open(const char* path, unsigned buffer_size = kBufferSize) noexcept {
    faults_ = {};
    return lines_.open(path, buffer_size, sizeof(T)) == 0 ? 0 : FAILURE;
  }
  // Frees everything. error() stays.
  void close() noexcept {
    lines_.close();
    decoded_.reset();
  }
  // Whether no file is open.
  [[nodiscard]] bool is_empty() const noexcept { return !lines_.is_open(); }
  // The errno value of the failure that ended open() or the reading; 0 when there was none. ENOMEM,
  // or EFBIG beyond 4 GiB: the line is too long.
  [[nodiscard]] int error() const noexcept { return lines_.error(); }

  // Reads the next line. Empty lines are skipped unless `empty_lines`. False, with `line`
  // unchanged, at the end of the file and after an error. The line that an error cut short is lost.
  [[nodiscard]] bool read_line(View& line, bool empty_lines = false) noexcept {
    if (lines_.unit_size() != sizeof(T)) return read_decoded(line, empty_lines);
    return lines_.next(line, empty_lines);
  }

  // Reads the next line that is not empty as a pair. The line is split at its last `separator`, so
  // that a key may contain separators and a value cannot. The value is read as View's to_uint64
  // does, or to_int64 if it starts with '-': "12 " is 12; " 12", "x" and an empty value are 0.
  // Values from 2^63 to 2^64 - 1 come as the negative number with the same 64 bits. A line without
  // a separator is a key with value 0. The key may be empty, as in "\t5". pair_faults() counts,
  // since open(), the lines that were not exactly a key, a separator and a number.
  [[nodiscard]] bool read_pair(T separator, View& key, long long& value) noexcept;
  [[nodiscard]] const PairFaults& pair_faults() const noexcept { return faults_; }

  // Calls fn(line), or fn(key, value), for the rest of the file until it returns false. Returns
  // whether the end of the file was reached: false when `fn` stopped it or reading failed.
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
  // The last line, when the file's units are of the other width. Before it come some units that
  // split_pair may read.
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
