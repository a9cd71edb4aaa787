// NUM: numbers as text, written into an array of units that the caller provides.
//
// Every function writes the text and a zero after it, returns the length without the zero, and
// never fails. Nothing is allocated. The caller provides room: each function names what it needs,
// zero included, and writes no unit beyond that whatever the value is. The text is the same for
// both unit widths; no locale is consulted.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "corelib/base/types.h"
#include "corelib/text/detail/digits.h"

namespace tstl {

// An integer that is a number, not a character or a truth value.
template <class V>
concept Integer = std::integral<V> && !std::same_as<V, bool> && !std::same_as<V, char> &&
                  !std::same_as<V, wchar_t> && !std::same_as<V, char8_t> &&
                  !std::same_as<V, char16_t> && !std::same_as<V, char32_t>;

struct NUM {
  // Rooms in units, with the zero: any number of 64 bits in decimal and in hexadecimal, a size, and
  // a `double` in its shortest form and with given counts of digits.
  static constexpr unsigned kDecimalRoom = 21;
  static constexpr unsigned kHexRoom = 17;
  static constexpr unsigned kSizeRoom = 8;
  static constexpr unsigned kRealRoom = 26;
  static constexpr unsigned kFixedRealRoom = 83;
  // Counts of digits above this are taken for this by zz_toreal.
  static constexpr unsigned kMaxRealDigits = 40;

  // Decimal digits, without leading zeros, after a '-' when the value is negative. Room:
  // decimal_length(value) + 1, kDecimalRoom at most.
  template <Unit T, Integer V>
  static unsigned zz_tostr(T* buf, V value) noexcept {
    const Magnitude<V> number = magnitude(value);
    if (value < 0) *buf++ = '-';
    return detail::write_decimal(buf, number) + (value < 0);
  }
  // What zz_tostr will return.
  template <Integer V>
  [[nodiscard]] static constexpr unsigned decimal_length(V value) noexcept {
    return detail::decimal_digits(magnitude(value)) + (value < 0);
  }

  // Pads a number of `len` units in `buf` to `width` units, with zeros after an optional leading
  // '-', and returns `width`; a number that is as long or longer stays, and `len` is returned.
  // Room: max(len, width) + 1.
  template <Unit T>
  static unsigned zz_fixp(T* buf, unsigned len, unsigned width) noexcept {
    if (len >= width) return len;
    T* const digits = buf + (len != 0 && *buf == '-');
    const auto count = static_cast<std::size_t>(buf + len - digits);
    std::memmove(buf + width - count, digits, count * sizeof(T));
    std::fill(digits, buf + width - count, T{'0'});
    buf[width] = 0;
    return width;
  }

  // The value divided by 10^decimals: all its digits with a '.' before the last `decimals` of them,
  // one digit before the
  // '.' at least. The '.' is always there, so 0 decimals give "5.". Room: max(decimals + 1, 20)
  // + 3.
  template <Unit T, Integer V>
  static unsigned zz_totc(T* buf, V value, unsigned decimals) noexcept {
    const unsigned len = zz_fixp(buf, zz_tostr(buf, value), decimals + 1 + (value < 0));
    T* const point = buf + (len - decimals);
    std::memmove(point + 1, point, (std::size_t{decimals} + 1) * sizeof(T));
    *point = '.';
    return len + 1;
  }

  // A count of bytes in the greatest unit that it reaches, of powers of 1024 with the letters
  // "BKMGTPE": the whole part, a '.' and a fraction that is cut, not rounded. Whole part and
  // fraction have 5 digits together, the fraction 3 at most: "1000.0B", "1.500K", "15.999E". Room:
  // kSizeRoom.
  template <Unit T>
  static unsigned zz_tofsize(T* buf, unsigned long long bytes) noexcept {
    const unsigned step = static_cast<unsigned>(std::bit_width(bytes | 1) - 1) / 10;
    const auto whole = static_cast<unsigned>(bytes >> 10 * step);
    const auto rest = step == 0 ? 0u : static_cast<unsigned>(bytes >> 10 * (step - 1) & 1023);
    const unsigned len = zz_tostr(buf, whole);
    const unsigned decimals = std::min(5 - len, 3u);
    // The fraction with its point is "1ddd" with the 1 written over.
    const auto power = static_cast<unsigned>(detail::kDecimalPowers[decimals]);
    const unsigned end = len + zz_tostr(buf + len, power + rest * power / 1024);
    buf[len] = '.';
    buf[end] = static_cast<unsigned char>("BKMGTPE"[step]);
    buf[end + 1] = 0;
    return end + 1;
  }

  // Upper-case hexadecimal digits without leading zeros; a negative value as the two's complement
  // of its own width. Room: 2 * sizeof(value) + 1.
  template <Unit T, Integer V>
  static unsigned zz_tohex(T* buf, V value) noexcept {
    std::uint64_t rest = static_cast<std::make_unsigned_t<V>>(value);
    const unsigned len = detail::hex_digits(rest);
    for (T* p = buf + len; p != buf; rest >>= 4) *--p = detail::hex_unit(rest & 15);
    buf[len] = 0;
    return len;
  }

  // The shortest text that reads back as the same value: like 1234.5 or 0.001 from 1e-6 up to below
  // 1e21 (and for zero, which keeps its sign), where integers show their exact digits; like 1.5e-07
  // or 1e+21 outside; "nan", "inf" and "-inf". Room: kRealRoom.
  static unsigned zz_toreal(unsigned char* buf, double value) noexcept;
  static unsigned zz_toreal(unsigned short* buf, double value) noexcept;
  // With `frac_digits` digits after the point (and no point for 0), correctly rounded, and at least
  // `int_digits` before it, filled up with zeros after the sign; both at most kMaxRealDigits. From
  // 1e21 on, and for what is not finite, the shortest form. Zero and what rounds to it keep their
  // sign. Room: kFixedRealRoom.
  static unsigned zz_toreal(unsigned char* buf, double value, unsigned int_digits,
                            unsigned frac_digits) noexcept;
  static unsigned zz_toreal(unsigned short* buf, double value, unsigned int_digits,
                            unsigned frac_digits) noexcept;

 private:
  template <class V>
  using Magnitude = std::conditional_t<sizeof(V) <= 4, std::uint32_t, std::uint64_t>;

  // The absolute value, which the most negative number has too as an unsigned one.
  template <Integer V>
  static constexpr Magnitude<V> magnitude(V value) noexcept {
    const auto bits = static_cast<Magnitude<V>>(value);
    return value < 0 ? 0 - bits : bits;
  }
};

}  // namespace tstl
