// CRC-32 of 16-byte blocks, on processors with instructions for it. crc_after() returns the
// register after one or two blocks, starting from zero. Functions that use it are compiled with
// ZENTA_TARGET_CRC_BLOCK, which is defined where such processors exist, and called only if
// has_crc_block().
//
// x86-64 has a carry-less multiply: blocks are folded into one, which Barrett reduction turns into
// the CRC. (V. Gopal and others, "Fast CRC Computation for Generic Polynomials Using PCLMULQDQ
// Instruction", Intel 2009, for bit-reflected data.) arm64 has instructions for this CRC itself.
#pragma once

#include <cstdint>

#include "corelib/base/vector.h"
#include "corelib/containers/detail/crc32_register.h"

#if defined(ZENTA_VECTOR_SSE2)
#define ZENTA_TARGET_CRC_BLOCK ZENTA_TARGET_SSE42
#elif defined(ZENTA_VECTOR_NEON)
#define ZENTA_TARGET_CRC_BLOCK ZENTA_TARGET_CRC
#if !defined(__clang__)
#include <arm_acle.h>
#endif
#endif

namespace tstl::detail {

#if defined(ZENTA_VECTOR_SSE2)

[[nodiscard]] inline bool has_crc_block() noexcept {
  return base::cpu_level() >= base::CpuLevel::kSse42;
}

// x^n modulo the polynomial, bit-reflected and shifted left by one, because the product of two
// reflected factors is one bit too low.
constexpr long long crc_power(unsigned n) {
  return static_cast<long long>(after_zero_bits(0x80000000, n)) << 1;
}

// Fold: multiplies the block by x^128 modulo the polynomial, since it lies 128 bits before the next
// one. XOR with that one gives a single block of the same CRC.
ZENTA_TARGET_CRC_BLOCK inline base::Bytes crc_folded(base::Bytes block) {
  const auto x = __m128i(block);
  const __m128i powers = _mm_set_epi64x(crc_power(96), crc_power(160));
  return base::Bytes(_mm_clmulepi64_si128(x, powers, 0x00) ^ _mm_clmulepi64_si128(x, powers, 0x11));
}

// Folds the block to 64 bits and reduces these by Barrett's method.
ZENTA_TARGET_CRC_BLOCK inline std::uint32_t crc_after(base::Bytes last) {
  constexpr long long kFullPolynomial = (std::uint64_t{kCrcPolynomial} << 1) | 1;
  constexpr long long kQuotient = 0x1F7011641;  // x^64 divided by the polynomial
  const __m128i power96 = _mm_set_epi64x(0, crc_power(96));
  const __m128i power64 = _mm_set_epi64x(0, crc_power(64));
  const __m128i divisor = _mm_set_epi64x(kQuotient, kFullPolynomial);
  const __m128i lower = _mm_set_epi32(0, -1, 0, -1);
  const auto block = __m128i(last);
  __m128i x = _mm_srli_si128(block, 8) ^ _mm_clmulepi64_si128(block, power96, 0);
  x = _mm_srli_si128(x, 4) ^ _mm_clmulepi64_si128(x & lower, power64, 0);
  const __m128i quotient = _mm_clmulepi64_si128(x & lower, divisor, 0x10);
  x ^= _mm_clmulepi64_si128(quotient & lower, divisor, 0);
  return static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(x, 4)));
}
ZENTA_TARGET_CRC_BLOCK inline std::uint32_t crc_after(base::Bytes first, base::Bytes last) {
  return crc_after(crc_folded(first) ^ last);
}

#elif defined(ZENTA_VECTOR_NEON)

[[nodiscard]] inline bool has_crc_block() noexcept {
  return base::cpu_level() >= base::CpuLevel::kCrc;
}

// The register after 8, 4, 2 or 1 bytes. clang's <arm_acle.h> may not declare the intrinsics unless
// the whole program is compiled for processors that have them.
#if defined(__clang__)
ZENTA_TARGET_CRC inline std::uint32_t crc_of(std::uint32_t crc, std::uint64_t word) {
  return __builtin_arm_crc32d(crc, word);
}
ZENTA_TARGET_CRC inline std::uint32_t crc_of(std::uint32_t crc, std::uint32_t word) {
  return __builtin_arm_crc32w(crc, word);
}
ZENTA_TARGET_CRC inline std::uint32_t crc_of(std::uint32_t crc, std::uint16_t word) {
  return __builtin_arm_crc32h(crc, word);
}
ZENTA_TARGET_CRC inline std::uint32_t crc_of(std::uint32_t crc, std::uint8_t word) {
  return __builtin_arm_crc32b(crc, word);
}
#else
ZENTA_TARGET_CRC inline std::uint32_t crc_of(std::uint32_t crc, std::uint64_t word) {
  return __crc32d(crc, word);
}
ZENTA_TARGET_CRC inline std::uint32_t crc_of(std::uint32_t crc, std::uint32_t word) {
  return __crc32w(crc, word);
}
ZENTA_TARGET_CRC inline std::uint32_t crc_of(std::uint32_t crc, std::uint16_t word) {
  return __crc32h(crc, word);
}
ZENTA_TARGET_CRC inline std::uint32_t crc_of(std::uint32_t crc, std::uint8_t word) {
  return __crc32b(crc, word);
}
#endif

ZENTA_TARGET_CRC inline std::uint32_t crc_of(std::uint32_t crc, base::Bytes block) {
  const auto words = base::Words(block);
  return crc_of(crc_of(crc, std::uint64_t{words[0]}), std::uint64_t{words[1]});
}
ZENTA_TARGET_CRC inline std::uint32_t crc_after(base::Bytes last) { return crc_of(0, last); }
ZENTA_TARGET_CRC inline std::uint32_t crc_after(base::Bytes first, base::Bytes last) {
  return crc_of(crc_of(0, first), last);
}

#endif

}  // namespace tstl::detail
