// Parses decimal and hexadecimal numbers, of both unit widths and in constant expressions.
#pragma once

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "corelib/base/block.h"
#include "corelib/base/bytes.h"
#include "corelib/base/digit.h"
#include "corelib/base/types.h"

namespace tstl::detail {

// The leading decimal digits of up to eight units, which are loaded as the bytes of one word, the
// first unit lowest.
class DigitWord {
 public:
  // The first min(n, 8) of the `n` units at `p`. REQUIRES: n >= 4.
  template <Unit T>
  static DigitWord load(const T* p, std::uint64_t n) {
    assert(n >= 4);
    if (n >= 8) return DigitWord(eight_bytes(p));
    // The first four units and the last four, which overlap in equal bytes.
    const std::uint64_t ends = four_bytes(p, p + (n - 4));
    return DigitWord((ends & 0xFFFFFFFF) | ends >> 32 << (8 * (n - 4)));
  }

  // The `n` units before `end`. REQUIRES: n is 1 to 8, and eight units before `end` can be read.
  template <Unit T>
  static DigitWord load_before(const T* end, std::uint64_t n) {
    assert(n - 1 < 8);
    return DigitWord(eight_bytes(end - 8) >> (64 - 8 * n));
  }

  unsigned count() const { return count_; }
  // Combines neighbouring digits into pairs, pairs into fours, fours into eight: three
  // multiplications for eight digits.
  std::uint64_t value() const {
    if (count_ == 0) return 0;
    std::uint64_t bytes = bytes_ << (64 - 8 * count_);
    bytes = (bytes & 0x0F0F0F0F0F0F0F0F) * (256 * 10 + 1) >> 8;
    bytes = (bytes & 0x00FF00FF00FF00FF) * (65536 * 100 + 1) >> 16;
    return (bytes & 0x0000FFFF0000FFFF) * ((std::uint64_t{10000} << 32) + 1) >> 32;
  }

 private:
  explicit DigitWord(std::uint64_t bytes) : bytes_(bytes) {
    // A digit becomes 0 to 9, and adding 0x76 leaves its highest bit clear. Any other byte has that
    // bit set, before or after the addition; its carry reaches only bytes after it, which do not
    // count.
    const std::uint64_t values = bytes ^ 0x3030303030303030;
    const std::uint64_t others = ((values + 0x7676767676767676) | values) & 0x8080808080808080;
    count_ = static_cast<unsigned>(std::countr_zero(others)) / 8;
  }

  static std::uint64_t eight_bytes(const unsigned char* p) { return base::load<std::uint64_t>(p); }
  static std::uint64_t four_bytes(const unsigned char* a, const unsigned char* b) {
    return base::load<std::uint32_t>(a) | std::uint64_t{base::load<std::uint32_t>(b)} << 32;
  }
  // Units above 0xFF become bytes that are no digits.
  static std::uint64_t eight_bytes(const unsigned short* p) {
    return base::Block<unsigned short>::load(p).narrow();
  }
  static std::uint64_t four_bytes(const unsigned short* a, const unsigned short* b) {
    return base::Block<unsigned short>::load_halves(a, b).narrow();
  }

  std::uint64_t bytes_;
  unsigned count_;
};

// Appends the digits from p[i] on to `value`, one by one; kLimit if the number is above it.
template <std::uint64_t kLimit, Unit T>
constexpr std::uint64_t add_digits(std::uint64_t value, const T* p, std::uint64_t i,
                                   std::uint64_t n) {
  for (; i < n; ++i) {
    const unsigned digit = base::digit_value(p[i]);
    if (digit > 9) break;
    if (value >= kLimit / 10 && (value > kLimit / 10 || digit > kLimit % 10)) return kLimit;
    value = value * 10 + digit;
  }
  return std::min(value, kLimit);
}

// decimal_value() for eight units or more: eight digits at a time as long as they cannot overflow.
template <std::uint64_t kLimit, Unit T>
[[gnu::noinline]] std::uint64_t long_decimal_value(const T* p, std::uint64_t n) {
  std::uint64_t value = 0;
  std::uint64_t i = 0;
  for (; i < 16 && n - i >= 4; i += 8) {
    const auto word = DigitWord::load(p + i, n - i);
    value = value * base::kPowersOfTen[word.count()] + word.value();
    if (word.count() < 8) return std::min(value, kLimit);
  }
  return add_digits<kLimit>(value, p, i, n);
}

// The value of the leading digits, at most kLimit.
template <std::uint64_t kLimit, Unit T>
constexpr std::uint64_t decimal_value(const T* p, std::uint64_t n) {
  if (n < 8) {  // most numbers; no limit is near
    static_assert(kLimit >= 9999999);
    std::uint32_t value = 0;
    for (std::uint64_t i = 0; i < n && base::is_digit(p[i]); ++i) {
      value = value * 10 + base::digit_value(p[i]);
    }
    return value;
  }
  if (!std::is_constant_evaluated()) {
    return long_decimal_value<kLimit>(p, n);
  }
  return add_digits<kLimit>(0, p, 0, n);
}

// The value of the leading digits after an optional '-', within Int's limits; 0 without digits.
template <class Int, Unit T>
constexpr Int signed_decimal(const T* p, std::uint64_t n) {
  constexpr auto kMax = static_cast<std::uint64_t>(std::numeric_limits<Int>::max());
  if (n != 0 && p[0] == '-') {
    return static_cast<Int>(0 - decimal_value<kMax + 1>(p + 1, n - 1));
  }
  return static_cast<Int>(decimal_value<kMax>(p, n));
}

// The value of 1 to 8 hexadecimal digits; 0 for any other length or if a unit is no digit.
template <Unit T>
constexpr std::uint32_t hex_value(const T* p, std::uint64_t n) {
  if (n > 8) return 0;
  std::uint32_t value = 0;
  unsigned seen = 0;
  for (std::uint64_t i = 0; i < n; ++i) {
    const unsigned digit = base::hex_digit_value(p[i]);
    seen |= digit;
    value = value << 4 | (digit & 15);
  }
  return seen < 16 ? value : 0;
}

}  // namespace tstl::detail
