// UTF-8 and UTF-16: sizes, conversions both ways, single characters, the strict test for UTF-8.
//
// The one place where the library turns the one encoding into the other, in two steps: the size
// function tells how many units a text takes, the caller makes room, the conversion fills it.
// Nothing here allocates, keeps a pointer or fails: every input, well formed or not, has one
// defined result, and the size is always exactly what the conversion writes. No unit outside the
// source is read, which may be null when it is empty, and none outside the room is written. Source
// and destination must not overlap.
//
// Well-formed text converts as the Unicode Standard says (RFC 3629, RFC 2781). The rest:
//
// UTF-16 to UTF-8: a surrogate without its partner gives nothing, or three bytes like any other
// unit of its size; the caller chooses (LoneSurrogate).
//
// UTF-8 to UTF-16: the lead byte alone decides how long a sequence is and what it gives.
//
//   lead byte                       bytes   units
//   0xxxxxxx                            1       1
//   110xxxxx                            2       1
//   1110xxxx                            3       1
//   11110xxx                            4       2
//   any other (10xxxxxx, F8 to FF)      1       0
//
// On purpose the bytes after the lead are not checked, their low six bits are taken whatever they
// are. So text that went through here is no proof of valid UTF-8 (valid_utf8_prefix is), and a
// stray lead byte swallows what follows. Three bytes that encode a surrogate give that unit, which
// is how one that was kept comes back. Four bytes with a value below 10000 or above 10FFFF still
// give a pair: that of the value less 10000, modulo 2^20. A last sequence that the end cuts short
// gives nothing.
#pragma once

#include <bit>
#include <cassert>
#include <cstddef>

namespace tstl {

// What becomes of a surrogate without its partner in UTF-8: dropped (the rule of text buffers), or
// kept as three bytes, so that converting back restores it (the rule of the wire format).
enum class LoneSurrogate : bool { kDrop, kKeep };

// Bytes that `src[0, n)` takes in UTF-8; at most 3 * n.
[[nodiscard]] std::size_t utf8_size(const unsigned short* src, std::size_t n,
                                    LoneSurrogate lone = LoneSurrogate::kDrop) noexcept;

// 16-bit units that `src[0, n)` takes in UTF-16; at most n.
[[nodiscard]] std::size_t utf16_size(const unsigned char* src, std::size_t n) noexcept;

// Converts `src[0, n)` to UTF-8 in `dst[0, room)` and returns the bytes of the result: all of
// utf8_size(src, n, lone) when the room is enough, else those of the characters before the first
// that does not fit. What the room holds past the result is unspecified.
std::size_t utf16_to_utf8(const unsigned short* src, std::size_t n, unsigned char* dst,
                          std::size_t room, LoneSurrogate lone = LoneSurrogate::kDrop) noexcept;

// The same the other way; counts of 16-bit units, all of utf16_size(src, n) when the room is
// enough.
std::size_t utf8_to_utf16(const unsigned char* src, std::size_t n, unsigned short* dst,
                          std::size_t room) noexcept;

// The number of bytes at the start of `src[0, n)` that are well-formed UTF-8 by RFC 3629, up to the
// first byte that is not part of a whole, shortest-form sequence for a character other than a
// surrogate. `n` when all of it is.
[[nodiscard]] std::size_t valid_utf8_prefix(const unsigned char* src, std::size_t n) noexcept;

// One character ----------------------------------------------------------------------------------

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

// Writes the UTF-8 form of `c` to `dst` and returns its length, utf8_length(c, lone); `dst` has
// room for that many bytes and no other is touched.
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

// Bytes in the sequence that `lead` begins, by the table above: 1 to 4; 0 when it begins none.
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
// with; 0 when it begins with none.
[[nodiscard]] constexpr std::size_t utf8_sequence_length(const unsigned char* src,
                                                         std::size_t n) noexcept {
  const std::size_t length = n == 0 ? 0 : utf8_lead_length(*src);
  if (length == 0 || length > n) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((src[i] & 0xC0) != 0x80) return 0;
  }
  return utf8_length(decode_utf8(src, length)) == length ? length : 0;  // not longer than need be
}

}  // namespace tstl
