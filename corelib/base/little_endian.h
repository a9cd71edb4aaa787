// Little-endian integers at any address. The loops compile to one load or store where the machine
// is little-endian.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstring>

namespace tstl::detail {

template <std::unsigned_integral Word>
Word load_le(const void* from) noexcept {
  unsigned char bytes[sizeof(Word)];
  std::memcpy(bytes, from, sizeof bytes);
  Word word = 0;
  for (std::size_t i = 0; i < sizeof bytes; ++i)
    word |= static_cast<Word>(static_cast<Word>(bytes[i]) << (8 * i));
  return word;
}

template <std::unsigned_integral Word>
void store_le(void* to, Word word) noexcept {
  unsigned char bytes[sizeof(Word)];
  for (std::size_t i = 0; i < sizeof bytes; ++i)
    bytes[i] = static_cast<unsigned char>(word >> (8 * i));
  std::memcpy(to, bytes, sizeof bytes);
}

}  // namespace tstl::detail
