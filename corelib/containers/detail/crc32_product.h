// CRC-32 by multiplication of polynomials over GF(2), on x86-64 processors that have it. The run,
// with zero bytes in front of it so that it is whole blocks of 16 bytes, is folded into one block,
// and that one reduced by Barrett's method. (V. Gopal and others, "Fast CRC Computation for Generic
// Polynomials Using PCLMULQDQ Instruction", Intel 2009, for bit-reflected data.)
#pragma once

#include <cstdint>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace tstl::detail {

inline constexpr std::uint32_t kCrcPolynomial = 0xEDB88320;  // lowest bit: the highest power

// The register after `count` zero bits.
constexpr std::uint32_t after_zero_bits(std::uint32_t crc, unsigned count) {
  for (; count != 0; --count) crc = crc >> 1 ^ ((crc & 1) != 0 ? kCrcPolynomial : 0);
  return crc;
}

// What the preset register, of all ones, has become after so many zero bytes.
struct CrcPresets {
  std::uint32_t after[33];
};
constexpr CrcPresets make_crc_presets() {
  CrcPresets presets{};
  for (unsigned n = 0; n <= 32; ++n) presets.after[n] = after_zero_bits(0xFFFFFFFF, 8 * n);
  return presets;
}
inline constexpr CrcPresets kCrcPresets = make_crc_presets();

#if defined(__x86_64__)
#define TSTL_CRC_TARGET __attribute__((target("pclmul")))

// x to the power `n` modulo the polynomial, in the form that a product of reflected factors needs.
constexpr long long crc_power(unsigned n) {
  return static_cast<long long>(after_zero_bits(0x80000000, n)) << 1;
}

// A block, times the power by which it is ahead of the next one.
TSTL_CRC_TARGET inline __m128i crc_folded(__m128i block) {
  const __m128i powers = _mm_set_epi64x(crc_power(96), crc_power(160));
  return _mm_clmulepi64_si128(block, powers, 0x00) ^ _mm_clmulepi64_si128(block, powers, 0x11);
}

// The register after a block that meets an all-zero one.
TSTL_CRC_TARGET inline std::uint32_t crc_reduced(__m128i block) {
  constexpr long long kFullPolynomial = (std::uint64_t{kCrcPolynomial} << 1) | 1;
  constexpr long long kQuotient = 0x1F7011641;  // x^64 divided by the polynomial
  const __m128i power96 = _mm_set_epi64x(0, crc_power(96));
  const __m128i power64 = _mm_set_epi64x(0, crc_power(64));
  const __m128i divisor = _mm_set_epi64x(kQuotient, kFullPolynomial);
  const __m128i lower = _mm_set_epi32(0, -1, 0, -1);
  __m128i x = _mm_srli_si128(block, 8) ^ _mm_clmulepi64_si128(block, power96, 0);
  x = _mm_srli_si128(x, 4) ^ _mm_clmulepi64_si128(x & lower, power64, 0);
  const __m128i quotient = _mm_clmulepi64_si128(x & lower, divisor, 0x10);
  x ^= _mm_clmulepi64_si128(quotient & lower, divisor, 0);
  return static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(x, 4)));
}
#endif

}  // namespace tstl::detail
