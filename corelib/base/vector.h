// Vectors of sixteen bytes: the vector types of GCC and clang, and the operations that these lack.
//
// Arithmetic, comparison (all ones in a lane where it holds, else zero) and fixed shuffles are
// built into the compilers and work on every machine. The few operations that differ between
// instruction sets are written here and nowhere else: movemask(), any(), all(), position_mask(),
// narrow() and shuffle().
//
// With ZENTA_PLAIN_VECTORS defined no intrinsics are used. The tests are also built that way.
#pragma once

#include <array>
#include <bit>
#include <cassert>
#include <cstddef>
#include <cstdint>

#include "corelib/base/bytes.h"
#include "corelib/base/cpu.h"

#if defined(ZENTA_PLAIN_VECTORS)
#elif defined(__x86_64__)
#include <immintrin.h>
#define ZENTA_VECTOR_SSE2 1
#elif defined(__aarch64__)
#include <arm_neon.h>
#define ZENTA_VECTOR_NEON 1
#endif

namespace tstl::base {

using Bytes = unsigned char __attribute__((vector_size(16)));
using SignedBytes = signed char __attribute__((vector_size(16)));
using Units = unsigned short __attribute__((vector_size(16)));
using Words = std::uint64_t __attribute__((vector_size(16)));

// Loads the `n` bytes at `src`, followed by zeros. Reads no byte past them: loads of a fixed size
// overlap instead. REQUIRES: n is 1 to 15.
template <class Vector>
inline Vector load_first(const void* src, std::size_t n) noexcept {
  assert(n >= 1 && n <= 15);
  const auto* const p = static_cast<const unsigned char*>(src);
  if (n > 8) {
    return Vector(Words{load<std::uint64_t>(p), load<std::uint64_t>(p + n - 8) >> 8 * (16 - n)});
  }
  if (n >= 4) {
    const std::uint64_t last = load<std::uint32_t>(p + n - 4);
    return Vector(Words{load<std::uint32_t>(p) | last << 8 * (n - 4), 0});
  }
  const std::uint64_t middle = p[n / 2];
  const std::uint64_t last = p[n - 1];
  return Vector(Words{p[0] | middle << 8 * (n / 2) | last << 8 * (n - 1), 0});
}

inline Units broadcast(int value) noexcept {
  const auto v = static_cast<unsigned short>(value);
  return Units{v, v, v, v, v, v, v, v};
}

// Alternates the lanes of `a` and `b`: those of their first halves (low) or second halves (high).
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

// Bit i of the result is the highest bit of byte i. For table indexes and for counting; where only
// positions are wanted, position_mask() is quicker.
inline unsigned movemask(Bytes v) noexcept {
#if defined(ZENTA_VECTOR_SSE2)
  return static_cast<unsigned>(_mm_movemask_epi8(__m128i(v)));
#elif defined(ZENTA_VECTOR_NEON)
  const Bytes bit = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
  const auto set = uint8x16_t(Bytes(v >= 0x80) & bit);
  return vaddv_u8(vget_low_u8(set)) | static_cast<unsigned>(vaddv_u8(vget_high_u8(set))) << 8;
#else
  unsigned bits = 0;
  for (unsigned i = 0; i != 16; ++i) bits |= unsigned{v[i]} >> 7 << i;
  return bits;
#endif
}

// The same for 64 bytes in four vectors. REQUIRES: each byte is all ones or zero, as a comparison
// gives them.
inline std::uint64_t movemask(Bytes a, Bytes b, Bytes c, Bytes d) noexcept {
#if defined(ZENTA_VECTOR_NEON)
  // Each byte keeps the bit of its position in a group of eight. Three rounds of pairwise addition
  // sum up each group.
  const Bytes bit = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
  const uint8x16_t ab = vpaddq_u8(uint8x16_t(a & bit), uint8x16_t(b & bit));
  const uint8x16_t cd = vpaddq_u8(uint8x16_t(c & bit), uint8x16_t(d & bit));
  const uint8x16_t all = vpaddq_u8(ab, cd);
  return vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(all, all)), 0);
#else
  const std::uint64_t low = movemask(a) | movemask(b) << 16;
  const std::uint64_t high = movemask(c) | movemask(d) << 16;
  return low | high << 32;
