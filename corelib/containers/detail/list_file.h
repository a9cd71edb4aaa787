// Key-value files of any keyed container: see docs/formats/text-files.md.
#pragma once

#include <cstdint>

#include "corelib/io/buffer_write.h"
#include "corelib/io/text_read.h"
#include "corelib/text/buffer_ref.h"
#include "corelib/text/types.h"

namespace tstl::detail {

// The size of the buffer that lists are read through, in bytes.
inline constexpr unsigned kReadBuffer = 32768;

// Calls put(out, key, value) for every element whose key is not empty, with a writer of a new file.
// False when it could not be opened, or not written whole.
template <Unit T, class Container, class Put>
bool write_list(const Container& container, const char* path, Put put) {
  BufferWrite<T> out;
  if (out.open(path, false) == FAILURE) return false;
  container.for_each([&](BufferRef<T> key, std::uint64_t value) {
    if (key) put(out, key, value);
  });
  out.close();
  return out.error() == 0;
}

template <Unit T, class Container>
bool write_kvfile(const Container& container, const char* path, T separator, bool crlf) {
  return write_list<T>(container, path, [=](auto& out, BufferRef<T> key, std::uint64_t value) {
    out.write_pair(key, separator, value, crlf);
  });
}

// Calls add(key, value) for every pair of a file, until it returns false. False then, and when the
// file could not be opened, or not read to its end.
template <Unit T, class Add>
bool read_kvfile(const char* path, T separator, Add add) {
  TextRead<T> in;
  return in.open(path, kReadBuffer) != FAILURE &&
         in.for_each_pair(separator, [&](BufferRef<T> key, long long value) {
           return add(key, static_cast<std::uint64_t>(value));
         });
}

}  // namespace tstl::detail
