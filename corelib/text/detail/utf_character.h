// One character in UTF-8 and UTF-16: the exact rules under every conversion. corelib/text/utf.h
// describes them. Nothing here allocates or fails.
#pragma once

#include <bit>
#include <cassert>
#include <cstddef>

namespace tstl {

// How UTF-8 is made of a surrogate without its partner: it is dropped (the rule of text buffers),
// or kept as three bytes, so that converting back restores it (the rule of the wire format).
enum class LoneSurrogate : bool { kDrop, kKeep };

[[nodiscard]] constexpr bool is_surrogate(char32_t c) noexcept { return (c & ~0x7FFu) == 0xD800; }
[[nodiscard]] constexpr bool is_high_surrogate(char32_t c) noexcept {
  return (c & ~0x3FFu) == 0xD800;
}
[[nodiscard]] constexpr bool is_low_surrogate(char32_t c) noexcept {
  return (c & ~0x3FFu) == 0xDC00;
}

// The character that a pair stands for.
// REQUIRES: is_high_surrogate(high) and is_low_surrogate(low).
[[nodiscard]] constexpr char32_t join_surrogates(char32_t high, char32_t low) noexcept {
  assert(is_high_surrogate(high) && is_low_surrogate(low));
  return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}

// Bytes that `c` takes in UTF-8: 1 to 4; 0 above 10FFFF and for a surrogate that is dropped.
[[nodiscard]] constexpr std::size_t utf8_length(
    char32_t c, LoneSurrogate lone = LoneSurrogate::kDrop) noexcept {
  if (c < 0x80) return 1;
  if (c < 0x800) return 2;
  if (is_surrogate(c)) return lone == LoneSurrogate::kKeep ? 3 : 0;
  if (c < 0x10000) return 3;
  return c <= 0x10FFFF ? 4 : 0;
}

// Writes the UTF-8 form of `c` to `dst` and returns its length, utf8_length(c, lone). Writes no
// byte past that length.
constexpr std::size_t encode_utf8(char32_t c, unsigned char* dst,
                                  LoneSurrogate lone = LoneSurrogate::kDrop) noexcept {
  const auto tail = [c](int shift) {
    return static_cast<unsigned char>(0x80 | (c >> shift & 0x3F));
  };
  const std::size_t length = utf8_length(c, lone);
  switch (length) {
    case 1:
      dst[0] = static_cast<unsigned char>(c);
      break;
    case 2:
      dst[0] = static_cast<unsigned char>(0xC0 | c >> 6);
      dst[1] = tail(0);
      break;
    case 3:
      dst[0] = static_cast<unsigned char>(0xE0 | c >> 12);
      dst[1] = tail(6);
      dst[2] = tail(0);
      break;
    case 4:
      dst[0] = static_cast<unsigned char>(0xF0 | c >> 18);
      dst[1] = tail(12);
      dst[2] = tail(6);
      dst[3] = tail(0);
      break;
    default:
      break;
  }
  return length;
}

// Bytes in the sequence that `lead` begins, by the table in utf.h: 1 to 4; 0 if it begins none.
[[nodiscard]] constexpr std::size_t utf8_lead_length(unsigned char lead) noexcept {
  const auto ones = static_cast<std::size_t>(std::countl_one(lead));
  if (ones == 0) return 1;
  return ones >= 2 && ones <= 4 ? ones : 0;
}

// The value of the sequence of `length` bytes at `src`. The bytes after the lead are not checked.
// REQUIRES: length == utf8_lead_length(*src), 1 to 4.
[[nodiscard]] constexpr char32_t decode_utf8(const unsigned char* src,
                                             std::size_t length) noexcept {
  assert(length != 0 && length == utf8_lead_length(*src));
  char32_t c = length == 1 ? *src : *src & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) c = c << 6 | (src[i] & 0x3F);
  return c;
}

// The length, 1 to 4, of the well-formed sequence (RFC 3629, section 4) that `src[0, n)` begins
// with; 0 if it begins with none.
[[nodiscard]] constexpr std::size_t utf8_sequence_length(const unsigned char* src,
                                                         std::size_t n) noexcept {
  const std::size_t length = n == 0 ? 0 : utf8_lead_length(*src);
  if (length == 0 || length > n) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((src[i] & 0xC0) != 0x80) return 0;
  }
  return utf8_length(decode_utf8(src, length)) == length ? length : 0;  // else overlong or invalid
}

}  // namespace tstl