#endif
}

// Whether a comparison holds in any lane, and whether in all of them.
template <class Mask>
inline bool any(Mask mask) noexcept {
#if defined(ZENTA_VECTOR_NEON)
  return vmaxvq_u8(uint8x16_t(mask)) != 0;
#else
  return movemask(Bytes(mask)) != 0;
#endif
}
template <class Mask>
inline bool all(Mask mask) noexcept {
#if defined(ZENTA_VECTOR_NEON)
  return vminvq_u8(uint8x16_t(mask)) == 0xFF;
#else
  return movemask(Bytes(mask)) == 0xFFFF;
#endif
}

// The result of a comparison as kMaskBits equal bits for each byte, the first byte's lowest. With
// NEON this is one instruction, movemask() is four.
#if defined(ZENTA_VECTOR_SSE2)
inline constexpr unsigned kMaskBits = 1;
#else
inline constexpr unsigned kMaskBits = 4;
#endif
inline std::uint64_t position_mask(Bytes v) noexcept {
#if defined(ZENTA_VECTOR_SSE2)
  return movemask(v);
#elif defined(ZENTA_VECTOR_NEON)
  return vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(uint16x8_t(v), 4)), 0);
#else
  std::uint64_t bits = 0;
  for (unsigned i = 0; i != 16; ++i) bits |= (v[i] & std::uint64_t{15}) << 4 * i;
  return bits;
#endif
}

// The units as bytes, the first one lowest. A unit above 0xFF becomes 0 or 0xFF.
inline std::uint64_t narrow(Units v) noexcept {
#if defined(ZENTA_VECTOR_SSE2)
  return std::uint64_t{Words(_mm_packus_epi16(__m128i(v), __m128i(v)))[0]};
#elif defined(ZENTA_VECTOR_NEON)
  return vget_lane_u64(vreinterpret_u64_u8(vqmovun_s16(int16x8_t(v))), 0);
#else
  std::uint64_t bytes = 0;
  for (unsigned i = 8; i-- != 0;) bytes = bytes << 8 | (v[i] < 0xFF ? v[i] : 0xFFu);
  return bytes;
#endif
}

// ---- Byte shuffle with indexes from a vector, which baseline x86-64 lacks (SSSE3 added it).
// Kernels that use it are compiled with ZENTA_TARGET_SHUFFLE and called only if has_shuffle().

#if defined(ZENTA_VECTOR_SSE2)
#define ZENTA_TARGET_SHUFFLE ZENTA_TARGET_SSE42
#elif defined(ZENTA_VECTOR_NEON)
#define ZENTA_TARGET_SHUFFLE
#endif

[[nodiscard]] inline bool has_shuffle() noexcept {
#if defined(ZENTA_VECTOR_SSE2)
  return cpu_level() >= CpuLevel::kSse42;
#elif defined(ZENTA_VECTOR_NEON)
  return cpu_level() >= CpuLevel::kNeon;
#else
  return false;
#endif
}

#if defined(ZENTA_TARGET_SHUFFLE)

// An index that selects no byte.
inline constexpr unsigned char kNoByte = 0x80;

// Byte i of the result is `v[index[i]]`, 0 where index[i] is kNoByte.
ZENTA_TARGET_SHUFFLE inline Bytes shuffle(Bytes v, Bytes index) noexcept {
#if defined(ZENTA_VECTOR_SSE2)
  return Bytes(_mm_shuffle_epi8(__m128i(v), __m128i(index)));
#else
  return Bytes(vqtbl1q_u8(uint8x16_t(v), uint8x16_t(index)));
#endif
}

// Moves byte i to i + k and fills with zeros. REQUIRES: k is -16 to 16.
ZENTA_TARGET_SHUFFLE inline Bytes slide(Bytes v, std::ptrdiff_t k) noexcept {
  static constexpr auto kIndexes = [] {
    std::array<unsigned char, 48> indexes{};
    indexes.fill(kNoByte);
    for (unsigned char i = 0; i != 16; ++i) indexes[16u + i] = i;
    return indexes;
  }();
  return shuffle(v, load<Bytes>(kIndexes.data() + 16 - k));
}

#endif

}  // namespace tstl::base
