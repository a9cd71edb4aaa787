// Finds the end of a plain run inside a JSON string, many code units at a time. A plain run is text
// that can be copied or converted without looking at each unit.
//
// Nothing here allocates or fails; a scan reads no unit outside the range that it is given.
#pragma once

#include <bit>
#include <cassert>
#include <cstdint>
#include <cstring>

#include "corelib/base/block.h"
#include "corelib/base/types.h"

namespace tstl::detail {

// What a plain run may consist of: ASCII only, or any text that needs no escape. Surrogates always
// end a run of 16-bit units, because they have to be checked one by one.
enum class Plain { kAscii, kText };

// The stops, which are the units that end a run: the quote, the backslash, control characters, and
// whatever else kKind excludes.
template <Plain kKind, Unit T>
base::Block<T> json_stops(base::Block<T> units) {
  const auto stops = equal(units, base::Block<T>::fill('"')) |
                     equal(units, base::Block<T>::fill('\\')) |
                     less(units, base::Block<T>::fill(0x20));
  if constexpr (kKind == Plain::kAscii) return stops | ~less(units, base::Block<T>::fill(0x80));
  if constexpr (sizeof(T) == 2) {
    return stops | equal(units & base::Block<T>::fill(0xF800), base::Block<T>::fill(0xD800));
  }
  return stops;
}
template <Plain kKind, Unit T>
constexpr bool is_json_stop(T unit) {
  return unit == '"' || unit == '\\' || unit < 0x20 || (kKind == Plain::kAscii && unit >= 0x80) ||
         (sizeof(T) == 2 && (unit & 0xF800) == 0xD800);
}

// The number of units in [p, p + n) before the first stop. A range shorter than a block is loaded
// as its first and its last units, which may overlap.
template <Plain kKind, Unit T>
std::uint64_t plain_json_run(const T* p, std::uint64_t n) {
  constexpr std::uint64_t kStep = base::Block<T>::kUnits;
  const auto within = [&](base::Block<T> ends, std::uint64_t half) {
    const auto mask = json_stops<kKind>(ends).mask();
    if (!mask) return n;
    return mask.first() < half ? mask.first() : n - 2 * half + mask.first();
  };
  if (n >= kStep) {
    for (std::uint64_t i = 0; i < n; i += kStep) {
      if (i + kStep > n) i = n - kStep;
      const auto mask = json_stops<kKind>(base::Block<T>::load(p + i)).mask();
      if (mask) return i + mask.first();
    }
    return n;
  }
  if (n >= kStep / 2) return within(base::Block<T>::load_halves(p, p + (n - kStep / 2)), kStep / 2);
  if (n >= kStep / 4)
    return within(base::Block<T>::load_quarters(p, p + (n - kStep / 4)), kStep / 4);
  std::uint64_t i = 0;
  while (i < n && !is_json_stop<kKind>(p[i])) ++i;
  return i;
}

// The bytes whose stops a StopFinder finds at once.
inline constexpr std::size_t kStopWindow = 64;

// Finds the end of each plain run of a text that is parsed from left to right. The text is scanned
// in windows of 64 bytes, and all stops of a window are found at once. So most searches are a shift
// and a bit scan in a register and do not wait for memory. A search that begins before the current
// window scans again from where it begins.
class StopFinder {
 public:
  StopFinder(const unsigned char* begin, const unsigned char* end);

  // The first stop in [at, end), or the end. REQUIRES: `at` is in the text.
  [[gnu::always_inline]] inline const unsigned char* next(const unsigned char* at) {
    assert(at <= end_);
    const auto offset = static_cast<std::size_t>(at - window_);
    if (offset < kStopWindow) [[likely]] {
      if (const std::uint64_t stops = stops_ >> offset) return at + std::countr_zero(stops);
    }
    return next_window(at);
  }

 private:
  // next() when the current window has no stop from `at` on. Makes the window of the next stop, or
  // the last window of the text, the current one.
  const unsigned char* next_window(const unsigned char* at);
  const unsigned char* next_window_avx2(const unsigned char* at);
  template <std::uint64_t (*kStopsOf)(const unsigned char* window)>
  [[gnu::always_inline]] inline const unsigned char* walk(const unsigned char* at);
  [[gnu::noinline]] const unsigned char* last_window(const unsigned char* at);
  std::size_t left(const unsigned char* at) const { return static_cast<std::size_t>(end_ - at); }

  const unsigned char* window_;
  const unsigned char* end_;
  std::uint64_t stops_;  // of the window, the first byte's bit lowest
};

}  // namespace tstl::detail
