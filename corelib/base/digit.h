// Decimal and hexadecimal digits, as code units of either width, and the powers of ten.
#pragma once

#include <array>
#include <cassert>
#include <cstdint>

namespace tstl::base {

// The value of a decimal digit; more than 9 for any other unit.
[[nodiscard]] constexpr unsigned digit_value(unsigned unit) noexcept { return unit - '0'; }
[[nodiscard]] constexpr bool is_digit(unsigned unit) noexcept { return digit_value(unit) < 10; }

// The value of a hexadecimal digit of either case; 16 for any other unit.
[[nodiscard]] constexpr unsigned hex_digit_value(unsigned unit) noexcept {
  const unsigned digit = digit_value(unit);
  const unsigned letter = (unit | 0x20) - 'a';
  return digit < 10 ? digit : letter < 6 ? letter + 10 : 16;
}

// The hexadecimal digit of a value. REQUIRES: value < 16.
[[nodiscard]] constexpr unsigned char upper_hex_digit(unsigned value) noexcept {
  assert(value < 16);
  return static_cast<unsigned char>("0123456789ABCDEF"[value]);
}
[[nodiscard]] constexpr unsigned char lower_hex_digit(unsigned value) noexcept {
  assert(value < 16);
  return static_cast<unsigned char>("0123456789abcdef"[value]);
}

// 10^0 to 10^19, all that 64 bits hold.
inline constexpr std::array<std::uint64_t, 20> kPowersOfTen = [] {
  std::array<std::uint64_t, 20> powers{1};
  for (unsigned i = 1; i < 20; ++i) powers[i] = powers[i - 1] * 10;
  return powers;
}();

}  // namespace tstl::base
