// Digits of unsigned numbers: how many there are, and the writing of them, two at a time from the
// last to the first. Knowing the count beforehand, every digit is written once and in its place.
#pragma once

#include <array>
#include <bit>
#include <cassert>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "corelib/base/bytes.h"
#include "corelib/base/types.h"

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

// Writes the `count` digits of a number below 10000, and zero units up to the fourth: how many digits
// there are is not a matter of branches, so they are shifted to the front of a word. REQUIRES: what is
// behind the digits is written later.
template <Unit T>
void write_front(T* dst, std::uint32_t value, unsigned count) {
  using Pair = std::conditional_t<sizeof(T) == 1, std::uint16_t, std::uint32_t>;
  using Word = std::conditional_t<sizeof(T) == 1, std::uint32_t, std::uint64_t>;
  const Pair first = base::load<Pair>(&kDigitPairs<T>[2 * (value / 100)]);
  const Pair second = base::load<Pair>(&kDigitPairs<T>[2 * (value % 100)]);
  const Word digits = first | Word{second} << 8 * sizeof(Pair);
  base::store(dst, static_cast<Word>(digits >> 8 * sizeof(T) * (4 - count)));
}

// In two halves, which do not wait for each other.
template <Unit T>
void write_eight_before(T* end, std::uint32_t value) {
  write_pairs<2>(end - 4, value % 10000);
  write_pairs<2>(end - 8, value / 10000);
}

// Values above 32 bits: eight digits at a time, so that most divisions are 32-bit ones. Kept out of
// line for the sake of the short numbers.
template <Unit T>
[[gnu::noinline]] void write_long_decimal(T* dst, std::uint64_t value, unsigned count) {
  constexpr std::uint64_t kEightDigits = 100000000;
  T* const end = dst + count;
  const std::uint64_t high = value / kEightDigits;
  const auto low = static_cast<std::uint32_t>(value % kEightDigits);
  if (high >= kEightDigits) {
    write_front(dst, static_cast<std::uint32_t>(high / kEightDigits), count - 16);
    write_eight_before(end - 8, static_cast<std::uint32_t>(high % kEightDigits));
  } else {
    write_decimal_before(end - 8, static_cast<std::uint32_t>(high));
  }
  write_eight_before(end, low);
}

// Writes all digits of `value`, which has 32 or 64 bits. REQUIRES: count == decimal_digits(value).
template <Unit T, std::unsigned_integral V>
void write_decimal(T* dst, V value, unsigned count) {
  if constexpr (sizeof(V) > sizeof(std::uint32_t)) {
    if (value > 0xFFFFFFFF) return write_long_decimal(dst, value, count);
  }
  write_decimal_before(dst + count, static_cast<std::uint32_t>(value));
}

}  // namespace tstl::detail
