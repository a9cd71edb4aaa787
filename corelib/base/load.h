// Values read from any address, and the equality of short runs that is made of such reads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tstl::detail {

// In the byte order of the machine.
template <class Value>
Value load(const void* from) noexcept {
  Value value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

// Whether two runs of `n` bytes are equal. For keys, where a call of memcmp would cost more than
// the comparison: word by word, and the last word, which ends with the run, may overlap the one
// before.
inline bool same_bytes(const unsigned char* a, const unsigned char* b, std::size_t n) noexcept {
  using Word = std::uint64_t;
  using Half = std::uint32_t;
  if (n >= sizeof(Word)) {
    const std::size_t last = n - sizeof(Word);
    for (std::size_t i = 0; i < last; i += sizeof(Word)) {
      if (load<Word>(a + i) != load<Word>(b + i)) return false;
    }
    return load<Word>(a + last) == load<Word>(b + last);
  }
  if (n >= sizeof(Half)) {
    const std::size_t last = n - sizeof(Half);
    return load<Half>(a) == load<Half>(b) && load<Half>(a + last) == load<Half>(b + last);
  }
  while (n != 0 && a[n - 1] == b[n - 1]) --n;
  return n == 0;
}

}  // namespace tstl::detail
