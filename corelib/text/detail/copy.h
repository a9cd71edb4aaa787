// A copy for texts that are mostly short: up to 64 bytes are moved as their first and their last
// part, which may overlap.
#pragma once

#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tstl::detail {

// The first and the last sizeof(Word) of `n` bytes, which are at least that and at most twice that
// many.
template <class Word>
void copy_ends(void* dst, const void* src, std::size_t n) {
  Word first, last;
  std::memcpy(&first, src, sizeof first);
  std::memcpy(&last, static_cast<const char*>(src) + n - sizeof last, sizeof last);
  std::memcpy(dst, &first, sizeof first);
  std::memcpy(static_cast<char*>(dst) + n - sizeof last, &last, sizeof last);
}

// Copies `n` bytes. REQUIRES: n > 0, and the two runs do not overlap. Not inlined, or g++ 12 warns
// about lengths that a short array never has; the call is still cheaper than the C library's.
[[gnu::noinline]] inline void copy_bytes(void* dst, const void* src, std::size_t n) {
  assert(n != 0);
  if (n > 64) {
    std::memcpy(dst, src, n);
  } else if (n >= 32) {
    copy_ends<std::array<std::uint64_t, 4>>(dst, src, n);
  } else if (n >= 16) {
    copy_ends<std::array<std::uint64_t, 2>>(dst, src, n);
  } else if (n >= 8) {
    copy_ends<std::uint64_t>(dst, src, n);
  } else if (n >= 4) {
    copy_ends<std::uint32_t>(dst, src, n);
  } else if (n >= 2) {
    copy_ends<std::uint16_t>(dst, src, n);
  } else {
    std::memcpy(dst, src, 1);
  }
}

}  // namespace tstl::detail
