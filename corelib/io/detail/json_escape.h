// Finding and writing what must be escaped in a JSON string.
//
// Nothing here allocates or fails; a scan reads units of its run only.
#pragma once

#include <cstdint>

#include "corelib/text/detail/simd.h"
#include "corelib/text/types.h"

namespace tstl::detail {

// What a run has to be made of to be copied or converted as it is: ASCII alone, or anything that
// needs no escape in valid UTF-8 or in UTF-16, where surrogates are looked at one by one.
enum class Plain { kAscii, kText };

// The units that end such a run: the quote, the backslash, control characters, and what else the
// kind of run excludes.
template <Plain kKind, Unit T>
Block<T> json_stops(Block<T> units) {
  const auto stops = equal(units, Block<T>::fill('"')) | equal(units, Block<T>::fill('\\')) |
                     less(units, Block<T>::fill(0x20));
  if constexpr (kKind == Plain::kAscii) return stops | ~less(units, Block<T>::fill(0x80));
  if constexpr (sizeof(T) == 2) {
    return stops | equal(units & Block<T>::fill(0xF800), Block<T>::fill(0xD800));
  }
  return stops;
}
template <Plain kKind, Unit T>
constexpr bool is_json_stop(T unit) {
  return unit == '"' || unit == '\\' || unit < 0x20 || (kKind == Plain::kAscii && unit >= 0x80) ||
         (sizeof(T) == 2 && (unit & 0xF800) == 0xD800);
}

// Units of [p, p + n) before the first stop. A run shorter than a block is looked at as its first
// and its last units, which may overlap.
template <Plain kKind, Unit T>
std::uint64_t plain_json_run(const T* p, std::uint64_t n) {
  constexpr std::uint64_t kStep = Block<T>::kUnits;
  const auto within = [&](Block<T> ends, std::uint64_t half) {
    const auto mask = json_stops<kKind>(ends).mask();
    if (!mask) return n;
    return mask.first() < half ? mask.first() : n - 2 * half + mask.first();
  };
  if (n >= kStep) {
    for (std::uint64_t i = 0; i < n; i += kStep) {
      if (i + kStep > n) i = n - kStep;
      const auto mask = json_stops<kKind>(Block<T>::load(p + i)).mask();
      if (mask) return i + mask.first();
    }
    return n;
  }
  if (n >= kStep / 2) return within(Block<T>::load_halves(p, p + (n - kStep / 2)), kStep / 2);
  if (n >= kStep / 4) return within(Block<T>::load_quarters(p, p + (n - kStep / 4)), kStep / 4);
  std::uint64_t i = 0;
  while (i < n && !is_json_stop<kKind>(p[i])) ++i;
  return i;
}

// The most bytes that put_json_escape writes.
inline constexpr unsigned kMaxJsonEscape = 6;

// Writes the escape of a UTF-16 unit, the short one where there is one; returns the place after it.
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
