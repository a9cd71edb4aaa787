// UTF-8 and UTF-16: sizes, conversions both ways, the strict test for UTF-8; and, by way of detail/utf_character.h,
// single characters.
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

#include <cstddef>

#include "corelib/text/detail/utf_character.h"

namespace tstl {

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

// The two conversions without loss, for names of files and other bytes that are mostly UTF-8: each byte
// that is not part of well-formed UTF-8 becomes the unit DC00 + byte, a surrogate without a partner,
// and such a unit becomes the byte again. So all bytes come back as they were, and different ones stay
// different. Any other surrogate without a partner becomes three bytes. They return the units written.
// REQUIRES: room for n units; `room` is utf8_size(src, n, LoneSurrogate::kKeep) at least.
std::size_t utf8_to_utf16_lossless(const unsigned char* src, std::size_t n,
                                   unsigned short* dst) noexcept;
std::size_t utf16_to_utf8_lossless(const unsigned short* src, std::size_t n, unsigned char* dst,
                                   std::size_t room) noexcept;

// The number of bytes at the start of `src[0, n)` that are well-formed UTF-8 by RFC 3629, up to the
// first byte that is not part of a whole, shortest-form sequence for a character other than a
// surrogate. `n` when all of it is.
[[nodiscard]] std::size_t valid_utf8_prefix(const unsigned char* src, std::size_t n) noexcept;

}  // namespace tstl
