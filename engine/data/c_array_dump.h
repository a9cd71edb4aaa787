// Writes tables as C source: an array of 32-bit or 64-bit words that can be compiled into a
// program.
//
//   const Uint32 kTable[2] = {
//       0x00000001, 0xFFFFFFFF,
//   };
//
// A word is four or eight bytes of the data in the machine's byte order, so the array has the same
// bytes in memory as the data. An incomplete last word is filled up with zero bytes; nothing past
// the data is read. A line has nine words of 32 bits, or five of 64, and ends with "\r\n". The
// including program defines the type Uint32 or Uint64. Layout and example:
// docs/formats/c-array-dump.md.
//
// The name is written as it is given, unchecked. Without data the array has 0 words, which C
// compilers accept only as an extension.
#pragma once

#include <cstdint>
#include <functional>

#include "corelib/text/buffer_ref.h"

namespace zenta::data {

// Write the array to a file, replacing what is there. Return 0; or FAILURE, with nothing written,
// when the path is null or the file cannot be opened; or FAILURE when not everything could be
// written.
std::uint32_t DumpUint32Array(const char* path, tstl::BufferRef<unsigned char> name,
                              tstl::BufferRef<unsigned char> data);
std::uint32_t DumpUint64Array(const char* path, tstl::BufferRef<unsigned char> name,
                              tstl::BufferRef<unsigned char> data);

// Writes the same text elsewhere: calls `put` with its parts in order, each at most a line long.
// Word: std::uint32_t or std::uint64_t.
template <class Word>
void WriteCArray(tstl::BufferRef<unsigned char> name, tstl::BufferRef<unsigned char> data,
                 const std::function<void(tstl::BufferRef<unsigned char>)>& put);

extern template void WriteCArray<std::uint32_t>(
    tstl::BufferRef<unsigned char> name, tstl::BufferRef<unsigned char> data,
    const std::function<void(tstl::BufferRef<unsigned char>)>& put);
extern template void WriteCArray<std::uint64_t>(
    tstl::BufferRef<unsigned char> name, tstl::BufferRef<unsigned char> data,
    const std::function<void(tstl::BufferRef<unsigned char>)>& put);

}  // namespace zenta::data
