// Writing unsigned numbers in decimal: the count of digits, and the digits, two at a time. The
// count of hexadecimal digits.
#pragma once

#include <array>
#include <bit>
#include <cassert>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "corelib/base/bytes.h"
#include "corelib/base/digit.h"
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

// The count of decimal digits of `value`, 1 for 0. 1233 / 4096 is slightly more than log10(2).
constexpr unsigned decimal_digits(std::uint64_t value) {
  if (value < 10) return 1;
  const unsigned guess = static_cast<unsigned>(std::bit_width(value)) * 1233 >> 12;
  return guess + (value >= base::kPowersOfTen[guess]);
}

// The count of hexadecimal digits of `value`, 1 for 0.
constexpr unsigned hex_digits(std::uint64_t value) {
  return static_cast<unsigned>(std::bit_width(value | 1) + 3) / 4;
}

// REQUIRES: value < 100.
template <Unit T>
void write_pair(T* dst, std::uint32_t value) {
  assert(value < 100);
  std::memcpy(dst, &kDigitPairs<T>[2 * value], 2 * sizeof(T));
}

// Writes the low 2 * `pairs` digits of `value`, with leading zeros. Higher digits are left out.
template <unsigned pairs, Unit T>
void write_pairs(T* dst, std::uint32_t value) {
  for (unsigned i = pairs; i-- != 0; value /= 100) write_pair(dst + 2 * i, value % 100);
}

// The count of decimal digits of a number below 10000.
constexpr unsigned few_digits(std::uint32_t value) {
  return 1u + (value >= 10) + (value >= 100) + (value >= 1000);
}

// Two units in one store.
template <Unit T>
using PairWord = std::conditional_t<sizeof(T) == 1, std::uint16_t, std::uint32_t>;

// The digits of a number below 10000, shifted to the front of a word. The shift takes the place of
// branches on the count of digits, which would be mispredicted.
template <Unit T>
struct FewDigits {
  using Word = std::conditional_t<sizeof(T) == 1, std::uint32_t, std::uint64_t>;

  FewDigits(std::uint32_t value, unsigned count)
      : last_pair(base::load<PairWord<T>>(&kDigitPairs<T>[2 * (value % 100)])) {
    const auto first_pair = base::load<PairWord<T>>(&kDigitPairs<T>[2 * (value / 100)]);
    const Word four = first_pair | Word{last_pair} << 8 * sizeof(first_pair);
    front = static_cast<Word>(four >> 8 * sizeof(T) * (4 - count));
  }

  PairWord<T> last_pair;
  Word front;  // all digits, then zeros
};

// Writes the `count` digits of a number below 10000, and zero units up to the fourth. REQUIRES: the
// units after the digits are written later.
template <Unit T>
void write_front(T* dst, std::uint32_t value, unsigned count) {
  base::store(dst, FewDigits<T>(value, count).front);
}

// Writes the eight digits of `value` that end at `end`, in two halves that are independent of each
// other.
template <Unit T>
void write_eight_before(T* end, std::uint32_t value) {
  write_pairs<2>(end - 4, value % 10000);
  write_pairs<2>(end - 8, value / 10000);
}

// Writes a value above 32 bits, eight digits at a time, so that most divisions are 32-bit ones. Not
// inlined, so that the code for short numbers stays small.
template <Unit T>
[[gnu::noinline]] unsigned write_long_decimal(T* dst, std::uint64_t value) {
  constexpr std::uint64_t kEightDigits = 100000000;
  const unsigned count = decimal_digits(value);
  T* const end = dst + count;
  const std::uint64_t high = value / kEightDigits;
  if (high < 10000) {
    write_front(dst, static_cast<std::uint32_t>(high), count - 8);
  } else if (high < kEightDigits) {
    write_front(dst, static_cast<std::uint32_t>(high / 10000), count - 12);
    write_pairs<2>(end - 12, static_cast<std::uint32_t>(high % 10000));
  } else {
    write_front(dst, static_cast<std::uint32_t>(high / kEightDigits), count - 16);
    write_eight_before(end - 8, static_cast<std::uint32_t>(high % kEightDigits));
  }
  write_eight_before(end, static_cast<std::uint32_t>(value % kEightDigits));
  *end = 0;
  return count;
}

// Writes all digits of a value of 32 or 64 bits and a zero unit, and nothing after that; returns
// the count of digits. A single digit, the most frequent number, is tested for first.
template <Unit T, std::unsigned_integral V>
unsigned write_decimal(T* dst, V value) {
  if (value < 10) {
    dst[0] = static_cast<T>('0' + value);
    dst[1] = 0;
    return 1;
  }
  if constexpr (sizeof(V) > sizeof(std::uint32_t)) {
    if (value > 0xFFFFFFFF) return write_long_decimal(dst, value);
  }
  const auto number = static_cast<std::uint32_t>(value);
  unsigned count;
  if (number < 10000) {  // two stores, which overlap unless there are four digits
    count = few_digits(number);
    const FewDigits<T> digits(number, count);
    base::store(dst, static_cast<PairWord<T>>(digits.front));
    base::store(dst + count - 2, digits.last_pair);
  } else if (number < 100000000) {
    count = 4 + few_digits(number / 10000);
    write_front(dst, number / 10000, count - 4);
    write_pairs<2>(dst + count - 4, number % 10000);
  } else {
    count = 9 + (number >= 1000000000);
    write_front(dst, number / 100000000, count - 8);
    write_eight_before(dst + count, number % 100000000);
  }
  dst[count] = 0;
  return count;
}

}  // namespace tstl::detail
