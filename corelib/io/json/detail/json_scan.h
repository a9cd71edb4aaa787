// Finding what ends a plain run inside a JSON string, many units at a time.
//
// Nothing here allocates or fails; a scan reads units of its run only.
#pragma once

#include <bit>
#include <cassert>
#include <cstdint>
#include <cstring>

#include "corelib/base/block.h"
#include "corelib/base/types.h"

namespace tstl::detail {

// What a run has to be made of to be copied or converted as it is: ASCII alone, or anything that
// needs no escape in valid UTF-8 or in UTF-16, where surrogates are looked at one by one.
enum class Plain { kAscii, kText };

// The units that end such a run: the quote, the backslash, control characters, and what else the
// kind of run excludes.
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

// Units of [p, p + n) before the first stop. A run shorter than a block is looked at as its first
// and its last units, which may overlap.
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

// Finds the end of each plain run of a text that is being parsed, left to right. The text is looked
// at in windows of 64 bytes, and a window's stops are found all at once: so most searches are a
// shift and a bit scan in a register and do not wait for memory. A search further back is one from
// the start.
class StopFinder {
 public:
  StopFinder(const unsigned char* begin, const unsigned char* end);

  // The first stop in [at, end), or the end. REQUIRES: `at` is in the text.
  [[gnu::always_inline]] inline const unsigned char* next(const unsigned char* at) {
    assert(at <= end_);
    const auto offset = static_cast<std::size_t>(at - window_);
    if (offset < kWindow) [[likely]] {
      if (const std::uint64_t stops = stops_ >> offset) return at + std::countr_zero(stops);
    }
    return next_window(at);
  }

 private:
  static constexpr std::size_t kWindow = 64;

  // As `next`, when the window at hand has no stop from `at` on. The window that has it becomes the one
  // at hand, or the text's last.
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
