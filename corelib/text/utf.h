// UTF-8 and UTF-16: sizes, conversions both ways, strict validation of UTF-8; single characters are
// in detail/utf_character.h, which this header includes.
//
// All conversions between the two encodings are here. They take two steps: a size function returns
// how many units the result takes, the caller allocates them, and the conversion fills them.
// Nothing here allocates, keeps a pointer or fails. Every input, well-formed or not, has one
// defined result, and its size is exactly what the size function returned. No unit outside source
// and destination is accessed. The source may be null if it is empty. Source and destination must
// not overlap.
//
// Well-formed text converts as the Unicode Standard says (RFC 3629, RFC 2781). The rest:
//
// UTF-16 to UTF-8: a lone surrogate gives nothing, or the three bytes of its value; the caller
// chooses (LoneSurrogate).
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
// On purpose the bytes after the lead are not checked; their low six bits are used whatever they
// are. So a conversion does not prove that a text is valid UTF-8 (valid_utf8_prefix does), and a
// stray lead byte swallows the bytes after it. Three bytes that encode a surrogate give that unit:
// so a lone surrogate that was kept is restored. Four bytes with a value below U+10000 or above
// U+10FFFF still give a pair, that of (value - 0x10000) modulo 2^20. A truncated last sequence
// gives nothing.
#pragma once

#include <cstddef>

#include "corelib/text/detail/utf_character.h"

namespace tstl {

// Bytes that `src[0, n)` takes in UTF-8; at most 3 * n.
[[nodiscard]] std::size_t utf8_size(const unsigned short* src, std::size_t n,
                                    LoneSurrogate lone = LoneSurrogate::kDrop) noexcept;

// 16-bit units that `src[0, n)` takes in UTF-16; at most n.
[[nodiscard]] std::size_t utf16_size(const unsigned char* src, std::size_t n) noexcept;

// Converts `src[0, n)` to UTF-8 in `dst[0, capacity)` and returns the length of the result in
// bytes. That is utf8_size(src, n, lone) if it fits; else the result ends before the first
// character that does not fit. The contents of `dst` past the result are unspecified.
std::size_t utf16_to_utf8(const unsigned short* src, std::size_t n, unsigned char* dst,
                          std::size_t capacity, LoneSurrogate lone = LoneSurrogate::kDrop) noexcept;

// The same the other way; `capacity` and the result count 16-bit units, and the full result has
// utf16_size(src, n).
std::size_t utf8_to_utf16(const unsigned char* src, std::size_t n, unsigned short* dst,
                          std::size_t capacity) noexcept;

// Both conversions without loss, for file names and other bytes that are mostly UTF-8. Each byte
// that is not part of well-formed UTF-8 becomes the lone surrogate 0xDC00 + byte, and such a unit
// becomes the byte again. So every byte string is restored, and different ones stay different. Any
// other lone surrogate becomes three bytes. They return the units written. REQUIRES: `dst` of the
// first holds n units; `capacity` of the second is at least utf8_size(src, n,
// LoneSurrogate::kKeep).
std::size_t utf8_to_utf16_lossless(const unsigned char* src, std::size_t n,
                                   unsigned short* dst) noexcept;
std::size_t utf16_to_utf8_lossless(const unsigned short* src, std::size_t n, unsigned char* dst,
                                   std::size_t capacity) noexcept;

// The length in bytes of the longest prefix of `src[0, n)` that is well-formed UTF-8 by RFC 3629:
// whole sequences in the shortest form, no surrogates. `n` if all of it is.
[[nodiscard]] std::size_t valid_utf8_prefix(const unsigned char* src, std::size_t n) noexcept;

}  // namespace tstl
