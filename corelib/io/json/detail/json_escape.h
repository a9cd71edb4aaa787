// The escapes of JSON strings (RFC 8259, section 7), read and written.
#pragma once

#include <array>

namespace tstl::detail {

// Value of a hexadecimal digit of either case, 16 for any other byte.
[[nodiscard]] constexpr unsigned json_hex_digit(unsigned char c) noexcept {
  const unsigned digit = c - unsigned{'0'};
  if (digit < 10) return digit;
  const unsigned letter = (c | 0x20u) - 'a';
  return letter < 6 ? letter + 10 : 16;
}

// Characters by the letters of the short escapes; 0 for others.
inline constexpr auto kJsonShortEscapes = [] {
  std::array<unsigned char, 256> characters{};
  characters['"'] = '"', characters['\\'] = '\\', characters['/'] = '/';
  characters['b'] = '\b', characters['f'] = '\f', characters['n'] = '\n';
  characters['r'] = '\r', characters['t'] = '\t';
  return characters;
}();

// The character for the letter of a short escape ("n" of \n); 0 when there is no such escape.
[[nodiscard]] constexpr unsigned char json_short_escape(unsigned char letter) noexcept {
  return kJsonShortEscapes[letter];
}

// The most bytes that put_json_escape writes.
inline constexpr unsigned kMaxJsonEscape = 6;

// Writes the escape of a UTF-16 unit, the short one if there is one. Returns the position after it.
inline unsigned char* put_json_escape(unsigned char* at, unsigned unit) {
  *at++ = '\\';
  const char letter = unit < 0x20    ? "uuuuuuuubtnufruuuuuuuuuuuuuuuuuu"[unit]
                      : unit == '"'  ? '"'
                      : unit == '\\' ? '\\'
                                     : 'u';
  *at++ = static_cast<unsigned char>(letter);
  if (letter != 'u') return at;
  for (int shift = 12; shift >= 0; shift -= 4) {
    *at++ = static_cast<unsigned char>("0123456789abcdef"[unit >> shift & 15]);
  }
  return at;
}

}  // namespace tstl::detail
