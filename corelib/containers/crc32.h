// CRC-32 of IEEE 802.3 (that of Ethernet, gzip and PNG): reflected polynomial 0xEDB88320, register
// seeded with all ones, result complemented. It is the hash of the keyed tables and of dictionary
// images, where it is part of the file format. It is optimized for keys of a few bytes to a few
// dozen.
//
// Nothing fails and no byte outside the run is read.
#pragma once

#include <cstddef>
#include <cstdint>

#include "corelib/base/types.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

// The CRC of `n` bytes. 0 for n = 0; `bytes` may then be null.
[[nodiscard]] std::uint32_t crc32(const unsigned char* bytes, std::size_t n) noexcept;

// The CRC of a key: of its bytes, or of its 16-bit units with the low byte first.
template <Unit T>
[[nodiscard]] std::uint32_t crc32(BufferRef<T> key) noexcept;

// ---------------------------------------------------------------------------------------------------------------------

template <Unit T>
std::uint32_t crc32(BufferRef<T> key) noexcept {
  return crc32(reinterpret_cast<const unsigned char*>(key.cstr()), key.len() * sizeof(T));
}

}  // namespace tstl
