// Key-value files of any keyed container: see docs/formats/text-files.md.
#pragma once

#include <cassert>
#include <cstdint>

#include "corelib/base/bytes.h"
#include "corelib/base/types.h"
#include "corelib/containers/chunk.h"
#include "corelib/io/files/buffer_write.h"
#include "corelib/io/files/text_read.h"
#include "corelib/text/buffer_ref.h"
#include "corelib/text/num.h"

namespace tstl::detail {

// The size of the buffer that lists are read through, in bytes.
inline constexpr unsigned kReadBuffer = 32768;

// Lines are collected until they have this many units, and then written at once: page by page a
// file system takes three times as long.
inline constexpr unsigned kManyUnits = 524288;
// The longest key of a container, and the space for what follows it: a separator, digits, a zero,
// "\r\n".
inline constexpr unsigned kLongestKey = 0xFFFF;
inline constexpr unsigned kTailRoom = NUM::kDecimalRoom + 3;

template <Unit T>
T* put_line_end(T* at, bool crlf) {
  if (crlf) *at++ = '\r';
  *at++ = '\n';
  return at;
}

// Writes a new file with a line for every element whose key is not empty: the key, then what
// put_tail(at, value) writes at `at`; put_tail returns its end. False if the file could not be
// opened or written whole, an allocation failed, or the container could not be traversed whole.
template <Unit T, class Container, class PutTail>
bool write_list(const Container& container, const char* path, PutTail put_tail) {
  Chunk arena;
  T* const lines = arena.alloc_array<T>(kManyUnits + kLongestKey + kTailRoom);
  BufferWrite<T> out;
  if (lines == nullptr || out.open(path, false) == FAILURE) return false;
  T* at = lines;
  const auto write = [&] {
    out.write(BufferRef<T>(lines, static_cast<unsigned>(at - lines)));
    at = lines;
  };
  const bool whole = container.for_each_bk([&](BufferRef<T> key, std::uint64_t value) {
    if (key.is_empty()) return true;
    assert(key.len() <= kLongestKey);
    base::copy_varied(at, key.cstr(), key.len() * sizeof(T));
    at = put_tail(at + key.len(), value);
    if (at - lines >= kManyUnits) write();
    return true;
  });
  write();
  out.close();
  return out.error() == 0 && whole;
}

template <Unit T, class Container>
bool write_kvfile(const Container& container, const char* path, T separator, bool crlf) {
  return write_list<T>(container, path, [=](T* at, std::uint64_t value) {
    *at++ = separator;
    at += NUM::zz_tostr(at, value);
    return put_line_end(at, crlf);
  });
}

// Calls add(key, value) for every pair of a file until a call returns false. Returns false then,
// and if the file could not be opened or read to its end. `faults`, if not null, receives the
// numbers of lines that were no pairs.
template <Unit T, class Add>
bool read_kvfile(const char* path, T separator, PairFaults* faults, Add add) {
  TextRead<T> in;
  const bool read = in.open(path, kReadBuffer) != FAILURE &&
                    in.for_each_pair(separator, [&](BufferRef<T> key, long long value) {
                      return add(key, static_cast<std::uint64_t>(value));
                    });
  if (faults != nullptr) *faults = in.pair_faults();
  return read;
}

}  // namespace tstl::detail
