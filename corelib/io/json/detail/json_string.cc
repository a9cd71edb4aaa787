#include "corelib/io/json/detail/json_string.h"

#include <cstring>

#include "corelib/base/bytes.h"
#include "corelib/io/json/detail/json_escape.h"
#include "corelib/text/scan.h"
#include "corelib/text/utf.h"

namespace tstl::detail {
namespace {

// Returns the value of the escape whose backslash is at `at`, and moves `at` past the escape.
char32_t read_escape(const unsigned char*& at) noexcept {
  const unsigned char letter = at[1];
  at += 2;
  if (letter != 'u') return json_short_escape(letter);
  char32_t value = 0;
  for (const unsigned char* const stop = at + 4; at != stop; ++at)
    value = value << 4 | json_hex_digit(*at);
  return value;
}

// As read_escape(), but takes both escapes of a surrogate pair.
char32_t read_character(const unsigned char*& at, const unsigned char* end) noexcept {
  const char32_t first = read_escape(at);
  if (!is_high_surrogate(first) || end - at < 6 || at[0] != '\\' || at[1] != 'u') return first;
  const unsigned char* after = at;
  const char32_t second = read_escape(after);
  if (!is_low_surrogate(second)) return first;
  at = after;
  return join_surrogates(first, second);
}

// A lone surrogate from U+DC80 to U+DCFF stands for a byte that is not part of valid UTF-8.
std::size_t encode_character(char32_t c, unsigned char* dst) noexcept {
  if (c < 0xDC80 || c > 0xDCFF) return encode_utf8(c, dst, LoneSurrogate::kKeep);
  *dst = static_cast<unsigned char>(c & 0xFF);
  return 1;
}

// Passes the decoded bytes to `take(bytes, count)` piece by piece: plain runs as they are in the
// text, and the character of each escape. Stops and returns false when `take` returns false.
template <class Take>
bool decode_pieces(BufferRef<unsigned char> raw, Take take) noexcept {
  const unsigned char* at = raw.cbegin();
  const unsigned char* const end = raw.cend();
  while (at != end) {
    const auto rest = static_cast<std::size_t>(end - at);
    const std::size_t run = first_of(at, rest, static_cast<unsigned char>('\\'));
    if (run != 0 && !take(at, run)) return false;
    at += run;
    if (at == end) break;
    unsigned char bytes[4];
    const std::size_t count = encode_character(read_character(at, end), bytes);
    if (!take(bytes, count)) return false;
  }
  return true;
}

}  // namespace

std::size_t decode_json_string(BufferRef<unsigned char> raw, bool escaped,
                               unsigned char* dst) noexcept {
  if (!escaped) {
    base::copy_bytes(dst, raw.cstr(), raw.len());
    return raw.len();
  }
  unsigned char* at = dst;
  decode_pieces(raw, [&at](const unsigned char* bytes, std::size_t n) {
    base::copy_bytes(at, bytes, n);
    at += n;
    return true;
  });
  return static_cast<std::size_t>(at - dst);
}

std::size_t decode_json_string(BufferRef<unsigned char> raw, bool escaped,
                               unsigned short* dst) noexcept {
  unsigned short* to = dst;
  const unsigned char* at = raw.cbegin();
  const unsigned char* const end = raw.cend();
  while (at != end) {
    const auto rest = static_cast<std::size_t>(end - at);
    const std::size_t run = escaped ? first_of(at, rest, static_cast<unsigned char>('\\')) : rest;
    if (run != 0) to += utf8_to_utf16_lossless(at, run, to);
    at += run;
    if (at != end) *to++ = static_cast<unsigned short>(read_escape(at));
  }
  return static_cast<std::size_t>(to - dst);
}

bool json_string_is(BufferRef<unsigned char> raw, BufferRef<unsigned char> text) noexcept {
  const unsigned char* at = text.cbegin();
  std::size_t left = text.len();
  const bool same = decode_pieces(raw, [&](const unsigned char* bytes, std::size_t n) {
    if (n > left || std::memcmp(at, bytes, n) != 0) return false;
    at += n;
    left -= n;
    return true;
  });
  return same && left == 0;
}

}  // namespace tstl::detail
