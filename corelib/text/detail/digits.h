// Digits of unsigned numbers: how many there are, and the writing of them, two at a time from the
// last to the first. Knowing the count beforehand, every digit is written once and in its place.
#pragma once

#include <array>
#include <bit>
#include <cassert>
#include <cstdint>
#include <cstring>

#include "corelib/text/types.h"

namespace tstl::detail {

// "00", "01" ... "99".
template <Unit T>
inline constexpr std::array<T, 200> kDigitPairs = [] {
  std::array<T, 200> pairs{};
  for (unsigned i = 0; i < 100; ++i) {
    pairs[2 * i] = static_cast<T>('0' + i / 10);
    pairs[2 * i + 1] = static_cast<T>('0' + i % 10);
  }
  return pairs;
}();

inline constexpr std::array<std::uint64_t, 20> kDecimalPowers = [] {
  std::array<std::uint64_t, 20> powers{1};
  for (unsigned i = 1; i < 20; ++i) powers[i] = powers[i - 1] * 10;
  return powers;
}();

// Decimal digits of `value`, 1 for 0. 1233 / 4096 is a little more than the decimal logarithm of 2.
constexpr unsigned decimal_digits(std::uint64_t value) {
  if (value < 10) return 1;
  const unsigned guess = static_cast<unsigned>(std::bit_width(value)) * 1233 >> 12;
  return guess + (value >= kDecimalPowers[guess]);
}

// The upper-case hexadecimal digit. REQUIRES: value < 16.
constexpr unsigned char hex_unit(unsigned value) {
  return static_cast<unsigned char>("0123456789ABCDEF"[value]);
}

constexpr unsigned hex_digits(std::uint64_t value) {
  return static_cast<unsigned>(std::bit_width(value | 1) + 3) / 4;
}

// REQUIRES: value < 100.
template <Unit T>
void write_pair(T* dst, std::uint32_t value) {
  assert(value < 100);
  std::memcpy(dst, &kDigitPairs<T>[2 * value], 2 * sizeof(T));
}

// Writes the low 2 * `pairs` digits of `value`, with leading zeros; what is above them is left out.
template <unsigned pairs, Unit T>
void write_pairs(T* dst, std::uint32_t value) {
  for (unsigned i = pairs; i-- != 0; value /= 100) write_pair(dst + 2 * i, value % 100);
}

// Recursion instead of a loop gives each length of number branches of its own, which are predicted
// better.
template <unsigned more_pairs = 4, Unit T>
void write_decimal_before(T* end, std::uint32_t value) {
  if constexpr (more_pairs != 0) {
    if (value >= 100) {
      write_pair(end - 2, value % 100);
      return write_decimal_before<more_pairs - 1>(end - 2, value / 100);
    }
  }
  if (value >= 10) {
    write_pair(end - 2, value);
  } else {
    end[-1] = static_cast<T>('0' + value);
  }
}
// Values above 32 bits: eight digits at a time, so that most divisions are 32-bit ones. Kept out of
// line for the sake of the short numbers.
template <Unit T>
[[gnu::noinline]] void write_long_decimal_before(T* end, std::uint64_t value) {
  for (; value > 0xFFFFFFFF; value /= 100000000) {
    const auto low = static_cast<std::uint32_t>(value % 100000000);
    write_pairs<2>(end -= 4, low % 10000);
    write_pairs<2>(end -= 4, low / 10000);
  }
  write_decimal_before(end, static_cast<std::uint32_t>(value));
}
template <Unit T>
void write_decimal_before(T* end, std::uint64_t value) {
  if (value > 0xFFFFFFFF) return write_long_decimal_before(end, value);
  write_decimal_before(end, static_cast<std::uint32_t>(value));
}

}  // namespace tstl::detail
