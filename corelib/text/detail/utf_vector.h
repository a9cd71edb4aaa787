// Sixteen bytes or eight 16-bit units at a time, in the vector types of GCC and clang. Arithmetic,
// comparison and fixed rearrangement are the compilers' own and work on every machine; what they
// have no common word for is below, for each: rearrangement by a table, and one bit per byte.
#pragma once

#include <array>
#include <bit>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#define TSTL_UTF_VECTOR 1
// The kernels are compiled for this, whatever the rest is, and called only where it is there.
#define TSTL_UTF_TARGET __attribute__((target("sse4.2,popcnt")))
#elif defined(__aarch64__)
#include <arm_neon.h>
#define TSTL_UTF_VECTOR 1
#define TSTL_UTF_TARGET
#endif

namespace tstl::detail::utf {

static_assert(std::endian::native == std::endian::little, "bytes of a word are taken lowest first");

using Bytes = unsigned char __attribute__((vector_size(16)));
using SignedBytes = signed char __attribute__((vector_size(16)));
using Units = unsigned short __attribute__((vector_size(16)));
using Words = std::uint64_t __attribute__((vector_size(16)));

template <class T>
inline std::size_t count(const T* first, const T* last) noexcept {
  return static_cast<std::size_t>(last - first);
}

template <class T>
inline T load(const void* src) noexcept {
  T value;
  std::memcpy(&value, src, sizeof value);
  return value;
}
template <class T>
inline void store(void* dst, T value) noexcept {
  std::memcpy(dst, &value, sizeof value);
}

// The first `n` bytes at `src` and zeros behind them. Reads no other byte; where two loads cover
// the n bytes, they overlap.
// REQUIRES: n is 1 to 15.
template <class Vector>
inline Vector load_first(const void* src, std::size_t n) noexcept {
  assert(n >= 1 && n <= 15);
  const auto* const p = static_cast<const unsigned char*>(src);
  if (n > 8) {
    return Vector(Words{load<std::uint64_t>(p), load<std::uint64_t>(p + n - 8) >> 8 * (16 - n)});
  }
  if (n >= 4) {
    const std::uint64_t behind = load<std::uint32_t>(p + n - 4);
    return Vector(Words{load<std::uint32_t>(p) | behind << 8 * (n - 4), 0});
  }
  const std::uint64_t middle = p[n / 2];
  const std::uint64_t last = p[n - 1];
  return Vector(Words{p[0] | middle << 8 * (n / 2) | last << 8 * (n - 1), 0});
}

inline Units broadcast(int value) noexcept {
  const auto v = static_cast<unsigned short>(value);
  return Units{v, v, v, v, v, v, v, v};
}

// Two in turns: their first halves, or their second.
inline Bytes interleave_low(Bytes a, Bytes b) noexcept {
  return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
}
inline Bytes interleave_high(Bytes a, Bytes b) noexcept {
  return __builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15,
                                 31);
}
inline Units interleave_low(Units a, Units b) noexcept {
  return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
}
inline Units interleave_high(Units a, Units b) noexcept {
  return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
}

// The low byte of every unit.
inline Bytes low_bytes(Units a, Units b) noexcept {
  return __builtin_shufflevector(Bytes(a), Bytes(b), 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24,
                                 26, 28, 30);
}

// For each byte of `b` the one that stands `kBack` before it; `before` stands in front of `b`.
template <int kBack>
inline Bytes earlier(Bytes before, Bytes b) noexcept {
  constexpr int k = 16 - kBack;
  return __builtin_shufflevector(before, b, k, k + 1, k + 2, k + 3, k + 4, k + 5, k + 6, k + 7,
                                 k + 8, k + 9, k + 10, k + 11, k + 12, k + 13, k + 14, k + 15);
}

#if defined(TSTL_UTF_VECTOR)

inline constexpr unsigned char kNoByte = 0x80;

// Byte i of the result is `v[row[i]]`, 0 where row[i] is kNoByte.
TSTL_UTF_TARGET inline Bytes rearrange(Bytes v, Bytes row) noexcept {
#if defined(__x86_64__)
  return Bytes(_mm_shuffle_epi8(__m128i(v), __m128i(row)));
#else
  return Bytes(vqtbl1q_u8(uint8x16_t(v), uint8x16_t(row)));
#endif
}

// Bit i of the result is the highest bit of byte i.
inline unsigned high_bits(Bytes v) noexcept {
#if defined(__x86_64__)
  return static_cast<unsigned>(_mm_movemask_epi8(__m128i(v)));
#else
  const Bytes bit = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
  const auto set = uint8x16_t(Bytes(v >= 0x80) & bit);
  return vaddv_u8(vget_low_u8(set)) | static_cast<unsigned>(vaddv_u8(vget_high_u8(set))) << 8;
#endif
}

// Whether a comparison holds in any lane, in all of them.
template <class Mask>
inline bool any(Mask mask) noexcept {
  return high_bits(Bytes(mask)) != 0;
}
template <class Mask>
inline bool all(Mask mask) noexcept {
  return high_bits(Bytes(mask)) == 0xFFFF;
}

// Byte i moves to i + k, for k from -16 to 16; zeros come in.
TSTL_UTF_TARGET inline Bytes slide(Bytes v, std::ptrdiff_t k) noexcept {
  static constexpr auto kRows = [] {
    std::array<unsigned char, 48> rows{};
    rows.fill(kNoByte);
    for (unsigned char i = 0; i != 16; ++i) rows[16u + i] = i;
    return rows;
  }();
  return rearrange(v, load<Bytes>(kRows.data() + 16 - k));
}

// Stores the first `n` bytes of `v` and no other.
// REQUIRES: n is 0, 2 or 4 to 15.
TSTL_UTF_TARGET inline void store_first(unsigned char* dst, Bytes v, std::size_t n) noexcept {
  const std::uint64_t word = Words(v)[0];
  if (n >= 8) {
    const Bytes behind = slide(v, 8 - static_cast<std::ptrdiff_t>(n));
    store(dst, word);
    store(dst + n - 8, std::uint64_t{Words(behind)[0]});
  } else if (n >= 4) {
    store(dst, static_cast<std::uint32_t>(word));
    store(dst + n - 4, static_cast<std::uint32_t>(word >> 8 * (n - 4)));
  } else if (n != 0) {
    assert(n == 2);
    store(dst, static_cast<std::uint16_t>(word));
  }
}

// Stores `a_size` bytes of `a` and behind them `b_size` bytes of `b`, both zero past their sizes.
// No byte beyond `room` is written.
// REQUIRES: a_size + b_size is at most `room`, and 0, 2 or at least 4.
TSTL_UTF_TARGET inline void store_joined(void* dst, std::size_t room, Bytes a, std::size_t a_size,
                                         Bytes b, std::size_t b_size) noexcept {
  auto* const p = static_cast<unsigned char*>(dst);
  const auto b_at = static_cast<std::ptrdiff_t>(a_size);
  const auto end = static_cast<std::ptrdiff_t>(a_size + b_size);
  assert(a_size + b_size <= room);
  const Bytes head = a | slide(b, b_at);
  if (end > 16) {
    store(p, head);
    store(p + end - 16, slide(a, 16 - end) | slide(b, 16 - end + b_at));
  } else if (room >= 16) {
    store(p, head);
  } else {
    store_first(p, head, a_size + b_size);
  }
}

#endif

}  // namespace tstl::detail::utf
