// Loads, stores, copies and comparisons of bytes at any address.
//
// Nothing here allocates or fails, and no byte outside the run is touched. Runs of keys, names and
// short texts are the usual case: up to 64 bytes are moved or compared by a few loads that may
// overlap, without a call and with few branches on the length.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "corelib/base/types.h"

// Where a run's length is known to be short, g++ 12 warns of the branches for longer ones, which
// are never taken there.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Warray-bounds"
#pragma GCC diagnostic ignored "-Wstringop-overflow"
#endif

namespace tstl::base {

// The value whose bytes lie at `from`.
template <class Value>
requires std::is_trivially_copyable_v<Value>
[[nodiscard]] inline Value load(const void* from) noexcept {
  Value value;
  std::memcpy(&value, from, sizeof value);
  return value;
}
template <class Value>
requires std::is_trivially_copyable_v<Value>
inline void store(void* to, Value value) noexcept { std::memcpy(to, &value, sizeof value); }

// The same for the integers of files and messages, which are little-endian, as the machine is.
template <std::unsigned_integral Word>
[[nodiscard]] inline Word load_le(const void* from) noexcept {
  return load<Word>(from);
}
template <std::unsigned_integral Word>
inline void store_le(void* to, Word word) noexcept {
  store(to, word);
}

// Copies the first and the last kSize bytes of a run of kSize to 2 * kSize bytes.
template <std::size_t kSize>
inline void copy_ends(unsigned char* dst, const unsigned char* src, std::size_t n) noexcept {
  struct Part {
    unsigned char bytes[kSize];
  };
  const auto head = load<Part>(src);
  const auto tail = load<Part>(src + n - kSize);
  store(dst, head);
  store(dst + n - kSize, tail);
}

// Copies `n` bytes; the pointers may be null when `n` is 0. REQUIRES: the runs do not overlap.
inline void copy_bytes(void* to, const void* from, std::size_t n) noexcept {
  auto* const dst = static_cast<unsigned char*>(to);
  const auto* const src = static_cast<const unsigned char*>(from);
  if (n > 64) {
    std::memcpy(dst, src, n);
  } else if (n > 32) {
    copy_ends<32>(dst, src, n);
  } else if (n >= 16) {
    copy_ends<16>(dst, src, n);
  } else if (n >= 8) {
    copy_ends<8>(dst, src, n);
  } else if (n >= 4) {
    copy_ends<4>(dst, src, n);
  } else if (n != 0) {
    dst[0] = src[0];
    dst[n / 2] = src[n / 2];
    dst[n - 1] = src[n - 1];
  }
}

// copy_bytes for runs of unpredictable length, such as words. Four overlapping 4-byte moves copy 4
// to 15 bytes with one branch on the length. Where the length is predictable, copy_bytes is faster.
inline void copy_varied(void* to, const void* from, std::size_t n) noexcept {
  if (n - 4 >= 12) return copy_bytes(to, from, n);
  auto* const dst = static_cast<unsigned char*>(to);
  const auto* const src = static_cast<const unsigned char*>(from);
  const std::size_t step = n / 8 * 4;
  copy_ends<4>(dst, src, n);
  copy_ends<4>(dst + step, src + step, n - 2 * step);
}

// copy_bytes without inlining, for callers that are inlined in many places and should stay small.
[[gnu::noinline]] inline void copy_bytes_called(void* to, const void* from,
                                                std::size_t n) noexcept {
  copy_bytes(to, from, n);
}

// Whether two runs of sizeof(Word) to 2 * sizeof(Word) bytes are equal: compares the first Word of
// each, then the last.
template <class Word>
[[nodiscard]] inline bool equal_ends(const unsigned char* a, const unsigned char* b,
                                     std::size_t n) noexcept {
  const std::size_t last = n - sizeof(Word);
  return ((load<Word>(a) ^ load<Word>(b)) | (load<Word>(a + last) ^ load<Word>(b + last))) == 0;
}

// Whether two runs of `n` bytes are equal; the pointers may be null when `n` is 0. It contains no
// call, so a loop around it keeps its values in registers.
[[nodiscard]] inline bool equal_short(const void* a, const void* b, std::size_t n) noexcept {
  using Word = std::uint64_t;
  const auto* const p = static_cast<const unsigned char*>(a);
  const auto* const q = static_cast<const unsigned char*>(b);
  if (n > 2 * sizeof(Word)) {  // word by word; the last word ends with the run
    const std::size_t last = n - sizeof(Word);
    for (std::size_t at = 0; at < last; at += sizeof(Word)) {
      if (load<Word>(p + at) != load<Word>(q + at)) return false;
    }
    return load<Word>(p + last) == load<Word>(q + last);
  }
  if (n >= sizeof(Word)) return equal_ends<Word>(p, q, n);
  if (n >= 4) return equal_ends<std::uint32_t>(p, q, n);
  return n == 0 || (p[0] == q[0] && p[n / 2] == q[n / 2] && p[n - 1] == q[n - 1]);
}
// The same for runs of any length.
[[nodiscard]] inline bool equal_bytes(const void* a, const void* b, std::size_t n) noexcept {
  return n > 64 ? std::memcmp(a, b, n) == 0 : equal_short(a, b, n);
}

}  // namespace tstl::base

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif
