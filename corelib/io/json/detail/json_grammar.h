// Scanners for the parts of RFC 8259's grammar other than objects and arrays: whitespace, numbers,
// literals, strings.
//
// Nothing here allocates, and no byte from `end` on is read.
#pragma once

#include <cstdint>
#include <string_view>

#include "corelib/io/json/detail/json_escape.h"
#include "corelib/io/json/detail/json_scan.h"
#include "corelib/io/json/json_read.h"

namespace tstl::detail {

inline bool is_json_blank(unsigned char c) {
  return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}
inline bool is_json_digit(unsigned char c) { return c >= '0' && c <= '9'; }

inline const unsigned char* skip_json_blanks(const unsigned char* at, const unsigned char* end) {
  while (at != end && is_json_blank(*at)) ++at;
  return at;
}

// The result of a scanner: the position after what it scanned, or a fault and its position.
struct JsonPiece {
  const unsigned char* at;
  JsonFault fault = JsonFault::kNone;

  explicit operator bool() const { return fault == JsonFault::kNone; }
};

inline JsonPiece broken_json(const unsigned char* at, const unsigned char* end, JsonFault fault) {
  return {at, at == end ? JsonFault::kEnds : fault};
}

// One or more digits.
inline JsonPiece read_json_digits(const unsigned char* at, const unsigned char* end) {
  if (at == end || !is_json_digit(*at)) return broken_json(at, end, JsonFault::kUnexpected);
  while (at != end && is_json_digit(*at)) ++at;
  return {at};
}

// Whether a fraction or an exponent comes next.
inline bool is_json_fraction(const unsigned char* at, const unsigned char* end) {
  return at != end && (*at == '.' || (*at | 0x20) == 'e');
}

// The fraction and the exponent of a number, at its '.' or its 'e'.
[[gnu::noinline]] inline JsonPiece read_json_fraction(const unsigned char* at,
                                                      const unsigned char* end) {
  if (*at == '.') {
    const JsonPiece digits = read_json_digits(at + 1, end);
    if (!digits) return digits;
    at = digits.at;
    if (at == end || (*at | 0x20) != 'e') return {at};
  }
  ++at;
  if (at != end && (*at == '+' || *at == '-')) ++at;
  return read_json_digits(at, end);
}

// The integer part of a number, with its sign.
inline JsonPiece read_json_whole(const unsigned char* at, const unsigned char* end) {
  if (at != end && *at == '-') ++at;
  if (at != end && *at == '0') return {at + 1};
  return read_json_digits(at, end);
}

// A number. `has_fraction`: whether it has a fraction or an exponent.
inline JsonPiece read_json_number(const unsigned char* at, const unsigned char* end,
                                  bool& has_fraction) {
  const JsonPiece whole = read_json_whole(at, end);
  has_fraction = whole && is_json_fraction(whole.at, end);
  return has_fraction ? read_json_fraction(whole.at, end) : whole;
}

inline JsonPiece read_json_literal(const unsigned char* at, const unsigned char* end,
                                   std::string_view literal) {
  for (const char c : literal) {
    if (at == end || *at != static_cast<unsigned char>(c))
      return broken_json(at, end, JsonFault::kUnexpected);
    ++at;
  }
  return {at};
}

// One escape, at its backslash.
inline JsonPiece read_json_escape(const unsigned char* at, const unsigned char* end) {
  ++at;
  if (at == end || *at != 'u') {
    if (at == end || json_short_escape(*at) == 0) return broken_json(at, end, JsonFault::kEscape);
    return {at + 1};
  }
  ++at;
  for (int i = 0; i < 4; ++i, ++at) {
    if (at == end || json_hex_digit(*at) > 15) return broken_json(at, end, JsonFault::kEscape);
  }
  return {at};
}

// The rest of a string up to its closing quote. `at` is the string's first stop (json_scan.h) or
// the end. `next_stop(at)` returns the first stop from `at` on, or the end.
template <class NextStop>
[[gnu::noinline]] JsonPiece read_json_escaped(const unsigned char* at, const unsigned char* end,
                                              NextStop next_stop) {
  while (at != end && *at != '"') {
    if (*at != '\\') return {at, JsonFault::kControl};
    const JsonPiece escape = read_json_escape(at, end);
    if (!escape) return escape;
    at = escape.at;
    if (at != end && *at != '\\') at = next_stop(at);
  }
  return at == end ? JsonPiece{at, JsonFault::kEnds} : JsonPiece{at};
}

}  // namespace tstl::detail
