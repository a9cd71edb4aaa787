// Tables as C source: an array of 32-bit or 64-bit words that can be compiled into a program.
//
//   const Uint32 kTable[2] = {
//       0x00000001, 0xFFFFFFFF,
//   };
//
// A word is four or eight bytes of the data in the machine's byte order, so that the array has the
// same bytes in memory as the data had. A last word that the data does not fill is completed with
// zero bytes; nothing behind the data is read. Nine words of 32 bits stand on a line, or five of 64;
// every line ends with "\r\n". The including program defines the type Uint32 or Uint64. Layout and
// example: docs/formats/c-array-dump.md.
//
// The name is written as it is given. No data gives an array of 0 words, which C compilers take only
// as an extension.
#pragma once

#include <cstdint>
#include <functional>

#include "corelib/text/buffer_ref.h"

namespace zenta::data {

// Write the array to a file, replacing what is there. 0; or FAILURE when the path is null or the
// file could not be opened, and nothing is written then, or when not all could be written.
std::uint32_t DumpUint32Array(const char* path, tstl::BufferRef<unsigned char> name,
                              tstl::BufferRef<unsigned char> data);
std::uint32_t DumpUint64Array(const char* path, tstl::BufferRef<unsigned char> name,
                              tstl::BufferRef<unsigned char> data);

// The same text for any other place: calls `put` with its pieces in order, each a line at most.
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
