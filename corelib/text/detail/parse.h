// Decimal and hexadecimal digits to numbers, for both unit widths and in constant expressions.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "corelib/text/types.h"

namespace tstl::detail {

// Value of a digit; above 9 (above 15) for any other unit.
constexpr unsigned decimal_digit(unsigned unit) { return unit - '0'; }
constexpr unsigned hex_digit(unsigned unit) {
  const unsigned digit = decimal_digit(unit);
  const unsigned letter = (unit | 0x20) - 'a';
  return digit < 10 ? digit : letter < 6 ? letter + 10 : 16;
}

// Eight units as eight bytes, the first lowest; a unit above 0x7F becomes some byte that is no
// digit.
inline std::uint64_t eight_units(const unsigned char* p) {
  std::uint64_t bytes;
  std::memcpy(&bytes, p, sizeof bytes);
  return bytes;
}
inline std::uint64_t eight_units(const unsigned short* p) {
  std::uint64_t low, high;
  std::memcpy(&low, p, sizeof low);
  std::memcpy(&high, p + 4, sizeof high);
  if (((low | high) & 0xFF80FF80FF80FF80) != 0) return 0;
  low = (low | low >> 8) & 0x0000FFFF0000FFFF;
  high = (high | high >> 8) & 0x0000FFFF0000FFFF;
  return ((low | low >> 16) & 0xFFFFFFFF) | (high | high >> 16) << 32;
}

constexpr bool all_digits(std::uint64_t bytes) {
  constexpr std::uint64_t kHigh = 0xF0F0F0F0F0F0F0F0;
  return ((bytes & kHigh) | ((bytes + 0x0606060606060606) & kHigh) >> 4) == 0x3333333333333333;
}
// Adds neighbours in pairs, then the pairs, then the fours: three multiplications for eight digits.
constexpr std::uint64_t value_of_eight(std::uint64_t bytes) {
  bytes = (bytes & 0x0F0F0F0F0F0F0F0F) * (256 * 10 + 1) >> 8;
  bytes = (bytes & 0x00FF00FF00FF00FF) * (65536 * 100 + 1) >> 16;
  return (bytes & 0x0000FFFF0000FFFF) * ((std::uint64_t{10000} << 32) + 1) >> 32;
}

// The value of the leading digits, or kLimit when it is above kLimit.
template <std::uint64_t kLimit, Unit T>
constexpr std::uint64_t decimal_value(const T* p, std::uint64_t n) {
  std::uint64_t value = 0;
  std::uint64_t i = 0;
  if (std::endian::native == std::endian::little && !std::is_constant_evaluated()) {
    // Two steps at most: sixteen digits cannot overflow.
    for (; i < 16 && i + 8 <= n; i += 8) {
      const std::uint64_t bytes = eight_units(p + i);
      if (!all_digits(bytes)) break;
      value = value * 100000000 + value_of_eight(bytes);
    }
  }
  for (; i < n; ++i) {
    const unsigned digit = decimal_digit(p[i]);
    if (digit > 9) break;
    if (value > (kLimit - digit) / 10) return kLimit;
    value = value * 10 + digit;
  }
  return value < kLimit ? value : kLimit;
}

// The number that starts with an optional '-'. A lone "-" and a text that starts with no digit give
// 0.
template <class Int, Unit T>
constexpr Int signed_decimal(const T* p, std::uint64_t n) {
  constexpr auto kMax = static_cast<std::uint64_t>(std::numeric_limits<Int>::max());
  if (n != 0 && p[0] == '-') {
    return static_cast<Int>(0 - decimal_value<kMax + 1>(p + 1, n - 1));
  }
  return static_cast<Int>(decimal_value<kMax>(p, n));
}

// The value of 1 to 8 hexadecimal digits; 0 for any other length and when a unit is no digit.
template <Unit T>
constexpr std::uint32_t hex_value(const T* p, std::uint64_t n) {
  if (n > 8) return 0;
  std::uint32_t value = 0;
  unsigned seen = 0;
  for (std::uint64_t i = 0; i < n; ++i) {
    const unsigned digit = hex_digit(p[i]);
    seen |= digit;
    value = value << 4 | (digit & 15);
  }
  return seen < 16 ? value : 0;
}

}  // namespace tstl::detail
