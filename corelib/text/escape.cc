#include "corelib/text/escape.h"

#include <algorithm>
#include <cassert>
#include <string_view>

#include "corelib/text/detail/digits.h"
#include "corelib/text/parse.h"
#include "corelib/text/str.h"
#include "corelib/text/utf.h"

namespace tstl::detail {
namespace {

using namespace std::string_view_literals;

// An escape's letter and what it stands for, at the same place. Only the first kWritten are
// written.
constexpr std::string_view kLetters = "\\0abtnvfre\"'/";
constexpr std::string_view kMeanings = "\\\0\a\b\t\n\v\f\r\x1B\"'/"sv;
constexpr std::size_t kWritten = 9;
static_assert(kLetters.size() == kMeanings.size());

// The letter to escape `unit` with; 'x' for a control character that has none, 0 for what stays as
// it is.
template <Unit T>
unsigned char letter_of(T unit) {
  if (unit >= 0x20 && unit != '\\' && unit != 0x7F) return 0;
  const std::size_t at = kMeanings.substr(0, kWritten).find(static_cast<char>(unit));
  return static_cast<unsigned char>(at == std::string_view::npos ? 'x' : kLetters[at]);
}

// The value of exactly `count` hexadecimal digits from `pos` on, or NOT_FOUND.
template <Unit T>
unsigned hex_at(BufferRef<T> text, unsigned pos, unsigned count) {
  const BufferRef<T> digits = text.sub_str(pos, count);
  const bool all =
      std::all_of(digits.begin(), digits.end(), [](T unit) { return hex_digit(unit) < 16; });
  return all && digits.len() == count ? digits.to_hex32() : NOT_FOUND;
}

// The UTF-16 unit of a \uHHHH at `pos`, or NOT_FOUND.
template <Unit T>
unsigned unit_at(BufferRef<T> text, unsigned pos) {
  const BufferRef<T> escape = text.sub_str(pos, 6);
  return escape.len() == 6 && escape[0] == '\\' && escape[1] == 'u' ? hex_at(escape, 2, 4)
                                                                    : NOT_FOUND;
}

// Resolves a \u escape at the start of `rest` into `dst` and moves both on.
unsigned short* resolve_unit(BufferRefMutable<unsigned short>& rest, unsigned unit,
                             unsigned short* dst) {
  rest.cut_head(6);
  *dst = static_cast<unsigned short>(unit);
  return dst + 1;
}
unsigned char* resolve_unit(BufferRefMutable<unsigned char>& rest, unsigned unit,
                            unsigned char* dst) {
  rest.cut_head(6);
  const unsigned next = unit_at<unsigned char>(rest, 0);
  if (!is_high_surrogate(unit) || !is_low_surrogate(next)) return dst + encode_utf8(unit, dst);
  rest.cut_head(6);
  return dst + encode_utf8(join_surrogates(unit, next), dst);
}

// Resolves the escape, or the backslash that is none, at the start of `rest` into `dst` and moves
// both on.
template <Unit T>
T* resolve(BufferRefMutable<T>& rest, T* dst) {
  // A letter of 0 stands for a missing one; it is no escape's letter.
  const T letter = rest.len() > 1 ? rest[1] : T{0};
  const unsigned unit = unit_at<T>(rest, 0);
  if (unit != NOT_FOUND) return resolve_unit(rest, unit, dst);

  const unsigned hex = letter == 'x' ? hex_at<T>(rest, 2, 2) : NOT_FOUND;
  const std::size_t at =
      letter < 0x80 ? kLetters.find(static_cast<char>(letter)) : std::string_view::npos;
  if (hex != NOT_FOUND) {
    *dst = static_cast<T>(hex);
    rest.cut_head(4);
  } else if (at != std::string_view::npos) {
    *dst = static_cast<unsigned char>(kMeanings[at]);
    rest.cut_head(2);
  } else {
    *dst = '\\';
    rest.cut_head(1);
  }
  return dst + 1;
}

}  // namespace

template <class T>
std::uint64_t escaped_size(BufferRef<T> text) noexcept {
  std::uint64_t size = text.len();
  for (const T unit : text) {
    const unsigned char letter = letter_of(unit);
    if (letter != 0) size += letter == 'x' ? 3 : 1;
  }
  return size;
}

template <class T>
void escape(BufferRef<T> text, T* dst) noexcept {
  for (const T unit : text) {
    const unsigned char letter = letter_of(unit);
    if (letter == 0) {
      *dst++ = unit;
      continue;
    }
    *dst++ = '\\';
    *dst++ = letter;
    if (letter != 'x') continue;
    *dst++ = hex_unit(unit >> 4);
    *dst++ = hex_unit(unit & 15);
  }
}

template <class T>
unsigned unescape(BufferRef<T> text, T* dst) noexcept {
  T* const start = dst;
  // No escape is shorter than what it stands for, so `dst` never passes the length of `text`.
  BufferRefMutable<T> rest = text;
  while (rest) {
    const BufferRef<T> plain = rest.fetch_head(rest.find_chr('\\'));
    dst += STR::zz_cast<T, T>(dst, plain.cstr(), plain.len());
    if (rest) dst = resolve(rest, dst);
  }
  assert(dst - start <= static_cast<std::ptrdiff_t>(text.len()));
  return static_cast<unsigned>(dst - start);
}

template std::uint64_t escaped_size(BufferRef<unsigned char>) noexcept;
template std::uint64_t escaped_size(BufferRef<unsigned short>) noexcept;
template void escape(BufferRef<unsigned char>, unsigned char*) noexcept;
template void escape(BufferRef<unsigned short>, unsigned short*) noexcept;
template unsigned unescape(BufferRef<unsigned char>, unsigned char*) noexcept;
template unsigned unescape(BufferRef<unsigned short>, unsigned short*) noexcept;

}  // namespace tstl::detail
