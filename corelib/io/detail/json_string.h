// Decoding the inside of a JSON string: escapes and UTF-8 to bytes or 16-bit units. The text is
// that of a parsed string, so every escape is known to be whole.
//
// Nothing here allocates or fails. A decoded string never has more units than its raw text has
// bytes, in either form; the caller provides that much room.
#pragma once

#include <cstddef>

#include "corelib/text/buffer_ref.h"

namespace tstl::detail {

// Value of a hexadecimal digit of either case, 16 for any other byte.
[[nodiscard]] constexpr unsigned json_hex_digit(unsigned char c) noexcept {
  const unsigned digit = c - unsigned{'0'};
  if (digit < 10) return digit;
  const unsigned letter = (c | 0x20u) - 'a';
  return letter < 6 ? letter + 10 : 16;
}

// The character for the letter of a short escape ("n" of \n); 0 when there is no such escape.
[[nodiscard]] constexpr unsigned char json_short_escape(unsigned char letter) noexcept {
  switch (letter) {
    case '"':
    case '\\':
    case '/':
      return letter;
    case 'b':
      return '\b';
    case 'f':
      return '\f';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    default:
      return 0;
  }
}

// Decodes `raw` into `dst`; returns the units written, at most raw.len().
std::size_t decode_json_string(BufferRef<unsigned char> raw, unsigned char* dst) noexcept;
std::size_t decode_json_string(BufferRef<unsigned char> raw, unsigned short* dst) noexcept;

// Whether `raw` decodes to `text`, found without room for the decoded form.
[[nodiscard]] bool json_string_is(BufferRef<unsigned char> raw,
                                  BufferRef<unsigned char> text) noexcept;

}  // namespace tstl::detail
